#include "tools/avs/AvsClip.h"

#include <algorithm>
#include <cmath>

namespace tonmill::avs {

namespace {

std::shared_ptr<ClipNode> derived(ClipNode::Op op, const Clip &input)
{
    auto node = std::make_shared<ClipNode>();
    node->op = op;
    node->inputs = {input};
    node->channels = input->channels;
    node->sampleRate = input->sampleRate;
    node->samples = input->samples;
    node->frames = input->frames;
    node->fps = input->fps;
    node->isFloat = input->isFloat;
    node->depth = input->depth + 1;
    return node;
}

} // namespace

qint64 samplesForFrames(qint64 frames, int sampleRate, double fps)
{
    // The small margin keeps 0.04 s * 44100 from landing one sample short; the
    // cap (far past any real length) keeps sums of sample counts from overflowing.
    const double samples = std::floor(static_cast<double>(frames) * sampleRate / fps + 1e-6);
    return static_cast<qint64>(std::min(samples, 1e18));
}

Clip makeSource(const QString &path, int channels, int sampleRate, qint64 samples, double fps, bool isFloat)
{
    auto node = std::make_shared<ClipNode>();
    node->op = ClipNode::Op::Source;
    node->path = path;
    node->channels = channels;
    node->sampleRate = sampleRate;
    node->samples = samples;
    node->fps = fps;
    node->isFloat = isFloat;
    return node;
}

Clip makeSilence(int channels, int sampleRate, qint64 frames, double fps)
{
    auto node = std::make_shared<ClipNode>();
    node->op = ClipNode::Op::Silence;
    node->channels = channels;
    node->sampleRate = sampleRate;
    node->frames = frames;
    node->fps = fps;
    node->samples = samplesForFrames(frames, sampleRate, fps);
    return node;
}

Clip makeSpan(const Clip &input, qint64 start, qint64 end, qint64 frames, double fps)
{
    end = std::max(end, start);
    qint64 samples = end == kToTheEnd ? 0 : end - start;
    if (input->samples > 0) {
        const qint64 rest = std::max<qint64>(input->samples - start, 0);
        samples = end == kToTheEnd ? rest : std::min(samples, rest);
    }
    Clip source = input;
    if (input->op == ClipNode::Op::Span) {
        // Nothing lies past the inner span's end either way.
        source = input->inputs.front();
        end = end == kToTheEnd ? input->end : input->start + std::min(end, input->end - input->start);
        start += input->start;
        end = std::max(end, start);
    }
    auto node = derived(ClipNode::Op::Span, source);
    node->start = start;
    node->end = end;
    node->samples = samples;
    node->frames = frames;
    node->fps = fps;
    return node;
}

Clip makeResample(const Clip &input, int sampleRate)
{
    auto node = derived(ClipNode::Op::Resample, input);
    node->sampleRate = sampleRate;
    node->samples = static_cast<qint64>(std::llround(static_cast<double>(input->samples) * sampleRate / input->sampleRate));
    return node;
}

Clip makeMatrix(const Clip &input, const QList<QList<double>> &matrix)
{
    auto node = derived(ClipNode::Op::Matrix, input);
    node->matrix = matrix;
    node->channels = static_cast<int>(matrix.size());
    return node;
}

Clip makeMix(const std::vector<Clip> &inputs)
{
    auto node = derived(ClipNode::Op::Mix, inputs.front());
    node->inputs = inputs;
    node->isFloat = true;
    for (const Clip &input : inputs)
        node->depth = std::max(node->depth, input->depth + 1);
    return node;
}

Clip makeFilter(const Clip &input, const PassFilter &filter)
{
    auto node = derived(ClipNode::Op::Filter, input);
    node->filter = filter;
    return node;
}

Clip makeDelay(const Clip &input, qint64 samples)
{
    auto node = derived(ClipNode::Op::Delay, input);
    node->delay = samples;
    return node;
}

Clip makeNormalize(const Clip &input, double volume)
{
    auto node = derived(ClipNode::Op::Normalize, input);
    node->volume = volume;
    node->isFloat = true;
    return node;
}

Clip makeFade(const Clip &input, qint64 samples)
{
    auto node = derived(ClipNode::Op::Fade, input);
    node->fade = samples;
    return node;
}

Clip makeFloat(const Clip &input)
{
    auto node = derived(ClipNode::Op::ToFloat, input);
    node->isFloat = true;
    return node;
}

} // namespace tonmill::avs
