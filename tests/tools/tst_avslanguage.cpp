// The script language as the decoding scripts use it: names without case,
// last, ?:, user functions, methods, comments, the up-mix block's irregular
// spacing, Trim's frame arithmetic, and one clear line for every mistake.
// Clips here are BlankClips, so no media is needed; script files and their
// sources are read through the real loader and ffprobe.
#include "tools/avs/AvsClip.h"
#include "tools/avs/AvsEvaluator.h"
#include "tools/avs/ScriptLoader.h"
#include "tools/avs/SoxEffects.h"
#include "tools/avs/SourceProbe.h"
#include "tools/avs/ToolProcess.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill::avs;

namespace {

// Two seconds of stereo at 44.1 kHz and 25 fps, as the variable `c`.
const QString kStereo = QStringLiteral("c = BlankClip(length=50, fps=25, audio_rate=44100, channels=2)\n");

// The up-mix block exactly as the program writes it, with CR LF ends.
const QString kUpMix = QStringLiteral(
    "EnsureVBRMP3Sync()\r\n"
    "Stereo = Last\r\n"
    "function UpMix(clip a) {\r\n"
    "back = a.soxfilter(\"filter 100-7000\")\r\n"
    "fl = a.GetLeftChannel()\r\n"
    "fr = a.GetRightChannel()\r\n"
    "cc = mixaudio(a.GetRightChannel(), a.GetLeftChannel, 0.5, 0.5)\r\n"
    "lfe = ConvertToMono(a).SoxFilter(\"lowpass 120\",\"vol -0.5\")\r\n"
    "sl = mixaudio(back.GetLeftChannel(), back.GetRightChannel(), 0.668, -0.668)\r\n"
    "sR = mixaudio(back.GetRightChannel(), back.GetLeftChannel(), 0.668, -0.668)\r\n"
    "sl = DelayAudio(sl, 0.02)\r\n"
    "sr = DelayAudio(sr,0.02)# Return result\r\n"
    "return MergeChannels( fl, fr, cc, lfe, sl, sr)}\r\n"
    "2==AudioChannels(Stereo)?UpMix(ConvertAudioToFloat(Stereo)):Stereo\r\n"
    "6==Audiochannels(last)?GetChannel(last,1,3,2,5,6,4):last\r\n");

struct Run {
    Clip clip;
    QString error;
    int line = 0;
};

} // namespace

class TestAvsLanguage : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void namesIgnoreCase();
    void lastAndImplicitClips();
    void conditionalsAndOperators();
    void userFunctions();
    void upMixBlock();
    void trimCountsFrames();
    void mistakesGiveOneLine_data();
    void mistakesGiveOneLine();
    void soxEffects();
    void scriptFiles();

private:
    Run run(const QString &text)
    {
        const EvalResult r = evaluateScript(text, *m_loader);
        return {r.clip, r.error, r.errorLine};
    }

    std::unique_ptr<SourceProbe> m_probe;
    std::unique_ptr<ScriptLoader> m_loader;
};

void TestAvsLanguage::initTestCase()
{
    const QString ffprobe = findFfprobe(QStringLiteral("ffmpeg"));
    QVERIFY2(!ffprobe.isEmpty(), "ffprobe is needed");
    m_probe = std::make_unique<SourceProbe>(ffprobe);
    m_loader = std::make_unique<ScriptLoader>(*m_probe);
}

void TestAvsLanguage::namesIgnoreCase()
{
    Run r = run(QStringLiteral("C = BLANKCLIP(LENGTH=25, Fps=25, AUDIO_RATE=8000, Channels=2)\n"
                               "x = c.convertTOmono\n"
                               "X.GETLEFTCHANNEL\n"));
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 1);
    QCOMPARE(r.clip->sampleRate, 8000);
    QCOMPARE(r.clip->samples, 8000);

    // sR set, sr read: one variable; Last is last.
    r = run(kStereo + QStringLiteral("sR = c.GetRightChannel\nsr\nLast.ResampleAudio(22050)\n"));
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 1);
    QCOMPARE(r.clip->sampleRate, 22050);
}

void TestAvsLanguage::lastAndImplicitClips()
{
    // A bare expression sets last; functions given no clip take last, also
    // when their first argument is something else.
    Run r = run(kStereo + QStringLiteral("c\nConvertToMono()\nResampleAudio (11025)\n"));
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 1);
    QCOMPARE(r.clip->sampleRate, 11025);

    // An assignment does not change last, and after one the script's value
    // is last, not the assigned clip.
    r = run(kStereo + QStringLiteral("c\nm = ConvertToMono(c)\n"));
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 2);

    // The last bare expression is the value even when it is not last's
    // producer, and a value without parentheses is a call.
    r = run(kStereo + QStringLiteral("m = c.ConvertToMono\nc\nConvertToYV12 (m)\n"));
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 1);

    // return ends the script.
    r = run(kStereo + QStringLiteral("return c.GetLeftChannel\nc\n"));
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 1);

    // LoadPlugin gives nothing, which leaves last as the value.
    r = run(kStereo + QStringLiteral("c\nLoadPlugin(\"C:\\Program Files\\Tonmill\\Tools\\Plugins\\NicAudio.dll\")\n"));
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 2);

    r = run(QStringLiteral("ConvertToMono()\n"));
    QVERIFY(!r.clip);
    QCOMPARE(r.error, QStringLiteral("ConvertToMono needs a clip, and last has none yet"));
}

void TestAvsLanguage::conditionalsAndOperators()
{
    const auto channelsOf = [this](const QString &body) {
        const Run r = run(kStereo + body);
        return r.clip ? r.clip->channels : -1;
    };
    QCOMPARE(channelsOf(QStringLiteral("2==AudioChannels(c)?ConvertToMono(c):c\n")), 1);
    QCOMPARE(channelsOf(QStringLiteral("1==AudioChannels(c)?ConvertToMono(c):c\n")), 2);
    // ?: nests to the right; arithmetic binds tighter than comparison.
    QCOMPARE(channelsOf(QStringLiteral("1+2*3 == 9 ? c : 7-2*3 == 1 ? c.GetLeftChannel : c\n")), 1);
    QCOMPARE(channelsOf(QStringLiteral("(1+2)*3 == 9 && !(4/3 > 1.2) ? c.ConvertToMono : c\n")), 1);
    // Strings compare without case; && stops before the unknown name.
    QCOMPARE(channelsOf(QStringLiteral("\"ABC\" == \"abc\" || Nonsense ? c.GetChannel(2) : c\n")), 1);
    QCOMPARE(channelsOf(QStringLiteral("false && Nonsense ? c : c.ConvertToMono\n")), 1);
    QCOMPARE(channelsOf(QStringLiteral("2 <> 2.0 ? c : c.ConvertToMono\n")), 1);

    Run r = run(kStereo + QStringLiteral("AudioChannels(c) ? c : c\n"));
    QCOMPARE(r.error, QStringLiteral("the condition before ? must be bool, not int"));
    QCOMPARE(r.line, 2);
    r = run(kStereo + QStringLiteral("x = c + c\n"));
    QCOMPARE(r.error, QStringLiteral("+ cannot combine clip and clip"));
    r = run(kStereo + QStringLiteral("x = 1 / (2 - 2)\n"));
    QCOMPARE(r.error, QStringLiteral("division by zero"));
}

void TestAvsLanguage::userFunctions()
{
    // Used before it is defined, typed and untyped parameters, locals, a body
    // closed on its last line, and a value without return.
    Run r = run(kStereo + QStringLiteral("Pick(c, 2)\n"
                                         "function Pick(clip a, n)\n"
                                         "{\n"
                                         "  # comment inside\n"
                                         "  b = a.GetChannel(n)\n"
                                         "  b.ResampleAudio(8000)}\n"));
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 1);
    QCOMPARE(r.clip->sampleRate, 8000);

    // A function sees its parameters only, not the script's variables.
    r = run(kStereo + QStringLiteral("function F(clip a) { return c }\nF(c)\n"));
    QCOMPARE(r.error, QStringLiteral("unknown function or variable \"c\""));
    QCOMPARE(r.line, 2);

    r = run(kStereo + QStringLiteral("function F(int n) { return n }\nF(c)\n"));
    QCOMPARE(r.error, QStringLiteral("F: the argument \"n\" must be int, not clip"));
    QCOMPARE(r.line, 3);

    r = run(kStereo + QStringLiteral("function Loop(clip a) { return Loop(a) }\nLoop(c)\n"));
    QCOMPARE(r.error, QStringLiteral("Loop: functions call each other too deeply"));

    r = run(QStringLiteral("function F(clip a) { return a }\nfunction f(clip b) { return b }\n"));
    QCOMPARE(r.error, QStringLiteral("the function f is defined twice"));
    QCOMPARE(r.line, 2);
}

void TestAvsLanguage::upMixBlock()
{
    // Stereo becomes six channels of the same length.
    Run r = run(kStereo + QStringLiteral("c\r\n") + kUpMix);
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 6);
    QCOMPARE(r.clip->sampleRate, 44100);
    QCOMPARE(r.clip->samples, 88200);
    QVERIFY(r.clip->isFloat);

    // Mono passes as it is; six channels are only reordered.
    r = run(QStringLiteral("BlankClip(length=50, fps=25, channels=1)\r\n") + kUpMix);
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 1);
    QVERIFY(!r.clip->isFloat);
    r = run(QStringLiteral("BlankClip(length=50, fps=25, channels=6)\r\n") + kUpMix);
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->channels, 6);
    QCOMPARE(r.clip->op, ClipNode::Op::Matrix);
    const QList<int> expected{0, 2, 1, 4, 5, 3};
    for (int out = 0; out < 6; ++out)
        QCOMPARE(r.clip->matrix[out].indexOf(1.0), expected[out]);
}

void TestAvsLanguage::trimCountsFrames()
{
    // The program's source with AudioDub's 2000000 frames of video: one frame
    // is 1764 samples at 44.1 kHz.
    const QString dub = QStringLiteral("Clip1 = BlankClip(length=1500, fps=25, audio_rate=44100, channels=2)\n"
                                       "Clip2 = BlankClip(Length = 2000000, fps = 25)\n"
                                       "Clip3 = AudioDub(Clip2, Clip1)\n");
    const auto span = [&](const QString &trim) -> std::pair<qint64, qint64> {
        const Run r = run(dub + trim + QLatin1Char('\n'));
        if (!r.clip)
            return {-1, -1};
        return {r.clip->start, r.clip->samples};
    };
    // Frames 310 to 750 inclusive: 441 frames from 12.4 s.
    QCOMPARE(span(QStringLiteral("Trim(Clip3,310,750)")), std::make_pair(qint64(310 * 1764), qint64(441 * 1764)));
    // Past the 60 s source, or to the video's end (0): it ends with the source.
    QCOMPARE(span(QStringLiteral("Trim(Clip3,0,1500)")), std::make_pair(qint64(0), qint64(1500 * 1764)));
    QCOMPARE(span(QStringLiteral("Trim(Clip3,10,0)")), std::make_pair(qint64(10 * 1764), qint64(1490 * 1764)));
    // A negative end is a frame count.
    QCOMPARE(span(QStringLiteral("Trim(Clip3,10,-5)")), std::make_pair(qint64(10 * 1764), qint64(5 * 1764)));
    // An end before the start keeps the start frame.
    QCOMPARE(span(QStringLiteral("Trim(Clip3,750,310)")), std::make_pair(qint64(750 * 1764), qint64(1764)));
    // Without AudioDub the clip ends with its audio.
    QCOMPARE(span(QStringLiteral("Trim(Clip1,1400,1600)")), std::make_pair(qint64(1400 * 1764), qint64(100 * 1764)));

    // Trim of a trim is one cut of the source; what lay past the first cut
    // stays cut off, and AudioDub adds no silence to a shorter audio clip.
    Run r = run(dub + QStringLiteral("Trim(Clip3,1000,1100).Trim(50,80)\n"));
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->inputs.front()->op, ClipNode::Op::Silence);
    QCOMPARE(r.clip->start, 1050 * 1764);
    QCOMPARE(r.clip->end, 1081 * 1764);
    QCOMPARE(r.clip->samples, 31 * 1764);
    r = run(dub + QStringLiteral("AudioDub(BlankClip(length=200, fps=25), Trim(Clip3,1000,1099))\n"));
    QVERIFY2(r.clip, qPrintable(r.error));
    QCOMPARE(r.clip->inputs.front()->op, ClipNode::Op::Silence);
    QCOMPARE(r.clip->start, 1000 * 1764);
    QCOMPARE(r.clip->end, 1100 * 1764);
    QCOMPARE(r.clip->samples, 100 * 1764);
    QCOMPARE(r.clip->frames, 200);
}

void TestAvsLanguage::mistakesGiveOneLine_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("error");

    QTest::newRow("unknown function") << kStereo + QStringLiteral("c\n\nFooBar(c, 3)\n") << 4
                                      << QStringLiteral("unknown function \"FooBar\"");
    QTest::newRow("unknown method") << kStereo + QStringLiteral("c.Sharpen\n") << 2
                                    << QStringLiteral("unknown function \"Sharpen\"");
    QTest::newRow("unknown name") << kStereo + QStringLiteral("Clip5\n") << 2
                                  << QStringLiteral("unknown function or variable \"Clip5\"");
    QTest::newRow("missing bracket") << QStringLiteral("# one\nTrim(Clip3,0,4500\nx = 1\n") << 2
                                     << QStringLiteral("syntax error: expected \",\" or \")\" in the arguments of Trim but found the end of the line");
    QTest::newRow("open string") << QStringLiteral("\nClip1 = DirectShowSource(\"/music/a.wav,25)\n") << 2
                                 << QStringLiteral("syntax error: the string is not closed with \" on its line");
    QTest::newRow("stray brace") << kStereo + QStringLiteral("}\n") << 2
                                 << QStringLiteral("syntax error: expected a value but found \"}\"");
    QTest::newRow("two values") << kStereo + QStringLiteral("c c\n") << 2
                                << QStringLiteral("syntax error: expected the end of the line but found \"c\"");
    QTest::newRow("no value") << QStringLiteral("x =\n") << 1
                              << QStringLiteral("syntax error: expected a value but found the end of the line");
    QTest::newRow("odd character") << QStringLiteral("a = 1\nb = 2 @ 3\n") << 2
                                   << QStringLiteral("syntax error: unexpected character \"@\"");
    QTest::newRow("open function") << QStringLiteral("function F(clip a) {\nreturn a\n") << 3
                                   << QStringLiteral("syntax error: expected \"}\" to close the function F but found the end of the script");
    QTest::newRow("function in function") << QStringLiteral("function F(clip a) {\nfunction G() { }\n}\n") << 2
                                          << QStringLiteral("syntax error: expected a statement (functions are defined only at the top level) but found \"function\"");
    QTest::newRow("bad parameter type") << QStringLiteral("function F(number a) { return a }\n") << 1
                                        << QStringLiteral("syntax error: expected a parameter type (clip, int, float, string, bool or val) but found \"number\"");
    QTest::newRow("deep nesting") << QStringLiteral("x = ") + QString(300, QLatin1Char('(')) + QStringLiteral("1") + QString(300, QLatin1Char(')')) + QStringLiteral("\n") << 1
                                  << QStringLiteral("syntax error: expected a simpler expression (this one nests too deeply) but found \"(\"");
    QTest::newRow("wrong type") << kStereo + QStringLiteral("Trim(c, \"0\", 10)\n") << 2
                                << QStringLiteral("Trim: the argument \"first_frame\" must be int, not string");
    QTest::newRow("too many") << kStereo + QStringLiteral("DelayAudio(c, 1, 2)\n") << 2
                              << QStringLiteral("DelayAudio: too many arguments (3 given, at most 2)");
    QTest::newRow("missing argument") << kStereo + QStringLiteral("Trim(c, 5)\n") << 2
                                      << QStringLiteral("Trim: the argument \"last_frame\" is missing");
    QTest::newRow("unknown argument") << kStereo + QStringLiteral("Normalize(c, level=1)\n") << 2
                                      << QStringLiteral("Normalize: there is no argument named \"level\"");
    QTest::newRow("no such channel") << kStereo + QStringLiteral("GetChannel(c, 1, 3)\n") << 2
                                     << QStringLiteral("GetChannel: the clip has 2 channel(s), so there is no channel 3");
    QTest::newRow("channels differ") << kStereo + QStringLiteral("MixAudio(c, c.GetLeftChannel)\n") << 2
                                     << QStringLiteral("MixAudio: the clips have different channel counts (2 and 1)");
    QTest::newRow("rates differ") << kStereo + QStringLiteral("MergeChannels(c, c.ResampleAudio(48000))\n") << 2
                                  << QStringLiteral("MergeChannels: the clips have different sampling rates (44100 and 48000 Hz)");
    QTest::newRow("sox effect") << kStereo + QStringLiteral("SoxFilter(c, \"reverb 50\")\n") << 2
                                << QStringLiteral("SoxFilter \"reverb 50\": the effect \"reverb\" is not supported");
    QTest::newRow("filter above Nyquist") << kStereo + QStringLiteral("ResampleAudio(c, 8000).SoxFilter(\"lowpass 5k\")\n") << 2
                                          << QStringLiteral("SoxFilter \"lowpass 5k\": 5000 Hz is not below half the sampling rate");
    QTest::newRow("no clip") << QStringLiteral("x = 1\n\n") << 3 << QStringLiteral("the script gives no clip");
    QTest::newRow("not a clip") << QStringLiteral("1 + 2\n") << 2 << QStringLiteral("the script gives int, not a clip");
}

void TestAvsLanguage::mistakesGiveOneLine()
{
    QFETCH(QString, script);
    QFETCH(int, line);
    QFETCH(QString, error);
    const Run r = run(script);
    QVERIFY(!r.clip);
    QCOMPARE(r.error, error);
    QCOMPARE(r.line, line);
}

void TestAvsLanguage::soxEffects()
{
    std::vector<SoxEffect> effects;
    QString error;
    QVERIFY(parseSoxEffect(QStringLiteral("filter 100-7000"), &effects, &error));
    QCOMPARE(effects.size(), size_t(2));
    QCOMPARE(effects[0].filter.kind, PassFilter::Kind::HighPass);
    QCOMPARE(effects[0].filter.frequency, 100.0);
    QCOMPARE(effects[1].filter.kind, PassFilter::Kind::LowPass);
    QCOMPARE(effects[1].filter.frequency, 7000.0);

    effects.clear();
    QVERIFY(parseSoxEffect(QStringLiteral("  lowpass   -1 2.5k "), &effects, &error));
    QVERIFY(parseSoxEffect(QStringLiteral("filter -300"), &effects, &error));
    QVERIFY(parseSoxEffect(QStringLiteral("vol -0.5"), &effects, &error));
    QVERIFY(parseSoxEffect(QStringLiteral("vol 6dB"), &effects, &error));
    QVERIFY(parseSoxEffect(QStringLiteral("vol -6 dB"), &effects, &error));
    QCOMPARE(effects.size(), size_t(5));
    QCOMPARE(effects[0].filter.poles, 1);
    QCOMPARE(effects[0].filter.frequency, 2500.0);
    QCOMPARE(effects[1].filter.kind, PassFilter::Kind::LowPass);
    QCOMPARE(effects[1].filter.frequency, 300.0);
    QCOMPARE(effects[2].gain, -0.5);
    QVERIFY(qAbs(effects[3].gain - 1.99526) < 1e-4);
    QVERIFY(qAbs(effects[4].gain - 0.501187) < 1e-5);

    for (const char *bad : {"reverb", "filter 7000-100", "filter -", "lowpass", "lowpass 0", "vol x", "vol 2 power", ""}) {
        error.clear();
        QVERIFY2(!parseSoxEffect(QString::fromLatin1(bad), &effects, &error), bad);
        QVERIFY(error.startsWith(QStringLiteral("SoxFilter \"%1\": ").arg(QString::fromLatin1(bad))));
    }
}

void TestAvsLanguage::scriptFiles()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const auto write = [&](const QString &name, const QByteArray &bytes) {
        QFile f(dir.filePath(name));
        return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
    };

    // A script that runs another by a relative path; UTF-8 with a byte
    // order mark, CR LF, and a # inside a string that is no comment.
    QVERIFY(write(QStringLiteral("inner #1.avs"), "\xEF\xBB\xBF# \xC3\xA9t\xC3\xA9\r\nBlankClip(length=25, fps=25, channels=2)\r\n"));
    QVERIFY(write(QStringLiteral("outer.avs"), "Clip1 = DirectShowSource(\"inner #1.avs\", 25)\r\nClip1.ConvertToMono\r\n"));
    QString error;
    Clip clip = m_loader->load(dir.filePath(QStringLiteral("outer.avs")), &error);
    QVERIFY2(clip, qPrintable(error));
    QCOMPARE(clip->channels, 1);
    QCOMPARE(clip->samples, 44100);

    // Not UTF-8: read as Windows-1252, so the missing source's name comes out
    // as written.
    QVERIFY(write(QStringLiteral("latin.avs"), "# \x93quoted\x94\r\nClip1 = DirectShowSource(\"caf\xE9 \x80.wav\",25)\r\n"));
    QVERIFY(!m_loader->load(dir.filePath(QStringLiteral("latin.avs")), &error));
    QCOMPARE(error, QStringLiteral("latin.avs, line 2: the source \"%1\" does not exist").arg(dir.filePath(QStringLiteral("caf\u00e9 \u20ac.wav"))));

    // A script that opens itself, however indirectly, fails instead of looping.
    QVERIFY(write(QStringLiteral("a.avs"), "DirectShowSource(\"b.avs\")\n"));
    QVERIFY(write(QStringLiteral("b.avs"), "\nDirectShowSource(\"a.avs\")\n"));
    QVERIFY(!m_loader->load(dir.filePath(QStringLiteral("a.avs")), &error));
    QCOMPARE(error, QStringLiteral("a.avs, line 1: b.avs, line 2: a.avs: the script opens itself"));

    QVERIFY(!m_loader->load(dir.filePath(QStringLiteral("none.avs")), &error));
    QVERIFY(error.startsWith(QStringLiteral("none.avs: the script cannot be read")));
}

QTEST_GUILESS_MAIN(TestAvsLanguage)
#include "tst_avslanguage.moc"
