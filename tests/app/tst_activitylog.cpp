#include "app/ActivityLog.h"
#include "platform/ProcessRegistry.h"
#include "process/CommandLine.h"
#include "process/cStdIO.h"
#include "support/TestPaths.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace tonmill;

namespace {

// A clock that shows a fixed time which the test moves on.
struct FixedClock {
    QTime now{14, 3, 22};
    ActivityLog::Clock clock()
    {
        return [this] { return now; };
    }
};

} // namespace

class TestActivityLog : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void appendStampsAndPlacesTheCaret();
    void runnerEventsBecomeLines();
    void writeToEncoderLogsEachOutcome();
};

void TestActivityLog::appendStampsAndPlacesTheCaret()
{
    FixedClock clock;
    ActivityLog log(clock.clock());
    QSignalSpy changed(&log, &ActivityLog::changed);

    // The first line has no blank line before it.
    QCOMPARE(log.append(QStringLiteral(" -> Process Completed!")), 30);
    QCOMPARE(log.text(), QStringLiteral("14:03:22 -> Process Completed!\r\n"));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed[0][0].toString(), log.text());
    QCOMPARE(changed[0][1].value<qsizetype>(), 30);

    // 24-hour time with leading zeros; each line ends with CR LF, the caret
    // stands before the last one.
    clock.now = QTime(0, 5, 9);
    const qsizetype caret = log.append(QStringLiteral(" -> Configuration: OK"));
    clock.now = QTime(23, 59, 59);
    log.append(QStringLiteral(" -> Tonmill turned off by user."));
    QCOMPARE(log.text(), QStringLiteral("14:03:22 -> Process Completed!\r\n"
                                        "00:05:09 -> Configuration: OK\r\n"
                                        "23:59:59 -> Tonmill turned off by user.\r\n"));
    QCOMPARE(caret, 32 + 29);
    QCOMPARE(changed.last()[1].value<qsizetype>(), log.text().size() - 2);

    // A line without a time, as the date that opens a run.
    ActivityLog dated(clock.clock());
    QCOMPARE(dated.appendLine(QStringLiteral("22.11.2025")), 10);
    dated.append(QStringLiteral(" -> Version verification: OK"));
    QCOMPARE(dated.text(), QStringLiteral("22.11.2025\r\n23:59:59 -> Version verification: OK\r\n"));
}

void TestActivityLog::runnerEventsBecomeLines()
{
    FixedClock clock;
    ActivityLog log(clock.clock());
    ProcessRegistry registry;
    cStdIO io(registry);
    logRunnerEvents(io, log);

    // A run that ends by itself.
    io.ExecuteCommand(test::testChildLine({QStringLiteral("silent"), QStringLiteral("0")}));
    QCOMPARE(log.text(), QStringLiteral("14:03:22 -> Process Completed!\r\n"));

    // A program that cannot start, and no command line at all.
    ActivityLog errors(clock.clock());
    cStdIO failing(registry);
    logRunnerEvents(failing, errors);
    CommandLineBuilder missing;
    missing.quoted(QStringLiteral("/nonexistent/ffmpeg"));
    failing.ExecuteCommand(missing.build());
    cStdIO empty(registry);
    logRunnerEvents(empty, errors);
    empty.ExecuteCommand();
    QCOMPARE(errors.text(), QStringLiteral("14:03:22 -> Error #406: CreateProcess failed.\r\n"
                                           "14:03:22 -> Error #401: Command Line empty.\r\n"));

    // A run that is cancelled.
    ActivityLog aborted(clock.clock());
    cStdIO cancelled(registry);
    logRunnerEvents(cancelled, aborted);
    connect(&cancelled, &cStdIO::GotData, this, [&] { cancelled.Cancel(); });
    cancelled.ExecuteCommand(test::testChildLine({QStringLiteral("sleep"), QStringLiteral("30000")}));
    QCOMPARE(aborted.text(), QStringLiteral("14:03:22 -> Encoding Aborted!\r\n"));

    // A child that outlives every attempt to end it cannot be made here; the
    // runner's event stands in for it.
    ActivityLog failed(clock.clock());
    cStdIO stuck(registry);
    logRunnerEvents(stuck, failed);
    Q_EMIT stuck.CancelFail();
    QCOMPARE(failed.text(), QStringLiteral("14:03:22 -> Cancel failed to end program!\r\n"));
}

void TestActivityLog::writeToEncoderLogsEachOutcome()
{
    FixedClock clock;
    ActivityLog log(clock.clock());
    ProcessRegistry registry;
    cStdIO io(registry);

    // Nothing running: nothing is sent.
    QCOMPARE(writeToEncoder(io, log, QStringLiteral("q")), -1);
    QCOMPARE(log.text(), QStringLiteral("14:03:22 -> The application isn't encoding anything!\r\n"));

    // A running encoder gets the line and CR LF; the count is the line's.
    ActivityLog sent(clock.clock());
    qint32 result = 0;
    QTimer::singleShot(50, this, [&] { result = writeToEncoder(io, sent, QStringLiteral("abc")); });
    const QString echoed = io.ExecuteCommand(test::testChildLine({QStringLiteral("readhex"), QStringLiteral("5")}));
    QCOMPARE(result, 3);
    QCOMPARE(echoed, QStringLiteral("GOT 6162630d0a\n"));
    QCOMPARE(sent.text(), QStringLiteral("14:03:22 -> Successfully wrote 3 bytes!\r\n"));

    // The run is still active but its child has already gone: the write fails.
    ActivityLog failed(clock.clock());
    bool tried = false;
    connect(&io, &cStdIO::GotData, this, [&] {
        if (tried)
            return;
        tried = true;
        QTest::qWait(300); // lets the runner's process notice the exit
        result = writeToEncoder(io, failed, QStringLiteral("abc"));
    });
    io.ExecuteCommand(test::testChildLine({QStringLiteral("write"), QStringLiteral("10")}));
    QVERIFY(tried);
    QCOMPARE(result, -1);
    QCOMPARE(failed.text(), QStringLiteral("14:03:22 -> Failed to write!\r\n"));
}

QTEST_GUILESS_MAIN(TestActivityLog)
#include "tst_activitylog.moc"
