#pragma once

#include "convert/LoudnessChoice.h"
#include "convert/OutputPlan.h"
#include "convert/OutputWindow.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "player/Equalizer.h"
#include "process/CommandLine.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace tonmill {

// The sources that paths name: each file as it stands, and the audio files in
// each folder (with recursive, in its subfolders too), sorted by name.
// baseDirs gets, for each source, the folder that was named, so that its
// subfolder can be kept below an output folder; a named file's base is its
// own folder.
QStringList batchSources(const QStringList &paths, bool recursive, QStringList *baseDirs = nullptr);

// The choices whole files are converted with, in a batch or for a preview of
// the result: the format options as the window or the settings hold them,
// and the clip options that apply to every file.
struct BatchSettings {
    OptionState options;
    QString format;         // the format list's name ("MP3")
    int volumePercent = 100;
    bool normalize = false;
    bool upmix = false;
    bool fade = false;
    QString ffmpegPath;
    QString quencPath;
    // After an output is complete and passes its check, its source goes to
    // the trash in trashDir.
    bool trashSources = false;
    QString trashDir;
    int jobs = 0;           // encoders at once; 0: one per core
    LoudnessChoice loudness;
    EqualizerState equalizer;
    // Only this stretch of the output is encoded; it is moved back where the
    // output ends sooner (windowWithin).
    std::optional<OutputWindow> window;
};

// The settings for these options and clip choices, with the tool paths that
// the application folder's settings name.
BatchSettings batchSettingsFor(const AppFolder &folder, const OptionState &options, const QString &format,
                               int volumePercent, bool normalize, bool upmix);

struct BatchItem {
    enum class Status { Waiting, Measuring, Running, Done, Failed, Skipped, Aborted };
    QString source;
    QString output;
    Status status = Status::Waiting;
    bool overwrite = false; // an existing output is replaced rather than kept
    QString commandLine;  // the encoder line, as the log shows it
    QString reason;       // why it failed or was skipped, or why its source stays
    bool trashed = false; // its source is in the trash
    double seconds = 0;   // the source's length, once measured
    double encoded = 0;   // seconds encoded so far
};

QString batchStatusText(BatchItem::Status status);

// How one file's conversion ended.
struct FileConversionEnd {
    FileConversionEnd(BatchItem::Status status, QString reason, bool trashed = false,
                      std::optional<TrackLoudness> loudness = std::nullopt)
        : status(status)
        , reason(std::move(reason))
        , trashed(trashed)
        , loudness(loudness)
    {
    }
    BatchItem::Status status;
    QString reason;
    // The source went to the trash after its output passed the check.
    bool trashed;
    // What a file asked only to be measured measures.
    std::optional<TrackLoudness> loudness;
    // The source's length, once measured.
    double sourceSeconds = 0;
};

// One file, from measuring its length to its finished output, blocking: what
// a batch's worker threads run. An existing output is replaced only when
// overwrite says so. progress gets the source's length and the seconds
// encoded; abort ends the encoder.
FileConversionEnd convertFile(const AppFolder &folder, const BatchSettings &settings, const QString &source,
                              const QString &output, bool overwrite, const std::atomic_bool &abort,
                              const std::function<void(double, double)> &progress);

// The private folder in which a batch writes the decoding script of the
// output, named after the output so that a dry run names it as the run does.
QString batchWorkFolder(const QString &output);

// The encoder line of one file of a batch, the same for a dry run and the run.
CommandLine batchEncoderLine(const AppFolder &folder, const BatchSettings &settings, const QString &source,
                             const QString &output);

// The log's line for an encoder line.
QString commandLineLogLine(const QString &commandText);

// Converts many sources with several encoders at once, each file by the same
// scripts, command lines and naming as a single file, each in a work folder
// of its own. A file's failure never stops the others; Abort ends every
// encoder. The conversions run on worker threads; the signals and the item
// list belong to the thread that made the job.
class BatchJob : public QObject {
    Q_OBJECT
public:
    BatchJob(const AppFolder &folder, BatchSettings settings, QObject *parent = nullptr);
    ~BatchJob() override;

    // The planned outputs; one to keep (skip, or an unanswered ask) is
    // skipped at once.
    void setItems(const QList<PlannedOutput> &plan);
    const QList<BatchItem> &items() const { return m_items; }
    int jobs() const;

    void start();
    // Every encoder is ended and every waiting file is left as aborted.
    void abort();
    bool running() const { return m_running; }

    // The share of the whole batch's sound that is encoded, 0 to 1, and the
    // seconds it should still take at the pace so far (-1 while unknown).
    double progress() const;
    double secondsLeft() const;

Q_SIGNALS:
    void itemChanged(int index);
    void finished();

private:
    struct Shared;

    void launchNext();
    void itemProgress(int index, double seconds, double encoded);
    void itemEnded(int index, BatchItem::Status status, const QString &reason, bool trashed,
                   const std::optional<TrackLoudness> &loudness);
    void encodeAlbum();

    AppFolder m_folder;
    BatchSettings m_settings;
    QList<BatchItem> m_items;
    std::shared_ptr<Shared> m_shared;
    int m_next = 0;
    int m_active = 0;
    // An album's files are all measured before the first is encoded.
    bool m_measuring = false;
    bool m_albumPass = false; // the files are encoded after they were measured
    QList<TrackLoudness> m_album;
    bool m_running = false;
    qint64 m_startedMs = 0;
};

} // namespace tonmill
