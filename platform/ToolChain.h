#pragma once

#include "process/CommandLine.h"

namespace tonmill {

class AppFolder;

// Exit statuses with which a helper in Tools/ says that the program it stands
// in for could not be run, as env, nohup and timeout do: 127 when the program
// does not exist, 126 when it exists but cannot be executed. A run that ends
// so is a failed launch, not a finished one.
constexpr int kHelperProgramNotExecutable = 126;
constexpr int kHelperProgramMissing = 127;
bool isLaunchFailureStatus(int exitCode);

// A helper that fails writes, as its last line, "<name>: error: <reason>".
// The reason of such a line; empty for any other line.
QString helperReason(const QString &line);

// The name an encoder's output has until it is finished; renamed to the
// output only when complete, removed whenever the encode does not finish.
QString partialOutputName(const QString &output);
class ProcessRegistry;

// The encoders the program names (ffmpeg with its old options, QuEnc, the WMA
// script host) run through the encoder runner in the application folder's
// Tools/, which takes the line's words as they are. The text stays the line
// the program built, logged and compared; only what is executed changes.

// The line as the runner executes it: program = Tools/tonmill-run,
// arguments = [the line's program] + the line's arguments; text and
// imageName unchanged, so ending processes by name still finds it.
CommandLine throughStandIns(const CommandLine &line, const AppFolder &folder);

// The script host's Run with wait-on-return: runs the (routed) line to its
// end while yielding to the event loop, registered under the line's image
// name so that ending by name ("QuEnc.exe") reaches it. Its output is not
// shown. The exit status; -1 when it could not be started or did not end by
// itself.
int ScriptHostRun(ProcessRegistry &registry, const CommandLine &line);

} // namespace tonmill
