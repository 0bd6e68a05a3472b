#include "app/ActivityLog.h"
#include "convert/ConvertJob.h"
#include "convert/ResultPreview.h"
#include "convert/SourceDuration.h"
#include "options/MainFormState.h"
#include "options/OptionPanel.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "process/cStdIO.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"
#include "support/TestPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <tuple>
#include <unistd.h>

using namespace tonmill;
using test::probeEntries;

namespace {

const QString kSeparator = QString(142, QLatin1Char('-'));
const QString kCrLf = QStringLiteral("\r\n");

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<unreadable>");
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

bool makeTone(const QString &path, double seconds)
{
    return QProcess::execute(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
                                                     QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-b"),
                                                     QStringLiteral("16"), path, QStringLiteral("synth"),
                                                     QString::number(seconds), QStringLiteral("sine"),
                                                     QStringLiteral("440")})
           == 0;
}

// The log's lines without their CR LF.
QStringList logLines(const ActivityLog &log)
{
    QStringList lines = log.text().split(kCrLf);
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

// A job over a temporary application folder whose Tools/ is the build's.
struct Fixture {
    QTemporaryDir dir;
    QString app;
    AppFolder folder{QString()};
    ProcessRegistry registry;
    test::TestDialogs dialogs;
    ActivityLog log;
    cStdIO runner{registry};
    OptionState options;
    MainFormState form;
    ConvertJob *job = nullptr;

    explicit Fixture(bool withTools = true)
    {
        app = dir.filePath(QStringLiteral("app"));
        QDir().mkpath(app);
        folder = AppFolder(app);
        if (withTools)
            QFile::link(test::builtAppDir() + QStringLiteral("/Tools"), app + QStringLiteral("/Tools"));
        writeFile(app + QStringLiteral("/Tonmill.ini"), "[General]\r\nFFMPEG=/usr/bin/ffmpeg\r\n");
        logRunnerEvents(runner, log);
        options.fillLists();
        form.fillFormatList();
        job = new ConvertJob(folder, dialogs, log, runner, registry, options, form, SourceDuration(folder));
    }
    ~Fixture() { delete job; }

    QString path(const QString &name) const { return dir.filePath(name); }

    void chooseFormat(const QString &name, const QString &index, const QString &extension)
    {
        form.cmbFormat.select(name);
        options.txtFormat = index;
        options.OutExtension = extension;
    }

    bool idle() const
    {
        return form.btnConvertEnabled && !form.btnAbortVisible && !form.EncodingVisible && !form.PB1Visible
               && !form.Timer3Enabled && form.btnExitEnabled && form.mnuArquivoEnabled;
    }
};

bool noLiveChildren(const ProcessRegistry &registry)
{
    return registry.live().isEmpty();
}

} // namespace

class TestConvertJob : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void outputNaming();
    void emptySourceShowsMessageOnly();
    void unusableSourcesAreRefused();
    void keepingTheOutputLogsOnlyTheSeparator();
    void mp3JobLogsScriptsRunsAndTags();
    void emptyOutputIsOverwrittenWithoutQuestion();
    void wmaReadsTheSourceAndSegmentWins();
    void errorPathLogsAndShowsLaunchFailure();
    void abortEndsTheEncoder();
    void previewIsTheOutputsStretchAndEstimatesItsSize();
};

void TestConvertJob::outputNaming()
{
    // The whole extension goes, whatever its length; only the file's own name has one.
    const QList<std::pair<QString, QString>> beside = {
        {"D:\\m\\song.mp3", "D:\\m\\song_Konverted.aac"}, {"/m/song.wv", "/m/song_Konverted.aac"},
        {"/m/b.flac", "/m/b_Konverted.aac"},                  {"/m/a.tar.gz", "/m/a.tar_Konverted.aac"},
        {"/m.d/song", "/m.d/song_Konverted.aac"},             {"/m/.hidden", "/m/.hidden_Konverted.aac"},
        {"ab", "ab_Konverted.aac"},
    };
    for (const auto &[source, output] : beside)
        QCOMPARE(outputPathFor(source, QString(), true, QStringLiteral("aac")), output);
    QCOMPARE(outputPathFor(QStringLiteral("/a/b.wav"), QStringLiteral("/c/d.mp3"), false, QStringLiteral("aac")),
             QStringLiteral("/c/d.mp3"));
}

void TestConvertJob::emptySourceShowsMessageOnly()
{
    Fixture f;
    f.form.btnConvertEnabled = false;
    f.form.btnAbortVisible = true;
    f.dialogs.answer(DialogAnswer::Ok);
    f.job->btnConvert_Click();
    QCOMPARE(f.dialogs.messages().size(), 1);
    const MessageRequest &m = f.dialogs.messages().first();
    QCOMPARE(m.text, QStringLiteral("Please, select a file to process before atempting to initialize de conversion!"));
    QCOMPARE(m.buttons, DialogButtons::Ok);
    QVERIFY(m.title.isEmpty());
    QVERIFY(f.idle());
    QVERIFY(f.log.text().isEmpty());
}

void TestConvertJob::unusableSourcesAreRefused()
{
    Fixture f;
    f.chooseFormat(QStringLiteral("WAV"), QStringLiteral("6"), QStringLiteral("wav"));
    QVERIFY(makeTone(f.path(QStringLiteral("tone.wav")), 1));
    QVERIFY(writeFile(f.path(QStringLiteral("empty.wav")), QByteArray()));
    QDir().mkpath(f.path(QStringLiteral("folder.wav")));
    QVERIFY(QFile::link(f.path(QStringLiteral("tone.wav")), f.path(QStringLiteral("alias.wav"))));
    QVERIFY(::link(QFile::encodeName(f.path(QStringLiteral("tone.wav"))).constData(),
                   QFile::encodeName(f.path(QStringLiteral("hard.wav"))).constData())
            == 0);
    const QByteArray tone = readAll(f.path(QStringLiteral("tone.wav")));

    struct Case {
        QString source;
        QString output;
        QString messageStart;
    };
    const QList<Case> cases = {
        {f.path(QStringLiteral("missing.wav")), QString(), QStringLiteral("The selected file does not exist!")},
        {f.path(QStringLiteral("folder.wav")), QString(), QStringLiteral("The selected file is a folder, not a file!")},
        {f.path(QStringLiteral("empty.wav")), QString(), QStringLiteral("The selected file is empty!")},
        {f.path(QStringLiteral("tone.wav")), f.path(QStringLiteral("tone.wav")),
         QStringLiteral("The 'Output' file is the selected file itself!")},
        {f.path(QStringLiteral("tone.wav")), f.path(QStringLiteral("alias.wav")),
         QStringLiteral("The 'Output' file is the selected file itself!")},
        {f.path(QStringLiteral("tone.wav")), f.path(QStringLiteral("hard.wav")),
         QStringLiteral("The 'Output' file is the selected file itself!")},
    };
    for (const Case &c : cases) {
        f.form.txtPath = c.source;
        f.form.chkSameOutput = c.output.isEmpty();
        f.form.lblOutputPath = c.output;
        f.dialogs.answer(DialogAnswer::Ok);
        f.job->btnConvert_Click();
        QVERIFY2(f.dialogs.messages().last().text.startsWith(c.messageStart), qPrintable(c.source));
        QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Refused);
        QVERIFY(f.idle());
    }
    QVERIFY(f.log.text().isEmpty());
    QCOMPARE(readAll(f.path(QStringLiteral("tone.wav"))), tone);
    QVERIFY(!QFileInfo::exists(f.app + QStringLiteral("/DirectQX.avs")));
}

void TestConvertJob::keepingTheOutputLogsOnlyTheSeparator()
{
    Fixture f;
    f.chooseFormat(QStringLiteral("MP3"), QStringLiteral("5"), QStringLiteral("mp3"));
    f.form.txtPath = f.path(QStringLiteral("tone.wav"));
    QVERIFY(makeTone(f.form.txtPath, 1));
    const QString output = f.path(QStringLiteral("tone_Konverted.mp3"));
    QVERIFY(writeFile(output, "old content"));
    f.dialogs.answer(DialogAnswer::No);
    f.job->btnConvert_Click();

    const MessageRequest &q = f.dialogs.messages().first();
    QCOMPARE(q.text, QStringLiteral("The 'Output' file name already exists!\r\n\r\nDo you want to replace it?"));
    QCOMPARE(q.buttons, DialogButtons::YesNo);
    QCOMPARE(q.icon, DialogIcon::Question);
    QVERIFY(q.title.isEmpty());
    QCOMPARE(logLines(f.log), QStringList{kSeparator});
    QCOMPARE(readAll(output), QByteArray("old content"));
    QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Kept);
    QVERIFY(f.idle());
}

void TestConvertJob::mp3JobLogsScriptsRunsAndTags()
{
    Fixture f;
    f.chooseFormat(QStringLiteral("MP3"), QStringLiteral("5"), QStringLiteral("mp3"));
    f.form.txtPath = f.path(QStringLiteral("tone.wav"));
    QVERIFY(makeTone(f.form.txtPath, 3));
    const QByteArray source = readAll(f.form.txtPath);
    const QString output = f.path(QStringLiteral("tone_Konverted.mp3"));
    QVERIFY(writeFile(output, "an older encode"));
    f.form.slVolume = 50;
    f.form.txtTitle = QStringLiteral("Title \"quoted\"");
    f.form.txtArtist = QStringLiteral("Artist");
    f.form.txtAlbum = QStringLiteral("Album");
    f.form.txtYear = QStringLiteral("2001");
    f.form.cmbGenre.text = QStringLiteral("rock");
    f.form.txtNotes = QStringLiteral("Notes");
    f.form.txtTrack = QStringLiteral("7");
    f.dialogs.answer(DialogAnswer::Yes);

    bool sawBusy = false;
    connect(f.job, &ConvertJob::progressChanged, this, [&] {
        sawBusy = sawBusy
                  || (!f.form.btnConvertEnabled && f.form.btnAbortVisible && f.form.EncodingVisible
                      && f.form.PB1Visible && !f.form.btnExitEnabled && !f.form.mnuArquivoEnabled
                      && f.form.Timer3Enabled && f.job->encoding());
    });
    f.job->btnConvert_Click();

    QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Ended);
    QVERIFY(sawBusy);
    QVERIFY(f.idle());
    QCOMPARE(f.form.PB1Max, 3);
    const QStringList lines = logLines(f.log);
    QCOMPARE(lines.size(), 12);
    QCOMPARE(lines[0], kSeparator);
    QVERIFY(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d -> Start encoding:$"))
                .match(lines[1]).hasMatch());
    QCOMPARE(lines.mid(2, 8), (QStringList{kSeparator, QStringLiteral(" - ") + f.form.txtPath,
                                           QStringLiteral(" - Output file:"), QStringLiteral(" - ") + output,
                                           QStringLiteral(" -- Output format: MP3"),
                                           QStringLiteral(" -- Sampling Frequency: 44100"),
                                           QStringLiteral(" -- Channels: 2"), QStringLiteral(" -- Bitrate: 128")}));
    QVERIFY(QRegularExpression(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d -> Process Completed!$")).match(lines[10]).hasMatch());
    QCOMPARE(lines[11], kSeparator);

    // The script the encoder read: the source, its 3 s as 75 frames, the rate.
    const QString script = QString::fromUtf8(readAll(f.app + QStringLiteral("/DirectQX.avs")));
    QVERIFY(script.contains(QStringLiteral("Clip1 = DirectShowSource(\"") + f.form.txtPath + QStringLiteral("\",25)\r\n")));
    QVERIFY(script.contains(QStringLiteral("\r\nTrim(Clip3,0,75)\r\nResampleAudio (44100)\r\nConvertToYV12()\r\n")));
    QVERIFY(!QFileInfo::exists(f.app + QStringLiteral("/segment.avs")));

    QCOMPARE(probeEntries(output, QStringLiteral("stream=codec_name")), QStringLiteral("mp3"));
    QCOMPARE(readAll(f.form.txtPath), source);

    // Tags as an independent reader sees them: a 2.4 tag at the start, a 1.1 tag at the end.
    QProcess reader;
    reader.start(QStringLiteral("/usr/bin/python3"),
                 {QStringLiteral("-c"),
                  QStringLiteral("import sys\nfrom mutagen.id3 import ID3\nt=ID3(sys.argv[1])\n"
                                 "print(t.version[1])\nfor k in ['TIT2','TPE1','TALB','TDRC','TCON','COMM::eng','TRCK']:"
                                 " print(k, t[k].text[0])\n"
                                 "d=open(sys.argv[1],'rb').read()\nprint(d[-128:-125].decode(), d[-2], d[-1])"),
                  output});
    QVERIFY(reader.waitForFinished(30000));
    QCOMPARE(QString::fromUtf8(reader.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts),
             (QStringList{QStringLiteral("4"), QStringLiteral("TIT2 Title \"quoted\""), QStringLiteral("TPE1 Artist"),
                          QStringLiteral("TALB Album"), QStringLiteral("TDRC 2001"), QStringLiteral("TCON Rock"),
                          QStringLiteral("COMM::eng Notes"), QStringLiteral("TRCK 7"), QStringLiteral("TAG 7 17")}));
    QVERIFY(noLiveChildren(f.registry));
}

void TestConvertJob::emptyOutputIsOverwrittenWithoutQuestion()
{
    Fixture f;
    f.chooseFormat(QStringLiteral("WAV"), QStringLiteral("6"), QStringLiteral("wav"));
    f.form.txtPath = f.path(QStringLiteral("tone.mp3.wav"));
    QVERIFY(makeTone(f.form.txtPath, 2));
    f.form.chkSameOutput = false;
    f.form.lblOutputPath = f.path(QStringLiteral("chosen.wav"));
    QVERIFY(writeFile(f.form.lblOutputPath, QByteArray()));
    f.form.slVolume = 0;
    f.job->btnConvert_Click(); // TestDialogs fails the test on any prompt
    QVERIFY(f.dialogs.messages().isEmpty());
    QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Ended);
    QCOMPARE(probeEntries(f.form.lblOutputPath, QStringLiteral("stream=codec_name")), QStringLiteral("pcm_s16le"));
    QVERIFY(f.log.text().contains(QStringLiteral(" -- Bitrate: 1411\r\n -- PCM: pcm_s16le\r\n")));
    // 0 % writes silence.
    QProcess volume;
    volume.start(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("info"), QStringLiteral("-i"),
                                            f.form.lblOutputPath, QStringLiteral("-af"), QStringLiteral("volumedetect"),
                                            QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-")});
    QVERIFY(volume.waitForFinished(30000));
    QVERIFY(QString::fromUtf8(volume.readAllStandardError()).contains(QStringLiteral("max_volume: -91")));
}

void TestConvertJob::wmaReadsTheSourceAndSegmentWins()
{
    Fixture f;
    f.chooseFormat(QStringLiteral("WMA"), QStringLiteral("7"), QStringLiteral("wma"));
    f.form.txtPath = f.path(QStringLiteral("tone.wav"));
    QVERIFY(makeTone(f.form.txtPath, 3));
    f.job->btnConvert_Click();
    QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Ended);
    QVERIFY(!QFileInfo::exists(f.app + QStringLiteral("/DirectQX.avs")));
    QVERIFY(f.log.text().contains(QStringLiteral(" -- Output format: WMA\r\n -- Profile: CD Quality (64Kbps)\r\n")));
    QVERIFY(!f.form.lblWMAprogressVisible);
    const QString output = f.path(QStringLiteral("tone_Konverted.wma"));
    QCOMPARE(probeEntries(output, QStringLiteral("stream=codec_name")), QStringLiteral("wmav2"));

    // Normalised and cut: both scripts are written and the cut is what is encoded.
    f.form.chkNormalize = true;
    f.form.chkSegment = true;
    f.form.txtCutS = QStringLiteral("000.500");
    f.form.txtCutE = QStringLiteral("001.500");
    f.dialogs.answer(DialogAnswer::Yes);
    f.job->btnConvert_Click();
    QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Ended);
    QVERIFY(readAll(f.app + QStringLiteral("/DirectQX.avs")).contains("Clip4=Normalize(Clip3,volume=1)\r\nTrim(Clip4,0,75)\r\nConvertToYV12()"));
    QVERIFY(readAll(f.app + QStringLiteral("/segment.avs")).contains("Trim(Clip3,13,38)\r\nResampleAudio (44100)\r\n"));
    const double seconds = probeEntries(output, QStringLiteral("format=duration")).toDouble();
    QVERIFY2(seconds > 0.8 && seconds < 1.4, qPrintable(QString::number(seconds)));
}

void TestConvertJob::errorPathLogsAndShowsLaunchFailure()
{
    const QString launchFailed = QStringLiteral("PROCESS LAUNCH FAILED!\r\n\r\nPlease, press 'Convert' button again!");
    {
        // The runner cannot start the encoder: no Tools/ in the folder.
        Fixture f(false);
        f.chooseFormat(QStringLiteral("MP3"), QStringLiteral("5"), QStringLiteral("mp3"));
        f.form.txtPath = f.path(QStringLiteral("tone.wav"));
        QVERIFY(makeTone(f.form.txtPath, 1));
        f.dialogs.answer(DialogAnswer::Ok);
        f.job->btnConvert_Click();
        QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::LaunchFailed);
        QCOMPARE(f.dialogs.messages().last().text, launchFailed);
        QCOMPARE(f.dialogs.messages().last().buttons, DialogButtons::Ok);
        const QStringList lines = logLines(f.log);
        QVERIFY(lines[lines.size() - 4].endsWith(QStringLiteral(" -> Error #406: CreateProcess failed.")));
        QVERIFY2(lines[lines.size() - 3].endsWith(QStringLiteral(" -> Error: cannot start \"") + f.app + QStringLiteral("/Tools/tonmill-run\": No such file or directory")),
                 qPrintable(lines[lines.size() - 3]));
        QCOMPARE(lines.mid(lines.size() - 2),
                 (QStringList{QStringLiteral("PROCESS LAUNCH FAILED!"), QStringLiteral("Please, press 'Convert' button again!")}));
        QVERIFY(!QFileInfo::exists(f.path(QStringLiteral("tone_Konverted.mp3"))));
        QVERIFY(f.form.btnConvertEnabled && !f.form.btnAbortVisible && !f.form.Timer3Enabled);
    }
    {
        // An AMR bitrate that is no number makes no command line.
        Fixture f;
        f.chooseFormat(QStringLiteral("AMR"), QStringLiteral("3"), QStringLiteral("amr"));
        f.options.Combo2.text = QStringLiteral("fast");
        f.form.txtPath = f.path(QStringLiteral("tone.wav"));
        QVERIFY(makeTone(f.form.txtPath, 1));
        f.dialogs.answer(DialogAnswer::Ok);
        f.job->btnConvert_Click();
        QCOMPARE(f.dialogs.messages().last().text, launchFailed);
        QVERIFY(f.log.text().endsWith(QStringLiteral(" -> Error: no encoder line can be made of these options\r\n"
                                                     "PROCESS LAUNCH FAILED!\r\nPlease, press 'Convert' button again!\r\n")));
    }
}

void TestConvertJob::abortEndsTheEncoder()
{
    Fixture f;
    f.chooseFormat(QStringLiteral("MP3"), QStringLiteral("5"), QStringLiteral("mp3"));
    // With nothing running, Abort says so; for AC3 it says nothing.
    f.job->btnAbort_Click();
    QVERIFY(f.log.text().endsWith(QStringLiteral(" -> No Encoding in process!\r\n")));
    f.form.cmbFormat.select(QStringLiteral("AC3"));
    const QString before = f.log.text();
    f.job->btnAbort_Click();
    QCOMPARE(f.log.text(), before);

    for (const auto &[name, index, extension] :
         {std::tuple{"MP3", "5", "mp3"}, std::tuple{"AC3", "2", "ac3"}, std::tuple{"WMA", "7", "wma"}}) {
        f.chooseFormat(QLatin1String(name), QLatin1String(index), QLatin1String(extension));
        f.form.txtPath = f.path(QStringLiteral("long.wav"));
        if (!QFileInfo::exists(f.form.txtPath))
            QVERIFY(makeTone(f.form.txtPath, 300));
        qint64 encoderPid = 0;
        const auto abort = [&] {
            if (encoderPid != 0)
                return;
            QVERIFY(f.job->encoding());
            const QList<ChildRecord> live = f.registry.live();
            QCOMPARE(live.size(), 1);
            encoderPid = live.first().pid;
            f.job->btnAbort_Click();
        };
        // The piped encoders are stopped once they have printed something;
        // the AC3 encoder prints nowhere the job sees, so it is stopped once
        // its output has begun.
        const QString output = f.path(QStringLiteral("long_Konverted.") + QLatin1String(extension));
        QMetaObject::Connection onTick;
        QTimer begun;
        if (QLatin1String(name) == QLatin1String("AC3")) {
            connect(&begun, &QTimer::timeout, f.job, [&] {
                if (QFileInfo(output + QStringLiteral(".part")).size() > 0)
                    abort();
            });
            begun.start(5);
        } else
            onTick = connect(f.job, &ConvertJob::progressChanged, this, [&] {
                if (!f.form.rtbOutput.isEmpty())
                    abort();
            });
        f.job->btnConvert_Click();
        disconnect(onTick);
        begun.stop();
        QVERIFY(encoderPid != 0);
        QVERIFY(!isProcessAlive(encoderPid));
        QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Aborted);
        QVERIFY(f.idle());
        QVERIFY(noLiveChildren(f.registry));
        const QRegularExpression aborted(QStringLiteral(
            " -> Canceling program\\.\r\n\\d\\d:\\d\\d:\\d\\d -> Encoding Aborted!\r\n-{142}\r\n$"));
        if (QLatin1String(name) == QLatin1String("AC3"))
            QVERIFY(f.log.text().endsWith(QStringLiteral(" -- Bitrate: 384\r\n") + kSeparator + kCrLf));
        else
            QVERIFY2(aborted.match(f.log.text()).hasMatch(), qPrintable(f.log.text().right(300)));
        QVERIFY(!QFileInfo(output).size());
        QVERIFY(!QFileInfo::exists(output + QStringLiteral(".part")));
    }
}

// The samples ffmpeg decodes from the file, 16-bit as they are stored.
QByteArray decodedSamples(const QString &path)
{
    QProcess p;
    p.start(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), path,
                                       QStringLiteral("-f"), QStringLiteral("s16le"), QStringLiteral("pipe:1")});
    p.waitForFinished(60000);
    return p.readAllStandardOutput();
}

void TestConvertJob::previewIsTheOutputsStretchAndEstimatesItsSize()
{
    // The stretch stays inside the output, moved back near its end, and
    // reaches the runner as it is.
    const struct {
        double position, output, start, seconds;
    } stretches[] = {{25, 60, 25, 10}, {55, 60, 50, 10}, {-2, 60, 0, 10}, {3, 6, 0, 6}};
    for (const auto &s : stretches) {
        const OutputWindow window = windowWithin(s.position, 10, s.output);
        QCOMPARE(window.start, s.start);
        QCOMPARE(window.seconds, s.seconds);
        const std::optional<OutputWindow> passed = windowFrom(windowEntry(window).section(QLatin1Char('='), 1).toLatin1());
        QVERIFY(passed && passed->start == window.start && passed->seconds == window.seconds);
    }
    for (const char *wrong : {"10", "a,10", "-1,10", "5,0", "5,nan", "1,2,3"})
        QVERIFY2(!windowFrom(wrong), wrong);

    Fixture f;
    // A minute of noise whose loudness rises and falls, so that the stretch
    // is not the whole in small.
    const QString source = f.path(QStringLiteral("noise.wav"));
    QCOMPARE(QProcess::execute(QStringLiteral("sox"),
                               {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"), QStringLiteral("-c"),
                                QStringLiteral("2"), QStringLiteral("-b"), QStringLiteral("16"), source,
                                QStringLiteral("synth"), QStringLiteral("60"), QStringLiteral("pinknoise"),
                                QStringLiteral("tremolo"), QStringLiteral("0.13"), QStringLiteral("50"),
                                QStringLiteral("vol"), QStringLiteral("0.5")}),
             0);
    OptionPanel panel(f.options, f.form, f.dialogs, f.folder);
    // The constant bit rates within 5 %, the variable ones within 15 %; kbps
    // 0: not fixed.
    const struct {
        const char *format;
        double within;
        double kbps;
    } rows[] = {{"MP3", 0.05, 128}, {"AC3", 0.05, 384}, {"WAV", 0.05, 1536},
                {"OGG", 0.15, 0},   {"OPUS", 0.15, 0},  {"M4A", 0.15, 0}};
    for (const auto &row : rows) {
        f.form.cmbFormat.select(QLatin1String(row.format));
        panel.cmbFormat_Click();
        // Normalised, so that the stretch's level is the whole's.
        const BatchSettings settings = batchSettingsFor(f.folder, f.options, f.form.cmbFormat.text, 80, true, false);
        const double position = 25;
        QString previewFile;
        PreviewOutcome outcome;
        QByteArray previewSamples;
        {
            ResultPreview preview(f.folder);
            QSignalSpy ended(&preview, &ResultPreview::finished);
            preview.start({source, settings, position, std::nullopt});
            QVERIFY(preview.running());
            QVERIFY(ended.wait(120000));
            outcome = preview.outcome();
            QVERIFY2(outcome.failure.isEmpty(), qPrintable(outcome.failure));
            previewFile = outcome.file;
            QVERIFY(previewFile.endsWith(QLatin1Char('.') + f.options.OutExtension));
            QVERIFY2(qAbs(test::decodedSeconds(previewFile) - 10) < 0.05,
                     qPrintable(QString::number(test::decodedSeconds(previewFile))));
            QCOMPARE(outcome.window.start, position);
            previewSamples = decodedSamples(previewFile);
        }
        QVERIFY(!QFileInfo::exists(previewFile));

        const QString whole = f.path(QStringLiteral("whole.") + f.options.OutExtension);
        std::atomic_bool abort = false;
        QCOMPARE(convertFile(f.folder, settings, source, whole, true, abort, [](double, double) {}).status,
                 BatchItem::Status::Done);
        const double error = double(outcome.estimate.bytes) / double(QFileInfo(whole).size()) - 1;
        qInfo("%s: estimate %lld bytes, output %lld bytes, off by %+.2f %%, %.1f kbit/s", row.format,
              outcome.estimate.bytes, QFileInfo(whole).size(), error * 100, outcome.estimate.kbps);
        QVERIFY(qAbs(error) <= row.within);
        if (row.kbps > 0)
            QVERIFY2(qAbs(outcome.estimate.kbps - row.kbps) < 1, qPrintable(QString::number(outcome.estimate.kbps)));
        if (QLatin1String(row.format) == QLatin1String("WAV")) {
            // Sample for sample the stretch of the whole output from 25 s.
            constexpr qsizetype kBytesPerSecond = 48000 * 4;
            QCOMPARE(previewSamples.size(), 10 * kBytesPerSecond);
            QVERIFY(previewSamples == decodedSamples(whole).mid(qsizetype(position) * kBytesPerSecond, 10 * kBytesPerSecond));
        }
    }
}

QTEST_GUILESS_MAIN(TestConvertJob)
#include "tst_convertjob.moc"
