#include "settings/LanguageLines.h"

#include "platform/TextEncoding.h"
#include "settings/INIManager.h"

#include <QFile>

namespace tonmill {

void LanguageLines::LoadLanguageLines(const QString &file)
{
    QFile input(file);
    if (!input.open(QIODevice::ReadOnly)) {
        m_lines.clear();
        return;
    }
    loadContent(input.readAll());
}

void LanguageLines::loadContent(const QByteArray &content)
{
    m_lines.clear();
    qsizetype begin = content.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    while (begin < content.size()) {
        qsizetype end = begin;
        while (end < content.size() && content[end] != '\n' && content[end] != '\r')
            ++end;
        // Lines are decoded one by one: a hand edit may leave a file that is
        // part UTF-8 and part Windows-1252.
        if (end > begin) {
            QString line = decodeText(content.mid(begin, end - begin));
            if (!line.isEmpty()) {
                if (line.front() == u'{')
                    m_lines.append(QString());
                m_lines.append(std::move(line));
            }
        }
        begin = end;
        if (begin < content.size())
            begin += (content[begin] == '\r' && begin + 1 < content.size() && content[begin + 1] == '\n') ? 2 : 1;
    }
}

bool LanguageLines::FindLanguageLine(int &position, const QString &prefix, bool stopAtNextSection) const
{
    if (position >= count())
        return false;
    for (int index = qMax(position + 1, 1); index <= count(); ++index) {
        const QString &line = at(index);
        if (!line.isEmpty())
            position = index;
        if (stopAtNextSection && line.startsWith(u'{'))
            return false;
        if (line.startsWith(prefix, Qt::CaseInsensitive))
            return true;
    }
    return false;
}

QString LanguageLines::text(const QString &section, const QString &key, const QString &defaultText) const
{
    if (IsValidLanguageName(section) && !IsValidLanguageName(key))
        return defaultText;
    int position = 0;
    if (!FindLanguageLine(position, u'{' + section + u'}', false))
        return defaultText;
    if (!FindLanguageLine(position, key + kSeparator, true))
        return defaultText;
    const QString &line = at(position);
    return line.mid(line.indexOf(kSeparator) + 1);
}

QString languageDisplayName(const QString &languageFile)
{
    LanguageLines lines;
    lines.LoadLanguageLines(languageFile);
    return lines.count() > 0 ? lines.at(1).trimmed() : QString();
}

} // namespace tonmill
