#pragma once

#include "tools/run/EncoderLine.h"
#include "tools/run/FfmpegArguments.h"
#include "tools/run/ProgressReport.h"

#include <QElapsedTimer>
#include <QObject>
#include <QProcess>
#include <QTimer>

namespace tonmill::run {

// One encode on ffmpeg. The result is written under a temporary name beside
// the output and renamed only when ffmpeg has finished well, so a file under
// the output's name is always a finished one.
class EncoderRun : public QObject {
    Q_OBJECT
public:
    EncoderRun(EncodeRequest request, AudioSource source, QString ffmpegPath, QObject *parent = nullptr);

    // False, with the reason in failure(), when the encode cannot begin.
    bool start();
    // Ends ffmpeg and removes the unfinished file; finished() follows.
    void stop();

    const QString &failure() const { return m_failure; }
    // The name the result has until it is finished.
    static QString temporaryName(const QString &output);

Q_SIGNALS:
    // A line for the console: the start, the progress lines.
    void line(const QString &text);
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

    EncodeRequest m_request;
    AudioSource m_source;
    QString m_ffmpeg;
    QString m_output;
    QString m_temporary;
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
    bool m_stopped = false;
};

} // namespace tonmill::run
