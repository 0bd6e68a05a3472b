// The convert job, the names that the batch gives its outputs, and what the job hands the encoder: the scripts and the command lines.
#include "app/ActivityLog.h"
#include "convert/AVSScripts.h"
#include "convert/CommandLines.h"
#include "convert/ConvertJob.h"
#include "convert/NamePattern.h"
#include "convert/OutputPlan.h"
#include "convert/ResultPreview.h"
#include "convert/SourceDuration.h"
#include "media/SourceTags.h"
#include "options/FormatOptions.h"
#include "options/MainFormState.h"
#include "options/OptionPanel.h"
#include "options/OptionState.h"
#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "process/cStdIO.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"
#include "support/TestHome.h"
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

#include <functional>
#include <tuple>
#include <unistd.h>

using namespace tonmill;
using namespace Qt::StringLiterals;
using test::probeEntries;
using test::readBytes;
using test::writeBytes;

namespace {

const QString kSeparator = QString(142, QLatin1Char('-'));

// The tone as a failure of the running test, for helpers that return a value.
void makeSound(const QString &path, double seconds, const QStringList &kind = {u"sine"_s, u"440"_s})
{
    QVERIFY(test::makeTone(path, seconds, 2, kind));
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

    Fixture(const char *format, const char *index, const char *extension)
    {
        QDir().mkpath(app);
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
    return p.waitForFinished(60000) ? p.readAllStandardOutput() : QByteArray();
}

QString expanded(const QString &pattern, const PatternSource &source, const PatternFallbacks &fallbacks = {})
{
    return expandPattern(pattern, source, fallbacks, u"/out"_s, u"mp3"_s);
}

const EncoderInputs kPlain{"/usr/bin/ffmpeg", "/opt/QuEnc/QuEnc.exe", "/opt/tonmill/DirectQX.avs", "/home/u/song_Konverted.out", 100,
                           "Title", "Artist", "Album", "2001", "Notes", "Rock", "7"};

using SetUp = std::function<void(OptionState &, EncoderInputs &)>;

CommandLine lineFor(const QString &format, const SetUp &setUp = {})
{
    OptionState o;
    o.fillLists();
    o.txtFormat = format;
    EncoderInputs in = kPlain;
    if (setUp)
        setUp(o, in);
    return encoderCommandLine(in, o, AppFolder(u"/opt/tonmill"_s));
}

// The words of a command text as a command interpreter splits them (a word between double quotes, maybe empty, or one without blanks).
QStringList wordsOf(const QString &text)
{
    QStringList words;
    for (const QRegularExpressionMatch &m : QRegularExpression(u"\"([^\"]*)\"|([^ \"]+)"_s).globalMatch(text))
        words << (m.capturedStart(1) >= 0 ? m.captured(1) : m.captured(2));
    return words;
}

const QString kHeader = u"# Created by Tonmill - Quorell"_s;
const QString kBlank = u"Clip2 = BlankClip(Length = 2000000, fps = 25)"_s;
const QString kDub = u"Clip3 = AudioDub(Clip2, Clip1)"_s;

} // namespace

class TestConvert : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void outputs();
    void jobsAskLogRunTagAndAbort();
    void encoderInputs();
};

void TestConvert::outputs()
{
    // The whole extension goes, whatever its length; only the file's own name has one.
    const QList<std::pair<QString, QString>> beside = {
        {"D:\\m\\song.mp3", "D:\\m\\song_Konverted.aac"}, {"/m/song.wv", "/m/song_Konverted.aac"}, {"/m/a.tar.gz", "/m/a.tar_Konverted.aac"},
        {"/m.d/song", "/m.d/song_Konverted.aac"}, {"/m/.hidden", "/m/.hidden_Konverted.aac"}, {"ab", "ab_Konverted.aac"}};
    for (const auto &[source, output] : beside)
        QCOMPARE(outputPathFor(source, QString(), true, u"aac"_s), output);

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

    // An AMR bit rate that is no number makes no command line: a failed launch (the runner that cannot start: tst_realworld).
    f.chooseFormat("AMR", "3", "amr");
    f.options.Combo2.text = u"fast"_s;
    f.form.txtPath = tone;
    f.form.chkSameOutput = true;
    f.dialogs.answer(DialogAnswer::Ok);
    f.job->btnConvert_Click();
    QCOMPARE(f.job->result().outcome, ConvertResult::Outcome::LaunchFailed);
    QCOMPARE(f.dialogs.messages().last().text, u"PROCESS LAUNCH FAILED!\r\n\r\nPlease, press 'Convert' button again!"_s);
    QVERIFY(f.dialogs.messages().last().buttons == DialogButtons::Ok);
    QVERIFY2(f.logMatches(u" -> Error: no encoder line can be made of these options\r\nPROCESS LAUNCH FAILED!\r\nPlease, press 'Convert' button again!\r\n$"_s),
             qPrintable(f.log.text()));
    QVERIFY(!QFileInfo::exists(f.job->result().output) && f.idle());

    // The preview of the result. The stretch stays inside the output, moved back near its end, and reaches the runner as it is.
    for (const auto &[position, output, start, seconds] : QList<std::array<double, 4>>{{25, 60, 25, 10}, {55, 60, 50, 10}, {-2, 60, 0, 10}, {3, 6, 0, 6}}) {
        const OutputWindow window = windowWithin(position, 10, output);
        QVERIFY(window.start == start && window.seconds == seconds);
        const std::optional<OutputWindow> passed = windowFrom(windowEntry(window).section(QLatin1Char('='), 1).toLatin1());
        QVERIFY(passed && passed->start == window.start && passed->seconds == window.seconds);
    }
    for (const char *wrong : {"10", "a,10", "-1,10", "5,0", "5,nan", "1,2,3"})
        QVERIFY2(!windowFrom(wrong), wrong);

    // Noise whose loudness rises and falls, so that the stretch is not the whole in small; normalised, the stretch's level is the whole's.
    const QString source = f.path(u"noise.wav"_s);
    makeSound(source, 15, {"pinknoise", "tremolo", "0.13", "50", "vol", "0.5"});
    OptionPanel panel(f.options, f.form, f.dialogs, f.folder);
    // The constant bit rates within 5 %, the variable ones within 15 %; kbps 0: not fixed.
    const struct { const char *format; double within, kbps; } rows[] = {{"MP3", 0.05, 128}, {"AC3", 0.05, 384}, {"WAV", 0.05, 1536}, {"OGG", 0.15, 0}, {"OPUS", 0.15, 0}, {"M4A", 0.15, 0}};
    const double position = 4;
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
        QVERIFY2(qAbs(error) <= row.within, qPrintable(u"%1 off by %2"_s.arg(QLatin1String(row.format)).arg(error)));
        QVERIFY2(row.kbps == 0 || qAbs(outcome.estimate.kbps - row.kbps) < 1, qPrintable(QString::number(outcome.estimate.kbps)));
        if (QLatin1String(row.format) == QLatin1String("WAV")) {
            // Sample for sample the stretch of the whole output from the position.
            constexpr qsizetype kBytesPerSecond = 48000 * 4;
            QCOMPARE(previewSamples.size(), 10 * kBytesPerSecond);
            QVERIFY(previewSamples == decodedSamples(whole).mid(qsizetype(position) * kBytesPerSecond, 10 * kBytesPerSecond));
        }
    }

    // Pattern, and a part of the refusal (empty: accepted). A refused pattern names no output at all.
    const QList<std::pair<QString, QString>> refusals = {
        {"{albumartist}/{album}/{track:02} {title}", ""}, {"{relpath}/{disc:1}-{track:9} {filename}", ""}, {"", "empty"},
        {"/music/{title}", "absolute"}, {"~/{title}", "absolute"}, {"../{title}", "\"..\""}, {"{artist}/./{title}", "\".\""},
        {"{artist}//{title}", "empty folder"}, {"{artist}/", "empty folder"}, {"{nope}", "unknown placeholder {nope}"},
        {"{title", "without its \"}\""}, {"title}", "without its \"{\""}, {"{title:02}", "take a width"}, {"{track:0}", "take a width"},
        {"{track:10}", "take a width"}, {"{relpath}", "{relpath} stands alone"}, {"x{relpath}/{title}", "{relpath} stands alone"},
        {"a\\b{title}", "does not belong"}};
    for (const auto &[pattern, refusal] : refusals) {
        const QString why = patternRefusal(pattern);
        QVERIFY2(refusal.isEmpty() ? why.isEmpty() : why.contains(refusal), qPrintable(pattern + u": "_s + why));
        QVERIFY(refusal.isEmpty() || expanded(pattern, {u"/m/a.wav"_s, u"/m"_s, {}}).isEmpty());
    }

    // The placeholders over full, partial and no tags: the name below /out, without ".mp3".
    const SourceTags full{u"Band"_s, u"Various"_s, u"Live"_s, u"Intro"_s, u"3/12"_s, u"2"_s, u"2003-05-01"_s, u"Rock"_s},
        partial{u"Band"_s, {}, {}, u"Intro"_s, {}, {}, {}, {}}, none;
    const QList<std::tuple<const char *, SourceTags, const char *>> placeholders = {
        {"{artist}", partial, "Band"}, {"{artist}", none, "Unknown Artist"}, {"{albumartist}", full, "Various"},
        {"{albumartist}", partial, "Band"}, {"{albumartist}", none, "Unknown Artist"}, {"{album}", partial, "Unknown Album"},
        {"{title}", none, "Unknown Title"}, {"{track:02}", none, "00"}, {"{disc:2}", none, "00"},
        {"{year}", none, "Unknown Year"}, {"{genre}", partial, "Unknown Genre"}, {"{track:9}", full, "000000003"},
        {"{folder}", none, "Band"}, {"{relpath}/{filename}", none, "Rock/Band/song.take 1"},
        {"{albumartist}/{year} - {album}/{disc}-{track:02} {title} {genre} {track}", full, "Various/2003 - Live/2-03 Intro Rock 3"}};
    const PatternFallbacks english = patternFallbacks(u"English"_s);
    for (const auto &[pattern, tags, name] : placeholders)
        QCOMPARE(expanded(QLatin1String(pattern), {u"/m/in/Rock/Band/song.take 1.flac"_s, u"/m/in"_s, tags}, english),
                 u"/out/%1.mp3"_s.arg(QLatin1String(name)));
    // A file named on its own is its own base: {relpath} is then nothing. The fallbacks speak the window's language.
    QCOMPARE(expanded(u"{relpath}/{filename}"_s, {u"/m/song.wav"_s, u"/m"_s, {}}), u"/out/song.mp3"_s);
    QVERIFY(patternFallbacks(u"Deutsch"_s).artist == u"Unbekannter Künstler"_s && patternFallbacks(u"Français"_s).album == u"Album inconnu"_s);

    // Hostile tag values stay one safe name.
    const QString emoji = QString::fromUtf8("\xF0\x9F\x98\x80").repeated(80); // 320 bytes, four to a character
    const QList<std::pair<QString, QString>> hostile = {
        {"AC/DC", "AC_DC"}, {"..", "Unknown Title"}, {"../../etc/passwd", "_.._etc_passwd"}, {" .hidden. ", "hidden"},
        {"a\tb\x01" "c\x7f", "a_b_c_"}, {"what? <yes> *|:\"", "what_ _yes_ ____"}, {"Ünïcødé 日本の歌", "Ünïcødé 日本の歌"},
        {QString(150, QChar(0xe9)), QString(125, QChar(0xe9))}, // 300 bytes cut to 250 and ".mp3"
        {emoji, emoji.left(62 * 2)}};                            // never a split character
    for (const auto &[title, stem] : hostile)
        QCOMPARE(expanded(u"{title}"_s, {u"/m/a.wav"_s, u"/m"_s, {{}, {}, {}, title, {}, {}, {}, {}}}), u"/out/"_s + stem + u".mp3"_s);
    // A numbered name keeps its number and extension whole.
    const QString numbered = numberedPath(u"/out/"_s + QString(125, QChar(0xe9)) + u".mp3"_s, 12);
    QVERIFY(numbered.endsWith(u" (12).mp3"_s) && QFileInfo(numbered).fileName().toUtf8().size() <= 255);

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
    // Even told to overwrite, the source's other name is never an output.
    const QList<std::pair<QString, QString>> policies = {{"ask", "x.mp3 ask|x (2).mp3 new|y.mp3 ask|z.mp3 new|w (2).mp3 new"},
                                                     {"skip", "x.mp3 skip|x (2).mp3 new|y.mp3 skip|z.mp3 new|w (2).mp3 new"},
                                                     {"overwrite", "x.mp3 overwrite|x (2).mp3 new|y.mp3 overwrite|z.mp3 new|w (2).mp3 new"},
                                                     {"rename", "x (2).mp3 renamed|x (3).mp3 renamed|y (3).mp3 renamed|z.mp3 new|w (2).mp3 renamed"}};
    for (const auto &[policy, expected] : policies) {
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

    // The tags the placeholders read, from real files: FLAC keeps its comments in the container, Opus in the stream, MP3 in ID3.
    for (const char *name : {"t.flac", "t.opus", "t.mp3"}) {
        QStringList args{"-v", "error", "-f", "lavfi", "-i", "sine=d=0.5"};
        for (const char *tag : {"artist=Bänd/Two", "album_artist=Various", "title=Intro", "track=3/12", "date=2003", "genre=Rock"})
            args << u"-metadata"_s << QString::fromUtf8(tag);
        QCOMPARE(test::runProgram(u"ffmpeg"_s, args << dir.filePath(QLatin1String(name))).exitCode, 0);
        const SourceTags t = readSourceTags(u"/usr/bin/ffprobe"_s, args.last());
        QCOMPARE((QStringList{t.artist, t.albumArtist, t.title, t.track.section(QLatin1Char('/'), 0, 0), t.year, t.genre, t.album}),
                 (QStringList{"Bänd/Two", "Various", "Intro", "3", "2003", "Rock", ""}));
    }
    QCOMPARE(readSourceTags(u"/usr/bin/ffprobe"_s, dir.filePath(u"missing.wav"_s)).title, QString());
}

void TestConvert::jobsAskLogRunTagAndAbort()
{
    Fixture f("MP3", "5", "mp3");
    const QString source = f.source(u"tone.wav"_s, 2);
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
    for (int i = 0; const char *typed : {"Title \"quoted\"", "Artist", "Album", "2001", "Notes", "rock", "7"})
        *f.form.tagFields()[i++] = QString::fromUtf8(typed);
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
    QVERIFY(script.contains(u"Clip1 = DirectShowSource(\""_s + source + u"\",25)\r\n"_s) && script.contains(u"\r\nTrim(Clip3,0,50)\r\nResampleAudio (44100)\r\nConvertToYV12()\r\n"_s));
    QVERIFY(!QFileInfo::exists(f.app + u"/segment.avs"_s));
    QCOMPARE(probeEntries(output, u"stream=codec_name"_s), u"mp3"_s);
    // At 50 % the tone is 6 dB quieter.
    const double quieter = test::meanVolume(source, u"anull"_s) - test::meanVolume(output, u"anull"_s);
    QVERIFY2(qAbs(quieter - 6) < 1, qPrintable(QString::number(quieter)));

    // The typed tags as an independent reader (mid3v2) sees them: each field in its frame of a 2.4 tag at the start; a 1.1 tag at the end.
    const QString frames = test::runProgram(u"mid3v2"_s, {u"-l"_s, output}).out;
    for (const char *frame : {"TIT2=Title \"quoted\"", "TPE1=Artist", "TALB=Album", "TDRC=2001", "TCON=Rock", "COMM==eng=Notes", "TRCK=7"})
        QVERIFY2(frames.contains(QString::fromUtf8(frame)), qPrintable(frames));
    const QByteArray v1 = readBytes(output).right(128);
    QVERIFY(readBytes(output).startsWith("ID3\x04") && v1.startsWith("TAG") && v1[126] == 7 && v1[127] == 17);

    // WMA reads the source itself; an empty output is overwritten without a question (TestDialogs fails the test on any prompt).
    f.chooseFormat("WMA", "7", "wma");
    QVERIFY(QFile::remove(f.app + u"/DirectQX.avs"_s));
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

    // With nothing running, Abort says so; for AC3 it says nothing.
    f.form.chkNormalize = f.form.chkSegment = false;
    f.form.chkSameOutput = true;
    const qsizetype logged = f.log.text().size();
    f.chooseFormat("MP3", "5", "mp3");
    f.job->btnAbort_Click();
    f.form.cmbFormat.select(u"AC3"_s);
    f.job->btnAbort_Click();
    QVERIFY2(QRegularExpression(u"^\\d\\d:\\d\\d:\\d\\d -> No Encoding in process!\r\n$"_s).match(f.log.text().mid(logged)).hasMatch(), qPrintable(f.log.text()));
    // Aborted once the encoder has begun: it ends, nothing is left of the output.
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
            QCOMPARE(f.registry.live().size(), 1);
            encoderPid = f.registry.live().first().pid;
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

void TestConvert::encoderInputs()
{
    // Rounded half to even; not a 16-bit whole number: no line at all, which the job reports as a failed launch.
    for (const auto &[combo, bitRate] : QList<std::pair<const char *, const char *>>{
             {"13", "13"}, {" 13 ", "13"}, {"013", "13"}, {"12.5", "12"}, {"13.5", "14"}, {"7.6", "8"}, {"", ""}, {"abc", ""}, {"40000", ""},
             {"13k", ""}, {"inf", ""}}) {
        const CommandLine line = lineFor(u"3"_s, [&](OptionState &o, EncoderInputs &) { o.Combo2.text = QLatin1String(combo); });
        const QStringList expected{"-ab", bitRate, "-f", "amr"};
        QVERIFY2(*bitRate ? line.arguments.mid(line.arguments.indexOf(u"-ab"_s), 4) == expected : line.isEmpty(), combo);
    }
    // A format index that names no format builds nothing either.
    for (const char *format : {"", "0", "13", "MP3"})
        QVERIFY(lineFor(QLatin1String(format)).isEmpty());
    // 4507.5 rounds up; 4500.25 down, 4500.75 up; halves go up, also those that binary arithmetic puts a hair below (14.5, 56.5, 100.5,
    // 28.5).
    for (const auto &[seconds, frames] : QList<std::pair<double, const char *>>{
             {180, "4500"}, {180.3, "4508"}, {180.01, "4500"}, {180.03, "4501"}, {0.02, "1"}, {0.1, "3"}, {1.22, "31"}, {12.345, "309"},
             {0.58, "15"}, {2.26, "57"}, {4.02, "101"}, {1.14, "29"}, {0, "0"}, {0.019, "0"}, {-0.01, "0"}, {3600.999, "90025"},
             {86399.98, "2160000"}})
        QCOMPARE(frameNumber(seconds), QLatin1String(frames));
    QVERIFY(frameNumber(qInf()).isEmpty());

    // The exact lines, and the words they are started with.
    using O = OptionState;
    using In = EncoderInputs;
    const SetUp plain;
    const QString head = u"\"/usr/bin/ffmpeg\" -y -i \"/opt/tonmill/DirectQX.avs\" -vn -acodec "_s;
    const QString out = u"\"/home/u/song_Konverted.out\""_s;
    const QString quenc = u"\"/opt/QuEnc/QuEnc.exe\" -i \"/opt/tonmill/DirectQX.avs\" -o "_s + out + u" -mpeg2mux novideo -audiocodec ac3 -audiobitrate "_s;
    const QString wma = u"Cscript.exe \"/opt/tonmill/Tools/WMCmd.vbs\" -input "_s;
    // The later formats carry the typed tags in ffmpeg's names.
    const QString tags = u" -metadata \"title=Title\" -metadata \"artist=Artist\" -metadata \"album=Album\" -metadata \"date=2001\""
                         " -metadata \"comment=Notes\" -metadata \"genre=Rock\" -metadata \"track=7\""_s;
    const auto row = [](const char *name, const char *format, const SetUp &setUp, const QString &text, const char *image = "ffmpeg") {
        const CommandLine line = lineFor(QLatin1String(format), setUp);
        QVERIFY2(line.text == text && line.imageName == QLatin1String(image), qPrintable(name + u": "_s + line.text));
        QCOMPARE(QStringList{line.program} + line.arguments, wordsOf(text));
    };
    row("AAC mp4 stereo 128", "1", plain, head + "aac -vol 256 -ac 2 -ab 128 -f mp4 " + out);
    row("AAC mp2 mono 24 at 33%", "1", [](O &o, In &in) { o.txtAACProfile = o.txtChannelsAAC = "1"; o.Combo8.select("24"); in.volumePercent = 33; },
        head + "aac -vol 84.48 -ac 1 -ab 24 -f mp2 " + out);
    row("AAC without container", "1", [](O &o, In &) { o.txtAACProfile = "2"; o.Combo8.select("256"); }, head + "aac -vol 256 -ac 2 -ab 256 -f  " + out);
    // Volume and channels are not part of the QuEnc line.
    row("AC3 48", "2", [](O &o, In &in) { in.volumePercent = 10; o.txtChannelsAC3 = "6"; o.Combo1.select("48"); }, quenc + "48 -auto -close", "QuEnc.exe");
    row("AMR narrow 8", "3", [](O &o, In &) { o.Combo2.select("8"); }, head + "amr_nb -vol 256 -ac 1 -ar 8000 -ab 8 -f amr " + out);
    // AMR is always mono, whatever another format's channel field holds.
    row("AMR wide 24 at 75%", "3", [](O &o, In &in) {
            o.amrType = "1"; o.Combo2.clear(); o.Combo2.fill(kAMRWideBitRates); o.Combo2.select("24"); in.volumePercent = 75; o.txtChannelsMP3 = "2";
        }, head + "amr_wb -vol 192 -ac 1 -ar 16000 -ab 24 -f amr " + out);
    row("MP2 header avi mono 384", "4", [](O &o, In &) { o.txtMP2Header = "1"; o.txtChannelsMP2 = "1"; o.Combo6.select("384"); },
        head + "mp2 -vol 256 -ac 1 -ab 384 -f avi " + out);
    row("MP2 header mpeg at 0%", "4", [](O &o, In &in) { o.txtMP2Header = "2"; in.volumePercent = 0; }, head + "mp2 -vol 0 -ac 2 -ab 192 -f mpeg " + out);
    row("MP3 stereo 128", "5", plain, head + "mp3 -vol 256 -ac 2 -ab 128 -f mp3 " + out);
    // Other formats' fields never leak into the MP3 line.
    row("MP3 mono 32 from segment", "5", [](O &o, In &in) {
            o.txtChannelsMP3 = "1"; o.Combo5.select("32"); in.input = "/opt/tonmill/segment.avs"; o.Combo6.select("384");
        }, "\"/usr/bin/ffmpeg\" -y -i \"/opt/tonmill/segment.avs\" -vn -acodec mp3 -vol 256 -ac 1 -ab 32 -f mp3 " + out);
    row("WAV pcm_u8 mono", "6", [](O &o, In &) { o.wavPCM = o.txtChannelsWAV = "1"; }, head + "pcm_u8 -vol 256 -ac 1 -ab 705 -f wav " + out);
    // The encoding script is called with the title twice, back to back.
    row("WMA a64 with tags", "7", [](O &, In &in) { in.input = "/music/song.wma"; },
        wma + "\"/music/song.wma\" -profile a64 -title \"Title\" -title \"Title\" -author \"Artist\" -album \"Album\" -year \"2001\""
              " -description \"Notes\" -genre \"Rock\" -trackno \"7\" -output " + out, "Cscript.exe");
    row("WMA a20_1 empty tags", "7", [](O &o, In &in) {
            o.txtWMAProfile = "a20_1"; in.title = in.artist = in.album = in.year = in.notes = in.genre = in.track = QString();
        }, wma + "\"/opt/tonmill/DirectQX.avs\" -profile a20_1 -title \"\" -title \"\" -author \"\" -album \"\" -year \"\" -description \"\""
              " -genre \"\" -trackno \"\" -output " + out, "Cscript.exe");
    // The later formats keep the source's channels and rate.
    row("FLAC 24-bit level 8", "8", [](O &o, In &) { o.flacBits = "1"; o.cmbFLACLevel.select("8"); },
        head + "flac -vol 256 -sample_fmt s32 -compression_level 8" + tags + " -f flac " + out);
    row("Opus CBR voip 64, title only", "9", [](O &o, In &in) {
            o.opusMode = o.opusApplication = "1"; o.cmbOpusBitRate.select("64"); in.artist = in.album = in.year = in.notes = in.genre = in.track = QString();
        }, head + "opus -vol 256 -ab 64 -vbr off -application voip -metadata \"title=Title\" -f opus " + out);
    row("Opus VBR lowdelay", "9", [](O &o, In &) { o.opusApplication = "2"; },
        head + "opus -vol 256 -ab 128 -vbr on -application lowdelay" + tags + " -f opus " + out);
    row("Ogg at 75%", "10", [](O &, In &in) { in.volumePercent = 75; }, head + "vorbis -vol 192 -aq 5" + tags + " -f ogg " + out);
    row("M4A bit rate", "11", plain, head + "aac -vol 256 -ab 192" + tags + " -f ipod " + out);
    row("M4A quality", "11", [](O &o, In &) { o.m4aMode = "1"; }, head + "aac -vol 256 -aq 1" + tags + " -f ipod " + out);
    row("ALAC 16-bit", "12", plain, head + "alac -vol 256 -sample_fmt s16p" + tags + " -f ipod " + out);

    // The decoding scripts.
    QTemporaryDir dir;
    const QString app = dir.filePath(u"Tonmill app"_s);
    const QStringList plugins{kHeader, u"LoadPlugin(\"%1/Tools/Plugins/NicAudio.dll\")"_s.arg(app), u"LoadPlugin(\"%1/Tools/Plugins/soxfilter.dll\")"_s.arg(app)};
    const AppFolder folder(app);
    QVERIFY(QDir().mkpath(app));
    // The source filter by the name's last three characters.
    QList<std::pair<QString, QString>> sources = {
        {"/m/f.ac3", "Clip1 = NicAc3Source(\"/m/f.ac3\")"}, {"/m/g.dts", "Clip1 = NicDTSSource(\"/m/g.dts\")"},
        {"/m/h.mpa", "Clip1 = NicMPASource(\"/m/h.mpa\")"}, {"/m/i.mp2", "Clip1 = NicMPASource(\"/m/i.mp2\")"},
        {"/m/j.mp3", "Clip1 = DirectShowSource(\"/m/j.mp3\")"},
        {"/m/mymp3", "Clip1 = DirectShowSource(\"/m/mymp3\")"}, // only the last three characters count
        // A name with a double quote is written between three of them.
        {"/m/Ωμέγα 歌 \"x\".wav", "Clip1 = DirectShowSource(\"\"\"/m/Ωμέγα 歌 \"x\".wav\"\"\",25)"}};
    // The table's own names, and those it does not know, which are read as the segment script reads them.
    for (const QString name : {"/m/a.avs", "/m/b.wma", "/m/c.wav", "/m/d.aac", "/m/clip.ra", "/m/e.rmj", "/m/song.MP3", "/m/song.Wav",
                               "/m/k.flac", "/m/l.ram", "/m/n.m4a", "ra"})
        sources.append({name, u"Clip1 = DirectShowSource(\"%1\",25)"_s.arg(name)});
    for (const auto &[source, line] : sources)
        QCOMPARE(fullScript({source, 180, u"44100"_s, u"MP3"_s}, folder)->at(3), line);

    // Normalised AC3 with up-mix (its channels are checked by rendering it): UTF-8 lines ended by CR LF, written over a longer earlier
    // content; the up-mix comes after the trim and before the rate.
    const QString path = folder.file(u"\\DirectQX.avs"_s);
    test::writeBytes(path, QByteArray(5000, 'x'));
    QVERIFY(writeFullScript(path, {u"/music/Mötley – 歌.wav"_s, 180.3, u"48000"_s, u"AC3"_s, true, true}, folder));
    const QStringList written = QString::fromUtf8(readBytes(path)).split(u"\r\n"_s);
    QCOMPARE(written.first(8) + written.last(4), plugins + QStringList({"Clip1 = DirectShowSource(\"/music/Mötley – 歌.wav\",25)", kBlank, kDub,
                                                 "Clip4=Normalize(Clip3,volume=1)", "Trim(Clip4,0,4508)", "6==Audiochannels(last)?GetChannel(last,1,3,2,5,6,4):last",
                                                 "ResampleAudio (48000)", "ConvertToYV12()", ""}));
    QVERIFY(written.size() == 26 && written.contains(u"2==AudioChannels(Stereo)?UpMix(ConvertAudioToFloat(Stereo)):Stereo"_s));

    // Up-mix is for "AC3" only, spelt as the list spells it, and only when asked for.
    const QStringList plainAC3 = plugins + QStringList{"Clip1 = NicAc3Source(\"/music/a.ac3\")", kBlank, kDub, "Trim(Clip3,0,250)",
                                                      "ResampleAudio (44100)", "ConvertToYV12()"};
    const FullScriptInputs ac3{u"/music/a.ac3"_s, 10, u"44100"_s, u"AC3"_s};
    for (const QString format : {"AC3", "MP3", "ac3"})
        QCOMPARE(*fullScript({ac3.source, 10, ac3.rate, format, false, format != "AC3"_L1}, folder), plainAC3);
    // WMA: no resampling, the profile sets the rate.
    QCOMPARE(*fullScript({u"/music/b.mp3"_s, 0.3, u"44100"_s, u"WMA"_s, true}, folder),
             plugins + QStringList({"Clip1 = DirectShowSource(\"/music/b.mp3\")", kBlank, kDub, "Clip4=Normalize(Clip3,volume=1)",
                                   "Trim(Clip4,0,8)", "ConvertToYV12()"}));
    // A later format without a rate of its own keeps the source's.
    QVERIFY(!fullScript({ac3.source, 3, QString(), u"OPUS"_s}, folder)->join(QLatin1Char(' ')).contains(u"ResampleAudio"_s));
    // Less than one frame still ends after the first: 0 would mean the end.
    QCOMPARE(fullScript({ac3.source, 0.01, ac3.rate, ac3.format}, folder)->at(6), u"Trim(Clip3,0,1)"_s);
    // A duration that is no number makes no script; files that cannot be written are reported, never thrown.
    QVERIFY(!fullScript({ac3.source, qQNaN(), ac3.rate, ac3.format}, folder));
    QVERIFY(!writeFullScript(path, {ac3.source, qQNaN(), ac3.rate, ac3.format}, folder));
    for (const QString &unwritable : {dir.filePath(u"missing/DirectQX.avs"_s), app, u"/dev/full"_s})
        QVERIFY2(!writeFullScript(unwritable, ac3, folder), qPrintable(unwritable));
    QVERIFY(!writeSegmentScript(dir.filePath(u"missing/segment.avs"_s), {ac3.source, u"1"_s, u"2"_s, u"44100"_s}));

    // The segment script: always the DirectShow filter on the source itself, whatever its name; decimals that round both ways, a plain "12.4", an end of 0.
    const QString segment = dir.filePath(u"segment.avs"_s);
    const struct { const char *source, *start, *end, *rate, *trim; } cuts[] = {{"/music/track.ac3", "012.400", "030.000", "48000", "Trim(Clip3,310,750)"},
                {"/music/SONG.MP3", "000.580", "180.010", "22050", "Trim(Clip3,15,4500)"},
                {"/music/SONG.MP3", "12.4", "000.000", "22050", "Trim(Clip3,310,0)"}};
    for (const auto &r : cuts) {
        QVERIFY(writeSegmentScript(segment, {QLatin1String(r.source), QLatin1String(r.start), QLatin1String(r.end), QLatin1String(r.rate)}));
        // UTF-8, every line ended by CR LF.
        QCOMPARE(QString::fromUtf8(readBytes(segment)), QStringList({kHeader, u"Clip1 = DirectShowSource(\"%1\",25)"_s.arg(QLatin1String(r.source)), kBlank,
                                                                  kDub, "ConvertToYV12 (Clip3)", QLatin1String(r.trim), u"ResampleAudio (%1)"_s.arg(QLatin1String(r.rate)),
                                                                  "ConvertToYV12()", ""}).join(u"\r\n"_s));
    }
    // Start or end that is not a number: a failure for the caller, and the earlier script is left alone.
    const QByteArray before = readBytes(segment);
    for (const auto &[start, end] : QList<std::pair<const char *, const char *>>{{"", "030.000"}, {"012.400", "abc"}, {"12,4", "30"}, {"1e", "2"}})
        QVERIFY2(!writeSegmentScript(segment, {u"/m/a.wav"_s, QLatin1String(start), QLatin1String(end), u"44100"_s}), start);
    QCOMPARE(readBytes(segment), before);

    // The fade: 2 s are 50 frames each way; a sound shorter than 6 s fades over a third of its length; 0, a length not known, takes 2 s.
    for (const auto &[seconds, line] : QList<std::pair<double, const char *>>{{180, "FadeIO0(50)"}, {4.5, "FadeIO0(38)"}, {3, "FadeIO0(25)"},
                                                                              {1.56, "FadeIO0(13)"}, {0, "FadeIO0(50)"}})
        QCOMPARE(fadeLine(seconds), QLatin1String(line));
    // A cut lasts its frames, the end one included, up to the source's end when that is known; an end of 0 runs to it; at least one frame.
    for (const auto &[start, end, source, seconds] : QList<std::tuple<double, double, double, double>>{
             {12.4, 30, 60, 17.64}, {1, 2.5, 60, 1.54}, {7, 0, 10, 3}, {8, 30, 10, 2}, {8, 0, 0, 0}, {5, 4, 0, 0.04}})
        QCOMPARE(segmentSeconds(start, end, source), seconds);

    // Only when asked for, as the last change to the sound before the rate: after the trim, the cut's trim, or the up-mix.
    FullScriptInputs full{u"/m/b.wav"_s, 4.5, u"44100"_s, u"WMA"_s, true}, upmixed{u"/m/d.wav"_s, 10, u"48000"_s, u"AC3"_s, false, true};
    SegmentScriptInputs cut{u"/m/s.wav"_s, u"8"_s, u"30"_s, u"48000"_s, false, 10};
    QStringList plainFull = *fullScript(full, folder), plainCut = *tonmill::segmentScript(cut), plainAc3 = *fullScript(upmixed, folder);
    QVERIFY(!(plainFull + plainCut + plainAc3).join(QLatin1Char(' ')).contains(u"FadeIO0"_s));
    full.fade = cut.fade = upmixed.fade = true;
    plainFull.insert(8, u"FadeIO0(38)"_s);
    plainCut.insert(6, u"FadeIO0(17)"_s);
    plainAc3.insert(plainAc3.indexOf(u"6==Audiochannels(last)?GetChannel(last,1,3,2,5,6,4):last"_s) + 1, u"FadeIO0(50)"_s);
    QCOMPARE(*fullScript(full, folder), plainFull);
    QCOMPARE(*tonmill::segmentScript(cut), plainCut);
    QCOMPARE(*fullScript(upmixed, folder), plainAc3);
}

QTEST_GUILESS_MAIN(TestConvert)
#include "tst_convert.moc"
