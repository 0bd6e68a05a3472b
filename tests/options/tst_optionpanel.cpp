// The format options: what the panel's controls do, and how the choices are saved and restored.
#include "convert/EqualizerChoice.h"
#include "options/Configuration.h"
#include "options/FormatOptions.h"
#include "options/MainFormState.h"
#include "options/OptionPanel.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "settings/INIManager.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;
using namespace Qt::Literals::StringLiterals;

namespace {

// A main form with its lists filled as start-up leaves it, in its own application folder unless given one.
struct Form {
    QTemporaryDir dir;
    AppFolder folder;
    OptionState options;
    MainFormState form;
    test::TestDialogs dialogs;
    OptionPanel panel{options, form, dialogs, folder};
    OptionPanel &p = panel;
    OptionState &o = options;

    explicit Form(const QString &appDir = {})
        : folder(appDir.isEmpty() ? dir.path() : appDir)
    {
        options.fillLists();
        form.fillFormatList();
    }
    void choose(const QString &format)
    {
        QVERIFY(form.cmbFormat.select(format));
        panel.cmbFormat_Click();
    }
    void save() { SaveSettings(options, form, folder); }
    void load() { LoadSettings(options, form, panel, folder); }
    // The media tool's report of the source, which the AC3 advice reads.
    void report(const char *channels) const
    {
        const QString file = folder.file(u"fileData.ini"_s);
        if (!channels)
            QFile::remove(file);
        else
            test::writeBytes(file, "[General]\r\nFormat=Wave\r\n[Audio]\r\nFormat=PCM\r\nChannel(s)=" + QByteArray(channels)
                                       + "\r\nBit rate=1411 Kbps\r\n");
    }
    // Every remembered choice, for comparing two forms.
    QStringList choices() const
    {
        const OptionState &o = options;
        return {form.cmbFormat.text, form.visibleFrame, o.txtFormat, o.OutExtension, o.aacSamFreq, o.aacChannels,
                o.txtChannelsAAC, o.txtAACProfile, o.Combo8.text, o.ac3SamFreq, o.ac3Channels, o.txtChannelsAC3,
                o.Combo1.text, o.amrType, o.Combo2.text, o.Combo2.items.join(u'|'), o.MP2SamFreq, o.mp2Channels,
                o.txtChannelsMP2, o.txtMP2Header, o.Combo6.text, o.mp3SamFreq, o.mp3Channels, o.txtChannelsMP3, o.Combo5.text,
                o.wavSamFreq, o.wavChannels, o.txtChannelsWAV, o.wavPCM, o.flacSamFreq, o.flacBits, o.cmbFLACLevel.text,
                o.opusMode, o.opusApplication, o.cmbOpusBitRate.text, o.cmbOggQuality.text, o.m4aMode,
                o.cmbM4ABitRate.text, o.cmbM4AQuality.text, o.alacSamFreq, o.alacBits,
                form.equalizer.chkApply ? u"on"_s : u"off"_s, equalizerBandsText(form.equalizer.gainsDb())};
    }

};

} // namespace

class TestOptionPanel : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void formatChangeShowsPanelAndSwapsExtension();
    void ratesChannelsAndOtherButtons();
    void ac3ChannelAdvice();
    void saveThenLoadRestoresEveryChoice();
    void everyFormatAndOddValuesComeBack();
};

void TestOptionPanel::formatChangeShowsPanelAndSwapsExtension()
{
    Form f;
    QCOMPARE(f.form.cmbFormat.items, (QStringList{"AAC", "AC3", "AMR", "MP2/MPA", "MP3", "WAV", "WMA", "FLAC", "OPUS",
                                                  "OGG", "M4A", "ALAC"}));
    // The MP3 list lacks 56, 112 and everything above 224, unlike MP2's.
    QCOMPARE(f.o.Combo5.items, (QStringList{"32", "48", "64", "96", "128", "160", "192", "224"}));

    const QStringList frames = {"frmAAC", "frmAC3", "frmAMR", "frmMP2", "frmMP3", "frmWAV", "frmWMA", "frmFLAC", "frmOPUS",
                                "frmOGG", "frmM4A", "frmALAC"};
    const QStringList extensions = {"aac", "ac3", "amr", "mp2", "mp3", "wav", "wma", "flac", "opus", "ogg", "m4a", "m4a"};
    f.form.lblOutputPath = u"D:\\x\\song.mp3"_s;
    for (int i = 0; i < 12; ++i) {
        f.choose(f.form.cmbFormat.items[i]);
        QCOMPARE(f.form.visibleFrame, frames[i]);
        QCOMPARE(f.o.txtFormat, QString::number(i + 1));
        QCOMPARE(f.o.OutExtension, extensions[i]);
        QCOMPARE(f.form.lblOutputPath, u"D:\\x\\song."_s + extensions[i]);
    }
    // Back from a later format the extension is swapped; among the first seven the last three
    // characters are replaced whatever they were; an empty or too short label is left.
    const QList<std::array<QString, 4>> labels = {
        {u"D:\\x\\song.opus"_s, u"OPUS"_s, u"MP3"_s, u"D:\\x\\song.mp3"_s},
        {u"/home/u/take.flac"_s, u"WAV"_s, u"AAC"_s, u"/home/u/take.faac"_s},
        {u"abc"_s, u"AAC"_s, u"WAV"_s, u"wav"_s}, {QString(), u"AAC"_s, u"MP2/MPA"_s, QString()},
        {u"ab"_s, u"AAC"_s, u"MP2/MPA"_s, u"ab"_s},
    };
    for (const auto &[before, from, to, after] : labels) {
        f.choose(from);
        f.form.lblOutputPath = before;
        f.choose(to);
        QCOMPARE(f.form.lblOutputPath, after);
    }
    // A name that is no format changes nothing.
    f.form.cmbFormat.text = u"FLAC2"_s;
    f.form.lblOutputPath = u"/x/a.mp2"_s;
    f.panel.cmbFormat_Click();
    QVERIFY(f.o.txtFormat == u"4"_s && f.o.OutExtension == u"mp2"_s && f.form.visibleFrame == u"frmMP2"_s);
    QCOMPARE(f.form.lblOutputPath, u"/x/a.mp2"_s);
    QVERIFY(f.dialogs.messages().isEmpty());
}

void TestOptionPanel::ratesChannelsAndOtherButtons()
{
    Form f;
    OptionPanel &p = f.p;
    OptionState &o = f.o;
    // Rate buttons store their index and set SamFreq (AAC's third: 16100); a button the group lacks changes nothing.
    const QStringList eight = {"11025", "12000", "16100", "22050", "24000", "32000", "44100", "48000"};
    const QStringList four = {"22050", "24000", "44100", "48000"};
    using Click = bool (OptionPanel::*)(int);
    const QList<std::tuple<Click, QString OptionState::*, QStringList>> rates = {
        {&OptionPanel::optSamFreqAAC_Click, &OptionState::aacSamFreq, eight},
        {&OptionPanel::optSamFreqWAV_Click, &OptionState::wavSamFreq, QStringList(eight).replaceInStrings(u"16100"_s, u"16000"_s)},
        {&OptionPanel::optSamFreqAC3_Click, &OptionState::ac3SamFreq, four},
        {&OptionPanel::optSamFreqMP2_Click, &OptionState::MP2SamFreq, four},
        {&OptionPanel::optSamFreq_Click, &OptionState::mp3SamFreq, four},
    };
    for (const auto &[click, index, samFreq] : rates) {
        for (int i = 0; i < samFreq.size(); ++i)
            QVERIFY2((p.*click)(i) && o.*index == QString::number(i) && o.SamFreq == samFreq[i], qPrintable(o.SamFreq));
        QVERIFY(!(p.*click)(samFreq.size()) && !(p.*click)(-1));
        QCOMPARE(o.*index, QString::number(samFreq.size() - 1));
        QCOMPARE(o.SamFreq, samFreq.last());
    }
    // Showing MP3, MP2/MPA, WAV, AMR or WMA keeps the rate; AC3 and AAC derive it from their index
    // fields (AAC's third gives 16000), unless the field holds nothing usable.
    QVERIFY(p.optSamFreqAAC_Click(2) && p.optSamFreqAC3_Click(1));
    const QList<std::pair<QString, QString>> shown = {{u"MP3"_s, u"32000"_s}, {u"MP2/MPA"_s, u"32000"_s}, {u"WAV"_s, u"32000"_s},
                                                      {u"AMR"_s, u"32000"_s}, {u"WMA"_s, u"32000"_s}, {u"AC3"_s, u"24000"_s},
                                                      {u"AAC"_s, u"16000"_s}};
    for (const auto &[format, rate] : shown) {
        o.SamFreq = u"32000"_s;
        f.choose(format);
        QCOMPARE(o.SamFreq, rate);
    }
    o.ac3SamFreq = u"9"_s;
    f.choose(u"AC3"_s);
    QCOMPARE(o.SamFreq, u"16000"_s);

    // Channel buttons: the index and the count.
    using Field = QString OptionState::*;
    const QList<std::tuple<Click, Field, Field>> channels = {
        {&OptionPanel::optChannelsAAC_Click, &OptionState::aacChannels, &OptionState::txtChannelsAAC},
        {&OptionPanel::optChannelsMP2_Click, &OptionState::mp2Channels, &OptionState::txtChannelsMP2},
        {&OptionPanel::optChannels_Click, &OptionState::mp3Channels, &OptionState::txtChannelsMP3},
        {&OptionPanel::optChannelsWAV_Click, &OptionState::wavChannels, &OptionState::txtChannelsWAV},
    };
    for (const auto &[click, index, count] : channels) {
        QVERIFY((p.*click)(0) && o.*index == u"0"_s && o.*count == u"1"_s);
        QVERIFY((p.*click)(1) && o.*index == u"1"_s && o.*count == u"2"_s);
        QVERIFY(!(p.*click)(2) && o.*count == u"2"_s);
    }
    // AC3: six channels enables the up-mix box, mono disables it, stereo
    // leaves it as it was; the box's check is never touched here.
    const QList<std::array<int, 3>> ac3 = {{2, 6, 1}, {1, 2, 1}, {0, 1, 0}, {1, 2, 0}};
    f.form.chk51UpMix.checked = true;
    for (const auto &[button, count, enabled] : ac3) {
        QVERIFY(p.optChannelsAC3_Click(button));
        QVERIFY(o.ac3Channels == QString::number(button) && o.txtChannelsAC3 == QString::number(count));
        QCOMPARE(f.form.chk51UpMix.enabled, bool(enabled));
    }
    QVERIFY(!p.optChannelsAC3_Click(3) && o.txtChannelsAC3 == u"2"_s && f.form.chk51UpMix.checked);
    // The later formats take the up-mix whatever AC3's channels; back among
    // the first seven, the box is as AC3's buttons left it.
    for (const bool six : {false, true}) {
        QVERIFY(p.optChannelsAC3_Click(six ? 2 : 0));
        f.choose(u"FLAC"_s);
        QVERIFY(f.form.chk51UpMix.enabled);
        f.choose(u"WAV"_s);
        QCOMPARE(f.form.chk51UpMix.enabled, six);
    }

    // Profile, header and codec buttons, and the WMA profiles' keys.
    QVERIFY(p.optProfileAAC_Click(1) && !p.optProfileAAC_Click(2) && o.txtAACProfile == u"1"_s);
    QVERIFY(p.optMP2Header_Click(2) && !p.optMP2Header_Click(3) && o.txtMP2Header == u"2"_s);
    QVERIFY(p.optPCM_Click(1) && !p.optPCM_Click(-1) && o.wavPCM == u"1"_s);
    const QStringList keys = {"a20_1", "a20_2", "a32", "a48", "a64", "a96", "a128"};
    for (int i = 0; i < 7; ++i) {
        QVERIFY(o.cmbWMAProfile.select(o.cmbWMAProfile.items[i]));
        p.cmbWMAProfile_Click();
        QCOMPARE(o.txtWMAProfile, keys[i]);
    }
    o.cmbWMAProfile.text = u"Studio (320Kbps)"_s;
    p.cmbWMAProfile_Click();
    QCOMPARE(o.txtWMAProfile, u"a128"_s);
    // AMR's type refills its list, keeping the rate where both lists have it.
    QVERIFY(o.Combo2.select(u"8"_s) && p.optAMRType_Click(1));
    QCOMPARE(o.Combo2.items, (QStringList{"7", "9", "13", "16", "18", "20", "24"}));
    QCOMPARE(o.Combo2.text, u"13"_s);
    QVERIFY(o.Combo2.select(u"24"_s) && p.optAMRType_Click(0) && p.optAMRType_Click(0) && !p.optAMRType_Click(2));
    QVERIFY(o.amrType == u"0"_s && o.Combo2.items == (QStringList{"8", "11", "13"}) && o.Combo2.index() == 2);
    QVERIFY(f.dialogs.messages().isEmpty());
}

void TestOptionPanel::ac3ChannelAdvice()
{
    Form f;
    MainFormState &form = f.form;
    // Stereo source, six channels on the AC3 panel: advised once, the box checked.
    f.report("2 channels");
    form.txtPath = u"/music/song.wav"_s;
    QVERIFY(f.panel.optChannelsAC3_Click(2));
    QVERIFY(f.dialogs.messages().isEmpty()); // the format is not AC3 yet
    f.dialogs.answer(DialogAnswer::Ok);
    f.choose(u"AC3"_s);
    QCOMPARE(f.dialogs.messages().size(), 1);
    QCOMPARE(f.dialogs.messages()[0].text,
             u"You have selected AC3 6CH as output format!\r\nYour input file has only 2 Channels, it is advisable that you "
             "use the 'upmix 5.1' feature if you really want a 6ch output!\r\n\r\nTonmill will do it for you automatically. "
             "If, for some reason you don't want to activate it, you can disable it."_s);
    QVERIFY(f.dialogs.messages()[0].buttons == DialogButtons::Ok && f.dialogs.messages()[0].title.isEmpty());
    QVERIFY(form.chk51UpMix.checked);
    f.choose(u"AC3"_s);
    QVERIFY(f.panel.optChannelsAC3_Click(2));
    QCOMPARE(f.dialogs.messages().size(), 1); // nothing more while the box is checked
    // Unchecked again by hand: the channel click advises anew.
    form.chk51UpMix.checked = false;
    f.dialogs.answer(DialogAnswer::Ok);
    QVERIFY(f.panel.optChannelsAC3_Click(2));
    QVERIFY(f.dialogs.messages().size() == 2 && form.chk51UpMix.checked);
    // Six-channel source with the box checked: the other advice, box unchecked.
    f.report("6 channels");
    f.dialogs.answer(DialogAnswer::Ok);
    f.choose(u"AC3"_s);
    QCOMPARE(f.dialogs.messages().size(), 3);
    QCOMPARE(f.dialogs.messages()[2].text,
             u"You have activated '5.1 UpMix' feature!\r\nYour input file is already 6 Channels, it is advisable that you "
             "deactivate 'upmix 5.1' feature!\r\n\r\nTonmill will do it for you automatically. If, for some reason you "
             "want to activate it, you can enable it."_s);
    QVERIFY(!form.chk51UpMix.checked);

    // No advice with stereo output, without a source, on another format, for other words than the
    // report's, or with no report. Rows: the report's channels, source, format, AC3 button, box checked.
    const QList<std::tuple<const char *, QString, QString, int, bool>> silent = {
        {"2 channels", u"/m/a.wav"_s, u"AC3"_s, 1, false}, {"6 channels", u"/m/a.wav"_s, u"AC3"_s, 1, true},
        {"2 channels", QString(), u"AC3"_s, 2, false},     {"2 channels", u"/m/a.wav"_s, u"MP3"_s, 2, false},
        {"6 channels", u"/m/a.wav"_s, u"WMA"_s, 2, true},  {"2 Channels", u"/m/a.wav"_s, u"AC3"_s, 2, false},
        {"2 channels / stereo", u"/m/a.wav"_s, u"AC3"_s, 2, false}, {"6 channels", u"/m/a.wav"_s, u"AC3"_s, 2, false},
        {"2 channels", u"/m/a.wav"_s, u"AC3"_s, 2, true},  {nullptr, u"/m/a.wav"_s, u"AC3"_s, 2, false},
    };
    for (const auto &[channels, path, format, ac3Button, checked] : silent) {
        f.report(channels);
        form.txtPath = path;
        form.chk51UpMix.checked = checked;
        QVERIFY(form.cmbFormat.select(format) && f.panel.optChannelsAC3_Click(ac3Button));
        f.panel.cmbFormat_Click();
        QCOMPARE(form.chk51UpMix.checked, checked);
    }
    QVERIFY(f.dialogs.messages().size() == 3 && f.dialogs.unexpected().isEmpty());
}

void TestOptionPanel::saveThenLoadRestoresEveryChoice()
{
    QTemporaryDir dir;
    Form saved(dir.path());
    OptionPanel &p = saved.panel;
    OptionState &o = saved.options;
    QVERIFY(p.optSamFreqFLAC_Click(2) && p.optFLACBits_Click(1) && o.cmbFLACLevel.select(u"8"_s));
    QVERIFY(p.optOpusMode_Click(1) && p.optOpusApp_Click(2) && o.cmbOpusBitRate.select(u"64"_s));
    QVERIFY(o.cmbOggQuality.select(u"-1"_s) && p.optM4AMode_Click(1));
    QVERIFY(o.cmbM4ABitRate.select(u"320"_s) && o.cmbM4AQuality.select(u"1.5"_s));
    QVERIFY(p.optSamFreqALAC_Click(4) && p.optALACBits_Click(1) && !p.optALACBits_Click(2) && !p.optSamFreqFLAC_Click(5));
    QVERIFY(saved.form.cmbFormat.select(u"AAC"_s));
    p.cmbFormat_Click();
    QVERIFY(p.optSamFreqAAC_Click(7) && p.optChannelsAAC_Click(0) && p.optProfileAAC_Click(1) && o.Combo8.select(u"256"_s));
    QVERIFY(p.optSamFreqWAV_Click(0) && p.optChannelsWAV_Click(0) && p.optPCM_Click(1));
    QVERIFY(p.optSamFreq_Click(0) && p.optChannels_Click(0) && o.Combo5.select(u"224"_s));
    QVERIFY(p.optSamFreqMP2_Click(1) && p.optChannelsMP2_Click(0) && p.optMP2Header_Click(2) && o.Combo6.select(u"320"_s));
    QVERIFY(p.optSamFreqAC3_Click(0) && p.optChannelsAC3_Click(2) && o.Combo1.select(u"448"_s));
    QVERIFY(p.optAMRType_Click(1) && o.Combo2.select(u"20"_s));
    saved.form.mnuLog = true;
    saved.form.mnuSaveLog = false;
    saved.form.equalizer.chkApply = true;
    saved.form.equalizer.setGainsDb({0, 0, -7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 12});
    saved.form.mnuTagEditor = false;
    saved.save();

    // The keys in their order, Mode first; indexes for buttons, texts for lists.
    QCOMPARE(QString::fromUtf8(test::readBytes(dir.filePath(u"Tonmill.ini"_s))).split(u"\r\n"_s).join(u' '),
             u"[Options] Mode=AAC MP3SamFreq=0 MP3Channels=0 MP3BitRate=224 AmrType=1 AmrBitRate=20 AC3SamFreq=0 "
             "AC3Channels=2 AC3BitRate=448 MP2SamFreq=1 MP2Channels=0 MP2BitRate=320 MP2Header=2 WAVSamFreq=0 WAVChannels=0 "
             "WAVCodec=1 AACSamFreq=7 AACChannels=0 AACBitRate=256 AACProfile=1 FLACSamFreq=2 FLACBits=1 FLACLevel=8 "
             "OpusMode=1 OpusApplication=2 OpusBitRate=64 OggQuality=-1 M4AMode=1 M4ABitRate=320 M4AQuality=1.5 "
             "ALACSamFreq=4 ALACBits=1 EqualizerApply=1 EqualizerBands=0,0,-7,0,0,0,0,0,0,0,0,0,0,0,0,0,0,12 [General] "
             "LogOnOff=True SaveLog=False TagEditor=False "_s);

    Form loaded(dir.path());
    QVERIFY(loaded.choices() != saved.choices());
    loaded.load();
    QCOMPARE(loaded.choices(), saved.choices());
    QVERIFY(loaded.form.chk51UpMix.enabled);
    // SamFreq is left by the last rate button whose choice changed: AC3's, loaded last.
    QCOMPARE(loaded.options.SamFreq, u"22050"_s);
    QVERIFY(loaded.dialogs.messages().isEmpty());
}

void TestOptionPanel::everyFormatAndOddValuesComeBack()
{
    QTemporaryDir dir;
    const QString file = dir.filePath(u"Tonmill.ini"_s);
    // No settings file at all: MP3 and the panel's own choices.
    Form defaults(dir.path());
    const QStringList initial = defaults.choices();
    defaults.load();
    QCOMPARE(defaults.form.cmbFormat.text, u"MP3"_s);
    QCOMPARE(defaults.choices(), initial);

    // A format the list lacks and values no list or button group holds, names in other case.
    test::writeBytes(file, "[options]\r\nmode=APE\r\nFLACSamFreq=5\r\nOggQuality=11\r\nOpusApplication=-1\r\nmp3bitrate=999\r\n"
                           "MP3SamFreq=4\r\nMP3Channels=stereo\r\nAC3SamFreq=-1\r\nAC3Channels=3\r\nAC3BitRate=\r\n"
                           "MP2Header=1.5\r\nmp2bitrate=56\r\nWAVCodec=2\r\nAACSamFreq=8\r\nAACBitRate=20\r\nAmrType=2\r\n"
                           "AmrBitRate=24\r\n");
    Form odd(dir.path());
    odd.load();
    QStringList expected = initial;
    expected[20] = u"56"_s; // the one value the MP2 list holds
    QCOMPARE(odd.choices(), expected);

    // Names of the list in other case find the list's own item; an empty Mode is MP3.
    test::writeBytes(file, "[Options]\r\nMode=mp2/mpa\r\nAmrType=1\r\nAmrBitRate=24\r\nAC3BitRate=64\r\n");
    Form cased(dir.path());
    cased.load();
    QVERIFY(cased.form.cmbFormat.text == u"MP2/MPA"_s && cased.options.txtFormat == u"4"_s);
    QVERIFY(cased.options.Combo2.items.size() == 7 && cased.options.Combo2.text == u"24"_s);
    QCOMPARE(cased.options.Combo1.text, u"64"_s);
    test::writeBytes(file, "[Options]\r\nMode=\r\n");
    Form empty(dir.path());
    QVERIFY(empty.form.cmbFormat.select(u"WAV"_s));
    empty.load();
    QVERIFY(empty.form.cmbFormat.text == u"MP3"_s && empty.options.txtFormat == u"5"_s);

    // Each format comes back; SamFreq is what showing the panel left: AC3's 48000, 44100 for the other
    // first seven, a later format's own (FLAC's 96000 button, Opus's 48000, else the source's).
    const QStringList rates = {"44100", "48000", "44100", "44100", "44100", "44100", "44100", "96000", "48000", "", "", ""};
    Form saved(dir.path());
    QVERIFY(saved.panel.optSamFreqFLAC_Click(4));
    saved.save();
    for (int i = 0; i < 12; ++i) {
        const QString format = saved.form.cmbFormat.items[i];
        WriteIniValue(u"Options"_s, u"Mode"_s, format, file);
        Form loaded(dir.path());
        loaded.form.lblOutputPath = u"/out/take.mp3"_s;
        loaded.load();
        QCOMPARE(loaded.form.cmbFormat.text, format);
        QCOMPARE(loaded.options.txtFormat, QString::number(i + 1));
        QCOMPARE(loaded.form.lblOutputPath, u"/out/take."_s + loaded.options.OutExtension);
        QCOMPARE(loaded.options.SamFreq, rates[i]);
    }
}

QTEST_GUILESS_MAIN(TestOptionPanel)
#include "tst_optionpanel.moc"
