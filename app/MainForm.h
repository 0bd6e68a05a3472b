#pragma once

#include "convert/BatchJob.h"
#include "convert/ConvertJob.h"
#include "convert/ResultPreview.h"
#include "media/FileSelection.h"
#include "media/MediaReport.h"
#include "media/SourceTagCache.h"
#include "options/MainFormState.h"
#include "options/OptionPanel.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "player/PlayerTransport.h"
#include "player/SegmentMarks.h"
#include "player/WaveformLoader.h"
#include "process/ConsolePane.h"
#include "process/ReadOutput.h"
#include "process/cStdIO.h"
#include "settings/SetupForm.h"

#include <QHash>
#include <QObject>
#include <QTimer>

#include <optional>

namespace tonmill {

class ActivityLog;
class Dialogs;
class MediaPlayer;
class ProcessRegistry;
class UpdateCheck;

// The main window's width in twips.
constexpr int kFormWidthTwips = 10665;

// What the main form asks of the window that shows it.
class MainFormView {
public:
    virtual ~MainFormView() = default;
    virtual void setTitle(const QString &title) = 0;
    virtual void setWidthTwips(int twips) = 0;
    virtual int heightTwips() const = 0;
    virtual void setHeightTwips(int twips) = 0;
    // Puts the language file's texts on every window.
    virtual void relabel() = 0;
    // Shows the Setup dialog and returns when it has closed.
    virtual void showSetup() = 0;
    virtual void showAbout() = 0;
    // Shows the File Info window with the text, and returns when it has closed.
    virtual void showFileInfo(const QString &text) = 0;
    // Shows the Equalizer window beside the main window, without waiting.
    virtual void showEqualizer() = 0;
    // Glues the Equalizer window, when shown, to the main window's right edge.
    virtual void dockEqualizer() = 0;
    // Shows the state in the controls.
    virtual void render() = 0;
    // Closes the window for good: the unload has been done.
    virtual void end() = 0;
};

// The batch panel: the files to convert, where their outputs go, and how
// each fared in the last run.
// How many of the list's outputs the naming preview shows.
constexpr int kPreviewedOutputs = 5;

struct BatchFormState {
    bool batchMode = false;
    QList<BatchItem> items;
    QStringList bases;       // the folder each file was added from
    bool chkSubfolders = false;
    bool optOutFolder = false;
    QString txtOutputDir;
    QString txtNamePattern;  // empty: "name_Konverted.ext"
    ExistingPolicy cmbExisting = ExistingPolicy::Ask;
    bool chkTrashSources = false;
    // The outputs the first files of the list would give, or why the
    // pattern is refused.
    QList<PlannedOutput> preview;
    QString patternRefusal;
    bool running = false;
};

// The main form's life and its menus and buttons, without a window: the
// start-up sequence, the unload, and the handlers that are not the option
// panel's, the file selection's or the job's own. The window binds its
// controls to the state here and calls these handlers.
class MainForm : public QObject, public MainWindowHeight {
    Q_OBJECT
public:
    MainForm(const AppFolder &folder, Dialogs &dialogs, ActivityLog &log, ProcessRegistry &registry,
             UpdateCheck &updates, MediaPlayer &player, QObject *parent = nullptr);
    ~MainForm() override;

    void setView(MainFormView *view) { m_view = view; }

    MainFormState form;
    OptionState options;
    BatchFormState batch;

    OptionPanel &panel() { return m_panel; }
    FileSelection &selection() { return m_selection; }
    ConvertJob &job() { return m_job; }
    PlayerTransport &transport() { return m_transport; }
    SegmentMarks &segment() { return m_segment; }
    // The loaded source's waveform, computed while the window goes on.
    const WaveformLoader &waveform() const { return m_waveform; }
    const ResultPreview &preview() const { return m_preview; }
    const ConsolePane &console() const { return m_console; }
    const AppFolder &folder() const { return m_folder; }
    Dialogs &dialogs() { return m_dialogs; }
    UpdateCheck &updates() { return m_updates; }
    QString languageFile() const;

    // The start-up sequence, prompts and log lines in their order, ending
    // with the probe runs that also clear encoders left from an earlier run.
    void Form_Load();
    // The window is asked to close. With nothing running: logs, saves the
    // settings and returns true. While a job, a report or a probe runs: logs,
    // stops it, saves, and returns false; the window ends as soon as the
    // running handler has returned.
    bool Form_QueryUnload();

    void mnuAbrir_Click();
    // A file dropped on the window opens as the Open dialog's choice would.
    void openDropped(const QString &path);
    // What the launcher hands over after start-up: one file opens as the
    // Open dialog's choice would; several, or a folder, join Batch Mode's list.
    void openGiven(const QStringList &paths);
    void mnuSave_Click();
    void mnuExit_Click();
    void btnExit_Click();
    void mnuSetup_Click();
    void mnuAbout_Click();
    void mnuEqualizer_Click();
    void mnuLog_Click();
    void mnuSaveLog_Click();
    // Shows or hides the tag editor; the window's height follows.
    void mnuTagEditor_Click();
    void btnInfo_Click();
    void btnConvert_Click();
    void btnAbort_Click();
    // Encodes ten seconds of the output from the player's place in the
    // source, plays them and estimates the whole output's size, while the
    // window goes on.
    void cmdPreviewResult_Click();
    // The last preview's estimate; empty once a choice it was made for changed.
    QString currentEstimate() const;
    // Where the player is in the source, also while it plays a preview of
    // the result.
    double sourcePosition() const;
    // Sends the typed line to the encoder that runs.
    void btnSend_Click(const QString &text);

    void setBatchMode(bool batchMode);
    void btnAddFiles_Click();
    void btnAddFolder_Click();
    // Files and folders (searched as chkSubfolders says) join the list; a
    // file already listed is not listed twice.
    void addToBatch(const QStringList &paths);
    void btnRemove_Click(QList<int> rows);
    void btnClear_Click();
    void setOutputIntoFolder(bool intoFolder);
    void btnOutputDir_Click();
    void setNamePattern(const QString &pattern);
    void setExisting(ExistingPolicy policy);
    void setTrashSources(bool trash);

    // After a handler of the player or the segment: its timers follow its
    // state and the window shows it.
    void playerChanged();

    // MainWindowHeight, for the Setup dialog's compact-height switch.
    bool mnuLogChecked() const override { return form.mnuLog; }
    void setHeightTwips(int twips) override;

    // True while a handler that waits on a child process runs.
    bool busy() const { return m_busyDepth > 0; }
    // How the last conversion or batch ended, as the key of its words in the
    // table of this program's own captions ("job.failed").
    const char *jobOutcome() const;

private:
    // Marks a handler that waits on a child process; the window's close
    // request is carried out when the outermost one returns.
    class BusyScope {
    public:
        explicit BusyScope(MainForm &form);
        ~BusyScope();

    private:
        MainForm &m_form;
    };

    void beforeOpen();
    void afterOpen();
    void writeLanguageFile(const QString &language);
    void probe(const CommandLine &line, const QString &imageName);
    void runBatch();
    QString ffprobePath() const;
    // The batch's naming as the panel sets it.
    OutputNaming batchNaming();
    // Plans the list again for the preview, and shows it.
    void batchChanged();
    // The existing outputs the user keeps or replaces, one question each.
    void answerExisting(QList<PlannedOutput> &plan);
    void showBatchProgress();
    // The choices whole files are converted with, as the window holds them.
    BatchSettings conversionSettings() const;
    // What a size estimate is made for: the estimate shown goes once any of
    // it changes.
    struct EstimateBasis {
        OptionState options;
        QString format;
        int volume;
        bool normalize;
        bool upmix;
        bool fade;
        LoudnessChoice loudness;
        EqualizerState equalizer;
        bool segment;
        QString cutS;
        QString cutE;
        bool operator==(const EstimateBasis &) const = default;
    };
    EstimateBasis estimateBasis() const;
    void previewEnded();
    void render();

    AppFolder m_folder;
    Dialogs &m_dialogs;
    ActivityLog &m_log;
    ProcessRegistry &m_registry;
    UpdateCheck &m_updates;
    MainFormView *m_view = nullptr;
    cStdIO m_runner;
    ReadOutput m_reader;
    ConsolePane m_console;
    MediaReport m_report;
    OptionPanel m_panel;
    FileSelection m_selection;
    ConvertJob m_job;
    PlayerTransport m_transport;
    SegmentMarks m_segment;
    WaveformLoader m_waveform;
    ResultPreview m_preview;
    std::optional<EstimateBasis> m_estimatedFor;
    QTimer m_timer1;
    QTimer m_timer2;
    std::unique_ptr<BatchJob> m_batch;
    QString m_batchDialogName;
    // Each listed source's tags, read once for the naming pattern.
    SourceTagCache m_sourceTags;
    int m_busyDepth = 0;
    bool m_quitRequested = false;
};

} // namespace tonmill
