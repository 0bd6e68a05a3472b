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
#include "support/TestPaths.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;

namespace {

// An application folder of its own whose Tools/ is the build's.
struct Home {
    QTemporaryDir dir;
    AppFolder folder{dir.path()};
    Home() { QFile::link(test::builtAppDir() + QStringLiteral("/Tools"), dir.filePath(QStringLiteral("Tools"))); }
};

// Everything FileSelection needs, wired as the main window wires it.
struct Selection {
    Home home;
    ProcessRegistry registry;
    ReadOutput reader{registry};
    ConsolePane pane{home.folder.path()};
    ActivityLog log;
    MediaReport report{home.folder, reader, pane, log};
    MainFormState form;
    OptionState options;
    test::TestDialogs dialogs;
    FileSelection selection{form, options, dialogs, report, home.folder};
    Selection() { pane.attach(reader); }
    QString reportText() const
    {
        QFile f(report.reportFile());
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    }
};

bool run(const QString &program, const QStringList &args)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedChannels);
    p.start(program, args);
    return p.waitForFinished(60000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

// A two-second tone with the usual tags, in the container the name asks for.
QString tagged(const QTemporaryDir &dir, const QString &name, const QStringList &extra = {})
{
    const QString path = dir.filePath(name);
    QStringList args{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"),
                     QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("sine=d=2"), QStringLiteral("-ac"),
                     QStringLiteral("2")};
    args << extra
         << QStringList{QStringLiteral("-metadata"), QStringLiteral("title=Intro  Song"), QStringLiteral("-metadata"),
                        QStringLiteral("artist=The Band"), QStringLiteral("-metadata"), QStringLiteral("album=First : Album"),
                        QStringLiteral("-metadata"), QStringLiteral("date=1999"), QStringLiteral("-metadata"),
                        QStringLiteral("genre=Rock"), QStringLiteral("-metadata"), QStringLiteral("track=5"),
                        QStringLiteral("-metadata"), QStringLiteral("comment=Live"), path};
    return run(QStringLiteral("ffmpeg"), args) ? path : QString();
}

} // namespace

class TestFileSelection : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void openingTaggedFilesFillsTheTagEditor_data();
    void openingTaggedFilesFillsTheTagEditor();
    void cancelledOpenKeepsTheOldReportsTags();
    void outputChoiceAndSameFolderSwitch();

private:
    QTemporaryDir m_media;
};

void TestFileSelection::initTestCase()
{
    QVERIFY(QFile::exists(test::builtAppDir() + QStringLiteral("/Tools/MediaInfo/mediainfo")));
}

void TestFileSelection::openingTaggedFilesFillsTheTagEditor_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("extra");
    QTest::newRow("mp3 with ID3") << QStringLiteral("it's é song.mp3")
                                  << QStringList{QStringLiteral("-id3v2_version"), QStringLiteral("3")};
    QTest::newRow("m4a") << QStringLiteral("song.m4a") << QStringList{QStringLiteral("-c:a"), QStringLiteral("aac")};
    QTest::newRow("wma") << QStringLiteral("song.wma") << QStringList{QStringLiteral("-c:a"), QStringLiteral("wmav2")};
    QTest::newRow("flac") << QStringLiteral("song.flac") << QStringList{};
}

void TestFileSelection::openingTaggedFilesFillsTheTagEditor()
{
    QFETCH(QString, name);
    QFETCH(QStringList, extra);
    const QString source = tagged(m_media, name, extra);
    QVERIFY(!source.isEmpty());

    Selection s;
    s.form.txtTitle = QStringLiteral("typed by hand");
    s.dialogs.answerFile(source);
    s.selection.OpenSourceFile();
    QCOMPARE(s.dialogs.fileRequests().size(), 1);
    QCOMPARE(s.dialogs.fileRequests()[0].title, QStringLiteral("  Open"));
    QCOMPARE(s.dialogs.fileRequests()[0].filter, FileSelection::kOpenFilter);
    QCOMPARE(s.form.txtPath, source);
    QVERIFY(s.form.sourceControlsEnabled);

    // The report as written: the tool's labels become the keys the tag editor
    // reads, padding is gone, and neither the console's prompt nor the echoed
    // command is in it.
    const QString report = s.reportText();
    QVERIFY2(report.startsWith(QStringLiteral("[General]\r\n")), qPrintable(report));
    QVERIFY(!report.contains(QStringLiteral("mediainfo\"")));
    QVERIFY(report.contains(QStringLiteral("\r\n[Audio]\r\n")));
    QVERIFY(report.contains(QStringLiteral("\r\nTitle=IntroSong\r\n")));
    QVERIFY(report.contains(QStringLiteral("\r\nChannel(s)=2 channels")));
    QVERIFY(!report.contains(QStringLiteral("C:\\>")));
    QVERIFY(!report.contains(QStringLiteral(" : ")));
    QVERIFY(report.endsWith(QStringLiteral("\r\n")));
    QVERIFY(report.contains(QStringLiteral("\r\nFile size=")));
    QVERIFY(s.pane.text() + QStringLiteral("\r\n") == report);

    // Two blanks inside the title vanish on the way; the rest arrives as tagged.
    QCOMPARE(s.form.txtTitle, QStringLiteral("IntroSong"));
    QCOMPARE(s.form.txtArtist, QStringLiteral("The Band"));
    QCOMPARE(s.form.txtAlbum, QStringLiteral("First=Album")); // " : " inside a value gains its "="
    QCOMPARE(s.form.txtYear, QStringLiteral("1999"));
    QCOMPARE(s.form.cmbGenre.text, QStringLiteral("Rock"));
    QCOMPARE(s.form.txtTrack, QStringLiteral("5"));
    QCOMPARE(s.form.txtNotes, QStringLiteral("Live")); // a Vorbis or WMA comment is reported as "Description"

    // Opening again gives the same report.
    s.dialogs.answerFile(source);
    s.selection.OpenSourceFile();
    QCOMPARE(s.reportText(), report);
    // The File Info text shows the sections as banners.
    QVERIFY(fileInfoDisplayText(s.pane.text()).contains(QStringLiteral("+++++++++++\r\n + General +\r\n+++++++++++")));
    QVERIFY(fileInfoDisplayText(s.pane.text()).contains(QStringLiteral("Channel(s) = 2 channels")));
}

void TestFileSelection::cancelledOpenKeepsTheOldReportsTags()
{
    Selection s;
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Title"), QStringLiteral("Previous"), s.report.reportFile());
    s.form.txtArtist = QStringLiteral("typed");
    s.dialogs.answerFile(QString());
    s.selection.OpenSourceFile();
    QVERIFY(s.form.txtPath.isEmpty());
    QVERIFY(!s.form.sourceControlsEnabled);
    QCOMPARE(s.form.txtTitle, QStringLiteral("Previous"));
    QVERIFY(s.form.txtArtist.isEmpty()); // a key the report lacks empties its field
}

void TestFileSelection::outputChoiceAndSameFolderSwitch()
{
    Selection s;
    // One dialog name serves both dialogs: the save dialog starts from the opened name.
    s.dialogs.answerFile(QString()).answerFile(QStringLiteral("/out/a.mp3"));
    s.selection.OpenSourceFile();
    s.options.txtFormat = QStringLiteral("5");
    s.selection.ChooseOutputFile();
    QCOMPARE(s.dialogs.fileRequests()[1].title, QStringLiteral("  Save as..."));
    QCOMPARE(s.dialogs.fileRequests()[1].filter, QStringLiteral("MP3 Files|*.mp3"));
    QCOMPARE(s.form.lblOutputPath, QStringLiteral("/out/a.mp3"));
    QVERIFY(!s.form.chkSameOutput);
    s.selection.chkSameOutput_Click(true);
    QVERIFY(s.form.lblOutputPath.isEmpty());
    s.selection.chkSameOutput_Click(false);
    QCOMPARE(s.form.lblOutputPath, QStringLiteral("/out/a.mp3"));

    // A cancelled save keeps the dialog's last name; an empty one goes back to "beside the source".
    s.dialogs.answerFile(QStringLiteral("/out/a.mp3"));
    s.selection.ChooseOutputFile();
    QCOMPARE(s.dialogs.fileRequests()[2].fileName, QStringLiteral("/out/a.mp3"));
    s.form.lblOutputPath.clear();
    s.dialogs.answerFile(QString());
    s.selection.ChooseOutputFile();
    QVERIFY(s.form.lblOutputPath.isEmpty());
    QVERIFY(s.form.chkSameOutput);
    // No format, no dialog.
    s.options.txtFormat = QStringLiteral("13");
    s.selection.ChooseOutputFile();
    QCOMPARE(s.dialogs.fileRequests().size(), 4);
    QVERIFY(s.form.chkSameOutput);

    const QStringList expected{QStringLiteral("AAC Files|*.aac"), QStringLiteral("AC3 Files|*.ac3"), QStringLiteral("AMR Files|*.amr"),
                               QStringLiteral("MP2/MPA Files|*.mp2"), QStringLiteral("MP3 Files|*.mp3"),
                               QStringLiteral("WAV Files|*.wav"), QStringLiteral("WMA Files|*.wma"),
                               QStringLiteral("FLAC Files|*.flac"), QStringLiteral("Opus Files|*.opus"),
                               QStringLiteral("Ogg Vorbis Files|*.ogg"), QStringLiteral("M4A Files|*.m4a"),
                               QStringLiteral("ALAC Files|*.m4a")};
    for (int i = 1; i <= 12; ++i)
        QCOMPARE(FileSelection::saveFilter(QString::number(i)), expected[i - 1]);
    QVERIFY(FileSelection::saveFilter(QStringLiteral("0")).isEmpty());
    QVERIFY(FileSelection::saveFilter(QStringLiteral("05")).isEmpty());
}

QTEST_GUILESS_MAIN(TestFileSelection)
#include "tst_fileselection.moc"
