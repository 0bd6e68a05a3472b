#include "convert/CommandLines.h"
#include "options/FormatOptions.h"
#include "options/MainFormState.h"
#include "options/OptionPanel.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "platform/ProcessRegistry.h"
#include "process/cStdIO.h"
#include "support/TestDialogs.h"
#include "support/TestPaths.h"

#include <QTest>

#include <functional>

using namespace tonmill;

namespace {

const QString kApp = QStringLiteral("/opt/tonmill");

EncoderInputs plainInputs()
{
    EncoderInputs in;
    in.ffmpegPath = QStringLiteral("/usr/bin/ffmpeg");
    in.quencPath = QStringLiteral("/opt/QuEnc/QuEnc.exe");
    in.input = QStringLiteral("/opt/tonmill/DirectQX.avs");
    in.output = QStringLiteral("/home/u/song_Konverted.out");
    in.volumePercent = 100;
    in.title = QStringLiteral("Title");
    in.artist = QStringLiteral("Artist");
    in.album = QStringLiteral("Album");
    in.year = QStringLiteral("2001");
    in.notes = QStringLiteral("Notes");
    in.genre = QStringLiteral("Rock");
    in.track = QStringLiteral("7");
    return in;
}

OptionState filledOptions(const QString &format)
{
    OptionState o;
    o.fillLists();
    o.txtFormat = format;
    return o;
}

// The words of a command text as a command interpreter splits
// them: blanks outside double quotes separate words, the quotes themselves
// are dropped. Independent of the builder under test.
QStringList wordsOf(const QString &text)
{
    QStringList words;
    QString word;
    bool inWord = false;
    bool inQuotes = false;
    for (const QChar c : text) {
        if (c == QLatin1Char('"')) {
            inQuotes = !inQuotes;
            inWord = true;
        } else if (c == QLatin1Char(' ') && !inQuotes) {
            if (inWord)
                words << word;
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord)
        words << word;
    return words;
}

QStringList executedWords(const CommandLine &line)
{
    return QStringList{line.program} + line.arguments;
}

// The value that follows an option word in the executed arguments.
QString after(const CommandLine &line, const QString &option, int occurrence = 0)
{
    qsizetype at = -1;
    for (int i = 0; i <= occurrence; ++i)
        at = line.arguments.indexOf(option, at + 1);
    return at >= 0 && at + 1 < line.arguments.size() ? line.arguments.at(at + 1) : QStringLiteral("<none>");
}

QString fromHex(const QString &hex)
{
    return QString::fromUtf8(QByteArray::fromHex(hex.toLatin1()));
}

} // namespace

class TestCommandLines : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void volumeArithmetic();
    void exactTexts_data();
    void exactTexts();
    void amrBitRateIsAWholeNumber();
    void everyCombinationBuilds();
    void hostileValuesStayOneArgument();
};

void TestCommandLines::volumeArithmetic()
{
    const QList<QPair<int, QString>> cases = {
        {100, QStringLiteral("256")}, {75, QStringLiteral("192")},   {50, QStringLiteral("128")},
        {33, QStringLiteral("84.48")}, {0, QStringLiteral("0")},     {1, QStringLiteral("2.56")},
        {7, QStringLiteral("17.92")}, {101, QStringLiteral("258.56")}, {150, QStringLiteral("384")},
        {199, QStringLiteral("509.44")}, {3, QStringLiteral("7.68")},
    };
    for (const auto &[percent, text] : cases)
        QCOMPARE(volumeText(percent), text);

    // The value lands after " -vol " with its decimals and nothing else.
    OptionState o = filledOptions(QStringLiteral("5"));
    EncoderInputs in = plainInputs();
    in.volumePercent = 33;
    const CommandLine line = encoderCommandLine(in, o, AppFolder(kApp));
    QVERIFY(line.text.contains(QStringLiteral(" -vol 84.48 -ac ")));
    QCOMPARE(after(line, QStringLiteral("-vol")), QStringLiteral("84.48"));
}

void TestCommandLines::exactTexts_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<std::function<void(OptionState &, EncoderInputs &)>>("setUp");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("imageName");

    using SetUp = std::function<void(OptionState &, EncoderInputs &)>;
    const QString ffmpegHead = QStringLiteral("\"/usr/bin/ffmpeg\" -y -i \"/opt/tonmill/DirectQX.avs\" -vn -acodec ");
    const QString out = QStringLiteral("\"/home/u/song_Konverted.out\"");

    QTest::newRow("AAC mp4 stereo 128") << "1" << SetUp([](OptionState &, EncoderInputs &) {})
        << ffmpegHead + "aac -vol 256 -ac 2 -ab 128 -f mp4 " + out << "ffmpeg";
    QTest::newRow("AAC mp2 mono 24 at 33%") << "1" << SetUp([](OptionState &o, EncoderInputs &in) {
        o.txtAACProfile = "1";
        o.txtChannelsAAC = "1";
        o.Combo8.select("24");
        in.volumePercent = 33;
    }) << ffmpegHead + "aac -vol 84.48 -ac 1 -ab 24 -f mp2 " + out << "ffmpeg";
    QTest::newRow("AAC without container") << "1" << SetUp([](OptionState &o, EncoderInputs &) {
        o.txtAACProfile = "2";
        o.Combo8.select("256");
    }) << ffmpegHead + "aac -vol 256 -ac 2 -ab 256 -f  " + out << "ffmpeg";

    QTest::newRow("AC3 384") << "2" << SetUp([](OptionState &o, EncoderInputs &in) {
        // Volume and channels are not part of the QuEnc line.
        in.volumePercent = 10;
        o.txtChannelsAC3 = "6";
    }) << "\"/opt/QuEnc/QuEnc.exe\" -i \"/opt/tonmill/DirectQX.avs\" -o " + out
            + " -mpeg2mux novideo -audiocodec ac3 -audiobitrate 384 -auto -close"
        << "QuEnc.exe";
    QTest::newRow("AC3 48") << "2" << SetUp([](OptionState &o, EncoderInputs &) { o.Combo1.select("48"); })
        << "\"/opt/QuEnc/QuEnc.exe\" -i \"/opt/tonmill/DirectQX.avs\" -o " + out
            + " -mpeg2mux novideo -audiocodec ac3 -audiobitrate 48 -auto -close"
        << "QuEnc.exe";

    QTest::newRow("AMR narrow 8") << "3" << SetUp([](OptionState &o, EncoderInputs &) { o.Combo2.select("8"); })
        << ffmpegHead + "amr_nb -vol 256 -ac 1 -ar 8000 -ab 8 -f amr " + out << "ffmpeg";
    QTest::newRow("AMR wide 24 at 75%") << "3" << SetUp([](OptionState &o, EncoderInputs &in) {
        o.amrType = "1";
        o.Combo2.clear();
        o.Combo2.fill(kAMRWideBitRates);
        o.Combo2.select("24");
        in.volumePercent = 75;
        // AMR is always mono, whatever another format's channel field holds.
        o.txtChannelsMP3 = "2";
    }) << ffmpegHead + "amr_wb -vol 192 -ac 1 -ar 16000 -ab 24 -f amr " + out << "ffmpeg";

    QTest::newRow("MP2 header mp2") << "4" << SetUp([](OptionState &, EncoderInputs &) {})
        << ffmpegHead + "mp2 -vol 256 -ac 2 -ab 192 -f mp2 " + out << "ffmpeg";
    QTest::newRow("MP2 header avi mono 384") << "4" << SetUp([](OptionState &o, EncoderInputs &) {
        o.txtMP2Header = "1";
        o.txtChannelsMP2 = "1";
        o.Combo6.select("384");
    }) << ffmpegHead + "mp2 -vol 256 -ac 1 -ab 384 -f avi " + out << "ffmpeg";
    QTest::newRow("MP2 header mpeg at 0%") << "4" << SetUp([](OptionState &o, EncoderInputs &in) {
        o.txtMP2Header = "2";
        in.volumePercent = 0;
    }) << ffmpegHead + "mp2 -vol 0 -ac 2 -ab 192 -f mpeg " + out << "ffmpeg";

    QTest::newRow("MP3 stereo 128") << "5" << SetUp([](OptionState &, EncoderInputs &) {})
        << ffmpegHead + "mp3 -vol 256 -ac 2 -ab 128 -f mp3 " + out << "ffmpeg";
    QTest::newRow("MP3 mono 32 from segment") << "5" << SetUp([](OptionState &o, EncoderInputs &in) {
        o.txtChannelsMP3 = "1";
        o.Combo5.select("32");
        in.input = "/opt/tonmill/segment.avs";
        // Other formats' fields never leak into the MP3 line.
        o.txtChannelsAAC = "1";
        o.Combo6.select("384");
    }) << "\"/usr/bin/ffmpeg\" -y -i \"/opt/tonmill/segment.avs\" -vn -acodec mp3 -vol 256 -ac 1 -ab 32 -f mp3 " + out
        << "ffmpeg";

    QTest::newRow("WAV pcm_s16le") << "6" << SetUp([](OptionState &, EncoderInputs &) {})
        << ffmpegHead + "pcm_s16le -vol 256 -ac 2 -ab 1411 -f wav " + out << "ffmpeg";
    QTest::newRow("WAV pcm_u8 mono") << "6" << SetUp([](OptionState &o, EncoderInputs &) {
        o.wavPCM = "1";
        o.txtChannelsWAV = "1";
    }) << ffmpegHead + "pcm_u8 -vol 256 -ac 1 -ab 705 -f wav " + out << "ffmpeg";

    QTest::newRow("WMA a64 with tags") << "7" << SetUp([](OptionState &, EncoderInputs &in) {
        in.input = "/music/song.wma";
    }) << "Cscript.exe \"/opt/tonmill/Tools/WMCmd.vbs\" -input \"/music/song.wma\" -profile a64"
            " -title \"Title\" -title \"Title\" -author \"Artist\" -album \"Album\" -year \"2001\""
            " -description \"Notes\" -genre \"Rock\" -trackno \"7\" -output " + out
        << "Cscript.exe";
    QTest::newRow("WMA a20_1 empty tags") << "7" << SetUp([](OptionState &o, EncoderInputs &in) {
        o.txtWMAProfile = "a20_1";
        in.title = in.artist = in.album = in.year = in.notes = in.genre = in.track = QString();
    }) << "Cscript.exe \"/opt/tonmill/Tools/WMCmd.vbs\" -input \"/opt/tonmill/DirectQX.avs\" -profile a20_1"
            " -title \"\" -title \"\" -author \"\" -album \"\" -year \"\" -description \"\" -genre \"\""
            " -trackno \"\" -output " + out
        << "Cscript.exe";
}

void TestCommandLines::exactTexts()
{
    QFETCH(QString, format);
    QFETCH(std::function<void(OptionState &, EncoderInputs &)>, setUp);
    QFETCH(QString, text);
    QFETCH(QString, imageName);

    OptionState o = filledOptions(format);
    EncoderInputs in = plainInputs();
    setUp(o, in);
    const CommandLine line = encoderCommandLine(in, o, AppFolder(kApp));
    QCOMPARE(line.text, text);
    QCOMPARE(executedWords(line), wordsOf(text));
    QCOMPARE(line.imageName, imageName);
}

void TestCommandLines::amrBitRateIsAWholeNumber()
{
    OptionState o = filledOptions(QStringLiteral("3"));
    const AppFolder folder(kApp);
    const QList<QPair<QString, QString>> converted = {
        {QStringLiteral("13"), QStringLiteral("13")},   {QStringLiteral(" 13 "), QStringLiteral("13")},
        {QStringLiteral("013"), QStringLiteral("13")},  {QStringLiteral("12.5"), QStringLiteral("12")},
        {QStringLiteral("13.5"), QStringLiteral("14")}, {QStringLiteral("7.6"), QStringLiteral("8")},
    };
    for (const auto &[combo, bitRate] : converted) {
        o.Combo2.text = combo;
        const CommandLine line = encoderCommandLine(plainInputs(), o, folder);
        QVERIFY2(line.text.contains(QStringLiteral(" -ac 1 -ar 8000 -ab ") + bitRate + QStringLiteral(" -f amr ")),
                 qPrintable(line.text));
        QCOMPARE(after(line, QStringLiteral("-ab")), bitRate);
    }
    // Not a 16-bit whole number: no line at all, which the job reports as a
    // failed launch.
    for (const QString &bad : {QStringLiteral(""), QStringLiteral("abc"), QStringLiteral("40000"),
                               QStringLiteral("13k"), QStringLiteral("inf")}) {
        o.Combo2.text = bad;
        QVERIFY2(encoderCommandLine(plainInputs(), o, folder).isEmpty(), qPrintable(bad));
    }
    // A format index that names no format builds nothing either.
    for (const QString &format : {QStringLiteral(""), QStringLiteral("0"), QStringLiteral("13"), QStringLiteral("MP3")}) {
        o.txtFormat = format;
        QVERIFY(encoderCommandLine(plainInputs(), o, folder).isEmpty());
    }
}

void TestCommandLines::everyCombinationBuilds()
{
    // Every choice the option panel can make, reached through its own
    // handlers, for every format and a spread of volumes.
    const AppFolder folder(kApp);
    test::TestDialogs dialogs;
    int built = 0;
    const QList<int> volumes = {0, 33, 100, 137, 200};

    const auto check = [&](const OptionState &o, const std::function<void(const CommandLine &)> &fields) {
        for (int volume : volumes) {
            EncoderInputs in = plainInputs();
            in.volumePercent = volume;
            const CommandLine line = encoderCommandLine(in, o, folder);
            QVERIFY2(!line.isEmpty(), qPrintable(o.txtFormat));
            QCOMPARE(executedWords(line), wordsOf(line.text));
            if (o.txtFormat != QLatin1String("2") && o.txtFormat != QLatin1String("7")) {
                QCOMPARE(line.program, QStringLiteral("/usr/bin/ffmpeg"));
                QCOMPARE(line.arguments.mid(0, 4), (QStringList{"-y", "-i", in.input, "-vn"}));
                QCOMPARE(after(line, QStringLiteral("-vol")), volumeText(volume));
                QCOMPARE(line.arguments.last(), in.output);
            }
            // The later formats carry the typed tags in ffmpeg's names.
            if (isLaterFormat(o.txtFormat)) {
                for (int i = 0; i < 7; ++i)
                    QCOMPARE(after(line, QStringLiteral("-metadata"), i),
                             QStringList({"title=Title", "artist=Artist", "album=Album", "date=2001", "comment=Notes",
                                          "genre=Rock", "track=7"})[i]);
            }
            fields(line);
            ++built;
        }
    };

    for (const QString &format : kFormatList.split(QLatin1Char('|'))) {
        OptionState o;
        o.fillLists();
        MainFormState form;
        form.fillFormatList();
        OptionPanel panel(o, form, dialogs, folder);
        QVERIFY(form.cmbFormat.select(format));
        panel.cmbFormat_Click();

        if (format == QLatin1String("AAC")) {
            for (int rate = 0; rate < 8; ++rate)
                for (int ch = 0; ch < 2; ++ch)
                    for (int profile = 0; profile < 2; ++profile)
                        for (const QString &br : o.Combo8.items) {
                            QVERIFY(panel.optSamFreqAAC_Click(rate) && panel.optChannelsAAC_Click(ch)
                                    && panel.optProfileAAC_Click(profile) && o.Combo8.select(br));
                            check(o, [&](const CommandLine &l) {
                                QCOMPARE(after(l, "-acodec"), QStringLiteral("aac"));
                                QCOMPARE(after(l, "-ac"), QString::number(ch + 1));
                                QCOMPARE(after(l, "-ab"), br);
                                QCOMPARE(after(l, "-f"), profile == 0 ? QStringLiteral("mp4") : QStringLiteral("mp2"));
                            });
                        }
        } else if (format == QLatin1String("AC3")) {
            for (int rate = 0; rate < 4; ++rate)
                for (int ch = 0; ch < 3; ++ch)
                    for (const QString &br : o.Combo1.items) {
                        QVERIFY(panel.optSamFreqAC3_Click(rate) && panel.optChannelsAC3_Click(ch) && o.Combo1.select(br));
                        check(o, [&](const CommandLine &l) {
                            QCOMPARE(l.program, QStringLiteral("/opt/QuEnc/QuEnc.exe"));
                            QCOMPARE(after(l, "-audiobitrate"), br);
                            QCOMPARE(l.arguments.mid(l.arguments.size() - 2), (QStringList{"-auto", "-close"}));
                        });
                    }
        } else if (format == QLatin1String("AMR")) {
            for (int type = 0; type < 2; ++type) {
                QVERIFY(panel.optAMRType_Click(type));
                for (const QString &br : o.Combo2.items) {
                    QVERIFY(o.Combo2.select(br));
                    check(o, [&](const CommandLine &l) {
                        QCOMPARE(after(l, "-acodec"), type == 0 ? QStringLiteral("amr_nb") : QStringLiteral("amr_wb"));
                        QCOMPARE(after(l, "-ar"), type == 0 ? QStringLiteral("8000") : QStringLiteral("16000"));
                        QCOMPARE(after(l, "-ac"), QStringLiteral("1"));
                        QCOMPARE(after(l, "-ab"), br);
                        QCOMPARE(after(l, "-f"), QStringLiteral("amr"));
                    });
                }
            }
        } else if (format == QLatin1String("MP2/MPA")) {
            const QStringList headers = {"mp2", "avi", "mpeg"};
            for (int rate = 0; rate < 4; ++rate)
                for (int ch = 0; ch < 2; ++ch)
                    for (int header = 0; header < 3; ++header)
                        for (const QString &br : o.Combo6.items) {
                            QVERIFY(panel.optSamFreqMP2_Click(rate) && panel.optChannelsMP2_Click(ch)
                                    && panel.optMP2Header_Click(header) && o.Combo6.select(br));
                            check(o, [&](const CommandLine &l) {
                                QCOMPARE(after(l, "-acodec"), QStringLiteral("mp2"));
                                QCOMPARE(after(l, "-ac"), QString::number(ch + 1));
                                QCOMPARE(after(l, "-ab"), br);
                                QCOMPARE(after(l, "-f"), headers[header]);
                            });
                        }
        } else if (format == QLatin1String("MP3")) {
            for (int rate = 0; rate < 4; ++rate)
                for (int ch = 0; ch < 2; ++ch)
                    for (const QString &br : o.Combo5.items) {
                        QVERIFY(panel.optSamFreq_Click(rate) && panel.optChannels_Click(ch) && o.Combo5.select(br));
                        check(o, [&](const CommandLine &l) {
                            QCOMPARE(after(l, "-acodec"), QStringLiteral("mp3"));
                            QCOMPARE(after(l, "-ac"), QString::number(ch + 1));
                            QCOMPARE(after(l, "-ab"), br);
                            QCOMPARE(after(l, "-f"), QStringLiteral("mp3"));
                        });
                    }
        } else if (format == QLatin1String("WAV")) {
            for (int rate = 0; rate < 8; ++rate)
                for (int ch = 0; ch < 2; ++ch)
                    for (int pcm = 0; pcm < 2; ++pcm) {
                        QVERIFY(panel.optSamFreqWAV_Click(rate) && panel.optChannelsWAV_Click(ch) && panel.optPCM_Click(pcm));
                        check(o, [&](const CommandLine &l) {
                            QCOMPARE(after(l, "-acodec"), pcm == 0 ? QStringLiteral("pcm_s16le") : QStringLiteral("pcm_u8"));
                            QCOMPARE(after(l, "-ab"), pcm == 0 ? QStringLiteral("1411") : QStringLiteral("705"));
                            QCOMPARE(after(l, "-ac"), QString::number(ch + 1));
                            QCOMPARE(after(l, "-f"), QStringLiteral("wav"));
                        });
                    }
        } else if (format == QLatin1String("FLAC") || format == QLatin1String("ALAC")) {
            // The rate is the script's; the depth is the sample format's.
            const bool flac = format == QLatin1String("FLAC");
            const QStringList levels = flac ? o.cmbFLACLevel.items : QStringList{QString()};
            for (int rate = 0; rate < 5; ++rate)
                for (int bits = 0; bits < 2; ++bits)
                    for (const QString &level : levels) {
                        QVERIFY(flac ? panel.optSamFreqFLAC_Click(rate) && panel.optFLACBits_Click(bits)
                                           && o.cmbFLACLevel.select(level)
                                     : panel.optSamFreqALAC_Click(rate) && panel.optALACBits_Click(bits));
                        QCOMPARE(o.SamFreq, losslessRate(rate).value_or(QStringLiteral("?")));
                        check(o, [&](const CommandLine &l) {
                            QCOMPARE(after(l, "-acodec"), flac ? QStringLiteral("flac") : QStringLiteral("alac"));
                            QCOMPARE(after(l, "-sample_fmt"), QLatin1String(bits ? "s32" : "s16") + QLatin1String(flac ? "" : "p"));
                            QCOMPARE(after(l, "-compression_level"), flac ? level : QStringLiteral("<none>"));
                            QCOMPARE(after(l, "-f"), flac ? QStringLiteral("flac") : QStringLiteral("ipod"));
                            QVERIFY(!l.arguments.contains(QStringLiteral("-ac")) && !l.arguments.contains(QStringLiteral("-ar")));
                        });
                    }
        } else if (format == QLatin1String("OPUS")) {
            const QStringList applications = {"audio", "voip", "lowdelay"};
            for (int mode = 0; mode < 2; ++mode)
                for (int app = 0; app < 3; ++app)
                    for (const QString &br : o.cmbOpusBitRate.items) {
                        QVERIFY(panel.optOpusMode_Click(mode) && panel.optOpusApp_Click(app) && o.cmbOpusBitRate.select(br));
                        check(o, [&](const CommandLine &l) {
                            QCOMPARE(after(l, "-acodec"), QStringLiteral("opus"));
                            QCOMPARE(after(l, "-ab"), br);
                            QCOMPARE(after(l, "-vbr"), mode == 0 ? QStringLiteral("on") : QStringLiteral("off"));
                            QCOMPARE(after(l, "-application"), applications[app]);
                            QCOMPARE(after(l, "-f"), QStringLiteral("opus"));
                        });
                    }
        } else if (format == QLatin1String("OGG")) {
            for (const QString &quality : o.cmbOggQuality.items) {
                QVERIFY(o.cmbOggQuality.select(quality));
                check(o, [&](const CommandLine &l) {
                    QCOMPARE(after(l, "-acodec"), QStringLiteral("vorbis"));
                    QCOMPARE(after(l, "-aq"), quality);
                    QCOMPARE(after(l, "-f"), QStringLiteral("ogg"));
                });
            }
        } else if (format == QLatin1String("M4A")) {
            for (int mode = 0; mode < 2; ++mode)
                for (const QString &value : mode == 0 ? o.cmbM4ABitRate.items : o.cmbM4AQuality.items) {
                    QVERIFY(panel.optM4AMode_Click(mode)
                            && (mode == 0 ? o.cmbM4ABitRate.select(value) : o.cmbM4AQuality.select(value)));
                    check(o, [&](const CommandLine &l) {
                        QCOMPARE(after(l, "-acodec"), QStringLiteral("aac"));
                        QCOMPARE(after(l, mode == 0 ? "-ab" : "-aq"), value);
                        QVERIFY(!l.arguments.contains(QLatin1String(mode == 0 ? "-aq" : "-ab")));
                        QCOMPARE(after(l, "-f"), QStringLiteral("ipod"));
                    });
                }
        } else {
            QCOMPARE(format, QStringLiteral("WMA"));
            for (const QString &profile : o.cmbWMAProfile.items) {
                QVERIFY(o.cmbWMAProfile.select(profile));
                panel.cmbWMAProfile_Click();
                check(o, [&](const CommandLine &l) {
                    QCOMPARE(l.program, QStringLiteral("Cscript.exe"));
                    QCOMPARE(l.arguments.first(), QStringLiteral("/opt/tonmill/Tools/WMCmd.vbs"));
                    QCOMPARE(after(l, "-profile"), wmaProfileKey(profile));
                    QCOMPARE(after(l, "-title", 0), QStringLiteral("Title"));
                    QCOMPARE(after(l, "-title", 1), QStringLiteral("Title"));
                    QCOMPARE(l.text.count(QStringLiteral(" -title ")), 2);
                });
            }
        }
    }
    // 384 AAC + 156 AC3 + 10 AMR + 312 MP2 + 64 MP3 + 32 WAV + 7 WMA choices,
    // then 90 FLAC + 102 Opus + 12 Ogg + 16 M4A + 10 ALAC.
    QCOMPARE(built, (384 + 156 + 10 + 312 + 64 + 32 + 7 + 90 + 102 + 12 + 16 + 10) * int(volumes.size()));
}

void TestCommandLines::hostileValuesStayOneArgument()
{
    const QStringList hostile = {
        QStringLiteral("/tmp/a \"quoted\" name.avs"),
        QStringLiteral("/tmp/$(touch /tmp/tonmill-pwned); rm -rf x.wav"),
        QStringLiteral("/tmp/`id`;echo \"x\" > y.mp3"),
        QStringLiteral("/tmp/Mötley Crüe – Ωμέγα 歌.mp3"),
        QStringLiteral("-i"),
        QStringLiteral("  leading and trailing  "),
    };
    const AppFolder folder(QStringLiteral("/opt/my app/ünï \"q\""));
    ProcessRegistry registry;
    cStdIO runner(registry);

    for (const QString &value : hostile) {
        for (const QString format : {"1", "2", "3", "4", "5", "6", "7"}) {
            OptionState o = filledOptions(format);
            const CommandLine plain = encoderCommandLine(plainInputs(), o, folder);
            EncoderInputs in = plainInputs();
            in.ffmpegPath = in.quencPath = in.input = in.output = value;
            in.title = in.artist = in.album = in.year = in.notes = in.genre = in.track = value;
            const CommandLine line = encoderCommandLine(in, o, folder);

            // Same number of words as the plain line; every place that held a
            // path or tag now holds the whole value, and nothing else changed.
            QCOMPARE(line.arguments.size(), plain.arguments.size());
            const QStringList plainWords = executedWords(plain);
            const QStringList words = executedWords(line);
            const QStringList replaced = {plainInputs().ffmpegPath, plainInputs().quencPath, plainInputs().input,
                                          plainInputs().output, "Title", "Artist", "Album", "2001", "Notes",
                                          "Rock", "7"};
            int values = 0;
            for (qsizetype i = 0; i < words.size(); ++i) {
                if (replaced.contains(plainWords[i])) {
                    QCOMPARE(words[i], value);
                    ++values;
                } else {
                    QCOMPARE(words[i], plainWords[i]);
                }
            }
            QCOMPARE(values, format == QLatin1String("7") ? 10 : 3);
            // The text keeps the value between quotes as it stands.
            QVERIFY(line.text.contains(QLatin1Char('"') + value + QLatin1Char('"')));

            // Executed for real, the arguments arrive byte for byte.
            CommandLine echo = line;
            echo.program = test::testProgram(QStringLiteral("tonmill-test-child"));
            echo.arguments.prepend(QStringLiteral("args"));
            const QStringList output = runner.ExecuteCommand(echo).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
            QCOMPARE(output.value(0), QStringLiteral("ARGC %1").arg(line.arguments.size()));
            for (qsizetype i = 0; i < line.arguments.size(); ++i)
                QCOMPARE(fromHex(output.value(i + 1).mid(4)), line.arguments[i]);
        }
    }
    QVERIFY(!QFile::exists(QStringLiteral("/tmp/tonmill-pwned")));
    QVERIFY(registry.live().isEmpty());
}

QTEST_GUILESS_MAIN(TestCommandLines)
#include "tst_commandlines.moc"
