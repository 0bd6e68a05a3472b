#include "process/cStdIO.h"

#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "platform/ToolChain.h"
#include "process/cKillProcess.h"

#include <QCoreApplication>
#include <QThread>
#include <QProcess>

#include <utility>

namespace tonmill {

namespace {
// While the child is silent the loop waits for it this long between turns of
// the event loop: short enough that the window never waits noticeably.
constexpr int kIdleWaitMs = 10;

QString description(cStdIO::ErrorNumber number)
{
    switch (number) {
    case cStdIO::NotReady: return QStringLiteral("Not ready to process another command.");
    case cStdIO::EmptyCommandLine: return QStringLiteral("Command Line empty.");
    case cStdIO::NotReadyToChange: return QStringLiteral("Not ready to change settings.");
    case cStdIO::CreatePipeFailed: return QStringLiteral("CreatePipe failed.");
    case cStdIO::SetPipeStateFailed: return QStringLiteral("SetNamedPipeHandleState failed.");
    case cStdIO::CreateProcessFailed: return QStringLiteral("CreateProcess failed.");
    }
    return {};
}
} // namespace

cStdIO::cStdIO(ProcessRegistry &registry, QObject *parent)
    : QObject(parent)
    , m_registry(registry)
    , m_decoder(QStringDecoder::Utf8)
{
}

cStdIO::~cStdIO() = default;

void cStdIO::raiseError(ErrorNumber number)
{
    Q_EMIT Error(number, description(number));
}

void cStdIO::setCommandLine(const CommandLine &commandLine)
{
    if (!m_ready) {
        raiseError(NotReadyToChange);
        return;
    }
    m_commandLine = commandLine;
}

qint64 cStdIO::processId() const
{
    return m_process ? m_process->processId() : 0;
}

void cStdIO::Cancel()
{
    if (!m_ready)
        m_cancelRequested = true;
}

qint32 cStdIO::WriteData(const QString &strData)
{
    if (!m_process || m_process->state() != QProcess::Running)
        return -1;
    const QByteArray bytes = strData.toUtf8() + "\r\n";
    const qint64 written = m_process->write(bytes);
    if (written < 0)
        return -1;
    m_process->waitForBytesWritten(1000);
    return static_cast<qint32>(written - 2);
}

bool cStdIO::deliverWaiting()
{
    // Everything waiting is read, one read of at most 4096 bytes per event, so
    // that a talkative child never waits on a full pipe; after a pipe's worth
    // the caller yields to the event loop before reading on.
    constexpr int kReadsPerYield = 16;
    int reads = 0;
    while (!m_cancelRequested && reads < kReadsPerYield && m_process->bytesAvailable() > 0) {
        ++reads;
        const QString chunk = m_decoder(m_process->read(kReadSize));
        if (chunk.isEmpty())
            continue; // only the start of a character that the next read completes
        m_output += chunk;
        Q_EMIT GotData(chunk);
    }
    return reads > 0;
}

QString cStdIO::ExecuteCommand(const CommandLine &commandLine)
{
    if (!m_ready) {
        raiseError(NotReady);
        return {};
    }
    m_ready = false;
    m_cancelRequested = false;
    if (!commandLine.isEmpty())
        m_commandLine = commandLine;
    if (m_commandLine.program.isEmpty()) {
        m_ready = true;
        raiseError(EmptyCommandLine);
        return {};
    }

    m_exitCode = 0;
    m_endedBySignal = false;
    m_launchFailure.clear();
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    makeChildDieWithParent(process);
    startCommandLine(process, m_commandLine);
    if (!process.waitForStarted(-1)) {
        m_ready = true;
        m_launchFailure = cannotStart(m_commandLine.program, process.errorString());
        raiseError(CreateProcessFailed);
        return {};
    }
    const qint64 pid = process.processId();
    const QString image = m_commandLine.imageName.isEmpty() ? m_commandLine.program : m_commandLine.imageName;
    m_registry.add(pid, image);
    m_process = &process;
    m_output.clear();
    m_decoder.resetState();

    for (;;) {
        QCoreApplication::processEvents();
        if (m_cancelRequested)
            break;
        if (deliverWaiting())
            continue;
        if (process.state() == QProcess::NotRunning) {
            // The end was noticed; whatever the child wrote before it was
            // drained into the buffer and is delivered before Complete.
            if (!deliverWaiting())
                break;
            continue;
        }
        process.waitForReadyRead(kIdleWaitMs);
    }

    const bool cancelled = m_cancelRequested;
    // The next run starts empty anyway; the text is not held until then.
    const QString output = std::exchange(m_output, QString());
    m_ready = true;
    if (!cancelled) {
        m_process = nullptr;
        m_registry.remove(pid);
        m_endedBySignal = process.exitStatus() == QProcess::CrashExit;
        m_exitCode = process.exitCode();
        if (!m_endedBySignal && isLaunchFailureStatus(m_exitCode)) {
            m_launchFailure = launchFailureReason(m_commandLine.arguments.value(0, m_commandLine.program), output.right(kOutputTailSize));
            raiseError(CreateProcessFailed);
            return {};
        }
        Q_EMIT Complete();
    } else {
        const bool ended = cKillProcess(m_registry).KillProcess(pid);
        process.waitForFinished(ended ? 1000 : 0);
        m_process = nullptr;
        m_registry.remove(pid);
        if (ended)
            Q_EMIT CancelSuccess();
        else
            Q_EMIT CancelFail();
    }
    return output;
}

void waitUntilReady(const cStdIO &runner)
{
    while (!runner.Ready()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, kIdleWaitMs);
        QThread::msleep(kIdleWaitMs);
    }
}

} // namespace tonmill
