#include "tools/run/EncoderRun.h"

#include "media/CoverArt.h"
#include "platform/ChildProcess.h"
#include "platform/ToolChain.h"
#include "tools/run/LoudnessPass.h"
#include "tools/run/TerminationSignals.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tonmill::run {

namespace {
// Each status line reaches a polling reader as a chunk of its own: three
// times the 10 ms the program's runner waits between reads while the encoder
// is silent. It is also what every file of a batch waits at its end.
constexpr int kLineSpacingMs = 30;
} // namespace

EncoderRun::EncoderRun(EncodeRequest request, AudioSource source, QString ffmpegPath,
                       std::optional<LoudnessChoice> loudness, QObject *parent)
    : QObject(parent)
    , m_request(std::move(request))
    , m_source(std::move(source))
    , m_ffmpeg(std::move(ffmpegPath))
    , m_loudness(loudness)
    , m_output(QFileInfo(m_request.output).absoluteFilePath())
    , m_temporary(partialOutputName(m_output))
    , m_cover(coverAside(m_request, m_source, m_temporary))
{
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &EncoderRun::readProgress);
    connect(&m_process, &QProcess::readyReadStandardError, this, &EncoderRun::readDiagnostics);
    connect(&m_process, &QProcess::finished, this, &EncoderRun::onFinished);
    m_spacing.setSingleShot(true);
    connect(&m_spacing, &QTimer::timeout, this, &EncoderRun::flushPendingLine);
}

QStringList EncoderRun::lastWords() const
{
    QStringList lines = m_diagnostics.lastLines();
    for (QString &line : lines)
        line.replace(m_temporary, m_output);
    return lines;
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
    setPartialFiles(m_temporary, m_cover);
    QFile probe(m_temporary);
    if (!probe.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        m_failure = QStringLiteral("cannot write to the output folder \"%1\": %2").arg(folder, probe.errorString());
        return false;
    }
    return true;
}

// The partial file exists meanwhile, so that a folder that cannot be written
// is found before a long measuring, and a signal removes it all the same.
bool EncoderRun::measureLoudness()
{
    if (!m_loudness || m_loudness->mode == LoudnessChoice::Mode::Off)
        return true;
    const LoudnessOutcome outcome = runLoudnessPass(*m_loudness, m_request, m_source, m_ffmpeg);
    if (!outcome.ok) {
        m_failure = outcome.failure;
        m_failureStatus = outcome.failureStatus;
        m_diagnostics = outcome.diagnostics;
        return false;
    }
    m_adjustment = outcome.adjustment;
    if (!outcome.notice.isEmpty())
        Q_EMIT notice(outcome.notice);
    return true;
}

bool EncoderRun::start()
{
    if (!prepareTarget())
        return false;
    if (!measureLoudness()) {
        QFile::remove(m_temporary);
        return false;
    }
    Q_EMIT line(describeEncode(m_request, m_source, m_adjustment));
    makeChildDieWithParent(m_process);
    bool started = false;
    {
        const HeldTerminationSignals held;
        m_process.setChildProcessModifier(held.releasedInChild(m_process.childProcessModifier()));
        m_process.start(m_ffmpeg, ffmpegArguments(m_request, m_source, m_temporary, m_adjustment));
        started = m_process.waitForStarted(-1);
        if (started)
            setEncoderProcess(m_process.processId());
    }
    if (started)
        return true;
    QFile::remove(m_temporary);
    if (!m_cover.isEmpty())
        QFile::remove(m_cover);
    // The program was checked before; this is what has changed since, or exec's refusal.
    const ProgramCheck check = checkProgram(m_ffmpeg);
    m_failureStatus = check.status != 0 ? check.status : kHelperProgramNotExecutable;
    m_failure = check.status != 0 ? check.reason
                                  : cannotStart(m_ffmpeg, m_process.errorString());
    return false;
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
        double duration = m_source.durationSeconds > 0 ? m_source.durationSeconds : m_diagnostics.durationSeconds();
        if (m_request.window)
            duration = m_request.window->seconds;
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
    setEncoderProcess(0);
    readProgress();
    readDiagnostics();
    m_diagnostics.feed("\n"); // a last line without its end still counts
    const bool ranWell = status == QProcess::NormalExit && exitCode == 0;
    if (ranWell && m_last.seconds <= 0) {
        m_failure = QStringLiteral("no audio could be decoded from \"%1\"").arg(m_request.input);
    } else if (status != QProcess::NormalExit) {
        // After a crash QProcess gives the signal's number as the exit code.
        // The runner never signals ffmpeg but on its way out, so this came from elsewhere.
        m_failure = QStringLiteral("ffmpeg was ended by signal %1 (%2)")
                        .arg(exitCode)
                        .arg(QString::fromLocal8Bit(::strsignal(exitCode)));
    } else if (!ranWell) {
        m_failure = failureLine({exitCode, m_diagnostics.errors(), m_diagnostics.lastLines(), sourceFiles(m_source),
                                 m_request.encoder, m_last.seconds, m_temporary, m_output});
    } else if (keepCover(); std::rename(QFile::encodeName(m_temporary).constData(), QFile::encodeName(m_output).constData()) != 0) {
        m_failure = QStringLiteral("cannot put the result in place as \"%1\": %2")
                        .arg(m_output, QString::fromLocal8Bit(std::strerror(errno)));
    } else {
        flushPendingLine(); // the last status line, with the whole time
        Q_EMIT finished(true);
        return;
    }
    QFile::remove(m_temporary);
    if (!m_cover.isEmpty())
        QFile::remove(m_cover);
    Q_EMIT finished(false);
}

// A cover that cannot be added leaves the sound as good as it is: said, not failed.
void EncoderRun::keepCover()
{
    if (m_cover.isEmpty())
        return;
    QFile file(m_cover);
    CoverPicture picture;
    if (file.open(QIODevice::ReadOnly))
        picture.data = file.readAll();
    file.close();
    QFile::remove(m_cover);
    picture.mime = pictureMime(picture.data);
    QString why;
    if (picture.mime.isEmpty())
        why = QStringLiteral("the source's cover is neither JPEG nor PNG");
    else if (m_request.muxer == QLatin1String("asf"))
        why = embedAsfCover(m_temporary, picture);
    else
        why = embedOggCover(m_temporary, picture);
    if (!why.isEmpty())
        Q_EMIT notice(QStringLiteral("the cover was not kept: %1").arg(why));
}

} // namespace tonmill::run
