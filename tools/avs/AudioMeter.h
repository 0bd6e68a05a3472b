#pragma once

#include "tools/avs/AvsScript.h"

#include <QString>

#include <optional>

namespace tonmill::avs {

// What one pass over a graph's output finds.
struct AudioMeasure {
    // The highest sample magnitude as a share of full scale (0 for silence or
    // no audio).
    double peak = 0;
    // How many samples each channel holds.
    qint64 samples = 0;
};

// Runs ffmpeg over the graph once. Nothing, with a one-line reason that
// begins with `purpose` ("Normalize"), when ffmpeg fails.
std::optional<AudioMeasure> measureAudio(const QString &ffmpegPath, const FfmpegGraph &graph, const QString &purpose,
                                         QString *error);

} // namespace tonmill::avs
