// Opening a source: the media report of it, and the tags it gives the editor.
#include "app/ActivityLog.h"
#include "media/FileSelection.h"
#include "media/MediaReport.h"
#include "options/MainFormState.h"
#include "options/OptionState.h"
#include "platform/ProcessRegistry.h"
#include "process/ConsolePane.h"
#include "process/ReadOutput.h"
#include "settings/INIManager.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;
using namespace Qt::StringLiterals;

namespace {

// Everything FileSelection needs, wired as the main window wires it, in an application folder of its own whose Tools/ is the build's, if
// wanted.
struct Selection {
    QTemporaryDir dir;
    AppFolder folder{dir.path()};
    ProcessRegistry registry;
    ReadOutput reader{registry};
    ConsolePane pane{folder.path()};
    ActivityLog log;
    MediaReport report{folder, reader, pane, log};
    MainFormState form;
    OptionState options;
    test::TestDialogs dialogs;
    FileSelection selection{form, options, dialogs, report, folder};
    explicit Selection(bool tools = true)
    {
        if (tools)
            QFile::link(test::builtAppDir() + u"/Tools"_s, dir.filePath(u"Tools"_s));
        pane.attach(reader);
    }
    QString reportText() const { return QString::fromUtf8(test::readBytes(report.reportFile())); }
};

} // namespace

class TestFileSelection : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void reportNormalisation();
    void openingTaggedFilesFillsTheTagEditor();
    void emptyPathKeepsAndFailedRunRemovesTheReport();
    void cancelledOpenAndOutputChoice();

private:
    QTemporaryDir m_media;
};

void TestFileSelection::reportNormalisation()
{
    // What the real reports below do not show: the echo after a line break of either kind goes; odd and even label padding both end as
    // Label=Value, single blanks inside labels stay; "Text1" also opens the general section, and "Audio #0" the audio one; two blank lines
    // join their neighbours; MiB are MB; a normalised report stays as it is.
    const QString cmd = u"\"/app/Tools/MediaInfo/mediainfo\" \"/m/a.mp3\""_s;
    const QList<std::pair<QString, QString>> rows = {
        {"x\r\n" + cmd + "\r\ny", "x\r\ny"}, {"x\n" + cmd + "\r\ny", "x\r\ny"},
        {"Bit rate   : 128 kb/s\r\nBit rate    : 128 kb/s", "Bit rate=128 kb/s\r\nBit rate=128 kb/s"},
        {"Text1\r\nA : 1\r\n\r\n\r\nB : 2\r\n\r\nAudio #0\r\nFile size : 3.52 MiB", "[General]\r\nA=1B=2\r\n\r\n[Audio]\r\nFile size=3.52 MB"}};
    for (const auto &[text, normalised] : rows)
        QVERIFY2(normaliseMediaReport(text, cmd) == normalised && normaliseMediaReport(normalised, cmd) == normalised, qPrintable(text));
    // The File Info text shows the sections as banners.
    QCOMPARE(fileInfoDisplayText(u"[General]\r\nFile size=3.52 MiB\r\n\r\n[Audio]\r\nChannel(s)=2 channels"_s),
             u"+++++++++++\r\n + General +\r\n+++++++++++\r\nFile size = 3.52 MB\r\n\r\n+++++++++\r\n + Audio +\r\n+++++++++\r\n"
             "Channel(s) = 2 channels"_s);
}

void TestFileSelection::openingTaggedFilesFillsTheTagEditor()
{
    // MP3 names the comment "Comment", WMA "Description"; the name beyond ASCII reaches the media tool whole; of two streams, the first is
    // "Audio #0".
    for (const auto &[name, extra] : {std::pair{"it's é song.mp3", QStringList{"-id3v2_version", "3"}},
                                      std::pair{"song.wma", QStringList{"-map", "0:a", "-map", "0:a", "-c:a", "wmav2"}}}) {
        const QString source = m_media.filePath(QString::fromUtf8(name));
        QStringList args = QStringList{"-v", "error", "-y", "-f", "lavfi", "-i", "sine=d=1", "-ac", "2"} + extra;
        for (const char *tag : {"title=Intro  Song", "artist=The Band", "album=First : Album", "date=1999", "genre=Rock", "track=5", "comment=Live"})
            args << u"-metadata"_s << QString::fromUtf8(tag);
        QCOMPARE(test::runProgram(u"ffmpeg"_s, args << source).exitCode, 0);

        Selection s;
        s.form.txtTitle = u"typed by hand"_s;
        s.dialogs.answerFile(source);
        s.selection.OpenSourceFile();
        QCOMPARE(s.dialogs.fileRequests().size(), 1);
        QVERIFY(s.dialogs.fileRequests()[0].title == "  Open"_L1 && s.dialogs.fileRequests()[0].filter == FileSelection::kOpenFilter);
        QVERIFY(s.form.txtPath == source && s.form.sourceControlsEnabled);
        // The report as written: the tool's labels become the keys the tag editor reads, padding is gone, and neither the console's prompt
        // nor the echoed command is in it.
        const QString report = s.reportText();
        QVERIFY2(report.startsWith(u"[General]\r\nComplete name="_s + source + u"\r\n"_s), qPrintable(report));
        QVERIFY(report.contains(u"\r\n[Audio]\r\n"_s) && report.contains(u"\r\nChannel(s)=2 channels"_s));
        QVERIFY(!report.contains(u"mediainfo\""_s) && !report.contains(u"C:\\>"_s) && !report.contains(u" : "_s));
        QCOMPARE(s.pane.text() + u"\r\n"_s, report);
        // Two blanks inside the title vanish on the way; " : " inside a value gains its "="; the rest arrives as tagged.
        QCOMPARE((QStringList{s.form.txtTitle, s.form.txtArtist, s.form.txtAlbum, s.form.txtYear, s.form.cmbGenre.text, s.form.txtTrack,
                              s.form.txtNotes}),
                 (QStringList{"IntroSong", "The Band", "First=Album", "1999", "Rock", "5", "Live"}));
        // Opening again gives the same report.
        s.dialogs.answerFile(source);
        s.selection.OpenSourceFile();
        QCOMPARE(s.reportText(), report);
    }
}

void TestFileSelection::emptyPathKeepsAndFailedRunRemovesTheReport()
{
    Selection s(false);
    const QString tool = s.dir.path() + u"/Tools/MediaInfo/mediainfo"_s;
    QCOMPARE(s.report.commandFor(u"/m/it's é.mp3"_s).text, u"\"%1\" \"/m/it's é.mp3\""_s.arg(tool));
    QCOMPARE(s.report.commandFor(u"/m/it's é.mp3"_s).arguments, QStringList{"/m/it's é.mp3"});
    test::writeBytes(s.report.reportFile(), "[General]\r\nTitle=Old\r\n");
    s.pane.setText(u"kept"_s);
    QVERIFY(!s.report.RunMediaReport(QString()));
    QVERIFY(s.pane.text() == "kept"_L1 && QFile::exists(s.report.reportFile()) && s.log.text().isEmpty());
    // This folder has no Tools/MediaInfo: the tool cannot start, and the old report, which is another file's, goes.
    QVERIFY(!s.report.RunMediaReport(u"/m/a.mp3"_s));
    QVERIFY(!QFile::exists(s.report.reportFile()));
    QVERIFY2(s.log.text().contains(u" -> \"/m/a.mp3\" could not be described: cannot start \"%1\""_s.arg(tool)), qPrintable(s.log.text()));
    QCOMPARE(s.report.lastFailure(), s.log.text().section(u" -> "_s, 1).trimmed());
}

void TestFileSelection::cancelledOpenAndOutputChoice()
{
    Selection s;
    // A cancelled open keeps the old report, whose tags fill the editor; a key the report lacks empties its field.
    WriteIniValue(u"General"_s, u"Title"_s, u"Previous"_s, s.report.reportFile());
    s.form.txtArtist = u"typed"_s;
    // One dialog name serves both dialogs: the save dialog starts from the opened name.
    s.dialogs.answerFile(QString()).answerFile(u"/out/a.mp3"_s);
    s.selection.OpenSourceFile();
    QVERIFY(s.form.txtPath.isEmpty() && !s.form.sourceControlsEnabled && s.form.txtArtist.isEmpty());
    QCOMPARE(s.form.txtTitle, u"Previous"_s);

    s.options.txtFormat = u"5"_s;
    s.selection.ChooseOutputFile();
    QVERIFY(s.dialogs.fileRequests()[1].title == "  Save as..."_L1 && s.dialogs.fileRequests()[1].filter == "MP3 Files|*.mp3"_L1);
    QVERIFY(s.form.lblOutputPath == "/out/a.mp3"_L1 && !s.form.chkSameOutput);
    s.selection.chkSameOutput_Click(true);
    QVERIFY(s.form.lblOutputPath.isEmpty());
    s.selection.chkSameOutput_Click(false);
    QCOMPARE(s.form.lblOutputPath, u"/out/a.mp3"_s);
    // A cancelled save keeps the dialog's last name; an empty one goes back to "beside the source"; no format, no dialog.
    s.dialogs.answerFile(u"/out/a.mp3"_s);
    s.selection.ChooseOutputFile();
    QCOMPARE(s.dialogs.fileRequests()[2].fileName, u"/out/a.mp3"_s);
    s.form.lblOutputPath.clear();
    s.dialogs.answerFile(QString());
    s.selection.ChooseOutputFile();
    QVERIFY(s.form.lblOutputPath.isEmpty() && s.form.chkSameOutput);
    s.options.txtFormat = u"13"_s;
    s.selection.ChooseOutputFile();
    QVERIFY(s.dialogs.fileRequests().size() == 4 && s.form.chkSameOutput);

    const QStringList expected = u"AAC Files|*.aac;AC3 Files|*.ac3;AMR Files|*.amr;MP2/MPA Files|*.mp2;MP3 Files|*.mp3;WAV Files|*.wav;"
                                 "WMA Files|*.wma;FLAC Files|*.flac;Opus Files|*.opus;Ogg Vorbis Files|*.ogg;M4A Files|*.m4a;ALAC Files|*.m4a"_s
                                     .split(QLatin1Char(';'));
    for (int i = 1; i <= 12; ++i)
        QCOMPARE(FileSelection::saveFilter(QString::number(i)), expected[i - 1]);
    QVERIFY(FileSelection::saveFilter(u"0"_s).isEmpty() && FileSelection::saveFilter(u"05"_s).isEmpty());
}

QTEST_GUILESS_MAIN(TestFileSelection)
#include "tst_fileselection.moc"
