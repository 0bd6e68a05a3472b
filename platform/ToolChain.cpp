#include "platform/ToolChain.h"

#include "platform/AppFolder.h"
#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

namespace tonmill {

namespace {
constexpr int kWaitSliceMs = 30;
}

bool isLaunchFailureStatus(int exitCode)
{
    return exitCode == kHelperProgramMissing || exitCode == kHelperProgramNotExecutable;
}

QString helperReason(const QString &line)
{
    static const QRegularExpression pattern(QStringLiteral("^[\\w.-]+: error: (.+)$"));
    const QRegularExpressionMatch m = pattern.match(line.trimmed());
    return m.hasMatch() ? m.captured(1) : QString();
}

QString partialOutputName(const QString &output)
{
    return output + QStringLiteral(".part");
}

CommandLine throughStandIns(const CommandLine &line, const AppFolder &folder)
{
    CommandLine routed = line;
    routed.program = folder.file(QStringLiteral("Tools/tonmill-run"));
    routed.arguments = QStringList{line.program} + line.arguments;
    return routed;
}

int ScriptHostRun(ProcessRegistry &registry, const CommandLine &line)
{
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    makeChildDieWithParent(process);
    process.start(line.program, line.arguments);
    if (!process.waitForStarted(-1))
        return -1;
    const qint64 pid = process.processId();
    registry.add(pid, line.imageName.isEmpty() ? QFileInfo(line.program).fileName() : line.imageName);
    while (!process.waitForFinished(kWaitSliceMs))
        QCoreApplication::processEvents();
    registry.remove(pid);
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace tonmill
