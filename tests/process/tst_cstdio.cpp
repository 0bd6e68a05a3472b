#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "process/CommandLine.h"
#include "process/cStdIO.h"
#include "support/TestPaths.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tonmill;

namespace {

// The bytes that "tonmill-test-child write N" produces.
QString pattern(long long n)
{
    QString s;
    s.reserve(n);
    for (long long i = 0; i < n; ++i)
        s += (i % 64 == 63) ? QLatin1Char('\n') : QLatin1Char(static_cast<char>('A' + (i * 7 + i / 64) % 26));
    return s;
}

qint64 pidFrom(const QString &output)
{
    const qsizetype at = output.indexOf(QStringLiteral("PID "));
    return at < 0 ? 0 : output.mid(at + 4).section(QLatin1Char('\n'), 0, 0).section(QLatin1Char(' '), 0, 0).toLongLong();
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

} // namespace

class TestCStdIO : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void chunksArriveInOrderAndWhole();
    void silentChildCompletesEmpty();
    void stateErrors();
    void missingProgramGives406();
    void cancelEndsTheChild();
    void writeDataSendsLineWithCrLf();
    void completeHandlerStartsNextRun();
    void hostileArgumentStaysOneArgument();
};

void TestCStdIO::chunksArriveInOrderAndWhole()
{
    ProcessRegistry registry;
    cStdIO io(registry);
    QStringList chunks;
    QStringList order;
    connect(&io, &cStdIO::GotData, this, [&](const QString &d) { chunks << d; order << QStringLiteral("data"); });
    connect(&io, &cStdIO::Complete, this, [&] { order << QStringLiteral("complete"); });
    QSignalSpy errors(&io, &cStdIO::Error);

    // Far more than a pipe holds, with a last line written just before exit.
    const long long size = 1'000'000;
    const QString result = io.ExecuteCommand(test::testChildLine({QStringLiteral("write"), QString::number(size), QStringLiteral("LAST LINE\n")}));

    const QString expected = pattern(size) + QStringLiteral("LAST LINE\n");
    QCOMPARE(result.size(), expected.size());
    QVERIFY(result == expected);
    QVERIFY(chunks.join(QString()) == expected);
    QVERIFY(chunks.size() >= size / cStdIO::kReadSize);
    for (const QString &c : chunks)
        QVERIFY(c.size() <= cStdIO::kReadSize);
    QCOMPARE(order.last(), QStringLiteral("complete"));
    QCOMPARE(order.count(QStringLiteral("complete")), 1);
    QCOMPARE(errors.count(), 0);
    QVERIFY(io.Ready());
    QVERIFY(registry.live().isEmpty());
}

void TestCStdIO::silentChildCompletesEmpty()
{
    ProcessRegistry registry;
    cStdIO io(registry);
    QSignalSpy data(&io, &cStdIO::GotData);
    QSignalSpy complete(&io, &cStdIO::Complete);
    const QString result = io.ExecuteCommand(test::testChildLine({QStringLiteral("silent"), QStringLiteral("100")}));
    QVERIFY(result.isEmpty());
    QCOMPARE(data.count(), 0);
    QCOMPARE(complete.count(), 1);
}

void TestCStdIO::stateErrors()
{
    ProcessRegistry registry;
    cStdIO io(registry);
    QList<int> numbers;
    QStringList texts;
    connect(&io, &cStdIO::Error, this, [&](qint16 n, const QString &t) { numbers << n; texts << t; });

    // 401: nothing stored and nothing given; the runner stays ready.
    QVERIFY(io.ExecuteCommand().isEmpty());
    QCOMPARE(numbers, QList<int>{401});
    QCOMPARE(texts.last(), QStringLiteral("Command Line empty."));
    QVERIFY(io.Ready());

    // 400 from inside GotData, 402 when the command line is changed mid-run;
    // the first run carries on to its end.
    const CommandLine first = test::testChildLine({QStringLiteral("write"), QStringLiteral("10000"), QStringLiteral("END\n")});
    bool tried = false;
    QString nestedResult = QStringLiteral("unset");
    CommandLine seenDuringRun;
    connect(&io, &cStdIO::GotData, this, [&] {
        if (tried)
            return;
        tried = true;
        nestedResult = io.ExecuteCommand(test::testChildLine({QStringLiteral("silent"), QStringLiteral("0")}));
        io.setCommandLine(test::testChildLine({QStringLiteral("silent"), QStringLiteral("0")}));
        seenDuringRun = io.commandLine();
    });
    QSignalSpy complete(&io, &cStdIO::Complete);
    const QString result = io.ExecuteCommand(first);
    QCOMPARE(numbers, (QList<int>{401, 400, 402}));
    QCOMPARE(texts[1], QStringLiteral("Not ready to process another command."));
    QCOMPARE(texts[2], QStringLiteral("Not ready to change settings."));
    QVERIFY(nestedResult.isEmpty());
    QCOMPARE(seenDuringRun.text, first.text);
    QCOMPARE(io.commandLine().text, first.text);
    QVERIFY(result.endsWith(QStringLiteral("END\n")));
    QCOMPARE(result.size(), 10004);
    QCOMPARE(complete.count(), 1);

    // Cancel while ready does nothing: the next run completes normally.
    io.Cancel();
    QSignalSpy cancelled(&io, &cStdIO::CancelSuccess);
    io.ExecuteCommand(test::testChildLine({QStringLiteral("silent"), QStringLiteral("0")}));
    QCOMPARE(complete.count(), 2);
    QCOMPARE(cancelled.count(), 0);
}

void TestCStdIO::missingProgramGives406()
{
    ProcessRegistry registry;
    cStdIO io(registry);
    QSignalSpy errors(&io, &cStdIO::Error);
    QSignalSpy complete(&io, &cStdIO::Complete);
    CommandLineBuilder b;
    b.quoted(QStringLiteral("/nonexistent/ffmpeg")).text(QStringLiteral(" -version"));
    QVERIFY(io.ExecuteCommand(b.build()).isEmpty());
    QCOMPARE(errors.count(), 1);
    QCOMPARE(errors[0][0].toInt(), 406);
    QCOMPARE(errors[0][1].toString(), QStringLiteral("CreateProcess failed."));
    QCOMPARE(complete.count(), 0);
    QVERIFY(io.Ready());

    // A helper that finds the encoder missing says so with status 127: a
    // failed start, never a completed run. Another status is the encoder's own.
    io.ExecuteCommand(test::testChildLine({QStringLiteral("exit"), QStringLiteral("127"),
                                           QStringLiteral("tonmill-run: error: cannot start \"/x/ffmpeg\": it does not exist")}));
    QCOMPARE(errors.count(), 2);
    QCOMPARE(errors[1][0].toInt(), 406);
    QCOMPARE(io.launchFailure(), QStringLiteral("cannot start \"/x/ffmpeg\": it does not exist"));
    QCOMPARE(complete.count(), 0);
    io.ExecuteCommand(test::testChildLine({QStringLiteral("exit"), QStringLiteral("1"), QStringLiteral("refused")}));
    QCOMPARE(errors.count(), 2);
    QCOMPARE(complete.count(), 1);
    QCOMPARE(io.exitCode(), 1);
    QVERIFY(!io.endedBySignal());
}

void TestCStdIO::cancelEndsTheChild()
{
    // A child that obeys SIGTERM and one that ignores it: both are gone within a
    // second of the cancel, and the run returns what it had gathered.
    for (const QString &mode : {QStringLiteral("sleep"), QStringLiteral("stubborn")}) {
        ProcessRegistry registry;
        cStdIO io(registry);
        QSignalSpy success(&io, &cStdIO::CancelSuccess);
        QSignalSpy fail(&io, &cStdIO::CancelFail);
        QSignalSpy complete(&io, &cStdIO::Complete);
        qint64 pid = 0;
        QElapsedTimer sinceCancel;
        connect(&io, &cStdIO::GotData, this, [&](const QString &d) {
            pid = pidFrom(d);
            sinceCancel.start();
            io.Cancel();
        });
        const QString result = io.ExecuteCommand(test::testChildLine({mode, QStringLiteral("30000")}));
        QVERIFY2(pid > 0, qPrintable(mode));
        QVERIFY(result.startsWith(QStringLiteral("PID ")));
        QCOMPARE(success.count(), 1);
        QCOMPARE(fail.count(), 0);
        QCOMPARE(complete.count(), 0);
        QVERIFY2(goneWithin(pid, 1000 - int(sinceCancel.elapsed())), qPrintable(mode));
        QVERIFY(io.Ready());
    }
}

void TestCStdIO::writeDataSendsLineWithCrLf()
{
    ProcessRegistry registry;
    cStdIO io(registry);
    QCOMPARE(io.WriteData(QStringLiteral("abc")), -1); // no run
    QList<qint32> results;
    QTimer::singleShot(50, this, [&] {
        results << io.WriteData(QStringLiteral("abc"));
        results << io.WriteData(QString());
    });
    const QString result = io.ExecuteCommand(test::testChildLine({QStringLiteral("readhex"), QStringLiteral("7")}));
    QCOMPARE(results, (QList<qint32>{3, 0}));
    QCOMPARE(result, QStringLiteral("GOT 6162630d0a0d0a\n"));
}

void TestCStdIO::completeHandlerStartsNextRun()
{
    ProcessRegistry registry;
    cStdIO io(registry);
    QStringList results;
    int completes = 0;
    connect(&io, &cStdIO::Complete, this, [&] {
        if (++completes == 1)
            results << io.ExecuteCommand(test::testChildLine({QStringLiteral("args"), QStringLiteral("second")}));
    });
    results.prepend(io.ExecuteCommand(test::testChildLine({QStringLiteral("args"), QStringLiteral("first")})));
    QCOMPARE(completes, 2);
    QCOMPARE(results.size(), 2);
    QCOMPARE(results[0], QStringLiteral("ARGC 1\nARG 6669727374\n")); // "first"
    QCOMPARE(results[1], QStringLiteral("ARGC 1\nARG 7365636f6e64\n")); // "second"
}

void TestCStdIO::hostileArgumentStaysOneArgument()
{
    QTemporaryDir dir;
    const QString hostile = QStringLiteral("a\"b $(touch x) `touch y`; touch z\nrm -rf q 'é'");
    ProcessRegistry registry;
    cStdIO io(registry);
    const CommandLine line = test::testChildLine({QStringLiteral("args"), hostile});
    QVERIFY(line.text.contains(hostile));
    const QString saved = QDir::currentPath();
    QDir::setCurrent(dir.path());
    const QString result = io.ExecuteCommand(line);
    QDir::setCurrent(saved);
    QCOMPARE(result, QStringLiteral("ARGC 1\nARG ") + QString::fromLatin1(hostile.toUtf8().toHex()) + QLatin1Char('\n'));
    QVERIFY(QDir(dir.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).isEmpty());
}

QTEST_GUILESS_MAIN(TestCStdIO)
#include "tst_cstdio.moc"
