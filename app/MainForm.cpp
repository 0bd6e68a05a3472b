#include "app/MainForm.h"

#include "app/ActivityLog.h"
#include "app/MainWindowTitle.h"
#include "convert/SourceDuration.h"
#include "media/GenreList.h"
#include "options/Configuration.h"
#include "platform/AppVersion.h"
#include "platform/Dialogs.h"
#include "platform/NumberFormat.h"
#include "platform/ToolChain.h"
#include "platform/Trash.h"
#include "player/MediaPlayer.h"
#include "process/KillApp.h"
#include "settings/INIManager.h"
#include "settings/LanguageLines.h"
#include "settings/SettingsStore.h"
#include "settings/Translations.h"
#include "settings/UpdateCheck.h"

#include <QDate>
#include <QEventLoop>
#include <QFileInfo>
#include <QMap>
#include <QSet>

#include <algorithm>

namespace tonmill {

namespace {

const QString kCrLf = QStringLiteral("\r\n");
// The read-outs follow the player at about the rate a screen shows.
constexpr int kPlayerTimerMs = 15;

QString updateQuestion()
{
    return QStringLiteral("Would you like that Tonmill automatically checks for new versions?") + kCrLf + kCrLf
           + QStringLiteral("(You can change your option on 'Setup' dialog)");
}

QString firstRunText()
{
    return QStringLiteral("This is the first time you run Tonmill™ or") + kCrLf
           + QStringLiteral("Your configuration file got corrupted!") + kCrLf
           + QStringLiteral("Please reset your preferences on the Setup dialog.");
}

// A message with only OK to press, under the application's own title.
MessageRequest notice(const QString &text)
{
    return {text, QString(), DialogButtons::Ok, DialogIcon::None};
}

} // namespace

MainForm::BusyScope::BusyScope(MainForm &form)
    : m_form(form)
{
    ++m_form.m_busyDepth;
}

MainForm::BusyScope::~BusyScope()
{
    if (--m_form.m_busyDepth == 0 && m_form.m_quitRequested && m_form.m_view)
        m_form.m_view->end();
}

MainForm::MainForm(const AppFolder &folder, Dialogs &dialogs, ActivityLog &log, ProcessRegistry &registry,
                   UpdateCheck &updates, MediaPlayer &player, QObject *parent)
    : QObject(parent)
    , m_folder(folder)
    , m_dialogs(dialogs)
    , m_log(log)
    , m_registry(registry)
    , m_updates(updates)
    , m_runner(registry)
    , m_reader(registry)
    , m_console(folder.path())
    , m_report(folder, m_reader, m_console, log)
    , m_panel(options, form, dialogs, folder)
    , m_selection(form, options, dialogs, m_report, folder)
    , m_job(folder, dialogs, log, m_runner, registry, options, form, SourceDuration(folder))
    , m_transport(player, form.txtPath)
    , m_segment(form, options, m_transport, dialogs, folder)
    , m_preview(folder)
{
    logRunnerEvents(m_runner, log);
    m_console.attach(m_reader);
    handleReaderErrors(m_reader, dialogs, log);
    // The window follows the job's progress and the encoder's latest output.
    connect(&m_job, &ConvertJob::progressChanged, this, &MainForm::render);
    connect(&m_sourceTags, &SourceTagCache::arrived, this, [this] {
        if (batch.preview.isEmpty() && !batch.items.isEmpty())
            batchChanged();
    });
    connect(&m_runner, &cStdIO::GotData, this, &MainForm::render);
    connect(&m_reader, &ReadOutput::GotChunk, this, &MainForm::render);
    connect(&m_waveform, &WaveformLoader::finished, this, &MainForm::render);
    connect(&m_preview, &ResultPreview::finished, this, &MainForm::previewEnded);

    m_timer1.setInterval(kPlayerTimerMs);
    m_timer2.setInterval(kPlayerTimerMs);
    connect(&m_timer1, &QTimer::timeout, this, [this] {
        m_transport.Timer1_Timer();
        render();
    });
    connect(&m_timer2, &QTimer::timeout, this, [this] {
        m_transport.Timer2_Timer(form.slVolume);
        render();
    });
    connect(&m_job, &ConvertJob::Timer3Tick, this, [this] {
        if (m_view)
            m_view->dockEqualizer();
    });
    m_job.enableTimer3();
}

MainForm::~MainForm() = default;

QString MainForm::languageFile() const
{
    return m_folder.file(QStringLiteral("\\Tonmill.LNG"));
}

void MainForm::render()
{
    if (m_view)
        m_view->render();
}

void MainForm::writeLanguageFile(const QString &language)
{
    WriteLanguageFile(language, languageFile());
    if (m_view)
        m_view->relabel();
}

void MainForm::Form_Load()
{
    const BusyScope busy(*this);
    SettingsStore settings(m_folder.file(QStringLiteral("\\Tonmill.ini")));

    m_view->setTitle(mainWindowTitle());
    m_log.appendLine(QDate::currentDate().toString(Qt::ISODate));

    if (settings.versionChanged()) {
        const DialogAnswer answer =
            m_dialogs.message({updateQuestion(), QString(), DialogButtons::YesNo, DialogIcon::Question});
        if (answer == DialogAnswer::Yes) {
            settings.setCheckUpdates(true);
            settings.setVersion(versionStamp());
        } else {
            settings.setCheckUpdates(false);
        }
    }
    m_log.append(QStringLiteral(" -> Version verification: OK"));

    if (settings.interfaceChanged()) {
        settings.setInterfaceStamp(versionStamp());
        // The Setup form loads here, with what its loading stores and sets.
        SetupForm setup(m_folder, m_dialogs, m_updates, this, {});
        setup.Form_Load();
        writeLanguageFile(setup.state.txtLanguage);
        settings.setMode(QStringLiteral("MP3"));
        m_dialogs.message(notice(QStringLiteral("Your Interface, Language files and Configuration, have been updated!")));
    }
    m_log.append(QStringLiteral(" -> Interface and Language files verification: OK"));

    m_view->setWidthTwips(kFormWidthTwips);
    m_view->setTitle(mainWindowTitle(true));

    const QString language = settings.ensureLanguage();
    writeLanguageFile(language);
    form.fillFormatList();
    options.fillLists();
    form.cmbGenre.items = genreNames();
    LoadSettings(options, form, m_panel, m_folder);
    m_log.append(QStringLiteral(" -> Configuration: OK"));

    form.txtCutS = QStringLiteral("000.000");
    form.txtCutE = QStringLiteral("000.000");
    render();

    if (settings.isFirstRun()) {
        m_dialogs.message(notice(firstRunText()));
        writeLanguageFile(settings.language());
        m_view->showSetup();
    }
    m_log.append(QStringLiteral(" -> External Paths: OK"));

    if (settings.checkUpdates())
        m_updates.CheckForUpdatesAtStart();

    form.mnuLog = settings.logOnOff();
    form.mnuSaveLog = settings.saveLog();
    form.mnuTagEditor = settings.tagEditor();
    if (const std::optional<bool> compact = settings.vista())
        m_view->setHeightTwips(mainWindowHeightTwips(*compact, form.mnuLog));
    if (!m_transport.state.unavailable.isEmpty())
        m_log.append(QStringLiteral(" -> Preview player unavailable: ") + m_transport.state.unavailable);
    m_log.append(QStringLiteral(" -> Startup routines successfully loaded."));
    render();

    // Starting each tool once shows that it runs; ending it by name then also
    // ends any of its kind that an earlier run of the program left behind.
    const QString ffmpeg = settings.ffmpegPath();
    probe({QLatin1Char('"') + ffmpeg + QLatin1Char('"'), ffmpeg, {}, QStringLiteral("ffmpeg"), {}},
          QStringLiteral("FFMPEG.exe"));
    if (m_quitRequested)
        return;
    const QString script = m_folder.file(QStringLiteral("\\tools\\WMCmd.vbs"));
    probe({QStringLiteral("Cscript.exe \"") + script, QStringLiteral("Cscript.exe"), {script}, QStringLiteral("Cscript"), {}},
          QStringLiteral("Cscript.exe"));
}

void MainForm::probe(const CommandLine &line, const QString &imageName)
{
    waitUntilReady(m_runner);
    m_runner.setCommandLine(throughStandIns(line, m_folder));
    m_runner.ExecuteCommand();
    KillByName(m_registry, imageName);
}

bool MainForm::Form_QueryUnload()
{
    // Every run of an encoder, the media tool or a batch happens inside a
    // handler that marks itself busy.
    const bool running = busy();
    if (running) {
        m_log.append(QStringLiteral(" -> Canceling program."));
        m_quitRequested = true;
        m_job.stop();
        if (batch.running)
            m_batch->abort();
        if (m_reader.processing())
            m_reader.CancelProcess();
    } else {
        m_log.append(QStringLiteral(" -> Tonmill turned off by user."));
    }
    SaveSettings(options, form, m_folder);
    return !running;
}

void MainForm::playerChanged()
{
    if (!m_transport.state.loadFailure.isEmpty()) {
        m_log.append(QStringLiteral(" -> The preview cannot be played: ") + m_transport.state.loadFailure);
        m_transport.state.loadFailure.clear();
    }
    const auto follow = [](QTimer &timer, bool enabled) {
        if (enabled && !timer.isActive())
            timer.start();
        else if (!enabled)
            timer.stop();
    };
    follow(m_timer1, m_transport.state.Timer1Enabled);
    follow(m_timer2, m_transport.state.Timer2Enabled);
    render();
}

void MainForm::beforeOpen()
{
    m_transport.player().stop();
}

void MainForm::afterOpen()
{
    // A preview and its estimate are the last source's.
    m_preview.cancel();
    form.previewing = false;
    form.lblEstimate.clear();
    m_transport.newSource();
    if (form.txtPath.isEmpty())
        m_waveform.clear();
    else
        m_waveform.start(SettingsStore(m_folder.file(QStringLiteral("\\Tonmill.ini"))).ffmpegPath(), form.txtPath);
    m_panel.ac3ChannelAdvice();
    render();
}

void MainForm::mnuAbrir_Click()
{
    const BusyScope busy(*this);
    beforeOpen();
    m_selection.OpenSourceFile();
    afterOpen();
}

void MainForm::openDropped(const QString &path)
{
    const BusyScope busy(*this);
    beforeOpen();
    m_selection.loadSource(path);
    afterOpen();
}

void MainForm::openGiven(const QStringList &paths)
{
    if (paths.isEmpty() || m_quitRequested)
        return;
    QStringList absolute;
    for (const QString &path : paths)
        absolute << QFileInfo(path).absoluteFilePath();
    if (absolute.size() == 1 && !QFileInfo(absolute.constFirst()).isDir()) {
        openDropped(absolute.constFirst());
        return;
    }
    setBatchMode(true);
    addToBatch(absolute);
}

void MainForm::mnuSave_Click()
{
    m_selection.ChooseOutputFile();
    render();
}

void MainForm::mnuExit_Click()
{
    m_transport.player().stop();
    if (Form_QueryUnload())
        m_view->end();
}

void MainForm::btnExit_Click()
{
    m_transport.player().stop();
    SaveSettings(options, form, m_folder);
    m_view->end();
}

void MainForm::mnuSetup_Click()
{
    m_view->showSetup();
    render();
}

void MainForm::mnuAbout_Click()
{
    m_view->showAbout();
}

void MainForm::mnuEqualizer_Click()
{
    m_view->showEqualizer();
}

void MainForm::setHeightTwips(int twips)
{
    m_view->setHeightTwips(twips);
}

void MainForm::mnuLog_Click()
{
    const int height = m_view->heightTwips();
    m_view->setHeightTwips(form.mnuLog ? height - kLogPanelHeightTwips : height + kLogPanelHeightTwips);
    form.mnuLog = !form.mnuLog;
    render();
}

void MainForm::mnuSaveLog_Click()
{
    form.mnuSaveLog = !form.mnuSaveLog;
    render();
}

void MainForm::mnuTagEditor_Click()
{
    form.mnuTagEditor = !form.mnuTagEditor;
    render();
}

void MainForm::btnInfo_Click()
{
    if (form.txtPath.isEmpty()) {
        m_dialogs.message(notice(QStringLiteral("You haven't selected a file to process, yet!")));
        return;
    }
    {
        const BusyScope busy(*this);
        m_report.RunMediaReport(form.txtPath);
        render();
        if (m_quitRequested)
            return;
    }
    m_view->showFileInfo(fileInfoDisplayText(m_console.text()));
}

void MainForm::btnConvert_Click()
{
    const BusyScope busy(*this);
    if (batch.batchMode)
        runBatch();
    else
        m_job.btnConvert_Click();
    render();
}

void MainForm::btnAbort_Click()
{
    if (batch.running) {
        m_log.append(QStringLiteral(" -> Canceling program."));
        m_batch->abort();
    } else {
        m_job.btnAbort_Click();
    }
    render();
}

void MainForm::setBatchMode(bool batchMode)
{
    batch.batchMode = batchMode;
    render();
}

void MainForm::btnAddFiles_Click()
{
    const QStringList names = m_dialogs.fileNames(
        {FileRequest::Mode::OpenMany, QStringLiteral("  Add Files"), FileSelection::kOpenFilter, m_batchDialogName});
    if (!names.isEmpty())
        m_batchDialogName = names.constFirst();
    addToBatch(names);
}

void MainForm::btnAddFolder_Click()
{
    const QString folder =
        m_dialogs.fileName({FileRequest::Mode::Folder, QStringLiteral("  Add Folder"), QString(), m_batchDialogName});
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        return;
    m_batchDialogName = folder;
    addToBatch({folder});
}

void MainForm::addToBatch(const QStringList &paths)
{
    QStringList bases;
    const QStringList sources = batchSources(paths, batch.chkSubfolders, &bases);
    QSet<QString> listed;
    for (const BatchItem &item : std::as_const(batch.items))
        listed.insert(item.source);
    for (qsizetype i = 0; i < sources.size(); ++i) {
        if (listed.contains(sources[i]))
            continue;
        listed.insert(sources[i]);
        BatchItem item;
        item.source = sources[i];
        batch.items << item;
        batch.bases << bases[i];
    }
    batchChanged();
}

void MainForm::btnRemove_Click(QList<int> rows)
{
    std::sort(rows.begin(), rows.end(), std::greater<>());
    for (const int row : rows) {
        if (row >= 0 && row < batch.items.size()) {
            batch.items.removeAt(row);
            batch.bases.removeAt(row);
        }
    }
    batchChanged();
}

void MainForm::btnClear_Click()
{
    batch.items.clear();
    batch.bases.clear();
    batchChanged();
}

void MainForm::setOutputIntoFolder(bool intoFolder)
{
    batch.optOutFolder = intoFolder;
    // One folder needs a folder: without one the files stay beside their sources.
    if (intoFolder && batch.txtOutputDir.isEmpty())
        btnOutputDir_Click();
    if (batch.txtOutputDir.isEmpty())
        batch.optOutFolder = false;
    batchChanged();
}

void MainForm::btnOutputDir_Click()
{
    const QString folder = m_dialogs.fileName(
        {FileRequest::Mode::Folder, QStringLiteral("  Output Folder"), QString(), batch.txtOutputDir});
    if (!folder.isEmpty() && QFileInfo(folder).isDir()) {
        batch.txtOutputDir = folder;
        batch.optOutFolder = true;
    }
    batchChanged();
}

void MainForm::setNamePattern(const QString &pattern)
{
    batch.txtNamePattern = pattern;
    batchChanged();
}

void MainForm::setExisting(ExistingPolicy policy)
{
    batch.cmbExisting = policy;
    batchChanged();
}

void MainForm::setTrashSources(bool trash)
{
    batch.chkTrashSources = trash;
    render();
}

BatchSettings MainForm::conversionSettings() const
{
    BatchSettings settings = batchSettingsFor(m_folder, options, form.cmbFormat.text, form.slVolume,
                                              form.peakNormalize(), form.chk51UpMix.checked);
    settings.fade = form.chkFadeInOut;
    settings.loudness = form.loudness;
    settings.equalizer = form.equalizer;
    return settings;
}

MainForm::EstimateBasis MainForm::estimateBasis() const
{
    return {options,          form.cmbFormat.text, form.slVolume,       form.peakNormalize(),
            form.chk51UpMix.checked, form.chkFadeInOut, form.loudness, form.equalizer,
            form.chkSegment,  form.txtCutS,        form.txtCutE};
}

QString MainForm::currentEstimate() const
{
    return m_estimatedFor && estimateBasis() == *m_estimatedFor ? form.lblEstimate : QString();
}

void MainForm::cmdPreviewResult_Click()
{
    if (form.txtPath.isEmpty() || batch.batchMode)
        return;
    PreviewRequest request{form.txtPath, conversionSettings(), sourcePosition(), std::nullopt};
    if (form.chkSegment)
        request.segment = {parseNumber(form.txtCutS).value_or(0), parseNumber(form.txtCutE).value_or(0)};
    form.previewing = true;
    form.lblEstimate.clear();
    m_estimatedFor = estimateBasis();
    m_preview.start(request);
    render();
}

double MainForm::sourcePosition() const
{
    const PreviewOutcome &preview = m_preview.outcome();
    const double position = m_transport.position();
    if (!preview.file.isEmpty() && m_transport.loadedFile() == preview.file)
        return preview.window.start + position;
    return position;
}

void MainForm::previewEnded()
{
    form.previewing = false;
    const PreviewOutcome &preview = m_preview.outcome();
    if (preview.file.isEmpty()) {
        m_log.append(QStringLiteral(" -> The result cannot be previewed: ") + preview.failure);
        render();
        return;
    }
    form.lblEstimate = estimateText(preview.estimate);
    m_transport.playFile(preview.file);
    playerChanged();
}

QString MainForm::ffprobePath() const
{
    return SourceDuration::ffprobeFor(
        ReadIniValue(QStringLiteral("General"), QStringLiteral("FFMPEG"), m_folder.file(QStringLiteral("\\Tonmill.ini"))));
}

OutputNaming MainForm::batchNaming()
{
    OutputNaming naming;
    naming.outputDir = batch.optOutFolder ? batch.txtOutputDir : QString();
    naming.pattern = batch.txtNamePattern;
    naming.extension = options.OutExtension;
    naming.existing = batch.cmbExisting;
    naming.fallbacks = patternFallbacks(languageDisplayName(languageFile()));
    naming.tags = [this, ffprobe = ffprobePath()](const QString &source) { return m_sourceTags.now(ffprobe, source); };
    return naming;
}

void MainForm::batchChanged()
{
    batch.patternRefusal = batch.txtNamePattern.isEmpty() ? QString() : patternRefusal(batch.txtNamePattern);
    batch.preview.clear();
    if (batch.patternRefusal.isEmpty()) {
        QStringList sources;
        for (const BatchItem &item : std::as_const(batch.items))
            sources << item.source;
        // The preview shows the first few outputs, once their tags are read;
        // the rest are read meanwhile for the run.
        const QStringList shown = sources.mid(0, kPreviewedOutputs);
        const bool tagsRead = std::all_of(shown.cbegin(), shown.cend(), [this](const QString &source) {
            return m_sourceTags.known(source).has_value();
        });
        const bool tagsWanted = !batch.txtNamePattern.isEmpty() && patternUsesTags(batch.txtNamePattern);
        if (tagsWanted)
            m_sourceTags.want(ffprobePath(), sources);
        if (!tagsWanted || tagsRead)
            batch.preview = planOutputs(shown, batch.bases.mid(0, kPreviewedOutputs), batchNaming());
    }
    render();
}

void MainForm::answerExisting(QList<PlannedOutput> &plan)
{
    const QString crLf = QStringLiteral("\r\n");
    for (PlannedOutput &item : plan) {
        if (item.decision != PlannedOutput::Decision::Ask)
            continue;
        const DialogAnswer answer = m_dialogs.message(
            {QStringLiteral("The 'Output' file name already exists!") + crLf + crLf + item.output + crLf + crLf
                 + QStringLiteral("Do you want to replace it?"),
             QString(), DialogButtons::YesNo, DialogIcon::Question});
        item.decision = answer == DialogAnswer::Yes ? PlannedOutput::Decision::Overwrite : PlannedOutput::Decision::Skip;
    }
}

void MainForm::runBatch()
{
    if (batch.items.isEmpty()) {
        m_dialogs.message(notice(QStringLiteral("Please, add the files to convert to the list first!")));
        return;
    }
    BatchSettings settings = conversionSettings();

    QStringList sources;
    for (const BatchItem &item : std::as_const(batch.items))
        sources << item.source;
    if (!batch.txtNamePattern.isEmpty()) {
        if (const QString why = patternRefusal(batch.txtNamePattern); !why.isEmpty()) {
            m_dialogs.message(notice(QStringLiteral("The name pattern cannot be used: ") + why));
            return;
        }
    }
    QList<PlannedOutput> plan = planOutputs(sources, batch.bases, batchNaming());
    answerExisting(plan);
    if (batch.chkTrashSources) {
        // Once for the whole batch, with the number of files it concerns.
        const qsizetype converted = std::count_if(plan.cbegin(), plan.cend(), [](const PlannedOutput &item) {
            return item.decision != PlannedOutput::Decision::Skip;
        });
        const QString crLf = QStringLiteral("\r\n");
        const DialogAnswer answer = m_dialogs.message(
            {QStringLiteral("Move the %1 source files to the trash once each output is converted and checked?").arg(converted)
                 + crLf + crLf + QStringLiteral("A source whose output fails the check stays where it is."),
             QString(), DialogButtons::YesNo, DialogIcon::Question});
        settings.trashSources = answer == DialogAnswer::Yes;
        settings.trashDir = homeTrashDir();
    }
    m_batch = std::make_unique<BatchJob>(m_folder, settings);
    m_batch->setItems(plan);
    batch.items = m_batch->items();
    m_log.append(QStringLiteral(" -> Start batch: %1 files, %2 at once, to %3")
                     .arg(sources.size())
                     .arg(m_batch->jobs())
                     .arg(form.cmbFormat.text));

    batch.running = true;
    form.btnConvertEnabled = false;
    form.showBusy();
    form.PB1Max = 1000;
    form.progress.PB1 = 0;
    connect(m_batch.get(), &BatchJob::itemChanged, this, [this](int index) {
        batch.items[index] = m_batch->items()[index];
        showBatchProgress();
    });
    QEventLoop wait;
    connect(m_batch.get(), &BatchJob::finished, &wait, &QEventLoop::quit);
    m_batch->start();
    if (m_batch->running())
        wait.exec();
    batch.items = m_batch->items();
    batch.running = false;

    QMap<BatchItem::Status, int> counts;
    for (const BatchItem &item : std::as_const(batch.items)) {
        ++counts[item.status];
        if (item.status == BatchItem::Status::Failed)
            m_log.append(QStringLiteral(" -> Error: ") + item.source + QStringLiteral(": ") + item.reason);
    }
    m_log.append(QStringLiteral(" -> Batch finished: %1 converted, %2 failed, %3 skipped, %4 aborted")
                     .arg(counts.value(BatchItem::Status::Done))
                     .arg(counts.value(BatchItem::Status::Failed))
                     .arg(counts.value(BatchItem::Status::Skipped))
                     .arg(counts.value(BatchItem::Status::Aborted)));
    form.showIdle();
}

void MainForm::showBatchProgress()
{
    int ended = 0;
    for (const BatchItem &item : std::as_const(batch.items)) {
        ended += item.status != BatchItem::Status::Waiting && item.status != BatchItem::Status::Measuring
                         && item.status != BatchItem::Status::Running
                     ? 1
                     : 0;
    }
    form.progress.PB1 = static_cast<int>(m_batch->progress() * 1000);
    const double left = m_batch->secondsLeft();
    form.progress.Encoding = QStringLiteral("%1 / %2").arg(ended).arg(batch.items.size())
                             + (left >= 0 ? QStringLiteral("   ") + counterTime(left) : QString());
    render();
}

void MainForm::btnSend_Click(const QString &text)
{
    writeToEncoder(m_runner, m_log, text);
}

const char *MainForm::jobOutcome() const
{
    if (!batch.batchMode) {
        switch (m_job.result().outcome) {
        case ConvertResult::Outcome::Aborted: return "job.aborted";
        case ConvertResult::Outcome::Failed:
        case ConvertResult::Outcome::LaunchFailed: return "job.failed";
        default: return "job.ended";
        }
    }
    const auto any = [this](BatchItem::Status status) {
        return std::any_of(batch.items.begin(), batch.items.end(),
                           [status](const BatchItem &item) { return item.status == status; });
    };
    if (any(BatchItem::Status::Aborted))
        return "job.aborted";
    return any(BatchItem::Status::Failed) ? "job.failed" : "job.ended";
}

} // namespace tonmill
