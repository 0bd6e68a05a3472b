// Child processes run through cStdIO and ReadOutput (and its console pane), the ways they end (only
// this program's own ever are), and the progress read from an encoder's output.
#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "process/CommandLine.h"
#include "process/ConsolePane.h"
#include "process/KillApp.h"
#include "process/ProgressMonitor.h"
#include "process/ReadOutput.h"
#include "process/cKillProcess.h"
#include "process/cStdIO.h"
#include "support/TestPaths.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <limits>

using namespace tonmill;
using namespace Qt::Literals::StringLiterals;

namespace {

CommandLine child(const QString &mode, const QString &argument = {}, const QString &more = {})
{
    return test::testChildLine(more.isNull() ? QStringList{mode, argument} : QStringList{mode, argument, more});
}

// The number after the word in the child's output ("PID 12 CHILD 13").
qint64 numberAfter(const QString &text, const QString &word)
{
    const QStringList words = text.simplified().split(u' ');
    const qsizetype at = words.indexOf(word);
    return at >= 0 ? words.value(at + 1).toLongLong() : 0;
}

bool goneWithin(qint64 pid, qint64 ms)
{
    return QTest::qWaitFor([pid] { return !isProcessAlive(pid); }, int(std::max<qint64>(ms, 1)));
}

// A process of the test child's image that this program's registry knows nothing of.
struct Stranger : QProcess {
    Stranger()
    {
        start(test::testProgram(u"tonmill-test-child"_s), {u"sleep"_s, u"30000"_s});
        waitForStarted();
    }
    ~Stranger() override
    {
        kill();
        waitForFinished();
    }
    qint64 pid() const { return processId(); }
};

// The reader's events from one run of the command, an error as "error NUMBER: TEXT".
struct Run {
    QStringList events;
    QStringList chunks;
    Run(ReadOutput &reader, const CommandLine &command, const std::function<void(const QString &)> &onChunk = {})
    {
        QObject context;
        QObject::connect(&reader, &ReadOutput::Starting, &context, [this] { events << u"starting"_s; });
        QObject::connect(&reader, &ReadOutput::GotChunk, &context, [&, this](const QString &c, bool last) {
            events << (last ? u"last"_s : u"chunk"_s);
            chunks << c;
            if (onChunk)
                onChunk(c);
        });
        QObject::connect(&reader, &ReadOutput::Complete, &context, [this] { events << u"complete"_s; });
        QObject::connect(&reader, &ReadOutput::Canceled, &context, [this] { events << u"canceled"_s; });
        QObject::connect(&reader, &ReadOutput::Error, &context,
                         [this](const QString &t, qint32 n) { events << u"error %1: %2"_s.arg(n).arg(t); });
        reader.setSetCommand(command);
        reader.ProcessCommand();
    }
};

const QString kBefore = u"000.5%   Size: 100kB"_s; // the caption before a tick

// ffmpeg's status line as the encoder runner prints it.
QString statusLine(const QString &size, const QString &seconds)
{
    return u"size="_s + size.rightJustified(10, u' ') + u" time="_s + seconds + u" bitrate= 128.0kbits/s speed=41.2x    \r"_s;
}

ProgressDisplay tick(const QString &pane, std::optional<double> duration, const QString &format = u"5"_s)
{
    ProgressDisplay display;
    display.txtProgress = u"12"_s;
    display.PB1 = 7;
    display.Encoding = kBefore;
    display.lblWMAprogress = u"before"_s;
    progressTick(pane, format, duration, display);
    return display;
}

} // namespace

class TestProcesses : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void outputArrivesWholeAndInOrder();
    void errorsAndStates();
    void cancelEndsTheChildAndWhatItStarted();
    void killingSparesStrangers();
    void readOutputAndItsConsolePane();
    void statusLinesGivePercentSizeAndSeconds();
    void wmaLabelAndSecondsWritten();
};

void TestProcesses::outputArrivesWholeAndInOrder()
{
    ProcessRegistry registry;
    cStdIO io(registry);
    QStringList chunks;
    QStringList order;
    connect(&io, &cStdIO::GotData, this, [&](const QString &d) { chunks << d; order << u"data"_s; });
    connect(&io, &cStdIO::Complete, this, [&] { order << u"complete"_s; });
    QSignalSpy errors(&io, &cStdIO::Error);
    // Far more than a pipe holds, with a last line written just before exit.
    const QString result = io.ExecuteCommand(child(u"write"_s, u"200000"_s, u"LAST LINE\n"_s));
    QString expected;
    for (int i = 0; i < 200000; ++i)
        expected += (i % 64 == 63) ? u'\n' : QChar(u'A' + (i * 7 + i / 64) % 26);
    expected += u"LAST LINE\n"_s;
    QVERIFY(result == expected);
    QVERIFY(chunks.join(QString()) == expected);
    QCOMPARE(order.count(u"complete"_s), 1);
    QCOMPARE(order.last(), u"complete"_s);
    QVERIFY(errors.isEmpty() && io.Ready() && registry.live().isEmpty());

    // A silent child completes with nothing; a Complete handler may start the next run.
    QStringList results;
    connect(&io, &cStdIO::Complete, this, [&] {
        if (order.count(u"complete"_s) == 2)
            results << io.ExecuteCommand(child(u"args"_s, u"second"_s));
    });
    const qsizetype before = order.size();
    QVERIFY(io.ExecuteCommand(child(u"silent"_s, u"100"_s)).isEmpty());
    QCOMPARE(order.value(before), u"complete"_s); // no data before it
    QCOMPARE(results, QStringList{u"ARGC 1\nARG 7365636f6e64\n"_s}); // "second"

    // Input: the text and CR LF, only while a run is active.
    QCOMPARE(io.WriteData(u"abc"_s), -1);
    QList<qint32> written;
    QTimer::singleShot(50, this, [&] { written << io.WriteData(u"abc"_s) << io.WriteData(QString()); });
    QCOMPARE(io.ExecuteCommand(child(u"readhex"_s, u"7"_s)), u"GOT 6162630d0a0d0a\n"_s);
    QCOMPARE(written, (QList<qint32>{3, 0}));
}

void TestProcesses::errorsAndStates()
{
    ProcessRegistry registry;
    cStdIO io(registry);
    QList<int> numbers;
    QStringList texts;
    connect(&io, &cStdIO::Error, this, [&](qint16 n, const QString &t) { numbers << n; texts << t; });
    QSignalSpy complete(&io, &cStdIO::Complete);
    // 401: nothing stored and nothing given; the runner stays ready.
    QVERIFY(io.ExecuteCommand().isEmpty());
    QVERIFY(io.Ready());
    // 400 from inside GotData, 402 for a change of command line mid-run; the run carries on.
    const CommandLine first = child(u"write"_s, u"10000"_s, u"END\n"_s);
    QString nested = u"unset"_s;
    connect(&io, &cStdIO::GotData, this, [&] {
        if (nested != u"unset"_s)
            return;
        nested = io.ExecuteCommand(child(u"silent"_s, u"0"_s));
        io.setCommandLine(child(u"silent"_s, u"0"_s));
    });
    const QString result = io.ExecuteCommand(first);
    QVERIFY(nested.isEmpty());
    QCOMPARE(io.commandLine().text, first.text);
    QVERIFY(result.size() == 10004 && result.endsWith(u"END\n"_s));
    QCOMPARE(complete.count(), 1);
    // 406: a program that cannot start, or a helper that says with status 127 that the encoder is
    // missing: never a completed run. Another status is the encoder's own.
    CommandLineBuilder missing;
    missing.quoted(u"/nonexistent/ffmpeg"_s).text(u" -version"_s);
    QVERIFY(io.ExecuteCommand(missing.build()).isEmpty());
    io.ExecuteCommand(child(u"exit"_s, u"127"_s, u"tonmill-run: error: cannot start \"/x/ffmpeg\": it does not exist"_s));
    QCOMPARE(io.launchFailure(), u"cannot start \"/x/ffmpeg\": it does not exist"_s);
    QCOMPARE(numbers, (QList<int>{401, 400, 402, 406, 406}));
    QCOMPARE(texts.mid(0, 4), (QStringList{u"Command Line empty."_s, u"Not ready to process another command."_s,
                                           u"Not ready to change settings."_s, u"CreateProcess failed."_s}));
    QCOMPARE(complete.count(), 1);
    io.ExecuteCommand(child(u"exit"_s, u"1"_s, u"refused"_s));
    QCOMPARE(numbers.size(), 5);
    QCOMPARE(complete.count(), 2);
    QVERIFY(io.exitCode() == 1 && !io.endedBySignal() && io.Ready());
}

void TestProcesses::cancelEndsTheChildAndWhatItStarted()
{
    // Children that obey SIGTERM, ignore it, or started one of their own: all gone within a second
    // of the cancel, which returns what was gathered. Cancel while ready does nothing.
    for (const QString &mode : {u"sleep"_s, u"stubborn"_s, u"spawn"_s}) {
        ProcessRegistry registry;
        cStdIO io(registry);
        io.Cancel();
        QSignalSpy success(&io, &cStdIO::CancelSuccess);
        QSignalSpy fail(&io, &cStdIO::CancelFail);
        QSignalSpy complete(&io, &cStdIO::Complete);
        QList<qint64> pids;
        QElapsedTimer sinceCancel;
        connect(&io, &cStdIO::GotData, this, [&](const QString &d) {
            if (!pids.isEmpty())
                return;
            pids << numberAfter(d, u"PID"_s) << numberAfter(d, u"CHILD"_s);
            sinceCancel.start();
            io.Cancel();
        });
        QVERIFY(io.ExecuteCommand(child(mode, u"30000"_s)).startsWith(u"PID "_s));
        QVERIFY2(pids.size() == 2 && pids[0] > 0 && (mode != u"spawn"_s || pids[1] > 0), qPrintable(mode));
        QVERIFY(success.count() == 1 && fail.isEmpty() && complete.isEmpty() && io.Ready());
        for (const qint64 pid : pids)
            QVERIFY2(pid == 0 || goneWithin(pid, 1000 - sinceCancel.elapsed()), qPrintable(mode));
    }

    // A child dies with the program that started it, even killed outright.
    QProcess driver;
    driver.start(test::testProgram(u"tonmill-run-driver"_s),
                 {test::testProgram(u"tonmill-test-child"_s), u"sleep"_s, u"30000"_s});
    QVERIFY(driver.waitForStarted());
    QString seen;
    QVERIFY(QTest::qWaitFor([&] {
        driver.waitForReadyRead(100);
        seen += QString::fromUtf8(driver.readAll());
        return seen.contains(u'\n');
    }, 10000));
    const qint64 pid = numberAfter(seen, u"PID"_s);
    QVERIFY2(pid > 0 && isProcessAlive(pid), qPrintable(seen));
    ::kill(static_cast<pid_t>(driver.processId()), SIGKILL);
    driver.waitForFinished();
    QVERIFY(goneWithin(pid, 2000));
}

void TestProcesses::killingSparesStrangers()
{
    // Image names compare without case and with ".exe" folded on both sides.
    const QList<std::tuple<const char *, const char *, bool>> names = {
        {"QuEnc", "quenc.exe", true}, {"QuEnc.exe", "QUENC.EXE", true}, {"ffmpeg", "FFMPEG.exe", true},
        {"MyQuEncoder", "QuEnc.exe", true}, {"QuEn", "QuEnc.exe", false}, {"cscript", "ffmpeg.exe", false}};
    for (const auto &[image, wanted, matches] : names)
        QVERIFY2(imageNameMatches(QLatin1String(image), QLatin1String(wanted)) == matches, image);

    // By name, from inside a run: our own child ends, a stranger of the same image stays.
    Stranger stranger;
    ProcessRegistry registry;
    cStdIO io(registry);
    qint64 ours = 0;
    connect(&io, &cStdIO::GotData, this, [&](const QString &d) {
        ours = numberAfter(d, u"PID"_s);
        QCOMPARE(KillByName(registry, u"TONMILL-TEST-CHILD.EXE"_s), QString());
    });
    QSignalSpy complete(&io, &cStdIO::Complete);
    QElapsedTimer t;
    t.start();
    io.ExecuteCommand(child(u"sleep"_s, u"30000"_s));
    QVERIFY(t.elapsed() < 10000);
    QCOMPARE(complete.count(), 1); // the child ended; nobody cancelled
    QVERIFY(ours > 0 && ours != stranger.pid() && goneWithin(ours, 1000));
    KillByName(registry, u"tonmill-test-child"_s);

    // By id: a stranger is refused.
    cKillProcess killer(registry);
    QVERIFY(killer.PIDInUse(stranger.pid()) && !killer.KillProcess(stranger.pid()) && !KillById(registry, stranger.pid()));
    QVERIFY(!killer.PIDInUse(999999999) && !killer.KillProcess(999999999));

    // One recorded by an earlier run is ended; one recorded with another start time is not ours.
    QTemporaryDir dir;
    const QString file = dir.filePath(u"children"_s);
    Stranger leftOver;
    ProcessRegistry(file).add(leftOver.pid(), u"QuEnc"_s);
    QFile records(file);
    QVERIFY(records.open(QIODevice::Append));
    records.write(QByteArray::number(stranger.pid()) + '\t' + QByteArray::number(processStartTime(stranger.pid()) + 1)
                  + "\tQuEnc\n");
    records.close();
    ProcessRegistry later(file);
    QCOMPARE(later.live().size(), 1);
    KillByName(later, u"quenc.exe"_s);
    QVERIFY(goneWithin(leftOver.pid(), 1000));
    KillByName(later, u"quenc.exe"_s);
    QTest::qWait(100); // what was sent to the stranger has had its time
    QVERIFY(isProcessAlive(stranger.pid()));
}

void TestProcesses::readOutputAndItsConsolePane()
{
    ProcessRegistry registry;
    ReadOutput reader(registry);
    // Nothing running to cancel, nothing set, a program that cannot start.
    QSignalSpy cancelled(&reader, &ReadOutput::Error);
    reader.CancelProcess();
    QCOMPARE(cancelled.value(0), (QVariantList{u"Not currently processing a command!"_s, 1202}));
    CommandLineBuilder missing;
    missing.quoted(u"/nonexistent/mediainfo"_s).text(u" "_s).quoted(u"/x.mp3"_s);
    const Run refused(reader, {});
    const Run notStarted(reader, missing.build());
    QCOMPARE(refused.events, QStringList{u"error 1200: Invalid Command."_s});
    QCOMPARE(notStarted.events.size(), 1);
    QVERIFY(notStarted.events[0].endsWith(u": CreateProcess failed."_s) && !notStarted.events[0].startsWith(u"error 0:"_s));
    QVERIFY(!reader.processing());

    // Chunks, the closing chunk, Complete; a second command from a chunk handler is refused.
    int nested = 0;
    const Run written(reader, test::testChildLine({u"write"_s, u"1000"_s, u"TAIL\n"_s}), [&](const QString &) {
        if (nested++ == 0)
            reader.ProcessCommand();
    });
    QCOMPARE(written.events.first(), u"starting"_s);
    QCOMPARE(written.events.mid(written.events.size() - 2), (QStringList{u"last"_s, u"complete"_s}));
    QVERIFY(written.events.count(u"chunk"_s) >= 4);
    QCOMPARE(written.events.filter(u"error"_s), QStringList{u"error 1201: Currently processing a command!"_s});
    QCOMPARE(written.chunks.join(QString()).size(), 1005);
    QVERIFY(written.chunks.join(QString()).endsWith(u"TAIL\n"_s));
    QVERIFY(!reader.processing() && registry.live().isEmpty());
    const Run silent(reader, test::testChildLine({u"silent"_s, u"50"_s}));
    QCOMPARE(silent.events, (QStringList{u"starting"_s, u"last"_s, u"complete"_s}));
    QCOMPARE(silent.chunks, QStringList{QString()});

    // A helper's "missing" or "unusable" status is a failed start with its reason; others complete.
    const QString failed = u"error %1: CreateProcess failed."_s;
    const QList<std::pair<int, QStringList>> ends = {
        {127, {u"starting"_s, u"chunk"_s, failed.arg(ENOENT)}},
        {126, {u"starting"_s, u"chunk"_s, failed.arg(EACCES)}},
        {1, {u"starting"_s, u"chunk"_s, u"last"_s, u"complete"_s}},
    };
    for (const auto &[status, events] : ends) {
        const Run ended(reader, test::testChildLine({u"exit"_s, QString::number(status), u"mediainfo: error: no MediaInfo here"_s}));
        QCOMPARE(ended.events, events);
        QCOMPARE(reader.exitCode(), status);
        QVERIFY(!reader.endedBySignal());
        if (status != 1)
            QCOMPARE(reader.launchFailure(), u"no MediaInfo here"_s);
    }

    // A cancel ends even a child that ignores the polite signal.
    qint64 pid = 0;
    QElapsedTimer t;
    t.start();
    const Run run(reader, test::testChildLine({u"stubborn"_s, u"30000"_s}), [&](const QString &c) {
        if (c.startsWith(u"PID "_s)) {
            pid = c.mid(4).trimmed().toLongLong();
            reader.CancelProcess();
        }
    });
    QVERIFY(t.elapsed() < 5000);
    QVERIFY(pid > 0 && !isProcessAlive(pid));
    QCOMPARE(run.events.last(), u"canceled"_s);
    QVERIFY(!run.events.contains(u"complete"_s));

    ConsolePane pane(u"/opt/tonmill"_s);
    pane.complete();
    QCOMPARE(pane.text(), u"C:\\> "_s);
    pane.starting(u"\"/opt/tonmill/Tools/MediaInfo/mediainfo\" \"/m/a b.mp3\""_s);
    pane.gotChunk(u"/opt/tonmill\r\n"_s); // the folder itself never shows
    pane.gotChunk(u"General #0\r\nFormat  : MPEG\n"_s);
    pane.gotChunk(QString(QChar(12)));
    pane.complete();
    QCOMPARE(pane.text(), u"C:\\> \"/opt/tonmill/Tools/MediaInfo/mediainfo\" \"/m/a b.mp3\"\r\nC:\\\r\n"
                          "General #0\r\nFormat  : MPEG\r\n\x0c\r\n"_s + ConsolePane::banner() + u"\r\nC:\\> "_s);
    // Short chunks are text, whatever they hold.
    ConsolePane shortChunks(u"/"_s);
    shortChunks.gotChunk(u"/\n"_s);
    QCOMPARE(shortChunks.text(), u"/\r\n"_s);
}

void TestProcesses::statusLinesGivePercentSizeAndSeconds()
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // The pane, the duration, the text field (the bar's value where it is a number), the caption.
    const QList<std::tuple<QString, std::optional<double>, QString, QString>> cases = {
        // 33 of 65 s is 51 %, shown divided by ten; halves round away from zero, the duration too.
        {statusLine(u"512kB"_s, u"32.65"_s), 65.3, u"33"_s, u"005.1%   Size: 512kB"_s},
        {statusLine(u"12kB"_s, u"2.50"_s), 100, u"3"_s, u"000.3%   Size: 12kB"_s},
        {statusLine(u"12kB"_s, u"1.00"_s), 8, u"1"_s, u"001.3%   Size: 12kB"_s},
        {statusLine(u"12kB"_s, u"1.00"_s), 7.5, u"1"_s, u"001.3%   Size: 12kB"_s},
        {statusLine(u"2048kB"_s, u"120.00"_s), 120, u"120"_s, u"010.0%   Size: 2048kB"_s},
        {statusLine(u"2048kB"_s, u"1200.00"_s), 120, u"1200"_s, u"100.0%   Size: 2048kB"_s},
        {statusLine(u"0kB"_s, u"0.00"_s), 120, u"0"_s, u"000.0%   Size: 0kB"_s},
        // The nine characters behind "time=" hold short seconds with the start of the next word.
        {statusLine(u"512kB"_s, u"5.00"_s), 100000, u"5"_s, u"000.0%   Size: 512kB"_s},
        {statusLine(u"512kB"_s, u"132.49"_s), 100000, u"132"_s, u"000.0%   Size: 512kB"_s},
        {statusLine(u"512kB"_s, u"1132.50"_s), 100000, u"1133"_s, u"000.1%   Size: 512kB"_s},
        {statusLine(u"512kB"_s, u"11132.50"_s), 100000, u"11133"_s, u"001.1%   Size: 512kB"_s},
        {statusLine(u"512kB"_s, u"111132.50"_s), 100000, u"111133"_s, u"011.1%   Size: 512kB"_s},
        // A size that fills all ten columns is not taken for a status line: the size shows 0kb.
        {statusLine(u"10485760kB"_s, u"600.00"_s), 1200, u"600"_s, u"005.0%   Size: 0kb"_s},
        // No duration, or under half a second: the caption stays, the elapsed time is shown.
        {statusLine(u"512kB"_s, u"32.65"_s), {}, u"33"_s, kBefore}, {statusLine(u"512kB"_s, u"32.65"_s), 0.0, u"33"_s, kBefore},
        {statusLine(u"512kB"_s, u"32.65"_s), 0.4, u"33"_s, kBefore}, {statusLine(u"512kB"_s, u"32.65"_s), nan, u"33"_s, kBefore},
        {statusLine(u"512kB"_s, u"32.65"_s), 0.5, u"33"_s, u"330.0%   Size: 512kB"_s},
        // The encoder's banner, an empty pane, a short one: the bar and caption keep what they showed.
        {u"ffmpeg version 5.1.6-0+deb12u1 Copyright (c) 2000-2024 the FFmpeg developers\n"_s, 1200, u"0+deb12u1"_s, kBefore},
        {QString(), 1200, QString(), kBefore}, {u"size=     512kB ti"_s, 1200, QString(), kBefore},
    };
    for (const auto &[pane, duration, shown, encoding] : cases) {
        const ProgressDisplay d = tick(pane, duration);
        QCOMPARE(d.txtProgress, shown);
        bool number = false;
        const int seconds = shown.toInt(&number);
        QCOMPARE(d.PB1, number ? seconds : 7);
        QCOMPARE(d.Encoding, encoding);
        QCOMPARE(d.lblWMAprogress, u"before"_s);
    }
}

void TestProcesses::wmaLabelAndSecondsWritten()
{
    // WMA shows only its label: three blanks become two, once from the left; cut to 63 characters,
    // and everything from a "[" on pushed out of sight.
    const QString longText = u"Pass 1 of 1: "_s + QString(70, u'x');
    const QList<std::pair<QString, QString>> labels = {
        {u"Encoding:      25%    done"_s, u"Encoding:    25%   done"_s},
        {longText, longText.left(63)},
        {u"42% [=====>    ]"_s, u"42% "_s + QString(97, u' ') + u"=====>   ]"_s},
    };
    for (const auto &[pane, label] : labels) {
        const ProgressDisplay d = tick(pane, 100, u"7"_s);
        QCOMPARE(d.lblWMAprogress, label);
        QVERIFY(d.txtProgress == u"12"_s && d.PB1 == 7 && d.Encoding == kBefore);
    }

    // The seconds written (watched for a runaway): a chunk's last progress line, in either encoder's words.
    const QList<std::pair<QString, std::optional<double>>> written = {
        {u"Encoding WMA: 45% (27.5 of 61.0 s), 210 kB"_s, 27.5},
        {u"Encoding WMA: 3.0 s, 20 kB"_s, 3.0},
        {statusLine(u"1kB"_s, u"1.00"_s) + u"\n"_s + statusLine(u"9kB"_s, u"912.25"_s), 912.25},
        {u"Encoding a.wav to b.mp3: libmp3lame, 128 kbit/s"_s, std::nullopt},
    };
    for (const auto &[chunk, seconds] : written)
        QCOMPARE(encodedSeconds(chunk), seconds);
}

QTEST_GUILESS_MAIN(TestProcesses)
#include "tst_processes.moc"
