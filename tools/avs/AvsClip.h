#pragma once

#include "tools/avs/AvsValue.h"

#include <QList>
#include <QString>

#include <limits>
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
// all Trim and AudioDub need. Its audio is whatever its sources decode to:
// a header's length may be wrong, so nothing is padded or cut to a length
// worked out here, and `samples` is only what is known of the length.
struct ClipNode {
    enum class Op {
        Source,    // a decoded file
        Silence,   // BlankClip's audio
        Span,      // input samples [start, end), fewer where the input ends sooner
        Resample,  // to sampleRate
        Matrix,    // each output channel a weighted sum of input channels
        Mix,       // the sum of the inputs, as long as the first
        Filter,    // a pass filter
        Delay,     // delay samples of silence in front (or dropped from it), length kept
        Normalize, // gain that lifts the peak to volume times full scale
        ToFloat,   // float samples
        Fade,      // linear fades from silence over the first fade samples and to it over the last
    };

    Op op = Op::Source;
    std::vector<Clip> inputs;

    int channels = 0;
    int sampleRate = 0;
    qint64 samples = 0; // the length as far as known: 0 unknown, a header's estimate for sources
    qint64 frames = 0;  // 0 for a source: its length is not known for certain
    double fps = 25;
    bool isFloat = false;
    int depth = 1; // the longest chain of nodes down to a source

    QString path;                 // Source
    qint64 start = 0;             // Span
    qint64 end = 0;               // Span: kToTheEnd for all the rest
    qint64 delay = 0;             // Delay: negative drops the start
    QList<QList<double>> matrix;  // Matrix: matrix[out][in]
    PassFilter filter;            // Filter
    double volume = 1;            // Normalize
    qint64 fade = 0;              // Fade: samples at each end

    double durationSeconds() const { return sampleRate > 0 ? static_cast<double>(samples) / sampleRate : 0; }
};

// A Span's end when it keeps the input to wherever its audio ends.
constexpr qint64 kToTheEnd = std::numeric_limits<qint64>::max();

// Longer chains of filters than this are refused: walking and freeing the
// graph recurses along them.
constexpr int kMaxClipDepth = 5000;

// The first audio sample of a frame at the clip's rates, as the scripts count.
qint64 samplesForFrames(qint64 frames, int sampleRate, double fps);

Clip makeSource(const QString &path, int channels, int sampleRate, qint64 samples, double fps, bool isFloat);
Clip makeSilence(int channels, int sampleRate, qint64 frames, double fps);
// The clip's audio from sample start to end (or kToTheEnd), with the given
// video. A span of a span becomes one span.
Clip makeSpan(const Clip &input, qint64 start, qint64 end, qint64 frames, double fps);
Clip makeResample(const Clip &input, int sampleRate);
Clip makeMatrix(const Clip &input, const QList<QList<double>> &matrix);
// The inputs must be matrices: the graph needs their channel layouts fixed.
Clip makeMix(const std::vector<Clip> &inputs);
Clip makeFilter(const Clip &input, const PassFilter &filter);
Clip makeDelay(const Clip &input, qint64 samples);
Clip makeNormalize(const Clip &input, double volume);
Clip makeFade(const Clip &input, qint64 samples);
Clip makeFloat(const Clip &input);

} // namespace tonmill::avs
