#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace tonmill {

// The lines of a language file as lookups see them: the non-empty lines in
// file order, numbered from 1, with one empty element placed before every
// section header (a line that begins with "{").
class LanguageLines {
public:
    // The reserved characters of the language format.
    static constexpr QStringView kReserved = u"{}\u00BB";
    static constexpr QChar kSeparator = u'\u00BB';

    // Refills the lines from the file; a file that cannot be read leaves none.
    void LoadLanguageLines(const QString &file);
    // Refills the lines from a file's content.
    void loadContent(const QByteArray &content);

    // Searches from position + 1 for a line that begins with the prefix,
    // compared without regard to case; with stopAtNextSection the search ends,
    // unsuccessful, at the next section header. The position is left on the
    // last non-empty line looked at, which is the found line on success.
    bool FindLanguageLine(int &position, const QString &prefix, bool stopAtNextSection) const;

    // The text after the first separator of the first line of the section that
    // begins with the key and the separator, or the default. A key holding a
    // reserved character gives the default at once, but only when the section
    // name holds none: a deliberate asymmetry, kept as it has always been.
    QString text(const QString &section, const QString &key, const QString &defaultText) const;

    int count() const { return static_cast<int>(m_lines.size()); }
    // The element at a position from 1 to count().
    const QString &at(int position) const { return m_lines.at(position - 1); }

private:
    QStringList m_lines;
};

// The display name of the language in the file: its first line; empty when
// the file cannot be read.
QString languageDisplayName(const QString &languageFile);

} // namespace tonmill
