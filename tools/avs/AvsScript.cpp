#include "tools/avs/AvsScript.h"

#include "media/SourceFacts.h"
#include "tools/avs/AudioMeter.h"
#include "tools/avs/FilterGraphCompiler.h"
#include "tools/avs/ScriptLoader.h"
#include "tools/avs/SourceProbe.h"
#include "tools/avs/ToolProcess.h"

#include <QFileInfo>

namespace tonmill::avs {

namespace {

CompileResult failure(const QString &error)
{
    CompileResult result;
    result.error = error;
    return result;
}

// The script's clip, its sources probed with the ffprobe beside ffmpegPath
// unless the program that started this one measured them already.
Clip loadScript(const QString &scriptPath, const QString &ffmpegPath, QString *ffmpeg, QString *error)
{
    *ffmpeg = resolveProgram(ffmpegPath);
    if (ffmpeg->isEmpty()) {
        *error = QStringLiteral("ffmpeg was not found at \"%1\"").arg(ffmpegPath);
        return {};
    }
    const QString ffprobe = findFfprobe(*ffmpeg);
    if (ffprobe.isEmpty()) {
        *error = QStringLiteral("ffprobe was found neither beside \"%1\" nor on PATH").arg(*ffmpeg);
        return {};
    }
    const SourceProbe probe(ffprobe, qgetenv(kSourceFactsVariable));
    ScriptLoader loader(probe);
    return loader.load(scriptPath, error);
}

} // namespace

CompileResult compileScript(const QString &scriptPath, const QString &ffmpegPath)
{
    QString ffmpeg;
    QString error;
    const Clip clip = loadScript(scriptPath, ffmpegPath, &ffmpeg, &error);
    if (!clip)
        return failure(error);

    // Inner nodes come first, so that an outer Normalize measures audio
    // already scaled and faded by them.
    Measurements measured;
    for (const ClipNode *node : postOrder(clip)) {
        const bool normalize = node->op == ClipNode::Op::Normalize;
        if (!normalize && node->op != ClipNode::Op::Fade)
            continue;
        const FfmpegGraph scan =
            compileGraph(node->inputs.front(), normalize ? GraphMode::PeakScan : GraphMode::LengthScan, measured);
        const std::optional<AudioMeasure> measure = measureAudio(
            ffmpeg, scan, normalize ? QStringLiteral("Normalize") : QStringLiteral("FadeIO0"), &error);
        if (!measure)
            return failure(QStringLiteral("%1: %2").arg(QFileInfo(scriptPath).fileName(), error));
        // Silence stays silence.
        if (normalize)
            measured.gains.insert(node, measure->peak > 0 ? node->volume / measure->peak : 1.0);
        else
            measured.lengths.insert(node, measure->samples);
    }

    CompileResult result;
    result.ok = true;
    result.graph = compileGraph(clip, GraphMode::Render, measured);
    return result;
}

std::optional<double> scriptLength(const QString &scriptPath, const QString &ffmpegPath, QString *error)
{
    QString ffmpeg;
    const Clip clip = loadScript(scriptPath, ffmpegPath, &ffmpeg, error);
    if (!clip)
        return std::nullopt;
    return clip->durationSeconds();
}

} // namespace tonmill::avs
