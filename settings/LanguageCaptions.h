#pragma once

#include <QString>

#include <span>

namespace tonmill {

class LanguageLines;

// One caption of a window that comes from the language file. Windows and
// controls are named by their objectName; a control array's element is the
// array's name, "_" and the index ("optChannelsAC3_2"). A row whose control
// is the window itself sets the window's title.
struct LanguageCaption {
    const char *form;    // "Main", "Setup", "About", "Dialog"
    const char *control;
    const char *section;
    const char *key;
    const char *prefix;  // put before the text, as the channel count of "2 Channels"
    bool relabel;        // set on every relabelling, not only when the window loads
};

// Every caption of every window, in the order of the relabelling. A window
// added later adds its rows here.
std::span<const LanguageCaption> languageCaptions();

// The caption's text from the language file's lines; the prefix and an empty
// text when the key is missing, so that a missing key blanks its control.
QString captionText(const LanguageCaption &caption, const LanguageLines &lines);

} // namespace tonmill
