// The WAV header reader on arbitrary bytes: it either declines or describes a
// stream the rest of the interpreter can take.
#include "media/WavHeader.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

using namespace tonmill;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    // The file may be longer than the part read.
    for (const qint64 fileSize : {qint64(size), qint64(size) + 1'000'000}) {
        const std::optional<AudioStreamInfo> info = readWavHeader(bytes, fileSize);
        if (info && (info->channels < 1 || info->channels > kMaxAudioChannels || info->sampleRate < 1
                     || !std::isfinite(info->durationSeconds) || info->durationSeconds <= 0))
            std::abort();
    }
    return 0;
}
