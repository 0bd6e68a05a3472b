#pragma once

#include <QString>

namespace tonmill {

// Rewrites the language file with the built-in texts of the language named
// exactly (with case) as in the settings; any other name leaves the file
// empty, so that every caption becomes empty. Lines end in CR LF. A file
// that cannot be written stays as it was; nothing is reported.
void WriteLanguageFile(const QString &language, const QString &file);

} // namespace tonmill
