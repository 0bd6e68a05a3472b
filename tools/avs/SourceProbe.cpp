#include "tools/avs/SourceProbe.h"

#include "media/SourceFacts.h"
#include "media/WavHeader.h"
#include "platform/ToolChain.h"
#include "tools/avs/AvsBuiltins.h"
#include "tools/avs/ToolProcess.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace tonmill::avs {

namespace {

// A probe of a readable file takes well under a second; a source that never
// answers (a pipe) must not hang the job.
constexpr int kProbeTimeoutMs = 60'000;

double seconds(const QJsonValue &v)
{
    bool ok = false;
    const double d = v.toString().toDouble(&ok);
    return ok && std::isfinite(d) && d >= 0 ? d : -1;
}

} // namespace

SourceProbe::SourceProbe(QString ffprobePath, QByteArray knownFacts)
    : m_ffprobe(std::move(ffprobePath))
    , m_knownFacts(std::move(knownFacts))
{
}

QString SourceProbe::inputUrl(const QString &absolutePath)
{
    return QStringLiteral("file:") + absolutePath;
}

std::optional<SourceInfo> SourceProbe::probe(const QString &path, QString *error) const
{
    const QFileInfo file(path);
    if (!file.exists()) {
        *error = QStringLiteral("the source \"%1\" does not exist").arg(path);
        return std::nullopt;
    }
    if (!file.isFile() || !file.isReadable()) {
        *error = QStringLiteral("the source \"%1\" is not a readable file").arg(path);
        return std::nullopt;
    }
    if (const std::optional<SourceInfo> known = knownSourceFacts(m_knownFacts, path))
        return known;
    // A plain WAV says all that is needed in its header; starting ffprobe
    // would cost more than a short encode.
    QFile wav(path);
    if (wav.open(QIODevice::ReadOnly)) {
        if (const std::optional<SourceInfo> info = readWavHeader(wav.read(kWavHeadBytes), wav.size()))
            return info;
    }
    return askFfprobe(path, error);
}

std::optional<SourceInfo> SourceProbe::askFfprobe(const QString &path, QString *error) const
{
    const QString url = inputUrl(QFileInfo(path).absoluteFilePath());
    const ToolResult run = runTool(m_ffprobe,
                                   {QStringLiteral("-v"), QStringLiteral("error"),
                                    QStringLiteral("-select_streams"), QStringLiteral("a:0"),
                                    QStringLiteral("-show_entries"), QStringLiteral("stream=channels,sample_rate,sample_fmt,duration:format=duration"),
                                    QStringLiteral("-of"), QStringLiteral("json"), url},
                                   kProbeTimeoutMs);
    if (!run.finished) {
        *error = QStringLiteral("the source \"%1\" could not be read: %2").arg(path, run.failure);
        return std::nullopt;
    }
    if (run.exitCode != 0) {
        QString why = lastLineOf(QString::fromUtf8(run.err));
        // ffprobe names the input first; the path is in our text already.
        if (why.startsWith(url + QStringLiteral(": ")))
            why = why.mid(url.size() + 2);
        *error = QStringLiteral("the source \"%1\" could not be read: %2").arg(path, why.isEmpty() ? QStringLiteral("ffprobe failed") : why);
        return std::nullopt;
    }
    const QJsonObject root = QJsonDocument::fromJson(run.out).object();
    const QJsonArray streams = root.value(QStringLiteral("streams")).toArray();
    if (streams.isEmpty()) {
        *error = QStringLiteral("the source \"%1\" has no audio").arg(path);
        return std::nullopt;
    }
    const QJsonObject stream = streams.first().toObject();
    SourceInfo info;
    info.channels = stream.value(QStringLiteral("channels")).toInt();
    info.sampleRate = stream.value(QStringLiteral("sample_rate")).toString().toInt();
    const QString format = stream.value(QStringLiteral("sample_fmt")).toString();
    info.isFloat = format.startsWith(QLatin1String("flt")) || format.startsWith(QLatin1String("dbl"));
    info.durationSeconds = seconds(stream.value(QStringLiteral("duration")));
    if (info.durationSeconds < 0)
        info.durationSeconds = seconds(root.value(QStringLiteral("format")).toObject().value(QStringLiteral("duration")));
    // A file written to a pipe may not say how long it is; it plays to its end
    // all the same, so its length is only unknown (0).
    info.durationSeconds = std::max(info.durationSeconds, 0.0);
    // ffprobe names no sample format when ffmpeg has no decoder for the codec.
    if (format.isEmpty()) {
        *error = QStringLiteral("the source \"%1\" has audio that ffmpeg cannot decode").arg(path);
        return std::nullopt;
    }
    if (info.channels < 1 || info.sampleRate < 1) {
        *error = QStringLiteral("the source \"%1\" has audio of unknown channels or rate").arg(path);
        return std::nullopt;
    }
    if (info.channels > kMaxChannels) {
        *error = QStringLiteral("the source \"%1\" has %2 channels; at most %3 are supported").arg(path).arg(info.channels).arg(kMaxChannels);
        return std::nullopt;
    }
    return info;
}

} // namespace tonmill::avs
