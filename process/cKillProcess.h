#pragma once

#include <QString>

namespace tonmill {

class ProcessRegistry;

// Ends one child by id, and tells whether it is still running. A console
// child has no window here, so "still running" means the process has not
// ended. Only processes this program started are ever ended.
class cKillProcess {
public:
    explicit cKillProcess(const ProcessRegistry &registry) : m_registry(registry) {}

    QString Version() const { return QStringLiteral("cKillProcess v0.1 BETA"); }

    // Asks the process (and whatever it started) to close, then forces it if it
    // has not gone after a short grace. False when the process was not running
    // or is not one of ours; otherwise whether it is gone.
    bool KillProcess(qint64 lProcessID) const;

    bool PIDInUse(qint64 lProcessID) const;

private:
    const ProcessRegistry &m_registry;
};

} // namespace tonmill
