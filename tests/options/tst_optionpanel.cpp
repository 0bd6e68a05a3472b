#include "options/FormatOptions.h"
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

const QString kStereoAdvice = QStringLiteral(
    "You have selected AC3 6CH as output format!\r\n"
    "Your input file has only 2 Channels, it is advisable that you use the 'upmix 5.1' feature if you really "
    "want a 6ch output!\r\n\r\n"
    "Tonmill will do it for you automatically. If, for some reason you don't want to activate it, you can "
    "disable it.");
const QString kSixChannelAdvice = QStringLiteral(
    "You have activated '5.1 UpMix' feature!\r\n"
    "Your input file is already 6 Channels, it is advisable that you deactivate 'upmix 5.1' feature!\r\n\r\n"
    "Tonmill will do it for you automatically. If, for some reason you want to activate it, you can enable it.");

// A main form with its lists filled, as start-up leaves it.
struct Form {
    explicit Form(const QString &appDir)
        : panel(options, form, dialogs, AppFolder(appDir))
    {
        options.fillLists();
        form.fillFormatList();
    }

    void choose(const QString &format)
    {
        QVERIFY(form.cmbFormat.select(format));
        panel.cmbFormat_Click();
    }

    OptionState options;
    MainFormState form;
    test::TestDialogs dialogs;
    OptionPanel panel;
};

void writeReport(const QString &appDir, const QByteArray &channels)
{
    QFile f(appDir + QStringLiteral("/fileData.ini"));
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write("[General]\r\nFormat=Wave\r\n[Audio]\r\nFormat=PCM\r\nChannel(s)=" + channels + "\r\nBit rate=1411 Kbps\r\n");
}

} // namespace

class TestOptionPanel : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void listsAsStartUpFillsThem();
    void formatChangeShowsPanelAndSwapsExtension();
    void samFreqFromButtonsAndFormatChanges();
    void channelFields();
    void profileHeaderCodecAndWma();
    void amrTypeRefillsItsList();
    void ac3ChannelAdvice();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestOptionPanel::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestOptionPanel::listsAsStartUpFillsThem()
{
    Form f(m_dir->path());
    QCOMPARE(f.form.cmbFormat.items, (QStringList{"AAC", "AC3", "AMR", "MP2/MPA", "MP3", "WAV", "WMA", "FLAC", "OPUS",
                                                  "OGG", "M4A", "ALAC"}));
    // The MP3 list lacks 56, 112 and everything above 224, unlike MP2's.
    QCOMPARE(f.options.Combo5.items, (QStringList{"32", "48", "64", "96", "128", "160", "192", "224"}));
    QCOMPARE(f.options.Combo6.items.size(), 13);
    QCOMPARE(f.options.Combo2.items, (QStringList{"8", "11", "13"}));
    // Every list shows one of its own items before any settings are restored,
    // and the hidden fields agree with what the panel shows.
    for (const ChoiceList *list : {&f.options.Combo8, &f.options.Combo5, &f.options.Combo6, &f.options.Combo1,
                                   &f.options.Combo2, &f.options.cmbWMAProfile, &f.form.cmbFormat})
        QVERIFY(list->index() >= 0);
    QCOMPARE(f.form.visibleFrame, formatFrame(f.form.cmbFormat.text));
    QCOMPARE(f.options.txtFormat, formatIndex(f.form.cmbFormat.text));
    QCOMPARE(f.options.OutExtension, formatExtension(f.form.cmbFormat.text));
    QCOMPARE(f.options.txtWMAProfile, wmaProfileKey(f.options.cmbWMAProfile.text));
    QCOMPARE(f.options.SamFreq, ac3ButtonRate(f.options.mp3SamFreq.toInt()));
}

void TestOptionPanel::formatChangeShowsPanelAndSwapsExtension()
{
    Form f(m_dir->path());
    const QStringList frames = {"frmAAC", "frmAC3", "frmAMR", "frmMP2", "frmMP3", "frmWAV", "frmWMA",
                                "frmFLAC", "frmOPUS", "frmOGG", "frmM4A", "frmALAC"};
    const QStringList extensions = {"aac", "ac3", "amr", "mp2", "mp3", "wav", "wma", "flac", "opus", "ogg", "m4a", "m4a"};
    f.form.lblOutputPath = QStringLiteral("D:\\x\\song.mp3");
    for (int i = 0; i < 12; ++i) {
        f.choose(f.form.cmbFormat.items[i]);
        QCOMPARE(f.form.visibleFrame, frames[i]);
        QCOMPARE(f.options.txtFormat, QString::number(i + 1));
        QCOMPARE(f.options.OutExtension, extensions[i]);
        QCOMPARE(f.form.lblOutputPath, QStringLiteral("D:\\x\\song.") + extensions[i]);
    }

    // From a later format back to the first seven, the extension is swapped.
    f.choose(QStringLiteral("OPUS"));
    f.choose(QStringLiteral("MP3"));
    QCOMPARE(f.form.lblOutputPath, QStringLiteral("D:\\x\\song.mp3"));
    // Among the first seven, the last three characters are replaced whatever they were.
    f.form.lblOutputPath = QStringLiteral("/home/u/take.flac");
    f.choose(QStringLiteral("AAC"));
    QCOMPARE(f.form.lblOutputPath, QStringLiteral("/home/u/take.faac"));
    f.form.lblOutputPath = QStringLiteral("abc");
    f.choose(QStringLiteral("WAV"));
    QCOMPARE(f.form.lblOutputPath, QStringLiteral("wav"));
    // An empty or too short label is left as it is.
    for (const QString &label : {QString(), QStringLiteral("ab")}) {
        f.form.lblOutputPath = label;
        f.choose(QStringLiteral("MP2/MPA"));
        QCOMPARE(f.form.lblOutputPath, label);
        QCOMPARE(f.options.OutExtension, QStringLiteral("mp2"));
    }

    // A name that is no format changes nothing.
    const OptionState before = f.options;
    f.form.cmbFormat.text = QStringLiteral("FLAC2");
    f.form.lblOutputPath = QStringLiteral("/x/a.mp2");
    f.panel.cmbFormat_Click();
    QCOMPARE(f.options.txtFormat, before.txtFormat);
    QCOMPARE(f.options.OutExtension, before.OutExtension);
    QCOMPARE(f.form.visibleFrame, QStringLiteral("frmMP2"));
    QCOMPARE(f.form.lblOutputPath, QStringLiteral("/x/a.mp2"));
    QVERIFY(f.dialogs.messages().isEmpty());
}

void TestOptionPanel::samFreqFromButtonsAndFormatChanges()
{
    Form f(m_dir->path());
    OptionPanel &p = f.panel;
    OptionState &o = f.options;

    const QStringList eight = {"11025", "12000", "16000", "22050", "24000", "32000", "44100", "48000"};
    const QStringList four = {"22050", "24000", "44100", "48000"};
    for (int i = 0; i < 8; ++i) {
        QVERIFY(p.optSamFreqAAC_Click(i));
        QCOMPARE(o.aacSamFreq, QString::number(i));
        QCOMPARE(o.SamFreq, i == 2 ? QStringLiteral("16100") : eight[i]);
        QVERIFY(p.optSamFreqWAV_Click(i));
        QCOMPARE(o.wavSamFreq, QString::number(i));
        QCOMPARE(o.SamFreq, eight[i]);
    }
    for (int i = 0; i < 4; ++i) {
        QVERIFY(p.optSamFreqAC3_Click(i));
        QCOMPARE(o.ac3SamFreq, QString::number(i));
        QCOMPARE(o.SamFreq, four[i]);
        QVERIFY(p.optSamFreqMP2_Click(i));
        QCOMPARE(o.MP2SamFreq, QString::number(i));
        QCOMPARE(o.SamFreq, four[i]);
        QVERIFY(p.optSamFreq_Click(i));
        QCOMPARE(o.mp3SamFreq, QString::number(i));
        QCOMPARE(o.SamFreq, four[i]);
    }
    // A button the group lacks changes nothing.
    const QString rate = o.SamFreq;
    QVERIFY(!p.optSamFreqAAC_Click(8));
    QVERIFY(!p.optSamFreqAC3_Click(4));
    QVERIFY(!p.optSamFreq_Click(-1));
    QCOMPARE(o.SamFreq, rate);
    QCOMPARE(o.aacSamFreq, QStringLiteral("7"));

    // AAC with 44100, then MP3: the rate stays, though MP3's own index says 22050.
    f.choose(QStringLiteral("AAC"));
    QVERIFY(p.optSamFreqAAC_Click(6));
    QVERIFY(p.optSamFreq_Click(0));
    QVERIFY(p.optSamFreqAAC_Click(6));
    f.choose(QStringLiteral("MP3"));
    QCOMPARE(o.SamFreq, QStringLiteral("44100"));
    // Likewise MP2/MPA, WAV, AMR and WMA keep whatever was there.
    QVERIFY(p.optSamFreqMP2_Click(1));
    QVERIFY(p.optSamFreqWAV_Click(0));
    for (const char *format : {"MP2/MPA", "WAV", "AMR", "WMA"}) {
        o.SamFreq = QStringLiteral("32000");
        f.choose(format);
        QCOMPARE(o.SamFreq, QStringLiteral("32000"));
    }
    // AC3 and AAC derive it from their index fields; AAC's third gives 16000.
    QVERIFY(p.optSamFreqAC3_Click(1));
    o.SamFreq = QStringLiteral("11025");
    f.choose(QStringLiteral("AC3"));
    QCOMPARE(o.SamFreq, QStringLiteral("24000"));
    QVERIFY(p.optSamFreqAAC_Click(2));
    QCOMPARE(o.SamFreq, QStringLiteral("16100"));
    f.choose(QStringLiteral("AAC"));
    QCOMPARE(o.SamFreq, QStringLiteral("16000"));
    // An index field holding nothing usable leaves the rate as it was.
    o.ac3SamFreq = QStringLiteral("9");
    f.choose(QStringLiteral("AC3"));
    QCOMPARE(o.SamFreq, QStringLiteral("16000"));
}

void TestOptionPanel::channelFields()
{
    Form f(m_dir->path());
    OptionPanel &p = f.panel;
    OptionState &o = f.options;

    struct Group {
        bool (OptionPanel::*click)(int);
        QString OptionState::*index;
        QString OptionState::*channels;
    };
    const QList<Group> groups = {
        {&OptionPanel::optChannelsAAC_Click, &OptionState::aacChannels, &OptionState::txtChannelsAAC},
        {&OptionPanel::optChannelsMP2_Click, &OptionState::mp2Channels, &OptionState::txtChannelsMP2},
        {&OptionPanel::optChannels_Click, &OptionState::mp3Channels, &OptionState::txtChannelsMP3},
        {&OptionPanel::optChannelsWAV_Click, &OptionState::wavChannels, &OptionState::txtChannelsWAV},
    };
    for (const Group &g : groups) {
        QVERIFY((p.*g.click)(0));
        QCOMPARE(o.*g.index, QStringLiteral("0"));
        QCOMPARE(o.*g.channels, QStringLiteral("1"));
        QVERIFY((p.*g.click)(1));
        QCOMPARE(o.*g.index, QStringLiteral("1"));
        QCOMPARE(o.*g.channels, QStringLiteral("2"));
        QVERIFY(!(p.*g.click)(2));
        QCOMPARE(o.*g.channels, QStringLiteral("2"));
    }

    // AC3: six channels enables the up-mix box, mono disables it, stereo
    // leaves it as it was; the box's check is never touched here.
    QVERIFY(p.optChannelsAC3_Click(2));
    QCOMPARE(o.ac3Channels, QStringLiteral("2"));
    QCOMPARE(o.txtChannelsAC3, QStringLiteral("6"));
    QVERIFY(f.form.chk51UpMix.enabled);
    QVERIFY(p.optChannelsAC3_Click(1));
    QCOMPARE(o.ac3Channels, QStringLiteral("1"));
    QCOMPARE(o.txtChannelsAC3, QStringLiteral("2"));
    QVERIFY(f.form.chk51UpMix.enabled);
    f.form.chk51UpMix.checked = true;
    QVERIFY(p.optChannelsAC3_Click(0));
    QCOMPARE(o.ac3Channels, QStringLiteral("0"));
    QCOMPARE(o.txtChannelsAC3, QStringLiteral("1"));
    QVERIFY(!f.form.chk51UpMix.enabled);
    QVERIFY(f.form.chk51UpMix.checked);
    QVERIFY(p.optChannelsAC3_Click(1));
    QVERIFY(!f.form.chk51UpMix.enabled);
    QVERIFY(!p.optChannelsAC3_Click(3));
    QCOMPARE(o.txtChannelsAC3, QStringLiteral("2"));
    // The later formats take the up-mix whatever AC3's channels; back among
    // the first seven, the box is as AC3's buttons left it.
    for (const bool sixChannels : {false, true}) {
        QVERIFY(p.optChannelsAC3_Click(sixChannels ? 2 : 0));
        f.choose(QStringLiteral("OPUS"));
        QVERIFY(f.form.chk51UpMix.enabled);
        f.choose(QStringLiteral("WAV"));
        QCOMPARE(f.form.chk51UpMix.enabled, sixChannels);
    }
    QVERIFY(f.dialogs.messages().isEmpty());
}

void TestOptionPanel::profileHeaderCodecAndWma()
{
    Form f(m_dir->path());
    OptionPanel &p = f.panel;
    OptionState &o = f.options;

    QVERIFY(p.optProfileAAC_Click(1));
    QCOMPARE(o.txtAACProfile, QStringLiteral("1"));
    QCOMPARE(aacContainer(o.txtAACProfile), QStringLiteral("mp2"));
    QVERIFY(!p.optProfileAAC_Click(2));
    QCOMPARE(o.txtAACProfile, QStringLiteral("1"));
    QVERIFY(p.optProfileAAC_Click(0));
    QCOMPARE(aacContainer(o.txtAACProfile), QStringLiteral("mp4"));

    const QStringList headers = {"mp2", "avi", "mpeg"};
    for (int i = 0; i < 3; ++i) {
        QVERIFY(p.optMP2Header_Click(i));
        QCOMPARE(o.txtMP2Header, QString::number(i));
        QCOMPARE(mp2HeaderName(o.txtMP2Header), headers[i]);
    }
    QVERIFY(!p.optMP2Header_Click(3));
    QCOMPARE(o.txtMP2Header, QStringLiteral("2"));

    QVERIFY(p.optPCM_Click(1));
    QCOMPARE(o.wavPCM, QStringLiteral("1"));
    QCOMPARE(wavCodec(o.wavPCM), QStringLiteral("pcm_u8"));
    QCOMPARE(wavBitRate(o.wavPCM), QStringLiteral("705"));
    QVERIFY(!p.optPCM_Click(-1));
    QVERIFY(p.optPCM_Click(0));
    QCOMPARE(wavCodec(o.wavPCM), QStringLiteral("pcm_s16le"));
    QCOMPARE(wavBitRate(o.wavPCM), QStringLiteral("1411"));

    const QStringList keys = {"a20_1", "a20_2", "a32", "a48", "a64", "a96", "a128"};
    for (int i = 0; i < 7; ++i) {
        QVERIFY(o.cmbWMAProfile.select(o.cmbWMAProfile.items[i]));
        p.cmbWMAProfile_Click();
        QCOMPARE(o.txtWMAProfile, keys[i]);
    }
    QVERIFY(o.cmbWMAProfile.select(QStringLiteral("Modem 56k (32Kbps)")));
    p.cmbWMAProfile_Click();
    QCOMPARE(o.txtWMAProfile, QStringLiteral("a32"));
    // An unknown name leaves the key.
    o.cmbWMAProfile.text = QStringLiteral("Studio (320Kbps)");
    p.cmbWMAProfile_Click();
    QCOMPARE(o.txtWMAProfile, QStringLiteral("a32"));
}

void TestOptionPanel::amrTypeRefillsItsList()
{
    Form f(m_dir->path());
    OptionState &o = f.options;
    QVERIFY(o.Combo2.select(QStringLiteral("8")));
    QVERIFY(f.panel.optAMRType_Click(1));
    QCOMPARE(o.amrType, QStringLiteral("1"));
    QCOMPARE(o.Combo2.items, (QStringList{"7", "9", "13", "16", "18", "20", "24"}));
    QCOMPARE(o.Combo2.text, QStringLiteral("13"));
    QVERIFY(o.Combo2.select(QStringLiteral("24")));
    QVERIFY(f.panel.optAMRType_Click(0));
    QCOMPARE(o.amrType, QStringLiteral("0"));
    QCOMPARE(o.Combo2.items, (QStringList{"8", "11", "13"}));
    QCOMPARE(o.Combo2.text, QStringLiteral("13"));
    QCOMPARE(o.Combo2.index(), 2);
    // Clicking the same type again refills rather than appends.
    QVERIFY(f.panel.optAMRType_Click(0));
    QCOMPARE(o.Combo2.items.size(), 3);
    QVERIFY(!f.panel.optAMRType_Click(2));
    QCOMPARE(o.amrType, QStringLiteral("0"));
    QCOMPARE(o.Combo2.items.size(), 3);
}

void TestOptionPanel::ac3ChannelAdvice()
{
    const QString app = m_dir->path();
    Form f(app);
    MainFormState &form = f.form;

    // Stereo source, six channels chosen on the AC3 panel: advised once, and
    // the box is checked; choosing again with the box checked says nothing.
    writeReport(app, "2 channels");
    form.txtPath = QStringLiteral("/music/song.wav");
    QVERIFY(f.panel.optChannelsAC3_Click(2));
    QVERIFY(f.dialogs.messages().isEmpty()); // the format is not AC3 yet
    f.dialogs.answer(DialogAnswer::Ok);
    f.choose(QStringLiteral("AC3"));
    QCOMPARE(f.dialogs.messages().size(), 1);
    QCOMPARE(f.dialogs.messages()[0].text, kStereoAdvice);
    QCOMPARE(f.dialogs.messages()[0].buttons, DialogButtons::Ok);
    QVERIFY(f.dialogs.messages()[0].title.isEmpty());
    QVERIFY(form.chk51UpMix.checked);
    f.choose(QStringLiteral("AC3"));
    QVERIFY(f.panel.optChannelsAC3_Click(2));
    QCOMPARE(f.dialogs.messages().size(), 1);

    // Unchecked again by hand: the channel click advises anew.
    form.chk51UpMix.checked = false;
    f.dialogs.answer(DialogAnswer::Ok);
    QVERIFY(f.panel.optChannelsAC3_Click(2));
    QCOMPARE(f.dialogs.messages().size(), 2);
    QVERIFY(form.chk51UpMix.checked);

    // Six-channel source with the box checked: the other advice, box unchecked.
    writeReport(app, "6 channels");
    f.dialogs.answer(DialogAnswer::Ok);
    f.choose(QStringLiteral("AC3"));
    QCOMPARE(f.dialogs.messages().size(), 3);
    QCOMPARE(f.dialogs.messages()[2].text, kSixChannelAdvice);
    QVERIFY(!form.chk51UpMix.checked);
    f.choose(QStringLiteral("AC3"));
    QCOMPARE(f.dialogs.messages().size(), 3);

    // No advice with stereo output, without a source, on another format, for
    // descriptions that are not exactly the report's words, or with no report.
    const auto silent = [&](const char *channels, const QString &path, const QString &format, int ac3Index,
                            bool checked) {
        if (channels)
            writeReport(app, channels);
        else
            QFile::remove(app + QStringLiteral("/fileData.ini"));
        form.txtPath = path;
        form.chk51UpMix.checked = checked;
        QVERIFY(form.cmbFormat.select(format));
        QVERIFY(f.panel.optChannelsAC3_Click(ac3Index));
        f.panel.cmbFormat_Click();
        QCOMPARE(form.chk51UpMix.checked, checked);
    };
    silent("2 channels", QStringLiteral("/m/a.wav"), QStringLiteral("AC3"), 1, false);
    silent("6 channels", QStringLiteral("/m/a.wav"), QStringLiteral("AC3"), 1, true);
    silent("2 channels", QString(), QStringLiteral("AC3"), 2, false);
    silent("2 channels", QStringLiteral("/m/a.wav"), QStringLiteral("MP3"), 2, false);
    silent("6 channels", QStringLiteral("/m/a.wav"), QStringLiteral("WMA"), 2, true);
    silent("2 Channels", QStringLiteral("/m/a.wav"), QStringLiteral("AC3"), 2, false);
    silent("2 channels / stereo", QStringLiteral("/m/a.wav"), QStringLiteral("AC3"), 2, false);
    silent("6 channels", QStringLiteral("/m/a.wav"), QStringLiteral("AC3"), 2, false);
    silent("2 channels", QStringLiteral("/m/a.wav"), QStringLiteral("AC3"), 2, true);
    silent(nullptr, QStringLiteral("/m/a.wav"), QStringLiteral("AC3"), 2, false);
    QCOMPARE(f.dialogs.messages().size(), 3);
    QVERIFY(f.dialogs.unexpected().isEmpty());
}

QTEST_GUILESS_MAIN(TestOptionPanel)
#include "tst_optionpanel.moc"
