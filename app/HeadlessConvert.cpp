#include "app/HeadlessConvert.h"

#include "app/ActivityLog.h"
#include "convert/BatchJob.h"
#include "convert/ConvertJob.h"
#include "convert/SourceDuration.h"
#include "media/FileSelection.h"
#include "media/MediaReport.h"
#include "options/Configuration.h"
#include "options/FormatOptions.h"
#include "options/MainFormState.h"
#include "options/OptionPanel.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "platform/Dialogs.h"
#include "platform/ProcessRegistry.h"
#include "process/ConsolePane.h"
#include "process/ReadOutput.h"
#include "process/cStdIO.h"
#include "settings/INIManager.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
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

enum ExitStatus { Done = 0, Failed = 1, BadArguments = 2, Kept = 3 };
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

bool takesValue(const QString &option)
{
    static const QStringList options = {
        QStringLiteral("--home"),   QStringLiteral("--convert"), QStringLiteral("--format"),
        QStringLiteral("--output"), QStringLiteral("--volume"),  QStringLiteral("--title"),
        QStringLiteral("--artist"), QStringLiteral("--album"),   QStringLiteral("--year"),
        QStringLiteral("--notes"),  QStringLiteral("--genre"),   QStringLiteral("--track"),
        QStringLiteral("--wma-profile"), QStringLiteral("--output-dir"), QStringLiteral("--jobs"),
        QStringLiteral("--loudness"), QStringLiteral("--true-peak"), QStringLiteral("--replaygain"),
    };
    return options.contains(option);
}

bool isSeconds(const QString &text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    return ok && value >= 0 && value < 1e9;
}

// The list's spelling of a format name given in any letter case.
QString formatName(const QString &given)
{
    for (const QString &name : kFormatList.split(QLatin1Char('|'))) {
        if (name.compare(given, Qt::CaseInsensitive) == 0)
            return name;
    }
    return {};
}

// The WMA profile list's name for a name or key given in any letter case.
QString wmaProfileName(const QString &given)
{
    for (const QString &name : kWMAProfiles.split(QLatin1Char('|'))) {
        if (name.compare(given, Qt::CaseInsensitive) == 0
            || wmaProfileKey(name).compare(given, Qt::CaseInsensitive) == 0)
            return name;
    }
    return {};
}

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

bool HeadlessRequest::isBatch() const
{
    return sources.size() > 1 || recursive || !outputDir.isEmpty() || jobs > 0
           || (!sources.isEmpty() && QFileInfo(sources.constFirst()).isDir());
}

bool wantsHeadlessConvert(const QStringList &arguments)
{
    for (const QString &a : arguments.mid(1)) {
        if (a == QLatin1String("--convert") || a.startsWith(QLatin1String("--convert=")))
            return true;
    }
    return false;
}

QString headlessUsage()
{
    return QStringLiteral(
        "usage: tonmill [--home DIR] --convert SOURCE\n"
        "               [--format AAC|AC3|AMR|MP2/MPA|MP3|WAV|WMA|FLAC|OPUS|OGG|M4A|ALAC]\n"
        "               [--output FILE] [--volume PERCENT] [--normalize] [--fade] [--upmix] [--segment START END]\n"
        "       tonmill [--home DIR] --convert SOURCE|FOLDER... [--recursive] [--output-dir DIR] [--jobs N]\n"
        "               [--format ...] [--volume PERCENT] [--normalize] [--fade] [--upmix] [--replace | --keep]\n"
        "               [--title T] [--artist A] [--album A] [--year Y] [--notes N] [--genre G] [--track N]\n"
        "               [--wma-profile NAME] [--replace | --keep]\n"
        "               [--loudness LUFS [--true-peak DBTP] | --replaygain track|album]\n");
}

QString headlessHelp()
{
    return headlessUsage()
           + QStringLiteral(
               "\nConverts SOURCE without a window, as the Convert button does, and prints the activity log.\n"
               "Several sources, or folders (with --recursive their subfolders too), are converted as a batch,\n"
               "N at once (default: one per core), each beside its source or below --output-dir; one line is\n"
               "printed per finished file, and the exit status is the number of files that did not convert.\n"
               "Each format's own options (bitrate, rate, quality...) are those the window last kept in\n"
               "the [Options] section of Tonmill.ini.\n"
               "Exit status:\n"
               "  0        converted\n"
               "  1        failed; the cause is the last line on standard error\n"
               "  2        bad arguments\n"
               "  3        the output file exists and was kept (give --replace to overwrite it)\n"
               "  128+N    ended by signal N (SIGINT, SIGTERM), the encoder aborted\n");
}

bool wantsHelp(const QStringList &arguments)
{
    return arguments.mid(1).contains(QStringLiteral("--help")) || arguments.mid(1).contains(QStringLiteral("-h"));
}

HeadlessParse parseHeadlessArguments(const QStringList &arguments)
{
    HeadlessParse parse;
    HeadlessRequest &r = parse.request;
    const auto failed = [&parse](const QString &error) {
        parse.ok = false;
        parse.error = error;
        return parse;
    };
    bool sourceGiven = false;
    bool truePeakGiven = false;
    bool replayGainGiven = false;
    bool replaceGiven = false;
    bool keepGiven = false;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        QString option = arguments[i];
        QString value;
        bool inlineValue = false;
        if (option.startsWith(QLatin1String("--")) && option.contains(QLatin1Char('='))) {
            value = option.section(QLatin1Char('='), 1);
            option = option.section(QLatin1Char('='), 0, 0);
            inlineValue = true;
        }
        if (takesValue(option)) {
            if (!inlineValue) {
                if (i + 1 >= arguments.size())
                    return failed(QStringLiteral("%1 needs a value").arg(option));
                value = arguments[++i];
            }
        } else if (inlineValue) {
            return failed(QStringLiteral("%1 takes no value").arg(option));
        }

        if (option == QLatin1String("--home")) {
            continue; // the application folder is settled from the same arguments
        } else if (option == QLatin1String("--convert")) {
            if (sourceGiven)
                return failed(QStringLiteral("--convert is given twice"));
            if (value.isEmpty())
                return failed(QStringLiteral("--convert needs a file"));
            sourceGiven = true;
            r.source = value;
            r.sources << value;
            // Further sources follow until the next option.
            while (!inlineValue && i + 1 < arguments.size() && !arguments[i + 1].startsWith(QLatin1String("--")))
                r.sources << arguments[++i];
        } else if (option == QLatin1String("--recursive")) {
            r.recursive = true;
        } else if (option == QLatin1String("--output-dir")) {
            if (value.isEmpty())
                return failed(QStringLiteral("--output-dir needs a folder"));
            r.outputDir = value;
        } else if (option == QLatin1String("--jobs")) {
            bool ok = false;
            r.jobs = value.trimmed().toInt(&ok);
            if (!ok || r.jobs < 1 || r.jobs > 64)
                return failed(QStringLiteral("--jobs takes a whole number from 1 to 64, not \"%1\"").arg(value));
        } else if (option == QLatin1String("--format")) {
            r.format = formatName(value);
            if (r.format.isEmpty())
                return failed(QStringLiteral("unknown format \"%1\"").arg(value));
        } else if (option == QLatin1String("--output")) {
            if (value.isEmpty())
                return failed(QStringLiteral("--output needs a file"));
            r.output = value;
        } else if (option == QLatin1String("--volume")) {
            bool ok = false;
            const int percent = value.trimmed().toInt(&ok);
            if (!ok || percent < 0 || percent > 1000)
                return failed(QStringLiteral("--volume takes a whole percentage from 0 to 1000, not \"%1\"").arg(value));
            r.volume = percent;
        } else if (option == QLatin1String("--normalize")) {
            r.normalize = true;
        } else if (option == QLatin1String("--fade")) {
            r.fade = true;
        } else if (option == QLatin1String("--upmix")) {
            r.upmix = true;
        } else if (option == QLatin1String("--loudness")) {
            bool ok = false;
            r.loudness.targetLufs = value.trimmed().toDouble(&ok);
            if (!ok || r.loudness.targetLufs < kLowestTarget || r.loudness.targetLufs > kHighestTarget)
                return failed(QStringLiteral("--loudness takes a target from %1 to %2 LUFS, not \"%3\"")
                                  .arg(kLowestTarget).arg(kHighestTarget).arg(value));
            r.loudness.mode = LoudnessChoice::Mode::Normalize;
        } else if (option == QLatin1String("--true-peak")) {
            bool ok = false;
            r.loudness.truePeakDbtp = value.trimmed().toDouble(&ok);
            if (!ok || r.loudness.truePeakDbtp < kLowestCeiling || r.loudness.truePeakDbtp > kHighestCeiling)
                return failed(QStringLiteral("--true-peak takes a ceiling from %1 to %2 dBTP, not \"%3\"")
                                  .arg(kLowestCeiling).arg(kHighestCeiling).arg(value));
            truePeakGiven = true;
        } else if (option == QLatin1String("--replaygain")) {
            if (value != QLatin1String("track") && value != QLatin1String("album"))
                return failed(QStringLiteral("--replaygain takes \"track\" or \"album\", not \"%1\"").arg(value));
            r.loudness.album = value == QLatin1String("album");
            replayGainGiven = true;
        } else if (option == QLatin1String("--segment")) {
            if (i + 2 >= arguments.size())
                return failed(QStringLiteral("--segment needs a start and an end in seconds"));
            r.segmentStart = arguments[++i];
            r.segmentEnd = arguments[++i];
            if (!isSeconds(r.segmentStart) || !isSeconds(r.segmentEnd))
                return failed(QStringLiteral("--segment takes two times in seconds, not \"%1\" \"%2\"")
                                  .arg(r.segmentStart, r.segmentEnd));
            if (r.segmentEnd.toDouble() <= r.segmentStart.toDouble())
                return failed(QStringLiteral("the segment's end must lie after its start"));
            r.segment = true;
        } else if (option == QLatin1String("--title")) {
            r.title = value;
        } else if (option == QLatin1String("--artist")) {
            r.artist = value;
        } else if (option == QLatin1String("--album")) {
            r.album = value;
        } else if (option == QLatin1String("--year")) {
            r.year = value;
        } else if (option == QLatin1String("--notes")) {
            r.notes = value;
        } else if (option == QLatin1String("--genre")) {
            r.genre = value;
        } else if (option == QLatin1String("--track")) {
            r.track = value;
        } else if (option == QLatin1String("--wma-profile")) {
            r.wmaProfile = wmaProfileName(value);
            if (r.wmaProfile.isEmpty())
                return failed(QStringLiteral("unknown WMA profile \"%1\"").arg(value));
        } else if (option == QLatin1String("--replace")) {
            replaceGiven = true;
        } else if (option == QLatin1String("--keep")) {
            keepGiven = true;
        } else {
            return failed(QStringLiteral("unknown argument \"%1\"").arg(arguments[i]));
        }
    }
    if (!sourceGiven)
        return failed(QStringLiteral("--convert SOURCE is missing"));
    if (replaceGiven && keepGiven)
        return failed(QStringLiteral("--replace and --keep exclude each other"));
    const bool loudnessGiven = r.loudness.mode == LoudnessChoice::Mode::Normalize;
    if (replayGainGiven && (loudnessGiven || r.normalize))
        return failed(QStringLiteral("--replaygain leaves the audio as it is: it excludes --loudness and --normalize"));
    if (loudnessGiven && r.normalize)
        return failed(QStringLiteral("--loudness and --normalize exclude each other"));
    if (truePeakGiven && !loudnessGiven)
        return failed(QStringLiteral("--true-peak is the ceiling of --loudness"));
    if (replayGainGiven)
        r.loudness.mode = LoudnessChoice::Mode::ReplayGain;
    if (r.isBatch() && (!r.output.isEmpty() || r.segment))
        return failed(QStringLiteral("--output and --segment are for one file; a batch takes --output-dir"));
    r.replace = replaceGiven;
    r.keep = keepGiven;
    parse.ok = true;
    return parse;
}

namespace {

int runBatch(const HeadlessRequest &r, const AppFolder &folder, const OptionState &options, const MainFormState &form,
             TerminationRequests &termination)
{
    BatchSettings settings = batchSettingsFor(folder, options, form.cmbFormat.text, r.volume.value_or(100),
                                              r.normalize, r.upmix);
    settings.fade = r.fade;
    settings.loudness = r.loudness;
    settings.replace = r.replace;
    settings.jobs = r.jobs;

    QStringList bases;
    const QStringList sources = batchSources(r.sources, r.recursive, &bases);
    if (sources.isEmpty())
        return fail(Failed, QStringLiteral("no audio files were found in ") + r.sources.join(QStringLiteral(", ")));
    BatchJob job(folder, settings);
    job.setItems(sources, batchOutputs(sources, bases, r.outputDir, options.OutExtension));
    QObject::connect(&job, &BatchJob::itemChanged, &job, [&job](int index) {
        const BatchItem &item = job.items()[index];
        using Status = BatchItem::Status;
        switch (item.status) {
        case Status::Done:
            printTo(stdout, QStringLiteral("done: %1 -> %2\n").arg(item.source, item.output));
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
        case Status::Running:
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

int runHeadlessConvert(const QStringList &arguments)
{
    const HeadlessParse parse = parseHeadlessArguments(arguments);
    if (!parse.ok) {
        printTo(stderr, headlessUsage());
        return fail(BadArguments, parse.error);
    }
    const HeadlessRequest &r = parse.request;
    // A closed standard output ends the printing, not the program.
    std::signal(SIGPIPE, SIG_IGN);
    TerminationRequests termination;

    const AppFolder folder = AppFolder::fromArguments(arguments, QCoreApplication::applicationDirPath());
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
