#include "tools/avs/AvsBuiltins.h"

#include "tools/avs/AvsClip.h"
#include "tools/avs/SoxEffects.h"

#include <QHash>

#include <algorithm>
#include <cmath>

namespace tonmill::avs {

namespace {

const Clip &clipAt(const std::vector<Value> &args, size_t i)
{
    return std::get<Clip>(args[i]);
}

qint64 intAt(const std::vector<Value> &args, size_t i, qint64 fallback)
{
    const qint64 *v = std::get_if<qint64>(&args[i]);
    return v ? *v : fallback;
}

double floatAt(const std::vector<Value> &args, size_t i, double fallback)
{
    return isNumber(args[i]) ? toNumber(args[i]) : fallback;
}

Value fail(BuiltinContext &context, const QString &error)
{
    context.error = error;
    return {};
}

// The clip's channels picked in the given order, counted from 0.
Clip pickChannels(const Clip &clip, const QList<int> &channels)
{
    QList<QList<double>> matrix;
    for (int from : channels) {
        QList<double> row(clip->channels, 0.0);
        row[from] = 1.0;
        matrix << row;
    }
    return makeMatrix(clip, matrix);
}

Clip scaled(const Clip &clip, double gain)
{
    QList<QList<double>> matrix;
    for (int c = 0; c < clip->channels; ++c) {
        QList<double> row(clip->channels, 0.0);
        row[c] = gain;
        matrix << row;
    }
    return makeMatrix(clip, matrix);
}

Value loadPlugin(const std::vector<Value> &, BuiltinContext &)
{
    // The filters the plug-ins provided are built in.
    return {};
}

Value openSource(const QString &path, double fps, BuiltinContext &context)
{
    if (!(fps > 0) || !std::isfinite(fps))
        return fail(context, QStringLiteral("the frame rate must be above 0"));
    QString error;
    const Clip clip = context.sources.open(path, fps, &error);
    if (!clip)
        return fail(context, error);
    return clip;
}

Value directShowSource(const std::vector<Value> &args, BuiltinContext &context)
{
    return openSource(std::get<QString>(args[0]), floatAt(args, 1, 25), context);
}

Value nicSource(const std::vector<Value> &args, BuiltinContext &context)
{
    return openSource(std::get<QString>(args[0]), 25, context);
}

Value blankClip(const std::vector<Value> &args, BuiltinContext &context)
{
    const qint64 length = intAt(args, 0, 240);
    const double fps = floatAt(args, 1, 24);
    const qint64 rate = intAt(args, 2, 44100);
    const qint64 channels = intAt(args, 3, 1);
    if (length < 0 || !(fps > 0) || !std::isfinite(fps) || rate <= 0 || rate > 1'000'000)
        return fail(context, QStringLiteral("BlankClip: length, fps or audio_rate out of range"));
    if (channels < 1 || channels > kMaxChannels)
        return fail(context, QStringLiteral("BlankClip: channels must be 1 to %1").arg(kMaxChannels));
    return makeSilence(static_cast<int>(channels), static_cast<int>(rate), length, fps);
}

Value audioDub(const std::vector<Value> &args, BuiltinContext &)
{
    // The video's frames with the audio as it is: a video far longer than the
    // audio adds no silence.
    const Clip &video = clipAt(args, 0);
    return makeSpan(clipAt(args, 1), 0, kToTheEnd, video->frames, video->fps);
}

Value normalize(const std::vector<Value> &args, BuiltinContext &)
{
    return makeNormalize(clipAt(args, 0), floatAt(args, 1, 1.0));
}

Value fadeIO0(const std::vector<Value> &args, BuiltinContext &context)
{
    const Clip &clip = clipAt(args, 0);
    const qint64 frames = std::get<qint64>(args[1]);
    // Far past any real length, as Trim's frames are.
    if (frames < 0 || frames > (qint64(1) << 40))
        return fail(context, QStringLiteral("FadeIO0: %1 is not a number of frames").arg(frames));
    // The 0 variant adds no frame: the clip keeps its length.
    return frames == 0 ? clip : makeFade(clip, samplesForFrames(frames, clip->sampleRate, clip->fps));
}

Value trim(const std::vector<Value> &args, BuiltinContext &)
{
    const Clip &clip = clipAt(args, 0);
    // Far past any real length, and small enough that the sums below stay in range.
    constexpr qint64 kFarFrame = qint64(1) << 40;
    qint64 first = std::clamp(std::get<qint64>(args[1]), -kFarFrame, kFarFrame);
    qint64 last = std::clamp(std::get<qint64>(args[2]), -kFarFrame, kFarFrame);
    // 0 means the end and a negative last is a frame count, as in the
    // original language.
    const bool toTheEnd = last == 0;
    if (last < 0)
        last = first - last - 1;
    first = std::max<qint64>(first, 0);
    // A source's frame count is unknown (a header's length may be wrong), so
    // only its audio ends a cut of it.
    const bool counted = clip->frames > 0;
    if (counted) {
        first = std::min(first, clip->frames - 1);
        last = toTheEnd ? clip->frames - 1 : std::min(last, clip->frames - 1);
    }
    last = std::max(last, first);
    const qint64 start = samplesForFrames(first, clip->sampleRate, clip->fps);
    if (toTheEnd && !counted)
        return makeSpan(clip, start, kToTheEnd, 0, clip->fps);
    const qint64 frames = last - first + 1;
    return makeSpan(clip, start, start + samplesForFrames(frames, clip->sampleRate, clip->fps), frames, clip->fps);
}

Value resampleAudio(const std::vector<Value> &args, BuiltinContext &context)
{
    const Clip &clip = clipAt(args, 0);
    const qint64 rate = std::get<qint64>(args[1]);
    if (rate <= 0 || rate > 1'000'000)
        return fail(context, QStringLiteral("ResampleAudio: %1 is not a sampling rate").arg(rate));
    if (rate == clip->sampleRate)
        return clip;
    return makeResample(clip, static_cast<int>(rate));
}

Value unchanged(const std::vector<Value> &args, BuiltinContext &)
{
    return args[0];
}

Value audioChannels(const std::vector<Value> &args, BuiltinContext &)
{
    return static_cast<qint64>(clipAt(args, 0)->channels);
}

Value convertAudioToFloat(const std::vector<Value> &args, BuiltinContext &)
{
    const Clip &clip = clipAt(args, 0);
    return clip->isFloat ? clip : makeFloat(clip);
}

Value getChannels(const Clip &clip, const QList<qint64> &numbers, BuiltinContext &context)
{
    QList<int> picked;
    for (qint64 n : numbers) {
        if (n < 1 || n > clip->channels)
            return fail(context, QStringLiteral("GetChannel: the clip has %1 channel(s), so there is no channel %2").arg(clip->channels).arg(n));
        picked << static_cast<int>(n - 1);
    }
    if (picked.size() > kMaxChannels)
        return fail(context, QStringLiteral("GetChannel: more than %1 channels").arg(kMaxChannels));
    return pickChannels(clip, picked);
}

Value getChannel(const std::vector<Value> &args, BuiltinContext &context)
{
    QList<qint64> numbers;
    for (size_t i = 1; i < args.size(); ++i)
        numbers << std::get<qint64>(args[i]);
    return getChannels(clipAt(args, 0), numbers, context);
}

Value getLeftChannel(const std::vector<Value> &args, BuiltinContext &context)
{
    return getChannels(clipAt(args, 0), {1}, context);
}

Value getRightChannel(const std::vector<Value> &args, BuiltinContext &context)
{
    return getChannels(clipAt(args, 0), {2}, context);
}

QString mismatch(const QString &function, const std::vector<Clip> &clips, bool sameChannels)
{
    for (const Clip &c : clips) {
        if (c->sampleRate != clips.front()->sampleRate)
            return QStringLiteral("%1: the clips have different sampling rates (%2 and %3 Hz)").arg(function).arg(clips.front()->sampleRate).arg(c->sampleRate);
        if (sameChannels && c->channels != clips.front()->channels)
            return QStringLiteral("%1: the clips have different channel counts (%2 and %3)").arg(function).arg(clips.front()->channels).arg(c->channels);
    }
    return {};
}

Value mixAudio(const std::vector<Value> &args, BuiltinContext &context)
{
    const Clip &a = clipAt(args, 0);
    const Clip &b = clipAt(args, 1);
    const QString error = mismatch(QStringLiteral("MixAudio"), {a, b}, true);
    if (!error.isEmpty())
        return fail(context, error);
    const double fa = floatAt(args, 2, 0.5);
    const double fb = floatAt(args, 3, 1.0 - fa);
    return makeMix({scaled(a, fa), scaled(b, fb)});
}

Value convertToMono(const std::vector<Value> &args, BuiltinContext &)
{
    const Clip &clip = clipAt(args, 0);
    return makeMatrix(clip, {QList<double>(clip->channels, 1.0 / clip->channels)});
}

Value soxFilter(const std::vector<Value> &args, BuiltinContext &context)
{
    Clip clip = clipAt(args, 0);
    for (size_t i = 1; i < args.size(); ++i) {
        std::vector<SoxEffect> effects;
        if (!parseSoxEffect(std::get<QString>(args[i]), &effects, &context.error))
            return {};
        for (const SoxEffect &e : effects) {
            if (e.kind == SoxEffect::Kind::Gain) {
                clip = scaled(clip, e.gain);
            } else if (e.filter.frequency >= clip->sampleRate / 2.0) {
                return fail(context, QStringLiteral("SoxFilter \"%1\": %2 Hz is not below half the sampling rate").arg(std::get<QString>(args[i])).arg(e.filter.frequency));
            } else {
                clip = makeFilter(clip, e.filter);
            }
        }
    }
    return clip;
}

Value delayAudio(const std::vector<Value> &args, BuiltinContext &context)
{
    const Clip &clip = clipAt(args, 0);
    const double seconds = floatAt(args, 1, 0);
    if (!std::isfinite(seconds) || std::abs(seconds) > 86400)
        return fail(context, QStringLiteral("DelayAudio: the delay is out of range"));
    const qint64 samples = std::llround(seconds * clip->sampleRate);
    // A negative delay drops the start; either way the clip keeps its length.
    return samples == 0 ? clip : makeDelay(clip, samples);
}

Value mergeChannels(const std::vector<Value> &args, BuiltinContext &context)
{
    std::vector<Clip> clips;
    int total = 0;
    for (const Value &v : args) {
        clips.push_back(std::get<Clip>(v));
        total += clips.back()->channels;
    }
    const QString error = mismatch(QStringLiteral("MergeChannels"), clips, false);
    if (!error.isEmpty())
        return fail(context, error);
    if (total > kMaxChannels)
        return fail(context, QStringLiteral("MergeChannels: more than %1 channels").arg(kMaxChannels));
    // Each clip is placed in its own channels of the result, then all are summed.
    std::vector<Clip> placed;
    int offset = 0;
    for (const Clip &c : clips) {
        QList<QList<double>> matrix(total, QList<double>(c->channels, 0.0));
        for (int ch = 0; ch < c->channels; ++ch)
            matrix[offset + ch][ch] = 1.0;
        placed.push_back(makeMatrix(c, matrix));
        offset += c->channels;
    }
    return makeMix(placed);
}

Param clipParam(const char *name) { return {QString::fromLatin1(name), ParamType::Clip, false, false}; }
Param required(const char *name, ParamType type) { return {QString::fromLatin1(name), type, false, false}; }
Param optional(const char *name, ParamType type) { return {QString::fromLatin1(name), type, true, false}; }
Param repeated(const char *name, ParamType type) { return {QString::fromLatin1(name), type, false, true}; }

QHash<QString, Builtin> makeTable()
{
    const std::vector<Builtin> list = {
        {QStringLiteral("LoadPlugin"), {required("path", ParamType::String)}, loadPlugin},
        {QStringLiteral("DirectShowSource"), {required("file", ParamType::String), optional("fps", ParamType::Float), optional("convertfps", ParamType::Bool)}, directShowSource},
        {QStringLiteral("NicAc3Source"), {required("file", ParamType::String)}, nicSource},
        {QStringLiteral("NicDTSSource"), {required("file", ParamType::String)}, nicSource},
        {QStringLiteral("NicMPASource"), {required("file", ParamType::String)}, nicSource},
        {QStringLiteral("BlankClip"), {optional("length", ParamType::Int), optional("fps", ParamType::Float), optional("audio_rate", ParamType::Int), optional("channels", ParamType::Int)}, blankClip},
        {QStringLiteral("AudioDub"), {clipParam("video"), clipParam("audio")}, audioDub},
        {QStringLiteral("Normalize"), {clipParam("clip"), optional("volume", ParamType::Float)}, normalize},
        {QStringLiteral("FadeIO0"), {clipParam("clip"), required("num_frames", ParamType::Int)}, fadeIO0},
        {QStringLiteral("Trim"), {clipParam("clip"), required("first_frame", ParamType::Int), required("last_frame", ParamType::Int)}, trim},
        {QStringLiteral("ResampleAudio"), {clipParam("clip"), required("rate", ParamType::Int)}, resampleAudio},
        {QStringLiteral("ConvertToYV12"), {clipParam("clip")}, unchanged},
        {QStringLiteral("EnsureVBRMP3Sync"), {clipParam("clip")}, unchanged},
        {QStringLiteral("AudioChannels"), {clipParam("clip")}, audioChannels},
        {QStringLiteral("ConvertAudioToFloat"), {clipParam("clip")}, convertAudioToFloat},
        {QStringLiteral("GetLeftChannel"), {clipParam("clip")}, getLeftChannel},
        {QStringLiteral("GetRightChannel"), {clipParam("clip")}, getRightChannel},
        {QStringLiteral("GetChannel"), {clipParam("clip"), repeated("channel", ParamType::Int)}, getChannel},
        {QStringLiteral("MixAudio"), {clipParam("clip1"), clipParam("clip2"), optional("clip1_factor", ParamType::Float), optional("clip2_factor", ParamType::Float)}, mixAudio},
        {QStringLiteral("ConvertToMono"), {clipParam("clip")}, convertToMono},
        {QStringLiteral("SoxFilter"), {clipParam("clip"), repeated("effect", ParamType::String)}, soxFilter},
        {QStringLiteral("DelayAudio"), {clipParam("clip"), required("seconds", ParamType::Float)}, delayAudio},
        {QStringLiteral("MergeChannels"), {clipParam("clip1"), repeated("clips", ParamType::Clip)}, mergeChannels},
    };
    QHash<QString, Builtin> table;
    for (const Builtin &b : list)
        table.insert(b.name.toLower(), b);
    return table;
}

} // namespace

const Builtin *findBuiltin(const QString &name)
{
    static const QHash<QString, Builtin> table = makeTable();
    const auto it = table.constFind(name.toLower());
    return it == table.constEnd() ? nullptr : &it.value();
}

} // namespace tonmill::avs
