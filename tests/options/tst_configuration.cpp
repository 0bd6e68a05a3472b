#include "options/Configuration.h"
#include "convert/EqualizerChoice.h"
#include "options/MainFormState.h"
#include "options/OptionPanel.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "support/TestDialogs.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;

namespace {

// A main form with its lists filled, as start-up leaves it before the
// settings are restored.
struct Form {
    explicit Form(const QString &appDir)
        : folder(appDir)
        , panel(options, form, dialogs, folder)
    {
        options.fillLists();
        form.fillFormatList();
    }

    AppFolder folder;
    OptionState options;
    MainFormState form;
    test::TestDialogs dialogs;
    OptionPanel panel;
};

// "Key=Value" lines of one section of the settings file, in file order, read
// without the settings module.
QList<QPair<QString, QString>> sectionLines(const QString &file, const QString &section)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    QList<QPair<QString, QString>> lines;
    bool inside = false;
    for (const QByteArray &raw : f.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inside = line.compare(QLatin1Char('[') + section + QLatin1Char(']'), Qt::CaseInsensitive) == 0;
        } else if (inside && line.contains(QLatin1Char('='))) {
            lines.append({line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1)});
        }
    }
    return lines;
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(content);
}

// Every remembered choice, for comparing two forms.
QStringList choices(const Form &f)
{
    const OptionState &o = f.options;
    return {f.form.cmbFormat.text, f.form.visibleFrame, o.txtFormat, o.OutExtension,
            o.aacSamFreq, o.aacChannels, o.txtChannelsAAC, o.txtAACProfile, o.Combo8.text,
            o.ac3SamFreq, o.ac3Channels, o.txtChannelsAC3, o.Combo1.text,
            o.amrType, o.Combo2.text, o.Combo2.items.join(QLatin1Char('|')),
            o.MP2SamFreq, o.mp2Channels, o.txtChannelsMP2, o.txtMP2Header, o.Combo6.text,
            o.mp3SamFreq, o.mp3Channels, o.txtChannelsMP3, o.Combo5.text,
            o.wavSamFreq, o.wavChannels, o.txtChannelsWAV, o.wavPCM,
            o.flacSamFreq, o.flacBits, o.cmbFLACLevel.text, o.opusMode, o.opusApplication, o.cmbOpusBitRate.text,
            o.cmbOggQuality.text, o.m4aMode, o.cmbM4ABitRate.text, o.cmbM4AQuality.text, o.alacSamFreq, o.alacBits,
            f.form.equalizer.chkApply ? QStringLiteral("on") : QStringLiteral("off"),
            equalizerBandsText(f.form.equalizer.gainsDb())};
}

} // namespace

class TestConfiguration : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void saveThenLoadRestoresEveryChoice();
    void everyFormatComesBack();
    void valuesTheListsLackFallBack();
};

void TestConfiguration::saveThenLoadRestoresEveryChoice()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    Form saved(dir.path());
    OptionPanel &p = saved.panel;
    OptionState &o = saved.options;
    QVERIFY(p.optSamFreqFLAC_Click(2) && p.optFLACBits_Click(1) && o.cmbFLACLevel.select(QStringLiteral("8")));
    QVERIFY(p.optOpusMode_Click(1) && p.optOpusApp_Click(2) && o.cmbOpusBitRate.select(QStringLiteral("64")));
    QVERIFY(o.cmbOggQuality.select(QStringLiteral("-1")) && p.optM4AMode_Click(1));
    QVERIFY(o.cmbM4ABitRate.select(QStringLiteral("320")) && o.cmbM4AQuality.select(QStringLiteral("1.5")));
    QVERIFY(p.optSamFreqALAC_Click(4) && p.optALACBits_Click(1) && !p.optALACBits_Click(2) && !p.optSamFreqFLAC_Click(5));
    QVERIFY(saved.form.cmbFormat.select(QStringLiteral("AAC")));
    p.cmbFormat_Click();
    QVERIFY(p.optSamFreqAAC_Click(7) && p.optChannelsAAC_Click(0) && p.optProfileAAC_Click(1));
    QVERIFY(o.Combo8.select(QStringLiteral("256")));
    QVERIFY(p.optSamFreqWAV_Click(0) && p.optChannelsWAV_Click(0) && p.optPCM_Click(1));
    QVERIFY(p.optSamFreq_Click(0) && p.optChannels_Click(0));
    QVERIFY(o.Combo5.select(QStringLiteral("224")));
    QVERIFY(p.optSamFreqMP2_Click(1) && p.optChannelsMP2_Click(0) && p.optMP2Header_Click(2));
    QVERIFY(o.Combo6.select(QStringLiteral("320")));
    QVERIFY(p.optSamFreqAC3_Click(0) && p.optChannelsAC3_Click(2));
    QVERIFY(o.Combo1.select(QStringLiteral("448")));
    QVERIFY(p.optAMRType_Click(1));
    QVERIFY(o.Combo2.select(QStringLiteral("20")));
    saved.form.mnuLog = true;
    saved.form.mnuSaveLog = false;
    saved.form.equalizer.chkApply = true;
    saved.form.equalizer.setGainsDb({0, 0, -7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 12});
    saved.form.mnuTagEditor = false;

    SaveSettings(o, saved.form, saved.folder);

    // The keys in their order, Mode first; indexes for buttons, texts for lists.
    const QString file = dir.filePath(QStringLiteral("Tonmill.ini"));
    const QList<QPair<QString, QString>> expected = {
        {"Mode", "AAC"},        {"MP3SamFreq", "0"},  {"MP3Channels", "0"}, {"MP3BitRate", "224"},
        {"AmrType", "1"},       {"AmrBitRate", "20"}, {"AC3SamFreq", "0"},  {"AC3Channels", "2"},
        {"AC3BitRate", "448"},  {"MP2SamFreq", "1"},  {"MP2Channels", "0"}, {"MP2BitRate", "320"},
        {"MP2Header", "2"},     {"WAVSamFreq", "0"},  {"WAVChannels", "0"}, {"WAVCodec", "1"},
        {"AACSamFreq", "7"},    {"AACChannels", "0"}, {"AACBitRate", "256"}, {"AACProfile", "1"},
        {"FLACSamFreq", "2"},   {"FLACBits", "1"},    {"FLACLevel", "8"},   {"OpusMode", "1"},
        {"OpusApplication", "2"}, {"OpusBitRate", "64"}, {"OggQuality", "-1"}, {"M4AMode", "1"},
        {"M4ABitRate", "320"},  {"M4AQuality", "1.5"}, {"ALACSamFreq", "4"}, {"ALACBits", "1"},
        {"EqualizerApply", "1"}, {"EqualizerBands", "0,0,-7,0,0,0,0,0,0,0,0,0,0,0,0,0,0,12"},
    };
    QCOMPARE(sectionLines(file, QStringLiteral("Options")), expected);
    QCOMPARE(sectionLines(file, QStringLiteral("General")),
             (QList<QPair<QString, QString>>{{"LogOnOff", "True"}, {"SaveLog", "False"}, {"TagEditor", "False"}}));

    Form loaded(dir.path());
    QVERIFY(choices(loaded) != choices(saved));
    LoadSettings(loaded.options, loaded.form, loaded.panel, loaded.folder);
    QCOMPARE(choices(loaded), choices(saved));
    QVERIFY(loaded.form.chk51UpMix.enabled);
    // The panel is shown before the choices come back, so SamFreq is left by
    // the last rate button whose choice changed: AC3's, loaded last.
    QCOMPARE(loaded.options.SamFreq, QStringLiteral("22050"));
    QVERIFY(loaded.dialogs.messages().isEmpty());

    // Saving what was loaded writes the same file again (the menu switches
    // are start-up's to restore, not LoadSettings').
    loaded.form.mnuLog = true;
    loaded.form.mnuSaveLog = false;
    loaded.form.mnuTagEditor = false;
    const QByteArray first = [&] { QFile f(file); return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray(); }();
    SaveSettings(loaded.options, loaded.form, loaded.folder);
    QFile again(file);
    QVERIFY(again.open(QIODevice::ReadOnly));
    QCOMPARE(again.readAll(), first);
}

void TestConfiguration::everyFormatComesBack()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QStringList frames = {"frmAAC", "frmAC3", "frmAMR", "frmMP2", "frmMP3", "frmWAV", "frmWMA",
                                "frmFLAC", "frmOPUS", "frmOGG", "frmM4A", "frmALAC"};
    const QStringList extensions = {"aac", "ac3", "amr", "mp2", "mp3", "wav", "wma", "flac", "opus", "ogg", "m4a", "m4a"};
    // The later formats' rates: FLAC's 96000 button, Opus's own, the source's
    // for Ogg and M4A, ALAC's first button (the source's).
    const QStringList laterRates = {"96000", "48000", "", "", ""};
    for (int i = 0; i < 12; ++i) {
        Form saved(dir.path());
        const QString format = saved.form.cmbFormat.items[i];
        QVERIFY(saved.form.cmbFormat.select(format));
        QVERIFY(saved.panel.optSamFreqFLAC_Click(4));
        SaveSettings(saved.options, saved.form, saved.folder);

        Form loaded(dir.path());
        loaded.form.lblOutputPath = QStringLiteral("/out/take.mp3");
        LoadSettings(loaded.options, loaded.form, loaded.panel, loaded.folder);
        QCOMPARE(loaded.form.cmbFormat.text, format);
        QCOMPARE(loaded.form.visibleFrame, frames[i]);
        QCOMPARE(loaded.options.txtFormat, QString::number(i + 1));
        QCOMPARE(loaded.options.OutExtension, extensions[i]);
        QCOMPARE(loaded.form.lblOutputPath, QStringLiteral("/out/take.") + extensions[i]);
        // Stored choices equal to the panel's own raise no click, so SamFreq
        // is what showing the panel left: AC3 derives its 48000, the others
        // keep the initial 44100.
        // A later format derives its own; FLAC's stored button never leaks
        // into another format's rate.
        if (i >= 7)
            QCOMPARE(loaded.options.SamFreq, laterRates[i - 7]);
        else
            QCOMPARE(loaded.options.SamFreq, format == QLatin1String("AC3") ? QStringLiteral("48000") : QStringLiteral("44100"));
    }
}

void TestConfiguration::valuesTheListsLackFallBack()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString file = dir.filePath(QStringLiteral("Tonmill.ini"));

    // No settings file at all: MP3 and the panel's own choices.
    Form defaults(dir.path());
    const QStringList initial = choices(defaults);
    LoadSettings(defaults.options, defaults.form, defaults.panel, defaults.folder);
    QCOMPARE(defaults.form.cmbFormat.text, QStringLiteral("MP3"));
    QCOMPARE(choices(defaults), initial);

    // A format the list lacks, and values no list or button group holds; the
    // names are spelled in other case, as the program itself sometimes does.
    writeFile(file, "[options]\r\n"
                    "mode=APE\r\n"
                    "FLACSamFreq=5\r\n"
                    "OggQuality=11\r\n"
                    "OpusApplication=-1\r\n"
                    "mp3bitrate=999\r\n"
                    "MP3SamFreq=4\r\n"
                    "MP3Channels=stereo\r\n"
                    "AC3SamFreq=-1\r\n"
                    "AC3Channels=3\r\n"
                    "AC3BitRate=\r\n"
                    "MP2Header=1.5\r\n"
                    "mp2bitrate=56\r\n"
                    "WAVCodec=2\r\n"
                    "AACSamFreq=8\r\n"
                    "AACBitRate=20\r\n"
                    "AmrType=2\r\n"
                    "AmrBitRate=24\r\n");
    Form odd(dir.path());
    LoadSettings(odd.options, odd.form, odd.panel, odd.folder);
    QStringList expected = initial;
    expected[20] = QStringLiteral("56"); // the one value the MP2 list holds
    QCOMPARE(choices(odd), expected);

    // Names of the list in other case find the list's own item.
    writeFile(file, "[Options]\r\nMode=mp2/mpa\r\nAmrType=1\r\nAmrBitRate=24\r\nAC3BitRate=64\r\n");
    Form cased(dir.path());
    LoadSettings(cased.options, cased.form, cased.panel, cased.folder);
    QCOMPARE(cased.form.cmbFormat.text, QStringLiteral("MP2/MPA"));
    QCOMPARE(cased.options.txtFormat, QStringLiteral("4"));
    QCOMPARE(cased.options.Combo2.items.size(), 7);
    QCOMPARE(cased.options.Combo2.text, QStringLiteral("24"));
    QCOMPARE(cased.options.Combo1.text, QStringLiteral("64"));

    // An empty Mode falls back to MP3 as well.
    writeFile(file, "[Options]\r\nMode=\r\n");
    Form empty(dir.path());
    QVERIFY(empty.form.cmbFormat.select(QStringLiteral("WAV")));
    LoadSettings(empty.options, empty.form, empty.panel, empty.folder);
    QCOMPARE(empty.form.cmbFormat.text, QStringLiteral("MP3"));
    QCOMPARE(empty.options.txtFormat, QStringLiteral("5"));
}

QTEST_GUILESS_MAIN(TestConfiguration)
#include "tst_configuration.moc"
