#pragma once

#include "convert/LoudnessChoice.h"
#include "tools/run/EncoderLine.h"
#include "tools/run/FfmpegArguments.h"
#include "tools/run/ProgressReport.h"

#include <QElapsedTimer>
#include <QObject>
#include <QProcess>
#include <QTimer>

#include <optional>

namespace tonmill::run {

// One encode on ffmpeg. The result is written under the output's partial
// name and renamed only when ffmpeg has finished well, so a file under the
// output's name is always a finished one. The termination handler is told of
// ffmpeg and the partial file, so that a signal leaves neither behind. With a
// loudness choice the audio is measured first, by passes that print nothing,
// so that the progress the encode prints starts from its beginning.
class EncoderRun : public QObject {
    Q_OBJECT
public:
    EncoderRun(EncodeRequest request, AudioSource source, QString ffmpegPath,
               std::optional<LoudnessChoice> loudness = std::nullopt, QObject *parent = nullptr);

    // False, with the reason in failure(), when the encode cannot begin. With
    // a loudness choice it returns once the measuring is done.
    bool start();

    const QString &failure() const { return m_failure; }
    // The runner's exit status for the failure: 1, or kHelperProgramMissing or
    // kHelperProgramNotExecutable when ffmpeg could not be started.
    int failureStatus() const { return m_failureStatus; }
    // ffmpeg's last lines on stderr, under the names the user knows.
    QStringList lastWords() const;

Q_SIGNALS:
    // A line for the console: the start, the progress lines.
    void line(const QString &text);
    // A line for stderr: what was asked and is not done, though the encode goes on.
    void notice(const QString &text);
    // The run is over; failure() tells why when ok is false.
    void finished(bool ok);

private:
    void readProgress();
    void readDiagnostics();
    void onFinished(int exitCode, QProcess::ExitStatus status);
    void report(const Progress &progress);
    void emitProgressLine(const QString &text);
    void flushPendingLine();
    bool prepareTarget();
    bool measureLoudness();
    void keepCover();

    EncodeRequest m_request;
    AudioSource m_source;
    QString m_ffmpeg;
    std::optional<LoudnessChoice> m_loudness;
    EncodeAdjustment m_adjustment;
    QString m_output;
    QString m_temporary;
    QString m_cover; // the source's cover taken aside, for a tag added afterwards
    QProcess m_process;
    ProgressReader m_progress;
    DiagnosticReader m_diagnostics;
    Progress m_last;
    // Progress lines are spaced so that a reader polling the pipe gets each
    // in a read of its own: the monitor reads only the start of what it got.
    QElapsedTimer m_sinceProgressLine;
    QTimer m_spacing;
    QString m_pendingLine;
    QString m_failure;
    int m_failureStatus = 1;
};

} // namespace tonmill::run
