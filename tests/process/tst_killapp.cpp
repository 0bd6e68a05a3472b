#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "process/CommandLine.h"
#include "process/KillApp.h"
#include "process/cKillProcess.h"
#include "process/cStdIO.h"
#include "support/TestPaths.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tonmill;

namespace {

QString child()
{
    return test::testProgram(QStringLiteral("tonmill-test-child"));
}

bool goneWithin(qint64 pid, int ms)
{
    QElapsedTimer t;
    t.start();
    while (isProcessAlive(pid)) {
        if (t.elapsed() > ms)
            return false;
        QTest::qWait(10);
    }
    return true;
}

// A process of the same image that this program's registry knows nothing of.
struct Stranger {
    QProcess process;
    Stranger()
    {
        process.start(child(), {QStringLiteral("sleep"), QStringLiteral("30000")});
        process.waitForStarted();
    }
    ~Stranger()
    {
        process.kill();
        process.waitForFinished();
    }
    qint64 pid() const { return process.processId(); }
};

QList<qint64> numbersAfter(const QString &text, const QString &word)
{
    QList<qint64> found;
    const QStringList words = text.simplified().split(QLatin1Char(' '));
    for (qsizetype i = 0; i + 1 < words.size(); ++i)
        if (words[i] == word)
            found << words[i + 1].toLongLong();
    return found;
}

} // namespace

class TestKillApp : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void nameComparison();
    void killByNameEndsOnlyOurOwn();
    void earlierRunIsRemembered();
    void killProcessRefusesStrangers();
    void cancelEndsWhatTheChildStarted();
    void childDiesWithKilledProgram();
};

void TestKillApp::nameComparison()
{
    QVERIFY(imageNameMatches(QStringLiteral("QuEnc"), QStringLiteral("quenc.exe")));
    QVERIFY(imageNameMatches(QStringLiteral("QuEnc.exe"), QStringLiteral("QUENC.EXE")));
    QVERIFY(imageNameMatches(QStringLiteral("ffmpeg"), QStringLiteral("FFMPEG.exe")));
    QVERIFY(imageNameMatches(QStringLiteral("MyQuEncoder"), QStringLiteral("QuEnc.exe"))); // containment
    QVERIFY(!imageNameMatches(QStringLiteral("QuEn"), QStringLiteral("QuEnc.exe")));
    QVERIFY(!imageNameMatches(QStringLiteral("cscript"), QStringLiteral("ffmpeg.exe")));
}

void TestKillApp::killByNameEndsOnlyOurOwn()
{
    Stranger stranger;
    QVERIFY(isProcessAlive(stranger.pid()));

    ProcessRegistry registry;
    cStdIO io(registry);
    qint64 ours = 0;
    connect(&io, &cStdIO::GotData, this, [&](const QString &d) {
        ours = numbersAfter(d, QStringLiteral("PID")).value(0);
        QCOMPARE(KillByName(registry, QStringLiteral("TONMILL-TEST-CHILD.EXE")), QString());
    });
    QSignalSpy complete(&io, &cStdIO::Complete);
    QElapsedTimer t;
    t.start();
    io.ExecuteCommand(test::testChildLine({QStringLiteral("sleep"), QStringLiteral("30000")}));
    QVERIFY(t.elapsed() < 10000);
    QCOMPARE(complete.count(), 1); // the child ended; nobody cancelled
    QVERIFY(ours > 0 && ours != stranger.pid());
    QVERIFY(goneWithin(ours, 1000));
    QTest::qWait(200);
    QVERIFY(isProcessAlive(stranger.pid()));

    // With nothing of ours running, the name finds nothing.
    KillByName(registry, QStringLiteral("tonmill-test-child"));
    QTest::qWait(100);
    QVERIFY(isProcessAlive(stranger.pid()));
}

void TestKillApp::earlierRunIsRemembered()
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("children"));
    Stranger leftOver;  // started by an "earlier run" below
    Stranger stranger;  // recorded with a start time that is not its own
    {
        ProcessRegistry earlier(file);
        earlier.add(leftOver.pid(), QStringLiteral("QuEnc"));
    }
    QFile f(file);
    QVERIFY(f.open(QIODevice::Append));
    f.write(QByteArray::number(stranger.pid()) + '\t' + QByteArray::number(processStartTime(stranger.pid()) + 1)
            + "\tQuEnc\n");
    f.close();

    ProcessRegistry later(file);
    QCOMPARE(later.live().size(), 1);
    KillByName(later, QStringLiteral("quenc.exe"));
    QVERIFY(goneWithin(leftOver.pid(), 1000));
    KillByName(later, QStringLiteral("quenc.exe"));
    QTest::qWait(200);
    QVERIFY(isProcessAlive(stranger.pid()));
}

void TestKillApp::killProcessRefusesStrangers()
{
    Stranger stranger;
    ProcessRegistry registry;
    cKillProcess killer(registry);
    QVERIFY(killer.PIDInUse(stranger.pid()));
    QVERIFY(!killer.KillProcess(stranger.pid()));
    QVERIFY(!KillById(registry, stranger.pid()));
    QTest::qWait(100);
    QVERIFY(isProcessAlive(stranger.pid()));
    QVERIFY(!killer.PIDInUse(999999999));
    QVERIFY(!killer.KillProcess(999999999));
}

void TestKillApp::cancelEndsWhatTheChildStarted()
{
    ProcessRegistry registry;
    cStdIO io(registry);
    qint64 grandchild = 0;
    connect(&io, &cStdIO::GotData, this, [&](const QString &d) {
        grandchild = numbersAfter(d, QStringLiteral("CHILD")).value(0);
        io.Cancel();
    });
    QSignalSpy success(&io, &cStdIO::CancelSuccess);
    io.ExecuteCommand(test::testChildLine({QStringLiteral("spawn"), QStringLiteral("30000")}));
    QCOMPARE(success.count(), 1);
    QVERIFY(grandchild > 0);
    QVERIFY(goneWithin(grandchild, 1000));
}

void TestKillApp::childDiesWithKilledProgram()
{
    QProcess driver;
    driver.start(test::testProgram(QStringLiteral("tonmill-run-driver")), {child(), QStringLiteral("sleep"), QStringLiteral("30000")});
    QVERIFY(driver.waitForStarted());
    QString seen;
    QElapsedTimer t;
    t.start();
    while (!seen.contains(QLatin1Char('\n')) && t.elapsed() < 10000) {
        driver.waitForReadyRead(100);
        seen += QString::fromUtf8(driver.readAll());
    }
    const qint64 pid = numbersAfter(seen, QStringLiteral("PID")).value(0);
    QVERIFY2(pid > 0, qPrintable(seen));
    QVERIFY(isProcessAlive(pid));
    QVERIFY(driver.processId() > 0);
    ::kill(static_cast<pid_t>(driver.processId()), SIGKILL);
    driver.waitForFinished();
    QVERIFY(goneWithin(pid, 2000));
}

QTEST_GUILESS_MAIN(TestKillApp)
#include "tst_killapp.moc"
