#pragma once

#include "tools/avs/AvsScript.h"

#include <QString>

#include <optional>

namespace tonmill::avs {

// The highest sample magnitude of the graph's output as a share of full scale
// (0 for silence or no audio), found by running ffmpeg over it once. Nothing,
// with a one-line reason, when ffmpeg fails.
std::optional<double> measurePeak(const QString &ffmpegPath, const FfmpegGraph &graph, QString *error);

} // namespace tonmill::avs
