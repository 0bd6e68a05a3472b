// The decoding scripts as the program writes them, rendered by tonmill-avs,
// measured on the output: length (as ffmpeg decodes the source, whatever its
// header claims), rate, channels, the cut's samples, the normalised peak, the
// fades, the up-mix's six channels. A failure is one line on stderr, and
// leaves no file (an earlier output as it was) and no process, also when a
// signal stops a render.
#include "ToolTests.h"

#include "platform/ChildProcess.h"

#include <QtEndian>

#include <algorithm>
#include <complex>
#include <numeric>

namespace {

const QString kFfmpeg = u"/usr/bin/ffmpeg"_s;
const QByteArray kOldOutput = "an earlier render";

// A 16-bit PCM WAV file's samples, per channel, as shares of full scale.
struct Wav {
    int channels = 0;
    int rate = 0;
    std::vector<std::vector<double>> samples;
    qint64 frames() const { return samples.empty() ? 0 : qint64(samples[0].size()); }
};

Wav readWav(const QString &path)
{
    Wav wav;
    const QByteArray bytes = readBytes(path);
    const auto u16 = [&](qsizetype at) { return qFromLittleEndian<quint16>(bytes.constData() + at); };
    const auto u32 = [&](qsizetype at) { return qFromLittleEndian<quint32>(bytes.constData() + at); };
    for (qsizetype at = 12, bits = 0; bytes.startsWith("RIFF") && at + 8 <= bytes.size();) {
        const QByteArray id = bytes.mid(at, 4);
        const qsizetype size = u32(at + 4);
        if (id == "fmt ") {
            wav = {u16(at + 10), int(u32(at + 12)), {}};
            bits = u16(at + 22);
        } else if (id == "data" && bits == 16 && wav.channels > 0) {
            const qsizetype frames = std::min(size, bytes.size() - at - 8) / (2 * wav.channels);
            wav.samples.assign(wav.channels, std::vector<double>(frames));
            for (qsizetype i = 0; i < frames * wav.channels; ++i)
                wav.samples[i % wav.channels][i / wav.channels] = qFromLittleEndian<qint16>(bytes.constData() + at + 8 + 2 * i) / 32768.0;
            return wav;
        }
        at += 8 + size + (size & 1);
    }
    return {};
}

double peak(const std::vector<double> &x)
{
    return std::abs(*std::max_element(x.begin(), x.end(), [](double a, double b) { return std::abs(a) < std::abs(b); }));
}

double rms(const std::vector<double> &x, qint64 from = 0, qint64 to = -1)
{
    to = to < 0 ? qint64(x.size()) : to;
    return std::sqrt(std::inner_product(x.begin() + from, x.begin() + to, x.begin() + from, 0.0) / double(to - from));
}

double correlation(const std::vector<double> &a, const std::vector<double> &b)
{
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0) / (rms(a) * rms(b) * double(a.size()));
}

// The amplitude of the tone at hz from 1 s to 3 s at 44.1 kHz.
double toneAmplitude(const std::vector<double> &x, double hz)
{
    std::complex<double> sum;
    for (qint64 i = 44100; i < 3 * 44100; ++i)
        sum += x[i] * std::polar(1.0, -2 * M_PI * hz * double(i) / 44100);
    return std::abs(sum) / 44100;
}

qint64 onset(const std::vector<double> &x, double level)
{
    return std::find_if(x.begin(), x.end(), [&](double v) { return std::abs(v) >= level; }) - x.begin();
}

} // namespace

class TestAvsRender : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void programScripts_data();
    void programScripts();
    void segmentIsTheSourcesPart();
    void upMixPlacesChannels();
    void fadeAndNormalizeFollowTheSound();
    void failuresLeaveNothing();
    void signalStopsRenderCleanly();

private:
    QString source(const QString &name) const { return m_dir.filePath(name); }
    QStringList entries() const { return QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot); }
    // Writes the script and renders it; the WAV, or an empty one with the
    // failure recorded in m_lastError.
    Wav render(const QString &scriptName, const std::optional<QStringList> &lines);
    // DirectQX.avs as the program writes it (the up-mix for AC3), and segment.avs.
    std::optional<QStringList> full(const QString &file, double seconds, int rate, bool normalize, bool upmix,
                                    bool fade = false) const
    {
        const FullScriptInputs in{file, seconds, QString::number(rate), upmix ? u"AC3"_s : u"WAV"_s, normalize, upmix, fade};
        return fullScript(in, AppFolder(m_dir.path()));
    }
    static std::optional<QStringList> segment(const QString &file, double start, double end, int rate)
    {
        return segmentScript({file, QString::number(start), QString::number(end), QString::number(rate)});
    }

    QTemporaryDir m_dir;
    QString m_lastError;
    const QString m_fancy = u"Ça va, l'été – Ünïcode.wav"_s;
};

void TestAvsRender::initTestCase()
{
    QVERIFY(m_dir.isValid());
    const auto sox = [&](const QString &name, int channels, const QString &effects) {
        return made(u"sox"_s, words(u"-n -b 16 -r 44100 -c %1 OUT "_s.arg(channels) + effects, {}, source(name)));
    };
    const auto lavfi = [&](const QString &name, const QString &input, const QString &codec) {
        return made(kFfmpeg, words(u"-nostdin -v error -f lavfi -i IN "_s + codec + u" OUT"_s, input, source(name)));
    };
    // A sweep, so that every part of the ten seconds differs from every other.
    QVERIFY(sox(u"stereo10.wav"_s, 2, u"synth 10 sine 100-5000 sine 5000-100 gain -3"_s));
    QVERIFY(sox(u"quiet.wav"_s, 2, u"synth 4 sine 997 gain -12"_s));
    QVERIFY(sox(u"mono.wav"_s, 1, u"synth 4 sine 300"_s));
    QVERIFY(sox(m_fancy, 2, u"synth 4 sine 500 gain -6"_s));
    const QString tone = u"sine=f=440:d=4"_s;
    QVERIFY(lavfi(u"song.mp3"_s, tone, u"-ac 2 -c:a libmp3lame -b:a 128k"_s));
    QVERIFY(lavfi(u"tone.ac3"_s, tone, u"-ac 2 -c:a ac3"_s));
    QVERIFY(lavfi(u"tone.dts"_s, tone, u"-ac 2 -c:a dca -strict -2"_s));
    QVERIFY(lavfi(u"tone.mp2"_s, tone, u"-ac 2 -c:a mp2"_s));
    // Six channels, channel k (from 1) at 0.1 k of full scale.
    QString six = u"aevalsrc="_s;
    for (int k = 1; k <= 6; ++k)
        six += u"0.%1*sin(2*PI*440*t)%2"_s.arg(k).arg(k < 6 ? u"|"_s : u":s=44100:d=4:c=5.1"_s);
    QVERIFY(lavfi(u"surround.ac3"_s, six, u"-c:a ac3 -b:a 448k"_s));
    QVERIFY(lavfi(u"six.wav"_s, six, u"-c:a pcm_s16le"_s));
    // Left only: silence, then 60 Hz and 1 kHz from 0.5 s.
    QVERIFY(lavfi(u"left.wav"_s, u"aevalsrc=if(gte(t\\,0.5)\\,0.25*sin(2*PI*60*(t-0.5))+0.25*sin(2*PI*1000*(t-0.5))"
                                 "\\,0)|0:s=44100:d=4"_s, u"-c:a pcm_s16le"_s));
    // A VBR MP3 without a Xing header, silence then loud noise: ffprobe
    // estimates its length from the first frames, wrongly.
    const QString vbr = source(u"vbr.mp3"_s);
    QVERIFY(sox(u"vbr.wav"_s, 2, u"synth 3 sine 0 : synth 3 pinknoise gain -1"_s));
    QVERIFY(made(kFfmpeg, words(u"-nostdin -v error -i IN -c:a libmp3lame -q:a 0 -write_xing 0 OUT"_s, source(u"vbr.wav"_s), vbr)));
    const double claimed = probeEntries(vbr, u"format=duration"_s).toDouble();
    QVERIFY2(std::abs(claimed - decodedSeconds(vbr)) > 0.3, qPrintable(QString::number(claimed)));
    // 10 ms, and a file whose length nothing states (Matroska written to a pipe).
    QVERIFY(sox(u"tiny.wav"_s, 2, u"synth 0.01 sine 1000"_s));
    QProcess piped;
    piped.setStandardOutputFile(source(u"piped.mka"_s));
    piped.start(kFfmpeg, words(u"-nostdin -v error -f lavfi -i sine=f=440:d=3 -ac 2 -c:a flac -f matroska pipe:1"_s));
    QVERIFY(piped.waitForFinished() && piped.exitCode() == 0);
    QCOMPARE(probeEntries(source(u"piped.mka"_s), u"format=duration"_s), u"N/A"_s);
    // A script used as a source, as the program's .avs sources are; bytes that
    // no demuxer takes for audio; a WAV whose format tag names no known codec.
    writeBytes(source(u"inner.avs"_s), u"DirectShowSource(\"%1\", 25)\r\n"_s.arg(source(u"mono.wav"_s)).toUtf8());
    writeBytes(source(u"broken.wav"_s), QByteArray("RIFF\x10\0\0\0WAVEjunk", 16) + QByteArray(4000, '\x5a'));
    writeBytes(source(u"odd.wav"_s), readBytes(source(u"mono.wav"_s)).replace(20, 2, "\x34\x12"));
}

Wav TestAvsRender::render(const QString &scriptName, const std::optional<QStringList> &lines)
{
    const QString script = source(scriptName), output = source(scriptName + u".wav"_s);
    QFile::remove(output);
    if (!lines || !writeScript(script, *lines))
        return {};
    const Ran r = runProgram(helper(u"tonmill-avs"_s), {u"--ffmpeg"_s, kFfmpeg, script, output});
    m_lastError = r.err;
    if (r.exitCode != 0)
        return {};
    // ffprobe must read the same format.
    const Wav wav = readWav(output);
    const QString probe = probeEntries(output, u"stream=sample_rate,channels,duration_ts"_s);
    if (probe != u"%1,%2,%3"_s.arg(wav.rate).arg(wav.channels).arg(wav.frames())) {
        m_lastError = u"ffprobe reads "_s + probe;
        return {};
    }
    return wav;
}

void TestAvsRender::programScripts_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("options"); // "RATE CHANNELS [normalise] [upmix] [segment]"
    QTest::newRow("wav") << u"quiet.wav"_s << u"44100 2 segment"_s;
    QTest::newRow("wav normalised up-mixed") << u"quiet.wav"_s << u"48000 6 normalise upmix"_s;
    QTest::newRow("mp3") << u"song.mp3"_s << u"22050 2 segment"_s;
    QTest::newRow("ac3 up-mixed") << u"tone.ac3"_s << u"48000 6 upmix"_s;
    QTest::newRow("dts") << u"tone.dts"_s << u"44100 2"_s;
    QTest::newRow("mp2 normalised") << u"tone.mp2"_s << u"32000 2 normalise"_s;
    QTest::newRow("5.1 ac3") << u"surround.ac3"_s << u"48000 6 segment"_s;
    QTest::newRow("mono up-mixed at 8 kHz") << u"mono.wav"_s << u"8000 1 upmix"_s;
    QTest::newRow("name with ' and accents, normalised") << m_fancy << u"44100 2 normalise segment"_s;
    QTest::newRow("avs source") << u"inner.avs"_s << u"44100 1"_s;
    QTest::newRow("vbr mp3, length misjudged, up-mixed") << u"vbr.mp3"_s << u"48000 6 upmix"_s;
}

void TestAvsRender::programScripts()
{
    QFETCH(QString, file);
    QFETCH(QString, options);
    const QStringList o = words(options);
    const int rate = o[0].toInt(), channels = o[1].toInt();
    const bool normalize = o.contains(u"normalise"_s);
    const QString path = source(file);
    const double length = decodedSeconds(path.endsWith(u".avs"_s) ? source(u"mono.wav"_s) : path);
    QVERIFY(length > 3.9);

    // The full script cuts one frame past the end: exactly the source's
    // sound comes out, whatever its header claims.
    Wav wav = render(u"DirectQX.avs"_s, full(path, length, rate, normalize, o.contains(u"upmix"_s)));
    QVERIFY2(wav.channels == channels && wav.rate == rate, qPrintable(m_lastError));
    QVERIFY2(std::abs(double(wav.frames()) / rate - length) < 0.003, qPrintable(QString::number(wav.frames())));
    double loudest = 0;
    for (const auto &channel : wav.samples)
        loudest = std::max(loudest, peak(channel));
    QVERIFY2(normalize ? loudest > 0.989 : loudest > 0.05, qPrintable(QString::number(loudest)));

    // The segment script, 1 s to 3.5 s (frames 25 to 88), always through DirectShowSource.
    if (o.contains(u"segment"_s)) {
        wav = render(u"segment.avs"_s, segment(path, 1.0, 3.5, rate));
        QVERIFY2(wav.channels == channels && wav.rate == rate, qPrintable(m_lastError));
        QCOMPARE(wav.frames(), (88 - 25 + 1) * rate / 25);
        QVERIFY(peak(wav.samples[0]) > 0.05);
    }
}

void TestAvsRender::segmentIsTheSourcesPart()
{
    const QString path = source(u"stereo10.wav"_s);
    const Wav original = readWav(path);
    QCOMPARE(original.frames(), 10 * 44100);
    // 2.4 s to 6 s: frames 60 to 150, both kept, sample for sample the source's.
    Wav wav = render(u"segment.avs"_s, segment(path, 2.4, 6.0, 44100));
    QVERIFY2(wav.channels == 2, qPrintable(m_lastError));
    for (int c = 0; c < 2; ++c)
        QVERIFY(wav.samples[c] == std::vector<double>(&original.samples[c][60 * 1764], &original.samples[c][151 * 1764]));
    // A cut past the source's end stops there.
    wav = render(u"segment.avs"_s, segment(path, 9.0, 12.0, 44100));
    QVERIFY2(wav.channels == 2, qPrintable(m_lastError));
    QVERIFY(wav.samples[1] == std::vector<double>(original.samples[1].end() - 44100, original.samples[1].end()));

    // Trim(Clip3,0,0) is the whole source, however short and even when
    // nothing states its length, and takes no time beyond the source's.
    for (const auto &[name, samples] : {std::pair{u"tiny.wav"_s, qint64(441)}, {u"piped.mka"_s, qint64(3 * 44100)}}) {
        QElapsedTimer clock;
        clock.start();
        wav = render(u"whole.avs"_s, segment(source(name), 0, 0, 44100));
        QVERIFY2(wav.channels == 2 && clock.elapsed() < 10'000, qPrintable(name + m_lastError));
        QCOMPARE(wav.frames(), samples);
    }
}

void TestAvsRender::upMixPlacesChannels()
{
    // After MergeChannels(fl, fr, cc, lfe, sl, sr) and GetChannel(1,3,2,5,6,4)
    // the channels are: front left, centre, front right, left surround,
    // right surround, low frequencies.
    const Wav wav = render(u"DirectQX.avs"_s, full(source(u"left.wav"_s), 4.0, 44100, false, true));
    QVERIFY2(wav.channels == 6 && wav.frames() == 4 * 44100, qPrintable(m_lastError));
    const auto &s = wav.samples;
    const auto &fl = s[0], &cc = s[1], &fr = s[2], &sl = s[3], &sr = s[4], &lfe = s[5];
    // The tone is only on the left: front left loudest, right silent, the
    // centre half left and half right.
    for (int c = 1; c < 6; ++c)
        QVERIFY2(rms(s[c]) < rms(fl), qPrintable(QString::number(c)));
    QVERIFY(rms(fr) < 1e-4);
    QVERIFY(std::abs(rms(cc) / rms(fl) - 0.5) < 0.005 && correlation(cc, fl) > 0.999);
    // The surrounds are the band-passed difference, opposite in sign, 20 ms
    // after the front.
    QVERIFY(correlation(sl, sr) < -0.999);
    const qint64 front = onset(fl, 0.02), surround = onset(sl, 0.02);
    QVERIFY(std::abs(front - 22050) < 10);
    QVERIFY2(std::abs((surround - front) - 882) <= 44, qPrintable(QString::number(surround - front)));
    QVERIFY(std::abs(toneAmplitude(sl, 1000) - 0.668 * 0.25) < 0.01);
    // LFE: a quarter of the 60 Hz tone (mono mix, then -0.5), and the 1 kHz
    // tone at least 30 dB below it.
    const double low = toneAmplitude(lfe, 60), high = toneAmplitude(lfe, 1000);
    QVERIFY2(std::abs(20 * std::log10(low / (0.25 * 0.25))) < 1, qPrintable(QString::number(low)));
    QVERIFY2(20 * std::log10(high / low) < -30 && toneAmplitude(lfe, 250) < 0.001, qPrintable(QString::number(high)));

    // Six channels are not up-mixed, but the block's last line reorders them.
    const Wav five = render(u"DirectQX.avs"_s, full(source(u"six.wav"_s), 4.0, 44100, false, true));
    QVERIFY2(five.channels == 6, qPrintable(m_lastError));
    QList<int> order;
    for (const auto &channel : five.samples)
        order << int(std::lround(rms(channel) * std::sqrt(2.0) * 10));
    QCOMPARE(order, (QList<int>{1, 3, 2, 5, 6, 4}));
}

void TestAvsRender::fadeAndNormalizeFollowTheSound()
{
    // The fade, linear, on the steady tone (over a third of its 4 s) and on
    // the VBR MP3 whose length ffprobe misjudges (over 2 s): against the same
    // script without the fade, the gain rises from silence and falls to it
    // where the decoded sound ends, and the length stays the sound's.
    for (const auto &[name, fade] : {std::pair{u"quiet.wav"_s, 33 / 25.0}, {u"vbr.mp3"_s, 2.0}}) {
        const double seconds = decodedSeconds(source(name));
        const Wav plain = render(u"plain.avs"_s, full(source(name), seconds, 44100, false, false));
        const Wav faded = render(u"fade.avs"_s, full(source(name), seconds, 44100, false, false, true));
        QVERIFY2(plain.channels == 2 && faded.channels == 2, qPrintable(m_lastError));
        const qint64 n = faded.frames();
        QCOMPARE(n, plain.frames());
        // The gain over 20 ms at that many seconds from the start (or, when
        // negative, before the end); the MP3 begins with silence.
        for (const double at : {-0.01, -0.25, -0.5, -fade - 0.2, 0.01, 0.25, 0.5, fade + 0.2}) {
            if (at > 0 && name == u"vbr.mp3"_s)
                continue;
            const qint64 from = std::clamp<qint64>(std::llround((at < 0 ? n / 44100.0 + at : at) * 44100) - 441, 0, n - 882);
            const double gain = rms(faded.samples[0], from, from + 882) / rms(plain.samples[0], from, from + 882);
            QVERIFY2(std::abs(gain - std::min(1.0, std::abs(at) / fade)) < 0.02,
                     qPrintable(u"%1 at %2: %3"_s.arg(name).arg(at).arg(gain)));
        }
    }

    // Normalize's volume is the share of full scale aimed at, the peak found
    // in what is rendered: here the second of silence first in the mix sets its length.
    const QString quiet = source(u"quiet.wav"_s);
    QVERIFY(std::abs(peak(readWav(quiet).samples[0]) - 0.251) < 0.003);
    const Wav half = render(u"half.avs"_s, QStringList{u"MixAudio(BlankClip(length=25, fps=25, channels=2), "
                                                       "DirectShowSource(\"%1\"), 1, 1)"_s.arg(quiet),
                                                       u"Normalize(volume=0.5)"_s});
    QVERIFY2(half.channels == 2 && half.frames() == 44100, qPrintable(m_lastError));
    QVERIFY2(std::abs(peak(half.samples[0]) - 0.5) < 0.006, qPrintable(QString::number(peak(half.samples[0]))));
}

void TestAvsRender::failuresLeaveNothing()
{
    const QString dub = u"Clip2 = BlankClip(Length = 2000000, fps = 25)\r\nClip3 = AudioDub(Clip2, Clip1)\r\nTrim(Clip3,0,100)\r\n"_s;
    const QString broken = source(u"broken.wav"_s), missing = source(u"gone.mp3"_s), odd = source(u"odd.wav"_s);
    const QString good = u"Clip1 = DirectShowSource(\"%1\",25)\r\n"_s.arg(source(u"mono.wav"_s));
    const QString render = u"--ffmpeg /usr/bin/ffmpeg IN OUT"_s;
    // The script, the arguments (IN the script, OUT the output), what stderr says after "tonmill-avs: ".
    const QList<std::tuple<QString, QString, QString>> cases = {
        {u"# Created by Tonmill - Quorell\r\nClip1 = DirectShowSource(\"%1\",25)\r\n"_s.arg(broken) + dub, render,
         u"DirectQX.avs, line 2: the source \"%1\" could not be read: Invalid data found when processing input"_s.arg(broken)},
        {u"# Created by Tonmill - Quorell\r\nClip1 = DirectShowSource(\"%1\")\r\n"_s.arg(missing) + dub, render,
         u"DirectQX.avs, line 2: the source \"%1\" does not exist"_s.arg(missing)},
        {u"Clip1 = NicMPASource(\"%1\")\r\n"_s.arg(odd) + dub, render,
         u"DirectQX.avs, line 1: the source \"%1\" has audio that ffmpeg cannot decode"_s.arg(odd)},
        {good + u"\r\nClip1.Sharpen(0.5)\r\n"_s, render, u"DirectQX.avs, line 3: unknown function \"Sharpen\""_s},
        {good + u"Clip2 = BlankClip(Length = 2000000, fps = 25\r\n"_s, u"--ffmpeg /usr/bin/ffmpeg --length IN"_s,
         u"DirectQX.avs, line 2: syntax error: expected \",\" or \")\" in the arguments of BlankClip but found the end of the line"_s},
        {good + dub, u"--ffmpeg %1 IN OUT"_s.arg(source(u"ffmpeg"_s)), u"ffmpeg was not found at \"%1\""_s.arg(source(u"ffmpeg"_s))},
        {good + dub, u"--ffmpeg /usr/bin/ffmpeg IN %1"_s.arg(source(u"none/out.wav"_s)),
         u"cannot write into the folder \"%1\""_s.arg(source(u"none"_s))},
        {good + dub, u"IN OUT"_s,
         u"usage: tonmill-avs --ffmpeg PATH SCRIPT OUTPUT.wav | --ffmpeg PATH --graph SCRIPT | --ffmpeg PATH --length SCRIPT"_s},
    };
    const QString script = source(u"DirectQX.avs"_s), output = source(u"out.wav"_s);
    for (const auto &[text, arguments, error] : cases) {
        writeBytes(script, text.toUtf8());
        writeBytes(output, kOldOutput);
        const QStringList before = entries();
        const Ran r = runProgram(helper(u"tonmill-avs"_s), words(arguments, script, output));
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(r.err, u"tonmill-avs: "_s + error + u'\n');
        QVERIFY(r.out.isEmpty());
        QCOMPARE(readBytes(output), kOldOutput);
        QCOMPARE(entries(), before);
        QVERIFY(noProcessMentions(m_dir.path()));
    }
}

void TestAvsRender::signalStopsRenderCleanly()
{
    // An hour of silence: long enough to be caught in the middle.
    const QString script = source(u"long.avs"_s), output = source(u"long.wav"_s);
    writeBytes(script, "Clip1 = BlankClip(length=90000, fps=25, channels=2)\r\nResampleAudio (Clip1, 8000)\r\n");
    QCOMPARE(runProgram(helper(u"tonmill-avs"_s), words(u"--ffmpeg /usr/bin/ffmpeg --length IN"_s, script)).out,
             u"3600.000000\n"_s);
    writeBytes(output, kOldOutput);
    const QStringList before = entries();

    QProcess tool;
    makeChildDieWithParent(tool);
    tool.start(helper(u"tonmill-avs"_s), words(u"--ffmpeg /usr/bin/ffmpeg IN OUT"_s, script, output));
    QVERIFY(tool.waitForStarted(-1) && tool.processId() > 0);
    // Once ffmpeg has begun writing the hidden file beside the output.
    const auto partials = [&] { return QDir(m_dir.path()).entryInfoList({u".long.wav.*.part"_s}, QDir::Files | QDir::Hidden); };
    QTRY_VERIFY_WITH_TIMEOUT(!partials().isEmpty() && partials().first().size() > 0, 30000);
    const QString partial = partials().first().absoluteFilePath();
    const qint64 encoder = readBytes(u"/proc/%1/task/%1/children"_s.arg(tool.processId())).trimmed().split(' ').first().toLongLong();
    QVERIFY(readBytes(u"/proc/%1/cmdline"_s.arg(encoder)).contains("ffmpeg"));

    QCOMPARE(::kill(pid_t(tool.processId()), SIGTERM), 0);
    QVERIFY(tool.waitForFinished(10'000));
    QCOMPARE(tool.exitStatus(), QProcess::NormalExit);
    QCOMPARE(tool.exitCode(), 128 + SIGTERM);
    QVERIFY(!QFile::exists(partial) && !isProcessAlive(encoder));
    QCOMPARE(readBytes(output), kOldOutput);
    QCOMPARE(entries(), before);
    QVERIFY(noProcessMentions(m_dir.path()));
}

QTEST_GUILESS_MAIN(TestAvsRender)
#include "tst_avsrender.moc"
