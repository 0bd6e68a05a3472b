#pragma once

#include <QtGlobal>

#include <functional>

class QProcess;

namespace tonmill {

// Prepares a QProcess so that its child leads a process group of its own (so
// that it can be ended together with whatever it starts) and is killed by the
// kernel the moment this program dies, however it dies.
void makeChildDieWithParent(QProcess &process);

// Waits for a started process to end while the event loop runs on, in short
// slices or until it writes; between them it calls `between` (to read its
// output, say), which ends the wait early by returning false. True when the
// process has ended.
bool waitYielding(QProcess &process, const std::function<bool()> &between = {});

// True while the process exists and has not yet ended (a zombie has ended).
bool isProcessAlive(qint64 pid);

// The kernel's start time of the process, in clock ticks since boot; 0 when it
// does not exist. Together with the id it names one process for good, since ids
// are reused.
quint64 processStartTime(qint64 pid);

// Sends the signal to the process group the process leads, or to the process
// alone when it leads none. False when nothing could be signalled.
bool signalProcessTree(qint64 pid, int signal);

} // namespace tonmill
