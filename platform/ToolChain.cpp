#include "platform/ToolChain.h"

#include "platform/AppFolder.h"
#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"

#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStringDecoder>

namespace tonmill {

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

QString lastLineOf(const QString &text)
{
    // Progress is often rewritten in place with a bare CR.
    static const QRegularExpression lineEnd(QStringLiteral("[\r\n]"));
    const QStringList lines = text.split(lineEnd);
    for (auto it = lines.crbegin(); it != lines.crend(); ++it) {
        if (!it->trimmed().isEmpty())
            return it->trimmed();
    }
    return {};
}

QString cannotStart(const QString &program, const QString &why)
{
    const QString text = QStringLiteral("cannot start \"%1\"").arg(program);
    // The system call that failed ("execvp: ", "execve: ") tells a user nothing.
    static const QRegularExpression call(QStringLiteral("^exec[a-z]*: "));
    return why.isEmpty() ? text : text + QStringLiteral(": ") + QString(why).remove(call);
}

QString launchFailureReason(const QString &program, const QString &outputTail)
{
    const QString reason = helperReason(lastLineOf(outputTail));
    return reason.isEmpty() ? cannotStart(program) : reason;
}

ProgramCheck checkProgram(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return {kHelperProgramMissing, cannotStart(path, QStringLiteral("it does not exist"))};
    if (!info.isFile() || !info.isExecutable())
        return {kHelperProgramNotExecutable, cannotStart(path, QStringLiteral("it is not an executable program"))};
    return {};
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

ScriptHostEnd ScriptHostRun(ProcessRegistry &registry, const CommandLine &line,
                            const std::function<void(const QString &)> &output)
{
    ScriptHostEnd end;
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    makeChildDieWithParent(process);
    startCommandLine(process, line);
    if (!process.waitForStarted(-1)) {
        end.launchFailure = cannotStart(line.program, process.errorString());
        return end;
    }
    const qint64 pid = process.processId();
    registry.add(pid, line.imageName.isEmpty() ? QFileInfo(line.program).fileName() : line.imageName);
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString tail;
    const auto take = [&] {
        const QString text = decoder(process.readAll());
        if (text.isEmpty())
            return;
        tail = (tail + text).right(kOutputTailSize);
        if (output)
            output(text);
    };
    waitYielding(process, [&] {
        take();
        return true;
    });
    take();
    registry.remove(pid);
    end.endedBySignal = process.exitStatus() == QProcess::CrashExit;
    end.exitCode = process.exitCode();
    if (!end.endedBySignal && isLaunchFailureStatus(end.exitCode))
        end.launchFailure = launchFailureReason(line.arguments.value(0, line.program), tail);
    return end;
}

} // namespace tonmill
