#include "app/ActivityLog.h"
#include "media/MediaReport.h"
#include "platform/ProcessRegistry.h"
#include "process/ConsolePane.h"
#include "process/ReadOutput.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;

class TestMediaReport : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void normalisationSteps();
    void fileInfoText();
    void emptyPathKeepsAndFailedRunRemovesTheReport();
};

void TestMediaReport::normalisationSteps()
{
    const QString cmd = QStringLiteral("\"/app/Tools/MediaInfo/mediainfo\" \"/m/a.mp3\"");
    // As the console pane holds it: the echoed command, the report with CR LF,
    // the blank line between streams, and the closing prompt.
    const QString pane = cmd + QStringLiteral("\r\n"
                                              "General #0\r\n"
                                              "Complete name                            : /m/a.mp3\r\n"
                                              "File size                                : 3.52 MiB\r\n"
                                              "Track name                               : Intro\r\n"
                                              "Track name/Position                      : 5\r\n"
                                              "Performer                                : The  Band\r\n"
                                              "Recorded date                            : 1999\r\n"
                                              "Comment                                  : a : b\r\n"
                                              "\r\n"
                                              "Audio #0\r\n"
                                              "Channel(s)                               : 2 channels\r\n"
                                              "\r\n\r\nC:\\> ");
    const QString report = normaliseMediaReport(pane, cmd);
    // The command line echoed at the top goes with its line break.
    QCOMPARE(report, QStringLiteral("[General]\r\n"
                                          "Complete name=/m/a.mp3\r\n"
                                          "File size=3.52 MB\r\n"
                                          "Title=Intro\r\n"
                                          "Track=5\r\n"
                                          "Author=TheBand\r\n" // two blanks in a value vanish
                                          "Date=1999\r\n"
                                          "Comment=a=b\r\n"
                                          "\r\n"
                                          "[Audio]\r\n"
                                          "Channel(s)=2 channels "));
    // An echo that follows a line break, of either kind, is removed.
    QCOMPARE(normaliseMediaReport(QStringLiteral("x\r\n") + cmd + QStringLiteral("\r\ny"), cmd), QStringLiteral("x\r\ny"));
    QCOMPARE(normaliseMediaReport(QStringLiteral("x\n") + cmd + QStringLiteral("\r\ny"), cmd), QStringLiteral("x\r\ny"));
    // Odd and even label padding both end as Label=Value; single blanks inside labels stay.
    QCOMPARE(normaliseMediaReport(QStringLiteral("Bit rate   : 128 kb/s\r\nBit rate    : 128 kb/s"), QStringLiteral("none")),
             QStringLiteral("Bit rate=128 kb/s\r\nBit rate=128 kb/s"));
    // "Text1" also opens the general section; two blank lines join their neighbours.
    QCOMPARE(normaliseMediaReport(QStringLiteral("Text1\r\nA : 1\r\n\r\n\r\nB : 2"), QStringLiteral("none")),
             QStringLiteral("[General]\r\nA=1B=2"));
    // Running the normalisation twice changes nothing more.
    QCOMPARE(normaliseMediaReport(report, cmd), report);
}

void TestMediaReport::fileInfoText()
{
    QCOMPARE(fileInfoDisplayText(QStringLiteral("[General]\r\nFile size=3.52 MiB\r\n\r\n[Audio]\r\nChannel(s)=2 channels")),
             QStringLiteral("+++++++++++\r\n + General +\r\n+++++++++++\r\nFile size = 3.52 MB\r\n\r\n"
                            "+++++++++\r\n + Audio +\r\n+++++++++\r\nChannel(s) = 2 channels"));
}

void TestMediaReport::emptyPathKeepsAndFailedRunRemovesTheReport()
{
    QTemporaryDir home;
    const AppFolder folder(home.path());
    ProcessRegistry registry;
    ReadOutput reader(registry);
    ConsolePane pane(folder.path());
    pane.attach(reader);
    ActivityLog log;
    MediaReport report(folder, reader, pane, log);
    QCOMPARE(report.commandFor(QStringLiteral("/m/it's é.mp3")).text,
             QStringLiteral("\"") + home.path() + QStringLiteral("/Tools/MediaInfo/mediainfo\" \"/m/it's é.mp3\""));
    QCOMPARE(report.commandFor(QStringLiteral("/m/it's é.mp3")).arguments, QStringList{QStringLiteral("/m/it's é.mp3")});

    QFile old(report.reportFile());
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("[General]\r\nTitle=Old\r\n");
    old.close();
    pane.setText(QStringLiteral("kept"));
    QVERIFY(!report.RunMediaReport(QString()));
    QCOMPARE(pane.text(), QStringLiteral("kept"));
    QVERIFY(QFile::exists(report.reportFile()));
    QVERIFY(log.text().isEmpty());
    // This folder has no Tools/MediaInfo: the tool cannot start, and the old
    // report, which is another file's, goes.
    QVERIFY(!report.RunMediaReport(QStringLiteral("/m/a.mp3")));
    QVERIFY(!QFile::exists(report.reportFile()));
    QVERIFY2(log.text().contains(QStringLiteral(" -> \"/m/a.mp3\" could not be described: cannot start \"") + home.path()
                                 + QStringLiteral("/Tools/MediaInfo/mediainfo\"")),
             qPrintable(log.text()));
    QCOMPARE(report.lastFailure(), log.text().section(QStringLiteral(" -> "), 1).trimmed());
}

QTEST_GUILESS_MAIN(TestMediaReport)
#include "tst_mediareport.moc"
