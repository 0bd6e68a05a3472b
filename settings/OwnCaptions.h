#pragma once

#include <QString>

#include <array>
#include <span>

namespace tonmill {

// The caption of a control that the language file does not name (OK and
// Cancel, switches of this program's own), in the five built-in languages,
// so that no control keeps an English caption in another language. A row
// whose control is the window itself sets the window's title.
struct OwnCaption {
    const char *form;
    const char *control;
    // In the order of the built-in languages: English, Português, Español,
    // Français, Deutsch.
    std::array<const char *, 5> texts;
};

std::span<const OwnCaption> ownCaptions();

// The text of the form's row for the control in the language whose display
// name is given (English for any other); empty when there is no such row.
// Rows whose "control" is a dotted name ("lstBatch.File") hold texts that the
// window sets itself, such as a list's column headers; those ending in
// ".name" or ".description" ("btnPlay.name", "optSamFreq*.description") are
// what screen readers say for the controls so named.
QString ownText(const char *form, const char *control, const QString &displayName);

// The caption in the language whose display name (the language file's first
// line) is given; English for any other name.
QString ownCaptionText(const OwnCaption &caption, const QString &displayName);

} // namespace tonmill
