// The cover writers on arbitrary bytes taken for an Ogg file, an ASF file and
// a picture: they either decline or write a file that takes the same cover
// again into the very same bytes.
#include "media/CoverArt.h"

#include <QBuffer>
#include <QtEndian>

#include <cstdint>
#include <cstdlib>

using namespace tonmill;

namespace {

QByteArray oggWithCover(const QByteArray &file, const CoverPicture &cover, bool &written)
{
    QByteArray in = file;
    QBuffer source(&in);
    QByteArray out;
    QBuffer target(&out);
    source.open(QIODevice::ReadOnly);
    target.open(QIODevice::WriteOnly);
    written = writeOggWithCover(source, target, cover).isEmpty();
    return out;
}

QByteArray asfWithCover(const QByteArray &file, const CoverPicture &cover, bool &written)
{
    QByteArray header;
    written = asfHeaderWithCover(file, file.size(), cover, header).isEmpty();
    // The old header's size is where the file's rest begins.
    return written ? header + file.sliced(qsizetype(qFromLittleEndian<quint64>(file.constData() + 16))) : QByteArray();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    pictureShape(bytes);
    const CoverPicture cover{QByteArray("\xFF\xD8\xFF\xC0\x00\x0B\x08\x00\x30\x00\x40\x03", 12) + bytes.left(300),
                             QStringLiteral("image/jpeg")};
    for (auto embed : {oggWithCover, asfWithCover}) {
        bool written = false;
        const QByteArray once = embed(bytes, cover, written);
        if (!written)
            continue;
        bool again = false;
        if (embed(once, cover, again) != once || !again)
            std::abort();
    }
    return 0;
}
