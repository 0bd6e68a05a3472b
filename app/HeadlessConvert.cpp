#include "app/HeadlessConvert.h"

#include "app/ActivityLog.h"
#include "convert/BatchJob.h"
#include "convert/ConvertJob.h"
#include "convert/SourceDuration.h"
#include "media/FileSelection.h"
#include "media/MediaReport.h"
#include "media/SourceTags.h"
#include "options/Configuration.h"
#include "options/MainFormState.h"
#include "options/OptionPanel.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "platform/Dialogs.h"
#include "platform/ProcessRegistry.h"
#include "platform/Trash.h"
#include "process/ConsolePane.h"
#include "process/ReadOutput.h"
#include "process/cStdIO.h"
#include "settings/INIManager.h"
#include "settings/LanguageLines.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QSet>
#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <functional>
#include <fcntl.h>
#include <unistd.h>

namespace tonmill {

namespace {

enum ExitStatus { Done = 0, Failed = 1, Kept = 3 };
constexpr int kPendingAbortPollMs = 20;
constexpr int kProgressPrintMs = 250;

void printTo(FILE *stream, const QString &text)
{
    std::fputs(text.toUtf8().constData(), stream);
    std::fflush(stream);
}

QString oneLine(const QString &text)
{
    QString line = text;
    line.replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
    return line.simplified();
}

int fail(int status, const QString &reason)
{
    printTo(stderr, QStringLiteral("tonmill: ") + oneLine(reason) + QLatin1Char('\n'));
    return status;
}

// The write end of the pipe through which the signal handler hands a
// termination signal to the event loop: a handler may do no more than write.
int g_signalWriteEnd = -1;

extern "C" void onTerminationSignal(int number)
{
    const int saved = errno;
    const unsigned char byte = static_cast<unsigned char>(number);
    [[maybe_unused]] const ssize_t written = ::write(g_signalWriteEnd, &byte, 1);
    errno = saved;
}

// SIGINT and SIGTERM as a Qt signal, delivered from the event loop.
class TerminationRequests : public QObject {
    Q_OBJECT
public:
    TerminationRequests()
    {
        if (::pipe2(m_pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0)
            return;
        g_signalWriteEnd = m_pipe[1];
        m_notifier = new QSocketNotifier(m_pipe[0], QSocketNotifier::Read, this);
        connect(m_notifier, &QSocketNotifier::activated, this, &TerminationRequests::drain);
        struct sigaction action {};
        action.sa_handler = &onTerminationSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        for (const int number : {SIGINT, SIGTERM})
            ::sigaction(number, &action, nullptr);
    }

    ~TerminationRequests() override
    {
        for (const int number : {SIGINT, SIGTERM})
            std::signal(number, SIG_DFL);
        g_signalWriteEnd = -1;
        if (m_pipe[0] >= 0) {
            ::close(m_pipe[0]);
            ::close(m_pipe[1]);
        }
    }

    int received() const { return m_received; }

Q_SIGNALS:
    void requested(int signalNumber);

private:
    void drain()
    {
        unsigned char byte = 0;
        while (::read(m_pipe[0], &byte, 1) == 1) {
            m_received = byte;
            Q_EMIT requested(byte);
        }
    }

    std::array<int, 2> m_pipe = {-1, -1};
    QSocketNotifier *m_notifier = nullptr;
    int m_received = 0;
};

// Each line appended to the activity log, on standard output as it comes.
class LogPrinter {
public:
    explicit LogPrinter(ActivityLog &log)
    {
        QObject::connect(&log, &ActivityLog::changed, &log, [this](const QString &text, qsizetype) {
            if (m_beforePrint)
                m_beforePrint();
            QString fresh = text.mid(m_printed);
            m_printed = text.size();
            printTo(stdout, fresh.replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
        });
    }

    // Called before each line, so that a progress line on the same terminal
    // can make way for it.
    void setBeforePrint(std::function<void()> beforePrint) { m_beforePrint = std::move(beforePrint); }

private:
    qsizetype m_printed = 0;
    std::function<void()> m_beforePrint;
};

// The progress display on one line of a terminal, refreshed a few times a second.
class ProgressPrinter {
public:
    ProgressPrinter(ConvertJob &job, const MainFormState &form)
        : m_form(form)
    {
        m_since.start();
        QObject::connect(&job, &ConvertJob::progressChanged, &job, [this] { print(false); });
    }
    ~ProgressPrinter() { clear(); }

    // Takes the progress line off the terminal until the next tick.
    void clear()
    {
        if (m_shown)
            printTo(stderr, QStringLiteral("\r\x1b[K"));
        m_shown = false;
    }

private:
    void print(bool force)
    {
        if (!force && m_shown && m_since.elapsed() < kProgressPrintMs)
            return;
        m_since.restart();
        m_shown = true;
        const ProgressDisplay &p = m_form.progress;
        const QString text = m_form.lblWMAprogressVisible
                                 ? p.lblWMAprogress.left(70)
                                 : QStringLiteral("%1 / %2 s   %3").arg(p.PB1).arg(m_form.PB1Max).arg(p.Encoding);
        printTo(stderr, QStringLiteral("\r\x1b[K") + text);
    }

    const MainFormState &m_form;
    QElapsedTimer m_since;
    bool m_shown = false;
};

// The prompts of a run without a window: the replace question is answered as
// the command line says; any other box has only OK to press.
class HeadlessDialogs : public Dialogs {
public:
    explicit HeadlessDialogs(bool replace) : m_replace(replace) {}

    DialogAnswer message(const MessageRequest &request) override
    {
        if (request.buttons == DialogButtons::YesNo)
            return m_replace ? DialogAnswer::Yes : DialogAnswer::No;
        return DialogAnswer::Ok;
    }
    QString fileName(const FileRequest &request) override { return request.fileName; }
    QStringList fileNames(const FileRequest &) override { return {}; }
    void openUrl(const QString &) override {}

private:
    bool m_replace;
};

// Loads a source as the Open command does: the media report, then the tag
// editor from it. Why the report failed; empty when it did not.
QString openSource(const AppFolder &folder, ProcessRegistry &registry, MainFormState &form, const OptionState &options,
                   Dialogs &dialogs, ActivityLog &log, const QString &path)
{
    ReadOutput reader(registry);
    ConsolePane pane(folder.path());
    pane.attach(reader);
    handleReaderErrors(reader, dialogs, log);
    MediaReport report(folder, reader, pane, log);
    FileSelection(form, options, dialogs, report, folder).loadSource(path);
    return report.lastFailure();
}

void applyTags(const HeadlessRequest &r, MainFormState &form)
{
    const std::array<std::pair<const std::optional<QString> *, QString *>, 7> tags = {{
        {&r.title, &form.txtTitle},
        {&r.artist, &form.txtArtist},
        {&r.album, &form.txtAlbum},
        {&r.year, &form.txtYear},
        {&r.notes, &form.txtNotes},
        {&r.genre, &form.cmbGenre.text},
        {&r.track, &form.txtTrack},
    }};
    for (const auto &[given, field] : tags) {
        if (given->has_value())
            *field = **given;
    }
}

// Why a finished job left no usable output, in the log's words; empty when
// it did.
QString failureReason(const ConvertResult &result)
{
    using Outcome = ConvertResult::Outcome;
    switch (result.outcome) {
    case Outcome::None:
        return QStringLiteral("no output format is chosen");
    case Outcome::Refused:
        return result.message;
    case Outcome::LaunchFailed:
    case Outcome::Failed:
        return result.failure.isEmpty() ? result.message : result.failure;
    case Outcome::Kept:
        return QStringLiteral("the existing output file was kept: ") + result.output;
    case Outcome::Aborted:
        return QStringLiteral("the encoding was aborted");
    case Outcome::Ended:
        break;
    }
    return {};
}

} // namespace

namespace {

// What a batch would do, and nothing done: each source's output, the
// decision for an existing one and the encoder line as the run logs it.
int printDryRun(const AppFolder &folder, const BatchSettings &settings, const QList<PlannedOutput> &plan)
{
    for (const PlannedOutput &item : plan) {
        QString text = item.source + QStringLiteral("\n - Output file: ") + item.output
                       + QStringLiteral("\n - Existing output: ") + decisionName(item.decision) + QLatin1Char('\n');
        if (item.decision != PlannedOutput::Decision::Skip && item.decision != PlannedOutput::Decision::Ask)
            text += commandLineLogLine(batchEncoderLine(folder, settings, item.source, item.output).text)
                    + QLatin1Char('\n');
        printTo(stdout, text);
    }
    printTo(stdout, QStringLiteral("%1 files planned; nothing was written\n").arg(plan.size()));
    return Done;
}

int runBatch(const HeadlessRequest &r, const AppFolder &folder, const OptionState &options, const MainFormState &form,
             TerminationRequests &termination)
{
    BatchSettings settings = batchSettingsFor(folder, options, form.cmbFormat.text, r.volume.value_or(100),
                                              r.normalize, r.upmix);
    settings.fade = r.fade;
    settings.loudness = r.loudness;
    settings.jobs = r.jobs;
    settings.trashSources = r.trashSources;
    settings.trashDir = homeTrashDir();

    QStringList bases;
    const QStringList sources = batchSources(r.sources, r.recursive, &bases);
    if (sources.isEmpty())
        return fail(Failed, QStringLiteral("no audio files were found in ") + r.sources.join(QStringLiteral(", ")));
    OutputNaming naming;
    naming.outputDir = r.outputDir;
    naming.pattern = r.namePattern;
    naming.extension = options.OutExtension;
    // Without a window nobody is asked: --replace and --keep answer, and
    // the answer by default keeps what is there.
    naming.existing = r.replace ? ExistingPolicy::Overwrite
                      : r.existing == ExistingPolicy::Ask ? ExistingPolicy::Skip
                                                          : r.existing;
    naming.fallbacks = patternFallbacks(languageDisplayName(folder.file(QStringLiteral("\\Tonmill.LNG"))));
    const QString ffprobe = SourceDuration::ffprobeFor(settings.ffmpegPath);
    naming.tags = [ffprobe](const QString &source) { return readSourceTags(ffprobe, source); };
    const QList<PlannedOutput> plan = planOutputs(sources, bases, naming);
    if (r.dryRun)
        return printDryRun(folder, settings, plan);

    BatchJob job(folder, settings);
    job.setItems(plan);
    // A running file changes with its progress; it is announced once.
    QSet<int> started;
    QObject::connect(&job, &BatchJob::itemChanged, &job, [&job, &started](int index) {
        const BatchItem &item = job.items()[index];
        using Status = BatchItem::Status;
        switch (item.status) {
        case Status::Running:
            if (started.contains(index))
                break;
            started.insert(index);
            printTo(stdout, QStringLiteral("start: %1 -> %2\n").arg(item.source, item.output)
                                + commandLineLogLine(item.commandLine) + QLatin1Char('\n'));
            break;
        case Status::Done:
            printTo(stdout, QStringLiteral("done: %1 -> %2\n").arg(item.source, item.output));
            if (item.trashed)
                printTo(stdout, QStringLiteral(" - the source is in the trash\n"));
            else if (!item.reason.isEmpty())
                printTo(stdout, QStringLiteral(" - ") + item.reason + QLatin1Char('\n'));
            break;
        case Status::Failed:
        case Status::Skipped:
            printTo(stdout, QStringLiteral("%1: %2: %3\n").arg(batchStatusText(item.status), item.source, item.reason));
            break;
        case Status::Aborted:
            printTo(stdout, QStringLiteral("aborted: %1\n").arg(item.source));
            break;
        case Status::Waiting:
        case Status::Measuring:
            break;
        }
    });
    QObject::connect(&termination, &TerminationRequests::requested, &job, [&job](int) { job.abort(); });
    QEventLoop wait;
    QObject::connect(&job, &BatchJob::finished, &wait, &QEventLoop::quit);
    job.start();
    if (job.running())
        wait.exec();

    int converted = 0;
    for (const BatchItem &item : job.items())
        converted += item.status == BatchItem::Status::Done ? 1 : 0;
    const int missed = int(job.items().size()) - converted;
    printTo(stdout, QStringLiteral("%1 of %2 files converted\n").arg(converted).arg(job.items().size()));
    if (termination.received() != 0)
        return 128 + termination.received();
    return std::min(missed, 125);
}

} // namespace

int runHeadlessConvert(const HeadlessRequest &r, const AppFolder &folder)
{
    // A closed standard output ends the printing, not the program.
    std::signal(SIGPIPE, SIG_IGN);
    TerminationRequests termination;

    const QString settings = folder.file(QStringLiteral("\\Tonmill.ini"));
    if (ReadIniValue(QStringLiteral("General"), QStringLiteral("FFMPEG"), settings).isEmpty())
        return fail(Failed, QStringLiteral("no ffmpeg path is set: key FFMPEG of section [General] in ") + settings);

    ProcessRegistry registry;
    HeadlessDialogs dialogs(r.replace);
    ActivityLog log;
    LogPrinter printer(log);
    cStdIO runner(registry);
    logRunnerEvents(runner, log);

    // The option state as the window restores it at start-up.
    OptionState options;
    MainFormState form;
    options.fillLists();
    form.fillFormatList();
    OptionPanel panel(options, form, dialogs, folder);
    LoadSettings(options, form, panel, folder);
    if (!r.format.isEmpty()) {
        form.cmbFormat.select(r.format);
        panel.cmbFormat_Click();
    }
    if (!r.wmaProfile.isEmpty()) {
        options.cmbWMAProfile.select(r.wmaProfile);
        panel.cmbWMAProfile_Click();
    }

    if (r.isBatch())
        return runBatch(r, folder, options, form, termination);

    ConvertJob job(folder, dialogs, log, runner, registry, options, form, SourceDuration(folder));
    // A signal before the encoder runs is held until it does, so that it
    // stops the encode rather than being lost on an idle Abort.
    bool abortPending = false;
    QTimer pendingAbort;
    pendingAbort.setInterval(kPendingAbortPollMs);
    QObject::connect(&pendingAbort, &QTimer::timeout, &job, [&] {
        if (abortPending && job.encoding()) {
            abortPending = false;
            job.btnAbort_Click();
        }
    });
    QObject::connect(&termination, &TerminationRequests::requested, &job, [&](int) {
        if (job.encoding())
            job.btnAbort_Click();
        else
            abortPending = true;
    });
    pendingAbort.start();

    const QString source = QFileInfo(r.source).absoluteFilePath();
    // A source that cannot be described can still be converted, without tags
    // from it; the log and this line say why. One that is no file at all is
    // refused by the job, with its own line.
    if (QFileInfo(source).isFile() && QFileInfo(source).size() > 0) {
        if (const QString why = openSource(folder, registry, form, options, dialogs, log, source); !why.isEmpty())
            printTo(stderr, QStringLiteral("tonmill: ") + oneLine(why) + QLatin1Char('\n'));
    } else {
        form.txtPath = source;
    }
    QCoreApplication::processEvents();
    if (termination.received() != 0)
        return fail(128 + termination.received(), QStringLiteral("interrupted before the encoding began"));

    applyTags(r, form);
    if (r.volume)
        form.slVolume = *r.volume;
    form.chkNormalize = r.normalize;
    form.chkFadeInOut = r.fade;
    form.loudness = r.loudness;
    form.chk51UpMix.checked = r.upmix;
    form.chkSegment = r.segment;
    if (r.segment) {
        form.txtCutS = r.segmentStart;
        form.txtCutE = r.segmentEnd;
    }
    form.chkSameOutput = r.output.isEmpty();
    form.lblOutputPath = r.output.isEmpty() ? QString() : QFileInfo(r.output).absoluteFilePath();

    int status = Done;
    {
        std::optional<ProgressPrinter> progress;
        if (::isatty(STDERR_FILENO)) {
            progress.emplace(job, form);
            printer.setBeforePrint([&progress] { progress->clear(); });
        }
        job.btnConvert_Click();
        printer.setBeforePrint({});
    }
    pendingAbort.stop();

    const ConvertResult &result = job.result();
    if (result.outcome == ConvertResult::Outcome::Kept) {
        const QString how = r.keep ? QString() : QStringLiteral(" (give --replace to overwrite it)");
        return fail(Kept, QStringLiteral("the output file exists and was kept") + how + QStringLiteral(": ")
                              + result.output);
    }
    if (result.outcome == ConvertResult::Outcome::Aborted && termination.received() != 0)
        return fail(128 + termination.received(), failureReason(result));
    if (const QString reason = failureReason(result); !reason.isEmpty())
        status = fail(Failed, reason);
    return status;
}

} // namespace tonmill

#include "HeadlessConvert.moc"
