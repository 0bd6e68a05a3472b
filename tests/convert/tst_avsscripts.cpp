#include "convert/AVSScripts.h"
#include "platform/AppFolder.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

using namespace tonmill;

namespace {

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<unreadable>");
}

// The script file that the given lines make: UTF-8, every line ended by CR LF.
QByteArray expectedFile(const QStringList &lines)
{
    QByteArray bytes;
    for (const QString &line : lines)
        bytes += line.toUtf8() + "\r\n";
    return bytes;
}

QStringList fullHead(const QString &app)
{
    return {
        QStringLiteral("# Created by Tonmill - Quorell"),
        QStringLiteral("LoadPlugin(\"%1/Tools/Plugins/NicAudio.dll\")").arg(app),
        QStringLiteral("LoadPlugin(\"%1/Tools/Plugins/soxfilter.dll\")").arg(app),
    };
}

const QString kBlank = QStringLiteral("Clip2 = BlankClip(Length = 2000000, fps = 25)");
const QString kDub = QStringLiteral("Clip3 = AudioDub(Clip2, Clip1)");

} // namespace

class TestAVSScripts : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void fullScriptSourceLine_data();
    void fullScriptSourceLine();
    void fullScriptOptions();
    void frameNumbersRound();
    void segmentScript();
    void fadeLineOnlyWhenAsked();
    void writing();

private:
    QTemporaryDir m_dir;
    QString m_app;
};

void TestAVSScripts::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_app = m_dir.filePath(QStringLiteral("Tonmill app"));
    QVERIFY(QDir().mkpath(m_app));
}

void TestAVSScripts::fullScriptSourceLine_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("line");

    const auto ds25 = [](const QString &s) { return QStringLiteral("Clip1 = DirectShowSource(\"%1\",25)").arg(s); };
    for (const char *name : {"/m/a.avs", "/m/b.wma", "/m/c.wav", "/m/d.aac", "/m/clip.ra", "/m/e.rmj"})
        QTest::newRow(name) << QString::fromLatin1(name) << ds25(QString::fromLatin1(name));
    QTest::newRow("ac3") << "/m/f.ac3" << "Clip1 = NicAc3Source(\"/m/f.ac3\")";
    QTest::newRow("dts") << "/m/g.dts" << "Clip1 = NicDTSSource(\"/m/g.dts\")";
    QTest::newRow("mpa") << "/m/h.mpa" << "Clip1 = NicMPASource(\"/m/h.mpa\")";
    QTest::newRow("mp2") << "/m/i.mp2" << "Clip1 = NicMPASource(\"/m/i.mp2\")";
    QTest::newRow("mp3") << "/m/j.mp3" << "Clip1 = DirectShowSource(\"/m/j.mp3\")";
    // Names the table does not know are read as the segment script reads them.
    for (const char *name : {"/m/song.MP3", "/m/song.Wav", "/m/k.flac", "/m/l.ram", "/m/n.m4a", "ra"})
        QTest::newRow(name) << QString::fromLatin1(name) << ds25(QString::fromLatin1(name));
    // Only the last three characters count, so a name that merely ends so matches.
    QTest::newRow("no dot") << "/m/mymp3" << "Clip1 = DirectShowSource(\"/m/mymp3\")";
    // A name with a double quote is written between three of them.
    QTest::newRow("non-ASCII") << "/m/Ωμέγα 歌 \"x\".wav"
                               << QStringLiteral("Clip1 = DirectShowSource(\"\"\"/m/Ωμέγα 歌 \"x\".wav\"\"\",25)");
}

void TestAVSScripts::fullScriptSourceLine()
{
    QFETCH(QString, source);
    QFETCH(QString, line);

    FullScriptInputs in;
    in.source = source;
    in.duration = 180;
    in.rate = QStringLiteral("44100");
    in.format = QStringLiteral("MP3");
    const QString path = m_dir.filePath(QStringLiteral("DirectQX.avs"));
    QVERIFY(writeFullScript(path, in, AppFolder(m_app)));

    QStringList expected = fullHead(m_app);
    if (!line.isEmpty())
        expected << line;
    expected << kBlank << kDub << QStringLiteral("Trim(Clip3,0,4500)") << QStringLiteral("ResampleAudio (44100)")
             << QStringLiteral("ConvertToYV12()");
    QCOMPARE(readAll(path), expectedFile(expected));
}

void TestAVSScripts::fullScriptOptions()
{
    const AppFolder folder(m_app);
    const QString path = m_dir.filePath(QStringLiteral("DirectQX.avs"));

    // Normalised AC3 with up-mix: the block exactly as the interpreter expects it.
    FullScriptInputs ac3;
    ac3.source = QStringLiteral("/music/live.wav");
    ac3.duration = 180.3;
    ac3.rate = QStringLiteral("48000");
    ac3.format = QStringLiteral("AC3");
    ac3.normalize = true;
    ac3.upmix = true;
    QVERIFY(writeFullScript(path, ac3, folder));
    QCOMPARE(readAll(path),
             QByteArray("# Created by Tonmill - Quorell\r\n"
                        "LoadPlugin(\"") + m_app.toUtf8() + "/Tools/Plugins/NicAudio.dll\")\r\n"
                        "LoadPlugin(\"" + m_app.toUtf8() + "/Tools/Plugins/soxfilter.dll\")\r\n"
                        "Clip1 = DirectShowSource(\"/music/live.wav\",25)\r\n"
                        "Clip2 = BlankClip(Length = 2000000, fps = 25)\r\n"
                        "Clip3 = AudioDub(Clip2, Clip1)\r\n"
                        "Clip4=Normalize(Clip3,volume=1)\r\n"
                        "Trim(Clip4,0,4508)\r\n"
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
                        "6==Audiochannels(last)?GetChannel(last,1,3,2,5,6,4):last\r\n"
                        "ResampleAudio (48000)\r\n"
                        "ConvertToYV12()\r\n");

    // Up-mix is for AC3 only, and only when asked for; normalising alone.
    const QStringList plainAC3 = fullHead(m_app) + QStringList{
        "Clip1 = NicAc3Source(\"/music/a.ac3\")", kBlank, kDub, "Trim(Clip3,0,250)", "ResampleAudio (44100)",
        "ConvertToYV12()"};
    FullScriptInputs noUpmix;
    noUpmix.source = QStringLiteral("/music/a.ac3");
    noUpmix.duration = 10;
    noUpmix.rate = QStringLiteral("44100");
    noUpmix.format = QStringLiteral("AC3");
    QCOMPARE(*fullScript(noUpmix, folder), plainAC3);
    FullScriptInputs mp3Upmix = noUpmix;
    mp3Upmix.format = QStringLiteral("MP3");
    mp3Upmix.upmix = true;
    QCOMPARE(*fullScript(mp3Upmix, folder), plainAC3);
    FullScriptInputs lowerAc3 = mp3Upmix;
    lowerAc3.format = QStringLiteral("ac3");
    QCOMPARE(*fullScript(lowerAc3, folder), plainAC3);

    // WMA: no resampling, the profile sets the rate.
    FullScriptInputs wma;
    wma.source = QStringLiteral("/music/b.mp3");
    wma.duration = 0.3;
    wma.rate = QStringLiteral("44100");
    wma.format = QStringLiteral("WMA");
    wma.normalize = true;
    QVERIFY(writeFullScript(path, wma, folder));
    QCOMPARE(readAll(path),
             expectedFile(fullHead(m_app) + QStringList{"Clip1 = DirectShowSource(\"/music/b.mp3\")", kBlank, kDub,
                                                        "Clip4=Normalize(Clip3,volume=1)", "Trim(Clip4,0,8)",
                                                        "ConvertToYV12()"}));

    // The third AAC button's rate goes into the script as it stands.
    FullScriptInputs aac = noUpmix;
    aac.format = QStringLiteral("AAC");
    aac.rate = QStringLiteral("16100");
    QCOMPARE(fullScript(aac, folder)->at(7), QStringLiteral("ResampleAudio (16100)"));

    // Less than one frame still ends after the first: 0 would mean the end.
    FullScriptInputs tiny = noUpmix;
    tiny.duration = 0.01;
    QCOMPARE(fullScript(tiny, folder)->at(6), QStringLiteral("Trim(Clip3,0,1)"));

    // A duration that is no number makes no script.
    FullScriptInputs broken = noUpmix;
    broken.duration = qQNaN();
    QVERIFY(!fullScript(broken, folder));
    QVERIFY(!writeFullScript(path, broken, folder));
}

void TestAVSScripts::frameNumbersRound()
{
    const QList<QPair<double, QString>> cases = {
        {180, "4500"},     {180.3, "4508"},   // 4507.5 rounds up, not down
        {180.01, "4500"},  {180.03, "4501"},  // 4500.25 down, 4500.75 up
        {0.02, "1"},       {0.1, "3"},        // 0.5 and 2.5: halves go up
        {1.22, "31"},      {12.345, "309"},   // 30.5 and 308.625
        {0.58, "15"},      {2.26, "57"},      // 14.5 and 56.5, which binary
        {4.02, "101"},     {1.14, "29"},      // arithmetic puts a hair below
        {0, "0"},          {0.019, "0"},      {-0.01, "0"},
        {3600.999, "90025"}, {86399.98, "2160000"},
    };
    for (const auto &[seconds, frames] : cases)
        QCOMPARE(frameNumber(seconds), frames);
    QVERIFY(frameNumber(qInf()).isEmpty());
}

void TestAVSScripts::segmentScript()
{
    const QString path = m_dir.filePath(QStringLiteral("segment.avs"));
    const auto expected = [](const QString &source, const QString &trim, const QString &rate) {
        return expectedFile({"# Created by Tonmill - Quorell", "Clip1 = DirectShowSource(\"" + source + "\",25)",
                             kBlank, kDub, "ConvertToYV12 (Clip3)", trim, "ResampleAudio (" + rate + ")",
                             "ConvertToYV12()"});
    };

    // Always the DirectShow filter on the source itself, whatever its name.
    SegmentScriptInputs in;
    in.source = QStringLiteral("/music/track.ac3");
    in.start = QStringLiteral("012.400");
    in.end = QStringLiteral("030.000");
    in.rate = QStringLiteral("48000");
    QVERIFY(writeSegmentScript(path, in));
    QCOMPARE(readAll(path), expected("/music/track.ac3", "Trim(Clip3,310,750)", "48000"));

    // Decimals that round both ways, an upper-case name, a plain "12.4".
    in.source = QStringLiteral("/music/SONG.MP3");
    in.start = QStringLiteral("000.580");
    in.end = QStringLiteral("180.010");
    in.rate = QStringLiteral("22050");
    QVERIFY(writeSegmentScript(path, in));
    QCOMPARE(readAll(path), expected("/music/SONG.MP3", "Trim(Clip3,15,4500)", "22050"));
    in.start = QStringLiteral("12.4");
    in.end = QStringLiteral("000.000");
    QVERIFY(writeSegmentScript(path, in));
    QCOMPARE(readAll(path), expected("/music/SONG.MP3", "Trim(Clip3,310,0)", "22050"));

    // Start or end that is not a number: a failure for the caller, and the
    // earlier script is left alone.
    const QByteArray before = readAll(path);
    for (const auto &[start, end] : QList<QPair<QString, QString>>{{"", "030.000"}, {"012.400", "abc"},
                                                                  {"12,4", "30"}, {"1e", "2"}}) {
        in.start = start;
        in.end = end;
        QVERIFY2(!writeSegmentScript(path, in), qPrintable(start + QLatin1Char('/') + end));
    }
    QCOMPARE(readAll(path), before);
}

void TestAVSScripts::fadeLineOnlyWhenAsked()
{
    const AppFolder folder(m_app);
    const auto full = [&folder](const char *source, double seconds, const char *rate, const char *format,
                                bool normalize) {
        return [=, &folder](bool fade) {
            return fullScript({QLatin1String(source), seconds, QLatin1String(rate), QLatin1String(format), normalize,
                               false, fade},
                              folder);
        };
    };
    const auto segment = [](const char *start, const char *end, double sourceSeconds) {
        return [=](bool fade) {
            return tonmill::segmentScript({QStringLiteral("/m/s.wav"), QLatin1String(start), QLatin1String(end),
                                           QStringLiteral("48000"), fade, sourceSeconds});
        };
    };
    const auto cut = [](const char *trim) {
        return QStringList{"# Created by Tonmill - Quorell", "Clip1 = DirectShowSource(\"/m/s.wav\",25)", kBlank, kDub,
                           "ConvertToYV12 (Clip3)", QLatin1String(trim), "ResampleAudio (48000)", "ConvertToYV12()"};
    };
    const QStringList head = fullHead(m_app);
    struct Case {
        const char *name;
        std::function<std::optional<QStringList>(bool)> script;
        QStringList plain; // the script without the fade, as it has always been written
        qsizetype at;      // where the fade line goes
        QString fade;
    };
    // 2 seconds are 50 frames; a shorter sound fades over a third of its
    // length each way; a cut's length is its frames up to the source's end.
    const QList<Case> cases = {
        {"mp3", full("/m/a.mp3", 180, "44100", "MP3", false),
         head + QStringList{"Clip1 = DirectShowSource(\"/m/a.mp3\")", kBlank, kDub, "Trim(Clip3,0,4500)",
                            "ResampleAudio (44100)", "ConvertToYV12()"},
         7, "FadeIO0(50)"},
        {"wma normalised, 4.5 s", full("/m/b.wav", 4.5, "44100", "WMA", true),
         head + QStringList{"Clip1 = DirectShowSource(\"/m/b.wav\",25)", kBlank, kDub, "Clip4=Normalize(Clip3,volume=1)",
                            "Trim(Clip4,0,113)", "ConvertToYV12()"},
         8, "FadeIO0(38)"},
        {"opus at the source's rate, 3 s", full("/m/c.flac", 3, "", "OPUS", false),
         head + QStringList{"Clip1 = DirectShowSource(\"/m/c.flac\",25)", kBlank, kDub, "Trim(Clip3,0,75)",
                            "ConvertToYV12()"},
         7, "FadeIO0(25)"},
        {"cut", segment("012.400", "030.000", 60), cut("Trim(Clip3,310,750)"), 6, "FadeIO0(50)"},
        {"short cut", segment("1", "2.5", 60), cut("Trim(Clip3,25,63)"), 6, "FadeIO0(13)"},
        {"cut to the end", segment("7", "000.000", 10), cut("Trim(Clip3,175,0)"), 6, "FadeIO0(25)"},
        {"cut past the end", segment("8", "30", 10), cut("Trim(Clip3,200,750)"), 6, "FadeIO0(17)"},
        {"cut, length unknown", segment("8", "0", 0), cut("Trim(Clip3,200,0)"), 6, "FadeIO0(50)"},
    };
    for (const Case &c : cases) {
        QCOMPARE(c.script(false), std::optional<QStringList>(c.plain));
        QStringList faded = c.plain;
        faded.insert(c.at, c.fade);
        QVERIFY2(c.script(true) == faded, c.name);
    }

    // The up-mixed six channels are what fades.
    FullScriptInputs ac3{QStringLiteral("/m/d.wav"), 10, QStringLiteral("48000"), QStringLiteral("AC3"), false, true};
    QStringList upmixed = *fullScript(ac3, folder);
    ac3.fade = true;
    upmixed.insert(upmixed.indexOf(QStringLiteral("6==Audiochannels(last)?GetChannel(last,1,3,2,5,6,4):last")) + 1,
                   QStringLiteral("FadeIO0(50)"));
    QCOMPARE(*fullScript(ac3, folder), upmixed);
}

void TestAVSScripts::writing()
{
    const AppFolder folder(m_app);
    FullScriptInputs in;
    in.source = QStringLiteral("/music/Mötley – 歌.mp3");
    in.duration = 1;
    in.rate = QStringLiteral("44100");
    in.format = QStringLiteral("MP3");

    // A longer earlier content is replaced, not overwritten in part.
    const QString path = folder.file(QStringLiteral("\\DirectQX.avs"));
    {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(QByteArray(5000, 'x'));
    }
    QVERIFY(writeFullScript(path, in, folder));
    const QByteArray bytes = readAll(path);
    QVERIFY(!bytes.contains("xxx"));
    QCOMPARE(bytes, expectedFile(*fullScript(in, folder)));
    QVERIFY(bytes.contains("Clip1 = DirectShowSource(\"/music/M\xC3\xB6tley \xE2\x80\x93 \xE6\xAD\x8C.mp3\")\r\n"));
    QCOMPARE(bytes.count("\r\n"), 9);
    QCOMPARE(bytes.count('\n'), 9);
    QVERIFY(bytes.endsWith("ConvertToYV12()\r\n"));

    // Files that cannot be written are reported, never thrown.
    QVERIFY(!writeFullScript(m_dir.filePath(QStringLiteral("missing/DirectQX.avs")), in, folder));
    QVERIFY(!writeFullScript(m_app, in, folder));
    if (QFile::exists(QStringLiteral("/dev/full")))
        QVERIFY(!writeFullScript(QStringLiteral("/dev/full"), in, folder));
    SegmentScriptInputs segment{in.source, QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("44100")};
    QVERIFY(!writeSegmentScript(m_dir.filePath(QStringLiteral("missing/segment.avs")), segment));
}

QTEST_GUILESS_MAIN(TestAVSScripts)
#include "tst_avsscripts.moc"
