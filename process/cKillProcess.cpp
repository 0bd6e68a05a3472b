#include "process/cKillProcess.h"

#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"

#include <QElapsedTimer>
#include <QThread>

#include <csignal>

namespace tonmill {

namespace {
constexpr int kGraceMs = 500;

bool waitGone(qint64 pid, int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (isProcessAlive(pid)) {
        if (timer.elapsed() >= ms)
            return false;
        QThread::msleep(5);
    }
    return true;
}
} // namespace

bool cKillProcess::PIDInUse(qint64 lProcessID) const
{
    return isProcessAlive(lProcessID);
}

bool cKillProcess::KillProcess(qint64 lProcessID) const
{
    if (!m_registry.contains(lProcessID))
        return false;
    const quint64 started = processStartTime(lProcessID);
    signalProcessTree(lProcessID, SIGTERM);
    waitGone(lProcessID, kGraceMs);
    // Whatever is left of the tree is forced, but only while the id still names
    // the process we started (an ended child keeps its id until it is reaped).
    if (processStartTime(lProcessID) == started)
        signalProcessTree(lProcessID, SIGKILL);
    return waitGone(lProcessID, kGraceMs);
}

} // namespace tonmill
