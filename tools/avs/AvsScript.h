#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace tonmill::avs {

// One ffmpeg run's worth of a decoding script: the inputs and the filter graph
// whose output pad carries the script's audio. The caller adds its own output
// options after these and maps outputLabel, e.g.
//   ffmpeg <inputArguments> -filter_complex <filterComplex> -map <outputLabel> ...
// Channels are positional as in the scripts: the k-th channel of the result is
// the k-th channel of ffmpeg's default layout for that channel count.
struct FfmpegGraph {
    QStringList inputArguments; // {"-i", source} per input
    QString filterComplex;
    QString outputLabel; // "[out]"
    int channels = 0;
    int sampleRate = 0;
    double durationSeconds = 0; // as far as the sources say; 0 when they do not
};

struct CompileResult {
    bool ok = false;
    QString error; // one line: what is wrong and the script line number
    FfmpegGraph graph;
};

// Reads the script, probes its sources with the ffprobe beside ffmpegPath (or
// on PATH) and compiles it. A script that normalises costs one ffmpeg pass over
// the audio before Normalize, run here to find the peak; one that fades, one
// pass over the audio before the fade, to find where it ends.
CompileResult compileScript(const QString &scriptPath, const QString &ffmpegPath);

// The script's length in seconds as far as it is known (0 when its sources do
// not say), without compiling it or scanning for peaks; nothing with a
// one-line reason when the script cannot be run.
std::optional<double> scriptLength(const QString &scriptPath, const QString &ffmpegPath, QString *error);

} // namespace tonmill::avs
