// The script language as the decoding scripts use it: names without case,
// last, ?:, user functions, methods, the up-mix block, Trim's frame
// arithmetic, and one clear line for every mistake, on BlankClips; script
// files through the real loader. WAV sources are described from their header
// as ffprobe would, or, where the header cannot vouch for them, by ffprobe.
#include "ToolTests.h"

#include "media/SourceFacts.h"
#include "media/WavHeader.h"
#include "tools/avs/AvsClip.h"
#include "tools/avs/AvsEvaluator.h"
#include "tools/avs/ScriptLoader.h"
#include "tools/avs/SoxEffects.h"
#include "tools/avs/SourceProbe.h"
#include "tools/avs/ToolProcess.h"

#include <QDateTime>
#include <QFile>
#include <QtEndian>

using namespace tonmill::avs;

namespace {

// Two seconds of stereo at 44.1 kHz and 25 fps, as the variable `c`.
const QString kStereo = u"c = BlankClip(length=50, fps=25, audio_rate=44100, channels=2)\n"_s;

// The up-mix block as the program writes it, with its irregular spacing and
// CR LF ends: the lines from EnsureVBRMP3Sync() to the rate.
QString upMix()
{
    const QStringList lines = fullScript({u"x.wav"_s, 1, u"44100"_s, u"AC3"_s, false, true}, AppFolder(u"/x"_s)).value();
    const qsizetype from = lines.indexOf(u"EnsureVBRMP3Sync()"_s);
    return lines.mid(from, lines.indexOf(u"ResampleAudio (44100)"_s) - from).join(u"\r\n"_s) + u"\r\n"_s;
}

// The program's source with AudioDub's 2000000 frames of video: one frame
// is 1764 samples at 44.1 kHz.
const QString kDub = u"Clip1 = BlankClip(length=1500, fps=25, audio_rate=44100, channels=2)\n"
                     "Clip2 = BlankClip(Length = 2000000, fps = 25)\n"
                     "Clip3 = AudioDub(Clip2, Clip1)\n"_s;

std::optional<SourceInfo> header(const QByteArray &bytes, qint64 fileSize = -1)
{
    return readWavHeader(QByteArrayView(bytes).first(qMin(bytes.size(), kWavHeadBytes)),
                         fileSize < 0 ? bytes.size() : fileSize);
}

} // namespace

class TestAvsLanguage : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void scriptsGiveTheirClip();
    void trimCountsFrames();
    void mistakesGiveOneLine_data();
    void mistakesGiveOneLine();
    void soxEffects();
    void scriptFiles();
    void wavHeaderAgreesWithFfprobeOrDeclines();

private:
    EvalResult run(const QString &text) { return evaluateScript(text, *m_loader); }

    QTemporaryDir m_dir;
    QString m_ffprobe;
    std::unique_ptr<SourceProbe> m_probe;
    std::unique_ptr<ScriptLoader> m_loader;
};

void TestAvsLanguage::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_ffprobe = findFfprobe(u"ffmpeg"_s);
    QVERIFY2(!m_ffprobe.isEmpty(), "ffprobe is needed");
    m_probe = std::make_unique<SourceProbe>(m_ffprobe);
    m_loader = std::make_unique<ScriptLoader>(*m_probe);
}

void TestAvsLanguage::scriptsGiveTheirClip()
{
    const struct {
        QString script;
        int channels, rate;
        qint64 samples; // -1: not checked
        bool isFloat = false;
    } cases[] = {
        {u"C = BLANKCLIP(LENGTH=25, Fps=25, AUDIO_RATE=8000, Channels=2)\nx = c.convertTOmono\nX.GETLEFTCHANNEL\n"_s, 1,
         8000, 8000},
        // sR set, sr read: one variable; Last is last.
        {kStereo + u"sR = c.GetRightChannel\nsr\nLast.ResampleAudio(22050)\n"_s, 1, 22050, 44100},
        // A bare expression sets last; functions given no clip take last, also
        // when their first argument is something else.
        {kStereo + u"c\nConvertToMono()\nResampleAudio (11025)\n"_s, 1, 11025, 22050},
        // An assignment does not change last, and after one the script's value is last.
        {kStereo + u"c\nm = ConvertToMono(c)\n"_s, 2, 44100, -1},
        // The last bare expression is the value even when it is not last's
        // producer, and a value without parentheses is a call.
        {kStereo + u"m = c.ConvertToMono\nc\nConvertToYV12 (m)\n"_s, 1, 44100, -1},
        {kStereo + u"return c.GetLeftChannel\nc\n"_s, 1, 44100, -1},
        // LoadPlugin gives nothing, which leaves last as the value.
        {kStereo + u"c\nLoadPlugin(\"C:\\Program Files\\Tonmill\\Tools\\Plugins\\NicAudio.dll\")\n"_s, 2, 44100, -1},
        {kStereo + u"2==AudioChannels(c)?ConvertToMono(c):c\n"_s, 1, 44100, -1},
        {kStereo + u"1==AudioChannels(c)?ConvertToMono(c):c\n"_s, 2, 44100, -1},
        // ?: nests to the right; arithmetic binds tighter than comparison.
        {kStereo + u"1+2*3 == 9 ? c : 7-2*3 == 1 ? c.GetLeftChannel : c\n"_s, 1, 44100, -1},
        {kStereo + u"(1+2)*3 == 9 && !(4/3 > 1.2) ? c.ConvertToMono : c\n"_s, 1, 44100, -1},
        // Strings compare without case; || and && stop before the unknown name.
        {kStereo + u"\"ABC\" == \"abc\" || Nonsense ? c.GetChannel(2) : c\n"_s, 1, 44100, -1},
        {kStereo + u"false && Nonsense ? c : c.ConvertToMono\n"_s, 1, 44100, -1},
        {kStereo + u"2 <> 2.0 ? c : c.ConvertToMono\n"_s, 1, 44100, -1},
        // A function used before it is defined, typed and untyped parameters,
        // locals, a body closed on its last line, a value without return.
        {kStereo + u"Pick(c, 2)\nfunction Pick(clip a, n)\n{\n  # comment inside\n  b = a.GetChannel(n)\n"
                   "  b.ResampleAudio(8000)}\n"_s, 1, 8000, 16000},
        // The up-mix block makes six channels of stereo, in floating point,
        // and passes mono (here at BlankClip's own rate) as it is.
        {kStereo + u"c\r\n"_s + upMix(), 6, 44100, 88200, true},
        {u"BlankClip(length=50, fps=25, channels=1)\r\n"_s + upMix(), 1, 44100, 88200},
    };
    for (const auto &c : cases) {
        const EvalResult r = run(c.script);
        QVERIFY2(r.clip, qPrintable(c.script + r.error));
        const QList<qint64> got = {r.clip->channels, r.clip->sampleRate, c.samples < 0 ? -1 : r.clip->samples, r.clip->isFloat};
        QVERIFY2(got == (QList<qint64>{c.channels, c.rate, c.samples, c.isFloat}), qPrintable(c.script));
    }
}

void TestAvsLanguage::trimCountsFrames()
{
    // script -> first sample, samples (in frames of 1764 samples)
    const QList<std::tuple<const char *, qint64, qint64>> cases = {
        {"Trim(Clip3,310,750)", 310, 441},   // both ends kept
        {"Trim(Clip3,0,1500)", 0, 1500},     // past the 60 s source: it ends with the source
        {"Trim(Clip3,10,0)", 10, 1490},      // 0: to the video's end, so to the source's
        {"Trim(Clip3,10,-5)", 10, 5},        // a negative end is a frame count
        {"Trim(Clip3,750,310)", 750, 1},     // an end before the start keeps the start frame
        {"Trim(Clip1,1400,1600)", 1400, 100}, // without AudioDub the clip ends with its audio
        // A trim of a trim is one cut of the source, and what lay past the
        // first cut stays cut off; AudioDub adds no silence to shorter audio.
        {"Trim(Clip3,1000,1100).Trim(50,80)", 1050, 31},
        {"AudioDub(BlankClip(length=200, fps=25), Trim(Clip3,1000,1099))", 1000, 100},
    };
    for (const auto &[trim, start, frames] : cases) {
        const EvalResult r = run(kDub + QLatin1String(trim) + u'\n');
        QVERIFY2(r.clip && r.clip->start == start * 1764 && r.clip->samples == frames * 1764, trim);
    }
}

void TestAvsLanguage::mistakesGiveOneLine_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("error");

    const QList<std::tuple<QString, int, QString>> rows = {
        {kStereo + u"c\n\nFooBar(c, 3)\n"_s, 4, u"unknown function \"FooBar\""_s},
        {kStereo + u"c.Sharpen\n"_s, 2, u"unknown function \"Sharpen\""_s},
        {kStereo + u"Clip5\n"_s, 2, u"unknown function or variable \"Clip5\""_s},
        {u"ConvertToMono()\n"_s, 1, u"ConvertToMono needs a clip, and last has none yet"_s},
        {kStereo + u"AudioChannels(c) ? c : c\n"_s, 2, u"the condition before ? must be bool, not int"_s},
        {kStereo + u"x = c + c\n"_s, 2, u"+ cannot combine clip and clip"_s},
        {kStereo + u"x = 1 / (2 - 2)\n"_s, 2, u"division by zero"_s},
        // A function sees its parameters only, not the script's variables.
        {kStereo + u"function F(clip a) { return c }\nF(c)\n"_s, 2, u"unknown function or variable \"c\""_s},
        {kStereo + u"function F(int n) { return n }\nF(c)\n"_s, 3, u"F: the argument \"n\" must be int, not clip"_s},
        {kStereo + u"function Loop(clip a) { return Loop(a) }\nLoop(c)\n"_s, 2, u"Loop: functions call each other too deeply"_s},
        {u"function F(clip a) { return a }\nfunction f(clip b) { return b }\n"_s, 2, u"the function f is defined twice"_s},
        {u"# one\nTrim(Clip3,0,4500\nx = 1\n"_s, 2,
         u"syntax error: expected \",\" or \")\" in the arguments of Trim but found the end of the line"_s},
        {u"\nClip1 = DirectShowSource(\"/music/a.wav,25)\n"_s, 2, u"syntax error: the string is not closed with \" on its line"_s},
        {kStereo + u"}\n"_s, 2, u"syntax error: expected a value but found \"}\""_s},
        {kStereo + u"c c\n"_s, 2, u"syntax error: expected the end of the line but found \"c\""_s},
        {u"x =\n"_s, 1, u"syntax error: expected a value but found the end of the line"_s},
        {u"a = 1\nb = 2 @ 3\n"_s, 2, u"syntax error: unexpected character \"@\""_s},
        {u"function F(clip a) {\nreturn a\n"_s, 3,
         u"syntax error: expected \"}\" to close the function F but found the end of the script"_s},
        {u"function F(clip a) {\nfunction G() { }\n}\n"_s, 2,
         u"syntax error: expected a statement (functions are defined only at the top level) but found \"function\""_s},
        {u"function F(number a) { return a }\n"_s, 1,
         u"syntax error: expected a parameter type (clip, int, float, string, bool or val) but found \"number\""_s},
        {u"x = "_s + QString(300, u'(') + u'1' + QString(300, u')') + u'\n', 1,
         u"syntax error: expected a simpler expression (this one nests too deeply) but found \"(\""_s},
        {kStereo + u"Trim(c, \"0\", 10)\n"_s, 2, u"Trim: the argument \"first_frame\" must be int, not string"_s},
        {kStereo + u"DelayAudio(c, 1, 2)\n"_s, 2, u"DelayAudio: too many arguments (3 given, at most 2)"_s},
        {kStereo + u"Trim(c, 5)\n"_s, 2, u"Trim: the argument \"last_frame\" is missing"_s},
        {kStereo + u"Normalize(c, level=1)\n"_s, 2, u"Normalize: there is no argument named \"level\""_s},
        {kStereo + u"GetChannel(c, 1, 3)\n"_s, 2, u"GetChannel: the clip has 2 channel(s), so there is no channel 3"_s},
        {kStereo + u"MixAudio(c, c.GetLeftChannel)\n"_s, 2, u"MixAudio: the clips have different channel counts (2 and 1)"_s},
        {kStereo + u"MergeChannels(c, c.ResampleAudio(48000))\n"_s, 2,
         u"MergeChannels: the clips have different sampling rates (44100 and 48000 Hz)"_s},
        {kStereo + u"SoxFilter(c, \"reverb 50\")\n"_s, 2, u"SoxFilter \"reverb 50\": the effect \"reverb\" is not supported"_s},
        {kStereo + u"ResampleAudio(c, 8000).SoxFilter(\"lowpass 5k\")\n"_s, 2,
         u"SoxFilter \"lowpass 5k\": 5000 Hz is not below half the sampling rate"_s},
        {u"x = 1\n\n"_s, 3, u"the script gives no clip"_s},
        {u"1 + 2\n"_s, 2, u"the script gives int, not a clip"_s},
    };
    for (const auto &[script, line, error] : rows)
        QTest::newRow(qPrintable(error)) << script << line << error;
}

void TestAvsLanguage::mistakesGiveOneLine()
{
    QFETCH(QString, script);
    QFETCH(int, line);
    QFETCH(QString, error);
    const EvalResult r = run(script);
    QVERIFY(!r.clip);
    QCOMPARE(r.error, error);
    QCOMPARE(r.errorLine, line);
}

void TestAvsLanguage::soxEffects()
{
    // What each effect becomes: pass filters (H/L, corner, poles) or a linear
    // gain; or, empty, a refusal that names the effect.
    const QList<std::pair<const char *, QString>> cases = {
        {"filter 100-7000", u"H 100/2 L 7000/2"_s}, {"  lowpass   -1 2.5k ", u"L 2500/1"_s}, {"filter -300", u"L 300/2"_s},
        {"highpass 50", u"H 50/2"_s}, {"vol -0.5", u"x-0.5"_s}, {"vol 6dB", u"x1.9953"_s}, {"vol -6 dB", u"x0.50119"_s},
        {"reverb", {}}, {"filter 7000-100", {}}, {"filter -", {}}, {"lowpass", {}}, {"lowpass 0", {}}, {"vol x", {}},
        {"vol 2 power", {}}, {"", {}},
    };
    for (const auto &[text, expected] : cases) {
        std::vector<SoxEffect> effects;
        QString error;
        QCOMPARE(parseSoxEffect(QLatin1String(text), &effects, &error), !expected.isEmpty());
        QStringList got;
        for (const SoxEffect &e : effects) {
            got << (e.kind == SoxEffect::Kind::Gain ? u"x"_s + QString::number(e.gain, 'g', 5)
                        : u"%1 %2/%3"_s.arg(e.filter.kind == PassFilter::Kind::HighPass ? u"H"_s : u"L"_s)
                              .arg(e.filter.frequency).arg(e.filter.poles));
        }
        QVERIFY2(expected.isEmpty() ? error.startsWith(u"SoxFilter \"%1\": "_s.arg(QLatin1String(text))) : got.join(u' ') == expected,
                 qPrintable(text + u" gave "_s + got.join(u' ') + error));
    }
}

void TestAvsLanguage::scriptFiles()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const auto load = [&](const char *name, QString *error) { return m_loader->load(dir.filePath(QLatin1String(name)), error); };
    // A script that runs another by a relative path; UTF-8 with a byte order
    // mark, CR LF, and a # inside a string that is no comment.
    writeBytes(dir.filePath(u"inner #1.avs"_s),
                              "\xEF\xBB\xBF# \xC3\xA9t\xC3\xA9\r\nBlankClip(length=25, fps=25, channels=2)\r\n");
    writeBytes(dir.filePath(u"outer.avs"_s),
                              "Clip1 = DirectShowSource(\"inner #1.avs\", 25)\r\nClip1.ConvertToMono\r\n");
    QString error;
    const Clip clip = load("outer.avs", &error);
    QVERIFY2(clip, qPrintable(error));
    QCOMPARE(clip->channels, 1);
    QCOMPARE(clip->samples, 44100);

    // Not UTF-8: read as Windows-1252, so the missing source's name comes out
    // as written.
    writeBytes(dir.filePath(u"latin.avs"_s),
                              "# \x93quoted\x94\r\nClip1 = DirectShowSource(\"caf\xE9 \x80.wav\",25)\r\n");
    QVERIFY(!load("latin.avs", &error));
    QCOMPARE(error, u"latin.avs, line 2: the source \"%1\" does not exist"_s.arg(dir.filePath(u"caf\u00e9 \u20ac.wav"_s)));

    // A script that opens itself, however indirectly, fails instead of looping.
    writeBytes(dir.filePath(u"a.avs"_s), "DirectShowSource(\"b.avs\")\n");
    writeBytes(dir.filePath(u"b.avs"_s), "\nDirectShowSource(\"a.avs\")\n");
    QVERIFY(!load("a.avs", &error));
    QCOMPARE(error, u"a.avs, line 1: b.avs, line 2: a.avs: the script opens itself"_s);
    QVERIFY(!load("none.avs", &error));
    QVERIFY(error.startsWith(u"none.avs: the script cannot be read"_s));
}

void TestAvsLanguage::wavHeaderAgreesWithFfprobeOrDeclines()
{
    const QList<std::pair<QString, QString>> cases = {
        {u"sox"_s, u"-n -b 16 -r 44100 -c 2 OUT synth 3.3 sine 440"_s},
        {u"sox"_s, u"-n -b 8 -r 8000 -c 1 OUT synth 3.3 sine 440"_s},
        {u"sox"_s, u"-n -b 24 -r 48000 -c 6 OUT synth 3.3 sine 440"_s}, // extensible
        {u"sox"_s, u"-n -e floating-point -b 32 -r 22050 -c 2 OUT synth 3.3 sine 440"_s},
        {u"sox"_s, u"-n -e floating-point -b 64 -r 16000 -c 1 OUT synth 3.3 sine 440"_s},
        // ffmpeg puts a LIST chunk with the title between fmt and data.
        {u"ffmpeg"_s, u"-v error -f lavfi -i sine=f=300:d=2.5:sample_rate=32000 -metadata title=Odd -c:a pcm_s32le OUT"_s},
    };
    for (const auto &[program, arguments] : cases) {
        const QString path = m_dir.filePath(u"agrees.wav"_s);
        QFile::remove(path);
        QVERIFY(made(program, words(arguments, {}, path)));
        const std::optional<SourceInfo> info = header(readBytes(path));
        QVERIFY2(info, qPrintable(arguments));
        QString error;
        const std::optional<SourceInfo> ffprobe = SourceProbe(m_ffprobe).askFfprobe(path, &error);
        QVERIFY2(ffprobe, qPrintable(error));
        QVERIFY2(info->channels == ffprobe->channels && info->sampleRate == ffprobe->sampleRate
                     && info->isFloat == ffprobe->isFloat
                     && qRound(info->durationSeconds * 1e6) == qRound(ffprobe->durationSeconds * 1e6),
                 qPrintable(arguments));
    }

    const QString good = m_dir.filePath(u"good.wav"_s);
    QVERIFY(made(u"sox"_s, words(u"-n -b 16 -r 44100 -c 2 OUT synth 1 sine 440"_s, {}, good)));
    const QByteArray bytes = readBytes(good);
    QVERIFY(header(bytes));
    const qsizetype data = bytes.indexOf("data"), fmt = bytes.indexOf("fmt ");
    QVERIFY(data > 0 && fmt > 0);
    const auto edited = [&](qsizetype at, quint32 value, int size) {
        const quint32 le = qToLittleEndian(value);
        return QByteArray(bytes).replace(at, size, QByteArray(reinterpret_cast<const char *>(&le), size));
    };
    // Cut off: the data chunk claims more than the file holds; a streamed
    // recording's length fields are 0xFFFFFFFF; an empty data chunk or one
    // shorter than a frame; another codec; nine channels; a block size that
    // does not match the channels and bits; a rate of zero.
    const QByteArray cut = bytes.first(bytes.size() - 100);
    QVERIFY(!header(cut));
    for (const QByteArray &b : {edited(data + 4, 0xFFFFFFFF, 4), edited(data + 4, 0, 4), edited(data + 4, 3, 4),
                                edited(fmt + 8, 2, 2), edited(fmt + 10, 9, 2), edited(fmt + 20, 3, 2),
                                edited(fmt + 12, 0, 4)})
        QVERIFY(!header(b));
    // RF64, no fmt chunk before the data, a header cut inside a chunk.
    QVERIFY(!header(QByteArray(bytes).replace(0, 4, "RF64")));
    QVERIFY(!header(QByteArray(bytes).replace(fmt, 4, "fmtx")));
    for (qsizetype n = 0; n < data + 8; ++n)
        QVERIFY(!header(bytes.first(n), bytes.size()));
    // What the header declines, the probe still reads through ffprobe: an
    // ADPCM WAV, and the cut-off file's real length.
    const QString adpcm = m_dir.filePath(u"adpcm.wav"_s), cutPath = m_dir.filePath(u"cut.wav"_s);
    QVERIFY(made(u"ffmpeg"_s, words(u"-v error -i IN -c:a adpcm_ms OUT"_s, good, adpcm)));
    QVERIFY(!header(readBytes(adpcm)));
    writeBytes(cutPath, cut);
    const SourceProbe probe(m_ffprobe);
    QString error;
    std::optional<SourceInfo> info = probe.probe(adpcm, &error);
    QVERIFY2(info && info->channels == 2, qPrintable(error));
    info = probe.probe(cutPath, &error);
    QVERIFY2(info, qPrintable(error));
    QVERIFY(qAbs(info->durationSeconds - (bytes.size() - 100 - data - 8) / 4 / 44100.0) < 0.01);

    // Facts measured by the program stand in for ffprobe, for that version of
    // that file only.
    const QByteArray facts = sourceFactsEntry(adpcm, {6, 8000, 1.5, true}).section(u'=', 1).toUtf8();
    QVERIFY(!facts.isEmpty());
    QCOMPARE(SourceProbe(m_ffprobe, facts).probe(adpcm, &error)->channels, 6);
    QCOMPARE(SourceProbe(m_ffprobe, facts).probe(cutPath, &error)->channels, 2);
    QFile changed(adpcm);
    QVERIFY(changed.open(QIODevice::ReadWrite));
    QVERIFY(changed.setFileTime(QDateTime::currentDateTime().addSecs(60), QFileDevice::FileModificationTime));
    changed.close();
    QCOMPARE(SourceProbe(m_ffprobe, facts).probe(adpcm, &error)->channels, 2);
    QVERIFY(sourceFactsEntry(adpcm, {9, 8000, 1.5, false}).isEmpty());
}

QTEST_GUILESS_MAIN(TestAvsLanguage)
#include "tst_avslanguage.moc"
