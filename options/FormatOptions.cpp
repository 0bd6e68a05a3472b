#include "options/FormatOptions.h"

#include <array>

namespace tonmill {

const QString kFormatList = QStringLiteral("AAC|AC3|AMR|MP2/MPA|MP3|WAV|WMA|FLAC|OPUS|OGG|M4A|ALAC");
const QString kAACBitRates = QStringLiteral("24|32|48|56|64|96|112|128|160|192|224|256");
const QString kMP3BitRates = QStringLiteral("32|48|64|96|128|160|192|224");
const QString kMP2BitRates = QStringLiteral("32|48|56|64|96|112|128|160|192|224|256|320|384");
const QString kAC3BitRates = QStringLiteral("48|56|64|96|112|128|160|192|224|256|320|384|448");
const QString kAMRNarrowBitRates = QStringLiteral("8|11|13");
const QString kAMRWideBitRates = QStringLiteral("7|9|13|16|18|20|24");
const QString kWMAProfiles = QStringLiteral(
    "FM Radio mono (20Kbps)|FM Radio stereo (20Kbps)|Modem 56k (32Kbps)|Near CD Quality (48Kbps)"
    "|CD Quality (64Kbps)|CD Audiophile Quality (96Kbps)|CD Audiophile High Quality (128Kbps)");
const QString kFLACLevels = QStringLiteral("0|1|2|3|4|5|6|7|8");
const QString kOpusBitRates = QStringLiteral("6|8|12|16|24|32|48|64|96|128|160|192|256|320|384|448|510");
const QString kOggQualities = QStringLiteral("-1|0|1|2|3|4|5|6|7|8|9|10");
const QString kM4ABitRates = QStringLiteral("32|48|64|96|128|160|192|224|256|320");
// ffmpeg's AAC encoder grows with its quality only up to about 1.5.
const QString kM4AQualities = QStringLiteral("0.3|0.5|0.8|1|1.2|1.5");

namespace {

struct Format {
    const char *name;
    const char *extension;
    const char *frame;
};

constexpr std::array<Format, 12> kFormats = {{
    {"AAC", "aac", "frmAAC"},
    {"AC3", "ac3", "frmAC3"},
    {"AMR", "amr", "frmAMR"},
    {"MP2/MPA", "mp2", "frmMP2"},
    {"MP3", "mp3", "frmMP3"},
    {"WAV", "wav", "frmWAV"},
    {"WMA", "wma", "frmWMA"},
    {"FLAC", "flac", "frmFLAC"},
    {"OPUS", "opus", "frmOPUS"},
    {"OGG", "ogg", "frmOGG"},
    {"M4A", "m4a", "frmM4A"},
    {"ALAC", "m4a", "frmALAC"},
}};

const Format *findFormat(const QString &name)
{
    for (const Format &f : kFormats) {
        if (name == QLatin1String(f.name))
            return &f;
    }
    return nullptr;
}

template <std::size_t N>
QString pick(const std::array<const char *, N> &values, int index)
{
    if (index < 0 || index >= int(N))
        return {};
    return QString::fromLatin1(values[std::size_t(index)]);
}

constexpr std::array<const char *, 8> kAACButtonRates = {"11025", "12000", "16100", "22050",
                                                         "24000", "32000", "44100", "48000"};
// The eight rates of WAV, and of AAC when a format change derives them.
constexpr std::array<const char *, 8> kEightRates = {"11025", "12000", "16000", "22050",
                                                     "24000", "32000", "44100", "48000"};
// The lossless formats' rates: the source's own first.
constexpr std::array<const char *, 5> kLosslessRates = {"", "44100", "48000", "88200", "96000"};
constexpr std::array<const char *, 4> kAC3Rates = {"22050", "24000", "44100", "48000"};

struct WMAProfile {
    const char *name;
    const char *key;
};

constexpr std::array<WMAProfile, 7> kWMAProfileKeys = {{
    {"FM Radio mono (20Kbps)", "a20_1"},
    {"FM Radio stereo (20Kbps)", "a20_2"},
    {"Modem 56k (32Kbps)", "a32"},
    {"Near CD Quality (48Kbps)", "a48"},
    {"CD Quality (64Kbps)", "a64"},
    {"CD Audiophile Quality (96Kbps)", "a96"},
    {"CD Audiophile High Quality (128Kbps)", "a128"},
}};

} // namespace

QString formatIndex(const QString &formatName)
{
    const Format *f = findFormat(formatName);
    return f ? QString::number(f - kFormats.data() + 1) : QString();
}

QString formatExtension(const QString &formatName)
{
    const Format *f = findFormat(formatName);
    return f ? QString::fromLatin1(f->extension) : QString();
}

QString formatFrame(const QString &formatName)
{
    const Format *f = findFormat(formatName);
    return f ? QString::fromLatin1(f->frame) : QString();
}

QString aacButtonRate(int index)
{
    return pick(kAACButtonRates, index);
}

QString ac3ButtonRate(int index)
{
    return pick(kAC3Rates, index);
}

QString wavButtonRate(int index)
{
    return pick(kEightRates, index);
}

QString aacDerivedRate(int index)
{
    return pick(kEightRates, index);
}

QString aacContainer(const QString &txtAACProfile)
{
    if (txtAACProfile == QLatin1String("0"))
        return QStringLiteral("mp4");
    if (txtAACProfile == QLatin1String("1"))
        return QStringLiteral("mp2");
    return {};
}

QString mp2HeaderName(const QString &txtMP2Header)
{
    if (txtMP2Header == QLatin1String("0"))
        return QStringLiteral("mp2");
    if (txtMP2Header == QLatin1String("1"))
        return QStringLiteral("avi");
    if (txtMP2Header == QLatin1String("2"))
        return QStringLiteral("mpeg");
    return {};
}

QString wavCodec(const QString &wavPCM)
{
    if (wavPCM == QLatin1String("0"))
        return QStringLiteral("pcm_s16le");
    if (wavPCM == QLatin1String("1"))
        return QStringLiteral("pcm_u8");
    return {};
}

QString wavBitRate(const QString &wavPCM)
{
    if (wavPCM == QLatin1String("0"))
        return QStringLiteral("1411");
    if (wavPCM == QLatin1String("1"))
        return QStringLiteral("705");
    return {};
}

bool amrIsNarrowBand(const QString &amrType)
{
    return amrType == QLatin1String("0");
}

QString wmaProfileKey(const QString &profileName)
{
    for (const WMAProfile &p : kWMAProfileKeys) {
        if (profileName == QLatin1String(p.name))
            return QString::fromLatin1(p.key);
    }
    return {};
}

std::optional<QString> losslessRate(int index)
{
    if (index < 0 || index >= int(kLosslessRates.size()))
        return std::nullopt;
    return QString::fromLatin1(kLosslessRates[std::size_t(index)]);
}

QString losslessSampleFormat(const QString &bitsIndex, bool planar)
{
    const bool deep = bitsIndex == QLatin1String("1");
    return QLatin1String(deep ? "s32" : "s16") + QLatin1String(planar ? "p" : "");
}

QString opusApplication(const QString &index)
{
    if (index == QLatin1String("1"))
        return QStringLiteral("voip");
    if (index == QLatin1String("2"))
        return QStringLiteral("lowdelay");
    return QStringLiteral("audio");
}

bool isLaterFormat(const QString &txtFormat)
{
    bool ok = false;
    const int index = txtFormat.toInt(&ok);
    return ok && index >= 8 && index <= int(kFormats.size());
}

bool formatKeepsTags(const QString &txtFormat)
{
    return txtFormat == QLatin1String("5") || txtFormat == QLatin1String("7") || isLaterFormat(txtFormat);
}

} // namespace tonmill
