#include "media/WavHeader.h"

#include <QtEndian>

namespace tonmill {

namespace {

constexpr quint16 kFormatPcm = 1;
constexpr quint16 kFormatFloat = 3;
constexpr quint16 kFormatExtensible = 0xFFFE;
// The tail shared by the sub-format GUIDs of PCM and float.
constexpr char kGuidTail[] = "\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71";

quint16 u16(QByteArrayView b, qsizetype at) { return qFromLittleEndian<quint16>(b.data() + at); }
quint32 u32(QByteArrayView b, qsizetype at) { return qFromLittleEndian<quint32>(b.data() + at); }

struct Format {
    quint16 code = 0;
    int channels = 0;
    int sampleRate = 0;
    int blockAlign = 0;
    int bits = 0;
};

std::optional<Format> readFormat(QByteArrayView body)
{
    if (body.size() < 16)
        return std::nullopt;
    Format f;
    f.code = u16(body, 0);
    f.channels = u16(body, 2);
    f.sampleRate = static_cast<int>(qMin<quint32>(u32(body, 4), 10'000'000));
    f.blockAlign = u16(body, 12);
    f.bits = u16(body, 14);
    if (f.code == kFormatExtensible) {
        if (body.size() < 40 || body.sliced(26, 14) != QByteArrayView(kGuidTail, 14))
            return std::nullopt;
        f.code = u16(body, 24);
    }
    return f;
}

bool plausible(const Format &f)
{
    if (f.channels < 1 || f.channels > kMaxAudioChannels || f.sampleRate < 1)
        return false;
    if (f.code == kFormatPcm && f.bits != 8 && f.bits != 16 && f.bits != 24 && f.bits != 32)
        return false;
    if (f.code == kFormatFloat && f.bits != 32 && f.bits != 64)
        return false;
    return (f.code == kFormatPcm || f.code == kFormatFloat) && f.blockAlign == f.channels * f.bits / 8;
}

} // namespace

std::optional<AudioStreamInfo> readWavHeader(QByteArrayView head, qint64 fileSize)
{
    if (head.size() < 12 || !head.startsWith("RIFF") || head.sliced(8, 4) != "WAVE")
        return std::nullopt;
    std::optional<Format> format;
    qsizetype at = 12;
    while (at + 8 <= head.size()) {
        const QByteArrayView id = head.sliced(at, 4);
        const quint32 size = u32(head, at + 4);
        const qsizetype body = at + 8;
        if (id == "data") {
            // A length beyond the file is a cut-off or streamed recording,
            // whose real length only a decoder can tell.
            if (!format || !plausible(*format) || body + qint64(size) > fileSize)
                return std::nullopt;
            const qint64 frames = size / quint32(format->blockAlign);
            if (frames == 0)
                return std::nullopt;
            AudioStreamInfo info;
            info.channels = format->channels;
            info.sampleRate = format->sampleRate;
            info.isFloat = format->code == kFormatFloat;
            info.durationSeconds = double(frames) / format->sampleRate;
            return info;
        }
        if (id == "fmt ") {
            if (format || body + qint64(size) > head.size())
                return std::nullopt;
            format = readFormat(head.sliced(body, size));
            if (!format)
                return std::nullopt;
        }
        // Chunks are padded to an even length.
        at = body + qsizetype(size) + (size & 1);
    }
    return std::nullopt;
}

} // namespace tonmill
