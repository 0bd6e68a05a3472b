#pragma once

#include <QString>

namespace tonmill {

// Access to the program's two text files, the settings file and the language
// file. Every call names its file and reads it afresh; nothing is cached.
// Missing or unreadable files read as empty; failed writes are silent.

// The value of the key in the section of a profile file, cut to 254
// characters; "" when the file, the section or the key is missing.
QString ReadIniValue(const QString &section, const QString &key, const QString &file);

// Sets the key in the section, creating the file, section and key as needed
// and leaving every other line of the file as it was. A read-only file, a
// folder in its place or a missing folder make the write do nothing.
void WriteIniValue(const QString &section, const QString &key, const QString &value, const QString &file);

// The text of the key in the section of a language file, or the default (see
// LanguageLines::text).
QString ReadLanguageText(const QString &section, const QString &key, const QString &defaultText,
                         const QString &file);

// True when the name holds none of the language file's reserved characters.
bool IsValidLanguageName(const QString &name);

} // namespace tonmill
