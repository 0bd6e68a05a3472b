// Files as they come from the world, and what goes wrong between them and an output: the output holds the
// source's whole sound and nothing more, every failure is named with its cause (log, message, the command
// line's one line), and nothing is left behind: no partial file, no process, no other file's tags.
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
#include "support/TestHome.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <csignal>
#include <functional>

using namespace tonmill;
using namespace tonmill::test;
using namespace Qt::StringLiterals;

namespace {

const QString kFfmpeg = u"/usr/bin/ffmpeg"_s;

void writeExecutable(const QString &path, const QByteArray &script)
{
    QDir().mkpath(QFileInfo(path).path());
    writeBytes(path, script);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QStringList entries(const QString &folder) { return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden); }

// A copy of the program whose helpers are linked one by one, so that a test can take one away; sources and
// outputs in folders of their own, so that anything left behind shows.
struct Home {
    QTemporaryDir dir;
    QString app = dir.filePath(u"app"_s), sources = dir.filePath(u"sources"_s), out = dir.filePath(u"out"_s);
    QString mediaTool = app + u"/Tools/MediaInfo/mediainfo"_s;

    Home()
    {
        for (const QString &folder : {app + u"/Tools/MediaInfo"_s, sources, out})
            QDir().mkpath(folder);
        for (const QString &tool : {u"tonmill-run"_s, u"tonmill-avs"_s, u"MediaInfo/mediainfo"_s})
            QFile::link(builtAppDir() + u"/Tools/"_s + tool, app + u"/Tools/"_s + tool);
        // A link would not do: the program finds its helpers from where it really lies.
        QFile::copy(builtAppDir() + u"/tonmill"_s, app + u"/tonmill"_s);
        setFfmpeg(kFfmpeg);
    }
    void setFfmpeg(const QString &path) const { writeBytes(app + u"/Tonmill.ini"_s, "[General]\r\nFFMPEG=" + path.toUtf8() + "\r\n"); }
    // A script in place of the media tool; none at all for "-"; the build's for "".
    void replaceMediaTool(const QByteArray &script) const
    {
        QFile::remove(mediaTool);
        if (script.isEmpty())
            QFile::link(builtAppDir() + u"/Tools/MediaInfo/mediainfo"_s, mediaTool);
        else if (script != "-")
            writeExecutable(mediaTool, script);
    }
    QString source(const QString &name) const { return sources + u'/' + name; }
};

// The core pieces wired as the main window wires them.
struct Converter {
    AppFolder folder;
    ProcessRegistry registry;
    TestDialogs dialogs;
    ActivityLog log;
    cStdIO runner{registry};
    ReadOutput reader{registry};
    ConsolePane pane{folder.path()};
    MediaReport report{folder, reader, pane, log};
    OptionState options;
    MainFormState form;
    FileSelection selection{form, options, dialogs, report, folder};
    ConvertJob job{folder, dialogs, log, runner, registry, options, form, SourceDuration(folder)};

    explicit Converter(const QString &app) : folder(app)
    {
        logRunnerEvents(runner, log);
        handleReaderErrors(reader, dialogs, log);
        pane.attach(reader);
        options.fillLists();
        form.fillFormatList();
    }
    void convert(const QString &source, const QString &format, const QString &output)
    {
        selection.loadSource(source);
        form.cmbFormat.select(format);
        options.txtFormat = QString::number(QStringList{"AAC", "AC3", "AMR", "MP2/MPA", "MP3", "WAV", "WMA"}.indexOf(format) + 1);
        options.OutExtension = QFileInfo(output).suffix();
        form.chkSameOutput = false;
        form.lblOutputPath = output;
        job.btnConvert_Click();
    }
    bool idle() const
    {
        return form.btnConvertEnabled && !form.btnAbortVisible && !form.EncodingVisible && !form.PB1Visible && !form.Timer3Enabled
               && form.btnExitEnabled && form.mnuArquivoEnabled;
    }
};

// The program's command line, under a wrapper (the small disk) if given: the status and the error output.
std::pair<int, QString> commandLine(const Home &home, const QStringList &arguments, const QStringList &wrapper = {},
                                    const std::function<void(QProcess &)> &meanwhile = {})
{
    QProcess p;
    const QStringList command = wrapper + QStringList{home.app + u"/tonmill"_s, u"--convert"_s} + arguments;
    p.start(command.first(), command.mid(1));
    p.waitForStarted();
    if (meanwhile)
        meanwhile(p);
    const bool ended = p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit;
    return {ended ? p.exitCode() : -1, QString::fromUtf8(p.readAllStandardError())};
}

// The ffmpeg writing the output (its command line names the partial file); 0 when none appears in time.
qint64 encoderWriting(const QString &output, int waitMs)
{
    const QString partial = output + u".part"_s;
    for (int waited = 0;; waited += 20) {
        const QList<qint64> found = processesMentioning(partial);
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
        if ((at = text.indexOf(f, at)) < 0)
            return false;
        at += f.size();
    }
    return true;
}

bool oneLine(const QString &err) { return err.startsWith(u"tonmill: "_s) && err.count(u'\n') == 1; }

} // namespace

class TestRealWorld : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void wholeSoundAndNothingMore();
    void failuresAreNamed();
    void fullDiskIsAFailure();
    void failedReportLeavesNoOtherFilesTags();
};

void TestRealWorld::wholeSoundAndNothingMore()
{
    Home home;
    // Each source, what ffmpeg makes it of, whether its header is known to lie
    // about its length by more than a second, and the format it becomes.
    const std::tuple<const char *, QString, QString, bool, QString> sources[] = {
        // Loud noise, then a quiet tone: a VBR MP3 without a frame count, whose
        // length ffmpeg guesses from its first, costly frames (16 s of 60 s).
        {"vbr.mp3", u"anoisesrc=d=5:c=pink:a=0.5[a];sine=f=440:d=55,volume=0.1[b];[a][b]concat=n=2:v=0:a=1"_s,
         u"-ac 2 -c:a libmp3lame -q:a 0 -write_xing 0"_s, true, u"WAV"_s},
        // A 211 s MP3 whose frame count stays when all but its first 2.4 s are cut off.
        {"truncated.mp3", u"sine=f=440:d=211"_s, u"-c:a libmp3lame -b:a 128k"_s, true, u"MP3"_s},
        // MPEG-2 layer III: half as many samples in a frame.
        {"half-rate.mp3", u"sine=f=440:d=4"_s, u"-ar 22050 -c:a libmp3lame"_s, false, u"MP3"_s},
        {"tiny.wav", u"sine=f=440:d=0.01"_s, u"-c:a pcm_s16le"_s, false, u"MP3"_s},
        // A WAV whose header claims three times the data the file holds.
        {"liar.wav", u"sine=f=440:d=3"_s, u"-c:a pcm_s16le"_s, false, u"WAV"_s},
        // Containers without a duration, whose length is guessed: an Ogg whose
        // end is not found, and raw AAC.
        {"streamed.ogg", u"sine=f=440:d=20"_s, u"-c:a libvorbis"_s, true, u"WAV"_s},
        {"raw.aac", u"anoisesrc=d=27:c=pink:a=0.5,adelay=3s:all=1"_s, u"-ac 2 -c:a aac -f adts"_s, true, u"MP3"_s},
    };
    for (const auto &[name, lavfi, encode, lies, format] : sources) {
        const QString source = home.source(QLatin1String(name));
        QVERIFY(generate(source, lavfi, encode.split(u' ')));
        QByteArray bytes = readBytes(source);
        if (source.contains(u"truncated"_s))
            bytes.truncate(40000);
        if (source.contains(u"streamed"_s))
            bytes += QByteArray(200000, '\0');
        if (source.contains(u"liar"_s)) {
            uchar *size = reinterpret_cast<uchar *>(bytes.data() + bytes.indexOf("data") + 4);
            qToLittleEndian<quint32>(qFromLittleEndian<quint32>(size) * 3, size);
        }
        writeBytes(source, bytes);
        const double length = decodedSeconds(source);
        QVERIFY2(length > 0, name);
        const double claimed = probeEntries(source, u"format=duration"_s).toDouble();
        QVERIFY2(!lies || std::abs(claimed - length) > 1, qPrintable(u"%1 claims %2 s"_s.arg(source).arg(claimed)));
        Converter c(home.app);
        const QString output = home.out + u'/' + QFileInfo(source).completeBaseName() + u'.' + format.toLower();
        c.convert(source, format, output);
        const QString what = source + u' ' + format + u'\n' + c.log.text();
        QVERIFY2(c.job.result().outcome == ConvertResult::Outcome::Ended, qPrintable(what));
        // The progress bar spans the sound's whole seconds.
        QVERIFY2(std::abs(c.form.PB1Max - length) <= 0.6, qPrintable(u"%1: bar of %2 s"_s.arg(what).arg(c.form.PB1Max)));
        const double written = decodedSeconds(output);
        QVERIFY2(std::abs(written - length) <= 0.040, qPrintable(u"%1: %2 s from %3 s"_s.arg(what).arg(written).arg(length)));
    }
    QCOMPARE(entries(home.out).size(), 7);
}

void TestRealWorld::failuresAreNamed()
{
    Home home;
    const QString tone = home.source(u"tone.wav"_s), longTone = home.source(u"long.wav"_s), text = home.source(u"notes.mp3"_s);
    QVERIFY(generate(tone, u"sine=f=440:d=2"_s, {u"-ac"_s, u"2"_s}) && generate(longTone, u"sine=f=440:d=120"_s, {u"-ac"_s, u"2"_s}));
    writeBytes(text, "Shopping list: milk, eggs, tape.\n");
    const QString missing = home.dir.filePath(u"nowhere/ffmpeg"_s), notAProgram = home.dir.filePath(u"plain/ffmpeg"_s);
    const QString refuses = home.dir.filePath(u"fake/ffmpeg"_s), endless = home.dir.filePath(u"endless/ffmpeg"_s);
    QVERIFY(QDir().mkpath(QFileInfo(notAProgram).path()));
    writeBytes(notAProgram, "not a program\n");
    writeExecutable(refuses, "#!/bin/sh\necho 'fake: no licence for this codec' >&2\nexit 1\n");
    // An encoder that reports ever more sound written and never ends.
    writeExecutable(endless, "#!/bin/sh\ni=0\nwhile :; do\n  i=$((i + 1))\n"
                             "  printf 'total_size=%d\\nout_time_us=%d000000\\nprogress=continue\\n' $((i * 1000)) $i\n  sleep 0.01\ndone\n");
    const QString launchMessage = u"PROCESS LAUNCH FAILED!\r\n\r\nPlease, press 'Convert' button again!"_s;
    const QString failed = u"The conversion failed!\r\n\r\n"_s; // the failure's cause follows
    using Outcome = ConvertResult::Outcome;
    struct Case {
        const char *name;
        QString ffmpeg;
        QByteArray mediaTool; // a script in place of the media tool; "-" none at all
        QString source;
        Outcome outcome;
        QStringList log;     // in this order
        QString message;     // the one message shown, if any
        QString line;        // in the command line's one line, and in the failure
        bool killEncoder = false;
    };
    const Case cases[] = {
        {"missing ffmpeg", missing, {}, tone, Outcome::LaunchFailed,
         {" -> Error #406: CreateProcess failed.", " -> Error: cannot start \"" + missing + "\"", "PROCESS LAUNCH FAILED!"},
         launchMessage, "cannot start \"" + missing + "\""},
        {"ffmpeg not executable", notAProgram, {}, tone, Outcome::LaunchFailed,
         {" -> Error #406: CreateProcess failed.", " -> Error: cannot start \"" + notAProgram + "\"", "PROCESS LAUNCH FAILED!"},
         launchMessage, "cannot start \"" + notAProgram + "\""},
        {"encoder refuses with a reason", refuses, {}, tone, Outcome::Failed,
         {" -> Process Completed!", " -> Error: ", "fake: no licence for this codec", " | ", "fake: no licence for this codec"},
         failed, "fake: no licence for this codec"},
        {"encoder that never ends", endless, {}, tone, Outcome::Failed,
         {" -> Encoding Aborted!", " -> Error: the encoder went on past the sound's end"}, failed,
         "the encoder went on past the sound's end"},
        {"encoder killed from outside", kFfmpeg, {}, longTone, Outcome::Failed, {" -> Process Completed!", " -> Error: ", "signal 9"},
         failed, "signal 9", true},
        {"text file named .mp3", kFfmpeg, {}, text, Outcome::Failed, {" -> Error: \"" + text + "\" cannot be read as audio: "}, failed,
         "\"" + text + "\" cannot be read as audio: "},
        {"missing media tool", kFfmpeg, "-", tone, Outcome::Ended,
         {" -> Error #2: CreateProcess failed.", " -> \"" + tone + "\" could not be described: cannot start \"" + home.mediaTool,
          " -> Process Completed!"},
         "Error!\r\nDescription: CreateProcess failed.\r\nLastDLLError: 2", "could not be described: cannot start"},
        {"media tool prints garbage", kFfmpeg, "#!/bin/sh\necho 'no report here'\n", tone, Outcome::Ended,
         {" -> \"" + tone + "\" could not be described: the media tool printed no report of it, only: no report here",
          " -> Process Completed!"},
         {}, "could not be described: the media tool printed no report of it"},
    };
    const QString output = home.out + u"/result.mp3"_s;
    for (const Case &c : cases) {
        home.setFfmpeg(c.ffmpeg);
        if (!c.mediaTool.isEmpty())
            home.replaceMediaTool(c.mediaTool);
        const QStringList outputs = c.outcome == Outcome::Ended ? QStringList{u"result.mp3"_s} : QStringList{};
        {
            // In the window's core.
            Converter conv(home.app);
            if (!c.message.isEmpty())
                conv.dialogs.answer(DialogAnswer::Ok);
            qint64 killed = 0;
            if (c.killEncoder) {
                connect(&conv.job, &ConvertJob::progressChanged, this, [&] {
                    if (killed == 0 && !conv.form.rtbOutput.isEmpty() && (killed = encoderWriting(output, 0)) > 0)
                        ::kill(pid_t(killed), SIGKILL);
                });
            }
            conv.convert(c.source, u"MP3"_s, output);
            const ConvertResult &result = conv.job.result();
            const QString what = QLatin1String(c.name) + u'\n' + conv.log.text();
            QVERIFY2(result.outcome == c.outcome && inOrder(conv.log.text(), c.log), qPrintable(what));
            QCOMPARE(conv.dialogs.messages().size(), c.message.isEmpty() ? 0 : 1);
            if (!c.message.isEmpty())
                QCOMPARE(conv.dialogs.messages()[0].text, c.message == failed ? failed + result.failure : c.message);
            QVERIFY2(c.outcome == Outcome::Ended || result.failure.contains(c.line), qPrintable(what));
            QVERIFY2(conv.idle() && conv.registry.live().isEmpty() && entries(home.out) == outputs && noProcessMentions(home.dir.path()), c.name);
        }
        QFile::remove(output);
        // On the command line: the same cause in one line, and the exit status.
        const auto [status, err] = commandLine(home, {c.source, u"--format"_s, u"MP3"_s, u"--output"_s, output}, {}, [&](QProcess &) {
            if (c.killEncoder) {
                const qint64 pid = encoderWriting(output, 30000);
                QVERIFY(pid > 0);
                ::kill(pid_t(pid), SIGKILL);
            }
        });
        QVERIFY2(status == (c.outcome == Outcome::Ended ? 0 : 1) && oneLine(err) && err.contains(c.line) && entries(home.out) == outputs
                     && noProcessMentions(home.dir.path()), qPrintable(QLatin1String(c.name) + u": "_s + err));
        QFile::remove(output);
        if (!c.mediaTool.isEmpty())
            home.replaceMediaTool({});
    }
}

void TestRealWorld::fullDiskIsAFailure()
{
    Home home;
    const QString tone = home.source(u"tone.wav"_s), listing = home.dir.filePath(u"left.txt"_s);
    QVERIFY(generate(tone, u"sine=f=440:d=30"_s, {u"-ac"_s, u"2"_s}));
    // 256 KiB hold a second and a half of the 30 s WAV.
    const auto [status, err] = commandLine(home, {tone, u"--format"_s, u"WAV"_s, u"--output"_s, home.out + u"/result.wav"_s},
                                           {testProgram(u"tonmill-test-smallfs"_s), u"256"_s, home.out, listing});
    if (status == 77)
        QSKIP(qPrintable(u"no mount namespace can be made here: "_s + err));
    QVERIFY2(status == 1 && oneLine(err) && err.contains(u"No space left on device"_s), qPrintable(err));
    QCOMPARE(readBytes(listing), QByteArray());
    QVERIFY(noProcessMentions(home.dir.path()));
}

void TestRealWorld::failedReportLeavesNoOtherFilesTags()
{
    Home home;
    const QString a = home.source(u"a.mp3"_s), b = home.source(u"b.wav"_s), output = home.out + u"/b.mp3"_s;
    QVERIFY(generate(a, u"sine=d=2"_s, {u"-metadata"_s, u"title=Song of A"_s, u"-metadata"_s, u"artist=Band of A"_s}));
    QVERIFY(generate(b, u"sine=d=2"_s));
    Converter c(home.app);
    c.selection.loadSource(a);
    QVERIFY(c.form.txtTitle == u"Song of A"_s && c.form.txtArtist == u"Band of A"_s);

    home.replaceMediaTool("#!/bin/sh\necho 'mediainfo: error: the disk is unreadable' >&2\nexit 1\n");
    c.convert(b, u"MP3"_s, output);
    QVERIFY(!QFileInfo::exists(c.report.reportFile()));
    for (const QString *field : {&c.form.txtTitle, &c.form.txtArtist, &c.form.txtAlbum, &c.form.txtYear, &c.form.txtNotes,
                                 &c.form.cmbGenre.text, &c.form.txtTrack})
        QVERIFY2(field->isEmpty(), qPrintable(*field));
    QVERIFY2(c.log.text().contains(u" -> \""_s + b + u"\" could not be described: the disk is unreadable"_s), qPrintable(c.log.text()));
    QCOMPARE(c.job.result().outcome, ConvertResult::Outcome::Ended);
    const Ran tags = runProgram(u"mid3v2"_s, {u"-l"_s, output});
    QVERIFY2(!tags.out.contains(u"of A"_s), qPrintable(tags.out));
    QVERIFY(decodedSeconds(output) > 1.9);
}

QTEST_GUILESS_MAIN(TestRealWorld)
#include "tst_realworld.moc"
