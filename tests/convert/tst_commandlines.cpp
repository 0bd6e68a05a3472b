// What the job hands the encoder: the decoding scripts and the command lines.
#include "convert/AVSScripts.h"
#include "convert/CommandLines.h"
#include "options/FormatOptions.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <tuple>

using namespace tonmill;
using namespace Qt::StringLiterals;
using test::readBytes;

namespace {

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

// The words of a command text as a command interpreter splits them: a word between double quotes, which may be empty, or one without
// blanks. Independent of the builder under test.
QStringList wordsOf(const QString &text)
{
    QStringList words;
    for (const QRegularExpressionMatch &m : QRegularExpression(u"\"([^\"]*)\"|([^ \"]+)"_s).globalMatch(text))
        words << (m.capturedStart(1) >= 0 ? m.captured(1) : m.captured(2));
    return words;
}

QStringList executedWords(const CommandLine &line) { return QStringList{line.program} + line.arguments; }

// The script file that the given lines make: UTF-8, every line ended by CR LF.
QByteArray expectedFile(const QStringList &lines)
{
    return (lines.join(u"\r\n"_s) + u"\r\n"_s).toUtf8();
}

const QString kHeader = u"# Created by Tonmill - Quorell"_s;
const QString kBlank = u"Clip2 = BlankClip(Length = 2000000, fps = 25)"_s;
const QString kDub = u"Clip3 = AudioDub(Clip2, Clip1)"_s;

} // namespace

class TestCommandLines : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void numberTexts();
    void exactTexts();
    void sourceLines();
    void fullScriptOptions();
    void segmentScript();
    void fadeLineOnlyWhenAsked();

private:
    QTemporaryDir m_dir;
    const QString m_app = m_dir.filePath(u"Tonmill app"_s);
    const QStringList m_head{kHeader, u"LoadPlugin(\"%1/Tools/Plugins/NicAudio.dll\")"_s.arg(m_app),
                             u"LoadPlugin(\"%1/Tools/Plugins/soxfilter.dll\")"_s.arg(m_app)};
};

void TestCommandLines::numberTexts()
{
    // 100 % is 256 (more in the lines below); fifteen significant digits, never an exponent.
    for (const auto &[percent, text] : QList<std::pair<int, const char *>>{{1, "2.56"}, {7, "17.92"}, {150, "384"}, {199, "509.44"}})
        QCOMPARE(volumeText(percent), QLatin1String(text));
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
}

void TestCommandLines::exactTexts()
{
    const SetUp plain;
    const QString head = u"\"/usr/bin/ffmpeg\" -y -i \"/opt/tonmill/DirectQX.avs\" -vn -acodec "_s;
    const QString out = u"\"/home/u/song_Konverted.out\""_s;
    const QString quenc =
        u"\"/opt/QuEnc/QuEnc.exe\" -i \"/opt/tonmill/DirectQX.avs\" -o "_s + out + u" -mpeg2mux novideo -audiocodec ac3 -audiobitrate "_s;
    const QString wma = u"Cscript.exe \"/opt/tonmill/Tools/WMCmd.vbs\" -input "_s;
    // The later formats carry the typed tags in ffmpeg's names.
    const QString tags = u" -metadata \"title=Title\" -metadata \"artist=Artist\" -metadata \"album=Album\" -metadata \"date=2001\""
                         " -metadata \"comment=Notes\" -metadata \"genre=Rock\" -metadata \"track=7\""_s;
    const auto row = [](const char *name, const char *format, const SetUp &setUp, const QString &text, const char *image = "ffmpeg") {
        const CommandLine line = lineFor(QLatin1String(format), setUp);
        QVERIFY2(line.text == text && line.imageName == QLatin1String(image), qPrintable(name + u": "_s + line.text));
        QCOMPARE(executedWords(line), wordsOf(text));
    };
    row("AAC mp4 stereo 128", "1", plain, head + "aac -vol 256 -ac 2 -ab 128 -f mp4 " + out);
    row("AAC mp2 mono 24 at 33%", "1",
        [](OptionState &o, EncoderInputs &in) { o.txtAACProfile = "1"; o.txtChannelsAAC = "1"; o.Combo8.select("24"); in.volumePercent = 33; },
        head + "aac -vol 84.48 -ac 1 -ab 24 -f mp2 " + out);
    row("AAC without container", "1", [](OptionState &o, EncoderInputs &) { o.txtAACProfile = "2"; o.Combo8.select("256"); },
        head + "aac -vol 256 -ac 2 -ab 256 -f  " + out);
    // Volume and channels are not part of the QuEnc line.
    row("AC3 48", "2", [](OptionState &o, EncoderInputs &in) { in.volumePercent = 10; o.txtChannelsAC3 = "6"; o.Combo1.select("48"); },
        quenc + "48 -auto -close", "QuEnc.exe");
    row("AMR narrow 8", "3", [](OptionState &o, EncoderInputs &) { o.Combo2.select("8"); },
        head + "amr_nb -vol 256 -ac 1 -ar 8000 -ab 8 -f amr " + out);
    // AMR is always mono, whatever another format's channel field holds.
    row("AMR wide 24 at 75%", "3", [](OptionState &o, EncoderInputs &in) {
            o.amrType = "1"; o.Combo2.clear(); o.Combo2.fill(kAMRWideBitRates); o.Combo2.select("24"); in.volumePercent = 75; o.txtChannelsMP3 = "2";
        },
        head + "amr_wb -vol 192 -ac 1 -ar 16000 -ab 24 -f amr " + out);
    row("MP2 header avi mono 384", "4", [](OptionState &o, EncoderInputs &) { o.txtMP2Header = "1"; o.txtChannelsMP2 = "1"; o.Combo6.select("384"); },
        head + "mp2 -vol 256 -ac 1 -ab 384 -f avi " + out);
    row("MP2 header mpeg at 0%", "4", [](OptionState &o, EncoderInputs &in) { o.txtMP2Header = "2"; in.volumePercent = 0; },
        head + "mp2 -vol 0 -ac 2 -ab 192 -f mpeg " + out);
    row("MP3 stereo 128", "5", plain, head + "mp3 -vol 256 -ac 2 -ab 128 -f mp3 " + out);
    // Other formats' fields never leak into the MP3 line.
    row("MP3 mono 32 from segment", "5", [](OptionState &o, EncoderInputs &in) {
            o.txtChannelsMP3 = "1"; o.Combo5.select("32"); in.input = "/opt/tonmill/segment.avs"; o.Combo6.select("384");
        },
        "\"/usr/bin/ffmpeg\" -y -i \"/opt/tonmill/segment.avs\" -vn -acodec mp3 -vol 256 -ac 1 -ab 32 -f mp3 " + out);
    row("WAV pcm_u8 mono", "6", [](OptionState &o, EncoderInputs &) { o.wavPCM = "1"; o.txtChannelsWAV = "1"; },
        head + "pcm_u8 -vol 256 -ac 1 -ab 705 -f wav " + out);
    // The encoding script is called with the title twice, back to back.
    row("WMA a64 with tags", "7", [](OptionState &, EncoderInputs &in) { in.input = "/music/song.wma"; },
        wma + "\"/music/song.wma\" -profile a64 -title \"Title\" -title \"Title\" -author \"Artist\" -album \"Album\" -year \"2001\""
              " -description \"Notes\" -genre \"Rock\" -trackno \"7\" -output " + out, "Cscript.exe");
    row("WMA a20_1 empty tags", "7", [](OptionState &o, EncoderInputs &in) {
            o.txtWMAProfile = "a20_1"; in.title = in.artist = in.album = in.year = in.notes = in.genre = in.track = QString();
        },
        wma + "\"/opt/tonmill/DirectQX.avs\" -profile a20_1 -title \"\" -title \"\" -author \"\" -album \"\" -year \"\" -description \"\""
              " -genre \"\" -trackno \"\" -output " + out, "Cscript.exe");
    // The later formats keep the source's channels and rate.
    row("FLAC 24-bit level 8", "8", [](OptionState &o, EncoderInputs &) { o.flacBits = "1"; o.cmbFLACLevel.select("8"); },
        head + "flac -vol 256 -sample_fmt s32 -compression_level 8" + tags + " -f flac " + out);
    row("Opus CBR voip 64, title only", "9", [](OptionState &o, EncoderInputs &in) {
            o.opusMode = o.opusApplication = "1"; o.cmbOpusBitRate.select("64"); in.artist = in.album = in.year = in.notes = in.genre = in.track = QString();
        },
        head + "opus -vol 256 -ab 64 -vbr off -application voip -metadata \"title=Title\" -f opus " + out);
    row("Opus VBR lowdelay", "9", [](OptionState &o, EncoderInputs &) { o.opusApplication = "2"; },
        head + "opus -vol 256 -ab 128 -vbr on -application lowdelay" + tags + " -f opus " + out);
    row("Ogg at 75%", "10", [](OptionState &, EncoderInputs &in) { in.volumePercent = 75; },
        head + "vorbis -vol 192 -aq 5" + tags + " -f ogg " + out);
    row("M4A bit rate", "11", plain, head + "aac -vol 256 -ab 192" + tags + " -f ipod " + out);
    row("M4A quality", "11", [](OptionState &o, EncoderInputs &) { o.m4aMode = "1"; }, head + "aac -vol 256 -aq 1" + tags + " -f ipod " + out);
    row("ALAC 16-bit", "12", plain, head + "alac -vol 256 -sample_fmt s16p" + tags + " -f ipod " + out);
}

void TestCommandLines::sourceLines()
{
    QList<std::pair<QString, QString>> rows = {
        {"/m/f.ac3", "Clip1 = NicAc3Source(\"/m/f.ac3\")"}, {"/m/g.dts", "Clip1 = NicDTSSource(\"/m/g.dts\")"},
        {"/m/h.mpa", "Clip1 = NicMPASource(\"/m/h.mpa\")"}, {"/m/i.mp2", "Clip1 = NicMPASource(\"/m/i.mp2\")"},
        {"/m/j.mp3", "Clip1 = DirectShowSource(\"/m/j.mp3\")"},
        {"/m/mymp3", "Clip1 = DirectShowSource(\"/m/mymp3\")"}, // only the last three characters count
        // A name with a double quote is written between three of them.
        {"/m/Ωμέγα 歌 \"x\".wav", "Clip1 = DirectShowSource(\"\"\"/m/Ωμέγα 歌 \"x\".wav\"\"\",25)"}};
    // The table's own names, and those it does not know, which are read as the segment script reads them.
    for (const QString name : {"/m/a.avs", "/m/b.wma", "/m/c.wav", "/m/d.aac", "/m/clip.ra", "/m/e.rmj", "/m/song.MP3", "/m/song.Wav",
                               "/m/k.flac", "/m/l.ram", "/m/n.m4a", "ra"})
        rows.append({name, u"Clip1 = DirectShowSource(\"%1\",25)"_s.arg(name)});
    for (const auto &[source, line] : rows)
        QCOMPARE(fullScript({source, 180, u"44100"_s, u"MP3"_s}, AppFolder(m_app))->at(3), line);
}

void TestCommandLines::fullScriptOptions()
{
    const AppFolder folder(m_app);
    // Normalised AC3 with up-mix (its channels are checked by rendering it): UTF-8 lines ended by CR LF, written over a longer earlier
    // content; the up-mix comes after the trim and before the rate.
    QVERIFY(QDir().mkpath(m_app));
    const QString path = folder.file(u"\\DirectQX.avs"_s);
    test::writeBytes(path, QByteArray(5000, 'x'));
    QVERIFY(writeFullScript(path, {u"/music/Mötley – 歌.wav"_s, 180.3, u"48000"_s, u"AC3"_s, true, true}, folder));
    const QStringList written = QString::fromUtf8(readBytes(path)).split(u"\r\n"_s);
    QCOMPARE(written.first(8) + written.last(4), m_head + QStringList({"Clip1 = DirectShowSource(\"/music/Mötley – 歌.wav\",25)", kBlank, kDub,
                                                 "Clip4=Normalize(Clip3,volume=1)", "Trim(Clip4,0,4508)", "6==Audiochannels(last)?GetChannel(last,1,3,2,5,6,4):last",
                                                 "ResampleAudio (48000)", "ConvertToYV12()", ""}));
    QVERIFY(written.size() == 26 && written.contains(u"2==AudioChannels(Stereo)?UpMix(ConvertAudioToFloat(Stereo)):Stereo"_s));
    QVERIFY(readBytes(path).contains("Clip1 = DirectShowSource(\"/music/M\xC3\xB6tley \xE2\x80\x93 \xE6\xAD\x8C.wav\",25)\r\n"));

    // Up-mix is for "AC3" only, spelt as the list spells it, and only when asked for.
    const QStringList plainAC3 = m_head + QStringList{"Clip1 = NicAc3Source(\"/music/a.ac3\")", kBlank, kDub, "Trim(Clip3,0,250)",
                                                      "ResampleAudio (44100)", "ConvertToYV12()"};
    const FullScriptInputs ac3{u"/music/a.ac3"_s, 10, u"44100"_s, u"AC3"_s};
    for (const QString format : {"AC3", "MP3", "ac3"})
        QCOMPARE(*fullScript({ac3.source, 10, ac3.rate, format, false, format != "AC3"_L1}, folder), plainAC3);
    // WMA: no resampling, the profile sets the rate.
    QCOMPARE(*fullScript({u"/music/b.mp3"_s, 0.3, u"44100"_s, u"WMA"_s, true}, folder),
             m_head + QStringList({"Clip1 = DirectShowSource(\"/music/b.mp3\")", kBlank, kDub, "Clip4=Normalize(Clip3,volume=1)",
                                   "Trim(Clip4,0,8)", "ConvertToYV12()"}));
    // A later format without a rate of its own keeps the source's.
    QVERIFY(!fullScript({ac3.source, 3, QString(), u"OPUS"_s}, folder)->join(QLatin1Char(' ')).contains(u"ResampleAudio"_s));
    // The third AAC button's rate goes into the script as it stands.
    QCOMPARE(fullScript({ac3.source, 10, u"16100"_s, u"AAC"_s}, folder)->at(7), u"ResampleAudio (16100)"_s);
    // Less than one frame still ends after the first: 0 would mean the end.
    QCOMPARE(fullScript({ac3.source, 0.01, ac3.rate, ac3.format}, folder)->at(6), u"Trim(Clip3,0,1)"_s);
    // A duration that is no number makes no script; files that cannot be written are reported, never thrown.
    QVERIFY(!fullScript({ac3.source, qQNaN(), ac3.rate, ac3.format}, folder));
    QVERIFY(!writeFullScript(path, {ac3.source, qQNaN(), ac3.rate, ac3.format}, folder));
    for (const QString &unwritable : {m_dir.filePath(u"missing/DirectQX.avs"_s), m_app, u"/dev/full"_s})
        QVERIFY2(!writeFullScript(unwritable, ac3, folder), qPrintable(unwritable));
    QVERIFY(!writeSegmentScript(m_dir.filePath(u"missing/segment.avs"_s), {ac3.source, u"1"_s, u"2"_s, u"44100"_s}));
}

void TestCommandLines::segmentScript()
{
    // Always the DirectShow filter on the source itself, whatever its name; decimals that round both ways, a plain "12.4", an end of 0.
    const QString path = m_dir.filePath(u"segment.avs"_s);
    const struct {
        const char *source, *start, *end, *rate, *trim;
    } rows[] = {{"/music/track.ac3", "012.400", "030.000", "48000", "Trim(Clip3,310,750)"},
                {"/music/SONG.MP3", "000.580", "180.010", "22050", "Trim(Clip3,15,4500)"},
                {"/music/SONG.MP3", "12.4", "000.000", "22050", "Trim(Clip3,310,0)"}};
    for (const auto &r : rows) {
        QVERIFY(writeSegmentScript(path, {QLatin1String(r.source), QLatin1String(r.start), QLatin1String(r.end), QLatin1String(r.rate)}));
        QCOMPARE(readBytes(path), expectedFile({kHeader, u"Clip1 = DirectShowSource(\"%1\",25)"_s.arg(QLatin1String(r.source)),
                                                kBlank, kDub, "ConvertToYV12 (Clip3)", QLatin1String(r.trim),
                                                u"ResampleAudio (%1)"_s.arg(QLatin1String(r.rate)), "ConvertToYV12()"}));
    }
    // Start or end that is not a number: a failure for the caller, and the earlier script is left alone.
    const QByteArray before = readBytes(path);
    for (const auto &[start, end] : QList<std::pair<const char *, const char *>>{{"", "030.000"}, {"012.400", "abc"}, {"12,4", "30"}, {"1e", "2"}})
        QVERIFY2(!writeSegmentScript(path, {u"/m/a.wav"_s, QLatin1String(start), QLatin1String(end), u"44100"_s}), start);
    QCOMPARE(readBytes(path), before);
}

void TestCommandLines::fadeLineOnlyWhenAsked()
{
    // 2 seconds are 50 frames each way; a sound shorter than 6 seconds fades over a third of its length; 0, a length not known, takes the 2
    // seconds.
    for (const auto &[seconds, line] : QList<std::pair<double, const char *>>{{180, "FadeIO0(50)"}, {4.5, "FadeIO0(38)"}, {3, "FadeIO0(25)"},
                                                                              {1.56, "FadeIO0(13)"}, {0, "FadeIO0(50)"}})
        QCOMPARE(fadeLine(seconds), QLatin1String(line));
    // A cut lasts its frames, the end one included, up to the source's end when that is known; an end of 0 runs to it; at least one frame.
    for (const auto &[start, end, source, seconds] : QList<std::tuple<double, double, double, double>>{
             {12.4, 30, 60, 17.64}, {1, 2.5, 60, 1.54}, {7, 0, 10, 3}, {8, 30, 10, 2}, {8, 0, 0, 0}, {5, 4, 0, 0.04}})
        QCOMPARE(segmentSeconds(start, end, source), seconds);

    // Only when asked for, as the last change to the sound before the rate: after the trim, the cut's trim, or the up-mix.
    const AppFolder folder(m_app);
    FullScriptInputs full{u"/m/b.wav"_s, 4.5, u"44100"_s, u"WMA"_s, true}, ac3{u"/m/d.wav"_s, 10, u"48000"_s, u"AC3"_s, false, true};
    SegmentScriptInputs cut{u"/m/s.wav"_s, u"8"_s, u"30"_s, u"48000"_s, false, 10};
    QStringList plainFull = *fullScript(full, folder), plainCut = *tonmill::segmentScript(cut), plainAc3 = *fullScript(ac3, folder);
    QVERIFY(!(plainFull + plainCut + plainAc3).join(QLatin1Char(' ')).contains(u"FadeIO0"_s));
    full.fade = cut.fade = ac3.fade = true;
    plainFull.insert(8, u"FadeIO0(38)"_s);
    plainCut.insert(6, u"FadeIO0(17)"_s);
    plainAc3.insert(plainAc3.indexOf(u"6==Audiochannels(last)?GetChannel(last,1,3,2,5,6,4):last"_s) + 1, u"FadeIO0(50)"_s);
    QCOMPARE(*fullScript(full, folder), plainFull);
    QCOMPARE(*tonmill::segmentScript(cut), plainCut);
    QCOMPARE(*fullScript(ac3, folder), plainAc3);
}

QTEST_GUILESS_MAIN(TestCommandLines)
#include "tst_commandlines.moc"
