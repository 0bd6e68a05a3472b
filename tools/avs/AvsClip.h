#pragma once

#include "tools/avs/AvsValue.h"

#include <QList>
#include <QString>

#include <vector>

namespace tonmill::avs {

// A low- or high-pass filter of the kind sox's effects of that name apply.
struct PassFilter {
    enum class Kind { LowPass, HighPass };
    Kind kind = Kind::LowPass;
    double frequency = 0;
    int poles = 2;
};

// One node of the graph that a script builds: an operation on the audio of
// its inputs. A clip has video only as a frame count at a frame rate, which is
// all Trim and AudioDub need; its audio is an exact number of samples.
struct ClipNode {
    enum class Op {
        Source,    // a decoded file
        Silence,   // BlankClip's audio
        Span,      // input samples [start, end), then silence up to `samples`
        Resample,  // to sampleRate
        Matrix,    // each output channel a weighted sum of input channels
        Mix,       // the sum of the inputs, as long as the first
        Filter,    // a pass filter
        Delay,     // delay samples of silence in front, length kept
        Normalize, // gain that lifts the peak to volume times full scale
        ToFloat,   // float samples
    };

    Op op = Op::Source;
    std::vector<Clip> inputs;

    int channels = 0;
    int sampleRate = 0;
    qint64 samples = 0;
    qint64 frames = 0;
    double fps = 25;
    bool isFloat = false;
    int depth = 1; // the longest chain of nodes down to a source

    QString path;                 // Source
    qint64 start = 0;             // Span
    qint64 end = 0;               // Span
    qint64 delay = 0;             // Delay
    QList<QList<double>> matrix;  // Matrix: matrix[out][in]
    PassFilter filter;            // Filter
    double volume = 1;            // Normalize

    double durationSeconds() const { return sampleRate > 0 ? static_cast<double>(samples) / sampleRate : 0; }
};

// Longer chains of filters than this are refused: walking and freeing the
// graph recurses along them.
constexpr int kMaxClipDepth = 5000;

// The first audio sample of a frame at the clip's rates, as the scripts count.
qint64 samplesForFrames(qint64 frames, int sampleRate, double fps);

Clip makeSource(const QString &path, int channels, int sampleRate, qint64 samples, double fps, bool isFloat);
Clip makeSilence(int channels, int sampleRate, qint64 frames, double fps);
// The clip's audio from sample start on, `samples` long, with the given video.
// A span of a span becomes one span.
Clip makeSpan(const Clip &input, qint64 start, qint64 samples, qint64 frames, double fps);
Clip makeResample(const Clip &input, int sampleRate);
Clip makeMatrix(const Clip &input, const QList<QList<double>> &matrix);
Clip makeMix(const std::vector<Clip> &inputs);
Clip makeFilter(const Clip &input, const PassFilter &filter);
Clip makeDelay(const Clip &input, qint64 samples);
Clip makeNormalize(const Clip &input, double volume);
Clip makeFloat(const Clip &input);

} // namespace tonmill::avs
