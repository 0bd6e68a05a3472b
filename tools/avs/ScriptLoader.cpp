#include "tools/avs/ScriptLoader.h"

#include "platform/TextEncoding.h"
#include "tools/avs/AvsClip.h"
#include "tools/avs/AvsEvaluator.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cmath>

namespace tonmill::avs {

namespace {

// Scripts that run scripts: a chain longer than this is a loop in all but name.
constexpr int kMaxNesting = 16;

} // namespace

ScriptLoader::ScriptLoader(const SourceProbe &probe)
    : m_probe(probe)
{
}

Clip ScriptLoader::load(const QString &scriptPath, QString *error)
{
    const QFileInfo info(scriptPath);
    const QString name = info.fileName();
    QFile file(scriptPath);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("%1: the script cannot be read: %2").arg(name, file.errorString());
        return {};
    }
    const QString canonical = info.canonicalFilePath();
    if (m_running.contains(canonical)) {
        *error = QStringLiteral("%1: the script opens itself").arg(name);
        return {};
    }
    if (m_running.size() >= kMaxNesting) {
        *error = QStringLiteral("%1: scripts open scripts too deeply").arg(name);
        return {};
    }
    // UTF-8, or Windows-1252 for a script written on the original platform.
    QString text = decodeText(file.readAll());
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    m_running << canonical;
    const EvalResult result = evaluateScript(text, *this);
    m_running.removeLast();
    if (!result.clip)
        *error = QStringLiteral("%1, line %2: %3").arg(name).arg(result.errorLine).arg(result.error);
    return result.clip;
}

Clip ScriptLoader::open(const QString &path, double fps, QString *error)
{
    const QString absolute = m_running.isEmpty() ? QFileInfo(path).absoluteFilePath()
                                                 : QFileInfo(m_running.last()).dir().absoluteFilePath(path);
    if (absolute.endsWith(QLatin1String(".avs"), Qt::CaseInsensitive))
        return load(absolute, error);
    const std::optional<SourceInfo> info = m_probe.probe(absolute, error);
    if (!info)
        return {};
    const auto samples = static_cast<qint64>(std::llround(info->durationSeconds * info->sampleRate));
    return makeSource(absolute, info->channels, info->sampleRate, samples, fps, info->isFloat);
}

} // namespace tonmill::avs
