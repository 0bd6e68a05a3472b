#include "process/ReadOutput.h"

#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "platform/ToolChain.h"
#include "process/cKillProcess.h"

#include <QCoreApplication>
#include <QProcess>

#include <cerrno>

namespace tonmill {

namespace {
constexpr int kWaitSliceMs = 20;
}

ReadOutput::ReadOutput(ProcessRegistry &registry, QObject *parent)
    : QObject(parent)
    , m_registry(registry)
    , m_decoder(QStringDecoder::Utf8)
{
}

void ReadOutput::CancelProcess()
{
    if (!m_processing) {
        Q_EMIT Error(QStringLiteral("Not currently processing a command!"), NotProcessing);
        return;
    }
    m_cancelRequested = true;
}

bool ReadOutput::CloseProcess(qint64 lProcessID, quint32)
{
    // The exit code of a forced end cannot be chosen here: a signal ends it.
    return cKillProcess(m_registry).KillProcess(lProcessID);
}

void ReadOutput::ProcessCommand()
{
    if (m_command.program.isEmpty()) {
        Q_EMIT Error(QStringLiteral("Invalid Command."), InvalidCommand);
        return;
    }
    if (m_processing) {
        Q_EMIT Error(QStringLiteral("Currently processing a command!"), AlreadyProcessing);
        return;
    }
    m_processing = true;
    m_exitCode = 0;
    m_endedBySignal = false;
    m_launchFailure.clear();

    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    makeChildDieWithParent(process);
    process.start(m_command.program, m_command.arguments);
    if (!process.waitForStarted(-1)) {
        m_processing = false;
        m_launchFailure = cannotStart(m_command.program, process.errorString());
        Q_EMIT Error(QStringLiteral("CreateProcess failed."),
                     process.error() == QProcess::FailedToStart ? ENOENT : EIO);
        return;
    }
    const qint64 pid = process.processId();
    m_registry.add(pid, m_command.imageName.isEmpty() ? m_command.program : m_command.imageName);
    m_decoder.resetState();
    Q_EMIT Starting();
    m_cancelRequested = false;

    bool cancelled = false;
    bool launchFailed = false;
    QString tail; // the end of what the child wrote, for a launch failure's reason
    for (;;) {
        QCoreApplication::processEvents();
        if (m_cancelRequested) {
            cancelled = true;
            break;
        }
        if (process.bytesAvailable() == 0 && process.state() != QProcess::NotRunning) {
            // Waiting for output is done in short slices so that the window
            // keeps running while a silent child works.
            process.waitForReadyRead(kWaitSliceMs);
            continue;
        }
        if (process.bytesAvailable() == 0) {
            // The child has ended and everything it wrote has been read.
            m_endedBySignal = process.exitStatus() == QProcess::CrashExit;
            m_exitCode = process.exitCode();
            if (!m_endedBySignal && isLaunchFailureStatus(m_exitCode)) {
                m_launchFailure = launchFailureReason(m_command.program, tail);
                launchFailed = true;
                break;
            }
            Q_EMIT GotChunk(QString(), true);
            Q_EMIT Complete();
            cancelled = m_cancelRequested;
            break;
        }
        const QString chunk = m_decoder(process.read(kChunkSize));
        tail = (tail + chunk).right(kOutputTailSize);
        Q_EMIT GotChunk(chunk, false);
    }

    if (cancelled && !CloseProcess(pid, 0))
        Q_EMIT Error(QStringLiteral("Cannot close process id: %1").arg(pid), CannotClose);
    else if (cancelled)
        Q_EMIT Canceled();
    process.waitForFinished(cancelled ? 1000 : 0);
    m_registry.remove(pid);
    m_processing = false;
    m_cancelRequested = false;
    if (launchFailed)
        Q_EMIT Error(QStringLiteral("CreateProcess failed."), m_exitCode == kHelperProgramMissing ? ENOENT : EACCES);
}

} // namespace tonmill
