// Loudness in the encoder runner: with TONMILL_LOUDNESS set, a quiet
// speech-like source, a loud music-like one and a quiet tone with one
// full-scale click come out at the target loudness under the true-peak
// ceiling, or keep their audio and carry ReplayGain tags, as ffmpeg's own
// EBU R128 meter, run separately on the output, and mutagen read them.
#include "convert/AVSScripts.h"
#include "convert/LoudnessChoice.h"
#include "platform/ToolChain.h"
#include "support/TestFiles.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"
#include "tools/run/LoudnessMeter.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <csignal>

using namespace tonmill;
using tonmill::test::Ran;
using tonmill::test::runProgram;
using Meter = tonmill::test::Loudness;

namespace {

// ffmpeg's log of a measuring pass over a 44.1 kHz stereo file converted to
// 22.05 kHz mono: a summary for the graph ffmpeg set up only to probe it,
// then the real one.
const char kCapturedLog[] = R"([warning] Guessed Channel Layout for Input Stream #0.0 : stereo
[info] Input #0, wav, from 'click.wav':
[info]   Metadata:
[info]     encoder         : Lavf59.27.100
[info]   Duration: 00:00:12.00, bitrate: 1411 kb/s
[info]   Stream #0:0: Audio: pcm_s16le ([1][0][0][0] / 0x0001), 44100 Hz, stereo, s16, 1411 kb/s
[Parsed_ebur128_1 @ 0x55cab5e236c0] [info] Summary:

  Integrated loudness:
    I:         -70.0 LUFS
    Threshold:   0.0 LUFS

  Loudness range:
    LRA:         0.0 LU
    Threshold:   0.0 LUFS
    LRA low:     0.0 LUFS
    LRA high:    0.0 LUFS

  True peak:
    Peak:       -inf dBFS
[info] Stream mapping:
[info]   Stream #0:0 (pcm_s16le) -> aformat:default
[info]   ebur128:out0 -> Stream #0:0 (pcm_s16le)
[info] Output #0, null, to 'pipe:':
[info]   Metadata:
[info]     encoder         : Lavf59.27.100
[info]   Stream #0:0: Audio: pcm_s16le, 22050 Hz, mono, s16, 352 kb/s
[info]     Metadata:
[info]       encoder         : Lavc59.37.100 pcm_s16le
[info] size=N/A time=00:00:12.00 bitrate=N/A speed= 281x
[info] video:0kB audio:517kB subtitle:0kB other streams:0kB global headers:0kB muxing overhead: unknown
[Parsed_ebur128_1 @ 0x55cab5e282c0] [info] Summary:

  Integrated loudness:
    I:         -31.1 LUFS
    Threshold: -41.1 LUFS

  Loudness range:
    LRA:         0.1 LU
    Threshold: -51.1 LUFS
    LRA low:   -31.1 LUFS
    LRA high:  -31.0 LUFS

  True peak:
    Peak:       -3.3 dBFS
)";

QString runner()
{
    return test::builtAppDir() + QStringLiteral("/Tools/tonmill-run");
}

// An ffmpeg line as the program writes it for the format.
QStringList line(const QString &codec, const QString &muxer, const QString &in, const QString &out,
                 const QString &ffmpeg = QStringLiteral("/usr/bin/ffmpeg"))
{
    return {ffmpeg, QStringLiteral("-y"), QStringLiteral("-i"), in, QStringLiteral("-vn"), QStringLiteral("-acodec"),
            codec, QStringLiteral("-vol"), QStringLiteral("256"), QStringLiteral("-ab"), QStringLiteral("256"),
            QStringLiteral("-f"), muxer, out};
}

QString choice(const char *mode, double target)
{
    return QStringLiteral(R"({"mode":"%1","target":%2,"ceiling":-1})").arg(QLatin1String(mode)).arg(target);
}

QString loudnessVariable(const QString &value)
{
    return QLatin1String(kLoudnessVariable) + QLatin1Char('=') + value;
}

// The independent reading: a separate ffmpeg run of its ebur128 meter.
// The decoded audio's checksum.
QString audioChecksum(const QString &file)
{
    return runProgram(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"),
                                                 file, QStringLiteral("-map"), QStringLiteral("0:a"),
                                                 QStringLiteral("-f"), QStringLiteral("md5"), QStringLiteral("-")})
        .out.trimmed();
}

// The ReplayGain track tags as mutagen reads them: "gain|peak", or empty.
QString replayGainTags(const QString &file)
{
    const Ran r = runProgram(QStringLiteral("/usr/bin/python3"),
                             {QStringLiteral("-c"),
                              QStringLiteral("import sys, mutagen\n"
                                             "f = mutagen.File(sys.argv[1])\n"
                                             "t = {k.upper().replace('TXXX:', ''):"
                                             " str(v[0] if isinstance(v, list) else v)"
                                             " for k, v in (f.tags or {}).items()}\n"
                                             "if 'REPLAYGAIN_TRACK_GAIN' in t:\n"
                                             "    print(t['REPLAYGAIN_TRACK_GAIN'] + '|'"
                                             " + t['REPLAYGAIN_TRACK_PEAK'] + '|' + t.get('R128_TRACK_GAIN', ''))\n"),
                              file});
    return r.out.trimmed();
}

} // namespace

class TestLoudness : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void choiceAndMeterLogAreRead();
    void normalisedOutputMeetsTarget_data();
    void normalisedOutputMeetsTarget();
    void otherwiseTheAudioIsKept_data();
    void otherwiseTheAudioIsKept();
    void terminationEndsTheMeasuring();

private:
    QString make(const QString &file, const QString &program, const QStringList &arguments);
    QString path(const QString &name) const { return m_dir.filePath(name); }

    QTemporaryDir m_dir;
    QString m_speech, m_music, m_click, m_short, m_segment;
};

// Runs what makes a test file: sox or ffmpeg, with the file among the arguments.
QString TestLoudness::make(const QString &file, const QString &program, const QStringList &arguments)
{
    const Ran r = runProgram(program, arguments);
    if (r.exitCode != 0)
        qWarning() << "making" << file << "failed:" << r.err;
    return file;
}

void TestLoudness::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(QFileInfo(runner()).isExecutable());
    // -R: the same noise on every run.
    auto soxMade = [&](const char *name, const char *effects) {
        const QString file = path(QString::fromLatin1(name));
        return make(file, QStringLiteral("sox"),
                    QStringLiteral("-R -n -b 16 -r 44100 -c 2").split(QLatin1Char(' ')) << file
                        << QString::fromLatin1(effects).split(QLatin1Char(' ')));
    };
    // Noise bursts two and a half times a second, at about -35 LUFS, in a
    // FLAC with loudness tags of its own, which FLAC lines carry over.
    const QString speechWav = soxMade("speech.wav", "synth 20 pinknoise tremolo 2.5 100 vol 0.1");
    m_speech = path(QStringLiteral("speech.flac"));
    make(m_speech, QStringLiteral("ffmpeg"),
         {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), speechWav, QStringLiteral("-metadata"),
          QStringLiteral("REPLAYGAIN_TRACK_GAIN=+5.00 dB"), QStringLiteral("-metadata"),
          QStringLiteral("REPLAYGAIN_TRACK_PEAK=0.500000"), m_speech});
    QCOMPARE(replayGainTags(m_speech), QStringLiteral("+5.00 dB|0.500000|"));
    // Noise and two tones, compressed hard and brought up: about -8 LUFS.
    m_music = soxMade("music.wav", "synth 20 pinknoise synth 20 sine mix 110 synth 20 sine mix 330 tremolo 4 40 "
                                   "compand 0.002,0.05 -40,-40,0,-8 0 -90 0.002 gain -n -2.4");
    // A tone at -30 dBFS with one sample at full scale after five seconds.
    m_click = path(QStringLiteral("click.wav"));
    make(m_click, QStringLiteral("ffmpeg"),
         {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
          QStringLiteral("-i"), QStringLiteral("aevalsrc=if(eq(n\\,220500)\\,1\\,0.03*sin(2*PI*440*t)):s=44100:d=12"),
          QStringLiteral("-af"), QStringLiteral("pan=stereo|c0=c0|c1=c0"), QStringLiteral("-c:a"),
          QStringLiteral("pcm_s16le"), m_click});
    // Shorter than the meter's 400 ms block.
    m_short = soxMade("short.wav", "synth 0.3 sine 440");
    // Twenty seconds of the quiet source, then twenty of the loud one, which
    // alone sets the whole file's gated loudness; the segment script takes
    // 2 s to 8 s of it, so only quiet audio is encoded.
    const QString both = path(QStringLiteral("both.wav"));
    make(both, QStringLiteral("sox"), {speechWav, m_music, both});
    QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("segment")));
    m_segment = path(QStringLiteral("segment/segment.avs"));
    QVERIFY(writeSegmentScript(m_segment, {both, QStringLiteral("2"), QStringLiteral("8"), QStringLiteral("44100")}));

    const Meter speech = test::measureLoudness(m_speech), music = test::measureLoudness(m_music), click = test::measureLoudness(m_click);
    QVERIFY2(std::abs(speech.lufs + 35) < 1.5, qPrintable(QString::number(speech.lufs)));
    QVERIFY2(std::abs(music.lufs + 8) < 1.5, qPrintable(QString::number(music.lufs)));
    QVERIFY2(click.lufs < -28 && click.peakDbtp > -0.1, qPrintable(QString::number(click.lufs)));
}

void TestLoudness::choiceAndMeterLogAreRead()
{
    const QList<QPair<const char *, bool>> values = {
        {R"({"mode":"normalize","target":-16,"ceiling":-1})", true},
        {R"({"mode":"replaygain","target":-23,"ceiling":0})", true},
        {R"({"mode":"normalize"})", true}, // the defaults: -16 LUFS, -1 dBTP
        {R"({"mode":"normalize","target":-4.9,"ceiling":-1})", false},
        {R"({"mode":"normalize","target":-70.1,"ceiling":-1})", false},
        {R"({"mode":"normalize","target":-16,"ceiling":0.5})", false},
        {R"({"mode":"normalize","target":-16,"ceiling":-9.5})", false},
        {R"({"mode":"normalize","target":"-16","ceiling":-1})", false},
        {R"({"mode":"off","target":-16,"ceiling":-1})", false},
        {R"({"target":-16,"ceiling":-1})", false},
        {R"({"mode":"normalize","target":-16,)", false},
    };
    for (const auto &[value, valid] : values)
        QVERIFY2(loudnessFrom(QByteArray(value)).has_value() == valid, value);

    LoudnessChoice broadcast;
    broadcast.mode = LoudnessChoice::Mode::ReplayGain;
    broadcast.targetLufs = kLoudnessBroadcastLufs;
    broadcast.truePeakDbtp = -2;
    const QString entry = loudnessEntry(broadcast);
    QVERIFY(entry.startsWith(QLatin1String(kLoudnessVariable) + QLatin1Char('=')));
    const std::optional<LoudnessChoice> back = loudnessFrom(entry.section(QLatin1Char('='), 1).toUtf8());
    QVERIFY(back && back->mode == LoudnessChoice::Mode::ReplayGain);
    QVERIFY(back->targetLufs == -23 && back->truePeakDbtp == -2);
    QVERIFY(loudnessEntry({}).isEmpty());
    LoudnessChoice album;
    album.mode = LoudnessChoice::Mode::ReplayGain;
    album.albumGain = AlbumGain{-3.25, 0.5};
    const std::optional<LoudnessChoice> albumBack = loudnessFrom(loudnessEntry(album).section(QLatin1Char('='), 1).toUtf8());
    QVERIFY(albumBack && albumBack->albumGain && albumBack->albumGain->gainDb == -3.25 && albumBack->albumGain->peak == 0.5);
    QVERIFY(!loudnessFrom(R"({"mode":"replaygain","album_gain":-3})"));

    // The album's loudness is the files' as one: silence and unknown
    // lengths count for nothing; the peak is the highest.
    const std::optional<TrackLoudness> measured =
        measuredLoudnessIn(QStringLiteral("x\n") + measuredLoudnessLine(-20, -6.02) + QStringLiteral("\n"));
    QVERIFY(measured && measured->integratedLufs == -20 && measured->truePeakDbtp == -6.02);
    const std::optional<AlbumGain> two =
        albumGainOf({{-20, -6.02, 30}, {-30, -1, 10}, {kLoudnessFloorLufs, -90, 60}, {-10, 0, 0}});
    QVERIFY(two && std::abs(two->gainDb - (-18 - 10 * std::log10((30 * 0.01 + 10 * 0.001) / 40))) < 0.01);
    QVERIFY(std::abs(two->peak - std::pow(10.0, -1 / 20.0)) < 1e-9);
    QVERIFY(!albumGainOf({{kLoudnessFloorLufs, -90, 60}}));

    const std::optional<run::LoudnessReading> reading = run::parseLoudnessLog(QString::fromLatin1(kCapturedLog));
    QVERIFY(reading);
    QCOMPARE(reading->integratedLufs, -31.1);
    QCOMPARE(reading->truePeakDbtp, -3.3);
    QCOMPARE(reading->sampleRate, 22050);
    // The probe's summary alone: the floor, and no peak at all.
    const QString probeOnly = QString::fromLatin1(kCapturedLog).section(QLatin1String("[info] Stream mapping"), 0, 0);
    const std::optional<run::LoudnessReading> silent = run::parseLoudnessLog(probeOnly);
    QVERIFY(silent);
    QCOMPARE(silent->integratedLufs, kLoudnessFloorLufs);
    QVERIFY(std::isinf(silent->truePeakDbtp) && silent->truePeakDbtp < 0);
    QVERIFY(!run::parseLoudnessLog(QStringLiteral("[error] click.wav: No such file or directory\n")));
}

void TestLoudness::normalisedOutputMeetsTarget_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<double>("target");
    QTest::addColumn<QString>("codec");
    QTest::addColumn<QString>("muxer");
    QTest::addColumn<bool>("limited");

    // MP3 at 256 kbit/s: at 192 kbit/s and below lame itself takes up to
    // 0.6 LU off whatever it is given.
    const QList<std::tuple<const char *, QString, bool, bool>> sources = {
        {"speech", m_speech, false, false}, {"music", m_music, false, false}, {"click", m_click, true, true},
        {"segment", m_segment, false, false}};
    for (const auto &[name, source, limitedAt16, limitedAt23] : sources) {
        for (const double target : {-16.0, -23.0}) {
            for (const char *format : {"flac", "mp3"}) {
                QTest::addRow("%s %s at %g", name, format, target)
                    << source << target << QString::fromLatin1(format) << QString::fromLatin1(format)
                    << (target == -16.0 ? limitedAt16 : limitedAt23);
            }
        }
    }
}

void TestLoudness::normalisedOutputMeetsTarget()
{
    QFETCH(QString, source);
    QFETCH(double, target);
    QFETCH(QString, codec);
    QFETCH(QString, muxer);
    QFETCH(bool, limited);

    const QString output = path(QStringLiteral("%1-%2.%3").arg(QFileInfo(source).baseName()).arg(-target).arg(muxer));
    const Ran r = runProgram(runner(), line(codec, muxer, source, output), {loudnessVariable(choice("normalize", target))});
    QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
    QVERIFY2(r.err.isEmpty(), qPrintable(r.err));

    // The description comes first and says what was done; the progress that
    // follows only moves forward.
    const QStringList lines = r.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QVERIFY(!lines.isEmpty());
    const QString description = lines.first();
    QVERIFY2(description.contains(QStringLiteral("loudness %1 LUFS: ").arg(target)), qPrintable(description));
    QCOMPARE(description.contains(QLatin1String("limited to -1 dBTP")), limited);
    double last = -1;
    for (const QString &status : lines.mid(1)) {
        const QRegularExpressionMatch time = QRegularExpression(QStringLiteral(R"(time=\s*([0-9.]+))")).match(status);
        QVERIFY2(time.hasMatch(), qPrintable(status));
        QVERIFY2(time.captured(1).toDouble() >= last, qPrintable(r.out));
        last = time.captured(1).toDouble();
    }

    const Meter m = test::measureLoudness(output);
    QVERIFY2(std::abs(m.lufs - target) <= 0.5, qPrintable(QStringLiteral("%1 LUFS").arg(m.lufs)));
    QVERIFY2(m.peakDbtp <= -1.0, qPrintable(QStringLiteral("%1 dBTP").arg(m.peakDbtp)));
    // The source's own gain no longer fits the audio.
    QCOMPARE(replayGainTags(output), QString());
}

void TestLoudness::otherwiseTheAudioIsKept_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("codec");
    QTest::addColumn<QString>("muxer");
    QTest::addColumn<QString>("notice"); // what stderr says; empty: tags are written

    QTest::newRow("ReplayGain, speech in FLAC") << "replaygain" << m_speech << "flac" << "flac" << QString();
    QTest::newRow("ReplayGain, music in MP3") << "replaygain" << m_music << "mp3" << "mp3" << QString();
    QTest::newRow("ReplayGain, click in FLAC") << "replaygain" << m_click << "flac" << "flac" << QString();
    QTest::newRow("ReplayGain, click in MP3") << "replaygain" << m_click << "mp3" << "mp3" << QString();
    QTest::newRow("ReplayGain, music in Opus") << "replaygain" << m_music << "opus" << "opus" << QString();
    QTest::newRow("ReplayGain, WAV") << "replaygain" << m_speech << "pcm_s16le" << "wav"
                                     << "wav files keep no ReplayGain tags";
    QTest::newRow("too short to normalise") << "normalize" << m_short << "flac" << "flac"
                                            << "too short to measure its loudness";
}

void TestLoudness::otherwiseTheAudioIsKept()
{
    QFETCH(QString, mode);
    QFETCH(QString, source);
    QFETCH(QString, codec);
    QFETCH(QString, muxer);
    QFETCH(QString, notice);

    const QString name = QStringLiteral("%1-%2-%3").arg(mode, QFileInfo(source).baseName(), muxer);
    const QString plain = path(name + QStringLiteral("-plain.") + muxer);
    const QString output = path(name + QLatin1Char('.') + muxer);
    QCOMPARE(runProgram(runner(), line(codec, muxer, source, plain)).exitCode, 0);
    const Ran r = runProgram(runner(), line(codec, muxer, source, output), {loudnessVariable(choice(qPrintable(mode), -16))});
    QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
    QCOMPARE(audioChecksum(output), audioChecksum(plain));
    QVERIFY(!audioChecksum(output).isEmpty());

    const QString tags = replayGainTags(output);
    if (!notice.isEmpty()) {
        QVERIFY2(r.err.startsWith(QLatin1String("tonmill-run: note: ")) && r.err.count(QLatin1Char('\n')) == 1,
                 qPrintable(r.err));
        QVERIFY2(r.err.contains(notice), qPrintable(r.err));
        QVERIFY2(tags.isEmpty(), qPrintable(tags));
        return;
    }
    QVERIFY2(r.err.isEmpty(), qPrintable(r.err));
    const QRegularExpressionMatch m =
        QRegularExpression(QStringLiteral(R"(^([+-][0-9]+\.[0-9]{2}) dB\|([0-9]\.[0-9]{6})\|(-?[0-9]*)$)")).match(tags);
    QVERIFY2(m.hasMatch(), qPrintable(tags));
    // Opus players read their own tag: the gain to -23 LUFS in 1/256 dB.
    QCOMPARE(m.captured(3).isEmpty(), muxer != QLatin1String("opus"));
    if (muxer == QLatin1String("opus"))
        QVERIFY2(std::abs(m.captured(3).toDouble() / 256 - (m.captured(1).toDouble() - 5)) < 0.01, qPrintable(tags));
    // The gain holds for the file as it plays; the peak is that of the audio
    // the encoder was given, which an MP3 encoder smears (a click loses 1 dB).
    const Meter played = test::measureLoudness(output);
    const Meter given = test::measureLoudness(source);
    const double gain = m.captured(1).toDouble();
    const double peakDb = 20 * std::log10(m.captured(2).toDouble());
    QVERIFY2(std::abs(gain - (-18 - played.lufs)) <= 0.5,
             qPrintable(tags + QStringLiteral(" vs %1 LUFS").arg(played.lufs)));
    QVERIFY2(std::abs(peakDb - given.peakDbtp) <= 0.5,
             qPrintable(tags + QStringLiteral(" vs %1 dBTP").arg(given.peakDbtp)));
}

void TestLoudness::terminationEndsTheMeasuring()
{
    // An ffmpeg that takes its time over the measuring and ignores SIGTERM.
    const QString slow = path(QStringLiteral("slow-ffmpeg"));
    QFile script(slow);
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\ntrap '' TERM\nprintf '%s\\n' \"$@\" > \"$0.args\"\nwhile :; do sleep 0.05; done\n");
    script.close();
    QVERIFY(script.setPermissions(script.permissions() | QFile::ExeOwner));
    const QString output = path(QStringLiteral("aborted.flac"));

    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QString::fromLatin1(kLoudnessVariable), choice("normalize", -16));
    p.setProcessEnvironment(env);
    p.start(runner(), line(QStringLiteral("flac"), QStringLiteral("flac"), m_speech, output, slow));
    QVERIFY(p.waitForStarted());
    QVERIFY(p.processId() > 0);
    // The runner and the measuring pass, which is given the meter.
    QTRY_VERIFY_WITH_TIMEOUT(test::readBytes(slow + QStringLiteral(".args")).contains("ebur128"), 10000);
    QCOMPARE(test::processesMentioning(slow).size(), 2);
    const QString partial = partialOutputName(output);
    QVERIFY(QFileInfo::exists(partial));
    QElapsedTimer clock;
    clock.start();
    ::kill(pid_t(p.processId()), SIGTERM);
    QVERIFY(p.waitForFinished(5000));
    QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    QCOMPARE(p.exitCode(), 128 + SIGTERM);
    QVERIFY(p.readAllStandardOutput().isEmpty());
    QVERIFY(!QFileInfo::exists(output));
    QVERIFY(!QFileInfo::exists(partial));
    QVERIFY(test::noProcessMentions(slow));
}

QTEST_GUILESS_MAIN(TestLoudness)
#include "tst_loudness.moc"
