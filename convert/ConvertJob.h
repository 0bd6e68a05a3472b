#pragma once

#include "convert/LoudnessChoice.h"
#include "convert/SourceDuration.h"
#include "platform/AppFolder.h"

#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

namespace tonmill {

class ActivityLog;
class Dialogs;
class ProcessRegistry;
class cStdIO;
struct CommandLine;
struct EncoderInputs;
struct EqualizerState;
struct MainFormState;
struct OptionState;

// How the last Convert click ended, for callers that report it.
struct ConvertResult {
    enum class Outcome {
        None,         // no click yet
        Refused,      // no usable source, or the output would be the source
        Kept,         // the existing output was kept: nothing was encoded
        LaunchFailed, // the encoder could not be started: the error path
        Failed,       // the source could not be read, or the encoder failed
        Ended,        // the encoder ran to its end and left its output
        Aborted,      // the encoder was ended by Abort
    };
    Outcome outcome = Outcome::None;
    QString output;
    // Why the job failed (LaunchFailed, Failed), in the log's words.
    QString failure;
    // The text of the last message box the job showed.
    QString message;
};

// The output path of a job: the chosen one, or with chkSameOutput checked
// the source less its extension (whatever its length), "_Konverted." and the
// extension: D:\m\song.mp3 with AAC gives D:\m\song_Konverted.aac.
QString outputPathFor(const QString &txtPath, const QString &lblOutputPath, bool chkSameOutput,
                      const QString &OutExtension);

// How an encoder run ended, whichever runner ran it.
struct EncoderEnd {
    // It could not be started, or its helper found the program missing.
    bool launchFailed = false;
    QString launchFailure;
    // Ended by Abort (or by the job itself).
    bool stopped = false;
    // The exit status, or with endedBySignal the number of the signal.
    int exitCode = 0;
    bool endedBySignal = false;
};

// Why an encoder run that ended by itself failed, given the end of what it
// printed and its output file (size -1 when there is none); empty when it did
// not. A helper's own reason is taken as it stands.
QString encoderFailure(const EncoderEnd &end, const QString &outputTail, qint64 outputSize);

// The seconds an encode may reach before it counts as a runaway: what the
// scripts should yield, plus 10 %, plus 10 seconds.
double runawayLimit(double expectedSeconds);

// The encoder line as it runs: through the stand-ins, started with what its
// helpers need not find out again (the source's facts, an environment entry
// or empty) and the loudness asked for.
CommandLine runningLine(const CommandLine &line, const AppFolder &folder, const QString &sourceFacts,
                        const LoudnessChoice &loudness, const EqualizerState &equalizer);

// Why a source cannot be converted to the output, as the message shown for
// it; empty when it can. The source must be a non-empty file, and the output
// must not be the source itself under any name.
QString sourceRefusal(const QString &txtPath, const QString &output);

// The Convert and Abort buttons of the main form. The whole job runs inside
// btnConvert_Click; the runners yield to the event loop while the encoder
// runs, so Abort, the progress tick and the runner's handlers run nested in
// it. The job reads and changes only the option and window state it is given.
class ConvertJob : public QObject {
    Q_OBJECT
public:
    // The source's length in seconds, or why it cannot be read as audio.
    using DurationProbe = std::function<SourceLength(const QString &source)>;

    ConvertJob(const AppFolder &folder, Dialogs &dialogs, ActivityLog &log, cStdIO &runner,
               ProcessRegistry &registry, OptionState &options, MainFormState &form, DurationProbe duration,
               QObject *parent = nullptr);

    void btnConvert_Click();
    void btnAbort_Click();
    // Timer3 runs from the window's creation until the first conversion
    // begins, and during each encoder run.
    void enableTimer3() { setTimer3(true); }

    // Ends the encoder that runs, without Abort's log line, and keeps a job
    // that has not yet started one from starting it: the window is closing.
    void stop();

    // True while an encoder runs, through either runner.
    bool encoding() const;
    const ConvertResult &result() const { return m_result; }

Q_SIGNALS:
    // The progress display in the form state has changed.
    void progressChanged();
    // Each tick of Timer3, before the progress display is refreshed.
    void Timer3Tick();

private:
    enum class Step { Done, LaunchFailed, Failed };

    void message(const QString &text);
    void applyIdleControls();
    bool outputMayBeWritten(const QString &output);
    void showBusy();
    void logHeader(const QString &output);
    Step encode(EncoderInputs &inputs);
    bool writeScripts(EncoderInputs &inputs);
    void logOptionLines();
    void logLaterOptionLines();
    // One " -- Label: value" line of the options.
    void logOption(const char *label, const QString &value);
    EncoderEnd runPiped(const CommandLine &line);
    EncoderEnd runScriptHost(const CommandLine &line);
    Step finishRun(const EncoderEnd &end, const QString &output);
    Step failed(const QString &cause);
    void onEncoderOutput(const QString &chunk);
    double expectedSeconds() const;
    void writeMp3Tags(const QString &output);
    void closing();
    void errorPath();
    void failurePath();
    void Timer3_Timer();
    void setTimer3(bool enabled);

    AppFolder m_folder;
    Dialogs &m_dialogs;
    ActivityLog &m_log;
    cStdIO &m_runner;
    ProcessRegistry &m_registry;
    OptionState &m_options;
    MainFormState &m_form;
    DurationProbe m_duration;
    double m_sourceSeconds = 0;
    // The source's stream facts as an environment entry for the encoder's
    // helpers, so that they do not measure the source again.
    QString m_sourceFacts;
    QTimer m_timer3;
    bool m_scriptHostRunning = false;
    bool m_abortRequested = false;
    bool m_stopRequested = false;
    // While an encoder of this job runs: the end of what it printed, and the
    // length past which it counts as a runaway (0: not watched).
    bool m_watching = false;
    QString m_encoderTail;
    double m_runawayLimit = 0;
    QString m_stopReason;
    ConvertResult m_result;
};

} // namespace tonmill
