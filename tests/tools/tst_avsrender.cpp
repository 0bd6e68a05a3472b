// The decoding scripts as the program writes them, rendered by tonmill-avs
// from sources made with sox and ffmpeg, and measured on the output: length
// (against what ffmpeg decodes, whatever a header claims), rate and channels
// (read here and by ffprobe), the cut's samples, the normalised peak, and
// what the up-mix puts in each of its six channels.
#include "platform/ChildProcess.h"
#include "support/TestFiles.h"
#include "support/TestPaths.h"
#include "tools/avs/AvsScript.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cmath>

using namespace tonmill;
using test::probeEntries;

namespace {

const QString kFfmpeg = QStringLiteral("/usr/bin/ffmpeg");

struct Output {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

Output runProgram(const QString &program, const QStringList &arguments)
{
    QProcess process;
    makeChildDieWithParent(process);
    process.start(program, arguments);
    Output o;
    if (!process.waitForStarted(-1) || !process.waitForFinished(-1))
        return o;
    o.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    o.out = process.readAllStandardOutput();
    o.err = process.readAllStandardError();
    return o;
}

// How long ffmpeg decodes the file's audio to be, in seconds.
double decodedSeconds(const QString &path)
{
    const Output o = runProgram(kFfmpeg, {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), path,
                                          QStringLiteral("-map"), QStringLiteral("0:a:0"), QStringLiteral("-ac"), QStringLiteral("1"),
                                          QStringLiteral("-f"), QStringLiteral("s16le"), QStringLiteral("-")});
    return o.exitCode == 0 ? o.out.size() / 2.0 / probeEntries(path, QStringLiteral("stream=sample_rate")).toInt() : -1;
}

// A 16-bit PCM WAV file's samples, per channel, as shares of full scale.
struct Wav {
    int channels = 0;
    int rate = 0;
    std::vector<std::vector<double>> samples;
    qint64 frames() const { return samples.empty() ? 0 : static_cast<qint64>(samples[0].size()); }
};

Wav readWav(const QString &path)
{
    Wav wav;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return wav;
    const QByteArray bytes = file.readAll();
    if (bytes.size() < 12 || !bytes.startsWith("RIFF") || bytes.mid(8, 4) != "WAVE")
        return wav;
    const auto u16 = [&](qsizetype at) { return qFromLittleEndian<quint16>(bytes.constData() + at); };
    const auto u32 = [&](qsizetype at) { return qFromLittleEndian<quint32>(bytes.constData() + at); };
    qsizetype at = 12;
    int bits = 0;
    while (at + 8 <= bytes.size()) {
        const QByteArray id = bytes.mid(at, 4);
        const qsizetype size = u32(at + 4);
        if (id == "fmt ") {
            wav.channels = u16(at + 10);
            wav.rate = static_cast<int>(u32(at + 12));
            bits = u16(at + 22);
        } else if (id == "data" && bits == 16 && wav.channels > 0) {
            const qsizetype frames = std::min(size, bytes.size() - at - 8) / (2 * wav.channels);
            wav.samples.assign(wav.channels, std::vector<double>(frames));
            const char *p = bytes.constData() + at + 8;
            for (qsizetype f = 0; f < frames; ++f) {
                for (int c = 0; c < wav.channels; ++c, p += 2)
                    wav.samples[c][f] = qFromLittleEndian<qint16>(p) / 32768.0;
            }
            return wav;
        }
        at += 8 + size + (size & 1);
    }
    return wav;
}

double peak(const std::vector<double> &x)
{
    double p = 0;
    for (double v : x)
        p = std::max(p, std::abs(v));
    return p;
}

double rms(const std::vector<double> &x, qint64 from = 0, qint64 to = -1)
{
    if (to < 0)
        to = static_cast<qint64>(x.size());
    double sum = 0;
    for (qint64 i = from; i < to; ++i)
        sum += x[i] * x[i];
    return to > from ? std::sqrt(sum / static_cast<double>(to - from)) : 0;
}

double correlation(const std::vector<double> &a, const std::vector<double> &b)
{
    double ab = 0, aa = 0, bb = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        ab += a[i] * b[i];
        aa += a[i] * a[i];
        bb += b[i] * b[i];
    }
    return aa > 0 && bb > 0 ? ab / std::sqrt(aa * bb) : 0;
}

// The amplitude of the tone at hz in samples [from, to) (Goertzel).
double toneAmplitude(const std::vector<double> &x, int rate, double hz, qint64 from, qint64 to)
{
    const double w = 2 * M_PI * hz / rate;
    double s1 = 0, s2 = 0;
    for (qint64 i = from; i < to; ++i) {
        const double s = x[i] + 2 * std::cos(w) * s1 - s2;
        s2 = s1;
        s1 = s;
    }
    const double power = s1 * s1 + s2 * s2 - 2 * std::cos(w) * s1 * s2;
    return 2 * std::sqrt(std::max(power, 0.0)) / static_cast<double>(to - from);
}

// The first sample whose magnitude reaches the level.
qint64 onset(const std::vector<double> &x, double level)
{
    for (size_t i = 0; i < x.size(); ++i) {
        if (std::abs(x[i]) >= level)
            return static_cast<qint64>(i);
    }
    return -1;
}

double decibels(double share)
{
    return 20 * std::log10(share);
}

// A time as the scripts' frame number.
qint64 frames(double seconds)
{
    return std::llround(seconds * 25);
}

// The source line the program writes for a source by its extension.
QString sourceLine(const QString &source)
{
    const QString q = QStringLiteral("\"") + source + QStringLiteral("\"");
    if (source.endsWith(QLatin1String("ac3")))
        return QStringLiteral("Clip1 = NicAc3Source(") + q + QStringLiteral(")");
    if (source.endsWith(QLatin1String("dts")))
        return QStringLiteral("Clip1 = NicDTSSource(") + q + QStringLiteral(")");
    if (source.endsWith(QLatin1String("mp2")))
        return QStringLiteral("Clip1 = NicMPASource(") + q + QStringLiteral(")");
    if (source.endsWith(QLatin1String("mp3")))
        return QStringLiteral("Clip1 = DirectShowSource(") + q + QStringLiteral(")");
    return QStringLiteral("Clip1 = DirectShowSource(") + q + QStringLiteral(",25)");
}

const QStringList kUpMix = {
    QStringLiteral("EnsureVBRMP3Sync()"),
    QStringLiteral("Stereo = Last"),
    QStringLiteral("function UpMix(clip a) {"),
    QStringLiteral("back = a.soxfilter(\"filter 100-7000\")"),
    QStringLiteral("fl = a.GetLeftChannel()"),
    QStringLiteral("fr = a.GetRightChannel()"),
    QStringLiteral("cc = mixaudio(a.GetRightChannel(), a.GetLeftChannel, 0.5, 0.5)"),
    QStringLiteral("lfe = ConvertToMono(a).SoxFilter(\"lowpass 120\",\"vol -0.5\")"),
    QStringLiteral("sl = mixaudio(back.GetLeftChannel(), back.GetRightChannel(), 0.668, -0.668)"),
    QStringLiteral("sR = mixaudio(back.GetRightChannel(), back.GetLeftChannel(), 0.668, -0.668)"),
    QStringLiteral("sl = DelayAudio(sl, 0.02)"),
    QStringLiteral("sr = DelayAudio(sr,0.02)# Return result"),
    QStringLiteral("return MergeChannels( fl, fr, cc, lfe, sl, sr)}"),
    QStringLiteral("2==AudioChannels(Stereo)?UpMix(ConvertAudioToFloat(Stereo)):Stereo"),
    QStringLiteral("6==Audiochannels(last)?GetChannel(last,1,3,2,5,6,4):last"),
};

// DirectQX.avs as the program writes it.
QStringList fullScript(const QString &appDir, const QString &source, double duration, int rate, bool normalize, bool upmix)
{
    QStringList lines{QStringLiteral("# Created by Tonmill - Quorell"),
                      QStringLiteral("LoadPlugin(\"%1/Tools/Plugins/NicAudio.dll\")").arg(appDir),
                      QStringLiteral("LoadPlugin(\"%1/Tools/Plugins/soxfilter.dll\")").arg(appDir),
                      sourceLine(source),
                      QStringLiteral("Clip2 = BlankClip(Length = 2000000, fps = 25)"),
                      QStringLiteral("Clip3 = AudioDub(Clip2, Clip1)")};
    if (normalize)
        lines << QStringLiteral("Clip4=Normalize(Clip3,volume=1)");
    lines << QStringLiteral("Trim(%1,0,%2)").arg(normalize ? QStringLiteral("Clip4") : QStringLiteral("Clip3")).arg(frames(duration));
    if (upmix)
        lines << kUpMix;
    lines << QStringLiteral("ResampleAudio (%1)").arg(rate) << QStringLiteral("ConvertToYV12()");
    return lines;
}

// segment.avs as the program writes it.
QStringList segmentScript(const QString &source, double start, double end, int rate)
{
    return {QStringLiteral("# Created by Tonmill - Quorell"),
            QStringLiteral("Clip1 = DirectShowSource(\"%1\",25)").arg(source),
            QStringLiteral("Clip2 = BlankClip(Length = 2000000, fps = 25)"),
            QStringLiteral("Clip3 = AudioDub(Clip2, Clip1)"),
            QStringLiteral("ConvertToYV12 (Clip3)"),
            QStringLiteral("Trim(Clip3,%1,%2)").arg(frames(start)).arg(frames(end)),
            QStringLiteral("ResampleAudio (%1)").arg(rate),
            QStringLiteral("ConvertToYV12()")};
}

} // namespace

class TestAvsRender : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void programScripts_data();
    void programScripts();
    void segmentIsTheSourcesPart();
    void normalizeReachesFullScale();
    void upMixPlacesChannels();
    void fiveOneIsReordered();
    void fadeFollowsTheSound();
    void compiledGraph();

private:
    QString source(const QString &name) const { return m_dir.filePath(name); }
    bool makeSox(const QString &name, const QStringList &effects, int channels);
    bool makeFfmpeg(const QString &name, const QString &lavfi, const QStringList &codec);
    // Writes the script with CR LF ends and renders it; the WAV, or an empty
    // one with the failure recorded in m_lastError.
    Wav render(const QString &scriptName, const QStringList &lines);

    QTemporaryDir m_dir;
    QString m_tool;
    QString m_lastError;
    const QString m_fancy = QStringLiteral("Ça va, l'été – Ünïcode.wav");
};

bool TestAvsRender::makeSox(const QString &name, const QStringList &effects, int channels)
{
    return runProgram(QStringLiteral("sox"), QStringList{QStringLiteral("-n"), QStringLiteral("-b"), QStringLiteral("16"),
                                                         QStringLiteral("-r"), QStringLiteral("44100"),
                                                         QStringLiteral("-c"), QString::number(channels), source(name)}
                                                 + effects)
               .exitCode == 0;
}

bool TestAvsRender::makeFfmpeg(const QString &name, const QString &lavfi, const QStringList &codec)
{
    return runProgram(kFfmpeg, QStringList{QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
                                           QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"), lavfi}
                                   + codec + QStringList{source(name)})
               .exitCode == 0;
}

void TestAvsRender::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_tool = QDir(test::builtAppDir()).filePath(QStringLiteral("Tools/tonmill-avs"));
    QVERIFY2(QFile::exists(m_tool), qPrintable(m_tool));

    // A sweep, so that every part of the minute differs from every other.
    QVERIFY(makeSox(QStringLiteral("stereo60.wav"), {QStringLiteral("synth"), QStringLiteral("60"), QStringLiteral("sine"), QStringLiteral("100-5000"),
                                                    QStringLiteral("sine"), QStringLiteral("5000-100"), QStringLiteral("gain"), QStringLiteral("-3")}, 2));
    QVERIFY(makeSox(QStringLiteral("quiet.wav"), {QStringLiteral("synth"), QStringLiteral("4"), QStringLiteral("sine"), QStringLiteral("997"),
                                                 QStringLiteral("gain"), QStringLiteral("-12")}, 2));
    QVERIFY(makeSox(QStringLiteral("mono.wav"), {QStringLiteral("synth"), QStringLiteral("4"), QStringLiteral("sine"), QStringLiteral("300")}, 1));
    QVERIFY(makeSox(m_fancy, {QStringLiteral("synth"), QStringLiteral("4"), QStringLiteral("sine"), QStringLiteral("500"), QStringLiteral("gain"), QStringLiteral("-6")}, 2));
    const QString tone = QStringLiteral("sine=f=440:d=4");
    QVERIFY(makeFfmpeg(QStringLiteral("song.mp3"), tone, {QStringLiteral("-ac"), QStringLiteral("2"), QStringLiteral("-c:a"), QStringLiteral("libmp3lame"), QStringLiteral("-b:a"), QStringLiteral("128k")}));
    QVERIFY(makeFfmpeg(QStringLiteral("tone.ac3"), tone, {QStringLiteral("-ac"), QStringLiteral("2"), QStringLiteral("-c:a"), QStringLiteral("ac3")}));
    QVERIFY(makeFfmpeg(QStringLiteral("tone.dts"), tone, {QStringLiteral("-ac"), QStringLiteral("2"), QStringLiteral("-c:a"), QStringLiteral("dca"), QStringLiteral("-strict"), QStringLiteral("-2")}));
    QVERIFY(makeFfmpeg(QStringLiteral("tone.mp2"), tone, {QStringLiteral("-ac"), QStringLiteral("2"), QStringLiteral("-c:a"), QStringLiteral("mp2")}));
    // Six channels, channel k (from 1) at 0.1 k of full scale.
    const QString six = QStringLiteral("aevalsrc=0.1*sin(2*PI*440*t)|0.2*sin(2*PI*440*t)|0.3*sin(2*PI*440*t)|0.4*sin(2*PI*440*t)|0.5*sin(2*PI*440*t)|0.6*sin(2*PI*440*t):s=44100:d=4:c=5.1");
    QVERIFY(makeFfmpeg(QStringLiteral("surround.ac3"), six, {QStringLiteral("-c:a"), QStringLiteral("ac3"), QStringLiteral("-b:a"), QStringLiteral("448k")}));
    QVERIFY(makeFfmpeg(QStringLiteral("six.wav"), six, {QStringLiteral("-c:a"), QStringLiteral("pcm_s16le")}));
    // A VBR MP3 without a Xing header, silence then loud noise: ffprobe
    // estimates its length from the first frames, wrongly.
    QVERIFY(makeSox(QStringLiteral("vbr.wav"), {QStringLiteral("synth"), QStringLiteral("3"), QStringLiteral("sine"), QStringLiteral("0"), QStringLiteral(":"),
                                                QStringLiteral("synth"), QStringLiteral("3"), QStringLiteral("pinknoise"), QStringLiteral("gain"), QStringLiteral("-1")}, 2));
    QVERIFY(runProgram(kFfmpeg, {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), source(QStringLiteral("vbr.wav")),
                                 QStringLiteral("-c:a"), QStringLiteral("libmp3lame"), QStringLiteral("-q:a"), QStringLiteral("0"), QStringLiteral("-write_xing"), QStringLiteral("0"),
                                 source(QStringLiteral("vbr.mp3"))})
                .exitCode == 0);
    const double claimed = probeEntries(source(QStringLiteral("vbr.mp3")), QStringLiteral("format=duration")).toDouble();
    QVERIFY2(std::abs(claimed - decodedSeconds(source(QStringLiteral("vbr.mp3")))) > 0.3, qPrintable(QString::number(claimed)));
    // 10 ms, and a file whose length nothing states (Matroska written to a pipe).
    QVERIFY(makeSox(QStringLiteral("tiny.wav"), {QStringLiteral("synth"), QStringLiteral("0.01"), QStringLiteral("sine"), QStringLiteral("1000")}, 2));
    const Output piped = runProgram(kFfmpeg, {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                                              QStringLiteral("-i"), QStringLiteral("sine=f=440:d=3"), QStringLiteral("-ac"), QStringLiteral("2"), QStringLiteral("-c:a"), QStringLiteral("flac"),
                                              QStringLiteral("-f"), QStringLiteral("matroska"), QStringLiteral("pipe:1")});
    QFile mka(source(QStringLiteral("piped.mka")));
    QVERIFY(piped.exitCode == 0 && mka.open(QIODevice::WriteOnly) && mka.write(piped.out) == piped.out.size());
    mka.close();
    QCOMPARE(probeEntries(mka.fileName(), QStringLiteral("format=duration")), QStringLiteral("N/A"));
    // Left only: silence, then 60 Hz and 1 kHz from 0.5 s.
    QVERIFY(makeFfmpeg(QStringLiteral("left.wav"),
                       QStringLiteral("aevalsrc=if(gte(t\\,0.5)\\,0.25*sin(2*PI*60*(t-0.5))+0.25*sin(2*PI*1000*(t-0.5))\\,0)|0:s=44100:d=4"),
                       {QStringLiteral("-c:a"), QStringLiteral("pcm_s16le")}));
    // A script used as a source, as the program's .avs sources are.
    QFile inner(source(QStringLiteral("inner.avs")));
    QVERIFY(inner.open(QIODevice::WriteOnly));
    inner.write(QStringLiteral("DirectShowSource(\"%1\", 25)\r\n").arg(source(QStringLiteral("mono.wav"))).toUtf8());
}

Wav TestAvsRender::render(const QString &scriptName, const QStringList &lines)
{
    const QString script = source(scriptName);
    QFile file(script);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return {};
    file.write((lines.join(QStringLiteral("\r\n")) + QStringLiteral("\r\n")).toUtf8());
    file.close();
    const QString output = source(scriptName + QStringLiteral(".wav"));
    QFile::remove(output);
    const Output o = runProgram(m_tool, {QStringLiteral("--ffmpeg"), kFfmpeg, script, output});
    m_lastError = QString::fromUtf8(o.err);
    if (o.exitCode != 0)
        return {};
    // ffprobe must read the same format.
    const Output probe = runProgram(QStringLiteral("ffprobe"), {QStringLiteral("-v"), QStringLiteral("error"),
                                                                QStringLiteral("-show_entries"), QStringLiteral("stream=channels,sample_rate,duration_ts"),
                                                                QStringLiteral("-of"), QStringLiteral("default=nw=1"), output});
    Wav wav = readWav(output);
    const QByteArray expected = QStringLiteral("sample_rate=%1\nchannels=%2\nduration_ts=%3\n").arg(wav.rate).arg(wav.channels).arg(wav.frames()).toUtf8();
    if (probe.out != expected) {
        m_lastError = QStringLiteral("ffprobe reads %1").arg(QString::fromUtf8(probe.out));
        return {};
    }
    return wav;
}

void TestAvsRender::programScripts_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("normalize");
    QTest::addColumn<bool>("upmix");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("channels");
    QTest::addColumn<bool>("segment");

    QTest::newRow("wav") << QStringLiteral("quiet.wav") << false << false << 44100 << 2 << true;
    QTest::newRow("wav normalised") << QStringLiteral("quiet.wav") << true << false << 48000 << 2 << false;
    QTest::newRow("wav normalised up-mixed") << QStringLiteral("quiet.wav") << true << true << 48000 << 6 << false;
    QTest::newRow("mp3") << QStringLiteral("song.mp3") << false << false << 22050 << 2 << true;
    QTest::newRow("ac3 up-mixed") << QStringLiteral("tone.ac3") << false << true << 48000 << 6 << false;
    QTest::newRow("dts") << QStringLiteral("tone.dts") << false << false << 44100 << 2 << false;
    QTest::newRow("mp2") << QStringLiteral("tone.mp2") << true << false << 32000 << 2 << false;
    QTest::newRow("5.1 ac3") << QStringLiteral("surround.ac3") << false << false << 48000 << 6 << true;
    QTest::newRow("5.1 ac3 up-mixed") << QStringLiteral("surround.ac3") << true << true << 48000 << 6 << false;
    QTest::newRow("mono") << QStringLiteral("mono.wav") << false << false << 8000 << 1 << false;
    QTest::newRow("mono up-mixed") << QStringLiteral("mono.wav") << false << true << 44100 << 1 << false;
    QTest::newRow("name with ' and accents") << m_fancy << true << false << 44100 << 2 << true;
    QTest::newRow("avs source") << QStringLiteral("inner.avs") << false << false << 44100 << 1 << false;
    QTest::newRow("vbr mp3, length misjudged") << QStringLiteral("vbr.mp3") << false << false << 44100 << 2 << false;
    QTest::newRow("vbr mp3, length misjudged, up-mixed") << QStringLiteral("vbr.mp3") << false << true << 48000 << 6 << false;
}

void TestAvsRender::programScripts()
{
    QFETCH(QString, file);
    QFETCH(bool, normalize);
    QFETCH(bool, upmix);
    QFETCH(int, rate);
    QFETCH(int, channels);
    QFETCH(bool, segment);
    const QString path = source(file);
    const double length = decodedSeconds(path.endsWith(QLatin1String(".avs")) ? source(QStringLiteral("mono.wav")) : path);
    QVERIFY(length > 3.9);

    // The full script cuts one frame past the end: exactly the source's
    // sound comes out, whatever its header claims.
    Wav wav = render(QStringLiteral("DirectQX.avs"), fullScript(m_dir.path(), path, length, rate, normalize, upmix));
    QVERIFY2(wav.channels > 0, qPrintable(m_lastError));
    QCOMPARE(wav.channels, channels);
    QCOMPARE(wav.rate, rate);
    QVERIFY2(std::abs(static_cast<double>(wav.frames()) / rate - length) < 0.003, qPrintable(QString::number(wav.frames())));
    double loudest = 0;
    for (const auto &channel : wav.samples)
        loudest = std::max(loudest, peak(channel));
    if (normalize)
        QVERIFY2(decibels(loudest) > -0.1, qPrintable(QString::number(decibels(loudest))));
    else
        QVERIFY(loudest > 0.05);

    // The segment script: 1 s to 3.5 s, always through DirectShowSource.
    if (!segment)
        return;
    wav = render(QStringLiteral("segment.avs"), segmentScript(path, 1.0, 3.5, rate));
    QVERIFY2(wav.channels > 0, qPrintable(m_lastError));
    QCOMPARE(wav.channels, channels);
    QCOMPARE(wav.rate, rate);
    QCOMPARE(wav.frames(), (frames(3.5) - frames(1.0) + 1) * rate / 25);
    QVERIFY(peak(wav.samples[0]) > 0.05);
}

void TestAvsRender::segmentIsTheSourcesPart()
{
    const QString path = source(QStringLiteral("stereo60.wav"));
    const Wav original = readWav(path);
    QCOMPARE(original.frames(), 60 * 44100);

    // 12.4 s to 30 s: frames 310 to 750, both kept.
    Wav wav = render(QStringLiteral("segment.avs"), segmentScript(path, 12.4, 30.0, 44100));
    QVERIFY2(wav.channels == 2, qPrintable(m_lastError));
    QCOMPARE(wav.frames(), (750 - 310 + 1) * 1764);
    // Sample for sample the source's, from 12.4 s on.
    for (int c = 0; c < 2; ++c) {
        const std::vector<double> expected(original.samples[c].begin() + 310 * 1764, original.samples[c].begin() + 751 * 1764);
        QVERIFY(wav.samples[c] == expected);
    }

    // At another rate the length is still 441 frames.
    wav = render(QStringLiteral("segment.avs"), segmentScript(path, 12.4, 30.0, 48000));
    QVERIFY2(wav.channels == 2, qPrintable(m_lastError));
    QCOMPARE(wav.rate, 48000);
    QCOMPARE(wav.frames(), 441 * 1920);

    // A cut reaching past the source's end stops there.
    wav = render(QStringLiteral("segment.avs"), segmentScript(path, 59.0, 62.0, 44100));
    QVERIFY2(wav.channels == 2, qPrintable(m_lastError));
    QVERIFY(wav.samples[1] == std::vector<double>(original.samples[1].end() - 44100, original.samples[1].end()));

    // Trim(Clip3,0,0) is the whole source, however short and even when
    // nothing states its length, and takes no time beyond the source's.
    for (const QString &name : {QStringLiteral("tiny.wav"), QStringLiteral("piped.mka")}) {
        QElapsedTimer clock;
        clock.start();
        wav = render(QStringLiteral("whole.avs"), segmentScript(source(name), 0, 0, 44100));
        QVERIFY2(wav.channels == 2, qPrintable(name + m_lastError));
        QVERIFY2(clock.elapsed() < 10'000, qPrintable(name));
        QCOMPARE(wav.frames(), std::llround(decodedSeconds(source(name)) * 44100));
    }
}

void TestAvsRender::normalizeReachesFullScale()
{
    const QString path = source(QStringLiteral("quiet.wav"));
    const double before = decibels(peak(readWav(path).samples[0]));
    QVERIFY2(std::abs(before + 12) < 0.1, qPrintable(QString::number(before)));

    Wav wav = render(QStringLiteral("DirectQX.avs"), fullScript(m_dir.path(), path, 4.0, 44100, true, false));
    QVERIFY2(wav.channels == 2, qPrintable(m_lastError));
    const double after = decibels(std::max(peak(wav.samples[0]), peak(wav.samples[1])));
    QVERIFY2(after > -0.1 && after <= 0, qPrintable(QString::number(after)));

    // volume is the share of full scale aimed at. The peak is found in what
    // is rendered: here the second of silence first in the mix sets its length.
    wav = render(QStringLiteral("half.avs"), {QStringLiteral("MixAudio(BlankClip(length=25, fps=25, channels=2), DirectShowSource(\"%1\"), 1, 1)").arg(path),
                                              QStringLiteral("Normalize(volume=0.5)")});
    QVERIFY2(wav.channels == 2, qPrintable(m_lastError));
    QCOMPARE(wav.frames(), 44100);
    const double half = decibels(peak(wav.samples[0]));
    QVERIFY2(std::abs(half - decibels(0.5)) < 0.1, qPrintable(QString::number(half)));
}

void TestAvsRender::upMixPlacesChannels()
{
    const Wav wav = render(QStringLiteral("DirectQX.avs"), fullScript(m_dir.path(), source(QStringLiteral("left.wav")), 4.0, 44100, false, true));
    QVERIFY2(wav.channels == 6, qPrintable(m_lastError));
    QCOMPARE(wav.rate, 44100);
    QCOMPARE(wav.frames(), 4 * 44100);

    // After MergeChannels(fl, fr, cc, lfe, sl, sr) and GetChannel(1,3,2,5,6,4)
    // the channels are: front left, centre, front right, left surround,
    // right surround, low frequencies.
    const auto &fl = wav.samples[0];
    const auto &cc = wav.samples[1];
    const auto &fr = wav.samples[2];
    const auto &sl = wav.samples[3];
    const auto &sr = wav.samples[4];
    const auto &lfe = wav.samples[5];

    // The tone is only on the left, so front left is loudest.
    for (int c = 1; c < 6; ++c)
        QVERIFY2(rms(wav.samples[c]) < rms(fl), qPrintable(QString::number(c)));
    QVERIFY(rms(fr) < 1e-4);
    // The centre is half left and half right.
    QVERIFY(std::abs(rms(cc) / rms(fl) - 0.5) < 0.005);
    QVERIFY(correlation(cc, fl) > 0.999);
    // The surrounds are the band-passed difference, opposite in sign, 20 ms
    // after the front.
    QVERIFY(correlation(sl, sr) < -0.999);
    const qint64 front = onset(fl, 0.02);
    const qint64 surround = onset(sl, 0.02);
    QVERIFY(std::abs(front - 22050) < 10);
    QVERIFY2(std::abs((surround - front) - 882) <= 44, qPrintable(QString::number(surround - front)));
    QVERIFY(std::abs(toneAmplitude(sl, 44100, 1000, 44100, 3 * 44100) - 0.668 * 0.25) < 0.01);
    // LFE: a quarter of the 60 Hz tone (mono mix, then -0.5), and the 1 kHz
    // tone at least 30 dB below it.
    const double low = toneAmplitude(lfe, 44100, 60, 44100, 3 * 44100);
    const double high = toneAmplitude(lfe, 44100, 1000, 44100, 3 * 44100);
    QVERIFY2(std::abs(decibels(low / (0.25 * 0.25))) < 1, qPrintable(QString::number(low)));
    QVERIFY2(decibels(high / low) < -30, qPrintable(QString::number(decibels(high / low))));
    QVERIFY(toneAmplitude(lfe, 44100, 250, 44100, 3 * 44100) < 0.001);
}

void TestAvsRender::fiveOneIsReordered()
{
    // No up-mix for six channels, but the block's last line reorders them.
    const Wav wav = render(QStringLiteral("DirectQX.avs"), fullScript(m_dir.path(), source(QStringLiteral("six.wav")), 4.0, 44100, false, true));
    QVERIFY2(wav.channels == 6, qPrintable(m_lastError));
    QList<int> order;
    for (const auto &channel : wav.samples)
        order << static_cast<int>(std::lround(rms(channel, 0, 4 * 44100) * std::sqrt(2.0) * 10));
    QCOMPARE(order, (QList<int>{1, 3, 2, 5, 6, 4}));
}

void TestAvsRender::fadeFollowsTheSound()
{
    // A 1 s fade each way, linear, on the steady tone and on the VBR MP3
    // whose length ffprobe misjudges: against the same script without the
    // fade, the gain rises from silence and falls to it where the decoded
    // sound ends, and the length stays the sound's.
    for (const QString &name : {QStringLiteral("quiet.wav"), QStringLiteral("vbr.mp3")}) {
        const QString path = source(name);
        const QStringList lines = fullScript(m_dir.path(), path, decodedSeconds(path), 44100, false, false);
        const Wav plain = render(QStringLiteral("plain.avs"), lines);
        const Wav faded = render(QStringLiteral("fade.avs"), QStringList(lines).replaceInStrings(
                                     QStringLiteral("ConvertToYV12()"), QStringLiteral("FadeIO0(25)\r\nConvertToYV12()")));
        QVERIFY2(plain.channels == 2 && faded.channels == 2, qPrintable(m_lastError));
        const qint64 n = faded.frames();
        QCOMPARE(n, plain.frames());
        // The gain over 20 ms at that many seconds from the start (or, when
        // negative, before the end).
        const auto gain = [&](double at) {
            const qint64 from = std::clamp<qint64>(std::llround((at < 0 ? n / 44100.0 + at : at) * 44100) - 441, 0, n - 882);
            return rms(faded.samples[0], from, from + 882) / rms(plain.samples[0], from, from + 882);
        };
        const QList<QPair<double, double>> expected = {{-0.5, 0.5}, {-0.25, 0.25}, {-0.01, 0.01}, {-1.2, 1}};
        for (const auto &[at, share] : expected)
            QVERIFY2(std::abs(gain(at) - share) < 0.02, qPrintable(QStringLiteral("%1 at %2: %3").arg(name).arg(at).arg(gain(at))));
        if (name == QLatin1String("quiet.wav")) {
            for (const auto &[at, share] : {std::pair{0.01, 0.01}, {0.25, 0.25}, {0.5, 0.5}, {1.2, 1.0}})
                QVERIFY2(std::abs(gain(at) - share) < 0.02, qPrintable(QStringLiteral("at %1: %2").arg(at).arg(gain(at))));
        }
    }
}

void TestAvsRender::compiledGraph()
{
    // What the encoder runner builds its one ffmpeg run from.
    const QString path = source(m_fancy);
    QFile file(source(QStringLiteral("graph.avs")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write((fullScript(m_dir.path(), path, 4.0, 48000, false, false).join(QStringLiteral("\r\n")) + QStringLiteral("\r\n")).toUtf8());
    file.close();
    const avs::CompileResult result = avs::compileScript(file.fileName(), kFfmpeg);
    QVERIFY2(result.ok, qPrintable(result.error));
    QCOMPARE(result.graph.inputArguments, (QStringList{QStringLiteral("-i"), QStringLiteral("file:") + path}));
    QCOMPARE(result.graph.outputLabel, QStringLiteral("[out]"));
    QVERIFY(result.graph.filterComplex.endsWith(QStringLiteral("[out]")));
    QCOMPARE(result.graph.channels, 2);
    QCOMPARE(result.graph.sampleRate, 48000);
    QCOMPARE(result.graph.durationSeconds, 4.0);

    const avs::CompileResult missing = avs::compileScript(source(QStringLiteral("none.avs")), kFfmpeg);
    QVERIFY(!missing.ok);
    QVERIFY(missing.error.startsWith(QStringLiteral("none.avs: the script cannot be read")));
}

QTEST_GUILESS_MAIN(TestAvsRender)
#include "tst_avsrender.moc"
