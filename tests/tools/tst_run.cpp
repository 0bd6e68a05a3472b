// The encoder runner on the encoder lines and decoding scripts the program
// writes: every format comes out as ffprobe, sox and mutagen find the line
// asked for; with TONMILL_LOUDNESS the output meets the target under the
// true-peak ceiling as ffmpeg's own meter finds, or keeps its audio and carries
// ReplayGain tags; a failure is one line, and leaves no file and no process,
// also when the run is ended by a signal or aborted by name.
#include "ToolTests.h"

#include "convert/LoudnessChoice.h"
#include "platform/ProcessRegistry.h"
#include "process/CommandLine.h"
#include "process/KillApp.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <algorithm>

namespace {

const QString kFfmpeg = u"/usr/bin/ffmpeg"_s;
enum class Kind { Ffmpeg, QuEnc, NoQuEnc, Wma };

struct Row {
    Kind kind;
    QString options; // the ffmpeg line from -acodec on, QuEnc's bit rate, or the WMA profile
    QString source;
    QString script;  // "SamFreq cmbFormat [normalise] [upmix]" for the script on the source; empty: the source itself
    QString output;  // the name in the output folder
    QString expect;  // "codec container channels rate kbit/s", the rate from the payload over the duration
    QList<double> levels = {}; // per channel, dB below the loudest; "at most" from -40 down
    bool tagged = false;
};

const QStringList kTags = {u"Ünïcode \"quoted\" title; $(x)"_s, u"The Artist"_s, u"An Album"_s, u"1999"_s,
                           u"some notes"_s, u"Jazz"_s, u"7"_s};

CommandLine lineFor(Kind kind, const QString &options, const QString &in, const QString &out, bool tagged = false,
                    const QString &ffmpeg = kFfmpeg)
{
    CommandLineBuilder b;
    if (kind == Kind::Ffmpeg) {
        b.quoted(ffmpeg).text(u" -y -i "_s).quoted(in).text(u" -vn -acodec "_s + options + u' ');
    } else if (kind == Kind::Wma) {
        b.text(u"Cscript.exe "_s).quoted(builtAppDir() + u"\\tools\\WMCmd.vbs"_s).text(u" -input "_s).quoted(in)
            .text(u" -profile "_s + options);
        const QStringList keys = words(u"title title author album year description genre trackno"_s);
        for (int i = 0; i < keys.size(); ++i)
            b.text(u" -"_s + keys[i] + u' ').quoted(tagged ? kTags[qMax(0, i - 1)] : QString());
        b.text(u" -output "_s);
    } else {
        b.quoted(kind == Kind::QuEnc ? u"/opt/QuEnc/QuEnc.exe"_s : QString()).text(u" -i "_s).quoted(in)
            .text(u" -o "_s).quoted(out)
            .text(u" -mpeg2mux novideo -audiocodec ac3 -audiobitrate "_s + options + u" -auto -close"_s);
        return b.build();
    }
    return b.quoted(out).build();
}

CommandLine routed(const CommandLine &line)
{
    return throughStandIns(line, AppFolder(builtAppDir()));
}

Ran encode(const CommandLine &line, const QString &loudness = {})
{
    return runProgram(routed(line).program, routed(line).arguments,
                      loudness.isEmpty() ? QStringList() : QStringList{QLatin1String(kLoudnessVariable) + u'=' + loudness});
}

// A run that fails: what the last line on stderr holds after "tonmill-run: error: ".
struct Failure {
    QString source, output, expected;
    int status = 1;
    QString ffmpeg = kFfmpeg, searchPath = {}; // searchPath empty: this test's own
    bool killEncoder = false;                  // SIGKILL ffmpeg once it is at work
    QStringList ffmpegSaid = {};               // the lines before the error line; empty: not checked
};

QString executable(const QString &file, const QByteArray &text)
{
    writeBytes(file, text);
    return QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner) ? file : QString();
}

// What ffprobe finds: codec, container names, channels, rate, and the kbit/s
// of all audio packets over the duration.
QStringList probe(const QString &file)
{
    const Ran r = runProgram(u"ffprobe"_s, words(u"-v error -select_streams a:0 -show_entries stream=codec_name,channels,"
                                                 "sample_rate:format=format_name,duration:packet=size -of json"_s) << file);
    const QJsonObject o = QJsonDocument::fromJson(r.out.toUtf8()).object();
    const QJsonObject stream = o[u"streams"_s].toArray().at(0).toObject(), format = o[u"format"_s].toObject();
    qint64 bytes = 0;
    for (const QJsonValue &packet : o[u"packets"_s].toArray())
        bytes += packet.toObject()[u"size"_s].toString().toLongLong();
    return {stream[u"codec_name"_s].toString(), format[u"format_name"_s].toString(),
            QString::number(stream[u"channels"_s].toInt()), stream[u"sample_rate"_s].toString(),
            QString::number(double(bytes) * 8 / 1000 / format[u"duration"_s].toString().toDouble())};
}

// sox's reading of the largest sample, 0..1.
double peakLevel(const QString &file)
{
    const QRegularExpressionMatch m = QRegularExpression(uR"(Maximum amplitude:\s+([0-9.]+))"_s)
                                          .match(runProgram(u"sox"_s, {file, u"-n"_s, u"stat"_s}).err);
    return m.hasMatch() ? m.captured(1).toDouble() : -1;
}

// The RMS level of each channel in dB, in ffmpeg's order (FL FR FC LFE SL SR).
QList<double> channelLevels(const QString &file)
{
    const Ran r = runProgram(u"ffmpeg"_s, words(u"-v info -i IN -af astats=measure_overall=none:measure_perchannel="
                                                "RMS_level -f null -"_s, file));
    QList<double> rms;
    const QRegularExpression level(uR"(RMS level dB: (-?[0-9.]+|-inf))"_s);
    for (auto it = level.globalMatch(r.err); it.hasNext();) {
        const QString v = it.next().captured(1);
        rms << (v == u"-inf"_s ? -200.0 : v.toDouble());
    }
    return rms;
}

QString muxerOf(const QString &codec)
{
    return codec == u"pcm_s16le"_s ? u"wav"_s : codec;
}

QString options(const QString &codec)
{
    return u"%1 -vol 256 -ab 256 -f %2"_s.arg(codec, muxerOf(codec));
}

QString choice(const QString &mode, double target)
{
    return uR"({"mode":"%1","target":%2,"ceiling":-1})"_s.arg(mode).arg(target);
}

QString audioChecksum(const QString &file)
{
    return runProgram(u"ffmpeg"_s, words(u"-v error -i IN -map 0:a -f md5 -"_s, file)).out.trimmed();
}

// The ReplayGain track tags as mutagen reads them: "gain|peak|R128 gain", or empty.
QString replayGainTags(const QString &file)
{
    return runProgram(u"/usr/bin/python3"_s,
                      {u"-c"_s, u"import sys, mutagen\nf = mutagen.File(sys.argv[1])\n"
                                "t = {k.upper().replace('TXXX:', ''): str(v[0] if isinstance(v, list) else v)"
                                " for k, v in (f.tags or {}).items()}\n"
                                "if 'REPLAYGAIN_TRACK_GAIN' in t:\n"
                                "    print(t['REPLAYGAIN_TRACK_GAIN'] + '|' + t['REPLAYGAIN_TRACK_PEAK'] + '|'"
                                " + t.get('R128_TRACK_GAIN', ''))\n"_s,
                       file})
        .out.trimmed();
}

} // namespace

class TestRun : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void formats_data();
    void formats();
    void amrTakesTheNearestLegalMode();
    void volumeScalesTheLevel();
    void loudnessChoiceIsRead();
    void loudness_data();
    void loudness();
    void badInputSaysWhatInOneLine_data();
    void badInputSaysWhatInOneLine();
    void terminationEndsTheRunAtOnce();
    void abortByNameEndsTheScriptHostRun();

private:
    QString make(const QString &name, const QString &program, const QString &arguments, const QString &in = {})
    {
        return made(program, words(arguments, in, path(name))) ? path(name) : QString();
    }
    QString path(const QString &name) const { return m_dir.filePath(name); }
    // DirectQX.avs as the program writes it for a three-second source, in a
    // folder of its own as each job has.
    QString scriptFor(const QString &job, const QString &source, const QString &samFreq, const QString &format,
                      bool normalize, bool upmix) const
    {
        const QString script = path(job + u"/DirectQX.avs"_s);
        const FullScriptInputs inputs{source, 3.0, samFreq, format, normalize, upmix};
        return QDir().mkpath(path(job)) && writeFullScript(script, inputs, AppFolder(path(job))) ? script : QString();
    }

    QTemporaryDir m_dir;
    QString m_stereo, m_mono, m_oddName, m_mp3, m_ac3, m_centre, m_left, m_quiet;
    QString m_speech, m_music, m_click, m_short, m_segment, m_long;
};

void TestRun::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(QFileInfo(helper(u"tonmill-run"_s)).isExecutable());
    const QString sox = u"sox"_s, ffmpeg = u"ffmpeg"_s;
    m_stereo = make(u"stereo.wav"_s, sox, u"-n -b 16 -r 44100 -c 2 OUT synth 3 sine 440 sine 660"_s);
    m_mono = make(u"mono.wav"_s, sox, u"-n -b 16 -r 22050 -c 1 OUT synth 3 sine 300"_s);
    m_oddName = make(u"it's a tëst – Ünïcode song.wav"_s, sox, u"-n -b 16 -r 48000 -c 2 OUT synth 3 sine 440 sine 660"_s);
    m_quiet = make(u"quiet.wav"_s, sox, u"-n -b 16 -r 44100 -c 2 OUT synth 2 sine 440 vol 0.4"_s);
    m_mp3 = make(u"song.mp3"_s, ffmpeg, u"-v error -i IN -b:a 192k OUT"_s, m_stereo);
    m_ac3 = make(u"dolby.ac3"_s, ffmpeg, u"-v error -i IN -ar 48000 -b:a 192k OUT"_s, m_stereo);
    const QString tone = u"-v error -f lavfi -i sine=frequency=1000:duration=3:sample_rate=48000 -af "_s;
    m_centre = make(u"centre.ac3"_s, ffmpeg, tone + u"pan=5.1(side)|FC=c0 -b:a 384k OUT"_s);
    m_left = make(u"left.wav"_s, ffmpeg, tone + u"pan=stereo|FL=c0 OUT"_s);
    // An hour of silence takes long enough to encode to be interrupted.
    m_long = make(u"hour.wav"_s, ffmpeg, u"-v error -f lavfi -i anullsrc=r=8000:cl=mono -t 3600 -c:a pcm_u8 OUT"_s);
    QVERIFY(QDir(m_dir.path()).mkdir(u"out – dir"_s));
    // For the loudness (-R: the same noise on every run): noise bursts two and
    // a half times a second at about -35 LUFS, in a FLAC with loudness tags of
    // its own, which FLAC lines carry over; noise and two tones, compressed
    // hard and brought up to about -8 LUFS; a tone at -30 dBFS with one sample
    // at full scale after two seconds; a source shorter than the meter's
    // 400 ms block; and the segment script's 1 s to 4 s of six seconds of the
    // quiet source followed by six of the loud one, which alone sets the whole
    // file's gated loudness.
    const QString rsox = u"-R -n -b 16 -r 44100 -c 2 OUT "_s;
    const QString speechWav = make(u"speech.wav"_s, sox, rsox + u"synth 6 pinknoise tremolo 2.5 100 vol 0.1"_s);
    m_speech = path(u"speech.flac"_s);
    QVERIFY(made(ffmpeg, words(u"-v error -i IN -metadata"_s, speechWav) << u"REPLAYGAIN_TRACK_GAIN=+5.00 dB"_s
                             << words(u"-metadata REPLAYGAIN_TRACK_PEAK=0.500000 OUT"_s, {}, m_speech)));
    QCOMPARE(replayGainTags(m_speech), u"+5.00 dB|0.500000|"_s);
    m_music = make(u"music.wav"_s, sox, rsox + u"synth 6 pinknoise synth 6 sine mix 110 synth 6 sine mix 330 tremolo 4 40 "
                                               "compand 0.002,0.05 -40,-40,0,-8 0 -90 0.002 gain -n -2.4"_s);
    m_click = make(u"click.wav"_s, ffmpeg, u"-v error -f lavfi -i aevalsrc=if(eq(n\\,88200)\\,1\\,0.03*sin(2*PI*440*t)):"
                                           "s=44100:d=4 -af pan=stereo|c0=c0|c1=c0 -c:a pcm_s16le OUT"_s);
    m_short = make(u"short.wav"_s, sox, rsox + u"synth 0.3 sine 440"_s);
    const QString both = path(u"both.wav"_s);
    m_segment = path(u"segment/segment.avs"_s);
    QVERIFY(made(sox, {speechWav, m_music, both}) && QDir(m_dir.path()).mkdir(u"segment"_s));
    QVERIFY(writeSegmentScript(m_segment, {both, u"1"_s, u"4"_s, u"44100"_s}));

    for (const QString &f : {m_stereo, m_mono, m_oddName, m_quiet, m_mp3, m_ac3, m_centre, m_left, m_long, m_music, m_click, m_short})
        QVERIFY(!f.isEmpty());
    const Loudness speech = measureLoudness(m_speech), music = measureLoudness(m_music), click = measureLoudness(m_click);
    QVERIFY2(std::abs(speech.lufs + 35) < 1.5, qPrintable(QString::number(speech.lufs)));
    QVERIFY2(std::abs(music.lufs + 8) < 1.5, qPrintable(QString::number(music.lufs)));
    QVERIFY2(click.lufs < -28 && click.peakDbtp > -0.1, qPrintable(QString::number(click.lufs)));
}

void TestRun::formats_data()
{
    QTest::addColumn<Row>("row");
    const auto F = Kind::Ffmpeg, W = Kind::Wma, Q = Kind::QuEnc;
    const QList<std::pair<const char *, Row>> rows = {
        {"AAC in MP4", {F, u"aac -vol 256 -ac 2 -ab 128 -f mp4"_s, m_stereo, u"44100 AAC"_s, u"aac-mp4.aac"_s,
                        u"aac mp4 2 44100 128"_s}},
        {"AAC as MPEG-2", {F, u"aac -vol 256 -ac 1 -ab 64 -f mp2"_s, m_mp3, u"22050 AAC"_s, u"aac-mpeg2 ë.aac"_s,
                           u"aac aac 1 22050 64"_s}},
        {"AMR narrow band", {F, u"amr_nb -vol 256 -ac 1 -ar 8000 -ab 13 -f amr"_s, m_stereo, u"44100 AMR"_s,
                             u"nb.amr"_s, u"amr_nb amr 1 8000 12.2"_s}},
        {"AMR wide band", {F, u"amr_wb -vol 256 -ac 1 -ar 16000 -ab 24 -f amr"_s, m_oddName, u"48000 AMR"_s,
                           u"wb.amr"_s, u"amr_wb amr 1 16000 23.85"_s}},
        {"MP2, mp2 header", {F, u"mp2 -vol 256 -ac 2 -ab 192 -f mp2"_s, m_stereo, u"48000 MP2/MPA"_s,
                             u"header-mp2.mp2"_s, u"mp2 mp3 2 48000 192"_s}},
        {"MP2, avi header", {F, u"mp2 -vol 256 -ac 1 -ab 96 -f avi"_s, m_mono, u"22050 MP2/MPA"_s,
                             u"header-avi.mp2"_s, u"mp2 avi 1 22050 96"_s}},
        {"MP2, mpeg header", {F, u"mp2 -vol 256 -ac 2 -ab 256 -f mpeg"_s, m_ac3, u"44100 MP2/MPA"_s,
                              u"header-mpeg.mp2"_s, u"mp2 mpeg 2 44100 256"_s}},
        {"MP3 stereo", {F, u"mp3 -vol 256 -ac 2 -ab 128 -f mp3"_s, m_oddName, u"44100 MP3"_s,
                        u"it's – ünïcode.mp3"_s, u"mp3 mp3 2 44100 128"_s}},
        {"MP3 mono from 5.1, normalised", {F, u"mp3 -vol 256 -ac 1 -ab 64 -f mp3"_s, m_centre,
                                           u"48000 MP3 normalise"_s, u"from-surround.mp3"_s, u"mp3 mp3 1 48000 64"_s}},
        {"WAV 16-bit", {F, u"pcm_s16le -vol 256 -ac 2 -ab 1411 -f wav"_s, m_mp3, u"32000 WAV"_s, u"s16.wav"_s,
                        u"pcm_s16le wav 2 32000 1024"_s}},
        {"WAV 8-bit", {F, u"pcm_u8 -vol 256 -ac 1 -ab 705 -f wav"_s, m_stereo, u"11025 WAV"_s, u"u8.wav"_s,
                       u"pcm_u8 wav 1 11025 88.2"_s}},
        {"WMA a20_1", {W, u"a20_1"_s, m_mp3, {}, u"fm-mono.wma"_s, u"wmav2 asf 1 22050 24"_s}},
        {"WMA a48", {W, u"a48"_s, m_mono, {}, u"near-cd.wma"_s, u"wmav2 asf 2 32000 48"_s}},
        {"WMA a128, normalised, tagged", {W, u"a128"_s, m_ac3, u"44100 WMA normalise"_s, u"tagged.wma"_s,
                                          u"wmav2 asf 2 44100 128"_s, {}, true}},
        {"AC3 stereo", {Q, u"192"_s, m_stereo, u"44100 AC3"_s, u"stereo.ac3"_s, u"ac3 ac3 2 44100 192"_s}},
        {"AC3 from 24000 Hz", {Q, u"128"_s, m_mp3, u"24000 AC3"_s, u"half-rate.ac3"_s, u"ac3 ac3 2 48000 128"_s}},
        // A 5.1 source keeps each channel in its place: the centre only in the centre.
        {"AC3 from 5.1, no QuEnc path", {Kind::NoQuEnc, u"448"_s, m_centre, u"48000 AC3"_s, u"five-one.ac3"_s,
                                         u"ac3 ac3 6 48000 448"_s, {-60, -60, 0, -60, -60, -60}}},
        // Up-mixing a tone only on the left: right silent, centre at half (-6 dB),
        // almost nothing at low frequencies, both surrounds at 0.668 (-3.5 dB).
        {"AC3 up-mixed", {Q, u"384"_s, m_left, u"48000 AC3 upmix"_s, u"up-mixed.ac3"_s, u"ac3 ac3 6 48000 384"_s,
                          {0, -60, -6, -40, -3.5, -3.5}}},
    };
    for (const auto &[name, row] : rows)
        QTest::newRow(name) << row;
}

void TestRun::formats()
{
    QFETCH(Row, row);
    const QStringList script = words(row.script), expect = words(row.expect);
    const QString input = script.isEmpty()
        ? row.source
        : scriptFor(QString::fromLatin1(QTest::currentDataTag()), row.source, script[0], script[1],
                    script.contains(u"normalise"_s), script.contains(u"upmix"_s));
    QVERIFY(!input.isEmpty());
    const QString output = path(u"out – dir/"_s + row.output);
    const Ran r = encode(lineFor(row.kind, row.options, input, output, row.tagged));
    QVERIFY2(r.exitCode == 0 && r.err.isEmpty(), qPrintable(r.out + r.err));
    QVERIFY(!QFileInfo::exists(partialOutputName(output)));
    // It says what it encodes to what, then only how far it has come, to the
    // end of the source's three seconds; the WMA script's progress within the
    // 63 characters its label shows (everything from a "[" on is pushed out).
    const QStringList lines = r.out.split(u'\n', Qt::SkipEmptyParts);
    QVERIFY2(lines.value(0).startsWith(u"Encoding "_s) && lines.value(0).contains(row.output), qPrintable(r.out));
    for (const QString &line : lines.mid(1)) {
        QVERIFY2(line.startsWith(row.kind == Kind::Wma ? u"Encoding WMA: "_s : u"size="_s), qPrintable(r.out));
        QVERIFY2(line.section(u'[', 0, 0).size() < 63, qPrintable(line));
    }
    const QRegularExpressionMatch end = QRegularExpression(row.kind == Kind::Wma ? uR"(^Encoding WMA: 100% \(([0-9.]+) of 3\.0 s\))"_s
                                                                                : uR"(time=([0-9.]+) )"_s).match(lines.last());
    QVERIFY2(end.hasMatch() && std::abs(end.captured(1).toDouble() - 3) < 0.15, qPrintable(lines.last()));

    const QStringList p = probe(output);
    QVERIFY2(p[0] == expect[0] && p[1].split(u',').contains(expect[1]) && p[2] == expect[2] && p[3] == expect[3]
                 && qAbs(p[4].toDouble() / expect[4].toDouble() - 1) <= 0.1,
             qPrintable(p.join(u' ')));
    if (expect[1] == u"aac"_s) {
        // The ADTS header's ID bit says MPEG-2.
        const QByteArray head = readBytes(output).left(2);
        QVERIFY(head.size() == 2 && quint8(head[0]) == 0xFF && (quint8(head[1]) & 0x08));
    }
    if (!row.levels.isEmpty()) {
        const QList<double> levels = channelLevels(output);
        QCOMPARE(levels.size(), row.levels.size());
        const double loudest = *std::max_element(levels.begin(), levels.end());
        QVERIFY(loudest > -30);
        for (qsizetype c = 0; c < levels.size(); ++c) {
            const double want = loudest + row.levels[c];
            QVERIFY2(row.levels[c] <= -40 ? levels[c] < want : std::abs(levels[c] - want) < 1.0,
                     qPrintable(u"channel %1: %2 dB"_s.arg(c).arg(levels[c])));
        }
    }
    if (row.tagged) {
        const Ran read = runProgram(u"/usr/bin/python3"_s,
                                    QStringList{u"-c"_s, u"import sys, mutagen.asf\nf = mutagen.asf.ASF(sys.argv[1])\n"
                                                         "for k in sys.argv[2:]:\n    print(f[k][0])\n"_s, output}
                                        + words(u"Title Author WM/AlbumTitle WM/Year Description WM/Genre "
                                                "WM/TrackNumber"_s));
        QCOMPARE(read.out.trimmed().split(u'\n'), kTags);
    }
}

void TestRun::amrTakesTheNearestLegalMode()
{
    // The combo's value -> the frame type of the first frame after the magic:
    // NB 8 -> 7.95 (5), 11 -> 10.2 (6); WB 7 -> 6.6 (0), 9 -> 8.85 (1),
    // 16 -> 15.85 (4), 20 -> 19.85 (6). 13 and 24 are among the formats.
    const QList<std::tuple<bool, const char *, int>> cases = {{false, "8", 5}, {false, "11", 6}, {true, "7", 0},
                                                              {true, "9", 1},  {true, "16", 4},  {true, "20", 6}};
    for (const auto &[wide, br, mode] : cases) {
        const QString out = path(u"mode-%1-%2.amr"_s.arg(wide ? "wb" : "nb", br));
        const QString options = u"%1 -vol 256 -ac 1 -ar %2 -ab %3 -f amr"_s.arg(wide ? "amr_wb" : "amr_nb",
                                                                              wide ? "16000" : "8000", br);
        QCOMPARE(encode(lineFor(Kind::Ffmpeg, options, m_mono, out)).exitCode, 0);
        const QByteArray data = readBytes(out);
        const qsizetype start = data.startsWith("#!AMR-WB\n") ? 9 : data.startsWith("#!AMR\n") ? 6 : data.size();
        const int first = start < data.size() ? (quint8(data[start]) >> 3) & 0x0F : -1;
        QVERIFY2(first == mode, qPrintable(u"%1 kbit/s gave mode %2"_s.arg(br).arg(first)));
    }
}

void TestRun::volumeScalesTheLevel()
{
    // The volume is a share of 256, also with the decimal comma of the user's
    // locale; normalising lifts the source to full scale before it applies.
    const double source = peakLevel(m_quiet);
    QVERIFY2(std::abs(source - 0.4) < 0.01, qPrintable(QString::number(source)));
    const QList<std::tuple<const char *, bool, double>> cases = {
        {"256", false, source}, {"128", false, source / 2}, {"84,48", false, source * 0.33}, {"128", true, 0.5}};
    for (const auto &[vol, normalize, peak] : cases) {
        const QString job = u"vol-%1%2"_s.arg(vol, normalize ? "-normalised" : "");
        const QString in = normalize ? scriptFor(job, m_quiet, u"44100"_s, u"WAV"_s, true, false) : m_quiet;
        const QString out = path(job + u".wav"_s);
        const QString options = u"pcm_s16le -vol %1 -ac 2 -ab 1411 -f wav"_s.arg(vol);
        QCOMPARE(encode(lineFor(Kind::Ffmpeg, options, in, out)).exitCode, 0);
        // Within 0.1 %: a volume scaled by 255 instead of 256 is 0.4 % off.
        QVERIFY2(std::abs(peakLevel(out) / peak - 1) < 0.001, qPrintable(u"%1: %2"_s.arg(job).arg(peakLevel(out))));
    }
}

void TestRun::loudnessChoiceIsRead()
{
    const QList<QPair<const char *, bool>> values = {
        {R"({"mode":"normalize","target":-16,"ceiling":-1})", true}, {R"({"mode":"replaygain","target":-23,"ceiling":0})", true},
        {R"({"mode":"normalize"})", true}, // the defaults: -16 LUFS, -1 dBTP
        {R"({"mode":"normalize","target":-4.9,"ceiling":-1})", false}, {R"({"mode":"normalize","target":-70.1,"ceiling":-1})", false},
        {R"({"mode":"normalize","target":-16,"ceiling":0.5})", false}, {R"({"mode":"normalize","target":-16,"ceiling":-9.5})", false},
        {R"({"mode":"normalize","target":"-16","ceiling":-1})", false}, {R"({"mode":"off","target":-16,"ceiling":-1})", false},
        {R"({"target":-16,"ceiling":-1})", false}, {R"({"mode":"normalize","target":-16,)", false},
        {R"({"mode":"replaygain","album_gain":-3})", false},
    };
    for (const auto &[value, valid] : values)
        QVERIFY2(loudnessFrom(QByteArray(value)).has_value() == valid, value);

    // What the program puts in the environment comes back as it was: a first,
    // measuring pass of an album, and the album's gain for the second.
    LoudnessChoice measuring{LoudnessChoice::Mode::ReplayGain, kLoudnessBroadcastLufs, -2, false, true, {}}, album;
    album.mode = LoudnessChoice::Mode::ReplayGain;
    album.albumGain = AlbumGain{-3.25, 0.5};
    QVERIFY(loudnessEntry(measuring).startsWith(QLatin1String(kLoudnessVariable) + u'=') && loudnessEntry({}).isEmpty());
    const auto back = [](const LoudnessChoice &c) { return loudnessFrom(loudnessEntry(c).section(u'=', 1).toUtf8()).value_or(LoudnessChoice()); };
    QVERIFY(back(measuring).mode == LoudnessChoice::Mode::ReplayGain && back(measuring).measureOnly);
    QVERIFY(back(measuring).targetLufs == -23 && back(measuring).truePeakDbtp == -2 && !back(measuring).albumGain);
    QVERIFY(!back(album).measureOnly && back(album).albumGain && back(album).albumGain->gainDb == -3.25 && back(album).albumGain->peak == 0.5);

    // The album's loudness is the files' as one: silence and unknown
    // lengths count for nothing; the peak is the highest.
    const std::optional<TrackLoudness> measured =
        measuredLoudnessIn(u"x\n"_s + measuredLoudnessLine(-20, -6.02) + u"\n"_s);
    QVERIFY(measured && measured->integratedLufs == -20 && measured->truePeakDbtp == -6.02);
    const std::optional<AlbumGain> two =
        albumGainOf({{-20, -6.02, 30}, {-30, -1, 10}, {kLoudnessFloorLufs, -90, 60}, {-10, 0, 0}});
    QVERIFY(two && std::abs(two->gainDb - (-18 - 10 * std::log10((30 * 0.01 + 10 * 0.001) / 40))) < 0.01);
    QVERIFY(std::abs(two->peak - std::pow(10.0, -1 / 20.0)) < 1e-9);
    QVERIFY(!albumGainOf({{kLoudnessFloorLufs, -90, 60}}));
}

void TestRun::loudness_data()
{
    for (const char *column : {"mode", "source", "codec", "note"})
        QTest::addColumn<QString>(column);
    QTest::addColumn<double>("target");
    QTest::addColumn<bool>("kept"); // the audio is kept: tags are written, or the note is on stderr
    const QString normalize = u"normalize"_s, replaygain = u"replaygain"_s, limited = u"limited"_s;
    // MP3 at 256 kbit/s: at 192 kbit/s and below lame itself takes up to 0.6 LU off whatever it is given.
    QTest::newRow("speech raised, FLAC") << normalize << m_speech << u"flac"_s << QString() << -23.0 << false;
    QTest::newRow("music lowered, MP3") << normalize << m_music << u"mp3"_s << QString() << -16.0 << false;
    QTest::newRow("click limited, MP3") << normalize << m_click << u"mp3"_s << limited << -16.0 << false;
    QTest::newRow("click limited, FLAC") << normalize << m_click << u"flac"_s << limited << -23.0 << false;
    QTest::newRow("segment of quiet audio") << normalize << m_segment << u"flac"_s << QString() << -16.0 << false;
    QTest::newRow("music raised, limited, MP3") << normalize << m_music << u"mp3"_s << limited << -5.0 << false;
    QTest::newRow("ReplayGain, speech in FLAC") << replaygain << m_speech << u"flac"_s << QString() << -16.0 << true;
    QTest::newRow("ReplayGain, click in MP3") << replaygain << m_click << u"mp3"_s << QString() << -16.0 << true;
    QTest::newRow("ReplayGain, music in Opus") << replaygain << m_music << u"opus"_s << QString() << -16.0 << true;
    QTest::newRow("ReplayGain, WAV") << replaygain << m_speech << u"pcm_s16le"_s
                                     << u"wav files keep no ReplayGain tags"_s << -16.0 << true;
    QTest::newRow("too short to normalise") << normalize << m_short << u"flac"_s
                                            << u"too short to measure its loudness"_s << -16.0 << true;
}

void TestRun::loudness()
{
    QFETCH(QString, mode);
    QFETCH(QString, source);
    QFETCH(QString, codec);
    QFETCH(QString, note);
    QFETCH(double, target);
    QFETCH(bool, kept);
    const QString name = path(QString::fromLatin1(QTest::currentDataTag()));
    const QString plain = name + u" plain."_s + muxerOf(codec), output = name + u'.' + muxerOf(codec);
    const Ran r = encode(lineFor(Kind::Ffmpeg, options(codec), source, output), choice(mode, target));
    QVERIFY2(r.exitCode == 0 && (kept || r.err.isEmpty()), qPrintable(r.out + r.err));
    const QString tags = replayGainTags(output);
    if (!kept) {
        // The description comes first and says what was done; the progress
        // that follows only moves forward.
        const QStringList lines = r.out.split(u'\n', Qt::SkipEmptyParts);
        QVERIFY2(lines.value(0).contains(u"loudness %1 LUFS: "_s.arg(target)), qPrintable(r.out));
        QCOMPARE(lines.value(0).contains(u"limited to -1 dBTP"_s), note == u"limited"_s);
        double last = -1;
        for (const QString &status : lines.mid(1)) {
            const QRegularExpressionMatch time = QRegularExpression(uR"(time=\s*([0-9.]+))"_s).match(status);
            QVERIFY2(time.hasMatch() && time.captured(1).toDouble() >= last, qPrintable(r.out));
            last = time.captured(1).toDouble();
        }
        const Loudness m = measureLoudness(output);
        QVERIFY2(std::abs(m.lufs - target) <= 0.5 && m.peakDbtp <= -1.0, qPrintable(u"%1 LUFS, %2 dBTP"_s.arg(m.lufs).arg(m.peakDbtp)));
        // The source's own gain no longer fits the audio.
        QCOMPARE(tags, QString());
        return;
    }
    QCOMPARE(encode(lineFor(Kind::Ffmpeg, options(codec), source, plain)).exitCode, 0);
    QVERIFY(!audioChecksum(output).isEmpty());
    QCOMPARE(audioChecksum(output), audioChecksum(plain));
    if (!note.isEmpty()) {
        QVERIFY2(r.err.startsWith(u"tonmill-run: note: "_s) && r.err.count(u'\n') == 1 && r.err.contains(note),
                 qPrintable(r.err));
        QVERIFY2(tags.isEmpty(), qPrintable(tags));
        return;
    }
    QVERIFY2(r.err.isEmpty(), qPrintable(r.err));
    const QRegularExpressionMatch m =
        QRegularExpression(uR"(^([+-][0-9]+\.[0-9]{2}) dB\|([0-9]\.[0-9]{6})\|(-?[0-9]*)$)"_s).match(tags);
    QVERIFY2(m.hasMatch(), qPrintable(tags));
    // Opus players read their own tag: the gain to -23 LUFS in 1/256 dB.
    QCOMPARE(m.captured(3).isEmpty(), codec != u"opus"_s);
    if (codec == u"opus"_s)
        QVERIFY2(std::abs(m.captured(3).toDouble() / 256 - (m.captured(1).toDouble() - 5)) < 0.01, qPrintable(tags));
    // The gain holds for the file as it plays; the peak is that of the audio
    // the encoder was given, which an MP3 encoder smears (a click loses 1 dB).
    const Loudness played = measureLoudness(output), given = measureLoudness(source);
    QVERIFY2(std::abs(m.captured(1).toDouble() - (-18 - played.lufs)) <= 0.5,
             qPrintable(tags + u" vs %1 LUFS"_s.arg(played.lufs)));
    QVERIFY2(std::abs(20 * std::log10(m.captured(2).toDouble()) - given.peakDbtp) <= 0.5,
             qPrintable(tags + u" vs %1 dBTP"_s.arg(given.peakDbtp)));
}

void TestRun::badInputSaysWhatInOneLine_data()
{
    QTest::addColumn<Failure>("f");
    const QString dir = m_dir.path();
    // Random bytes behind a name that promises audio.
    const QString corrupt = dir + u"/corrupt.wav"_s;
    QByteArray noise(64 * 1024, '\0');
    for (qsizetype i = 0; i < noise.size(); ++i)
        noise[i] = char((i * 7919 + i / 13) % 251);
    writeBytes(corrupt, "RIFF\x10\0\0\0WAVEjunk" + noise);
    const QString script = dir + u"/DirectQX.avs"_s;
    writeBytes(script, "# Created by Tonmill - Quorell\r\nClip1 = FrobnicateSource(\"" + m_long.toUtf8()
                           + "\")\r\nClip2 = BlankClip(Length = 2000000, fps = 25)\r\nClip3 = AudioDub(Clip2, Clip1)\r\n"
                             "Trim(Clip3,0,90000)\r\nResampleAudio (44100)\r\nConvertToYV12()\r\n");

    // The same sources behind the script the program writes for them.
    auto scriptFor = [&](const QString &name, const QString &source) {
        const QString folder = dir + u'/' + name;
        const QString path = folder + u"/DirectQX.avs"_s;
        const FullScriptInputs inputs{source, 8, u"44100"_s, u"MP3"_s};
        return QDir().mkpath(folder) && writeFullScript(path, inputs, AppFolder(folder)) ? path : QString();
    };
    const QString corruptScript = scriptFor(u"corrupt-job"_s, corrupt);
    const QString missingScript = scriptFor(u"missing-job"_s, dir + u"/gone.wav"_s);

    const auto row = [](const char *name, const Failure &f) { QTest::newRow(name) << f; };
    row("corrupt source", {corrupt, dir + u"/c.mp3"_s, u"cannot read the source \"%1\""_s.arg(corrupt)});
    row("missing source", {dir + u"/nothing.wav"_s, dir + u"/m.mp3"_s, u"does not exist"_s});
    row("corrupt source in a script", {corruptScript, dir + u"/cs.mp3"_s, u"\"%1\" could not be read"_s.arg(corrupt)});
    row("missing source in a script", {missingScript, dir + u"/ms.mp3"_s, u"gone.wav\" does not exist"_s});
    row("unknown script function", {script, dir + u"/s.mp3"_s, u"FrobnicateSource"_s});
    row("missing output folder", {m_long, dir + u"/no/such/folder/o.mp3"_s, u"does not exist"_s});
    row("unwritable output folder (/proc)", {m_long, u"/proc/tonmill-test.mp3"_s, u"cannot write to the output folder \"/proc\""_s});

    // An ffmpeg that cannot be started, in a folder of its own.
    const QString tools = dir + u"/tools"_s;
    QVERIFY(QDir().mkpath(tools + u"/folder/ffmpeg"_s));
    writeBytes(tools + u"/ffmpeg.txt"_s, {});
    QVERIFY(QFile::link(kFfmpeg, tools + u"/ffmpeg"_s));
    const QString launch = dir + u"/launch"_s;
    QVERIFY(QDir().mkpath(launch));
    row("missing ffmpeg", {m_long, launch + u"/l.mp3"_s, u"\"/nonexistent/ffmpeg\""_s, kHelperProgramMissing,
        u"/nonexistent/ffmpeg"_s});
    row("ffmpeg not executable", {m_long, launch + u"/l.mp3"_s, u"\"%1/ffmpeg.txt\""_s.arg(tools),
        kHelperProgramNotExecutable, tools + u"/ffmpeg.txt"_s});
    row("ffmpeg a folder", {m_long, launch + u"/l.mp3"_s, u"\"%1/folder/ffmpeg\""_s.arg(tools),
        kHelperProgramNotExecutable, tools + u"/folder/ffmpeg"_s});
    // A script needs ffprobe, found neither beside this ffmpeg nor on the path.
    row("missing ffprobe", {corruptScript, launch + u"/l.mp3"_s, u"\"ffprobe\""_s, kHelperProgramMissing,
        tools + u"/ffmpeg"_s, launch});

    // An encoder that refuses in words of its own, not at ffmpeg's error level.
    const QString fake = executable(tools + u"/fake-ffmpeg"_s, "#!/bin/sh\nfor i in 1 2 3 4 5; do echo \"fake: step $i\" >&2; "
                                                                "done\necho 'fake: licence refused' >&2\nexit 1\n");
    row("encoder fails in its own words", {m_long, dir + u"/fake.mp3"_s, u"status 1: fake: licence refused"_s, 1, fake,
        {}, false, {u"fake: step 3"_s, u"fake: step 4"_s, u"fake: step 5"_s, u"fake: licence refused"_s}});
    row("ffmpeg killed from outside", {m_long, dir + u"/killed.mp3"_s, u"ffmpeg was ended by signal 9"_s, 1, kFfmpeg,
        {}, true});
}

void TestRun::badInputSaysWhatInOneLine()
{
    QFETCH(Failure, f);
    const CommandLine line = routed(lineFor(Kind::Ffmpeg, u"mp3 -vol 256 -ac 2 -ab 128 -f mp3"_s, f.source, f.output, false, f.ffmpeg));
    QProcess p;
    if (!f.searchPath.isEmpty()) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"PATH"_s, f.searchPath);
        p.setProcessEnvironment(environment);
    }
    p.start(line.program, line.arguments);
    if (f.killEncoder) {
        QVERIFY(p.waitForStarted());
        QString seen;
        QTRY_VERIFY_WITH_TIMEOUT((seen += QString::fromUtf8(p.readAllStandardOutput())).contains(u"size="_s), 20000);
        const QList<qint64> encoders = processesMentioning(partialOutputName(f.output));
        QCOMPARE(encoders.size(), 1);
        QVERIFY(encoders.first() != p.processId());
        ::kill(pid_t(encoders.first()), SIGKILL);
    }
    QVERIFY(p.waitForFinished(60000));
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    const QString err = QString::fromUtf8(p.readAllStandardError());
    QVERIFY2(p.exitCode() == f.status, qPrintable(QString::number(p.exitCode()) + u' ' + err));
    // The reason is the last line, after at most four of ffmpeg's own.
    QStringList errorLines = err.split(u'\n', Qt::SkipEmptyParts);
    QVERIFY2(!errorLines.isEmpty() && errorLines.size() <= 5, qPrintable(err));
    const QString last = errorLines.takeLast();
    QVERIFY2(last.startsWith(u"tonmill-run: error: "_s) && last.contains(f.expected), qPrintable(err));
    if (isLaunchFailureStatus(f.status))
        QVERIFY(errorLines.isEmpty());
    if (!f.ffmpegSaid.isEmpty())
        QCOMPARE(errorLines, f.ffmpegSaid);
    const QFileInfo target(f.output);
    QVERIFY(target.dir().entryList({target.fileName() + u'*'}, QDir::AllEntries | QDir::Hidden | QDir::System).isEmpty());
    QVERIFY(noProcessMentions(m_dir.path()));
}

void TestRun::terminationEndsTheRunAtOnce()
{
    // As the program's Abort does: SIGTERM, then SIGKILL half a second later.
    // A WAV is written at disk speed, so a run that waited for ffmpeg to end
    // gracefully would be killed first and leave its partial file. The second
    // encoder ignores SIGTERM and writes on, as a slow one would; the third
    // ignores it over the loudness measuring, for which it is given the meter.
    const QString stubborn = executable(path(u"stubborn-ffmpeg"_s), "#!/bin/sh\ntrap '' TERM\nfor target; do :; done\n"
                                        "while :; do head -c 1048576 /dev/zero >> \"$target\"; done\n");
    const QString slow = executable(path(u"slow-ffmpeg"_s), "#!/bin/sh\ntrap '' TERM\nprintf '%s\\n' \"$@\" > \"$0.args\"\n"
                                    "while :; do sleep 0.05; done\n");
    for (const QString &ffmpeg : {kFfmpeg, stubborn, slow}) {
        const QString output = path(QFileInfo(ffmpeg).fileName() + u"-terminated.wav"_s), partial = partialOutputName(output);
        const bool measuring = ffmpeg == slow;
        const CommandLine line = routed(lineFor(Kind::Ffmpeg, u"pcm_s16le -ac 1 -ar 44100 -f wav"_s, m_long, output, false, ffmpeg));
        QProcess p;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (measuring)
            environment.insert(QString::fromLatin1(kLoudnessVariable), choice(u"normalize"_s, -16));
        p.setProcessEnvironment(environment);
        p.start(line.program, line.arguments);
        QVERIFY(p.waitForStarted() && p.processId() > 0); // kill(0) would signal this test's own process group
        if (measuring)
            QTRY_VERIFY_WITH_TIMEOUT(readBytes(slow + u".args"_s).contains("ebur128"), 10000);
        else
            QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(partial).size() > 4 * 1024 * 1024, 20000);
        // The runner and its ffmpeg.
        QVERIFY(QFileInfo::exists(partial) && processesMentioning(measuring ? slow : output).size() >= 2);
        QElapsedTimer clock;
        clock.start();
        ::kill(pid_t(p.processId()), SIGTERM);
        if (!p.waitForFinished(500)) {
            ::kill(pid_t(p.processId()), SIGKILL);
            QVERIFY(p.waitForFinished(10000));
        }
        QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QCOMPARE(p.exitCode(), 128 + SIGTERM);
        QVERIFY(!measuring || p.readAllStandardOutput().isEmpty());
        QVERIFY(!QFileInfo::exists(output) && !QFileInfo::exists(partial));
        QVERIFY(noProcessMentions(measuring ? slow : output));
    }
}

void TestRun::abortByNameEndsTheScriptHostRun()
{
    // The program's Abort during a long AC3 encode ends "QuEnc.exe" by name,
    // from the event loop that runs while the script host's run is waited for.
    ProcessRegistry registry;
    const QString aborted = path(u"aborted.ac3"_s);
    const CommandLine plain = lineFor(Kind::QuEnc, u"192"_s, m_long, aborted);
    const CommandLine line = routed(plain);
    QCOMPARE(line.text, plain.text);
    QCOMPARE(line.imageName, u"QuEnc.exe"_s);
    bool wasRunning = false, killed = false;
    QElapsedTimer clock;
    clock.start();
    QTimer poll;
    connect(&poll, &QTimer::timeout, this, [&] {
        wasRunning = wasRunning || QFileInfo(partialOutputName(aborted)).size() > 0;
        // Ended in any case after a while: a check that failed first would leave an hour to encode.
        if (!killed && (wasRunning || clock.elapsed() > 10000)) {
            killed = true;
            KillByName(registry, u"QuEnc.exe"_s);
        }
    });
    poll.start(20);
    const ScriptHostEnd end = ScriptHostRun(registry, line);
    poll.stop();
    QVERIFY(wasRunning);
    QVERIFY(end.endedBySignal);
    QVERIFY(clock.elapsed() < 10000);
    QVERIFY(!QFileInfo::exists(aborted));
    QVERIFY(noProcessMentions(aborted));
    QVERIFY(registry.live().isEmpty());
}

QTEST_GUILESS_MAIN(TestRun)
#include "tst_run.moc"
