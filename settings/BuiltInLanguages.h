#pragma once

#include <QString>
#include <QStringList>

namespace tonmill {

// The languages that the program carries, by the names stored in the
// settings: "English", "Portugues", "Espanol", "Francais", "Deutsch".
QStringList builtInLanguageNames();

// The language file's lines for the language of that name, compared exactly
// and with case: the display name, then the sections {Menus}, {Main},
// {FormatOptions}, {Setup} and {About}. Empty for any other name.
QStringList builtInLanguageLines(const QString &name);

// The display name that begins the language's file ("Português" for
// "Portugues"); empty for any other name.
QString builtInDisplayName(const QString &name);

} // namespace tonmill
