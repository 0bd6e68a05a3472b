#pragma once

#include "convert/LoudnessChoice.h"
#include "tools/run/FfmpegArguments.h"
#include "tools/run/LoudnessMeter.h"
#include "tools/run/ProgressReport.h"

#include <QString>

namespace tonmill::run {

struct LoudnessOutcome {
    bool ok = false;
    QString failure;
    int failureStatus = 1;
    DiagnosticReader diagnostics; // of the pass that failed
    EncodeAdjustment adjustment;
    QString notice; // one line for stderr when what was asked is not done
};

// Measures the loudness and true peak of the audio the encode would get.
MeterRun measureEncodedAudio(const EncodeRequest &request, const AudioSource &source, const QString &ffmpegPath);

// Measures the audio the encode would get and decides what loudness adds to
// the encode. Normalize: one gain to the target; when that lifts the true
// peak over the ceiling, the gain and a limiter, measured again through the
// limiter and raised by what the limiter took, up to twice, as it lowers the
// loudness. ReplayGain: the audio as it is, and the tags. Audio too quiet or
// short to measure is left as it is. Blocks until the passes are done.
LoudnessOutcome runLoudnessPass(const LoudnessChoice &choice, const EncodeRequest &request, const AudioSource &source,
                                const QString &ffmpegPath);

} // namespace tonmill::run
