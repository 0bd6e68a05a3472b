#include "tools/run/LoudnessPass.h"

#include "tools/run/LoudnessMeter.h"
#include "tools/run/LoudnessPlan.h"

#include <algorithm>
#include <cmath>

namespace tonmill::run {

namespace {
// The limiter's passes stop once within this of the target: inside the half
// LU the result is held to, with room for the meter's rounding to a tenth.
constexpr double kLimitedTolerance = 0.2;
constexpr int kLimitedCorrections = 2;

QString targetText(const LoudnessChoice &choice)
{
    return QStringLiteral("loudness %1 LUFS").arg(choice.targetLufs, 0, 'g', 4);
}

bool failed(const MeterRun &run, LoudnessOutcome &outcome)
{
    if (run.reading)
        return false;
    outcome.failure = run.failure;
    outcome.failureStatus = run.failureStatus;
    outcome.diagnostics = run.diagnostics;
    return true;
}

} // namespace

MeterRun measureEncodedAudio(const EncodeRequest &request, const AudioSource &source, const QString &ffmpegPath)
{
    return runLoudnessMeter(ffmpegPath, loudnessMeterArguments(request, source, {}, true), request, source);
}

LoudnessOutcome runLoudnessPass(const LoudnessChoice &choice, const EncodeRequest &request, const AudioSource &source,
                                const QString &ffmpegPath)
{
    LoudnessOutcome outcome;
    const MeterRun first = measureEncodedAudio(request, source, ffmpegPath);
    if (failed(first, outcome))
        return outcome;
    const LoudnessReading reading = *first.reading;
    outcome.ok = true;
    if (!isMeasurable(reading)) {
        outcome.adjustment.summary = QStringLiteral("loudness left alone: too quiet or too short to measure");
        outcome.notice =
            QStringLiteral("the audio is silent or too short to measure its loudness; it is encoded unchanged");
        return outcome;
    }
    if (choice.mode == LoudnessChoice::Mode::ReplayGain) {
        auto tags = replayGainTags(reading);
        outcome.adjustment.summary = QStringLiteral("ReplayGain %1, peak %2").arg(tags[0].second, tags[1].second);
        // A file on its own is an album of one.
        const std::optional<AlbumGain> album =
            choice.albumGain ? choice.albumGain
            : choice.album   ? std::optional<AlbumGain>(AlbumGain{replayGainDb(reading.integratedLufs), trackPeak(reading)})
                             : std::nullopt;
        if (album) {
            tags << albumGainTags(*album);
            outcome.adjustment.summary += QStringLiteral("; album %1, peak %2").arg(tags[2].second, tags[3].second);
        }
        if (request.muxer == QLatin1String("opus"))
            tags << opusGainTags(reading, album);
        if (keepsReplayGainTags(request.muxer))
            outcome.adjustment.tags = tags;
        else
            outcome.notice = QStringLiteral("%1 files keep no ReplayGain tags; the audio is encoded without them")
                                 .arg(request.muxer);
        return outcome;
    }

    double gain = loudnessGain(choice, reading);
    outcome.adjustment.tags = droppedLoudnessTags();
    if (!needsLimiter(choice, reading, gain)) {
        outcome.adjustment.filters = gainFilters(gain, std::nullopt, reading.sampleRate);
        outcome.adjustment.summary = targetText(choice) + QStringLiteral(": ") + signedDecibels(gain);
        return outcome;
    }
    if (reading.sampleRate <= 0) {
        outcome.ok = false;
        outcome.failure = QStringLiteral("the loudness could not be measured: ffmpeg did not say the audio's rate");
        return outcome;
    }
    const double level = limiterLevel(choice, request.encoder);
    // Each pass runs at a gain raised by what the one before fell short; the
    // last gain is the one encoded. The harder the limiter works, the less of
    // a raise comes through, so after two readings the raise follows the
    // line through them (at most four times the shortfall).
    double lastGain = gain;
    double lastLufs = 0;
    for (int pass = 0;; ++pass) {
        outcome.adjustment.filters = gainFilters(gain, level, reading.sampleRate);
        if (pass == kLimitedCorrections)
            break;
        const MeterRun limited = runLoudnessMeter(
            ffmpegPath, loudnessMeterArguments(request, source, outcome.adjustment.filters, false), request, source);
        if (failed(limited, outcome)) {
            outcome.ok = false;
            return outcome;
        }
        const double lufs = limited.reading->integratedLufs;
        const double shortfall = choice.targetLufs - lufs;
        if (std::abs(shortfall) <= kLimitedTolerance)
            break;
        const double slope =
            pass > 0 && gain != lastGain ? std::clamp((lufs - lastLufs) / (gain - lastGain), 0.25, 1.0) : 1.0;
        lastGain = gain;
        lastLufs = lufs;
        gain += shortfall / slope;
    }
    outcome.adjustment.summary = targetText(choice) + QStringLiteral(": ") + signedDecibels(gain)
        + QStringLiteral(", limited to %1 dBTP").arg(choice.truePeakDbtp, 0, 'g', 3);
    return outcome;
}

} // namespace tonmill::run
