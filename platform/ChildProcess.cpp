#include "platform/ChildProcess.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace tonmill {

void makeChildDieWithParent(QProcess &process)
{
    const pid_t parent = ::getpid();
    // Runs in the child between fork and exec: only async-signal-safe calls.
    process.setChildProcessModifier([parent] {
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        // The parent may have died before the line above took effect.
        if (::getppid() != parent)
            ::_exit(127);
    });
}

bool waitYielding(QProcess &process, const std::function<bool()> &between)
{
    constexpr int kSliceMs = 20;
    // The end may be noticed by the event loop rather than by a wait, and a
    // wait on a process already known to have ended returns false at once:
    // the state decides. Waking for output as well as for the end lets
    // `between` empty the pipe before a talkative child blocks on it.
    while (process.state() != QProcess::NotRunning) {
        if (!process.waitForReadyRead(kSliceMs) && process.state() != QProcess::NotRunning)
            process.waitForFinished(kSliceMs);
        if (between && !between())
            return false;
        QCoreApplication::processEvents();
    }
    return true;
}

namespace {
// Fields of /proc/PID/stat after the command name, which may itself hold
// blanks and parentheses; empty when the process does not exist.
QList<QByteArray> statFields(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (pid <= 0 || !stat.open(QIODevice::ReadOnly))
        return {};
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    if (close < 0)
        return {};
    return line.mid(close + 2).split(' ');
}
} // namespace

bool isProcessAlive(qint64 pid)
{
    const QList<QByteArray> fields = statFields(pid);
    // fields[0] is the state; Z (zombie) and X (dead) have ended.
    return !fields.isEmpty() && fields[0] != "Z" && fields[0] != "X";
}

quint64 processStartTime(qint64 pid)
{
    const QList<QByteArray> fields = statFields(pid);
    // starttime is field 22 of the whole line, the 20th after the name.
    return fields.size() > 19 ? fields[19].toULongLong() : 0;
}

bool signalProcessTree(qint64 pid, int signal)
{
    if (pid <= 0)
        return false;
    if (::getpgid(static_cast<pid_t>(pid)) == pid && ::kill(static_cast<pid_t>(-pid), signal) == 0)
        return true;
    return ::kill(static_cast<pid_t>(pid), signal) == 0;
}

} // namespace tonmill
