#pragma once

#include <QString>

class QWidget;

namespace tonmill {

// Puts the language file's texts on the controls that exist, found by their
// objectName (menus and menu actions included), and this program's own
// captions in the file's language on the controls the file does not name.
// Rows of the caption tables whose window or control does not exist are
// passed over. Each window relabelled then gets its Alt+letters anew from its
// captions, and the names and descriptions that screen readers read.

// The relabelling after the language file is written: the rows marked for it,
// for root and every window under it. Returns the display name of the
// file's language ("Deutsch"), for texts that a window sets itself.
QString ApplyLanguage(QWidget *root, const QString &file);

// A window's own captions, read when it loads: all rows of the window whose
// objectName the form carries.
void ApplyFormLanguage(QWidget *form, const QString &file);

} // namespace tonmill
