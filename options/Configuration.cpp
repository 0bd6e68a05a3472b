#include "options/Configuration.h"
#include "convert/EqualizerChoice.h"

#include "options/FormatOptions.h"
#include "options/MainFormState.h"
#include "options/OptionPanel.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"
#include "settings/INIManager.h"

namespace tonmill {

namespace {

QString boolText(bool value)
{
    return value ? QStringLiteral("True") : QStringLiteral("False");
}

class Store {
public:
    explicit Store(const AppFolder &folder)
        : m_file(folder.file(QStringLiteral("\\Tonmill.ini")))
    {
    }

    QString read(const char *key) const
    {
        return ReadIniValue(QStringLiteral("Options"), QLatin1String(key), m_file);
    }

    void write(const char *section, const char *key, const QString &value) const
    {
        WriteIniValue(QLatin1String(section), QLatin1String(key), value, m_file);
    }

private:
    QString m_file;
};

// Selects the button with the stored index, which on the form raises its
// click only when the choice changes. A value that is no button index of the
// group is ignored.
void selectButton(const QString &stored, const QString &current, OptionPanel &panel,
                  bool (OptionPanel::*click)(int))
{
    bool ok = false;
    const int index = stored.trimmed().toInt(&ok);
    if (!ok || QString::number(index) == current)
        return;
    (panel.*click)(index);
}

} // namespace

void SaveSettings(const OptionState &o, const MainFormState &form, const AppFolder &folder)
{
    const Store store(folder);
    const auto option = [&](const char *key, const QString &value) { store.write("Options", key, value); };
    option("Mode", form.cmbFormat.text);
    option("MP3SamFreq", o.mp3SamFreq);
    option("MP3Channels", o.mp3Channels);
    option("MP3BitRate", o.Combo5.text);
    option("AmrType", o.amrType);
    option("AmrBitRate", o.Combo2.text);
    option("AC3SamFreq", o.ac3SamFreq);
    option("AC3Channels", o.ac3Channels);
    option("AC3BitRate", o.Combo1.text);
    option("MP2SamFreq", o.MP2SamFreq);
    option("MP2Channels", o.mp2Channels);
    option("MP2BitRate", o.Combo6.text);
    option("MP2Header", o.txtMP2Header);
    option("WAVSamFreq", o.wavSamFreq);
    option("WAVChannels", o.wavChannels);
    option("WAVCodec", o.wavPCM);
    option("AACSamFreq", o.aacSamFreq);
    option("AACChannels", o.aacChannels);
    option("AACBitRate", o.Combo8.text);
    option("AACProfile", o.txtAACProfile);
    option("FLACSamFreq", o.flacSamFreq);
    option("FLACBits", o.flacBits);
    option("FLACLevel", o.cmbFLACLevel.text);
    option("OpusMode", o.opusMode);
    option("OpusApplication", o.opusApplication);
    option("OpusBitRate", o.cmbOpusBitRate.text);
    option("OggQuality", o.cmbOggQuality.text);
    option("M4AMode", o.m4aMode);
    option("M4ABitRate", o.cmbM4ABitRate.text);
    option("M4AQuality", o.cmbM4AQuality.text);
    option("ALACSamFreq", o.alacSamFreq);
    option("ALACBits", o.alacBits);
    option("EqualizerApply", form.equalizer.chkApply ? QStringLiteral("1") : QStringLiteral("0"));
    option("EqualizerBands", equalizerBandsText(form.equalizer.gainsDb()));
    store.write("General", "LogOnOff", boolText(form.mnuLog));
    store.write("General", "SaveLog", boolText(form.mnuSaveLog));
    store.write("General", "TagEditor", boolText(form.mnuTagEditor));
}

void LoadSettings(OptionState &o, MainFormState &form, OptionPanel &panel, const AppFolder &folder)
{
    const Store store(folder);
    if (!form.cmbFormat.select(store.read("Mode")))
        form.cmbFormat.select(QStringLiteral("MP3"));
    panel.cmbFormat_Click();

    const auto button = [&](const char *key, const QString &current, bool (OptionPanel::*click)(int)) {
        selectButton(store.read(key), current, panel, click);
    };
    const auto text = [&](const char *key, ChoiceList &list) { list.select(store.read(key)); };

    button("AACSamFreq", o.aacSamFreq, &OptionPanel::optSamFreqAAC_Click);
    button("AACChannels", o.aacChannels, &OptionPanel::optChannelsAAC_Click);
    button("AACProfile", o.txtAACProfile, &OptionPanel::optProfileAAC_Click);
    text("AACBitRate", o.Combo8);

    button("WAVSamFreq", o.wavSamFreq, &OptionPanel::optSamFreqWAV_Click);
    button("WAVChannels", o.wavChannels, &OptionPanel::optChannelsWAV_Click);
    button("WAVCodec", o.wavPCM, &OptionPanel::optPCM_Click);

    button("MP3SamFreq", o.mp3SamFreq, &OptionPanel::optSamFreq_Click);
    button("MP3Channels", o.mp3Channels, &OptionPanel::optChannels_Click);
    text("MP3BitRate", o.Combo5);

    button("MP2SamFreq", o.MP2SamFreq, &OptionPanel::optSamFreqMP2_Click);
    button("MP2Channels", o.mp2Channels, &OptionPanel::optChannelsMP2_Click);
    text("MP2BitRate", o.Combo6);
    button("MP2Header", o.txtMP2Header, &OptionPanel::optMP2Header_Click);

    button("AC3SamFreq", o.ac3SamFreq, &OptionPanel::optSamFreqAC3_Click);
    button("AC3Channels", o.ac3Channels, &OptionPanel::optChannelsAC3_Click);
    text("AC3BitRate", o.Combo1);

    button("AmrType", o.amrType, &OptionPanel::optAMRType_Click);
    text("AmrBitRate", o.Combo2);

    // The later formats' buttons are restored without their clicks, which
    // would set the shared rate whatever the chosen format; the chosen
    // format's rate is derived again once they are all in.
    const auto index = [&](const char *key, QString &field, int buttons) {
        bool ok = false;
        const int stored = store.read(key).trimmed().toInt(&ok);
        if (ok && stored >= 0 && stored < buttons)
            field = QString::number(stored);
    };
    index("FLACSamFreq", o.flacSamFreq, 5);
    index("FLACBits", o.flacBits, 2);
    text("FLACLevel", o.cmbFLACLevel);
    index("OpusMode", o.opusMode, 2);
    index("OpusApplication", o.opusApplication, 3);
    text("OpusBitRate", o.cmbOpusBitRate);
    text("OggQuality", o.cmbOggQuality);
    index("M4AMode", o.m4aMode, 2);
    text("M4ABitRate", o.cmbM4ABitRate);
    text("M4AQuality", o.cmbM4AQuality);
    index("ALACSamFreq", o.alacSamFreq, 5);
    index("ALACBits", o.alacBits, 2);
    if (isLaterFormat(o.txtFormat))
        panel.cmbFormat_Click();

    form.equalizer.chkApply = store.read("EqualizerApply").trimmed() == QLatin1String("1");
    if (const std::optional<EqualizerGains> bands = equalizerBandsFrom(store.read("EqualizerBands")))
        form.equalizer.setGainsDb(*bands);
}

} // namespace tonmill
