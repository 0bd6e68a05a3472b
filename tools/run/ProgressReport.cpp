#include "tools/run/ProgressReport.h"

#include <QRegularExpression>

namespace tonmill::run {

namespace {

// Enough for what ffmpeg says last, with the runner's own line, to fit in the
// five last lines a reader keeps.
constexpr qsizetype kLastLines = 4;

// Complete lines of the pending bytes, leaving an unfinished one pending.
QList<QByteArray> takeLines(QByteArray &pending, const QByteArray &bytes)
{
    pending += bytes;
    QList<QByteArray> lines;
    qsizetype end;
    while ((end = pending.indexOf('\n')) >= 0) {
        lines << pending.left(end).trimmed();
        pending.remove(0, end + 1);
    }
    return lines;
}

} // namespace

QList<Progress> ProgressReader::feed(const QByteArray &bytes)
{
    QList<Progress> blocks;
    for (const QByteArray &line : takeLines(m_pending, bytes)) {
        const qsizetype eq = line.indexOf('=');
        if (eq <= 0)
            continue;
        const QByteArray key = line.left(eq);
        const QByteArray value = line.mid(eq + 1).trimmed();
        bool ok = false;
        if (key == "total_size") {
            const qint64 n = value.toLongLong(&ok);
            if (ok)
                m_current.totalBytes = n;
        } else if (key == "out_time_us") {
            const qint64 us = value.toLongLong(&ok);
            if (ok && us >= 0)
                m_current.seconds = double(us) / 1e6;
        } else if (key == "progress") {
            m_current.finished = value == "end";
            blocks << m_current;
        }
    }
    return blocks;
}

QString statusLine(const Progress &progress)
{
    const double kB = double(progress.totalBytes) / 1024.0;
    QString line = QString::asprintf("size=%8.0fkB time=%.2f bitrate=", kB, progress.seconds);
    if (progress.seconds > 0)
        line += QString::asprintf("%6.1fkbits/s", double(progress.totalBytes) * 8.0 / 1000.0 / progress.seconds);
    else
        line += QStringLiteral("N/A");
    return line;
}

QString wmaProgressLine(const Progress &progress, double durationSeconds)
{
    const qint64 kB = (progress.totalBytes + 512) / 1024;
    if (durationSeconds <= 0)
        return QString::asprintf("Encoding WMA: %.1f s, %lld kB", progress.seconds, kB);
    const double share = progress.finished ? 1.0 : std::min(progress.seconds / durationSeconds, 1.0);
    return QString::asprintf("Encoding WMA: %d%% (%.1f of %.1f s), %lld kB", int(share * 100.0), progress.seconds,
                             durationSeconds, kB);
}

void DiagnosticReader::feed(const QByteArray &bytes)
{
    for (const QByteArray &line : takeLines(m_pending, bytes))
        takeLine(QString::fromUtf8(line));
}

void DiagnosticReader::takeLine(const QString &line)
{
    // "[context @ 0x...] [level] message" or "[level] message".
    static const QRegularExpression levelled(QStringLiteral(R"(^(?:\[(\S+) @ [^\]]*\] )?\[(\w+)\] (.*)$)"));
    static const QRegularExpression duration(QStringLiteral(R"(^\s*Duration: (\d+):(\d\d):(\d\d(?:\.\d+)?))"));
    const QRegularExpressionMatch m = levelled.match(line);
    const QString message = m.hasMatch() ? m.captured(3).trimmed() : line;
    if (!message.isEmpty()) {
        // The context ("[mp2 @ 0x...] ") stays, the level goes.
        m_lastLines.append(m.hasMatch() ? line.left(m.capturedStart(2) - 1) + message : line);
        if (m_lastLines.size() > kLastLines)
            m_lastLines.removeFirst();
    }
    if (!m.hasMatch())
        return;
    const QString level = m.captured(2);
    if (level == QLatin1String("error") || level == QLatin1String("fatal") || level == QLatin1String("panic")) {
        if (!message.isEmpty())
            m_errors.append({m.captured(1), message});
        return;
    }
    const QRegularExpressionMatch d = duration.match(message);
    if (m_duration == 0 && d.hasMatch())
        m_duration = d.captured(1).toDouble() * 3600 + d.captured(2).toDouble() * 60 + d.captured(3).toDouble();
}

QString failureLine(const FailedRun &run)
{
    if (run.errors.isEmpty()) {
        if (run.lastLines.isEmpty())
            return QStringLiteral("ffmpeg failed without giving a reason (status %1)").arg(run.exitCode);
        QString last = run.lastLines.last();
        last.replace(run.temporary, run.output);
        return QStringLiteral("ffmpeg failed with status %1: %2").arg(run.exitCode).arg(last);
    }
    for (const Diagnostic &error : run.errors) {
        for (const QString &file : run.sourceFiles) {
            if (error.message.startsWith(file + QLatin1String(": ")))
                return QStringLiteral("cannot read the source \"%1\": %2").arg(file, error.message.mid(file.size() + 2));
        }
        if (error.message.startsWith(QLatin1String("Stream map")) && error.message.contains(QLatin1String("matches no streams")))
            return QStringLiteral("the source \"%1\" holds no audio").arg(run.sourceFiles.join(QStringLiteral("\", \"")));
        if (!run.encoder.isEmpty() && error.context == run.encoder)
            return QStringLiteral("the %1 encoder refuses these settings: %2").arg(run.encoder, error.message);
    }
    QString first = run.errors.first().message;
    first.replace(run.temporary, run.output);
    if (run.encodedSeconds <= 0)
        return QStringLiteral("no audio could be decoded from \"%1\": %2").arg(run.sourceFiles.join(QStringLiteral("\", \"")), first);
    return QStringLiteral("the encode failed after %1 s: %2").arg(run.encodedSeconds, 0, 'f', 2).arg(first);
}

} // namespace tonmill::run
