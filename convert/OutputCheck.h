#pragma once

#include <QString>

namespace tonmill {

// How far a finished output's decoded length may lie from what it should hold.
constexpr double kOutputLengthTolerance = 0.5;

// Why the output cannot be trusted to hold the sound, in the log's words;
// empty when ffmpeg decodes it to its end without an error and its decoded
// length is within the tolerance of the expected seconds.
QString outputCheckFailure(const QString &ffmpegPath, const QString &output, double expectedSeconds);

} // namespace tonmill
