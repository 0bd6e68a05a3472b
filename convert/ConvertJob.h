#pragma once

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
struct MainFormState;
struct OptionState;

// How the last Convert click ended, for callers that report it.
struct ConvertResult {
    enum class Outcome {
        None,         // no click yet
        Refused,      // no usable source, or the output would be the source
        Kept,         // the existing output was kept: nothing was encoded
        LaunchFailed, // the job stopped on its error path
        Ended,        // the encoder ran to its end by itself
        Aborted,      // the encoder was ended by Abort
    };
    Outcome outcome = Outcome::None;
    QString output;
    // Everything the piped encoder printed.
    QString encoderOutput;
    // The AC3 encoder's exit status; -1 when it did not end by itself.
    int scriptHostStatus = 0;
    // The text of the last message box the job showed.
    QString message;
};

// The output path of a job: the chosen one, or with chkSameOutput checked
// the source less its last four characters, "_Konverted." and the extension.
QString outputPathFor(const QString &txtPath, const QString &lblOutputPath, bool chkSameOutput,
                      const QString &OutExtension);

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
    // The source's length in seconds; 0 when it is not known.
    using DurationProbe = std::function<double(const QString &source)>;

    ConvertJob(const AppFolder &folder, Dialogs &dialogs, ActivityLog &log, cStdIO &runner,
               ProcessRegistry &registry, OptionState &options, MainFormState &form, DurationProbe duration,
               QObject *parent = nullptr);

    void btnConvert_Click();
    void btnAbort_Click();

    // True while an encoder runs, through either runner.
    bool encoding() const;
    const ConvertResult &result() const { return m_result; }

Q_SIGNALS:
    // The progress display in the form state has been refreshed.
    void progressChanged();

private:
    enum class Step { Done, Failed };

    void message(const QString &text);
    void applyIdleControls();
    bool outputMayBeWritten(const QString &output);
    void logHeader(const QString &output);
    Step encode(EncoderInputs &inputs);
    bool writeScripts(EncoderInputs &inputs);
    void logOptionLines();
    Step runPiped(const CommandLine &line);
    Step runScriptHost(CommandLine line);
    void writeMp3Tags(const QString &output);
    void closing();
    void errorPath();
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
    QTimer m_timer3;
    bool m_scriptHostRunning = false;
    ConvertResult m_result;
};

} // namespace tonmill
