// The activity log's lines, the runner's events and the writes to an encoder
// as it logs them, and the pacing of what screen readers are told of a job.
#include "app/ActivityLog.h"
#include "app/ProgressAnnouncer.h"
#include "platform/ProcessRegistry.h"
#include "process/cStdIO.h"
#include "support/TestPaths.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <functional>

using namespace tonmill;
using namespace Qt::StringLiterals;

class TestActivityLog : public QObject {
    Q_OBJECT
    // A clock that shows a fixed time which the test moves on.
    QTime m_now{14, 3, 22};
    ActivityLog::Clock clock()
    {
        return [this] { return m_now; };
    }
private Q_SLOTS:
    void init() { m_now = QTime(14, 3, 22); }
    void appendStampsAndPlacesTheCaret();
    void runnerEventsAndWritesBecomeLines();
    void progressIsToldAtMostOnceASecond();
};

void TestActivityLog::appendStampsAndPlacesTheCaret()
{
    ActivityLog log(clock());
    QSignalSpy changed(&log, &ActivityLog::changed);
    // The first line has no blank line before it.
    QCOMPARE(log.append(u" -> Process Completed!"_s), 30);
    QVERIFY(changed.count() == 1 && changed[0][0].toString() == u"14:03:22 -> Process Completed!\r\n"_s && changed[0][1].value<qsizetype>() == 30);
    // 24-hour time with leading zeros; each line ends with CR LF, the caret
    // stands before the last one.
    m_now = QTime(0, 5, 9);
    QCOMPARE(log.append(u" -> Configuration: OK"_s), 32 + 29);
    m_now = QTime(23, 59, 59);
    log.append(u" -> Tonmill turned off by user."_s);
    QCOMPARE(log.text(), u"14:03:22 -> Process Completed!\r\n00:05:09 -> Configuration: OK\r\n23:59:59 -> Tonmill turned off by user.\r\n"_s);
    QCOMPARE(changed.last()[1].value<qsizetype>(), log.text().size() - 2);
    // A line without a time, as the date that opens a run.
    ActivityLog dated(clock());
    QCOMPARE(dated.appendLine(u"22.11.2025"_s), 10);
    dated.append(u" -> Version verification: OK"_s);
    QCOMPARE(dated.text(), u"22.11.2025\r\n23:59:59 -> Version verification: OK\r\n"_s);
}

void TestActivityLog::runnerEventsAndWritesBecomeLines()
{
    ProcessRegistry registry;
    const auto logged = [&](const std::function<void(cStdIO &, ActivityLog &)> &run) {
        ActivityLog log(clock());
        cStdIO io(registry);
        logRunnerEvents(io, log);
        run(io, log);
        return QString(log.text()).remove(u"14:03:22 -> "_s);
    };
    // No command line at all. (A run's end, its cancel and a program that
    // cannot start are logged in the conversions of tst_realworld.)
    QCOMPARE(logged([](cStdIO &io, ActivityLog &) { io.ExecuteCommand(); }), u"Error #401: Command Line empty.\r\n"_s);
    // A child that outlives every attempt to end it cannot be made here; the
    // runner's event stands in for it.
    QCOMPARE(logged([](cStdIO &io, ActivityLog &) { Q_EMIT io.CancelFail(); }), u"Cancel failed to end program!\r\n"_s);

    // Nothing running: nothing is sent. A running encoder gets the line and
    // CR LF; the count is the line's.
    qint32 idle = 0, result = 0;
    QCOMPARE(logged([&](cStdIO &io, ActivityLog &log) {
                 idle = writeToEncoder(io, log, u"q"_s);
                 QTimer::singleShot(50, &io, [&] { result = writeToEncoder(io, log, u"abc"_s); });
                 QCOMPARE(io.ExecuteCommand(test::testChildLine({u"readhex"_s, u"5"_s})), u"GOT 6162630d0a\n"_s);
             }),
             u"The application isn't encoding anything!\r\nSuccessfully wrote 3 bytes!\r\nProcess Completed!\r\n"_s);
    QVERIFY(idle == -1 && result == 3);
    // The run is still active but its child has already gone: the write fails.
    QCOMPARE(logged([&](cStdIO &io, ActivityLog &log) {
                 bool tried = false;
                 connect(&io, &cStdIO::GotData, &io, [&] {
                     if (!std::exchange(tried, true)) {
                         QTest::qWait(300); // lets the runner's process notice the exit
                         result = writeToEncoder(io, log, u"abc"_s);
                     }
                 });
                 io.ExecuteCommand(test::testChildLine({u"write"_s, u"10"_s}));
             }).section(u"\r\n"_s, 0, 0),
             u"Failed to write!"_s);
    QCOMPARE(result, -1);
}

// At most once a second while a job runs, only what has changed, and its end once and at once.
void TestActivityLog::progressIsToldAtMostOnceASecond()
{
    const std::tuple<qint64, bool, int, const char *, bool> steps[] = {
        {0, false, 0, "", false},                        // idle
        {100, true, 0, "0.0%", true},                    // a job starts: at once
        {300, true, 5, "5.0%", false},                   // within the second
        {1099, true, 9, "9.0%", false},
        {1100, true, 9, "9.0%", true},                   // a second on: what stands now
        {2500, true, 9, "9.0%", false},                  // nothing new
        {2600, true, 9, "9.5%", true},                   // the text alone changed
        {2700, false, 20, "Conversion finished", true},  // the end, within the second
        {2800, false, 20, "Conversion finished", false}, // and only once
        {2850, true, 0, "0.0%", true},                   // the next job starts afresh
        {2900, false, 0, "Conversion failed", true}};
    ProgressAnnouncer announcer;
    for (const auto &[ms, running, value, text, told] : steps) {
        const auto said = announcer.update(ms, running, value, QString::fromUtf8(text));
        QVERIFY2(said.has_value() == told, qPrintable(QString::number(ms)));
        QVERIFY(!said || (said->value == value && said->text == QString::fromUtf8(text)));
    }
}

QTEST_GUILESS_MAIN(TestActivityLog)
#include "tst_activitylog.moc"
