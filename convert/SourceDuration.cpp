#include "convert/SourceDuration.h"

#include "platform/AppFolder.h"
#include "platform/ChildProcess.h"
#include "settings/INIManager.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <cmath>

namespace tonmill {

namespace {
// A probe reads the container's header only; anything slower is a stuck tool.
constexpr int kProbeTimeoutMs = 15000;
}

SourceDuration::SourceDuration(const AppFolder &folder)
    : m_settingsFile(folder.file(QStringLiteral("\\Tonmill.ini")))
{
}

QString SourceDuration::ffprobeFor(const QString &ffmpegPath)
{
    if (!ffmpegPath.isEmpty()) {
        const QString beside = QFileInfo(ffmpegPath).dir().filePath(QStringLiteral("ffprobe"));
        if (QFileInfo(beside).isExecutable())
            return beside;
    }
    return QStandardPaths::findExecutable(QStringLiteral("ffprobe"));
}

double SourceDuration::parseDuration(const QString &probeOutput)
{
    for (const QString &line : probeOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        bool ok = false;
        const double seconds = line.trimmed().toDouble(&ok);
        if (ok && std::isfinite(seconds) && seconds > 0)
            return seconds;
    }
    return 0;
}

double SourceDuration::operator()(const QString &source) const
{
    const QString ffprobe = ffprobeFor(ReadIniValue(QStringLiteral("General"), QStringLiteral("FFMPEG"), m_settingsFile));
    if (ffprobe.isEmpty() || !QFileInfo(source).isFile())
        return 0;
    QProcess probe;
    probe.setStandardErrorFile(QProcess::nullDevice());
    makeChildDieWithParent(probe);
    // "file:" keeps a name that begins with "-" or holds a ":" from being read
    // as an option or another protocol.
    probe.start(ffprobe, {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                          QStringLiteral("format=duration"), QStringLiteral("-of"),
                          QStringLiteral("default=noprint_wrappers=1:nokey=1"),
                          QStringLiteral("file:") + QFileInfo(source).absoluteFilePath()});
    if (!probe.waitForStarted(-1))
        return 0;
    if (!probe.waitForFinished(kProbeTimeoutMs)) {
        probe.kill();
        probe.waitForFinished(-1);
        return 0;
    }
    if (probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 0)
        return 0;
    return parseDuration(QString::fromUtf8(probe.readAllStandardOutput()));
}

} // namespace tonmill
