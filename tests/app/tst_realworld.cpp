// Files as they come from the world, and what goes wrong between them and an
// output: the output holds the source's whole sound and nothing more, every
// failure is named with its cause (log, message, the command line's one
// line), and nothing is left behind: no partial file, no process, no other
// file's tags.
#include "app/ActivityLog.h"
#include "convert/ConvertJob.h"
#include "convert/SourceDuration.h"
#include "media/FileSelection.h"
#include "media/MediaReport.h"
#include "options/MainFormState.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "platform/ProcessRegistry.h"
#include "process/ConsolePane.h"
#include "process/ReadOutput.h"
#include "process/cStdIO.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <csignal>
#include <functional>

using namespace tonmill;
using test::decodedSeconds;

namespace {

const QString kFfmpeg = QStringLiteral("/usr/bin/ffmpeg");

bool run(const QString &program, const QStringList &arguments)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start(program, arguments);
    return p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

// ffmpeg making test material from its own generators.
bool generate(const QString &path, const QString &lavfi, const QStringList &encode)
{
    return run(QStringLiteral("ffmpeg"), QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"),
                                                     QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"), lavfi}
                                             + encode + QStringList{path});
}

void writeExecutable(const QString &path, const QByteArray &script)
{
    test::writeBytes(path, script);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
}

// A portable application folder: a copy of the program, whose helpers are
// the build's, each linked on its own so that a test can take one away;
// sources and outputs in folders of their own, so that anything left behind
// shows.
struct Home {
    QTemporaryDir dir;
    QString app = dir.filePath(QStringLiteral("app"));
    QString sources = dir.filePath(QStringLiteral("sources"));
    QString out = dir.filePath(QStringLiteral("out"));

    Home()
    {
        for (const QString &folder : {app + QStringLiteral("/Tools/MediaInfo"), sources, out})
            QDir().mkpath(folder);
        const QString built = test::builtAppDir() + QStringLiteral("/Tools/");
        for (const QString &tool : {QStringLiteral("tonmill-run"), QStringLiteral("tonmill-avs"), QStringLiteral("MediaInfo/mediainfo")})
            QFile::link(built + tool, app + QStringLiteral("/Tools/") + tool);
        // A link would not do: the program finds its helpers from where it
        // really lies.
        QFile::copy(test::builtAppDir() + QStringLiteral("/tonmill"), program());
        setFfmpeg(kFfmpeg);
    }

    void setFfmpeg(const QString &path) const
    {
        test::writeBytes(app + QStringLiteral("/Tonmill.ini"), "[General]\r\nFFMPEG=" + path.toUtf8() + "\r\n");
    }
    QString program() const { return app + QStringLiteral("/tonmill"); }
    QString mediaTool() const { return app + QStringLiteral("/Tools/MediaInfo/mediainfo"); }
    void replaceMediaTool(const QByteArray &script) const
    {
        QFile::remove(mediaTool());
        writeExecutable(mediaTool(), script);
    }
    QString source(const QString &name) const { return sources + QLatin1Char('/') + name; }
};

// The core pieces wired as the main window wires them.
struct Converter {
    AppFolder folder;
    ProcessRegistry registry;
    test::TestDialogs dialogs;
    ActivityLog log;
    cStdIO runner{registry};
    ReadOutput reader{registry};
    ConsolePane pane{folder.path()};
    MediaReport report{folder, reader, pane, log};
    OptionState options;
    MainFormState form;
    FileSelection selection{form, options, dialogs, report, folder};
    ConvertJob job{folder, dialogs, log, runner, registry, options, form, SourceDuration(folder)};

    explicit Converter(const QString &app)
        : folder(app)
    {
        logRunnerEvents(runner, log);
        handleReaderErrors(reader, dialogs, log);
        pane.attach(reader);
        options.fillLists();
        form.fillFormatList();
    }

    void open(const QString &source) { selection.loadSource(source); }

    void convert(const QString &format, const QString &output)
    {
        const int index = QStringList{"AAC", "AC3", "AMR", "MP2/MPA", "MP3", "WAV", "WMA"}.indexOf(format) + 1;
        form.cmbFormat.select(format);
        options.txtFormat = QString::number(index);
        options.OutExtension = QFileInfo(output).suffix();
        form.chkSameOutput = false;
        form.lblOutputPath = output;
        job.btnConvert_Click();
    }

    bool idle() const
    {
        return form.btnConvertEnabled && !form.btnAbortVisible && !form.EncodingVisible && !form.PB1Visible
               && !form.Timer3Enabled && form.btnExitEnabled && form.mnuArquivoEnabled;
    }
};

struct CommandLineRun {
    int status = -1;
    QString err;
};

// The program's command line, optionally under a wrapper (the small disk).
CommandLineRun convertByCommandLine(const Home &home, const QStringList &arguments, const QStringList &wrapper = {},
                                    const std::function<void(QProcess &)> &meanwhile = {})
{
    QProcess p;
    const QStringList command = wrapper + QStringList{home.program()} + arguments;
    p.start(command.first(), command.mid(1));
    p.waitForStarted();
    if (meanwhile)
        meanwhile(p);
    CommandLineRun r;
    if (p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit)
        r.status = p.exitCode();
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

// The ffmpeg that writes the output (the only process whose command line
// names the partial file), once it is writing; 0 when none appears in time.
qint64 encoderWriting(const QString &output, int waitMs)
{
    const QString partial = output + QStringLiteral(".part");
    for (int waited = 0;; waited += 20) {
        const QList<qint64> found = test::processesMentioning(partial);
        if (!found.isEmpty() && QFileInfo(partial).size() > 0)
            return found.first();
        if (waited >= waitMs)
            return 0;
        QTest::qWait(20);
    }
}

// Whether the fragments occur in the text in this order.
bool inOrder(const QString &text, const QStringList &fragments)
{
    qsizetype at = 0;
    for (const QString &f : fragments) {
        at = text.indexOf(f, at);
        if (at < 0)
            return false;
        at += f.size();
    }
    return true;
}

} // namespace

class TestRealWorld : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void wholeSoundAndNothingMore();
    void failuresAreNamed();
    void fullDiskIsAFailure();
    void abortLeavesNoPartialFile();
    void failedReportLeavesNoOtherFilesTags();
};

void TestRealWorld::wholeSoundAndNothingMore()
{
    Home home;
    const QString vbr = home.source(QStringLiteral("vbr.mp3"));
    const QString truncated = home.source(QStringLiteral("truncated.mp3"));
    const QString tiny = home.source(QStringLiteral("tiny.wav"));
    const QString liar = home.source(QStringLiteral("liar.wav"));
    const QString streamed = home.source(QStringLiteral("streamed.ogg"));
    const QString raw = home.source(QStringLiteral("raw.aac"));
    const QString halfRate = home.source(QStringLiteral("half-rate.mp3"));
    // Loud noise, then a quiet tone: a VBR MP3 without a frame count, whose
    // length ffmpeg guesses from its first, costly frames (16 s of 60 s).
    QVERIFY(generate(vbr, QStringLiteral("anoisesrc=d=5:c=pink:a=0.5[a];sine=f=440:d=55,volume=0.1[b];[a][b]concat=n=2:v=0:a=1"),
                     {QStringLiteral("-ac"), QStringLiteral("2"), QStringLiteral("-c:a"), QStringLiteral("libmp3lame"),
                      QStringLiteral("-q:a"), QStringLiteral("0"), QStringLiteral("-write_xing"), QStringLiteral("0")}));
    // A 211 s MP3 whose frame count stays when all but its first 2.4 s are cut off.
    QVERIFY(generate(truncated, QStringLiteral("sine=f=440:d=211"), {QStringLiteral("-c:a"), QStringLiteral("libmp3lame"),
                                                                      QStringLiteral("-b:a"), QStringLiteral("128k")}));
    test::writeBytes(truncated, test::readBytes(truncated).left(40000));
    // MPEG-2 layer III: half as many samples in a frame.
    QVERIFY(generate(halfRate, QStringLiteral("sine=f=440:d=4"), {QStringLiteral("-ar"), QStringLiteral("22050"),
                                                                   QStringLiteral("-c:a"), QStringLiteral("libmp3lame")}));
    QVERIFY(generate(tiny, QStringLiteral("sine=f=440:d=0.01"), {QStringLiteral("-c:a"), QStringLiteral("pcm_s16le")}));
    // A WAV whose header claims three times the data the file holds.
    QVERIFY(generate(liar, QStringLiteral("sine=f=440:d=3"), {QStringLiteral("-c:a"), QStringLiteral("pcm_s16le")}));
    QByteArray bytes = test::readBytes(liar);
    const qsizetype data = bytes.indexOf("data");
    const quint32 size = qFromLittleEndian<quint32>(bytes.constData() + data + 4);
    qToLittleEndian<quint32>(size * 3, bytes.data() + data + 4);
    test::writeBytes(liar, bytes);
    // Containers without a duration, whose length is guessed: an Ogg whose
    // end is not found, and raw AAC.
    QVERIFY(generate(streamed, QStringLiteral("sine=f=440:d=20"), {QStringLiteral("-c:a"), QStringLiteral("libvorbis")}));
    test::writeBytes(streamed, test::readBytes(streamed) + QByteArray(200000, '\0'));
    QVERIFY(generate(raw, QStringLiteral("anoisesrc=d=27:c=pink:a=0.5,adelay=3s:all=1"),
                     {QStringLiteral("-ac"), QStringLiteral("2"), QStringLiteral("-c:a"), QStringLiteral("aac"), QStringLiteral("-f"),
                      QStringLiteral("adts")}));

    for (const QString &source : {vbr, truncated, halfRate, tiny, liar, streamed, raw}) {
        const double length = decodedSeconds(source);
        QVERIFY2(length > 0, qPrintable(source));
        // All but the WAVs and the whole MP3 lie in their headers by more than a second.
        const double claimed = test::probeEntries(source, QStringLiteral("format=duration")).toDouble();
        if (!source.endsWith(QLatin1String(".wav")) && source != halfRate)
            QVERIFY2(std::abs(claimed - length) > 1, qPrintable(QStringLiteral("%1 claims %2 s").arg(source).arg(claimed)));
        for (const QString &format : {QStringLiteral("MP3"), QStringLiteral("WAV")}) {
            Converter c(home.app);
            c.open(source);
            const QString output = home.out + QStringLiteral("/") + QFileInfo(source).completeBaseName()
                                   + QStringLiteral(".") + format.toLower();
            c.convert(format, output);
            const QString what = source + QLatin1Char(' ') + format + QLatin1Char('\n') + c.log.text();
            QVERIFY2(c.job.result().outcome == ConvertResult::Outcome::Ended, qPrintable(what));
            // The progress bar spans the sound's whole seconds.
            QVERIFY2(std::abs(c.form.PB1Max - length) <= 0.6, qPrintable(QStringLiteral("%1: bar of %2 s").arg(what).arg(c.form.PB1Max)));
            // The script never trims at frame 0, which would mean the clip's end.
            if (source == tiny)
                QVERIFY(test::readBytes(home.app + QStringLiteral("/DirectQX.avs")).contains("Trim(Clip3,0,1)\r\n"));
            const double written = decodedSeconds(output);
            QVERIFY2(std::abs(written - length) <= 0.040,
                     qPrintable(QStringLiteral("%1: %2 s from %3 s").arg(what).arg(written).arg(length)));
        }
    }
    QCOMPARE(entries(home.out).size(), 14);
}

void TestRealWorld::failuresAreNamed()
{
    Home home;
    const QString tone = home.source(QStringLiteral("tone.wav"));
    const QString longTone = home.source(QStringLiteral("long.wav"));
    const QString text = home.source(QStringLiteral("notes.mp3"));
    QVERIFY(generate(tone, QStringLiteral("sine=f=440:d=2"), {QStringLiteral("-ac"), QStringLiteral("2")}));
    QVERIFY(generate(longTone, QStringLiteral("sine=f=440:d=300"), {QStringLiteral("-ac"), QStringLiteral("2")}));
    test::writeBytes(text, "Shopping list: milk, eggs, tape.\n");
    const QString missing = home.dir.filePath(QStringLiteral("nowhere/ffmpeg"));
    const QString notAProgram = home.dir.filePath(QStringLiteral("plain/ffmpeg"));
    QDir().mkpath(QFileInfo(notAProgram).path());
    test::writeBytes(notAProgram, "not a program\n");
    const QString refuses = home.dir.filePath(QStringLiteral("fake/ffmpeg"));
    QDir().mkpath(QFileInfo(refuses).path());
    writeExecutable(refuses, "#!/bin/sh\necho 'fake: no licence for this codec' >&2\nexit 1\n");
    // An encoder that reports ever more sound written and never ends.
    const QString endless = home.dir.filePath(QStringLiteral("endless/ffmpeg"));
    QDir().mkpath(QFileInfo(endless).path());
    writeExecutable(endless, "#!/bin/sh\ni=0\nwhile :; do\n  i=$((i + 1))\n"
                             "  printf 'total_size=%d\\nout_time_us=%d000000\\nprogress=continue\\n' $((i * 1000)) $i\n"
                             "  sleep 0.01\ndone\n");
    const QByteArray builtTool = QFile::symLinkTarget(home.mediaTool()).toUtf8();

    const QString launchMessage = QStringLiteral("PROCESS LAUNCH FAILED!\r\n\r\nPlease, press 'Convert' button again!");
    const QString failedMessage = QStringLiteral("The conversion failed!\r\n\r\n");
    using Outcome = ConvertResult::Outcome;
    struct Case {
        const char *name;
        QString ffmpeg;
        QByteArray mediaTool; // a script in place of the media tool; "-" none at all
        QString source;
        Outcome outcome;
        QStringList log;      // in this order
        QStringList messages; // exact texts, except that a failure's cause follows failedMessage
        int status;           // of the command line
        QString line;         // in its one line
        bool killEncoder = false;
    };
    const QList<Case> cases = {
        {"missing ffmpeg", missing, {}, tone, Outcome::LaunchFailed,
         {" -> Error #406: CreateProcess failed.", " -> Error: cannot start \"" + missing + "\"", "PROCESS LAUNCH FAILED!"},
         {launchMessage}, 1, "cannot start \"" + missing + "\""},
        {"ffmpeg not executable", notAProgram, {}, tone, Outcome::LaunchFailed,
         {" -> Error #406: CreateProcess failed.", " -> Error: cannot start \"" + notAProgram + "\"", "PROCESS LAUNCH FAILED!"},
         {launchMessage}, 1, "cannot start \"" + notAProgram + "\""},
        {"encoder refuses with a reason", refuses, {}, tone, Outcome::Failed,
         {" -> Process Completed!", " -> Error: ", "fake: no licence for this codec", " | ", "fake: no licence for this codec"},
         {failedMessage}, 1, "fake: no licence for this codec"},
        {"encoder that never ends", endless, {}, tone, Outcome::Failed,
         {" -> Encoding Aborted!", " -> Error: the encoder went on past the sound's end"}, {failedMessage}, 1,
         "the encoder went on past the sound's end"},
        {"encoder killed from outside", kFfmpeg, {}, longTone, Outcome::Failed,
         {" -> Process Completed!", " -> Error: ", "signal 9"}, {failedMessage}, 1, "signal 9", true},
        {"text file named .mp3", kFfmpeg, {}, text, Outcome::Failed,
         {" -> Error: \"" + text + "\" cannot be read as audio: "}, {failedMessage}, 1,
         "\"" + text + "\" cannot be read as audio: "},
        {"missing media tool", kFfmpeg, "-", tone, Outcome::Ended,
         {" -> Error #2: CreateProcess failed.", " -> \"" + tone + "\" could not be described: cannot start \"" + home.mediaTool(),
          " -> Process Completed!"},
         {"Error!\r\nDescription: CreateProcess failed.\r\nLastDLLError: 2"}, 0, "could not be described: cannot start"},
        {"media tool prints garbage", kFfmpeg, "#!/bin/sh\necho 'no report here'\n", tone, Outcome::Ended,
         {" -> \"" + tone + "\" could not be described: the media tool printed no report of it, only: no report here",
          " -> Process Completed!"},
         {}, 0, "could not be described: the media tool printed no report of it"},
    };

    for (const Case &c : cases) {
        home.setFfmpeg(c.ffmpeg);
        if (c.mediaTool == "-")
            QFile::remove(home.mediaTool());
        else if (!c.mediaTool.isEmpty())
            home.replaceMediaTool(c.mediaTool);
        const QString output = home.out + QStringLiteral("/result.mp3");
        const QStringList expectedOutputs = c.outcome == Outcome::Ended ? QStringList{QStringLiteral("result.mp3")} : QStringList{};

        // In the window's core.
        {
            Converter conv(home.app);
            for (qsizetype i = 0; i < c.messages.size(); ++i)
                conv.dialogs.answer(DialogAnswer::Ok);
            qint64 killed = 0;
            if (c.killEncoder) {
                connect(&conv.job, &ConvertJob::progressChanged, this, [&] {
                    if (killed == 0 && !conv.form.rtbOutput.isEmpty() && (killed = encoderWriting(output, 0)) > 0)
                        ::kill(pid_t(killed), SIGKILL);
                });
            }
            conv.open(c.source);
            conv.convert(QStringLiteral("MP3"), output);
            const QString what = QLatin1String(c.name) + QLatin1Char('\n') + conv.log.text();
            QVERIFY2(conv.job.result().outcome == c.outcome, qPrintable(what));
            QVERIFY2(inOrder(conv.log.text(), c.log), qPrintable(what));
            QCOMPARE(conv.dialogs.messages().size(), c.messages.size());
            for (qsizetype i = 0; i < c.messages.size(); ++i) {
                const QString shown = conv.dialogs.messages()[i].text;
                if (c.messages[i] == failedMessage)
                    QCOMPARE(shown, failedMessage + conv.job.result().failure);
                else
                    QCOMPARE(shown, c.messages[i]);
            }
            QVERIFY2(c.outcome == Outcome::Ended || conv.job.result().failure.contains(c.line), qPrintable(what));
            QVERIFY2(conv.idle(), c.name);
            QCOMPARE(entries(home.out), expectedOutputs);
            QVERIFY(conv.registry.live().isEmpty());
            QVERIFY2(test::noProcessMentions(home.dir.path()), c.name);
        }
        QFile::remove(output);

        // On the command line: the same cause in one line, and the exit status.
        const CommandLineRun r = convertByCommandLine(
            home, {QStringLiteral("--convert"), c.source, QStringLiteral("--format"), QStringLiteral("MP3"), QStringLiteral("--output"), output},
            {}, [&](QProcess &) {
                if (c.killEncoder) {
                    const qint64 pid = encoderWriting(output, 30000);
                    QVERIFY(pid > 0);
                    ::kill(pid_t(pid), SIGKILL);
                }
            });
        const QString what = QLatin1String(c.name) + QStringLiteral(": ") + r.err;
        QVERIFY2(r.status == c.status, qPrintable(what));
        QVERIFY2(r.err.startsWith(QStringLiteral("tonmill: ")) && r.err.count(QLatin1Char('\n')) == 1, qPrintable(what));
        QVERIFY2(r.err.contains(c.line), qPrintable(what));
        QCOMPARE(entries(home.out), expectedOutputs);
        QVERIFY2(test::noProcessMentions(home.dir.path()), c.name);
        QFile::remove(output);
        if (!c.mediaTool.isEmpty()) {
            QFile::remove(home.mediaTool());
            QFile::link(QString::fromUtf8(builtTool), home.mediaTool());
        }
    }
}

void TestRealWorld::fullDiskIsAFailure()
{
    Home home;
    const QString tone = home.source(QStringLiteral("tone.wav"));
    QVERIFY(generate(tone, QStringLiteral("sine=f=440:d=30"), {QStringLiteral("-ac"), QStringLiteral("2")}));
    const QString listing = home.dir.filePath(QStringLiteral("left.txt"));
    const QString output = home.out + QStringLiteral("/result.wav");
    // 256 KiB hold a second and a half of the 30 s WAV.
    const CommandLineRun r = convertByCommandLine(
        home, {QStringLiteral("--convert"), tone, QStringLiteral("--format"), QStringLiteral("WAV"), QStringLiteral("--output"), output},
        {test::testProgram(QStringLiteral("tonmill-test-smallfs")), QStringLiteral("256"), home.out, listing});
    if (r.status == 77)
        QSKIP(qPrintable(QStringLiteral("no mount namespace can be made here: ") + r.err));
    QVERIFY2(r.status == 1, qPrintable(r.err));
    QVERIFY2(r.err.startsWith(QStringLiteral("tonmill: ")) && r.err.count(QLatin1Char('\n')) == 1, qPrintable(r.err));
    QVERIFY2(r.err.contains(QStringLiteral("No space left on device")), qPrintable(r.err));
    QCOMPARE(test::readBytes(listing), QByteArray());
    QVERIFY(test::noProcessMentions(home.dir.path()));
}

void TestRealWorld::abortLeavesNoPartialFile()
{
    Home home;
    // An hour of 8 kHz silence becomes 635 MB of 44.1 kHz stereo WAV, written
    // as fast as the disk takes it.
    const QString hour = home.source(QStringLiteral("hour.wav"));
    QVERIFY(generate(hour, QStringLiteral("anullsrc=r=8000:cl=mono"),
                     {QStringLiteral("-t"), QStringLiteral("3600"), QStringLiteral("-c:a"), QStringLiteral("pcm_u8")}));
    const QString output = home.out + QStringLiteral("/result.wav");
    const QString partial = output + QStringLiteral(".part");
    constexpr qint64 kWrittenBeforeAbort = 20 * 1024 * 1024;
    for (int round = 0; round < 10; ++round) {
        Converter c(home.app);
        c.open(hour);
        qint64 seen = 0;
        connect(&c.job, &ConvertJob::progressChanged, this, [&] {
            if (seen == 0 && QFileInfo(partial).size() >= kWrittenBeforeAbort) {
                seen = QFileInfo(partial).size();
                c.job.btnAbort_Click();
            }
        });
        c.convert(QStringLiteral("WAV"), output);
        QVERIFY2(seen > 0, qPrintable(c.log.text()));
        QCOMPARE(c.job.result().outcome, ConvertResult::Outcome::Aborted);
        QVERIFY(c.idle());
        QVERIFY2(entries(home.out).isEmpty(), qPrintable(QStringLiteral("round %1: %2").arg(round).arg(entries(home.out).join(' '))));
        QVERIFY(test::noProcessMentions(home.dir.path()));
    }
    // The command line ended by either signal while ffmpeg writes.
    for (const int number : {SIGINT, SIGTERM}) {
        const CommandLineRun r = convertByCommandLine(
            home, {QStringLiteral("--convert"), hour, QStringLiteral("--format"), QStringLiteral("WAV"), QStringLiteral("--output"), output},
            {}, [&](QProcess &p) {
                for (int waited = 0; QFileInfo(partial).size() < kWrittenBeforeAbort && waited < 30000; waited += 2)
                    QTest::qWait(2);
                QVERIFY(p.processId() > 0);
                ::kill(pid_t(p.processId()), number);
            });
        QCOMPARE(r.status, 128 + number);
        QVERIFY2(entries(home.out).isEmpty(), qPrintable(entries(home.out).join(' ')));
        QVERIFY(test::noProcessMentions(home.dir.path()));
    }
}

void TestRealWorld::failedReportLeavesNoOtherFilesTags()
{
    Home home;
    const QString a = home.source(QStringLiteral("a.mp3"));
    const QString b = home.source(QStringLiteral("b.wav"));
    QVERIFY(generate(a, QStringLiteral("sine=d=2"),
                     {QStringLiteral("-metadata"), QStringLiteral("title=Song of A"), QStringLiteral("-metadata"),
                      QStringLiteral("artist=Band of A")}));
    QVERIFY(generate(b, QStringLiteral("sine=d=2"), {}));
    Converter c(home.app);
    c.open(a);
    QCOMPARE(c.form.txtTitle, QStringLiteral("Song of A"));
    QCOMPARE(c.form.txtArtist, QStringLiteral("Band of A"));

    home.replaceMediaTool("#!/bin/sh\necho 'mediainfo: error: the disk is unreadable' >&2\nexit 1\n");
    c.open(b);
    QVERIFY(!QFileInfo::exists(c.report.reportFile()));
    for (const QString *field : {&c.form.txtTitle, &c.form.txtArtist, &c.form.txtAlbum, &c.form.txtYear, &c.form.txtNotes,
                                 &c.form.cmbGenre.text, &c.form.txtTrack})
        QVERIFY2(field->isEmpty(), qPrintable(*field));
    QVERIFY2(c.log.text().contains(QStringLiteral(" -> \"") + b + QStringLiteral("\" could not be described: the disk is unreadable")),
             qPrintable(c.log.text()));

    const QString output = home.out + QStringLiteral("/b.mp3");
    c.convert(QStringLiteral("MP3"), output);
    QCOMPARE(c.job.result().outcome, ConvertResult::Outcome::Ended);
    QProcess tags;
    tags.start(QStringLiteral("mid3v2"), {QStringLiteral("-l"), output});
    QVERIFY(tags.waitForFinished(30000));
    const QString listed = QString::fromUtf8(tags.readAllStandardOutput());
    QVERIFY2(!listed.contains(QStringLiteral("of A")), qPrintable(listed));
    QVERIFY(decodedSeconds(output) > 1.9);
}

QTEST_GUILESS_MAIN(TestRealWorld)
#include "tst_realworld.moc"
