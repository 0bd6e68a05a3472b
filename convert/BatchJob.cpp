#include "convert/BatchJob.h"

#include "convert/AVSScripts.h"
#include "convert/CommandLines.h"
#include "convert/ConvertJob.h"
#include "convert/OutputCheck.h"
#include "convert/SourceDuration.h"
#include "media/FileSelection.h"
#include "media/SourceFacts.h"
#include "platform/ChildProcess.h"
#include "platform/ToolChain.h"
#include "platform/Trash.h"
#include "process/ProgressMonitor.h"
#include "settings/INIManager.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <QThreadPool>

#include <cerrno>
#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

namespace tonmill {

namespace {

constexpr int kPollMs = 50;
constexpr int kTermGraceMs = 500;
constexpr qsizetype kTailSize = 4096;

QString oneLine(QString text)
{
    return text.replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' ')).simplified();
}

// Ends the encoder and whatever it started: asked first, forced after a grace.
void endProcess(QProcess &process)
{
    signalProcessTree(process.processId(), SIGTERM);
    if (!process.waitForFinished(kTermGraceMs)) {
        signalProcessTree(process.processId(), SIGKILL);
        process.waitForFinished(-1);
    }
}

// The work folder of one file: made private to this user, and gone with
// everything in it when the file is done.
class WorkFolder {
public:
    explicit WorkFolder(const QString &path)
        : m_path(path)
    {
        const QByteArray name = QFile::encodeName(path);
        if (::mkdir(name.constData(), 0700) != 0 && errno != EEXIST)
            return;
        // A folder of that name left by an earlier run is taken only when it
        // is this user's own folder and no link.
        struct stat st {};
        m_valid = ::lstat(name.constData(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == ::getuid();
    }
    ~WorkFolder()
    {
        if (m_valid)
            QDir(m_path).removeRecursively();
    }
    bool isValid() const { return m_valid; }
    QString filePath(const QString &name) const { return m_path + QLatin1Char('/') + name; }

private:
    QString m_path;
    bool m_valid = false;
};

bool readsSourceItself(const BatchSettings &s)
{
    // WMA reads the source itself unless it is normalised or faded.
    return s.options.txtFormat == QLatin1String("7") && !s.normalize && !s.fade;
}

// After a finished output: the source goes to the trash when that was asked
// for and the output holds the whole sound. The item's reason says why a
// source stays.
FileConversionEnd trashSource(const BatchSettings &s, const QString &source, const QString &output, double seconds)
{
    if (!s.trashSources)
        return {BatchItem::Status::Done, {}, false};
    if (const QString why = outputCheckFailure(s.ffmpegPath, output, seconds); !why.isEmpty())
        return {BatchItem::Status::Failed, QStringLiteral("the output failed its check, so the source stays: ") + why, false};
    if (const QString why = moveToTrash(source, s.trashDir); !why.isEmpty())
        return {BatchItem::Status::Done, QStringLiteral("the source stays: ") + why, false};
    return {BatchItem::Status::Done, {}, true};
}

} // namespace

FileConversionEnd convertFile(const AppFolder &folder, const BatchSettings &s, const QString &source,
                              const QString &output, bool overwrite, const std::atomic_bool &abort,
                              const std::function<void(double, double)> &progress)
{
    using Status = BatchItem::Status;
    if (abort)
        return {Status::Aborted, {}};
    const QFileInfo existing(output);
    if (existing.exists() && existing.size() > 0 && !overwrite)
        return {Status::Skipped, QStringLiteral("the output file exists")};
    if (const QString refusal = sourceRefusal(source, output); !refusal.isEmpty())
        return {Status::Failed, oneLine(refusal)};

    const SourceLength length = SourceDuration(folder)(source);
    if (!length.ok())
        return {Status::Failed, QStringLiteral("it cannot be read as audio: ") + length.error};
    progress(length.seconds, 0);

    if (!QDir().mkpath(QFileInfo(output).absolutePath()))
        return {Status::Failed, QStringLiteral("the output folder cannot be made")};

    // The scripts of this file, apart from every other file's.
    const WorkFolder work(batchWorkFolder(output));
    if (!work.isValid())
        return {Status::Failed, QStringLiteral("no work folder: ") + batchWorkFolder(output)};
    if (!readsSourceItself(s)) {
        const FullScriptInputs full{source, length.seconds, s.options.SamFreq, s.format, s.normalize, s.upmix, s.fade};
        if (!writeFullScript(work.filePath(QStringLiteral("DirectQX.avs")), full, folder))
            return {Status::Failed, QStringLiteral("the decoding script cannot be written")};
    }
    const CommandLine line = batchEncoderLine(folder, s, source, output);
    if (line.isEmpty())
        return {Status::Failed, QStringLiteral("no encoder line can be made of these options")};
    CommandLine routed = runningLine(line, folder, sourceFactsEntry(source, length.stream), s.loudness, s.equalizer);
    if (s.window)
        routed.environment << windowEntry(windowWithin(s.window->start, s.window->seconds, length.seconds));

    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    makeChildDieWithParent(process);
    startCommandLine(process, routed);
    if (!process.waitForStarted(-1))
        return {Status::Failed, cannotStart(routed.program, process.errorString())};
    QString tail;
    const double limit = runawayLimit(length.seconds);
    QString runaway;
    const auto read = [&] {
        const QString chunk = QString::fromUtf8(process.readAll());
        if (chunk.isEmpty())
            return;
        tail = (tail + chunk).right(kTailSize);
        if (const std::optional<double> encoded = encodedSeconds(chunk)) {
            progress(length.seconds, *encoded);
            if (*encoded > limit)
                runaway = QStringLiteral("the encoder went on past the sound's end (%1 s written where %2 s were expected)")
                              .arg(*encoded, 0, 'f', 1)
                              .arg(length.seconds, 0, 'f', 1);
        }
    };
    while (!process.waitForFinished(kPollMs)) {
        read();
        if (abort || !runaway.isEmpty()) {
            endProcess(process);
            QFile::remove(partialOutputName(output));
            if (!runaway.isEmpty())
                return {Status::Failed, runaway};
            return {Status::Aborted, {}};
        }
    }
    read();
    EncoderEnd end;
    end.endedBySignal = process.exitStatus() == QProcess::CrashExit;
    end.exitCode = process.exitCode();
    if (s.loudness.measureOnly) {
        std::optional<TrackLoudness> measured = measuredLoudnessIn(tail);
        if (!measured || end.endedBySignal || end.exitCode != 0)
            return {Status::Failed, QStringLiteral("its loudness could not be measured: ") + oneLine(lastLineOf(tail))};
        measured->seconds = length.seconds;
        return {Status::Done, {}, false, measured};
    }
    const QFileInfo written(output);
    if (const QString cause = encoderFailure(end, tail, written.exists() ? written.size() : -1); !cause.isEmpty()) {
        QFile::remove(partialOutputName(output));
        return {Status::Failed, cause};
    }
    progress(length.seconds, length.seconds);
    if (abort)
        return {Status::Aborted, {}};
    FileConversionEnd done = trashSource(s, source, output, length.seconds);
    done.sourceSeconds = length.seconds;
    return done;
}

QStringList batchSources(const QStringList &paths, bool recursive, QStringList *baseDirs)
{
    QStringList sources;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        if (!info.isDir()) {
            sources << info.absoluteFilePath();
            if (baseDirs)
                *baseDirs << info.absolutePath();
            continue;
        }
        QStringList found;
        QDirIterator it(info.absoluteFilePath(), FileSelection::audioPatterns(), QDir::Files | QDir::Readable,
                        recursive ? QDirIterator::Subdirectories : QDirIterator::NoIteratorFlags);
        while (it.hasNext())
            found << it.next();
        found.sort();
        sources << found;
        if (baseDirs) {
            for (qsizetype i = 0; i < found.size(); ++i)
                *baseDirs << info.absoluteFilePath();
        }
    }
    return sources;
}

QString batchWorkFolder(const QString &output)
{
    const QByteArray digest = QCryptographicHash::hash(QFile::encodeName(output), QCryptographicHash::Sha1).toHex();
    return QDir::tempPath() + QStringLiteral("/tonmill-%1-%2").arg(::getuid()).arg(QString::fromLatin1(digest.left(16)));
}

CommandLine batchEncoderLine(const AppFolder &folder, const BatchSettings &settings, const QString &source,
                             const QString &output)
{
    EncoderInputs inputs;
    inputs.ffmpegPath = settings.ffmpegPath;
    inputs.quencPath = settings.quencPath;
    inputs.output = output;
    inputs.volumePercent = settings.volumePercent;
    inputs.input = readsSourceItself(settings) ? source
                                               : batchWorkFolder(output) + QStringLiteral("/DirectQX.avs");
    return encoderCommandLine(inputs, settings.options, folder);
}

QString commandLineLogLine(const QString &commandText)
{
    return QStringLiteral(" - Command line: ") + commandText;
}

BatchSettings batchSettingsFor(const AppFolder &folder, const OptionState &options, const QString &format,
                               int volumePercent, bool normalize, bool upmix)
{
    const QString settingsFile = folder.file(QStringLiteral("\\Tonmill.ini"));
    BatchSettings settings;
    settings.options = options;
    settings.format = format;
    settings.volumePercent = volumePercent;
    settings.normalize = normalize;
    settings.upmix = upmix;
    settings.ffmpegPath = ReadIniValue(QStringLiteral("General"), QStringLiteral("FFMPEG"), settingsFile);
    settings.quencPath = ReadIniValue(QStringLiteral("General"), QStringLiteral("QUENC"), settingsFile);
    return settings;
}

QString batchStatusText(BatchItem::Status status)
{
    switch (status) {
    case BatchItem::Status::Waiting:
        return QStringLiteral("waiting");
    case BatchItem::Status::Measuring:
        return QStringLiteral("measuring");
    case BatchItem::Status::Running:
        return QStringLiteral("converting");
    case BatchItem::Status::Done:
        return QStringLiteral("done");
    case BatchItem::Status::Failed:
        return QStringLiteral("failed");
    case BatchItem::Status::Skipped:
        return QStringLiteral("skipped");
    case BatchItem::Status::Aborted:
        return QStringLiteral("aborted");
    }
    return {};
}

struct BatchJob::Shared {
    std::atomic_bool abort = false;
    QThreadPool pool;
};

BatchJob::BatchJob(const AppFolder &folder, BatchSettings settings, QObject *parent)
    : QObject(parent)
    , m_folder(folder)
    , m_settings(std::move(settings))
    , m_shared(std::make_shared<Shared>())
{
    m_shared->pool.setMaxThreadCount(jobs());
}

BatchJob::~BatchJob()
{
    m_shared->abort = true;
    m_shared->pool.waitForDone();
}

int BatchJob::jobs() const
{
    return m_settings.jobs > 0 ? m_settings.jobs : std::max(1, QThread::idealThreadCount());
}

void BatchJob::setItems(const QList<PlannedOutput> &plan)
{
    using Decision = PlannedOutput::Decision;
    m_items.clear();
    for (const PlannedOutput &planned : plan) {
        BatchItem item;
        item.source = planned.source;
        item.output = planned.output;
        item.overwrite = planned.decision == Decision::Overwrite;
        if (planned.decision == Decision::Skip || planned.decision == Decision::Ask) {
            item.status = BatchItem::Status::Skipped;
            item.reason = QStringLiteral("the output file exists");
        }
        m_items << item;
    }
}

void BatchJob::start()
{
    if (m_running)
        return;
    m_running = true;
    m_shared->abort = false;
    m_next = 0;
    m_active = 0;
    m_measuring = m_settings.loudness.mode == LoudnessChoice::Mode::ReplayGain && m_settings.loudness.album;
    m_album.clear();
    m_albumPass = false;
    m_startedMs = QDateTime::currentMSecsSinceEpoch();
    launchNext();
    if (m_active == 0) {
        m_running = false;
        Q_EMIT finished();
    }
}

void BatchJob::launchNext()
{
    BatchSettings settings = m_settings;
    settings.loudness.measureOnly = m_measuring;
    while (m_active < jobs() && m_next < m_items.size()) {
        const int index = m_next++;
        BatchItem &item = m_items[index];
        if (item.status != BatchItem::Status::Waiting) {
            // An output kept before the start is told once; a file that
            // ended while it was measured is done with.
            if (item.status == BatchItem::Status::Skipped && !m_albumPass)
                Q_EMIT itemChanged(index);
            continue;
        }
        if (m_shared->abort) {
            item.status = BatchItem::Status::Aborted;
            Q_EMIT itemChanged(index);
            continue;
        }
        item.status = m_measuring ? BatchItem::Status::Measuring : BatchItem::Status::Running;
        item.commandLine = batchEncoderLine(m_folder, m_settings, item.source, item.output).text;
        ++m_active;
        Q_EMIT itemChanged(index);
        const std::shared_ptr<Shared> shared = m_shared;
        m_shared->pool.start([this, shared, index, source = item.source, output = item.output,
                              overwrite = item.overwrite, folder = m_folder, settings] {
            const FileConversionEnd end = convertFile(folder, settings, source, output, overwrite, shared->abort,
                                           [this, index](double seconds, double encoded) {
                                               QMetaObject::invokeMethod(this, [this, index, seconds, encoded] {
                                                   itemProgress(index, seconds, encoded);
                                               });
                                           });
            QMetaObject::invokeMethod(this, [this, index, end] {
                itemEnded(index, end.status, end.reason, end.trashed, end.loudness);
            });
        });
    }
}

void BatchJob::itemProgress(int index, double seconds, double encoded)
{
    m_items[index].seconds = seconds;
    m_items[index].encoded = std::min(encoded, seconds);
    Q_EMIT itemChanged(index);
}

void BatchJob::itemEnded(int index, BatchItem::Status status, const QString &reason, bool trashed,
                         const std::optional<TrackLoudness> &loudness)
{
    BatchItem &item = m_items[index];
    --m_active;
    if (m_measuring && status == BatchItem::Status::Done) {
        m_album << *loudness;
        item.status = BatchItem::Status::Waiting;
    } else {
        item.status = status;
        item.reason = reason;
        item.trashed = trashed;
        if (status == BatchItem::Status::Done)
            item.encoded = item.seconds;
    }
    Q_EMIT itemChanged(index);
    launchNext();
    if (m_active > 0 || m_next < m_items.size())
        return;
    if (m_measuring) {
        encodeAlbum(); // after an abort, this leaves every file aborted
        return;
    }
    m_running = false;
    Q_EMIT finished();
}

// Every file measured: each is encoded with the album's gain besides its own.
void BatchJob::encodeAlbum()
{
    m_measuring = false;
    m_albumPass = true;
    m_settings.loudness.albumGain = albumGainOf(m_album);
    m_next = 0;
    launchNext();
    if (m_active == 0) {
        m_running = false;
        Q_EMIT finished();
    }
}

void BatchJob::abort()
{
    m_shared->abort = true;
}

double BatchJob::progress() const
{
    // Files not yet measured count as long as the average of those that are.
    double total = 0;
    double done = 0;
    int measured = 0;
    for (const BatchItem &item : m_items) {
        if (item.seconds > 0) {
            total += item.seconds;
            done += item.encoded;
            ++measured;
        }
    }
    if (measured == 0)
        return 0;
    const double perFile = total / measured;
    double whole = total;
    for (const BatchItem &item : m_items) {
        const bool ended = item.status == BatchItem::Status::Failed || item.status == BatchItem::Status::Skipped
                           || item.status == BatchItem::Status::Aborted;
        if (item.seconds <= 0 && !ended)
            whole += perFile;
    }
    return whole > 0 ? done / whole : 0;
}

double BatchJob::secondsLeft() const
{
    const double share = progress();
    if (share <= 0 || !m_running)
        return -1;
    const double elapsed = (QDateTime::currentMSecsSinceEpoch() - m_startedMs) / 1000.0;
    return elapsed * (1 - share) / share;
}

} // namespace tonmill
