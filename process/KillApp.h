#pragma once

#include <QString>

namespace tonmill {

class ProcessRegistry;

// Ends, by force, the first process this program started whose image name
// contains the given text, compared without regard to case and with a trailing
// ".exe" folded on both sides ("QuEnc.exe" finds "quenc"). Processes this
// program did not start are never touched. Always returns "".
QString KillByName(const ProcessRegistry &registry, const QString &name);

// Ends one of this program's processes, and whatever it started, by force.
// True when it was ours and the signal was delivered.
bool KillById(const ProcessRegistry &registry, qint64 pid);

// The comparison KillByName uses, on its own.
bool imageNameMatches(const QString &imageName, const QString &wanted);

} // namespace tonmill
