#include "tools/run/TerminationSignals.h"

#include <QFile>

#include <climits>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

namespace tonmill::run {

namespace {
// Read by the signal handler, so plain and fixed-size.
volatile sig_atomic_t g_encoder = 0;
volatile sig_atomic_t g_partialCount = 0;
char g_partial[2][PATH_MAX];

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};

sigset_t terminationSet()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int s : kSignals)
        sigaddset(&set, s);
    return set;
}

// Only async-signal-safe calls.
extern "C" void endRun(int number)
{
    const pid_t encoder = g_encoder;
    if (encoder > 0) {
        // Once reaped the encoder can no longer create the file removed below.
        // __WALL: QProcess may start its child without SIGCHLD as exit signal.
        ::kill(-encoder, SIGKILL);
        ::waitpid(encoder, nullptr, __WALL);
    }
    for (sig_atomic_t i = 0; i < g_partialCount; ++i)
        ::unlink(g_partial[i]);
    ::_exit(128 + number);
}
} // namespace

void installTerminationHandler()
{
    struct sigaction action = {};
    action.sa_handler = endRun;
    action.sa_mask = terminationSet();
    for (const int s : kSignals)
        ::sigaction(s, &action, nullptr);
}

void setEncoderProcess(qint64 pid)
{
    g_encoder = static_cast<sig_atomic_t>(pid);
}

void setPartialFiles(const QString &output, const QString &cover)
{
    g_partialCount = 0;
    sig_atomic_t count = 0;
    for (const QString &path : {output, cover}) {
        const QByteArray name = QFile::encodeName(path);
        if (!name.isEmpty() && static_cast<size_t>(name.size()) < sizeof g_partial[0])
            std::memcpy(g_partial[count++], name.constData(), static_cast<size_t>(name.size()) + 1);
    }
    g_partialCount = count;
}

HeldTerminationSignals::HeldTerminationSignals()
{
    const sigset_t held = terminationSet();
    ::sigprocmask(SIG_BLOCK, &held, &m_previous);
}

HeldTerminationSignals::~HeldTerminationSignals()
{
    ::sigprocmask(SIG_SETMASK, &m_previous, nullptr);
}

std::function<void()> HeldTerminationSignals::releasedInChild(std::function<void()> modifier) const
{
    const sigset_t previous = m_previous;
    return [modifier = std::move(modifier), previous] {
        if (modifier)
            modifier();
        ::sigprocmask(SIG_SETMASK, &previous, nullptr);
    };
}

} // namespace tonmill::run
