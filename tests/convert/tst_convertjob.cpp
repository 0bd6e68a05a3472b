// The convert job, and the names that the batch gives its outputs.
#include "app/ActivityLog.h"
#include "convert/ConvertJob.h"
#include "convert/NamePattern.h"
#include "convert/OutputPlan.h"
#include "convert/ResultPreview.h"
#include "convert/SourceDuration.h"
#include "media/SourceTags.h"
#include "options/MainFormState.h"
#include "options/OptionPanel.h"
#include "options/OptionState.h"
#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "process/cStdIO.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QDir>
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
using namespace Qt::StringLiterals;
using test::probeEntries;
using test::readBytes;
using test::writeBytes;

namespace {

const QString kSeparator = QString(142, QLatin1Char('-'));

// A 44.1 kHz stereo sound made by sox: a sine unless told otherwise.
void makeSound(const QString &path, double seconds, const QStringList &kind = {u"sine"_s, u"440"_s})
{
    const QStringList head{"-n", "-r", "44100", "-c", "2", "-b", "16", path, "synth", QString::number(seconds)};
    QCOMPARE(QProcess::execute(u"sox"_s, head + kind), 0);
}

// A job over a temporary application folder whose Tools/ is the build's.
struct Fixture {
    QTemporaryDir dir;
    QString app = dir.filePath(u"app"_s);
    AppFolder folder{app};
    ProcessRegistry registry;
    test::TestDialogs dialogs;
    ActivityLog log;
    cStdIO runner{registry};
    OptionState options;
    MainFormState form;
    std::unique_ptr<ConvertJob> job;

    Fixture(const char *format, const char *index, const char *extension, bool withTools = true)
    {
        QDir().mkpath(app);
        if (withTools)
            QFile::link(test::builtAppDir() + u"/Tools"_s, app + u"/Tools"_s);
        writeBytes(app + u"/Tonmill.ini"_s, "[General]\r\nFFMPEG=/usr/bin/ffmpeg\r\n");
        logRunnerEvents(runner, log);
        options.fillLists();
        form.fillFormatList();
        job = std::make_unique<ConvertJob>(folder, dialogs, log, runner, registry, options, form, SourceDuration(folder));
        chooseFormat(format, index, extension);
    }
    QString path(const QString &name) const { return dir.filePath(name); }
    void chooseFormat(const char *name, const char *index, const char *extension)
    {
        form.cmbFormat.select(QLatin1String(name));
        options.txtFormat = QLatin1String(index);
        options.OutExtension = QLatin1String(extension);
    }
    // The source, made once, with the output beside it.
    QString source(const QString &name, double seconds)
    {
        form.txtPath = path(name);
        if (!QFileInfo::exists(form.txtPath))
            makeSound(form.txtPath, seconds);
        return form.txtPath;
    }
    bool idle() const
    {
        return form.btnConvertEnabled && !form.btnAbortVisible && !form.EncodingVisible && !form.PB1Visible && !form.Timer3Enabled
               && form.btnExitEnabled && form.mnuArquivoEnabled && registry.live().isEmpty();
    }
    bool logMatches(const QString &pattern) const { return QRegularExpression(pattern).match(log.text()).hasMatch(); }
};

// The samples ffmpeg decodes from the file, 16-bit as they are stored.
QByteArray decodedSamples(const QString &path)
{
    QProcess p;
    p.start(u"ffmpeg"_s, {"-v", "error", "-i", path, "-f", "s16le", "pipe:1"});
    p.waitForFinished(60000);
    return p.readAllStandardOutput();
}

enum class Tags { Full, Partial, None };

SourceTags tagsOf(Tags kind, const QString &title = u"Intro"_s)
{
    if (kind == Tags::Full)
        return {u"Band"_s, u"Various"_s, u"Live"_s, title, u"3/12"_s, u"2"_s, u"2003-05-01"_s, u"Rock"_s};
    return kind == Tags::None ? SourceTags() : SourceTags{u"Band"_s, {}, {}, title, {}, {}, {}, {}};
}

QString expanded(const QString &pattern, const PatternSource &source, const PatternFallbacks &fallbacks = {})
{
    return expandPattern(pattern, source, fallbacks, u"/out"_s, u"mp3"_s);
}

} // namespace

class TestConvertJob : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void outputNamingAndRefusals();
    void mp3JobAsksLogsScriptsRunsAndTags();
    void wmaReadsTheSourceAndSegmentWins();
    void errorPathLogsAndShowsLaunchFailure();
    void abortEndsTheEncoder();
    void previewIsTheOutputsStretchAndEstimatesItsSize();
    void patternsAreCheckedBeforeUse();
    void placeholdersOverFullPartialAndNoTags();
    void hostileTagValuesStayOneSafeName();
    void existingOutputsAndCollisions();
    void tagsAreReadFromRealFiles();
};

void TestConvertJob::outputNamingAndRefusals()
{
    // The whole extension goes, whatever its length; only the file's own name has one.
    const QList<std::pair<QString, QString>> beside = {
        {"D:\\m\\song.mp3", "D:\\m\\song_Konverted.aac"}, {"/m/song.wv", "/m/song_Konverted.aac"}, {"/m/a.tar.gz", "/m/a.tar_Konverted.aac"},
        {"/m.d/song", "/m.d/song_Konverted.aac"}, {"/m/.hidden", "/m/.hidden_Konverted.aac"}, {"ab", "ab_Konverted.aac"}};
    for (const auto &[source, output] : beside)
        QCOMPARE(outputPathFor(source, QString(), true, u"aac"_s), output);
    QCOMPARE(outputPathFor(u"/a/b.wav"_s, u"/c/d.mp3"_s, false, u"aac"_s), u"/c/d.mp3"_s);

    // Sources that cannot be converted: a message, nothing logged or written.
    Fixture f("WAV", "6", "wav");
    const QString tone = f.source(u"tone.wav"_s, 0.5);
    const QByteArray toneBytes = readBytes(tone);
    writeBytes(f.path(u"empty.wav"_s), QByteArray());
    QDir().mkpath(f.path(u"folder.wav"_s));
    QVERIFY(QFile::link(tone, f.path(u"alias.wav"_s)));
    QVERIFY(::link(QFile::encodeName(tone).constData(), QFile::encodeName(f.path(u"hard.wav"_s)).constData()) == 0);
    const QString itself = u"The 'Output' file is the selected file itself!"_s;
    const QList<std::tuple<QString, QString, QString>> cases = {
        {QString(), QString(), u"Please, select a file to process before atempting to initialize de conversion!"_s},
        {f.path(u"missing.wav"_s), QString(), u"The selected file does not exist!"_s},
        {f.path(u"folder.wav"_s), QString(), u"The selected file is a folder, not a file!"_s},
        {f.path(u"empty.wav"_s), QString(), u"The selected file is empty!"_s},
        {tone, tone, itself}, {tone, f.path(u"alias.wav"_s), itself}, {tone, f.path(u"hard.wav"_s), itself}};
    for (const auto &[source, output, messageStart] : cases) {
        f.form.txtPath = source;
        f.form.chkSameOutput = output.isEmpty();
        f.form.lblOutputPath = output;
        f.form.btnConvertEnabled = false;
        f.dialogs.answer(DialogAnswer::Ok);
        f.job->btnConvert_Click();
        const MessageRequest &m = f.dialogs.messages().last();
        QVERIFY2(m.text.startsWith(messageStart) && m.buttons == DialogButtons::Ok && m.title.isEmpty(), qPrintable(m.text));
        QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Refused);
        QVERIFY(f.idle());
    }
    QCOMPARE(f.dialogs.messages().size(), cases.size());
    QVERIFY(f.log.text().isEmpty());
    QCOMPARE(readBytes(tone), toneBytes);
    QVERIFY(!QFileInfo::exists(f.app + u"/DirectQX.avs"_s));
}

void TestConvertJob::mp3JobAsksLogsScriptsRunsAndTags()
{
    Fixture f("MP3", "5", "mp3");
    const QString source = f.source(u"tone.wav"_s, 2);
    const QByteArray sourceBytes = readBytes(source);
    const QString output = f.path(u"tone_Konverted.mp3"_s);
    writeBytes(output, "an older encode");

    // Keeping the existing output logs only the separator.
    f.dialogs.answer(DialogAnswer::No);
    f.job->btnConvert_Click();
    const MessageRequest &q = f.dialogs.messages().first();
    QCOMPARE(q.text, u"The 'Output' file name already exists!\r\n\r\nDo you want to replace it?"_s);
    QVERIFY(q.buttons == DialogButtons::YesNo && q.icon == DialogIcon::Question && q.title.isEmpty());
    QCOMPARE(f.log.text(), kSeparator + u"\r\n"_s);
    QCOMPARE(readBytes(output), QByteArray("an older encode"));
    QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Kept);
    QVERIFY(f.idle());

    // Replacing it, with tags typed in the editor.
    f.form.slVolume = 50;
    std::array<QString *, 7> fields = f.form.tagFields();
    const QStringList typed{"Title \"quoted\"", "Artist", "Album", "2001", "Notes", "rock", "7"};
    for (int i = 0; i < 7; ++i)
        *fields[i] = typed[i];
    f.dialogs.answer(DialogAnswer::Yes);
    bool sawBusy = false;
    connect(f.job.get(), &ConvertJob::progressChanged, this, [&] {
        sawBusy = sawBusy || (!f.form.btnConvertEnabled && f.form.btnAbortVisible && f.form.EncodingVisible && f.form.PB1Visible
                              && !f.form.btnExitEnabled && !f.form.mnuArquivoEnabled && f.form.Timer3Enabled && f.job->encoding());
    });
    f.job->btnConvert_Click();
    QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Ended);
    QVERIFY(sawBusy && f.idle());
    QCOMPARE(f.form.PB1Max, 2);
    // The log after the separator of the kept run: the header, the options, the end.
    const QString sep = kSeparator + u"\r\n"_s;
    const QString log = sep + sep + u"\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d -> Start encoding:\r\n"_s + sep
                        + QRegularExpression::escape(u" - %1\r\n - Output file:\r\n - %2\r\n -- Output format: MP3\r\n -- Sampling Frequency: 44100\r\n"
                                                     " -- Channels: 2\r\n -- Bitrate: 128\r\n"_s.arg(source, output))
                        + u"\\d\\d:\\d\\d:\\d\\d -> Process Completed!\r\n"_s + sep;
    QVERIFY2(f.logMatches(u'^' + log + u'$'), qPrintable(f.log.text()));

    // The script the encoder read: the source, its 2 s as 50 frames, the rate.
    const QString script = QString::fromUtf8(readBytes(f.app + u"/DirectQX.avs"_s));
    QVERIFY(script.contains(u"Clip1 = DirectShowSource(\""_s + source + u"\",25)\r\n"_s));
    QVERIFY(script.contains(u"\r\nTrim(Clip3,0,50)\r\nResampleAudio (44100)\r\nConvertToYV12()\r\n"_s));
    QVERIFY(!QFileInfo::exists(f.app + u"/segment.avs"_s));
    QCOMPARE(probeEntries(output, u"stream=codec_name"_s), u"mp3"_s);
    QCOMPARE(readBytes(source), sourceBytes);
    // At 50 % the tone peaks 6 dB lower.
    const auto peak = [](const QString &path) {
        const QString level = test::runProgram(u"ffmpeg"_s, {"-i", path, "-af", "volumedetect", "-f", "null", "-"}).err;
        return level.section(u"max_volume: "_s, 1).section(QLatin1Char(' '), 0, 0).toDouble();
    };
    QVERIFY2(qAbs(peak(output) - peak(source) + 6) < 1, qPrintable(QString::number(peak(output) - peak(source))));

    // Tags as an independent reader sees them: a 2.4 tag at the start, a 1.1 tag at the end.
    const test::Ran tags = test::runProgram(
        u"/usr/bin/python3"_s, {"-c", "import sys\nfrom mutagen.id3 import ID3\nt=ID3(sys.argv[1])\nprint(t.version[1])\n"
                                      "for k in ['TIT2','TPE1','TALB','TDRC','TCON','COMM::eng','TRCK']: print(k, t[k].text[0])\n"
                                      "d=open(sys.argv[1],'rb').read()\nprint(d[-128:-125].decode(), d[-2], d[-1])",
                                output});
    QCOMPARE(tags.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts),
             (QStringList{"4", "TIT2 Title \"quoted\"", "TPE1 Artist", "TALB Album", "TDRC 2001", "TCON Rock", "COMM::eng Notes",
                          "TRCK 7", "TAG 7 17"}));
}

void TestConvertJob::wmaReadsTheSourceAndSegmentWins()
{
    // An empty output is overwritten without a question (TestDialogs fails the test on any prompt).
    Fixture f("WMA", "7", "wma");
    f.source(u"tone.wav"_s, 2);
    writeBytes(f.path(u"tone_Konverted.wma"_s), QByteArray());
    f.job->btnConvert_Click();
    QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Ended);
    QVERIFY(!QFileInfo::exists(f.app + u"/DirectQX.avs"_s) && !f.form.lblWMAprogressVisible);
    QVERIFY(f.log.text().contains(u" -- Output format: WMA\r\n -- Profile: CD Quality (64Kbps)\r\n"_s));
    QCOMPARE(probeEntries(f.path(u"tone_Konverted.wma"_s), u"stream=codec_name"_s), u"wmav2"_s);

    // Normalised and cut, to a chosen output: both scripts are written and the cut is what is encoded.
    f.form.chkNormalize = f.form.chkSegment = true;
    f.form.txtCutS = u"000.500"_s;
    f.form.txtCutE = u"001.500"_s;
    f.form.chkSameOutput = false;
    f.form.lblOutputPath = f.path(u"chosen.wma"_s);
    f.job->btnConvert_Click();
    QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Ended);
    QVERIFY(readBytes(f.app + u"/DirectQX.avs"_s).contains("Clip4=Normalize(Clip3,volume=1)\r\nTrim(Clip4,0,50)\r\nConvertToYV12()"));
    QVERIFY(readBytes(f.app + u"/segment.avs"_s).contains("Trim(Clip3,13,38)\r\nResampleAudio (44100)\r\n"));
    const double seconds = probeEntries(f.form.lblOutputPath, u"format=duration"_s).toDouble();
    QVERIFY2(seconds > 0.8 && seconds < 1.4, qPrintable(QString::number(seconds)));
}

void TestConvertJob::errorPathLogsAndShowsLaunchFailure()
{
    // The runner cannot start the encoder (no Tools/ in the folder); an AMR bit rate that is no number makes no command line.
    for (const bool amr : {false, true}) {
        Fixture f("MP3", "5", "mp3", amr);
        if (amr) {
            f.chooseFormat("AMR", "3", "amr");
            f.options.Combo2.text = u"fast"_s;
        }
        f.source(u"tone.wav"_s, 0.5);
        f.dialogs.answer(DialogAnswer::Ok);
        f.job->btnConvert_Click();
        QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::LaunchFailed);
        QCOMPARE(f.dialogs.messages().last().text, u"PROCESS LAUNCH FAILED!\r\n\r\nPlease, press 'Convert' button again!"_s);
        QVERIFY(f.dialogs.messages().last().buttons == DialogButtons::Ok);
        const QString tail = amr ? u" -> Error: no encoder line can be made of these options\r\n"_s
                                 : u" -> Error #406: CreateProcess failed.\r\n\\d\\d:\\d\\d:\\d\\d -> Error: cannot start \""_s + f.app
                                       + u"/Tools/tonmill-run\": No such file or directory\r\n"_s;
        QVERIFY2(f.logMatches(tail + u"PROCESS LAUNCH FAILED!\r\nPlease, press 'Convert' button again!\r\n$"_s), qPrintable(f.log.text()));
        QVERIFY(!QFileInfo::exists(f.job->result().output));
        QVERIFY(f.idle());
    }
}

void TestConvertJob::abortEndsTheEncoder()
{
    Fixture f("MP3", "5", "mp3");
    // With nothing running, Abort says so; for AC3 it says nothing.
    f.job->btnAbort_Click();
    f.form.cmbFormat.select(u"AC3"_s);
    f.job->btnAbort_Click();
    QVERIFY2(f.logMatches(u"^\\d\\d:\\d\\d:\\d\\d -> No Encoding in process!\r\n$"_s), qPrintable(f.log.text()));
    for (const auto &[name, index, extension] : {std::tuple{"MP3", "5", "mp3"}, std::tuple{"AC3", "2", "ac3"}, std::tuple{"WMA", "7", "wma"}}) {
        f.chooseFormat(name, index, extension);
        f.source(u"long.wav"_s, 120);
        const bool ac3 = index == QLatin1String("2");
        const QString output = f.path(u"long_Konverted."_s + QLatin1String(extension));
        // The piped encoders are stopped once they have printed something; the AC3 encoder prints nowhere the job sees, so it is stopped
        // once its output has begun.
        qint64 encoderPid = 0;
        QTimer begun;
        connect(&begun, &QTimer::timeout, f.job.get(), [&] {
            if (encoderPid != 0 || (ac3 ? QFileInfo(output + u".part"_s).size() == 0 : f.form.rtbOutput.isEmpty()))
                return;
            QVERIFY(f.job->encoding());
            const QList<ChildRecord> live = f.registry.live();
            QCOMPARE(live.size(), 1);
            encoderPid = live.first().pid;
            f.job->btnAbort_Click();
        });
        begun.start(5);
        f.form.rtbOutput.clear();
        f.job->btnConvert_Click();
        begun.stop();
        QVERIFY(encoderPid != 0 && !isProcessAlive(encoderPid));
        QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::Aborted);
        QVERIFY(f.idle());
        QVERIFY2(f.logMatches(ac3 ? u" -- Bitrate: 384\r\n-{142}\r\n$"_s
                                  : u" -> Canceling program\\.\r\n\\d\\d:\\d\\d:\\d\\d -> Encoding Aborted!\r\n-{142}\r\n$"_s),
                 qPrintable(f.log.text().right(300)));
        QVERIFY(!QFileInfo(output).size() && !QFileInfo::exists(output + u".part"_s));
    }
}

void TestConvertJob::previewIsTheOutputsStretchAndEstimatesItsSize()
{
    // The stretch stays inside the output, moved back near its end, and reaches the runner as it is.
    for (const auto &[position, output, start, seconds] : QList<std::array<double, 4>>{{25, 60, 25, 10}, {55, 60, 50, 10}, {-2, 60, 0, 10}, {3, 6, 0, 6}}) {
        const OutputWindow window = windowWithin(position, 10, output);
        QVERIFY(window.start == start && window.seconds == seconds);
        const std::optional<OutputWindow> passed = windowFrom(windowEntry(window).section(QLatin1Char('='), 1).toLatin1());
        QVERIFY(passed && passed->start == window.start && passed->seconds == window.seconds);
    }
    for (const char *wrong : {"10", "a,10", "-1,10", "5,0", "5,nan", "1,2,3"})
        QVERIFY2(!windowFrom(wrong), wrong);

    // Noise whose loudness rises and falls, so that the stretch is not the whole in small; normalised, so that the stretch's level is the
    // whole's.
    Fixture f("MP3", "5", "mp3");
    const QString source = f.path(u"noise.wav"_s);
    makeSound(source, 24, {"pinknoise", "tremolo", "0.13", "50", "vol", "0.5"});
    OptionPanel panel(f.options, f.form, f.dialogs, f.folder);
    // The constant bit rates within 5 %, the variable ones within 15 %; kbps 0: not fixed.
    const struct {
        const char *format;
        double within, kbps;
    } rows[] = {{"MP3", 0.05, 128}, {"AC3", 0.05, 384}, {"WAV", 0.05, 1536}, {"OGG", 0.15, 0}, {"OPUS", 0.15, 0}, {"M4A", 0.15, 0}};
    const double position = 8;
    for (const auto &row : rows) {
        f.form.cmbFormat.select(QLatin1String(row.format));
        panel.cmbFormat_Click();
        const BatchSettings settings = batchSettingsFor(f.folder, f.options, f.form.cmbFormat.text, 80, true, false);
        PreviewOutcome outcome;
        QByteArray previewSamples;
        {
            ResultPreview preview(f.folder);
            QSignalSpy ended(&preview, &ResultPreview::finished);
            preview.start({source, settings, position, std::nullopt});
            QVERIFY(preview.running() && ended.wait(120000));
            outcome = preview.outcome();
            QVERIFY2(outcome.failure.isEmpty(), qPrintable(outcome.failure));
            QVERIFY(outcome.file.endsWith(QLatin1Char('.') + f.options.OutExtension));
            const double seconds = test::decodedSeconds(outcome.file);
            QVERIFY2(qAbs(seconds - 10) < 0.05, qPrintable(QString::number(seconds)));
            QCOMPARE(outcome.window.start, position);
            previewSamples = decodedSamples(outcome.file);
        }
        QVERIFY(!QFileInfo::exists(outcome.file));

        const QString whole = f.path(u"whole."_s + f.options.OutExtension);
        std::atomic_bool abort = false;
        QCOMPARE(convertFile(f.folder, settings, source, whole, true, abort, [](double, double) {}).status, BatchItem::Status::Done);
        const double error = double(outcome.estimate.bytes) / double(QFileInfo(whole).size()) - 1;
        qInfo("%s: estimate %lld bytes, output %lld bytes, off by %+.2f %%, %.1f kbit/s", row.format, outcome.estimate.bytes,
              QFileInfo(whole).size(), error * 100, outcome.estimate.kbps);
        QVERIFY(qAbs(error) <= row.within);
        QVERIFY2(row.kbps == 0 || qAbs(outcome.estimate.kbps - row.kbps) < 1, qPrintable(QString::number(outcome.estimate.kbps)));
        if (QLatin1String(row.format) == QLatin1String("WAV")) {
            // Sample for sample the stretch of the whole output from the position.
            constexpr qsizetype kBytesPerSecond = 48000 * 4;
            QCOMPARE(previewSamples.size(), 10 * kBytesPerSecond);
            QVERIFY(previewSamples == decodedSamples(whole).mid(qsizetype(position) * kBytesPerSecond, 10 * kBytesPerSecond));
        }
    }
}

void TestConvertJob::patternsAreCheckedBeforeUse()
{
    // Pattern, and a part of the refusal (empty: accepted).
    const QList<std::pair<QString, QString>> rows = {
        {"{albumartist}/{album}/{track:02} {title}", ""}, {"{relpath}/{disc:1}-{track:9} {filename}", ""}, {"", "empty"},
        {"/music/{title}", "absolute"}, {"~/{title}", "absolute"}, {"../{title}", "\"..\""}, {"{artist}/./{title}", "\".\""},
        {"{artist}//{title}", "empty folder"}, {"{artist}/", "empty folder"}, {"{nope}", "unknown placeholder {nope}"},
        {"{title", "without its \"}\""}, {"title}", "without its \"{\""}, {"{title:02}", "take a width"}, {"{track:0}", "take a width"},
        {"{track:10}", "take a width"}, {"{relpath}", "{relpath} stands alone"}, {"x{relpath}/{title}", "{relpath} stands alone"},
        {"a\\b{title}", "does not belong"}};
    for (const auto &[pattern, refusal] : rows) {
        const QString why = patternRefusal(pattern);
        QVERIFY2(refusal.isEmpty() ? why.isEmpty() : why.contains(refusal), qPrintable(pattern + u": "_s + why));
        // A refused pattern names no output at all.
        QVERIFY(refusal.isEmpty() || expanded(pattern, {u"/m/a.wav"_s, u"/m"_s, {}}).isEmpty());
    }
}

void TestConvertJob::placeholdersOverFullPartialAndNoTags()
{
    const QList<std::tuple<const char *, Tags, const char *>> rows = { // the name below /out, without ".mp3"
        {"{artist}", Tags::Partial, "Band"}, {"{artist}", Tags::None, "Unknown Artist"}, {"{albumartist}", Tags::Full, "Various"},
        {"{albumartist}", Tags::Partial, "Band"}, {"{albumartist}", Tags::None, "Unknown Artist"}, {"{album}", Tags::Partial, "Unknown Album"},
        {"{title}", Tags::None, "Unknown Title"}, {"{track:02}", Tags::None, "00"}, {"{disc:2}", Tags::None, "00"},
        {"{year}", Tags::None, "Unknown Year"}, {"{genre}", Tags::Partial, "Unknown Genre"}, {"{track:9}", Tags::Full, "000000003"},
        {"{folder}", Tags::None, "Band"}, {"{relpath}/{filename}", Tags::None, "Rock/Band/song.take 1"},
        {"{albumartist}/{year} - {album}/{disc}-{track:02} {title} {genre} {track}", Tags::Full, "Various/2003 - Live/2-03 Intro Rock 3"}};
    const PatternFallbacks english = patternFallbacks(u"English"_s);
    for (const auto &[pattern, tags, name] : rows)
        QCOMPARE(expanded(QLatin1String(pattern), {u"/m/in/Rock/Band/song.take 1.flac"_s, u"/m/in"_s, tagsOf(tags)}, english),
                 u"/out/%1.mp3"_s.arg(QLatin1String(name)));
    // A file named on its own is its own base: {relpath} is then nothing.
    QCOMPARE(expanded(u"{relpath}/{filename}"_s, {u"/m/song.wav"_s, u"/m"_s, {}}), u"/out/song.mp3"_s);
    // The fallbacks speak the window's language.
    QCOMPARE(patternFallbacks(u"Deutsch"_s).artist, u"Unbekannter Künstler"_s);
    QCOMPARE(patternFallbacks(u"Français"_s).album, u"Album inconnu"_s);
}

void TestConvertJob::hostileTagValuesStayOneSafeName()
{
    const QString emoji = QString::fromUtf8("\xF0\x9F\x98\x80").repeated(80); // 320 bytes, four to a character
    const QList<std::pair<QString, QString>> rows = {
        {"AC/DC", "AC_DC"}, {"..", "Unknown Title"}, {"../../etc/passwd", "_.._etc_passwd"}, {" .hidden. ", "hidden"},
        {"a\tb\x01" "c\x7f", "a_b_c_"}, {"what? <yes> *|:\"", "what_ _yes_ ____"}, {"Ünïcødé 日本の歌", "Ünïcødé 日本の歌"},
        {QString(150, QChar(0xe9)), QString(125, QChar(0xe9))}, // 300 bytes cut to 250 and ".mp3"
        {emoji, emoji.left(62 * 2)}};                            // never a split character
    for (const auto &[title, stem] : rows)
        QCOMPARE(expanded(u"{title}"_s, {u"/m/a.wav"_s, u"/m"_s, {{}, {}, {}, title, {}, {}, {}, {}}}), u"/out/"_s + stem + u".mp3"_s);
    // A numbered name keeps its number and extension whole.
    const QString numbered = numberedPath(u"/out/"_s + QString(125, QChar(0xe9)) + u".mp3"_s, 12);
    QVERIFY(numbered.endsWith(u" (12).mp3"_s) && QFileInfo(numbered).fileName().toUtf8().size() <= 255);
}

void TestConvertJob::existingOutputsAndCollisions()
{
    // Two sources of one name in different folders, one whose output is there already (an empty file counts as nothing), and one whose
    // output name is another name of the source itself.
    QTemporaryDir dir;
    const QString out = dir.filePath(u"out"_s);
    QVERIFY(QDir().mkpath(out) && QDir().mkpath(dir.filePath(u"c"_s)));
    QStringList sources, bases;
    for (const char *s : {"a/x.wav", "b/x.wav", "b/y.wav", "b/z.wav", "c/w.mp3"}) {
        sources << dir.filePath(QLatin1String(s));
        bases << QFileInfo(sources.last()).path();
    }
    test::writeBytes(sources[4], "source");
    QVERIFY(::link(QFile::encodeName(sources[4]).constData(), QFile::encodeName(out + u"/w.mp3"_s).constData()) == 0);
    for (const char *name : {"x.mp3", "y.mp3", "y (2).mp3"})
        test::writeBytes(out + QLatin1Char('/') + QLatin1String(name), "old");
    test::writeBytes(out + u"/z.mp3"_s, "");
    const QList<std::pair<QString, QString>> rows = {{"ask", "x.mp3 ask|x (2).mp3 new|y.mp3 ask|z.mp3 new|w (2).mp3 new"},
                                                     {"skip", "x.mp3 skip|x (2).mp3 new|y.mp3 skip|z.mp3 new|w (2).mp3 new"},
                                                     {"overwrite", "x.mp3 overwrite|x (2).mp3 new|y.mp3 overwrite|z.mp3 new|w (2).mp3 new"},
                                                     {"rename", "x (2).mp3 renamed|x (3).mp3 renamed|y (3).mp3 renamed|z.mp3 new|w (2).mp3 renamed"}};
    for (const auto &[policy, expected] : rows) {
        QCOMPARE(existingPolicyName(existingPolicyNamed(policy).value()), policy);
        OutputNaming naming{out, u"{filename}"_s, u"mp3"_s, *existingPolicyNamed(policy), {}, [](const QString &) -> SourceTags {
                                QTest::qFail("a pattern without tags probes no source", __FILE__, __LINE__);
                                return {};
                            }};
        const QList<PlannedOutput> plan = planOutputs(sources, bases, naming);
        QStringList decided;
        for (qsizetype i = 0; i < plan.size(); ++i) {
            QVERIFY(plan[i].source == sources[i] && plan[i].output.startsWith(out + QLatin1Char('/')));
            decided << QFileInfo(plan[i].output).fileName() + QLatin1Char(' ') + decisionName(plan[i].decision);
        }
        QCOMPARE(decided.join(QLatin1Char('|')), expected);
        // The second source of one name is told apart from the first.
        QVERIFY(!plan[0].collided && plan[1].collided && !plan[2].collided);
    }
    // Without a pattern the single file's names stand, below the output folder.
    const QList<PlannedOutput> plan = planOutputs({sources[0], sources[1]}, {dir.path(), dir.path()}, {out, {}, u"mp3"_s, ExistingPolicy::Ask, {}, {}});
    QVERIFY(plan[0].output == out + u"/a/x_Konverted.mp3"_s && plan[1].output == out + u"/b/x_Konverted.mp3"_s);
    QVERIFY(!existingPolicyNamed(u"replace"_s));
}

void TestConvertJob::tagsAreReadFromRealFiles()
{
    // FLAC keeps its comments in the container, Opus in the stream, MP3 in ID3.
    QTemporaryDir dir;
    for (const char *name : {"t.flac", "t.opus", "t.mp3"}) {
        const QString path = dir.filePath(QLatin1String(name));
        QCOMPARE(test::runProgram(u"ffmpeg"_s, {"-v", "error", "-f", "lavfi", "-i", "sine=d=0.5", "-metadata", "artist=Bänd/Two", "-metadata",
                                                "album_artist=Various", "-metadata", "title=Intro", "-metadata", "track=3/12", "-metadata",
                                                "date=2003", "-metadata", "genre=Rock", path}).exitCode, 0);
        const SourceTags t = readSourceTags(u"/usr/bin/ffprobe"_s, path);
        QCOMPARE((QStringList{t.artist, t.albumArtist, t.title, t.track.section(QLatin1Char('/'), 0, 0), t.year, t.genre, t.album}),
                 (QStringList{"Bänd/Two", "Various", "Intro", "3", "2003", "Rock", ""}));
    }
    QCOMPARE(readSourceTags(u"/usr/bin/ffprobe"_s, dir.filePath(u"missing.wav"_s)).title, QString());
}

QTEST_GUILESS_MAIN(TestConvertJob)
#include "tst_convertjob.moc"
