#include "convert/NamePattern.h"

#include "settings/OwnCaptions.h"

#include <QDir>
#include <QFileInfo>
#include <QList>
#include <QStringList>

#include <unistd.h>

namespace tonmill {

namespace {

const QStringList kPlaceholders = {
    QStringLiteral("artist"), QStringLiteral("albumartist"), QStringLiteral("album"),    QStringLiteral("title"),
    QStringLiteral("track"),  QStringLiteral("disc"),        QStringLiteral("year"),     QStringLiteral("genre"),
    QStringLiteral("filename"), QStringLiteral("folder"),    QStringLiteral("relpath"),
};
const QStringList kTagPlaceholders = kPlaceholders.mid(0, 8);
constexpr int kMaxWidth = 9;

// One piece of a pattern's path part: literal text, or a placeholder with
// the width its number is padded to (0: as it stands).
struct Piece {
    QString text;
    bool placeholder = false;
    int width = 0;
};

bool unwise(QChar c)
{
    static const QString kForbidden = QStringLiteral("/\\<>:\"|?*");
    return c.unicode() < 0x20 || c.unicode() == 0x7f || kForbidden.contains(c);
}

// The pieces of one path part, or why the part cannot be read.
QString parsePart(const QString &part, QList<Piece> &pieces)
{
    qsizetype i = 0;
    while (i < part.size()) {
        const QChar c = part[i];
        if (c == QLatin1Char('}'))
            return QStringLiteral("the naming pattern has a \"}\" without its \"{\"");
        if (c != QLatin1Char('{')) {
            if (unwise(c))
                return QStringLiteral("the naming pattern holds a character that does not belong in file names "
                                      "(U+%1)").arg(c.unicode(), 4, 16, QLatin1Char('0'));
            if (pieces.isEmpty() || pieces.last().placeholder)
                pieces << Piece{};
            pieces.last().text += c;
            ++i;
            continue;
        }
        const qsizetype close = part.indexOf(QLatin1Char('}'), i);
        if (close < 0)
            return QStringLiteral("the naming pattern has a \"{\" without its \"}\"");
        const QString inside = part.mid(i + 1, close - i - 1);
        const QString name = inside.section(QLatin1Char(':'), 0, 0);
        if (!kPlaceholders.contains(name))
            return QStringLiteral("the naming pattern names an unknown placeholder {%1}; known are {%2}")
                .arg(inside, kPlaceholders.join(QStringLiteral("} {")));
        Piece piece{name, true, 0};
        if (inside.contains(QLatin1Char(':'))) {
            bool ok = false;
            piece.width = inside.section(QLatin1Char(':'), 1).toInt(&ok);
            const bool numbered = name == QLatin1String("track") || name == QLatin1String("disc");
            if (!numbered || !ok || piece.width < 1 || piece.width > kMaxWidth)
                return QStringLiteral("only {track} and {disc} take a width, from 1 to %1 ({track:02}), not {%2}")
                    .arg(kMaxWidth).arg(inside);
        }
        pieces << piece;
        i = close + 1;
    }
    return {};
}

// The pattern's parts, each as its pieces, or why it cannot be used.
QString parsePattern(const QString &pattern, QList<QList<Piece>> &parts)
{
    if (pattern.trimmed().isEmpty())
        return QStringLiteral("the naming pattern is empty");
    if (pattern.startsWith(QLatin1Char('/')) || pattern.startsWith(QLatin1Char('~')))
        return QStringLiteral("the naming pattern must be a path below the output folder, not an absolute path");
    const QStringList texts = pattern.split(QLatin1Char('/'));
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const QString &text = texts[i];
        if (text.trimmed().isEmpty())
            return QStringLiteral("the naming pattern has an empty folder name (\"//\" or a \"/\" at an end)");
        if (text.trimmed() == QLatin1String(".") || text.trimmed() == QLatin1String(".."))
            return QStringLiteral("the naming pattern may not name \"%1\": every output stays in the output folder")
                .arg(text);
        QList<Piece> pieces;
        if (const QString why = parsePart(text, pieces); !why.isEmpty())
            return why;
        const bool hasRelpath = std::any_of(pieces.cbegin(), pieces.cend(), [](const Piece &p) {
            return p.placeholder && p.text == QLatin1String("relpath");
        });
        if (hasRelpath && (pieces.size() != 1 || i == texts.size() - 1))
            return QStringLiteral("{relpath} stands alone between slashes, before the file name");
        parts << pieces;
    }
    return {};
}

QString numberText(const QString &value, int width)
{
    const QString first = value.section(QLatin1Char('/'), 0, 0).trimmed();
    bool ok = false;
    const int number = first.toInt(&ok);
    if (!ok || number < 0)
        return value;
    return QStringLiteral("%1").arg(number, width, 10, QLatin1Char('0'));
}

QString relpathOf(const PatternSource &source)
{
    const QString folder = QFileInfo(source.path).absolutePath();
    const QString below = QDir(source.baseDir).relativeFilePath(folder);
    if (below == QLatin1String(".") || below.startsWith(QLatin1String("..")) || QDir::isAbsolutePath(below))
        return {};
    return below;
}

QString value(const Piece &piece, const PatternSource &source, const PatternFallbacks &fallbacks)
{
    const SourceTags &t = source.tags;
    const QString &name = piece.text;
    const auto orElse = [](const QString &given, const QString &fallback) {
        const QString safe = safeNamePart(given);
        return safe.isEmpty() ? fallback : safe;
    };
    if (name == QLatin1String("artist"))
        return orElse(t.artist, fallbacks.artist);
    if (name == QLatin1String("albumartist"))
        return orElse(t.albumArtist, orElse(t.artist, fallbacks.artist));
    if (name == QLatin1String("album"))
        return orElse(t.album, fallbacks.album);
    if (name == QLatin1String("title"))
        return orElse(t.title, fallbacks.title);
    if (name == QLatin1String("genre"))
        return orElse(t.genre, fallbacks.genre);
    if (name == QLatin1String("year")) {
        const QString year = t.year.trimmed();
        // A full date gives its year.
        const bool dated = year.size() > 4 && year.left(4).toInt() > 0 && !year[4].isDigit();
        return orElse(dated ? year.left(4) : year, fallbacks.year);
    }
    if (name == QLatin1String("track") || name == QLatin1String("disc")) {
        const QString &number = name == QLatin1String("track") ? t.track : t.disc;
        return orElse(numberText(number.isEmpty() ? QStringLiteral("0") : number, piece.width), QStringLiteral("0"));
    }
    if (name == QLatin1String("filename"))
        return orElse(QFileInfo(source.path).completeBaseName(), QStringLiteral("_"));
    if (name == QLatin1String("folder"))
        return orElse(QFileInfo(source.path).absoluteDir().dirName(), QStringLiteral("_"));
    return {};
}

int utf8Size(const QString &text)
{
    return int(text.toUtf8().size());
}

} // namespace

PatternFallbacks patternFallbacks(const QString &languageName)
{
    PatternFallbacks f;
    f.artist = ownText("Main", "pattern.artist", languageName);
    f.album = ownText("Main", "pattern.album", languageName);
    f.title = ownText("Main", "pattern.title", languageName);
    f.genre = ownText("Main", "pattern.genre", languageName);
    f.year = ownText("Main", "pattern.year", languageName);
    return f;
}

QString patternRefusal(const QString &pattern)
{
    QList<QList<Piece>> parts;
    return parsePattern(pattern, parts);
}

bool patternUsesTags(const QString &pattern)
{
    QList<QList<Piece>> parts;
    if (!parsePattern(pattern, parts).isEmpty())
        return false;
    for (const QList<Piece> &pieces : parts) {
        for (const Piece &p : pieces) {
            if (p.placeholder && kTagPlaceholders.contains(p.text))
                return true;
        }
    }
    return false;
}

QString safeNamePart(const QString &value)
{
    QString safe;
    safe.reserve(value.size());
    for (const QChar c : value)
        safe += unwise(c) ? QLatin1Char('_') : c;
    // A leading dot would hide the file, and trailing dots and blanks are
    // lost or refused by other systems.
    safe = safe.trimmed();
    while (safe.startsWith(QLatin1Char('.')))
        safe = safe.mid(1).trimmed();
    while (safe.endsWith(QLatin1Char('.')) || safe.endsWith(QLatin1Char(' ')))
        safe.chop(1);
    return safe;
}

QString fitName(const QString &stem, const QString &extension, int maxBytes)
{
    const QString suffix = extension.isEmpty() ? QString() : QLatin1Char('.') + extension;
    const int budget = maxBytes - utf8Size(suffix);
    if (utf8Size(stem) <= budget)
        return stem + suffix;
    QString kept;
    int used = 0;
    for (qsizetype i = 0; i < stem.size();) {
        // A surrogate pair is one character.
        const qsizetype length = stem[i].isHighSurrogate() && i + 1 < stem.size() ? 2 : 1;
        const QString character = stem.mid(i, length);
        const int size = utf8Size(character);
        if (used + size > budget)
            break;
        kept += character;
        used += size;
        i += length;
    }
    return kept.trimmed() + suffix;
}

int nameMaxFor(const QString &folder)
{
    QString existing = QFileInfo(folder).absoluteFilePath();
    while (!QFileInfo::exists(existing) && existing != QLatin1String("/"))
        existing = QFileInfo(existing).absolutePath();
    const long max = ::pathconf(QFile::encodeName(existing).constData(), _PC_NAME_MAX);
    return max > 0 ? int(std::min<long>(max, 255)) : 255;
}

QString expandPattern(const QString &pattern, const PatternSource &source, const PatternFallbacks &fallbacks,
                      const QString &outputRoot, const QString &extension, int nameMax)
{
    QList<QList<Piece>> parts;
    if (!parsePattern(pattern, parts).isEmpty())
        return {};
    QStringList names;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const QList<Piece> &pieces = parts[i];
        if (pieces.size() == 1 && pieces[0].placeholder && pieces[0].text == QLatin1String("relpath")) {
            for (const QString &folder : relpathOf(source).split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
                if (const QString safe = safeNamePart(folder); !safe.isEmpty())
                    names << fitName(safe, QString(), nameMax);
            }
            continue;
        }
        QString text;
        for (const Piece &p : pieces)
            text += p.placeholder ? value(p, source, fallbacks) : p.text;
        const bool fileName = i == parts.size() - 1;
        names << fitName(text.trimmed(), fileName ? extension : QString(), nameMax);
    }
    const QString root = QDir::cleanPath(QDir(outputRoot).absolutePath());
    const QString path = QDir::cleanPath(root + QLatin1Char('/') + names.join(QLatin1Char('/')));
    // Safe values cannot climb out; this holds it whatever they become.
    if (!path.startsWith(root + QLatin1Char('/')) && !(root == QLatin1String("/") && path.size() > 1))
        return {};
    return path;
}

} // namespace tonmill
