// The pacing of what screen readers are told of a job: at most once a second
// while it runs, only what has changed, and its end once and at once.
#include "app/ProgressAnnouncer.h"

#include <QTest>

using namespace tonmill;

class TestProgressAnnouncer : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void pacesTheProgressAndTellsTheEndOnce();
};

void TestProgressAnnouncer::pacesTheProgressAndTellsTheEndOnce()
{
    struct Step {
        qint64 ms;
        bool running;
        int value;
        const char *text;
        bool told;
    };
    const Step steps[] = {
        {0, false, 0, "", false},                         // idle
        {100, true, 0, "0.0%", true},                     // a job starts: at once
        {300, true, 5, "5.0%", false},                    // within the second
        {1099, true, 9, "9.0%", false},
        {1100, true, 9, "9.0%", true},                    // a second on: what stands now
        {2500, true, 9, "9.0%", false},                   // nothing new
        {2600, true, 9, "9.5%", true},                    // the text alone changed
        {2700, false, 20, "Conversion finished", true},   // the end, within the second
        {2800, false, 20, "Conversion finished", false},  // and only once
        {2850, true, 0, "0.0%", true},                    // the next job starts afresh
        {2900, false, 0, "Conversion failed", true},
    };
    ProgressAnnouncer announcer;
    for (const Step &step : steps) {
        const auto told = announcer.update(step.ms, step.running, step.value, QString::fromUtf8(step.text));
        QVERIFY2(told.has_value() == step.told, qPrintable(QString::number(step.ms)));
        if (told) {
            QCOMPARE(told->value, step.value);
            QCOMPARE(told->text, QString::fromUtf8(step.text));
        }
    }
}

QTEST_GUILESS_MAIN(TestProgressAnnouncer)
#include "tst_progressannouncer.moc"
