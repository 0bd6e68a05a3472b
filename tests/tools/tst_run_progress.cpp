// The runner's status lines, read the way the progress monitor reads them
// (the latest chunk, characters 6-15 for the size and 22-30 for the time),
// give the elapsed seconds of short, long and very long encodes.
#include "platform/AppFolder.h"
#include "platform/ProcessRegistry.h"
#include "platform/ToolChain.h"
#include "process/CommandLine.h"
#include "process/cStdIO.h"
#include "support/TestPaths.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

using namespace tonmill;

namespace {

// The monitor's reading of one chunk: the elapsed seconds and the size text.
struct Cut {
    qint64 seconds = -1;
    QString size;
};

Cut cutColumns(const QString &chunk)
{
    Cut c;
    c.size = chunk.mid(5, 10);
    QString time = chunk.mid(21, 9);
    for (const char *tail : {" bitr", " bit", " bi", " b", " "})
        time.remove(QLatin1String(tail));
    bool ok = false;
    const double t = time.toDouble(&ok);
    if (ok)
        c.seconds = std::llround(t);
    return c;
}

bool makeSilence(const QString &file, const QString &seconds)
{
    QProcess p;
    p.start(QStringLiteral("ffmpeg"),
            {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"),
             QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("anullsrc=r=8000:cl=mono"),
             QStringLiteral("-t"), seconds, QStringLiteral("-c:a"), QStringLiteral("pcm_u8"), file});
    return p.waitForFinished(120000) && p.exitCode() == 0;
}

} // namespace

class TestRunProgress : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void statusColumnsGiveElapsedSeconds_data();
    void statusColumnsGiveElapsedSeconds();
    void wmaProgressFitsTheLabel();
};

void TestRunProgress::statusColumnsGiveElapsedSeconds_data()
{
    QTest::addColumn<QString>("duration");
    QTest::addColumn<qint64>("elapsed");
    QTest::newRow("under 10 s") << QStringLiteral("7.4") << qint64(7);
    QTest::newRow("over 100 s") << QStringLiteral("150.6") << qint64(151);
    QTest::newRow("over an hour") << QStringLiteral("3700.3") << qint64(3700);
}

void TestRunProgress::statusColumnsGiveElapsedSeconds()
{
    QFETCH(QString, duration);
    QFETCH(qint64, elapsed);
    QTemporaryDir dir;
    const QString source = dir.filePath(QStringLiteral("silence.wav"));
    const QString output = dir.filePath(QStringLiteral("copy.wav"));
    QVERIFY(makeSilence(source, duration));

    // The WAV line, 8-bit mono: the fastest encode that still runs the whole way.
    const CommandLine line = CommandLineBuilder()
                                 .quoted(QStringLiteral("/usr/bin/ffmpeg")).text(QStringLiteral(" -y -i ")).quoted(source)
                                 .text(QStringLiteral(" -vn -acodec pcm_u8 -vol 256 -ac 1 -ab 705 -f wav "))
                                 .quoted(output)
                                 .build();
    ProcessRegistry registry;
    cStdIO io(registry);
    QStringList statusChunks;
    connect(&io, &cStdIO::GotData, this, [&](const QString &chunk) {
        if (chunk.startsWith(QLatin1String("size=")))
            statusChunks << chunk;
    });
    io.ExecuteCommand(throughStandIns(line, AppFolder(test::builtAppDir())));
    QVERIFY(QFileInfo(output).size() > 0);
    QVERIFY(!statusChunks.isEmpty());

    for (const QString &chunk : statusChunks) {
        const Cut c = cutColumns(chunk);
        QVERIFY2(c.seconds >= 0 && c.seconds <= elapsed, qPrintable(chunk));
        QVERIFY2(c.size.startsWith(QLatin1Char(' ')) && c.size.endsWith(QLatin1String("kB")), qPrintable(chunk));
    }
    const Cut last = cutColumns(statusChunks.last());
    QCOMPARE(last.seconds, elapsed);
    const qint64 kB = last.size.chopped(2).trimmed().toLongLong();
    QVERIFY2(qAbs(kB - QFileInfo(output).size() / 1024) <= 1, qPrintable(statusChunks.last()));
}

void TestRunProgress::wmaProgressFitsTheLabel()
{
    QTemporaryDir dir;
    const QString source = dir.filePath(QStringLiteral("silence.wav"));
    const QString output = dir.filePath(QStringLiteral("out.wma"));
    QVERIFY(makeSilence(source, QStringLiteral("30")));
    CommandLineBuilder b;
    b.text(QStringLiteral("Cscript.exe ")).quoted(QStringLiteral("C:\\x\\tools\\WMCmd.vbs"))
        .text(QStringLiteral(" -input ")).quoted(source).text(QStringLiteral(" -profile a32"));
    for (const char *tag : {"title", "title", "author", "album", "year", "description", "genre", "trackno"})
        b.text(QStringLiteral(" -%1 ").arg(QLatin1String(tag))).quoted(QString());
    const CommandLine line = b.text(QStringLiteral(" -output ")).quoted(output).build();
    ProcessRegistry registry;
    cStdIO io(registry);
    QStringList progress;
    connect(&io, &cStdIO::GotData, this, [&](const QString &chunk) {
        if (chunk.startsWith(QLatin1String("Encoding WMA:")))
            progress << chunk.section(QLatin1Char('\n'), 0, 0);
    });
    io.ExecuteCommand(throughStandIns(line, AppFolder(test::builtAppDir())));
    QVERIFY(QFileInfo(output).size() > 0);
    QVERIFY(!progress.isEmpty());
    // The label shows 63 characters; everything from a "[" on is pushed out.
    for (const QString &text : progress)
        QVERIFY2(text.section(QLatin1Char('['), 0, 0).size() < 63, qPrintable(text));
    QVERIFY2(progress.last().startsWith(QLatin1String("Encoding WMA: 100% (30.0 of 30.0 s)")), qPrintable(progress.last()));
}

QTEST_GUILESS_MAIN(TestRunProgress)
#include "tst_run_progress.moc"
