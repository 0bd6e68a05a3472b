#include "tools/avs/ToolProcess.h"

#include "platform/ChildProcess.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace tonmill::avs {

ToolResult runTool(const QString &program, const QStringList &arguments, int timeoutMs)
{
    ToolResult result;
    QProcess process;
    makeChildDieWithParent(process);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForStarted(-1)) {
        result.failure = QStringLiteral("%1 could not be started: %2").arg(QFileInfo(program).fileName(), process.errorString());
        return result;
    }
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(-1);
        result.failure = QStringLiteral("%1 did not finish in time").arg(QFileInfo(program).fileName());
        return result;
    }
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    if (process.exitStatus() != QProcess::NormalExit) {
        result.failure = QStringLiteral("%1 crashed").arg(QFileInfo(program).fileName());
        return result;
    }
    result.finished = true;
    result.exitCode = process.exitCode();
    return result;
}

QString resolveProgram(const QString &path)
{
    if (path.isEmpty())
        return {};
    if (!path.contains(QLatin1Char('/')))
        return QStandardPaths::findExecutable(path);
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable() ? info.absoluteFilePath() : QString();
}

QString findFfprobe(const QString &ffmpegPath)
{
    const QString ffmpeg = resolveProgram(ffmpegPath);
    if (!ffmpeg.isEmpty()) {
        const QFileInfo beside(QFileInfo(ffmpeg).dir().filePath(QStringLiteral("ffprobe")));
        if (beside.isFile() && beside.isExecutable())
            return beside.absoluteFilePath();
    }
    return QStandardPaths::findExecutable(QStringLiteral("ffprobe"));
}

} // namespace tonmill::avs
