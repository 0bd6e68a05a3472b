// Every output format's encoder line, written as the program writes it, on the
// decoding script the program writes, and run through the encoder runner,
// gives a file that an independent reader (ffprobe, sox, mutagen) finds to be
// what the line asked for.
#include "convert/AVSScripts.h"
#include "platform/AppFolder.h"
#include "platform/ToolChain.h"
#include "process/CommandLine.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;
using tonmill::test::Ran;
using tonmill::test::runProgram;

namespace {

Ran runRouted(const CommandLine &line)
{
    const CommandLine routed = throughStandIns(line, AppFolder(test::builtAppDir()));
    return runProgram(routed.program, routed.arguments);
}

// The AAC, MP2/MPA, MP3 and WAV lines share one shape.
CommandLine ffmpegLine(const QString &codec, const QString &vol, const QString &ch, const QString &br,
                       const QString &container, const QString &in, const QString &out)
{
    return CommandLineBuilder()
        .quoted(QStringLiteral("/usr/bin/ffmpeg")).text(QStringLiteral(" -y -i ")).quoted(in)
        .text(QStringLiteral(" -vn -acodec ")).value(codec).text(QStringLiteral(" -vol ")).value(vol)
        .text(QStringLiteral(" -ac ")).value(ch).text(QStringLiteral(" -ab ")).value(br)
        .text(QStringLiteral(" -f ")).value(container).text(QStringLiteral(" ")).quoted(out)
        .build();
}

CommandLine amrLine(bool wide, const QString &br, const QString &in, const QString &out)
{
    return CommandLineBuilder()
        .quoted(QStringLiteral("/usr/bin/ffmpeg")).text(QStringLiteral(" -y -i ")).quoted(in)
        .text(wide ? QStringLiteral(" -vn -acodec amr_wb -vol ") : QStringLiteral(" -vn -acodec amr_nb -vol "))
        .value(QStringLiteral("256"))
        .text(wide ? QStringLiteral(" -ac 1 -ar 16000 -ab ") : QStringLiteral(" -ac 1 -ar 8000 -ab ")).value(br)
        .text(QStringLiteral(" -f amr ")).quoted(out)
        .build();
}

CommandLine quencLine(const QString &quenc, const QString &br, const QString &in, const QString &out)
{
    return CommandLineBuilder()
        .quoted(quenc).text(QStringLiteral(" -i ")).quoted(in).text(QStringLiteral(" -o ")).quoted(out)
        .text(QStringLiteral(" -mpeg2mux novideo -audiocodec ac3")).text(QStringLiteral(" -audiobitrate "))
        .value(br).text(QStringLiteral(" -auto -close"))
        .build();
}

struct Tags {
    QString title, artist, album, year, notes, genre, track;
};

CommandLine wmaLine(const QString &folder, const QString &profile, const Tags &t, const QString &in,
                    const QString &out)
{
    CommandLineBuilder b;
    b.text(QStringLiteral("Cscript.exe ")).quoted(folder + QStringLiteral("\\tools\\WMCmd.vbs"))
        .text(QStringLiteral(" -input ")).quoted(in).text(QStringLiteral(" -profile ")).value(profile)
        .text(QStringLiteral(" -title ")).quoted(t.title).text(QStringLiteral(" -title ")).quoted(t.title)
        .text(QStringLiteral(" -author ")).quoted(t.artist).text(QStringLiteral(" -album ")).quoted(t.album)
        .text(QStringLiteral(" -year ")).quoted(t.year).text(QStringLiteral(" -description ")).quoted(t.notes)
        .text(QStringLiteral(" -genre ")).quoted(t.genre).text(QStringLiteral(" -trackno ")).quoted(t.track)
        .text(QStringLiteral(" -output ")).quoted(out);
    return b.build();
}

struct Probe {
    QString codec;
    QString format;
    int channels = 0;
    int sampleRate = 0;
    double kbps = 0; // from the payload: all audio packets over the duration
};

Probe probe(const QString &file)
{
    const Ran r = runProgram(QStringLiteral("ffprobe"),
                             {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-select_streams"),
                              QStringLiteral("a:0"), QStringLiteral("-show_entries"),
                              QStringLiteral("stream=codec_name,channels,sample_rate:format=format_name,duration:"
                                             "packet=size"),
                              QStringLiteral("-of"), QStringLiteral("json"), file});
    const QJsonObject o = QJsonDocument::fromJson(r.out.toUtf8()).object();
    Probe p;
    const QJsonObject stream = o.value(QStringLiteral("streams")).toArray().at(0).toObject();
    p.codec = stream.value(QStringLiteral("codec_name")).toString();
    p.channels = stream.value(QStringLiteral("channels")).toInt();
    p.sampleRate = stream.value(QStringLiteral("sample_rate")).toString().toInt();
    const QJsonObject format = o.value(QStringLiteral("format")).toObject();
    p.format = format.value(QStringLiteral("format_name")).toString();
    const double duration = format.value(QStringLiteral("duration")).toString().toDouble();
    qint64 bytes = 0;
    for (const QJsonValue &packet : o.value(QStringLiteral("packets")).toArray())
        bytes += packet.toObject().value(QStringLiteral("size")).toString().toLongLong();
    if (duration > 0)
        p.kbps = double(bytes) * 8 / 1000 / duration;
    return p;
}

// sox's reading of the largest sample, 0..1.
double peakLevel(const QString &file)
{
    const Ran r = runProgram(QStringLiteral("sox"), {file, QStringLiteral("-n"), QStringLiteral("stat")});
    const QRegularExpressionMatch m =
        QRegularExpression(QStringLiteral(R"(Maximum amplitude:\s+([0-9.]+))")).match(r.err);
    return m.hasMatch() ? m.captured(1).toDouble() : -1;
}

} // namespace

class TestRunFormats : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void formats_data();
    void formats();
    void amrTakesTheNearestLegalMode();
    void volumeScalesTheLevel();
    void wmaCarriesEveryTag();
    void ac3PlacesFiveOneChannels();

private:
    // With sox, or with ffmpeg when the options open an input.
    QString make(const QString &name, const QStringList &before, const QStringList &after = {});
    QString path(const QString &name) const { return m_dir.filePath(name); }
    // DirectQX.avs as the program writes it for an 8-second source.
    bool writeScriptFor(const QString &script, const QString &source, const QString &samFreq, const QString &format,
                        bool normalize, bool upmix) const;
    // The RMS level of each channel of a file, in dB, in ffmpeg's channel order.
    static QList<double> channelLevels(const QString &file);

    QTemporaryDir m_dir;
    QString m_stereo, m_mono, m_mp3, m_ac3, m_surround, m_oddName;
};

QString TestRunFormats::make(const QString &name, const QStringList &before, const QStringList &after)
{
    const QString file = path(name);
    const bool sox = !before.contains(QStringLiteral("-i"));
    const QStringList args = sox ? QStringList{QStringLiteral("-n"), QStringLiteral("-b"), QStringLiteral("16")}
                                       + before + QStringList{file} + after
                                 : QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y")}
                                       + before + after + QStringList{file};
    const Ran r = runProgram(sox ? QStringLiteral("sox") : QStringLiteral("ffmpeg"), args);
    if (r.exitCode != 0)
        qWarning() << "making" << name << "failed:" << r.err;
    return file;
}

bool TestRunFormats::writeScriptFor(const QString &script, const QString &source, const QString &samFreq,
                                    const QString &format, bool normalize, bool upmix) const
{
    FullScriptInputs inputs;
    inputs.source = source;
    inputs.duration = 8.0;
    inputs.rate = samFreq;
    inputs.format = format;
    inputs.normalize = normalize;
    inputs.upmix = upmix;
    return writeFullScript(script, inputs, AppFolder(QFileInfo(script).absolutePath()));
}

QList<double> TestRunFormats::channelLevels(const QString &file)
{
    const Ran stats = runProgram(QStringLiteral("ffmpeg"),
                                 {QStringLiteral("-v"), QStringLiteral("info"), QStringLiteral("-i"), file,
                                  QStringLiteral("-af"),
                                  QStringLiteral("astats=measure_overall=none:measure_perchannel=RMS_level"),
                                  QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-")});
    QList<double> rms;
    const QRegularExpression level(QStringLiteral(R"(RMS level dB: (-?[0-9.]+|-inf))"));
    for (auto it = level.globalMatch(stats.err); it.hasNext();) {
        const QString v = it.next().captured(1);
        rms << (v == QLatin1String("-inf") ? -200.0 : v.toDouble());
    }
    return rms;
}

void TestRunFormats::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(QFileInfo(test::builtAppDir() + QStringLiteral("/Tools/tonmill-run")).isExecutable());
    const QStringList tone = {QStringLiteral("synth"), QStringLiteral("8"), QStringLiteral("sine"),
                              QStringLiteral("440"), QStringLiteral("sine"), QStringLiteral("660")};
    auto format = [](const char *rate, const char *channels) {
        return QStringList{QStringLiteral("-r"), QString::fromLatin1(rate), QStringLiteral("-c"),
                           QString::fromLatin1(channels)};
    };
    m_stereo = make(QStringLiteral("stereo.wav"), format("44100", "2"), tone);
    m_mono = make(QStringLiteral("mono.wav"), format("22050", "1"),
                  {QStringLiteral("synth"), QStringLiteral("8"), QStringLiteral("sine"), QStringLiteral("300")});
    m_oddName = make(QStringLiteral("it's a tëst – Ünïcode song.wav"), format("48000", "2"), tone);
    m_mp3 = make(QStringLiteral("song.mp3"), {QStringLiteral("-i"), m_stereo, QStringLiteral("-b:a"),
                                              QStringLiteral("192k")});
    m_ac3 = make(QStringLiteral("dolby.ac3"), {QStringLiteral("-i"), m_stereo, QStringLiteral("-ar"),
                                               QStringLiteral("48000"), QStringLiteral("-b:a"), QStringLiteral("192k")});
    m_surround = make(QStringLiteral("surround.ac3"),
                      {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                       QStringLiteral("sine=frequency=200:duration=8:sample_rate=48000"), QStringLiteral("-af"),
                       QStringLiteral("pan=5.1(side)|FL=c0|FR=c0|FC=c0|LFE=c0|SL=c0|SR=c0"), QStringLiteral("-b:a"),
                       QStringLiteral("384k")});
    for (const QString &f : {m_stereo, m_mono, m_oddName, m_mp3, m_ac3, m_surround})
        QVERIFY2(QFileInfo(f).size() > 1000, qPrintable(f));
    QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("out – dir")));
}

void TestRunFormats::formats_data()
{
    QTest::addColumn<CommandLine>("line");
    QTest::addColumn<QString>("source");   // what the script (if any) decodes
    QTest::addColumn<QString>("script");   // the line's input when it is a script; empty otherwise
    QTest::addColumn<QString>("samFreq");
    QTest::addColumn<QString>("format");   // cmbFormat
    QTest::addColumn<bool>("normalize");
    QTest::addColumn<bool>("upmix");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("codec");
    QTest::addColumn<QString>("container");
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("rate");
    QTest::addColumn<double>("kbps");

    const QString out = path(QStringLiteral("out – dir/"));
    const QString vol = QStringLiteral("256");
    const Tags noTags;
    const QString folder = test::builtAppDir();
    int n = 0;
    // One folder per row, as each job writes its own DirectQX.avs.
    auto script = [&] {
        const QString dir = path(QStringLiteral("job%1").arg(++n));
        QDir().mkpath(dir);
        return dir + QStringLiteral("/DirectQX.avs");
    };
    auto row = [&](const char *name, const CommandLine &line, const QString &source, const QString &scriptPath,
                   const char *samFreq, const char *format, bool normalize, bool upmix, const QString &output,
                   const char *codec, const char *container, int channels, int rate, double kbps) {
        QTest::newRow(name) << line << source << scriptPath << QString::fromLatin1(samFreq)
                            << QString::fromLatin1(format) << normalize << upmix << output
                            << QString::fromLatin1(codec) << QString::fromLatin1(container) << channels << rate
                            << kbps;
    };
    QString o, sc;

    o = out + QStringLiteral("aac-mp4.aac"), sc = script();
    row("AAC in MP4", ffmpegLine(QStringLiteral("aac"), vol, QStringLiteral("2"), QStringLiteral("128"),
                                 QStringLiteral("mp4"), sc, o),
        m_stereo, sc, "44100", "AAC", false, false, o, "aac", "mp4", 2, 44100, 128);
    o = out + QStringLiteral("aac-mpeg2 ë.aac"), sc = script();
    row("AAC as MPEG-2", ffmpegLine(QStringLiteral("aac"), vol, QStringLiteral("1"), QStringLiteral("64"),
                                    QStringLiteral("mp2"), sc, o),
        m_mp3, sc, "22050", "AAC", false, false, o, "aac", "aac", 1, 22050, 64);
    o = out + QStringLiteral("nb.amr"), sc = script();
    row("AMR narrow band", amrLine(false, QStringLiteral("13"), sc, o), m_stereo, sc, "44100", "AMR", false, false,
        o, "amr_nb", "amr", 1, 8000, 12.2);
    o = out + QStringLiteral("wb.amr"), sc = script();
    row("AMR wide band", amrLine(true, QStringLiteral("24"), sc, o), m_oddName, sc, "48000", "AMR", false, false, o,
        "amr_wb", "amr", 1, 16000, 23.85);
    o = out + QStringLiteral("header-mp2.mp2"), sc = script();
    row("MP2, mp2 header", ffmpegLine(QStringLiteral("mp2"), vol, QStringLiteral("2"), QStringLiteral("192"),
                                      QStringLiteral("mp2"), sc, o),
        m_stereo, sc, "48000", "MP2/MPA", false, false, o, "mp2", "mp3", 2, 48000, 192);
    o = out + QStringLiteral("header-avi.mp2"), sc = script();
    row("MP2, avi header", ffmpegLine(QStringLiteral("mp2"), vol, QStringLiteral("1"), QStringLiteral("96"),
                                      QStringLiteral("avi"), sc, o),
        m_mono, sc, "22050", "MP2/MPA", false, false, o, "mp2", "avi", 1, 22050, 96);
    o = out + QStringLiteral("header-mpeg.mp2"), sc = script();
    row("MP2, mpeg header", ffmpegLine(QStringLiteral("mp2"), vol, QStringLiteral("2"), QStringLiteral("256"),
                                       QStringLiteral("mpeg"), sc, o),
        m_ac3, sc, "44100", "MP2/MPA", false, false, o, "mp2", "mpeg", 2, 44100, 256);
    o = out + QStringLiteral("it's – ünïcode.mp3"), sc = script();
    row("MP3 stereo", ffmpegLine(QStringLiteral("mp3"), vol, QStringLiteral("2"), QStringLiteral("128"),
                                 QStringLiteral("mp3"), sc, o),
        m_oddName, sc, "44100", "MP3", false, false, o, "mp3", "mp3", 2, 44100, 128);
    o = out + QStringLiteral("from-surround.mp3"), sc = script();
    row("MP3 mono from 5.1, normalised", ffmpegLine(QStringLiteral("mp3"), vol, QStringLiteral("1"),
                                                    QStringLiteral("64"), QStringLiteral("mp3"), sc, o),
        m_surround, sc, "48000", "MP3", true, false, o, "mp3", "mp3", 1, 48000, 64);
    o = out + QStringLiteral("s16.wav"), sc = script();
    row("WAV 16-bit", ffmpegLine(QStringLiteral("pcm_s16le"), vol, QStringLiteral("2"), QStringLiteral("1411"),
                                 QStringLiteral("wav"), sc, o),
        m_mp3, sc, "32000", "WAV", false, false, o, "pcm_s16le", "wav", 2, 32000, 1024);
    o = out + QStringLiteral("u8.wav"), sc = script();
    row("WAV 8-bit", ffmpegLine(QStringLiteral("pcm_u8"), vol, QStringLiteral("1"), QStringLiteral("705"),
                                QStringLiteral("wav"), sc, o),
        m_stereo, sc, "11025", "WAV", false, false, o, "pcm_u8", "wav", 1, 11025, 88.2);
    o = out + QStringLiteral("fm-mono.wma");
    row("WMA a20_1", wmaLine(folder, QStringLiteral("a20_1"), noTags, m_mp3, o), m_mp3, QString(), "", "WMA", false,
        false, o, "wmav2", "asf", 1, 22050, 24);
    o = out + QStringLiteral("near-cd.wma");
    row("WMA a48", wmaLine(folder, QStringLiteral("a48"), noTags, m_mono, o), m_mono, QString(), "", "WMA", false,
        false, o, "wmav2", "asf", 2, 32000, 48);
    o = out + QStringLiteral("cd-high.wma");
    row("WMA a128", wmaLine(folder, QStringLiteral("a128"), noTags, m_oddName, o), m_oddName, QString(), "", "WMA",
        false, false, o, "wmav2", "asf", 2, 44100, 128);
    o = out + QStringLiteral("normalised.wma"), sc = script();
    row("WMA a96, normalised", wmaLine(folder, QStringLiteral("a96"), noTags, sc, o), m_ac3, sc, "44100", "WMA",
        true, false, o, "wmav2", "asf", 2, 44100, 96);
    o = out + QStringLiteral("stereo.ac3"), sc = script();
    row("AC3 stereo", quencLine(QStringLiteral("/opt/QuEnc/QuEnc.exe"), QStringLiteral("192"), sc, o), m_stereo, sc,
        "44100", "AC3", false, false, o, "ac3", "ac3", 2, 44100, 192);
    o = out + QStringLiteral("half-rate.ac3"), sc = script();
    row("AC3 from 24000 Hz", quencLine(QStringLiteral("/opt/QuEnc/QuEnc.exe"), QStringLiteral("128"), sc, o), m_mp3,
        sc, "24000", "AC3", false, false, o, "ac3", "ac3", 2, 48000, 128);
    o = out + QStringLiteral("five-one.ac3"), sc = script();
    row("AC3 from a 5.1 source", quencLine(QString(), QStringLiteral("448"), sc, o), m_surround, sc, "48000", "AC3",
        false, false, o, "ac3", "ac3", 6, 48000, 448);
    o = out + QStringLiteral("up-mixed.ac3"), sc = script();
    row("AC3 up-mixed", quencLine(QStringLiteral("/opt/QuEnc/QuEnc.exe"), QStringLiteral("384"), sc, o), m_stereo,
        sc, "48000", "AC3", false, true, o, "ac3", "ac3", 6, 48000, 384);
}

void TestRunFormats::formats()
{
    QFETCH(CommandLine, line);
    QFETCH(QString, source);
    QFETCH(QString, script);
    QFETCH(QString, samFreq);
    QFETCH(QString, format);
    QFETCH(bool, normalize);
    QFETCH(bool, upmix);
    QFETCH(QString, output);
    QFETCH(QString, codec);
    QFETCH(QString, container);
    QFETCH(int, channels);
    QFETCH(int, rate);
    QFETCH(double, kbps);

    if (!script.isEmpty())
        QVERIFY(writeScriptFor(script, source, samFreq, format, normalize, upmix));
    const Ran r = runRouted(line);
    QVERIFY2(r.exitCode == 0, qPrintable(line.text + QLatin1Char('\n') + r.out + r.err));
    QVERIFY2(r.err.isEmpty(), qPrintable(r.err));
    QVERIFY(!QFileInfo::exists(output + QStringLiteral(".part")));
    const Probe p = probe(output);
    QCOMPARE(p.codec, codec);
    QVERIFY2(p.format.split(QLatin1Char(',')).contains(container), qPrintable(p.format));
    QCOMPARE(p.channels, channels);
    QCOMPARE(p.sampleRate, rate);
    QVERIFY2(qAbs(p.kbps - kbps) <= 0.1 * kbps, qPrintable(QStringLiteral("%1 kbit/s").arg(p.kbps)));
    if (container == QLatin1String("aac")) {
        // The ADTS header's ID bit says MPEG-2.
        QFile f(output);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray head = f.read(2);
        QCOMPARE(quint8(head[0]), quint8(0xFF));
        QVERIFY(quint8(head[1]) & 0x08);
    }
}

void TestRunFormats::amrTakesTheNearestLegalMode()
{
    // Frame type of the first frame after the "#!AMR\n" or "#!AMR-WB\n" magic.
    auto firstMode = [](const QString &file) {
        QFile f(file);
        if (!f.open(QIODevice::ReadOnly))
            return -1;
        const QByteArray data = f.readAll();
        const qsizetype start = data.startsWith("#!AMR-WB\n") ? 9 : data.startsWith("#!AMR\n") ? 6 : -1;
        return start < 0 || data.size() <= start ? -1 : (quint8(data[start]) >> 3) & 0x0F;
    };
    // combo value -> frame type: NB 8 -> 7.95 (5), 11 -> 10.2 (6), 13 -> 12.2 (7);
    // WB 7 -> 6.6 (0), 9 -> 8.85 (1), 16 -> 15.85 (4), 20 -> 19.85 (6), 24 -> 23.85 (8).
    const QList<std::tuple<bool, const char *, int>> cases = {
        {false, "8", 5}, {false, "11", 6}, {false, "13", 7}, {true, "7", 0},
        {true, "9", 1},  {true, "16", 4},  {true, "20", 6},  {true, "24", 8},
    };
    for (const auto &[wide, br, mode] : cases) {
        const QString out = path(QStringLiteral("mode-%1-%2.amr").arg(wide ? "wb" : "nb", br));
        const Ran r = runRouted(amrLine(wide, QString::fromLatin1(br), m_mono, out));
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY2(firstMode(out) == mode, qPrintable(QStringLiteral("%1 kbit/s gave mode %2").arg(br).arg(firstMode(out))));
    }
}

void TestRunFormats::volumeScalesTheLevel()
{
    const QString full = path(QStringLiteral("vol-full.wav"));
    const QString half = path(QStringLiteral("vol-half.wav"));
    const QString third = path(QStringLiteral("vol-third.wav"));
    const QString two = QStringLiteral("2");
    auto wavLine = [&](const QString &vol, const QString &in, const QString &out) {
        return ffmpegLine(QStringLiteral("pcm_s16le"), vol, two, QStringLiteral("1411"), QStringLiteral("wav"), in, out);
    };
    QCOMPARE(runRouted(wavLine(QStringLiteral("256"), m_stereo, full)).exitCode, 0);
    QCOMPARE(runRouted(wavLine(QStringLiteral("128"), m_stereo, half)).exitCode, 0);
    // A volume with the decimal comma of the user's locale (33 % of 256).
    QCOMPARE(runRouted(wavLine(QStringLiteral("84,48"), m_stereo, third)).exitCode, 0);
    const double reference = peakLevel(full);
    QVERIFY(reference > 0.2);
    QVERIFY(qAbs(peakLevel(m_stereo) - reference) < 0.01);
    QVERIFY2(qAbs(peakLevel(half) / reference - 0.5) < 0.01, qPrintable(QString::number(peakLevel(half))));
    QVERIFY2(qAbs(peakLevel(third) / reference - 0.33) < 0.01, qPrintable(QString::number(peakLevel(third))));

    // Normalising lifts a quiet source to full scale before the volume applies.
    const QString quiet = make(QStringLiteral("quiet.wav"), {QStringLiteral("-r"), QStringLiteral("44100"),
                                                             QStringLiteral("-c"), QStringLiteral("2")},
                               {QStringLiteral("synth"), QStringLiteral("8"), QStringLiteral("sine"),
                                QStringLiteral("440"), QStringLiteral("vol"), QStringLiteral("0.2")});
    QVERIFY(peakLevel(quiet) < 0.25);
    QDir().mkpath(path(QStringLiteral("normalise")));
    const QString script = path(QStringLiteral("normalise/DirectQX.avs"));
    QVERIFY(writeScriptFor(script, quiet, QStringLiteral("44100"), QStringLiteral("WAV"), true, false));
    const QString normalised = path(QStringLiteral("normalise/full.wav"));
    const QString normalisedHalf = path(QStringLiteral("normalise/half.wav"));
    QCOMPARE(runRouted(wavLine(QStringLiteral("256"), script, normalised)).exitCode, 0);
    QCOMPARE(runRouted(wavLine(QStringLiteral("128"), script, normalisedHalf)).exitCode, 0);
    QVERIFY2(peakLevel(normalised) > 0.98, qPrintable(QString::number(peakLevel(normalised))));
    QVERIFY2(qAbs(peakLevel(normalisedHalf) - 0.5) < 0.01, qPrintable(QString::number(peakLevel(normalisedHalf))));
}

void TestRunFormats::wmaCarriesEveryTag()
{
    const Tags tags = {QStringLiteral("Ünïcode \"quoted\" title; $(x)"), QStringLiteral("The Artist"),
                       QStringLiteral("An Album"), QStringLiteral("1999"), QStringLiteral("some notes"),
                       QStringLiteral("Jazz"), QStringLiteral("7")};
    const QString out = path(QStringLiteral("tagged.wma"));
    const Ran r = runRouted(wmaLine(test::builtAppDir(), QStringLiteral("a64"), tags, m_stereo, out));
    QVERIFY2(r.exitCode == 0, qPrintable(r.err));
    QVERIFY(r.out.contains(QStringLiteral("Encoding WMA: 100%")));
    const Ran read = runProgram(
        QStringLiteral("/usr/bin/python3"),
        {QStringLiteral("-c"),
         QStringLiteral("import sys, mutagen.asf\n"
                        "f = mutagen.asf.ASF(sys.argv[1])\n"
                        "for k in ['Title','Author','WM/AlbumTitle','WM/Year','Description','WM/Genre',"
                        "'WM/TrackNumber']:\n"
                        "    print(k + '=' + str(f[k][0]))\n"),
         out});
    QVERIFY2(read.exitCode == 0, qPrintable(read.err));
    const QStringList lines = read.out.trimmed().split(QLatin1Char('\n'));
    QCOMPARE(lines, (QStringList{QStringLiteral("Title=") + tags.title, QStringLiteral("Author=") + tags.artist,
                                 QStringLiteral("WM/AlbumTitle=") + tags.album, QStringLiteral("WM/Year=") + tags.year,
                                 QStringLiteral("Description=") + tags.notes, QStringLiteral("WM/Genre=") + tags.genre,
                                 QStringLiteral("WM/TrackNumber=") + tags.track}));
}

void TestRunFormats::ac3PlacesFiveOneChannels()
{
    // ffmpeg's order, in which the levels are read: FL FR FC LFE SL SR.
    const QString tone = QStringLiteral("sine=frequency=1000:duration=8:sample_rate=48000");

    // Up-mixing a tone that is only on the left: left as it was, right
    // silent, centre at half (-6 dB), almost nothing in the low-frequency
    // channel, both surrounds at 0.668 (-3.5 dB).
    const QString left = make(QStringLiteral("left.wav"), {QStringLiteral("-f"), QStringLiteral("lavfi"),
                                                           QStringLiteral("-i"), tone, QStringLiteral("-af"),
                                                           QStringLiteral("pan=stereo|FL=c0")});
    QDir().mkpath(path(QStringLiteral("upmix")));
    const QString upmixScript = path(QStringLiteral("upmix/DirectQX.avs"));
    QVERIFY(writeScriptFor(upmixScript, left, QStringLiteral("48000"), QStringLiteral("AC3"), false, true));
    const QString upmixed = path(QStringLiteral("upmix/left.ac3"));
    QCOMPARE(runRouted(quencLine(QStringLiteral("/opt/QuEnc/QuEnc.exe"), QStringLiteral("448"), upmixScript, upmixed))
                 .exitCode,
             0);
    const QList<double> up = channelLevels(upmixed);
    QCOMPARE(up.size(), 6);
    const double fl = up[0];
    QVERIFY2(fl > -30, qPrintable(QString::number(fl)));
    QVERIFY2(up[1] < fl - 60, qPrintable(QStringLiteral("FR %1").arg(up[1])));
    QVERIFY2(qAbs(up[2] - (fl - 6.0)) < 1.0, qPrintable(QStringLiteral("FC %1").arg(up[2])));
    QVERIFY2(up[3] < fl - 40, qPrintable(QStringLiteral("LFE %1").arg(up[3])));
    QVERIFY2(qAbs(up[4] - (fl - 3.5)) < 1.0, qPrintable(QStringLiteral("SL %1").arg(up[4])));
    QVERIFY2(qAbs(up[5] - (fl - 3.5)) < 1.0, qPrintable(QStringLiteral("SR %1").arg(up[5])));

    // A 5.1 source without the up-mix keeps each channel in its place: a
    // tone only in the centre comes out only in the centre.
    const QString centre = make(QStringLiteral("centre.ac3"), {QStringLiteral("-f"), QStringLiteral("lavfi"),
                                                               QStringLiteral("-i"), tone, QStringLiteral("-af"),
                                                               QStringLiteral("pan=5.1(side)|FC=c0"),
                                                               QStringLiteral("-b:a"), QStringLiteral("384k")});
    QDir().mkpath(path(QStringLiteral("centre")));
    const QString centreScript = path(QStringLiteral("centre/DirectQX.avs"));
    QVERIFY(writeScriptFor(centreScript, centre, QStringLiteral("48000"), QStringLiteral("AC3"), false, false));
    const QString kept = path(QStringLiteral("centre/centre.ac3"));
    QCOMPARE(runRouted(quencLine(QStringLiteral("/opt/QuEnc/QuEnc.exe"), QStringLiteral("448"), centreScript, kept))
                 .exitCode,
             0);
    const QList<double> five = channelLevels(kept);
    QCOMPARE(five.size(), 6);
    QVERIFY2(five[2] > -30, qPrintable(QString::number(five[2])));
    for (int c : {0, 1, 3, 4, 5})
        QVERIFY2(five[c] < five[2] - 60, qPrintable(QStringLiteral("channel %1: %2").arg(c).arg(five[c])));
}

QTEST_GUILESS_MAIN(TestRunFormats)
#include "tst_run_formats.moc"
