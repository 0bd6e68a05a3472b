#include "support/TestFiles.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

namespace tonmill::test {

QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}

QString probeEntries(const QString &path, const QString &entries)
{
    QProcess p;
    p.start(QStringLiteral("ffprobe"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"), entries,
                                        QStringLiteral("-of"), QStringLiteral("csv=p=0"), path});
    p.waitForFinished(30000);
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}

double decodedSeconds(const QString &path)
{
    // One channel at a fixed rate, so that the byte count is the sample count.
    constexpr int kRate = 48000;
    QProcess p;
    p.start(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-nostdin"), QStringLiteral("-i"),
                                       QStringLiteral("file:") + path, QStringLiteral("-map"), QStringLiteral("0:a:0"),
                                       QStringLiteral("-ac"), QStringLiteral("1"), QStringLiteral("-ar"), QString::number(kRate),
                                       QStringLiteral("-f"), QStringLiteral("s16le"), QStringLiteral("pipe:1")});
    qint64 bytes = 0;
    while (p.state() != QProcess::NotRunning || p.bytesAvailable() > 0) {
        p.waitForReadyRead(100);
        bytes += p.readAllStandardOutput().size();
    }
    return p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0 ? double(bytes) / 2.0 / kRate : -1;
}

Loudness measureLoudness(const QString &path)
{
    QProcess meter;
    meter.start(QStringLiteral("ffmpeg"), {QStringLiteral("-hide_banner"), QStringLiteral("-nostats"), QStringLiteral("-i"), path,
                                           QStringLiteral("-af"), QStringLiteral("ebur128=peak=true"), QStringLiteral("-f"),
                                           QStringLiteral("null"), QStringLiteral("-")});
    meter.waitForFinished(300000);
    const QString err = QString::fromUtf8(meter.readAllStandardError());
    const QString summary = err.mid(err.lastIndexOf(QLatin1String("Summary:")));
    return {QRegularExpression(QStringLiteral(R"(I:\s+(\S+) LUFS)")).match(summary).captured(1).toDouble(),
            QRegularExpression(QStringLiteral(R"(Peak:\s+(\S+) dBFS)")).match(summary).captured(1).toDouble()};
}

double meanVolume(const QString &path, const QString &filters)
{
    QProcess p;
    p.start(QStringLiteral("ffmpeg"), {QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"), QStringLiteral("-i"), path,
                                       QStringLiteral("-af"), filters + QStringLiteral(",volumedetect"), QStringLiteral("-f"),
                                       QStringLiteral("null"), QStringLiteral("-")});
    p.waitForFinished(60000);
    const QRegularExpressionMatch m = QRegularExpression(QStringLiteral("mean_volume: (-?[0-9.]+) dB")).match(QString::fromUtf8(p.readAllStandardError()));
    return m.hasMatch() ? m.captured(1).toDouble() : qQNaN();
}

} // namespace tonmill::test
