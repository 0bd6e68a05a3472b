// The ID3v2 reader over arbitrary bytes: every tag in a row is read as the
// writer reads them, and what it keeps must be writable again.
#include "media/modID3Tags.h"

#include <QBuffer>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QBuffer buffer;
    buffer.setData(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    buffer.open(QIODevice::ReadOnly);

    tonmill::ID3TagInfo info;
    tonmill::ID3FrameList kept;
    qint64 position = 0;
    while (position >= 0 && tonmill::GetID3v2TagSize(buffer, position) > 0) {
        const qint64 next = tonmill::ReadID3v2Tag(buffer, position, info, kept, tonmill::kID3ReadLimit);
        if (next >= 0 && next <= position)
            __builtin_trap(); // the reader must move on, or the writer's loop never ends
        position = next;
    }
    for (const tonmill::ID3Frame &frame : kept) {
        if (frame.id.size() != 4 || frame.body.isEmpty() || frame.body.size() > tonmill::kID3ReadLimit)
            __builtin_trap();
    }
    return 0;
}
