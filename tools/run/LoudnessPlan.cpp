#include "tools/run/LoudnessPlan.h"

#include <cmath>

namespace tonmill::run {

namespace {
constexpr double kR128ReferenceLufs = -23;
// Measured on tones, noise and clicks limited by up to 20 dB: back at the
// base rate, true peaks came out up to 0.2 dB over what the limiter held at
// four times the rate, and in an MP3 at 256 kbit/s up to 0.7 dB over it.
constexpr double kResamplingMargin = 0.5;
constexpr double kLossyMargin = 1.0;

bool isLossless(const QString &encoder)
{
    static const QStringList lossless = {QStringLiteral("flac"), QStringLiteral("alac"), QStringLiteral("wavpack"),
                                         QStringLiteral("tta")};
    return encoder.startsWith(QLatin1String("pcm_")) || lossless.contains(encoder);
}

QString number(double value, int decimals)
{
    return QString::number(value, 'f', decimals);
}
} // namespace

bool isMeasurable(const LoudnessReading &reading)
{
    return std::isfinite(reading.integratedLufs) && reading.integratedLufs > kLoudnessFloorLufs;
}

double loudnessGain(const LoudnessChoice &choice, const LoudnessReading &reading)
{
    return choice.targetLufs - reading.integratedLufs;
}

bool needsLimiter(const LoudnessChoice &choice, const LoudnessReading &reading, double gainDb)
{
    return reading.truePeakDbtp + gainDb > choice.truePeakDbtp;
}

double limiterLevel(const LoudnessChoice &choice, const QString &encoder)
{
    return choice.truePeakDbtp - (isLossless(encoder) ? kResamplingMargin : kLossyMargin);
}

QStringList gainFilters(double gainDb, std::optional<double> limiterDbtp, int sampleRate)
{
    QStringList filters = {QStringLiteral("volume=%1dB").arg(number(gainDb, 2))};
    if (!limiterDbtp)
        return filters;
    // level=false: no make-up gain; latency=true: the lookahead's delay is
    // taken back, so the audio keeps its place and length.
    filters << QStringLiteral("aresample=%1").arg(4 * sampleRate)
            << QStringLiteral("alimiter=limit=%1:attack=5:release=50:level=false:latency=true")
                   .arg(number(std::pow(10.0, *limiterDbtp / 20), 6))
            << QStringLiteral("aresample=%1").arg(sampleRate);
    return filters;
}

double trackPeak(const LoudnessReading &reading)
{
    return peakShare(reading.truePeakDbtp);
}

QList<QPair<QString, QString>> replayGainTags(const LoudnessReading &reading)
{
    return {{QStringLiteral("REPLAYGAIN_TRACK_GAIN"), QString::asprintf("%+.2f dB", replayGainDb(reading.integratedLufs))},
            {QStringLiteral("REPLAYGAIN_TRACK_PEAK"), QString::asprintf("%.6f", trackPeak(reading))}};
}

QList<QPair<QString, QString>> opusGainTags(const LoudnessReading &reading, const std::optional<AlbumGain> &album)
{
    // Opus players take the gain to -23 LUFS (EBU R128) in 1/256 dB, as a
    // 16-bit number; ReplayGain's reference is 5 dB above that.
    const auto q78 = [](double db) { return QString::number(qBound(-32768L, std::lround(db * 256), 32767L)); };
    QList<QPair<QString, QString>> tags = {
        {QStringLiteral("R128_TRACK_GAIN"), q78(kR128ReferenceLufs - reading.integratedLufs)}};
    if (album)
        tags.append({QStringLiteral("R128_ALBUM_GAIN"), q78(album->gainDb + kR128ReferenceLufs - kReplayGainReferenceLufs)});
    return tags;
}

QList<QPair<QString, QString>> albumGainTags(const AlbumGain &album)
{
    return {{QStringLiteral("REPLAYGAIN_ALBUM_GAIN"), QString::asprintf("%+.2f dB", album.gainDb)},
            {QStringLiteral("REPLAYGAIN_ALBUM_PEAK"), QString::asprintf("%.6f", album.peak)}};
}

QList<QPair<QString, QString>> droppedLoudnessTags()
{
    QList<QPair<QString, QString>> tags;
    for (const char *key : {"REPLAYGAIN_TRACK_GAIN", "REPLAYGAIN_TRACK_PEAK", "REPLAYGAIN_ALBUM_GAIN",
                            "REPLAYGAIN_ALBUM_PEAK", "R128_TRACK_GAIN", "R128_ALBUM_GAIN"})
        tags.append({QString::fromLatin1(key), QString()});
    return tags;
}

bool keepsReplayGainTags(const QString &muxer)
{
    static const QStringList keeping = {QStringLiteral("flac"), QStringLiteral("ogg"), QStringLiteral("oga"),
                                        QStringLiteral("opus"), QStringLiteral("mp3"), QStringLiteral("asf")};
    return keeping.contains(muxer);
}

QString signedDecibels(double db)
{
    const double rounded = std::round(db * 10) / 10 + 0.0;
    return (rounded >= 0 ? QStringLiteral("+") : QString()) + number(rounded, 1) + QStringLiteral(" dB");
}

} // namespace tonmill::run
