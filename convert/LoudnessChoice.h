#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace tonmill {

// The gain of a ReplayGain album, and its peak.
struct AlbumGain {
    double gainDb = 0;
    double peak = 0; // linear, 1 = full scale

    bool operator==(const AlbumGain &) const = default;
};

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
    // ReplayGain for a batch as one album: the files are measured first
    // (measureOnly: the runner prints the reading and writes nothing), then
    // encoded with the album's gain and peak besides their own.
    bool album = false;
    bool measureOnly = false;
    std::optional<AlbumGain> albumGain;

    bool operator==(const LoudnessChoice &) const = default;
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

// One file's measured loudness, as the runner prints it when asked only to
// measure ("loudness: integrated=-20.13 LUFS, true peak=-3.20 dBTP").
struct TrackLoudness {
    double integratedLufs = 0;
    double truePeakDbtp = 0;
    double seconds = 0; // of the file's sound, known to the program
};
QString measuredLoudnessLine(double integratedLufs, double truePeakDbtp);
// The reading in a runner's output; nothing when it printed none.
std::optional<TrackLoudness> measuredLoudnessIn(const QString &output);

// The album's gain to the ReplayGain reference (-18 LUFS) and its peak: its
// loudness is the files' loudness as one power mean weighted by their
// lengths, its peak the highest of theirs. Files too quiet to measure count
// for nothing; nothing when no file counts.
std::optional<AlbumGain> albumGainOf(const QList<TrackLoudness> &tracks);

// ReplayGain 2.0 plays at -18 LUFS. ffmpeg's EBU R128 meter reports the
// floor when nothing passes its absolute gate: silence, or audio shorter
// than one 400 ms block.
inline constexpr double kReplayGainReferenceLufs = -18;
inline constexpr double kLoudnessFloorLufs = -70;
// The gain that brings this loudness to the reference, to a hundredth of a
// dB, and never "-0.00".
double replayGainDb(double integratedLufs);
// A true peak as a share of full scale; 0 for silence (-inf dBTP).
double peakShare(double truePeakDbtp);

} // namespace tonmill
