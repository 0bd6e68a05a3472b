#pragma once

#include <QString>

#include <csignal>
#include <functional>

namespace tonmill::run {

// SIGTERM, SIGINT and SIGHUP end the run at once, inside the signal handler:
// the encoder is killed and reaped, its unfinished file removed, and the
// process exits with 128 + the signal's number. The piped runner follows its
// SIGTERM with SIGKILL half a second later, too soon for an encoder writing at
// disk speed to be ended gracefully, and a run killed first leaves its file.
void installTerminationHandler();

// What the handler undoes. The encoder leads its own process group; 0 once it
// has ended.
void setEncoderProcess(qint64 pid);
// Set before the files are created, so that there is no moment one exists
// unknown: the unfinished output, and the cover taken aside for it if any.
void setPartialFiles(const QString &output, const QString &cover = QString());

// Holds the termination signals back while it lives, so that a child being
// started is recorded before a signal can find it running.
class HeldTerminationSignals {
public:
    HeldTerminationSignals();
    ~HeldTerminationSignals();
    HeldTerminationSignals(const HeldTerminationSignals &) = delete;
    HeldTerminationSignals &operator=(const HeldTerminationSignals &) = delete;

    // A child inherits held signals across exec: the child's modifier,
    // extended to let them through again there.
    std::function<void()> releasedInChild(std::function<void()> modifier) const;

private:
    sigset_t m_previous;
};

} // namespace tonmill::run
