#pragma once

#include "tools/run/EncoderLine.h"
#include "tools/run/FfmpegArguments.h"
#include "convert/LoudnessChoice.h"
#include "tools/run/ProgressReport.h"

#include <QString>
#include <QStringList>

#include <limits>
#include <optional>

namespace tonmill::run {

// What the meter found in the audio as the encoder would get it.
struct LoudnessReading {
    double integratedLufs = kLoudnessFloorLufs;
    double truePeakDbtp = -std::numeric_limits<double>::infinity(); // -inf for digital silence
    int sampleRate = 0; // of the measured audio; 0 when the log did not say
};

// The reading in the log of a measuring pass: the last summary of ffmpeg's
// ebur128 filter (ffmpeg prints one for a graph it set up only to probe it,
// before the real one) and the rate of the pass's output stream. Nothing when
// there is no summary or its loudness is not a number.
std::optional<LoudnessReading> parseLoudnessLog(const QString &log);

// A pass over exactly the audio the encode would get (the source's graph with
// its trim, the line's volume, channels and rate) followed by the filters
// given, measuring integrated loudness and, with truePeak, the true peak.
QStringList loudnessMeterArguments(const EncodeRequest &request, const AudioSource &source,
                                   const QStringList &filters, bool truePeak);

struct MeterRun {
    std::optional<LoudnessReading> reading; // nothing when the pass failed
    QString failure;
    int failureStatus = 1;
    DiagnosticReader diagnostics;
};

// Runs a measuring pass to its end. It stands in for the encoder meanwhile,
// so that a termination signal ends it together with the runner.
MeterRun runLoudnessMeter(const QString &ffmpegPath, const QStringList &arguments, const EncodeRequest &request,
                          const AudioSource &source);

} // namespace tonmill::run
