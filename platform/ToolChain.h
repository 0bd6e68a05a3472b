#pragma once

#include "process/CommandLine.h"

#include <functional>

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

// The last line of a text, ended by CR or LF, that is not blank, trimmed;
// empty when there is none.
QString lastLineOf(const QString &text);

// "cannot start "PROGRAM"", with ": WHY" when a reason is given.
QString cannotStart(const QString &program, const QString &why = {});

// Why a run that ended with a launch-failure status could not run its
// program: the helper's reason from the end of its output (the last
// kOutputTailSize characters are enough), or else that the program could not
// be started.
QString launchFailureReason(const QString &program, const QString &outputTail);
constexpr qsizetype kOutputTailSize = 1024;

// Whether a program named by its path can be started: status 0 when it can,
// else the helper's exit status for it (kHelperProgramMissing or
// kHelperProgramNotExecutable) with the reason.
struct ProgramCheck {
    int status = 0;
    QString reason;
};
ProgramCheck checkProgram(const QString &path);

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

// How a run of the script host ended.
struct ScriptHostEnd {
    // The exit status, or with endedBySignal the number of the signal.
    int exitCode = -1;
    bool endedBySignal = false;
    // Why the program could not be run: it could not be started, or its
    // helper ended with a launch-failure status. Empty otherwise.
    QString launchFailure;
};

// The script host's Run with wait-on-return: runs the (routed) line to its
// end while yielding to the event loop, registered under the line's image
// name so that ending by name ("QuEnc.exe") reaches it. Its output is not
// shown; each piece of it goes to `output` when one is given.
ScriptHostEnd ScriptHostRun(ProcessRegistry &registry, const CommandLine &line,
                            const std::function<void(const QString &)> &output = {});

} // namespace tonmill
