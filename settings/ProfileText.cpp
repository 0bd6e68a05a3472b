#include "settings/ProfileText.h"

#include "platform/TextEncoding.h"

namespace tonmill {

namespace {

// One line of the content: its text is [begin, end), its line break [end, next).
struct Line {
    qsizetype begin = 0;
    qsizetype end = 0;
    qsizetype next = 0;
};

bool nextLine(const QByteArray &content, qsizetype &position, Line &line)
{
    if (position >= content.size())
        return false;
    line.begin = position;
    qsizetype at = position;
    while (at < content.size() && content[at] != '\n' && content[at] != '\r')
        ++at;
    line.end = at;
    if (at < content.size())
        at += (content[at] == '\r' && at + 1 < content.size() && content[at + 1] == '\n') ? 2 : 1;
    line.next = at;
    position = at;
    return true;
}

// The blanks that the profile calls strip around names and values.
bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

QString trimBlanks(const QString &text)
{
    qsizetype from = 0;
    qsizetype to = text.size();
    while (from < to && text[from].unicode() < 0x80 && isBlank(static_cast<char>(text[from].unicode())))
        ++from;
    while (to > from && text[to - 1].unicode() < 0x80 && isBlank(static_cast<char>(text[to - 1].unicode())))
        --to;
    return text.mid(from, to - from);
}

struct Parsed {
    enum class Kind { Other, Header, Entry };
    Kind kind = Kind::Other;
    qsizetype nameBegin = 0;
    qsizetype nameEnd = 0;
    qsizetype valueBegin = 0; // entries only: the value without its blanks
    qsizetype valueEnd = 0;
    qsizetype lineEnd = 0;    // the end of the line's text, blanks included
};

// The delimiters are ASCII, and neither UTF-8 nor Windows-1252 makes an ASCII
// byte part of another character, so the structure is found on the bytes.
Parsed parseLine(const QByteArray &content, const Line &line)
{
    qsizetype b = line.begin;
    qsizetype e = line.end;
    if (b == 0 && content.startsWith("\xEF\xBB\xBF"))
        b += 3;
    while (b < e && isBlank(content[b]))
        ++b;
    while (e > b && isBlank(content[e - 1]))
        --e;
    Parsed parsed;
    if (b == e || content[b] == ';')
        return parsed;
    if (content[b] == '[') {
        qsizetype close = e - 1;
        while (close > b && content[close] != ']')
            --close;
        if (close > b) {
            parsed.kind = Parsed::Kind::Header;
            parsed.nameBegin = b + 1;
            parsed.nameEnd = close;
            return parsed;
        }
    }
    qsizetype equals = b;
    while (equals < e && content[equals] != '=')
        ++equals;
    if (equals == e)
        return parsed;
    parsed.kind = Parsed::Kind::Entry;
    parsed.nameBegin = b;
    parsed.nameEnd = equals;
    parsed.valueBegin = equals + 1;
    while (parsed.valueBegin < line.end && isBlank(content[parsed.valueBegin]))
        ++parsed.valueBegin;
    parsed.valueEnd = qMax(e, parsed.valueBegin);
    parsed.lineEnd = line.end;
    return parsed;
}

bool sameName(const QByteArray &content, qsizetype begin, qsizetype end, const QString &name)
{
    const QString found = trimBlanks(decodeText(content.mid(begin, end - begin)));
    return found.compare(name, Qt::CaseInsensitive) == 0;
}

// Where the key was found, or where the section ends for a new key.
struct Location {
    bool sectionFound = false;
    bool keyFound = false;
    Parsed entry;
    qsizetype insertAt = 0; // after the section's last entry (or its header)
    bool insertNeedsBreak = false; // that line has no line break of its own
};

Location locate(const QByteArray &content, const QString &section, const QString &key)
{
    Location where;
    bool inSection = false;
    qsizetype position = 0;
    Line line;
    while (nextLine(content, position, line)) {
        const Parsed parsed = parseLine(content, line);
        if (parsed.kind == Parsed::Kind::Header) {
            if (inSection)
                break;
            if (sameName(content, parsed.nameBegin, parsed.nameEnd, section)) {
                inSection = true;
                where.sectionFound = true;
                where.insertAt = line.next;
                where.insertNeedsBreak = line.next == line.end;
            }
            continue;
        }
        if (!inSection || parsed.kind != Parsed::Kind::Entry)
            continue;
        if (sameName(content, parsed.nameBegin, parsed.nameEnd, key)) {
            where.keyFound = true;
            where.entry = parsed;
            return where;
        }
        where.insertAt = line.next;
        where.insertNeedsBreak = line.next == line.end;
    }
    return where;
}

QByteArray lineBreakOf(const QByteArray &content)
{
    qsizetype position = 0;
    Line line;
    if (nextLine(content, position, line) && line.next > line.end)
        return content.mid(line.end, line.next - line.end);
    return QByteArrayLiteral("\r\n");
}

QString withoutEnclosingQuotes(const QString &value)
{
    if (value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'') && value.back() == value.front())
        return value.mid(1, value.size() - 2);
    return value;
}

bool writableSection(const QString &section)
{
    return !section.isEmpty() && !section.contains(u'\r') && !section.contains(u'\n');
}

bool writableKey(const QString &key)
{
    return !key.isEmpty() && !key.contains(u'\r') && !key.contains(u'\n') && !key.contains(u'=')
        && !key.startsWith(u'[') && !key.startsWith(u';');
}

} // namespace

QString profileValue(const QByteArray &content, const QString &section, const QString &key)
{
    const QString sectionName = trimBlanks(section);
    const QString keyName = trimBlanks(key);
    if (sectionName.isEmpty() || keyName.isEmpty())
        return QString();
    const Location where = locate(content, sectionName, keyName);
    if (!where.keyFound)
        return QString();
    const Parsed &entry = where.entry;
    QString value = withoutEnclosingQuotes(decodeText(content.mid(entry.valueBegin, entry.valueEnd - entry.valueBegin)));
    if (value.size() > kMaxValueLength) {
        value.truncate(kMaxValueLength);
        if (value.back().isHighSurrogate())
            value.chop(1);
    }
    return value;
}

std::optional<QByteArray> withProfileValue(const QByteArray &content, const QString &section, const QString &key,
                                           const QString &value)
{
    const QString sectionName = trimBlanks(section);
    const QString keyName = trimBlanks(key);
    if (!writableSection(sectionName) || !writableKey(keyName))
        return std::nullopt;
    qsizetype lineEnd = 0;
    while (lineEnd < value.size() && value[lineEnd] != u'\r' && value[lineEnd] != u'\n')
        ++lineEnd;
    // Blanks around a value never read back; blanks after "=" already in the
    // file are the line's layout and stay.
    const QByteArray valueBytes = encodeText(trimBlanks(value.left(lineEnd)));

    const Location where = locate(content, sectionName, keyName);
    QByteArray result = content;
    if (where.keyFound) {
        result.replace(where.entry.valueBegin, where.entry.lineEnd - where.entry.valueBegin, valueBytes);
        return result;
    }
    const QByteArray lineBreak = lineBreakOf(content);
    const QByteArray entryLine = encodeText(keyName) + '=' + valueBytes + lineBreak;
    if (where.sectionFound) {
        result.insert(where.insertAt, where.insertNeedsBreak ? lineBreak + entryLine : entryLine);
        return result;
    }
    if (!result.isEmpty() && !result.endsWith('\n') && !result.endsWith('\r'))
        result += lineBreak;
    result += '[' + encodeText(sectionName) + ']' + lineBreak + entryLine;
    return result;
}

} // namespace tonmill
