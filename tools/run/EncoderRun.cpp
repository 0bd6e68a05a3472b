#include "tools/run/EncoderRun.h"

#include "platform/ChildProcess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tonmill::run {

namespace {
constexpr int kGraceMs = 3000;
// Three times the 30 ms a polling reader sleeps between reads.
constexpr int kLineSpacingMs = 100;
} // namespace

EncoderRun::EncoderRun(EncodeRequest request, AudioSource source, QString ffmpegPath, QObject *parent)
    : QObject(parent)
    , m_request(std::move(request))
    , m_source(std::move(source))
    , m_ffmpeg(std::move(ffmpegPath))
    , m_output(QFileInfo(m_request.output).absoluteFilePath())
    , m_temporary(temporaryName(m_output))
{
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &EncoderRun::readProgress);
    connect(&m_process, &QProcess::readyReadStandardError, this, &EncoderRun::readDiagnostics);
    connect(&m_process, &QProcess::finished, this, &EncoderRun::onFinished);
    m_spacing.setSingleShot(true);
    connect(&m_spacing, &QTimer::timeout, this, &EncoderRun::flushPendingLine);
}

QString EncoderRun::temporaryName(const QString &output)
{
    return output + QStringLiteral(".part");
}

bool EncoderRun::prepareTarget()
{
    const QString folder = QFileInfo(m_output).absolutePath();
    if (!QFileInfo(folder).isDir()) {
        m_failure = QStringLiteral("the output folder \"%1\" does not exist").arg(folder);
        return false;
    }
    if (QFileInfo(m_output).isDir()) {
        m_failure = QStringLiteral("the output \"%1\" is a folder").arg(m_output);
        return false;
    }
    QFile probe(m_temporary);
    if (!probe.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        m_failure = QStringLiteral("cannot write to the output folder \"%1\": %2").arg(folder, probe.errorString());
        return false;
    }
    return true;
}

bool EncoderRun::start()
{
    if (!prepareTarget())
        return false;
    Q_EMIT line(describeEncode(m_request, m_source));
    makeChildDieWithParent(m_process);
    m_process.start(m_ffmpeg, ffmpegArguments(m_request, m_source, m_temporary));
    if (!m_process.waitForStarted(-1)) {
        QFile::remove(m_temporary);
        m_failure = QStringLiteral("cannot start ffmpeg (%1): %2").arg(m_ffmpeg, m_process.errorString());
        return false;
    }
    return true;
}

void EncoderRun::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_stopped = true;
    m_process.terminate();
    if (!m_process.waitForFinished(kGraceMs)) {
        m_process.kill();
        m_process.waitForFinished(-1);
    }
}

void EncoderRun::readProgress()
{
    for (const Progress &p : m_progress.feed(m_process.readAllStandardOutput()))
        report(p);
}

void EncoderRun::readDiagnostics()
{
    m_diagnostics.feed(m_process.readAllStandardError());
}

void EncoderRun::report(const Progress &progress)
{
    m_last = progress;
    if (m_request.kind == LineKind::WmaScript) {
        const double duration = m_source.durationSeconds > 0 ? m_source.durationSeconds : m_diagnostics.durationSeconds();
        emitProgressLine(wmaProgressLine(progress, duration));
    } else {
        emitProgressLine(statusLine(progress));
    }
}

void EncoderRun::emitProgressLine(const QString &text)
{
    m_pendingLine = text;
    const qint64 waited = m_sinceProgressLine.isValid() ? m_sinceProgressLine.elapsed() : kLineSpacingMs;
    if (waited >= kLineSpacingMs)
        flushPendingLine();
    else if (!m_spacing.isActive())
        m_spacing.start(int(kLineSpacingMs - waited));
}

void EncoderRun::flushPendingLine()
{
    m_spacing.stop();
    if (m_pendingLine.isEmpty())
        return;
    const qint64 waited = m_sinceProgressLine.isValid() ? m_sinceProgressLine.elapsed() : kLineSpacingMs;
    if (waited < kLineSpacingMs)
        QThread::msleep(quint64(kLineSpacingMs - waited));
    Q_EMIT line(m_pendingLine);
    m_pendingLine.clear();
    m_sinceProgressLine.start();
}

void EncoderRun::onFinished(int exitCode, QProcess::ExitStatus status)
{
    readProgress();
    readDiagnostics();
    m_diagnostics.feed("\n"); // a last line without its end still counts
    const bool ranWell = !m_stopped && status == QProcess::NormalExit && exitCode == 0;
    if (ranWell && m_last.seconds <= 0) {
        m_failure = QStringLiteral("no audio could be decoded from \"%1\"").arg(m_request.input);
    } else if (m_stopped) {
        m_failure = QStringLiteral("stopped before the end; nothing was written");
    } else if (!ranWell) {
        m_failure = failureLine({m_diagnostics.errors(), sourceFiles(m_source), m_request.encoder, m_last.seconds,
                                 m_temporary, m_output});
        if (status != QProcess::NormalExit)
            m_failure = QStringLiteral("ffmpeg ended abnormally: ") + m_failure;
    } else if (std::rename(QFile::encodeName(m_temporary).constData(), QFile::encodeName(m_output).constData()) != 0) {
        m_failure = QStringLiteral("cannot put the result in place as \"%1\": %2")
                        .arg(m_output, QString::fromLocal8Bit(std::strerror(errno)));
    } else {
        flushPendingLine(); // the last status line, with the whole time
        Q_EMIT finished(true);
        return;
    }
    QFile::remove(m_temporary);
    Q_EMIT finished(false);
}

} // namespace tonmill::run
