#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "process/CommandLine.h"
#include "process/ConsolePane.h"
#include "process/ReadOutput.h"
#include "support/TestPaths.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <cerrno>
#include <tuple>

using namespace tonmill;

namespace {

// Records the control's events; its connections end with it.
struct Recorder {
    QObject context;
    QStringList events;
    QStringList chunks;
    QList<qint32> errors;
    QStringList errorTexts;
    explicit Recorder(ReadOutput &r)
    {
        QObject::connect(&r, &ReadOutput::Starting, &context, [this] { events << QStringLiteral("starting"); });
        QObject::connect(&r, &ReadOutput::GotChunk, &context, [this](const QString &c, bool last) {
            events << (last ? QStringLiteral("last") : QStringLiteral("chunk"));
            chunks << c;
        });
        QObject::connect(&r, &ReadOutput::Complete, &context, [this] { events << QStringLiteral("complete"); });
        QObject::connect(&r, &ReadOutput::Canceled, &context, [this] { events << QStringLiteral("canceled"); });
        QObject::connect(&r, &ReadOutput::Error, &context, [this](const QString &t, qint32 n) {
            events << QStringLiteral("error");
            errors << n;
            errorTexts << t;
        });
    }
};

} // namespace

class TestReadOutput : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void refusals();
    void chunksThenClosingChunkThenComplete();
    void cancelEndsTheChild();
    void consolePaneText();
};

void TestReadOutput::refusals()
{
    ProcessRegistry registry;
    ReadOutput reader(registry);
    Recorder rec(reader);
    reader.ProcessCommand(); // nothing set
    reader.CancelProcess();  // nothing running
    CommandLineBuilder missing;
    missing.quoted(QStringLiteral("/nonexistent/mediainfo")).text(QStringLiteral(" ")).quoted(QStringLiteral("/x.mp3"));
    reader.setSetCommand(missing.build());
    reader.ProcessCommand();
    QCOMPARE(rec.events, (QStringList{QStringLiteral("error"), QStringLiteral("error"), QStringLiteral("error")}));
    QCOMPARE(rec.errors.mid(0, 2), (QList<qint32>{1200, 1202}));
    QCOMPARE(rec.errorTexts, (QStringList{QStringLiteral("Invalid Command."), QStringLiteral("Not currently processing a command!"),
                                          QStringLiteral("CreateProcess failed.")}));
    QVERIFY(rec.errors[2] != 0);
    QVERIFY(!reader.processing());

    // A second command from inside a chunk handler is refused; the first goes on.
    reader.setSetCommand(test::testChildLine({QStringLiteral("write"), QStringLiteral("600")}));
    Recorder nested(reader);
    bool tried = false;
    connect(&reader, &ReadOutput::GotChunk, this, [&] {
        if (!tried) {
            tried = true;
            reader.ProcessCommand();
        }
    });
    reader.ProcessCommand();
    QCOMPARE(nested.errors, QList<qint32>{1201});
    QCOMPARE(nested.chunks.join(QString()).size(), 600);
    QCOMPARE(nested.events.last(), QStringLiteral("complete"));
}

void TestReadOutput::chunksThenClosingChunkThenComplete()
{
    ProcessRegistry registry;
    ReadOutput reader(registry);
    {
        Recorder rec(reader);
        reader.setSetCommand(test::testChildLine({QStringLiteral("silent"), QStringLiteral("50")}));
        reader.ProcessCommand();
        QCOMPARE(rec.events, (QStringList{QStringLiteral("starting"), QStringLiteral("last"), QStringLiteral("complete")}));
        QCOMPARE(rec.chunks, QStringList{QString()});
    }
    Recorder rec(reader);
    reader.setSetCommand(test::testChildLine({QStringLiteral("write"), QStringLiteral("1000"), QStringLiteral("TAIL\n")}));
    reader.ProcessCommand();
    QCOMPARE(rec.events.first(), QStringLiteral("starting"));
    QCOMPARE(rec.events.mid(rec.events.size() - 2), (QStringList{QStringLiteral("last"), QStringLiteral("complete")}));
    QVERIFY(rec.events.count(QStringLiteral("chunk")) >= 4);
    for (const QString &c : rec.chunks)
        QVERIFY(c.size() <= ReadOutput::kChunkSize);
    const QString all = rec.chunks.join(QString());
    QCOMPARE(all.size(), 1005);
    QVERIFY(all.endsWith(QStringLiteral("TAIL\n")));
    QVERIFY(!reader.processing());
    QVERIFY(registry.live().isEmpty());

    // A helper that finds its program missing or unusable is a failed start,
    // with the helper's reason; any other status is a run that completed.
    const QList<std::tuple<int, QStringList, qint32>> ends = {
        {127, {QStringLiteral("starting"), QStringLiteral("chunk"), QStringLiteral("error")}, ENOENT},
        {126, {QStringLiteral("starting"), QStringLiteral("chunk"), QStringLiteral("error")}, EACCES},
        {1, {QStringLiteral("starting"), QStringLiteral("chunk"), QStringLiteral("last"), QStringLiteral("complete")}, 0},
    };
    for (const auto &[status, events, number] : ends) {
        Recorder ended(reader);
        reader.setSetCommand(test::testChildLine({QStringLiteral("exit"), QString::number(status),
                                                  QStringLiteral("mediainfo: error: no MediaInfo here")}));
        reader.ProcessCommand();
        QCOMPARE(ended.events, events);
        QCOMPARE(reader.exitCode(), status);
        if (number != 0) {
            QCOMPARE(ended.errors, QList<qint32>{number});
            QCOMPARE(reader.launchFailure(), QStringLiteral("no MediaInfo here"));
        }
    }
}

void TestReadOutput::cancelEndsTheChild()
{
    ProcessRegistry registry;
    ReadOutput reader(registry);
    Recorder rec(reader);
    qint64 pid = 0;
    connect(&reader, &ReadOutput::GotChunk, this, [&](const QString &c) {
        if (c.startsWith(QStringLiteral("PID "))) {
            pid = c.mid(4).trimmed().toLongLong();
            reader.CancelProcess();
        }
    });
    reader.setSetCommand(test::testChildLine({QStringLiteral("stubborn"), QStringLiteral("30000")}));
    QElapsedTimer t;
    t.start();
    reader.ProcessCommand();
    QVERIFY(t.elapsed() < 5000);
    QVERIFY(pid > 0);
    QVERIFY(!isProcessAlive(pid));
    QCOMPARE(rec.events.last(), QStringLiteral("canceled"));
    QVERIFY(!rec.events.contains(QStringLiteral("complete")));
}

void TestReadOutput::consolePaneText()
{
    ConsolePane pane(QStringLiteral("/opt/tonmill"));
    pane.complete();
    QCOMPARE(pane.text(), QStringLiteral("C:\\> "));
    pane.starting(QStringLiteral("\"/opt/tonmill/Tools/MediaInfo/mediainfo\" \"/m/a b.mp3\""));
    pane.gotChunk(QStringLiteral("/opt/tonmill\r\n")); // the folder itself never shows
    pane.gotChunk(QStringLiteral("General #0\r\nFormat  : MPEG\n"));
    pane.gotChunk(QString(QChar(12)));
    pane.complete();
    QCOMPARE(pane.text(), QStringLiteral("C:\\> \"/opt/tonmill/Tools/MediaInfo/mediainfo\" \"/m/a b.mp3\"\r\nC:\\\r\n"
                                         "General #0\r\nFormat  : MPEG\r\n\x0c\r\n")
                 + ConsolePane::banner() + QStringLiteral("\r\nC:\\> "));
    // Short chunks are text, whatever they hold.
    ConsolePane shortChunks(QStringLiteral("/"));
    shortChunks.gotChunk(QStringLiteral("/\n"));
    QCOMPARE(shortChunks.text(), QStringLiteral("/\r\n"));

    // Fed by a real run.
    ProcessRegistry registry;
    ReadOutput reader(registry);
    ConsolePane live(QStringLiteral("/opt/tonmill"));
    live.attach(reader);
    reader.setSetCommand(test::testChildLine({QStringLiteral("args"), QStringLiteral("x")}));
    reader.ProcessCommand();
    QCOMPARE(live.text(), reader.SetCommand().text + QStringLiteral("\r\nARGC 1\r\nARG 78\r\n\r\nC:\\> "));
}

QTEST_GUILESS_MAIN(TestReadOutput)
#include "tst_readoutput.moc"
