#include "media/modID3Tags.h"

#include "media/FileReplacement.h"
#include "media/GenreList.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QStringDecoder>
#include <QStringEncoder>

#include <algorithm>
#include <array>
#include <cmath>

namespace tonmill {

namespace {

constexpr qint64 kHeaderSize = 10;
constexpr qint64 kFooterSize = 10;
constexpr qint64 kID3v1Size = 128;
constexpr qint64 kMaxSynchsafe = 0x0FFFFFFF;
constexpr qint64 kZeroBlock = 64 << 10;

constexpr char kFlagUnsync = char(0x80);
constexpr char kFlagExtendedHeader = 0x40;
constexpr char kFlagV22Compression = 0x40;
constexpr char kFlagFooter = 0x10;

using Member = QString ID3TagInfo::*;

// The record's fields in the order their frames are written; the year's
// frame depends on the version.
struct FieldFrame {
    const char *id;
    Member member;
};
constexpr std::array<FieldFrame, 12> kFieldFrames{{
    {"TPE1", &ID3TagInfo::Artist},
    {"TALB", &ID3TagInfo::Album},
    {"TIT2", &ID3TagInfo::Title},
    {nullptr, &ID3TagInfo::Year},
    {"TCON", &ID3TagInfo::Genre},
    {"COMM", &ID3TagInfo::Comment},
    {"TRCK", &ID3TagInfo::Track},
    {"TENC", &ID3TagInfo::EncodedBy},
    {"WXXX", &ID3TagInfo::URL},
    {"TCOP", &ID3TagInfo::Copyright},
    {"TCOM", &ID3TagInfo::Composer},
    {"TOPE", &ID3TagInfo::OriginalArtist},
}};

// The frame that fills a field of the record when a tag is read.
Member fieldOf(const QByteArray &id)
{
    if (id == "TYER" || id == "TDRC")
        return &ID3TagInfo::Year;
    for (const FieldFrame &f : kFieldFrames) {
        if (f.id && id == f.id)
            return f.member;
    }
    return nullptr;
}

// Version 2.2 identifiers and their version 2.3 equivalents.
const QHash<QByteArray, QByteArray> &v22Identifiers()
{
    static const QHash<QByteArray, QByteArray> table{
        {"BUF", "RBUF"}, {"CNT", "PCNT"}, {"COM", "COMM"}, {"CRA", "AENC"}, {"ETC", "ETCO"}, {"EQU", "EQUA"},
        {"GEO", "GEOB"}, {"IPL", "IPLS"}, {"LNK", "LINK"}, {"MCI", "MCDI"}, {"MLL", "MLLT"}, {"PIC", "APIC"},
        {"POP", "POPM"}, {"REV", "RVRB"}, {"RVA", "RVAD"}, {"SLT", "SYLT"}, {"STC", "SYTC"}, {"TAL", "TALB"},
        {"TBP", "TBPM"}, {"TCM", "TCOM"}, {"TCO", "TCON"}, {"TCR", "TCOP"}, {"TDA", "TDAT"}, {"TDY", "TDLY"},
        {"TEN", "TENC"}, {"TFT", "TFLT"}, {"TIM", "TIME"}, {"TKE", "TKEY"}, {"TLA", "TLAN"}, {"TLE", "TLEN"},
        {"TMT", "TMED"}, {"TOA", "TOPE"}, {"TOF", "TOFN"}, {"TOL", "TOLY"}, {"TOR", "TORY"}, {"TOT", "TOAL"},
        {"TP1", "TPE1"}, {"TP2", "TPE2"}, {"TP3", "TPE3"}, {"TP4", "TPE4"}, {"TPA", "TPOS"}, {"TPB", "TPUB"},
        {"TRC", "TSRC"}, {"TRD", "TRDA"}, {"TRK", "TRCK"}, {"TSI", "TSIZ"}, {"TSS", "TSSE"}, {"TT1", "TIT1"},
        {"TT2", "TIT2"}, {"TT3", "TIT3"}, {"TXT", "TEXT"}, {"TXX", "TXXX"}, {"TYE", "TYER"}, {"UFI", "UFID"},
        {"ULT", "USLT"}, {"WAF", "WOAF"}, {"WAR", "WOAR"}, {"WAS", "WOAS"}, {"WCM", "WCOM"}, {"WCP", "WCOP"},
        {"WPB", "WPUB"}, {"WXX", "WXXX"},
    };
    return table;
}

quint32 byteAt(const QByteArray &data, qsizetype i)
{
    return static_cast<unsigned char>(data[i]);
}

qint64 readSynchsafe(const QByteArray &data, qsizetype at)
{
    return (qint64(byteAt(data, at) & 0x7F) << 21) | (qint64(byteAt(data, at + 1) & 0x7F) << 14)
        | (qint64(byteAt(data, at + 2) & 0x7F) << 7) | qint64(byteAt(data, at + 3) & 0x7F);
}

qint64 readBigEndian(const QByteArray &data, qsizetype at, int bytes)
{
    qint64 value = 0;
    for (int i = 0; i < bytes; ++i)
        value = (value << 8) | byteAt(data, at + i);
    return value;
}

QByteArray synchsafe(qint64 value)
{
    QByteArray out(4, 0);
    for (int i = 0; i < 4; ++i)
        out[i] = static_cast<char>((value >> (7 * (3 - i))) & 0x7F);
    return out;
}

QByteArray bigEndian(qint64 value)
{
    QByteArray out(4, 0);
    for (int i = 0; i < 4; ++i)
        out[i] = static_cast<char>((value >> (8 * (3 - i))) & 0xFF);
    return out;
}

QByteArray readAt(QIODevice &file, qint64 position, qint64 size)
{
    if (position < 0 || position > file.size() || !file.seek(position))
        return {};
    return file.read(size);
}

// The total size that a tag header announces, footer included; 0 for no header.
qint64 tagSize(const QByteArray &h)
{
    if (h.size() < kHeaderSize || !h.startsWith("ID3"))
        return 0;
    const bool footer = byteAt(h, 3) >= 4 && (h[5] & kFlagFooter);
    return readSynchsafe(h, 6) + kHeaderSize + (footer ? kFooterSize : 0);
}

bool tagStartsAt(QIODevice &file, qint64 position)
{
    return readAt(file, position, 3) == "ID3";
}

// Undoes unsynchronisation: every 0xFF 0x00 pair stands for 0xFF.
QByteArray resync(const QByteArray &data)
{
    QByteArray out;
    out.reserve(data.size());
    for (qsizetype i = 0; i < data.size(); ++i) {
        out += data[i];
        if (data[i] == char(0xFF) && i + 1 < data.size() && data[i + 1] == 0)
            ++i;
    }
    return out;
}

bool validIdentifier(const QByteArray &id)
{
    for (char c : id) {
        if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')))
            return false;
    }
    return true;
}

// ---- text inside frames ----

bool wideEncoding(char encoding)
{
    return encoding == 1 || encoding == 2;
}

// Where the terminated string that starts at from ends (the terminator's
// position), or the end of the data.
qsizetype terminatorAt(const QByteArray &data, qsizetype from, char encoding)
{
    if (!wideEncoding(encoding)) {
        const qsizetype at = data.indexOf('\0', from);
        return at < 0 ? data.size() : at;
    }
    for (qsizetype i = from; i + 1 < data.size(); i += 2) {
        if (data[i] == 0 && data[i + 1] == 0)
            return i;
    }
    return data.size();
}

qsizetype afterTerminator(const QByteArray &data, qsizetype at, char encoding)
{
    return qMin(data.size(), at + (wideEncoding(encoding) ? 2 : 1));
}

QString decodeText(const QByteArray &bytes, char encoding)
{
    switch (encoding) {
    case 1: // UTF-16 after a byte order mark
        if (bytes.startsWith("\xFE\xFF"))
            return QStringDecoder(QStringDecoder::Utf16BE).decode(bytes.mid(2));
        return QStringDecoder(QStringDecoder::Utf16LE).decode(bytes.startsWith("\xFF\xFE") ? bytes.mid(2) : bytes);
    case 2: return QStringDecoder(QStringDecoder::Utf16BE).decode(bytes);
    case 3: return QString::fromUtf8(bytes);
    default: return QString::fromLatin1(bytes);
    }
}

// The first string of a text frame.
QString textFrameValue(const QByteArray &body)
{
    if (body.isEmpty())
        return {};
    const char encoding = body[0];
    return decodeText(body.mid(1, terminatorAt(body, 1, encoding) - 1), encoding);
}

// COMM: encoding, language, description, text.
QString commentValue(const QByteArray &body)
{
    if (body.size() < 4)
        return {};
    const char encoding = body[0];
    const qsizetype text = afterTerminator(body, terminatorAt(body, 4, encoding), encoding);
    return decodeText(body.mid(text, terminatorAt(body, text, encoding) - text), encoding);
}

// WXXX: encoding, description, then the address in ISO-8859-1.
QString urlValue(const QByteArray &body)
{
    if (body.isEmpty())
        return {};
    const char encoding = body[0];
    const qsizetype url = afterTerminator(body, terminatorAt(body, 1, encoding), encoding);
    return decodeText(body.mid(url, terminatorAt(body, url, '\0') - url), '\0');
}

QString fieldValue(const QByteArray &id, const QByteArray &body)
{
    if (id == "COMM")
        return commentValue(body);
    if (id == "WXXX")
        return urlValue(body);
    return textFrameValue(body);
}

// ---- version 2.2 frames ----

// PIC names its image format with three letters where APIC has a MIME type.
QByteArray pictureFromV22(const QByteArray &body)
{
    if (body.size() < 4)
        return {};
    const QByteArray format = body.mid(1, 3).toUpper();
    QByteArray mime;
    if (format == "PNG")
        mime = "image/png";
    else if (format == "JPG")
        mime = "image/jpeg";
    else if (format == "-->")
        mime = "-->";
    else
        mime = "image/" + format.toLower();
    return body.left(1) + mime + '\0' + body.mid(4);
}

// LNK names the linked frame with a version 2.2 identifier.
QByteArray linkFromV22(const QByteArray &body)
{
    const QByteArray linked = v22Identifiers().value(body.left(3));
    if (body.size() < 3 || linked.isEmpty())
        return {};
    return linked + body.mid(3);
}

// ---- the frames of one tag ----

struct TagLayout {
    int major;
    bool unsynchronised;
};

// A frame's body as it reads with its per-frame extras removed; empty when
// the frame cannot be kept (compressed or encrypted).
QByteArray frameData(QByteArray body, const TagLayout &tag, quint32 formatFlags)
{
    if (tag.major == 3) {
        if (formatFlags & 0xC0)
            return {};
        if (formatFlags & 0x20)
            body.remove(0, 1); // grouping identity
        return body;
    }
    if (formatFlags & 0x0C)
        return {};
    if (formatFlags & 0x40)
        body.remove(0, 1); // grouping identity
    if (formatFlags & 0x01)
        body.remove(0, 4); // data length indicator
    if ((formatFlags & 0x02) || tag.unsynchronised)
        body = resync(body);
    return body;
}

void takeFrame(QByteArray id, QByteArray body, ID3TagInfo &info, ID3FrameList &preserved)
{
    if (body.isEmpty())
        return;
    if (const Member member = fieldOf(id))
        info.*member = fieldValue(id, body);
    else
        preserved.append({id, body});
}

void readFrames(const QByteArray &data, qsizetype position, const TagLayout &tag, ID3TagInfo &info,
                ID3FrameList &preserved)
{
    const bool v22 = tag.major == 2;
    const qsizetype idSize = v22 ? 3 : 4;
    const qsizetype headerSize = v22 ? 6 : 10;
    while (position + headerSize <= data.size()) {
        QByteArray id = data.mid(position, idSize);
        if (id[0] == 0 || !validIdentifier(id))
            return; // padding, or no more frames that make sense
        qint64 size = 0;
        if (v22)
            size = readBigEndian(data, position + 3, 3);
        else if (tag.major == 3)
            size = readBigEndian(data, position + 4, 4);
        else
            size = readSynchsafe(data, position + 4);
        const quint32 formatFlags = v22 ? 0 : byteAt(data, position + 9);
        position += headerSize;
        if (size > data.size() - position)
            return;
        QByteArray body = data.mid(position, size);
        position += size;

        if (v22) {
            id = v22Identifiers().value(id);
            if (id == "APIC")
                body = pictureFromV22(body);
            else if (id == "LINK")
                body = linkFromV22(body);
            if (id.isEmpty())
                continue;
        } else {
            body = frameData(body, tag, formatFlags);
        }
        takeFrame(id, body, info, preserved);
    }
}

// ---- writing ----

bool fitsLatin1(const QString &value)
{
    return std::all_of(value.begin(), value.end(), [](QChar c) { return c.unicode() <= 0xFF; });
}

// Text in ISO-8859-1 (encoding byte 0), or where it holds characters that
// ISO-8859-1 has not (Japanese, Cyrillic...) in UTF-16 after a byte order mark
// (encoding byte 1), which both versions read; the comment in English and
// the address, each with an empty description. The address is always
// ISO-8859-1.
QByteArray frameBody(const QByteArray &id, const QString &value)
{
    const bool wide = id != "WXXX" && !fitsLatin1(value);
    const QByteArray encoding(1, wide ? '\1' : '\0');
    const QByteArray end(wide ? 2 : 1, '\0');
    const QByteArray text = wide ? QByteArray("\xFF\xFE", 2) + QByteArray(QStringEncoder(QStringEncoder::Utf16LE).encode(value))
                                 : value.toLatin1();
    if (id == "COMM")
        return encoding + QByteArray("eng", 3) + end + text + end;
    if (id == "WXXX")
        return QByteArray(2, '\0') + text + '\0';
    return encoding + text + end;
}

QByteArray frame(const QByteArray &id, const QByteArray &body, bool version4)
{
    return id + (version4 ? synchsafe(body.size()) : bigEndian(body.size())) + QByteArray(2, '\0') + body;
}

// All frames of the new tag: the record's in their fixed order, then the kept ones.
QByteArray frames(const ID3TagInfo &record, int version4, const ID3FrameList &preserved)
{
    QByteArray out;
    for (const FieldFrame &f : kFieldFrames) {
        const QString &value = record.*f.member;
        if (value.trimmed().isEmpty())
            continue;
        const QByteArray id = f.id ? QByteArray(f.id) : QByteArray(version4 ? "TDRC" : "TYER");
        out += frame(id, frameBody(id, value), version4 != 0);
    }
    for (const ID3Frame &kept : preserved) {
        if (fieldOf(kept.id))
            continue;
        QByteArray id = kept.id;
        // Version 2.4 renamed these two; only the exact version flag 1 renames.
        if (version4 == 1 && id == "TORY")
            id = "TDOR";
        else if (version4 == 1 && id == "IPLS")
            id = "TIPL";
        out += frame(id, kept.body, version4 != 0);
    }
    return out;
}

QByteArray header(int version4, qint64 total)
{
    return QByteArray("ID3") + char(version4 ? 4 : 3) + QByteArray(2, '\0') + synchsafe(total - kHeaderSize);
}

bool writeZeros(QIODevice &out, qint64 count)
{
    const QByteArray zeros(qMin(count, kZeroBlock), '\0');
    while (count > 0) {
        const qint64 n = qMin(count, kZeroBlock);
        if (out.write(zeros.constData(), n) != n)
            return false;
        count -= n;
    }
    return true;
}

// A tag that outgrows the old one moves the audio: the new tag and the audio
// go into a new file that then takes the old one's place.
bool rewriteGrown(QFile &file, const QByteArray &tag, qint64 total, qint64 oldSize)
{
    FileReplacement replacement(file.fileName());
    return replacement.open() && replacement.reserve(total + file.size() - oldSize)
        && replacement.output().write(tag) == tag.size()
        && writeZeros(replacement.output(), total - tag.size()) && replacement.appendFrom(file, oldSize)
        && replacement.commit();
}

// A file without any write permission is read-only, for root too, as a
// read-only file is for everyone on the original platform.
bool readOnly(const QFileInfo &info)
{
    constexpr auto anyWrite = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
    return info.exists() && !(info.permissions() & anyWrite);
}

bool openForWriting(QFile &file)
{
    return !readOnly(QFileInfo(file)) && file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly);
}

int trackNumber(const QString &track)
{
    const QString t = track.trimmed();
    if (t.size() >= 4)
        return 0;
    bool numeric = false;
    const double value = t.toDouble(&numeric);
    if (!numeric || !(value >= 1 && value <= 255))
        return 0;
    return static_cast<int>(std::nearbyint(value));
}

void putField(QByteArray &tag, qsizetype offset, qsizetype size, const QString &value)
{
    const QByteArray bytes = value.toLatin1().left(size);
    tag.replace(offset, bytes.size(), bytes);
}

} // namespace

QByteArray id3v1Tag(const ID3TagInfo &info)
{
    QByteArray tag(kID3v1Size, '\0');
    tag.replace(0, 3, "TAG");
    putField(tag, 3, 30, info.Title);
    putField(tag, 33, 30, info.Artist);
    putField(tag, 63, 30, info.Album);
    putField(tag, 93, 4, info.Year);
    putField(tag, 97, 28, QString(info.Comment).replace(QStringLiteral("\r\n"), QStringLiteral(" ")));
    tag[125] = 0; // a zero here says that the next byte is a track number
    tag[126] = static_cast<char>(trackNumber(info.Track));
    tag[127] = static_cast<char>(GenreNumber(info.Genre));
    return tag;
}

QString genreFrameText(const QString &genre)
{
    const int number = GenreNumber(genre);
    return number <= 147 ? QLatin1Char('(') + QString::number(number) + QLatin1Char(')') + GenreName(number) : genre;
}

qint64 paddedTagSize(qint64 needed)
{
    const qint64 steps = needed / 2048;
    const qint64 rest = needed % 2048;
    return steps * 2048 + (rest >= 1024 ? 4096 : 2048) + kHeaderSize;
}

void ClearReadOnly(const QString &fileName)
{
    const QFileInfo info(fileName);
    if (readOnly(info))
        QFile::setPermissions(fileName, info.permissions() | QFileDevice::WriteOwner);
}

bool WriteID3v1Tag(const QString &fileName, const ID3TagInfo &info, bool clearReadOnly)
{
    if (clearReadOnly)
        ClearReadOnly(fileName);
    QFile file(fileName);
    if (!openForWriting(file))
        return false;
    const qint64 size = file.size();
    qint64 position = size;
    if (size >= kID3v1Size && readAt(file, size - kID3v1Size, 3) == "TAG")
        position = size - kID3v1Size;
    return file.seek(position) && file.write(id3v1Tag(info)) == kID3v1Size && file.flush();
}

bool WriteID3v2Tag(const QString &fileName, const ID3TagInfo &info, int version4, bool discardExisting,
                   bool clearReadOnly)
{
    if (clearReadOnly)
        ClearReadOnly(fileName);
    QFile file(fileName);
    if (!openForWriting(file))
        return false;
    const qint64 size = file.size();
    qint64 oldSize = GetID3v2TagSize(file, 0);
    // A header that claims more than the file holds is no tag this write may
    // overwrite: its bytes stay, behind the new tag, as part of the audio.
    if (oldSize > size)
        oldSize = 0;

    ID3FrameList preserved;
    if (oldSize > 0 && !discardExisting) {
        ID3TagInfo found;
        qint64 position = 0;
        while (position >= 0 && tagStartsAt(file, position))
            position = ReadID3v2Tag(file, position, found, preserved, kID3ReadLimit);
    }

    ID3TagInfo record = info;
    record.Genre = genreFrameText(info.Genre);
    const QByteArray body = frames(record, version4, preserved);
    const qint64 needed = body.size();
    // An empty record on a file without a tag leaves nothing to write.
    if (needed == 0 && oldSize == 0)
        return false;
    // The new tag takes the old one's space only when its frames fit there
    // beside the header.
    const bool grows = needed + kHeaderSize > oldSize;
    const qint64 total = grows ? paddedTagSize(needed) : oldSize;
    if (total - kHeaderSize > kMaxSynchsafe)
        return false;

    const QByteArray tag = header(version4, total) + body;
    if (grows)
        return rewriteGrown(file, tag, total, oldSize);
    return file.seek(0) && file.write(tag) == tag.size() && writeZeros(file, total - tag.size()) && file.flush();
}

qint64 GetID3v2TagSize(QIODevice &file, qint64 position)
{
    return tagSize(readAt(file, position, kHeaderSize));
}

qint64 ReadID3v2Tag(QIODevice &file, qint64 position, ID3TagInfo &info, ID3FrameList &preserved, qint64 maxSize)
{
    const QByteArray h = readAt(file, position, kHeaderSize);
    const qint64 total = tagSize(h);
    if (total == 0)
        return -1;
    const int major = static_cast<int>(byteAt(h, 3));
    const char flags = h[5];
    const qint64 bodySize = readSynchsafe(h, 6);

    const bool compressed = major == 2 && (flags & kFlagV22Compression);
    if (major >= 2 && major <= 4 && !compressed) {
        const TagLayout layout{major, (flags & kFlagUnsync) != 0};
        QByteArray data = readAt(file, position + kHeaderSize, qBound<qint64>(0, maxSize, bodySize));
        // Before version 2.4 the whole tag is unsynchronised at once, the
        // extended header included; from 2.4 on each frame is on its own.
        if (major < 4 && layout.unsynchronised)
            data = resync(data);
        qint64 start = 0;
        if (major >= 3 && (flags & kFlagExtendedHeader) && data.size() >= 4)
            start = major == 3 ? readBigEndian(data, 0, 4) + 4 : readSynchsafe(data, 0);
        if (start >= 0 && start <= data.size())
            readFrames(data, static_cast<qsizetype>(start), layout, info, preserved);
    }

    const qint64 next = position + total;
    return tagStartsAt(file, next) ? next : -1;
}

} // namespace tonmill
