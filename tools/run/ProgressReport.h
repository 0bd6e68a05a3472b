#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace tonmill::run {

// Where an encode stands, from ffmpeg's key=value progress blocks.
struct Progress {
    qint64 totalBytes = 0;
    double seconds = 0;
    bool finished = false;
};

// Gathers ffmpeg's progress output, which may arrive in any pieces, into blocks.
class ProgressReader {
public:
    // The blocks that the bytes completed, oldest first.
    QList<Progress> feed(const QByteArray &bytes);

private:
    QByteArray m_pending;
    Progress m_current;
};

// ffmpeg's classic status line, whose fixed columns the progress monitor cuts:
// "size=" + the size in kB right-aligned in ten characters + " time=" + the
// seconds with two decimals + " bitrate=" + the mean bit rate.
QString statusLine(const Progress &progress);

// The WMA encoder's progress line; durationSeconds 0 when not known.
QString wmaProgressLine(const Progress &progress, double durationSeconds);

// One message of ffmpeg's log at error level or worse.
struct Diagnostic {
    QString context; // the component that spoke ("mp2", "mp3float"), empty for ffmpeg itself
    QString message;
};

// What ffmpeg's log (with level prefixes) tells about a run.
class DiagnosticReader {
public:
    void feed(const QByteArray &bytes);

    // Oldest first.
    const QList<Diagnostic> &errors() const { return m_errors; }
    // The last few lines at any level, oldest first, as ffmpeg wrote them but
    // for the level prefix: its own words when it fails below error level.
    const QStringList &lastLines() const { return m_lastLines; }
    // The first input's duration, 0 when not reported.
    double durationSeconds() const { return m_duration; }

private:
    void takeLine(const QString &line);

    QByteArray m_pending;
    QList<Diagnostic> m_errors;
    QStringList m_lastLines;
    double m_duration = 0;
};

// The one line that says why a run whose ffmpeg ended with a non-zero status
// failed: the source cannot be opened, the encoder refuses its settings,
// nothing could be decoded, or else ffmpeg's own last words.
struct FailedRun {
    int exitCode = 1;
    QList<Diagnostic> errors;
    QStringList lastLines;
    QStringList sourceFiles;
    QString encoder;
    double encodedSeconds = 0;
    QString temporary; // the name ffmpeg wrote to, which the user never sees
    QString output;
};
QString failureLine(const FailedRun &run);

} // namespace tonmill::run
