#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace tonmill {

// How an encode treats loudness, instead of or besides peak normalising.
struct LoudnessChoice {
    enum class Mode {
        Off,
        Normalize,  // the audio is brought to targetLufs, its true peak kept under truePeakDbtp
        ReplayGain, // the audio is left as it is; its track gain and peak are written as tags
    };
    Mode mode = Mode::Off;
    double targetLufs = -16;
    double truePeakDbtp = -1;
};

// The targets the window offers: -16 LUFS by default, -23 for broadcast
// (EBU R128), -14 as streaming services play.
inline constexpr double kLoudnessDefaultLufs = -16;
inline constexpr double kLoudnessBroadcastLufs = -23;
inline constexpr double kLoudnessStreamingLufs = -14;
// The targets and ceilings accepted.
inline constexpr double kLowestTarget = -70;
inline constexpr double kHighestTarget = -5;
inline constexpr double kLowestCeiling = -9;
inline constexpr double kHighestCeiling = 0;

// The environment variable through which the program hands the choice to the
// encoder runner.
inline constexpr char kLoudnessVariable[] = "TONMILL_LOUDNESS";

// The choice as a "NAME=json" environment entry; empty when loudness is left
// alone (Off), so that the runner's environment does not carry the name at all.
QString loudnessEntry(const LoudnessChoice &choice);

// The choice kLoudnessVariable's value holds, a JSON object such as
// {"mode":"normalize","target":-16,"ceiling":-1} ("mode" is "normalize" or
// "replaygain"; a target or ceiling left out takes the default above): nothing
// when it is not well formed, names no known mode, or its target (-70..-5
// LUFS) or ceiling (-9..0 dBTP) is not a number in range.
std::optional<LoudnessChoice> loudnessFrom(const QByteArray &value);

} // namespace tonmill
