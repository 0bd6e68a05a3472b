// The ID3 writers over arbitrary file contents. The first byte picks the
// record and the options; the rest is the file. Whatever the file held, the
// bytes after the old tag must follow the new tag unchanged, the new tag must
// read back, and the ID3v1 tag must end the file.
#include "media/modID3Tags.h"

#include <QBuffer>
#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>

namespace {

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

qint64 tagSize(const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return tonmill::GetID3v2TagSize(buffer, 0);
}

void check(bool condition)
{
    if (!condition)
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    // In memory where the machine has it: the writer syncs each new file.
    static QTemporaryDir dir(QFile::exists(QStringLiteral("/dev/shm")) ? QStringLiteral("/dev/shm/tonmill-fuzz-XXXXXX")
                                                                        : QString());
    static const QString path = dir.filePath(QStringLiteral("fuzz.mp3"));

    const uint8_t options = data[0];
    const QByteArray contents(reinterpret_cast<const char *>(data + 1), static_cast<qsizetype>(size - 1));
    {
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(contents) != contents.size())
            return 0;
    }

    tonmill::ID3TagInfo info;
    if (options & 0x01)
        info.Title = QStringLiteral("Fuzzed title");
    if (options & 0x02)
        info.Comment = QString(1500, QLatin1Char('c'));
    if (options & 0x04)
        info.Genre = QStringLiteral("rock");
    const int version4 = (options >> 3) & 0x03;
    const bool discardExisting = options & 0x20;

    qint64 oldSize = tagSize(contents);
    if (oldSize > contents.size())
        oldSize = 0;
    const bool written = tonmill::WriteID3v2Tag(path, info, version4, discardExisting, false);
    const QByteArray after = readFile(path);
    if (!written) {
        check(after == contents);
    } else {
        const qint64 newSize = tagSize(after);
        check(newSize >= oldSize && newSize >= 10);
        check(after.mid(newSize) == contents.mid(oldSize));

        QBuffer buffer;
        buffer.setData(after);
        buffer.open(QIODevice::ReadOnly);
        tonmill::ID3TagInfo read;
        tonmill::ID3FrameList kept;
        tonmill::ReadID3v2Tag(buffer, 0, read, kept, newSize);
        check(read.Title == info.Title);
        check(read.Comment == info.Comment);
        check(read.Genre == (info.Genre.isEmpty() ? QString() : QStringLiteral("(17)Rock")));
    }

    check(tonmill::WriteID3v1Tag(path, info, false));
    const QByteArray tagged = readFile(path);
    check(tagged.right(128) == tonmill::id3v1Tag(info));
    return 0;
}
