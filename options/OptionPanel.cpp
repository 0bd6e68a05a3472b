#include "options/OptionPanel.h"

#include "options/FormatOptions.h"
#include "options/MainFormState.h"
#include "options/OptionState.h"
#include "platform/Dialogs.h"
#include "settings/INIManager.h"

#include <array>

namespace tonmill {

namespace {

const QString kCrLf = QStringLiteral("\r\n");

// On a format change only these names re-derive SamFreq, compared exactly: the
// list shows upper-case names, so MP2/MPA, MP3 and WAV keep the previous
// format's rate until one of their own rate buttons is clicked.
struct Derivation {
    const char *name;
    QString OptionState::*indexField;
    QString (*rate)(int);
};

const std::array<Derivation, 5> kDerivations = {{
    {"AAC", &OptionState::aacSamFreq, &aacDerivedRate},
    {"AC3", &OptionState::ac3SamFreq, &ac3ButtonRate},
    {"mp2/mpa", &OptionState::MP2SamFreq, &ac3ButtonRate},
    {"mp3", &OptionState::mp3SamFreq, &ac3ButtonRate},
    {"wav", &OptionState::wavSamFreq, &aacDerivedRate},
}};

bool setRate(QString &indexField, QString &samFreq, QString (*rate)(int), int index)
{
    const QString value = rate(index);
    if (value.isEmpty())
        return false;
    indexField = QString::number(index);
    samFreq = value;
    return true;
}

bool setLosslessRate(QString &indexField, QString &samFreq, int index)
{
    const std::optional<QString> value = losslessRate(index);
    if (!value)
        return false;
    indexField = QString::number(index);
    samFreq = *value;
    return true;
}

bool setStereoOrMono(QString &indexField, QString &channelField, int index)
{
    if (index != 0 && index != 1)
        return false;
    indexField = QString::number(index);
    channelField = index == 1 ? QStringLiteral("2") : QStringLiteral("1");
    return true;
}

bool setChoice(QString &field, int index, int buttons)
{
    if (index < 0 || index >= buttons)
        return false;
    field = QString::number(index);
    return true;
}

int indexOf(const QString &field)
{
    bool ok = false;
    const int index = field.trimmed().toInt(&ok);
    return ok ? index : -1;
}

} // namespace

OptionPanel::OptionPanel(OptionState &options, MainFormState &form, Dialogs &dialogs, const AppFolder &folder)
    : m_options(options)
    , m_form(form)
    , m_dialogs(dialogs)
    , m_folder(folder)
    , m_ac3UpMixEnabled(form.chk51UpMix.enabled)
{
}

void OptionPanel::cmbFormat_Click()
{
    showFormatPanel();
    deriveSamFreq();
    ac3ChannelAdvice();
}

void OptionPanel::showFormatPanel()
{
    const QString name = m_form.cmbFormat.text;
    const QString extension = formatExtension(name);
    if (extension.isEmpty())
        return;
    const bool later = isLaterFormat(m_options.txtFormat) || isLaterFormat(formatIndex(name));
    const QString previous = QLatin1Char('.') + m_options.OutExtension;
    m_form.visibleFrame = formatFrame(name);
    m_form.chk51UpMix.enabled = isLaterFormat(formatIndex(name)) || m_ac3UpMixEnabled;
    m_options.txtFormat = formatIndex(name);
    m_options.OutExtension = extension;
    QString &label = m_form.lblOutputPath;
    // The seven first formats' extensions have three letters, which are
    // swapped whatever they were; to or from a later format, whose extension
    // may be longer, the extension itself is.
    if (later && label.endsWith(previous))
        label = label.left(label.size() - previous.size() + 1) + extension;
    else if (label.size() >= 3)
        label = label.left(label.size() - 3) + extension;
}

void OptionPanel::deriveSamFreq()
{
    // The later formats have rates of their own: FLAC's and ALAC's buttons,
    // Opus's one rate, and the source's own for Ogg and M4A.
    const QString &name = m_form.cmbFormat.text;
    if (name == QLatin1String("FLAC") || name == QLatin1String("ALAC")) {
        const QString &index = name == QLatin1String("FLAC") ? m_options.flacSamFreq : m_options.alacSamFreq;
        m_options.SamFreq = losslessRate(indexOf(index)).value_or(QString());
        return;
    }
    if (name == QLatin1String("OPUS") || name == QLatin1String("OGG") || name == QLatin1String("M4A")) {
        m_options.SamFreq = name == QLatin1String("OPUS") ? QStringLiteral("48000") : QString();
        return;
    }
    for (const Derivation &d : kDerivations) {
        if (m_form.cmbFormat.text != QLatin1String(d.name))
            continue;
        const QString value = d.rate(indexOf(m_options.*d.indexField));
        if (!value.isEmpty())
            m_options.SamFreq = value;
        return;
    }
}

void OptionPanel::cmbWMAProfile_Click()
{
    const QString key = wmaProfileKey(m_options.cmbWMAProfile.text);
    if (!key.isEmpty())
        m_options.txtWMAProfile = key;
}

bool OptionPanel::optSamFreqAAC_Click(int index)
{
    return setRate(m_options.aacSamFreq, m_options.SamFreq, &aacButtonRate, index);
}

bool OptionPanel::optSamFreqAC3_Click(int index)
{
    return setRate(m_options.ac3SamFreq, m_options.SamFreq, &ac3ButtonRate, index);
}

bool OptionPanel::optSamFreqMP2_Click(int index)
{
    return setRate(m_options.MP2SamFreq, m_options.SamFreq, &ac3ButtonRate, index);
}

bool OptionPanel::optSamFreq_Click(int index)
{
    return setRate(m_options.mp3SamFreq, m_options.SamFreq, &ac3ButtonRate, index);
}

bool OptionPanel::optSamFreqWAV_Click(int index)
{
    return setRate(m_options.wavSamFreq, m_options.SamFreq, &wavButtonRate, index);
}

bool OptionPanel::optChannelsAAC_Click(int index)
{
    return setStereoOrMono(m_options.aacChannels, m_options.txtChannelsAAC, index);
}

bool OptionPanel::optChannelsMP2_Click(int index)
{
    return setStereoOrMono(m_options.mp2Channels, m_options.txtChannelsMP2, index);
}

bool OptionPanel::optChannels_Click(int index)
{
    return setStereoOrMono(m_options.mp3Channels, m_options.txtChannelsMP3, index);
}

bool OptionPanel::optChannelsWAV_Click(int index)
{
    return setStereoOrMono(m_options.wavChannels, m_options.txtChannelsWAV, index);
}

bool OptionPanel::optChannelsAC3_Click(int index)
{
    switch (index) {
    case 2:
        m_options.txtChannelsAC3 = QStringLiteral("6");
        m_ac3UpMixEnabled = true;
        break;
    case 1:
        m_options.txtChannelsAC3 = QStringLiteral("2");
        break;
    case 0:
        m_options.txtChannelsAC3 = QStringLiteral("1");
        m_ac3UpMixEnabled = false;
        break;
    default:
        return false;
    }
    m_options.ac3Channels = QString::number(index);
    m_form.chk51UpMix.enabled = isLaterFormat(m_options.txtFormat) || m_ac3UpMixEnabled;
    ac3ChannelAdvice();
    return true;
}

bool OptionPanel::optProfileAAC_Click(int index)
{
    return setChoice(m_options.txtAACProfile, index, 2);
}

bool OptionPanel::optMP2Header_Click(int index)
{
    return setChoice(m_options.txtMP2Header, index, 3);
}

bool OptionPanel::optPCM_Click(int index)
{
    return setChoice(m_options.wavPCM, index, 2);
}

bool OptionPanel::optAMRType_Click(int index)
{
    if (!setChoice(m_options.amrType, index, 2))
        return false;
    // "13" lies in both lists, so it is the one choice that survives the switch.
    ChoiceList &list = m_options.Combo2;
    list.clear();
    list.text = QStringLiteral("13");
    list.fill(index == 0 ? kAMRNarrowBitRates : kAMRWideBitRates);
    return true;
}

bool OptionPanel::optSamFreqFLAC_Click(int index)
{
    return setLosslessRate(m_options.flacSamFreq, m_options.SamFreq, index);
}

bool OptionPanel::optFLACBits_Click(int index)
{
    return setChoice(m_options.flacBits, index, 2);
}

bool OptionPanel::optOpusMode_Click(int index)
{
    return setChoice(m_options.opusMode, index, 2);
}

bool OptionPanel::optOpusApp_Click(int index)
{
    return setChoice(m_options.opusApplication, index, 3);
}

bool OptionPanel::optM4AMode_Click(int index)
{
    return setChoice(m_options.m4aMode, index, 2);
}

bool OptionPanel::optSamFreqALAC_Click(int index)
{
    return setLosslessRate(m_options.alacSamFreq, m_options.SamFreq, index);
}

bool OptionPanel::optALACBits_Click(int index)
{
    return setChoice(m_options.alacBits, index, 2);
}

void OptionPanel::ac3ChannelAdvice()
{
    if (m_form.cmbFormat.text != QLatin1String("AC3") || m_form.txtPath.isEmpty())
        return;
    const QString channels =
        ReadIniValue(QStringLiteral("Audio"), QStringLiteral("Channel(s)"), m_folder.file(QStringLiteral("/fileData.ini")));
    const bool sixChannelOutput = m_options.ac3Channels == QLatin1String("2");
    if (channels == QLatin1String("2 channels") && !m_form.chk51UpMix.checked && sixChannelOutput) {
        MessageRequest request;
        request.text = QStringLiteral("You have selected AC3 6CH as output format!") + kCrLf
                       + QStringLiteral("Your input file has only 2 Channels, it is advisable that you use the "
                                        "'upmix 5.1' feature if you really want a 6ch output!")
                       + kCrLf + kCrLf
                       + QStringLiteral("Tonmill will do it for you automatically. If, for some reason you don't "
                                        "want to activate it, you can disable it.");
        m_dialogs.message(request);
        m_form.chk51UpMix.checked = true;
    } else if (channels == QLatin1String("6 channels") && m_form.chk51UpMix.checked && sixChannelOutput) {
        MessageRequest request;
        request.text = QStringLiteral("You have activated '5.1 UpMix' feature!") + kCrLf
                       + QStringLiteral("Your input file is already 6 Channels, it is advisable that you "
                                        "deactivate 'upmix 5.1' feature!")
                       + kCrLf + kCrLf
                       + QStringLiteral("Tonmill will do it for you automatically. If, for some reason you want "
                                        "to activate it, you can enable it.");
        m_dialogs.message(request);
        m_form.chk51UpMix.checked = false;
    }
}

} // namespace tonmill
