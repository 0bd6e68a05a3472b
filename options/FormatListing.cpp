#include "options/FormatListing.h"

#include "options/FormatOptions.h"

#include <QStringList>

#include <functional>
#include <initializer_list>

namespace tonmill {

namespace {

// "0 mono, 1 stereo": the index that a button group stores, with its meaning.
QString buttons(std::initializer_list<const char *> meanings)
{
    QStringList parts;
    int index = 0;
    for (const char *meaning : meanings)
        parts << QStringLiteral("%1 %2").arg(index++).arg(QLatin1String(meaning));
    return parts.join(QStringLiteral(", "));
}

// The same for rate buttons, whose rates come from the function that the
// option panel uses.
QString rateButtons(const std::function<QString(int)> &rate, int count)
{
    QStringList parts;
    for (int index = 0; index < count; ++index) {
        const QString hz = rate(index);
        parts << QStringLiteral("%1 %2").arg(index).arg(hz.isEmpty() ? QStringLiteral("the source's own") : hz);
    }
    return parts.join(QStringLiteral(", ")) + QStringLiteral(" Hz");
}

// A list's values as the settings file holds them.
QString values(const QString &list, const char *unit = "")
{
    QString text = QString(list).replace(QLatin1Char('|'), QLatin1Char(' '));
    return *unit ? text + QLatin1Char(' ') + QLatin1String(unit) : text;
}

QString losslessRateOf(int index)
{
    return losslessRate(index).value_or(QString());
}

struct Key {
    const char *name;
    QString values;
};

} // namespace

QString formatListing()
{
    const QString stereoOrMono = buttons({"mono", "stereo"});
    const QString bits = buttons({"16 bit", "24 bit"});
    const QList<std::pair<QString, QList<Key>>> formats = {
        {QStringLiteral("AAC"),
         {{"AACSamFreq", rateButtons(&aacButtonRate, 8)},
          {"AACChannels", stereoOrMono},
          {"AACProfile", buttons({"MPEG-4", "MPEG-2"})},
          {"AACBitRate", values(kAACBitRates, "kbit/s")}}},
        {QStringLiteral("AC3"),
         {{"AC3SamFreq", rateButtons(&ac3ButtonRate, 4)},
          {"AC3Channels", buttons({"mono", "stereo", "5.1"})},
          {"AC3BitRate", values(kAC3BitRates, "kbit/s")}}},
        {QStringLiteral("AMR"),
         {{"AmrType", buttons({"narrow band", "wide band"})},
          {"AmrBitRate", values(kAMRNarrowBitRates) + QStringLiteral(" (narrow), ") + values(kAMRWideBitRates)
                             + QStringLiteral(" (wide) kbit/s")}}},
        {QStringLiteral("MP2/MPA"),
         {{"MP2SamFreq", rateButtons(&ac3ButtonRate, 4)},
          {"MP2Channels", stereoOrMono},
          {"MP2BitRate", values(kMP2BitRates, "kbit/s")},
          {"MP2Header", buttons({"mp2", "avi", "mpeg"})}}},
        {QStringLiteral("MP3"),
         {{"MP3SamFreq", rateButtons(&ac3ButtonRate, 4)},
          {"MP3Channels", stereoOrMono},
          {"MP3BitRate", values(kMP3BitRates, "kbit/s")}}},
        {QStringLiteral("WAV"),
         {{"WAVSamFreq", rateButtons(&wavButtonRate, 8)},
          {"WAVChannels", stereoOrMono},
          {"WAVCodec", buttons({"16-bit signed PCM", "8-bit unsigned PCM"})}}},
        {QStringLiteral("WMA"), {{"--wma-profile", QStringLiteral("a profile of the list below")}}},
        {QStringLiteral("FLAC"),
         {{"FLACSamFreq", rateButtons(&losslessRateOf, 5)},
          {"FLACBits", bits},
          {"FLACLevel", values(kFLACLevels)}}},
        {QStringLiteral("OPUS"),
         {{"OpusMode", buttons({"VBR", "CBR"})},
          {"OpusApplication", buttons({"audio", "voip", "lowdelay"})},
          {"OpusBitRate", values(kOpusBitRates, "kbit/s")}}},
        {QStringLiteral("OGG"), {{"OggQuality", values(kOggQualities)}}},
        {QStringLiteral("M4A"),
         {{"M4AMode", buttons({"bit rate (M4ABitRate)", "VBR quality (M4AQuality)"})},
          {"M4ABitRate", values(kM4ABitRates, "kbit/s")},
          {"M4AQuality", values(kM4AQualities)}}},
        {QStringLiteral("ALAC"), {{"ALACSamFreq", rateButtons(&losslessRateOf, 5)}, {"ALACBits", bits}}},
    };

    QString text = QStringLiteral("The formats of --format, each with the keys of [Options] in Tonmill.ini that\n"
                                  "hold its options and the values they take:\n");
    for (const auto &[name, keys] : formats) {
        const bool tags = formatKeepsTags(formatIndex(name));
        text += QStringLiteral("\n%1  .%2, %3\n").arg(name, formatExtension(name), tags ? QStringLiteral("tags")
                                                                                           : QStringLiteral("no tags"));
        for (const Key &key : keys)
            text += QStringLiteral("  %1  %2\n").arg(QLatin1String(key.name), -15).arg(key.values);
    }
    // WMA's one choice is not kept in the settings: the command line gives it.
    QStringList profiles;
    for (const QString &profile : kWMAProfiles.split(QLatin1Char('|')))
        profiles << wmaProfileKey(profile) + QStringLiteral(" \"") + profile + QLatin1Char('"');
    text += QStringLiteral("\n--wma-profile takes a WMA profile by key or name:\n  ") + profiles.join(QStringLiteral("\n  "))
            + QLatin1Char('\n');
    return text;
}

} // namespace tonmill
