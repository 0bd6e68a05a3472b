#include "media/CoverArt.h"

#include "media/FileReplacement.h"

#include <QFile>
#include <QIODevice>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <optional>

namespace tonmill {

namespace {

constexpr quint32 kFrontCover = 3;
// Pictures and headers past these sizes are taken for damage, not covers.
constexpr qsizetype kMaxCoverBytes = qsizetype(16) << 20;
constexpr qint64 kMaxOggHeaderBytes = qint64(64) << 20;
constexpr qint64 kMaxAsfHeaderBytes = qint64(64) << 20;

quint16 le16(QByteArrayView b, qsizetype at) { return qFromLittleEndian<quint16>(b.data() + at); }
quint32 le32(QByteArrayView b, qsizetype at) { return qFromLittleEndian<quint32>(b.data() + at); }
quint64 le64(QByteArrayView b, qsizetype at) { return qFromLittleEndian<quint64>(b.data() + at); }
quint16 be16(QByteArrayView b, qsizetype at) { return qFromBigEndian<quint16>(b.data() + at); }
quint32 be32(QByteArrayView b, qsizetype at) { return qFromBigEndian<quint32>(b.data() + at); }

template<typename T>
void putLe(QByteArray &out, T value)
{
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    out.append(bytes, sizeof(T));
}

void putBe32(QByteArray &out, quint32 value)
{
    char bytes[4];
    qToBigEndian(value, bytes);
    out.append(bytes, 4);
}

QString coverProblem(const CoverPicture &cover)
{
    if (cover.data.isEmpty() || cover.mime.isEmpty())
        return QStringLiteral("no picture to embed");
    if (cover.data.size() > kMaxCoverBytes)
        return QStringLiteral("the picture is too large");
    return {};
}

// ---- pictures ----

PictureShape jpegShape(QByteArrayView d)
{
    qsizetype at = 2;
    while (at + 4 <= d.size()) {
        if (quint8(d[at]) != 0xFF)
            return {};
        const quint8 marker = quint8(d[at + 1]);
        if (marker == 0xFF) { // fill byte before a marker
            ++at;
            continue;
        }
        if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) { // markers without a segment
            at += 2;
            continue;
        }
        const qsizetype length = be16(d, at + 2);
        // The frame header comes before the scan or not at all.
        if (length < 2 || marker == 0xD9 || marker == 0xDA)
            return {};
        const bool frame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (frame) {
            if (length < 8 || at + 2 + length > d.size())
                return {};
            PictureShape shape;
            shape.height = be16(d, at + 5);
            shape.width = be16(d, at + 7);
            shape.depth = quint32(quint8(d[at + 4])) * quint8(d[at + 9]);
            return shape;
        }
        at += 2 + length;
    }
    return {};
}

quint32 pngPaletteSize(QByteArrayView d)
{
    qint64 at = 8;
    while (at + 12 <= d.size()) {
        const qint64 length = be32(d, at);
        const QByteArrayView type = d.sliced(at + 4, 4);
        if (type == "PLTE")
            return quint32(length / 3);
        if (type == "IDAT")
            return 0;
        at += 12 + length;
    }
    return 0;
}

PictureShape pngShape(QByteArrayView d)
{
    if (d.size() < 33 || d.sliced(12, 4) != "IHDR")
        return {};
    PictureShape shape;
    shape.width = be32(d, 16);
    shape.height = be32(d, 20);
    const quint32 bits = quint8(d[24]);
    switch (quint8(d[25])) {
    case 0: shape.depth = bits; break;
    case 2: shape.depth = bits * 3; break;
    case 3: // the palette's entries are 8-bit RGB whatever the index size
        shape.depth = 24;
        shape.colors = pngPaletteSize(d);
        break;
    case 4: shape.depth = bits * 2; break;
    case 6: shape.depth = bits * 4; break;
    default: break;
    }
    return shape;
}

// ---- Ogg ----

constexpr quint8 kContinued = 0x01;
constexpr quint8 kFirstPage = 0x02;
constexpr quint8 kLastPage = 0x04;
constexpr qsizetype kPageHead = 27;
constexpr qsizetype kSerialAt = 14;
constexpr qsizetype kSequenceAt = 18;
constexpr qsizetype kCrcAt = 22;

constexpr std::array<quint32, 256> kCrcTable = [] {
    std::array<quint32, 256> table{};
    for (quint32 i = 0; i < 256; ++i) {
        quint32 r = i << 24;
        for (int bit = 0; bit < 8; ++bit)
            r = (r & 0x80000000u) ? (r << 1) ^ 0x04C11DB7u : r << 1;
        table[i] = r;
    }
    return table;
}();

void setCrc(QByteArray &page)
{
    qToLittleEndian<quint32>(0, page.data() + kCrcAt);
    qToLittleEndian<quint32>(oggCrc(page), page.data() + kCrcAt);
}

quint8 pageFlags(QByteArrayView page) { return quint8(page[5]); }
qsizetype lacingCount(QByteArrayView page) { return quint8(page[26]); }

// The next page of source, checked against its checksum. Nothing at the end
// of the file, or when the page is damaged, which `why` then says.
std::optional<QByteArray> readOggPage(QIODevice &source, QString &why)
{
    const qint64 start = source.pos();
    QByteArray page = source.read(kPageHead);
    if (page.isEmpty()) {
        if (!source.atEnd())
            why = QStringLiteral("cannot read the file");
        return std::nullopt;
    }
    if (page.size() < kPageHead || !page.startsWith("OggS") || page[4] != 0) {
        why = start == 0 ? QStringLiteral("not an Ogg file") : QStringLiteral("no Ogg page at byte %1").arg(start);
        return std::nullopt;
    }
    const QByteArray lacing = source.read(lacingCount(page));
    qsizetype size = 0;
    for (const char value : lacing)
        size += quint8(value);
    page += lacing;
    page += source.read(size);
    if (lacing.size() != lacingCount(page) || page.size() != kPageHead + lacing.size() + size) {
        why = QStringLiteral("the file ends inside an Ogg page");
        return std::nullopt;
    }
    const quint32 stored = le32(page, kCrcAt);
    setCrc(page);
    if (le32(page, kCrcAt) != stored) {
        why = QStringLiteral("damaged Ogg page at byte %1").arg(start);
        return std::nullopt;
    }
    return page;
}

enum class OggCodec { Vorbis, Opus };

std::optional<OggCodec> codecOf(QByteArrayView identification)
{
    if (identification.size() >= 30 && identification.startsWith("\x01vorbis"))
        return OggCodec::Vorbis;
    if (identification.size() >= 19 && identification.startsWith("OpusHead"))
        return OggCodec::Opus;
    return std::nullopt;
}

// Identification, comment and, for Vorbis, setup.
int headerPacketCount(OggCodec codec) { return codec == OggCodec::Vorbis ? 3 : 2; }

QByteArrayView commentMagic(OggCodec codec) { return codec == OggCodec::Vorbis ? "\x03vorbis" : "OpusTags"; }

struct OggHeaders {
    OggCodec codec = OggCodec::Vorbis;
    QList<QByteArray> packets;
    quint32 serial = 0;
    quint32 firstSequence = 0;
    quint32 nextSequence = 0; // of the first page after the header packets
};

qsizetype neededPackets(const OggHeaders &headers)
{
    // The identification packet tells how many follow it.
    return headers.packets.isEmpty() ? 1 : headerPacketCount(headers.codec);
}

// Takes the packets ending on one header page into `headers`; `open` is the
// packet still going on from the page before.
QString takeHeaderPackets(QByteArrayView page, QByteArray &open, OggHeaders &headers)
{
    qsizetype at = kPageHead + lacingCount(page);
    for (qsizetype i = 0; i < lacingCount(page); ++i) {
        // The first audio packet begins a page of its own.
        if (headers.packets.size() == neededPackets(headers))
            return QStringLiteral("audio shares a page with the stream headers");
        const quint8 value = quint8(page[kPageHead + i]);
        open += page.sliced(at, value);
        at += value;
        if (value == 255)
            continue;
        headers.packets << open;
        open.clear();
        if (headers.packets.size() == 1) {
            const std::optional<OggCodec> codec = codecOf(headers.packets.front());
            if (!codec)
                return QStringLiteral("not an Ogg Vorbis or Opus stream");
            headers.codec = *codec;
        }
    }
    return {};
}

QString readOggHeaders(QIODevice &source, OggHeaders &headers)
{
    QByteArray open;
    for (bool first = true; headers.packets.size() < neededPackets(headers); first = false) {
        QString why;
        const std::optional<QByteArray> page = readOggPage(source, why);
        if (!page && why.isEmpty())
            return first ? QStringLiteral("not an Ogg file") : QStringLiteral("the file ends inside the stream headers");
        if (!page)
            return why;
        const quint8 flags = pageFlags(*page);
        if (first) {
            if (!(flags & kFirstPage))
                return QStringLiteral("not an Ogg file");
            headers.serial = le32(*page, kSerialAt);
            headers.firstSequence = le32(*page, kSequenceAt);
        } else if (le32(*page, kSerialAt) != headers.serial || (flags & kFirstPage)) {
            return QStringLiteral("more than one logical stream");
        }
        if (bool(flags & kContinued) != !open.isEmpty() || (flags & kLastPage))
            return QStringLiteral("damaged stream headers");
        if (source.pos() > kMaxOggHeaderBytes)
            return QStringLiteral("the stream headers are too large");
        headers.nextSequence = le32(*page, kSequenceAt) + 1;
        if (const QString why = takeHeaderPackets(*page, open, headers); !why.isEmpty())
            return why;
    }
    return {};
}

bool isFrontCoverComment(QByteArrayView comment)
{
    const qsizetype equals = comment.indexOf('=');
    if (equals < 0
        || QLatin1String(comment.first(equals)).compare(QLatin1String("METADATA_BLOCK_PICTURE"), Qt::CaseInsensitive) != 0)
        return false;
    // The picture type is the block's first four bytes, the first eight characters in base64.
    const QByteArrayView value = comment.sliced(equals + 1);
    const QByteArray start = QByteArray::fromBase64(value.first(qMin<qsizetype>(8, value.size())).toByteArray());
    return start.size() >= 4 && be32(start, 0) == kFrontCover;
}

// The comment packet with the picture block as its last comment, in place of
// any front cover there.
QString commentWithCover(QByteArrayView packet, OggCodec codec, const QByteArray &block, QByteArray &rewritten)
{
    const QString damaged = QStringLiteral("damaged comment header");
    const QByteArrayView magic = commentMagic(codec);
    if (!packet.startsWith(magic) || packet.size() < magic.size() + 8)
        return damaged;
    const qint64 vendorSize = le32(packet, magic.size());
    qsizetype at = magic.size() + 4;
    if (vendorSize > packet.size() - at - 4)
        return damaged;
    at += vendorSize;
    const quint32 count = le32(packet, at);
    at += 4;
    QList<QByteArrayView> kept;
    for (quint32 i = 0; i < count; ++i) {
        if (packet.size() - at < 4 || qint64(le32(packet, at)) > packet.size() - at - 4)
            return damaged;
        const QByteArrayView comment = packet.sliced(at + 4, le32(packet, at));
        if (!isFrontCoverComment(comment))
            kept << comment;
        at += 4 + comment.size();
    }
    // What follows the comments is kept: a Vorbis header's framing bit, an
    // Opus header's padding or private data.
    const QByteArrayView rest = packet.sliced(at);
    if (codec == OggCodec::Vorbis && (rest.isEmpty() || !(rest[0] & 1)))
        return damaged;
    const QByteArray added = "METADATA_BLOCK_PICTURE=" + block.toBase64();
    rewritten = packet.first(magic.size() + 4 + vendorSize).toByteArray();
    putLe<quint32>(rewritten, quint32(kept.size() + 1));
    for (const QByteArrayView comment : kept) {
        putLe<quint32>(rewritten, quint32(comment.size()));
        rewritten += comment;
    }
    putLe<quint32>(rewritten, quint32(added.size()));
    rewritten += added;
    rewritten += rest;
    return {};
}

// The pages after the headers, renumbered by shift, up to the stream's last page.
QString copyOggPages(QIODevice &source, QIODevice &target, quint32 serial, quint32 shift)
{
    for (bool ended = false;;) {
        QString why;
        std::optional<QByteArray> page = readOggPage(source, why);
        if (!page) {
            if (why.isEmpty() && !ended)
                return QStringLiteral("the file ends before its stream does");
            return why;
        }
        // Another stream after this one ended is a chained file.
        if (ended || le32(*page, kSerialAt) != serial || (pageFlags(*page) & kFirstPage))
            return QStringLiteral("more than one logical stream");
        ended = pageFlags(*page) & kLastPage;
        qToLittleEndian<quint32>(le32(*page, kSequenceAt) + shift, page->data() + kSequenceAt);
        setCrc(*page);
        if (target.write(*page) != page->size())
            return QStringLiteral("cannot write the new file");
    }
}

// ---- ASF ----

constexpr qsizetype kGuidSize = 16;
constexpr qsizetype kObjectHead = 24; // GUID and 64-bit size
constexpr qsizetype kHeaderHead = 30; // and the object count and two reserved bytes
constexpr qsizetype kFileSizeAt = kObjectHead + kGuidSize;
constexpr qsizetype kExtensionDataAt = kObjectHead + kGuidSize + 2 + 4;
constexpr quint16 kByteArrayValue = 1;

// A GUID as the file stores it: its first three fields little-endian.
QByteArray guid(const char *text)
{
    QByteArray bytes = QByteArray::fromHex(QByteArray(text).replace('-', ""));
    std::reverse(bytes.begin(), bytes.begin() + 4);
    std::reverse(bytes.begin() + 4, bytes.begin() + 6);
    std::reverse(bytes.begin() + 6, bytes.begin() + 8);
    return bytes;
}

struct AsfGuids {
    QByteArray header = guid("75B22630-668E-11CF-A6D9-00AA0062CE6C");
    QByteArray data = guid("75B22636-668E-11CF-A6D9-00AA0062CE6C");
    QByteArray fileProperties = guid("8CABDCA1-A947-11CF-8EE4-00C00C205365");
    QByteArray extendedContent = guid("D2D0A440-E307-11D2-97F0-00A0C95EA850");
    QByteArray headerExtension = guid("5FBF03B5-A92E-11CF-8EE3-00C00C205365");
    QByteArray extensionReserved = guid("ABD3D211-A9BA-11CF-8EE6-00C00C205365");
    QByteArray metadataLibrary = guid("44231C94-9498-49D1-A141-1D134E457054");
};

const AsfGuids &guids()
{
    static const AsfGuids g;
    return g;
}

QByteArray utf16z(const QString &text)
{
    QByteArray bytes;
    for (const QChar c : text)
        putLe<quint16>(bytes, c.unicode());
    putLe<quint16>(bytes, 0);
    return bytes;
}

const QByteArray &pictureName()
{
    static const QByteArray name = utf16z(QStringLiteral("WM/Picture"));
    return name;
}

QString damagedAsf() { return QStringLiteral("damaged ASF header"); }

// The objects that tile `area` one after another; nothing when they do not.
std::optional<QList<QByteArrayView>> asfObjects(QByteArrayView area)
{
    QList<QByteArrayView> objects;
    while (!area.isEmpty()) {
        if (area.size() < kObjectHead)
            return std::nullopt;
        const quint64 size = le64(area, kGuidSize);
        if (size < quint64(kObjectHead) || size > quint64(area.size()))
            return std::nullopt;
        objects << area.first(qsizetype(size));
        area = area.sliced(qsizetype(size));
    }
    return objects;
}

QByteArray asfObject(QByteArrayView id, QByteArrayView body)
{
    QByteArray object = id.toByteArray();
    putLe<quint64>(object, quint64(kObjectHead + body.size()));
    object += body;
    return object;
}

// One attribute of an Extended Content Description or Metadata Library object.
struct Attribute {
    QByteArrayView whole;
    QByteArrayView name;
    quint16 type = 0;
    QByteArrayView value;
};
using AttributeReader = std::optional<Attribute> (*)(QByteArrayView);

std::optional<Attribute> contentDescriptor(QByteArrayView rest)
{
    if (rest.size() < 2 || rest.size() < 6 + le16(rest, 0))
        return std::nullopt;
    const qsizetype nameSize = le16(rest, 0);
    const qsizetype valueSize = le16(rest, 4 + nameSize);
    if (rest.size() < 6 + nameSize + valueSize)
        return std::nullopt;
    return Attribute{rest.first(6 + nameSize + valueSize), rest.sliced(2, nameSize), le16(rest, 2 + nameSize),
                     rest.sliced(6 + nameSize, valueSize)};
}

std::optional<Attribute> libraryRecord(QByteArrayView rest)
{
    if (rest.size() < 12)
        return std::nullopt;
    const qint64 nameSize = le16(rest, 4);
    const qint64 valueSize = le32(rest, 8);
    if (rest.size() < 12 + nameSize + valueSize)
        return std::nullopt;
    return Attribute{rest.first(12 + nameSize + valueSize), rest.sliced(12, nameSize), le16(rest, 6),
                     rest.sliced(12 + nameSize, valueSize)};
}

bool isFrontCoverAttribute(const Attribute &a)
{
    return (a.name == pictureName() || a.name == QByteArrayView(pictureName()).chopped(2)) && a.type == kByteArrayValue
        && !a.value.isEmpty() && quint8(a.value[0]) == kFrontCover;
}

// The attribute object `id` holding `kept` and then `added` when there is one.
std::optional<QByteArray> attributeObject(QByteArrayView id, const QList<QByteArrayView> &kept, const QByteArray &added)
{
    const qsizetype count = kept.size() + (added.isEmpty() ? 0 : 1);
    if (count > 0xFFFF)
        return std::nullopt;
    QByteArray body;
    putLe<quint16>(body, quint16(count));
    for (const QByteArrayView attribute : kept)
        body += attribute;
    body += added;
    return asfObject(id, body);
}

// The attribute object without its front covers, with `added` at its end.
std::optional<QByteArray> rebuiltAttributes(QByteArrayView object, AttributeReader read, const QByteArray &added)
{
    if (object.size() < kObjectHead + 2)
        return std::nullopt;
    const quint16 count = le16(object, kObjectHead);
    QByteArrayView rest = object.sliced(kObjectHead + 2);
    QList<QByteArrayView> kept;
    for (quint16 i = 0; i < count; ++i) {
        const std::optional<Attribute> attribute = read(rest);
        if (!attribute)
            return std::nullopt;
        if (!isFrontCoverAttribute(*attribute))
            kept << attribute->whole;
        rest = rest.sliced(attribute->whole.size());
    }
    return attributeObject(object.first(kGuidSize), kept, added);
}

QByteArray contentDescriptorOf(const QByteArray &picture)
{
    QByteArray d;
    putLe<quint16>(d, quint16(pictureName().size()));
    d += pictureName();
    putLe<quint16>(d, kByteArrayValue);
    putLe<quint16>(d, quint16(picture.size()));
    return d + picture;
}

QByteArray libraryRecordOf(const QByteArray &picture)
{
    QByteArray r;
    putLe<quint16>(r, 0); // no language
    putLe<quint16>(r, 0); // the whole file, no one stream
    putLe<quint16>(r, quint16(pictureName().size()));
    putLe<quint16>(r, kByteArrayValue);
    putLe<quint32>(r, quint32(picture.size()));
    return r + pictureName() + picture;
}

QByteArray extensionObject(QByteArrayView reserved, const QByteArray &data)
{
    QByteArray body = reserved.toByteArray();
    putLe<quint32>(body, quint32(data.size()));
    return asfObject(guids().headerExtension, body + data);
}

// The Header Extension Object without front covers in its Metadata Library
// Objects, with `added` in the first of them (one made when there is none).
std::optional<QByteArray> rebuiltExtension(QByteArrayView object, const QByteArray &added)
{
    if (object.size() < kExtensionDataAt || qsizetype(le32(object, kExtensionDataAt - 4)) != object.size() - kExtensionDataAt)
        return std::nullopt;
    const std::optional<QList<QByteArrayView>> inner = asfObjects(object.sliced(kExtensionDataAt));
    if (!inner)
        return std::nullopt;
    QByteArray data;
    bool placed = added.isEmpty();
    for (const QByteArrayView o : *inner) {
        std::optional<QByteArray> rebuilt = o.toByteArray();
        if (o.first(kGuidSize) == guids().metadataLibrary) {
            rebuilt = rebuiltAttributes(o, libraryRecord, placed ? QByteArray() : added);
            placed = true;
        }
        if (!rebuilt)
            return std::nullopt;
        data += *rebuilt;
    }
    if (!placed)
        data += *attributeObject(guids().metadataLibrary, {}, added);
    return extensionObject(object.sliced(kObjectHead, kExtensionDataAt - 4 - kObjectHead), data);
}

// The header's objects with the picture in place of any front cover.
std::optional<QList<QByteArray>> objectsWithCover(const QList<QByteArrayView> &objects, const QByteArray &picture)
{
    // A value in the Extended Content Description Object has a 16-bit size;
    // a larger one goes into the Metadata Library Object.
    const bool small = picture.size() <= 0xFFFF;
    const QByteArray descriptor = small ? contentDescriptorOf(picture) : QByteArray();
    const QByteArray record = small ? QByteArray() : libraryRecordOf(picture);
    bool placed = false;
    QList<QByteArray> rebuilt;
    for (const QByteArrayView object : objects) {
        std::optional<QByteArray> next = object.toByteArray();
        if (object.first(kGuidSize) == guids().extendedContent) {
            next = rebuiltAttributes(object, contentDescriptor, small && !placed ? descriptor : QByteArray());
            placed |= small;
        } else if (object.first(kGuidSize) == guids().headerExtension) {
            next = rebuiltExtension(object, !small && !placed ? record : QByteArray());
            placed |= !small;
        }
        if (!next)
            return std::nullopt;
        rebuilt << *next;
    }
    if (!placed && small)
        rebuilt << *attributeObject(guids().extendedContent, {}, descriptor);
    if (!placed && !small) {
        QByteArray reserved = guids().extensionReserved;
        putLe<quint16>(reserved, 6);
        rebuilt << extensionObject(reserved, *attributeObject(guids().metadataLibrary, {}, record));
    }
    return rebuilt;
}

} // namespace

QString pictureMime(QByteArrayView data)
{
    if (data.startsWith("\xFF\xD8\xFF"))
        return QStringLiteral("image/jpeg");
    if (data.startsWith("\x89PNG\r\n\x1A\n"))
        return QStringLiteral("image/png");
    return {};
}

PictureShape pictureShape(QByteArrayView data)
{
    const QString mime = pictureMime(data);
    if (mime == QLatin1String("image/jpeg"))
        return jpegShape(data);
    if (mime == QLatin1String("image/png"))
        return pngShape(data);
    return {};
}

QByteArray flacPictureBlock(const CoverPicture &cover)
{
    const QByteArray mime = cover.mime.toLatin1();
    const PictureShape shape = pictureShape(cover.data);
    QByteArray block;
    putBe32(block, kFrontCover);
    putBe32(block, quint32(mime.size()));
    block += mime;
    putBe32(block, 0); // no description
    putBe32(block, shape.width);
    putBe32(block, shape.height);
    putBe32(block, shape.depth);
    putBe32(block, shape.colors);
    putBe32(block, quint32(cover.data.size()));
    return block + cover.data;
}

quint32 oggCrc(QByteArrayView bytes)
{
    quint32 crc = 0;
    for (const char c : bytes)
        crc = (crc << 8) ^ kCrcTable[((crc >> 24) ^ quint8(c)) & 0xFF];
    return crc;
}

QByteArray oggPage(quint8 flags, qint64 granule, quint32 serial, quint32 sequence, QByteArrayView lacing,
                   QByteArrayView body)
{
    QByteArray page("OggS\0", 5);
    page += char(flags);
    putLe<qint64>(page, granule);
    putLe<quint32>(page, serial);
    putLe<quint32>(page, sequence);
    putLe<quint32>(page, 0);
    page += char(lacing.size());
    page += lacing;
    page += body;
    setCrc(page);
    return page;
}

QList<QByteArray> oggHeaderPages(const QList<QByteArray> &packets, quint32 serial, quint32 sequence,
                                 quint8 firstFlags)
{
    QByteArray lacing;
    QByteArray body;
    for (const QByteArray &packet : packets) {
        lacing += QByteArray(packet.size() / 255, char(255));
        lacing += char(packet.size() % 255);
        body += packet;
    }
    QList<QByteArray> pages;
    quint8 flags = firstFlags;
    for (qsizetype segment = 0, offset = 0; segment < lacing.size();) {
        const QByteArrayView laced = QByteArrayView(lacing).sliced(segment, qMin<qsizetype>(255, lacing.size() - segment));
        qsizetype size = 0;
        bool packetEnds = false;
        for (const char value : laced) {
            size += quint8(value);
            packetEnds |= quint8(value) < 255;
        }
        // A page on which no packet ends has no granule position.
        pages << oggPage(flags, packetEnds ? 0 : -1, serial, sequence++, laced, QByteArrayView(body).sliced(offset, size));
        flags = quint8(laced.back()) == 255 ? kContinued : 0;
        segment += laced.size();
        offset += size;
    }
    return pages;
}

QString writeOggWithCover(QIODevice &source, QIODevice &target, const CoverPicture &cover)
{
    if (const QString why = coverProblem(cover); !why.isEmpty())
        return why;
    OggHeaders headers;
    if (const QString why = readOggHeaders(source, headers); !why.isEmpty())
        return why;
    QByteArray comment;
    if (const QString why = commentWithCover(headers.packets[1], headers.codec, flacPictureBlock(cover), comment);
        !why.isEmpty())
        return why;
    headers.packets[1] = comment;
    // The identification packet keeps a page of its own.
    QList<QByteArray> pages = oggHeaderPages({headers.packets.front()}, headers.serial, headers.firstSequence, kFirstPage);
    pages += oggHeaderPages(headers.packets.mid(1), headers.serial, headers.firstSequence + 1, 0);
    for (const QByteArray &page : pages) {
        if (target.write(page) != page.size())
            return QStringLiteral("cannot write the new file");
    }
    // Unsigned arithmetic: the shift may be negative, and numbers wrap.
    const quint32 shift = headers.firstSequence + quint32(pages.size()) - headers.nextSequence;
    return copyOggPages(source, target, headers.serial, shift);
}

QString embedOggCover(const QString &path, const CoverPicture &cover)
{
    QFile source(path);
    if (!source.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read the file");
    FileReplacement replacement(path);
    if (!replacement.open() || !replacement.reserve(source.size() + cover.data.size() * 4 / 3 + 4096))
        return QStringLiteral("cannot write beside the file");
    if (const QString why = writeOggWithCover(source, replacement.output(), cover); !why.isEmpty())
        return why;
    return replacement.commit() ? QString() : QStringLiteral("cannot replace the file");
}

QByteArray wmPicture(const CoverPicture &cover)
{
    QByteArray value(1, char(kFrontCover));
    putLe<quint32>(value, quint32(cover.data.size()));
    value += utf16z(cover.mime);
    value += utf16z(QString()); // no description
    return value + cover.data;
}

QString asfHeaderWithCover(QByteArrayView head, qint64 fileSize, const CoverPicture &cover, QByteArray &header)
{
    if (const QString why = coverProblem(cover); !why.isEmpty())
        return why;
    if (head.size() < kHeaderHead || head.first(kGuidSize) != guids().header)
        return QStringLiteral("not an ASF file");
    const quint64 size = le64(head, kGuidSize);
    if (size < quint64(kHeaderHead) || size > quint64(head.size()) || qint64(size) > fileSize)
        return damagedAsf();
    // The Data Object follows the header; one that reaches past the end of the file was cut off.
    const QByteArrayView data = head.sliced(qsizetype(size));
    if (data.size() < kObjectHead || data.first(kGuidSize) != guids().data)
        return QStringLiteral("no ASF data after the header");
    if (le64(data, kGuidSize) > quint64(fileSize - qint64(size)))
        return QStringLiteral("the file is cut off");
    const std::optional<QList<QByteArrayView>> objects = asfObjects(head.sliced(kHeaderHead, qsizetype(size) - kHeaderHead));
    if (!objects)
        return damagedAsf();
    const std::optional<QList<QByteArray>> rebuilt = objectsWithCover(*objects, wmPicture(cover));
    if (!rebuilt)
        return damagedAsf();
    header = head.first(kGuidSize).toByteArray();
    putLe<quint64>(header, 0);
    putLe<quint32>(header, quint32(rebuilt->size()));
    header += head.sliced(kObjectHead + 4, 2);
    qsizetype propertiesAt = -1;
    for (const QByteArray &object : *rebuilt) {
        if (object.startsWith(guids().fileProperties) && object.size() >= kFileSizeAt + 8)
            propertiesAt = header.size();
        header += object;
    }
    if (propertiesAt < 0)
        return damagedAsf();
    qToLittleEndian<quint64>(quint64(header.size()), header.data() + kGuidSize);
    qToLittleEndian<quint64>(quint64(fileSize - qint64(size) + header.size()), header.data() + propertiesAt + kFileSizeAt);
    return {};
}

QString embedAsfCover(const QString &path, const CoverPicture &cover)
{
    QFile source(path);
    if (!source.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read the file");
    QByteArray head = source.read(kHeaderHead);
    if (head.size() < kHeaderHead || !head.startsWith(guids().header))
        return QStringLiteral("not an ASF file");
    const quint64 size = le64(head, kGuidSize);
    if (size < quint64(kHeaderHead) || size > quint64(kMaxAsfHeaderBytes) || qint64(size) > source.size())
        return damagedAsf();
    // The whole header and the Data Object's own header after it.
    head += source.read(qint64(size) - kHeaderHead + kObjectHead);
    QByteArray header;
    if (const QString why = asfHeaderWithCover(head, source.size(), cover, header); !why.isEmpty())
        return why;
    FileReplacement replacement(path);
    const bool written = replacement.open() && replacement.reserve(source.size() - qint64(size) + header.size())
        && replacement.output().write(header) == header.size() && replacement.appendFrom(source, qint64(size))
        && replacement.commit();
    return written ? QString() : QStringLiteral("cannot write the new file");
}

} // namespace tonmill
