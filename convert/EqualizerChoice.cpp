#include "convert/EqualizerChoice.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

namespace tonmill {

namespace {
constexpr int kLargestGainDb = 24;
} // namespace

QString equalizerBandsText(const EqualizerGains &gains)
{
    QStringList texts;
    for (const int gain : gains)
        texts << QString::number(gain);
    return texts.join(QLatin1Char(','));
}

std::optional<EqualizerGains> equalizerBandsFrom(const QString &text)
{
    const QStringList texts = text.split(QLatin1Char(','));
    if (texts.size() != kEqualizerBands)
        return std::nullopt;
    EqualizerGains gains{};
    for (int i = 0; i < kEqualizerBands; ++i) {
        bool ok = false;
        gains[i] = texts[i].trimmed().toInt(&ok);
        if (!ok || std::abs(gains[i]) > kLargestGainDb)
            return std::nullopt;
    }
    return gains;
}

QString equalizerEntry(const EqualizerState &equalizer)
{
    const EqualizerGains gains = equalizer.gainsDb();
    if (!equalizer.chkApply || std::all_of(gains.begin(), gains.end(), [](int gain) { return gain == 0; }))
        return {};
    return QLatin1String(kEqualizerVariable) + QLatin1Char('=') + equalizerBandsText(gains);
}

std::optional<EqualizerGains> equalizerFrom(const QByteArray &value)
{
    return equalizerBandsFrom(QString::fromLatin1(value));
}

QString equalizerFilter(const EqualizerGains &gains)
{
    QStringList bands;
    for (int i = 0; i < kEqualizerBands; ++i)
        bands << QStringLiteral("%1b=%2").arg(i + 1).arg(std::pow(10.0, gains[i] / 20.0), 0, 'g', 6);
    return QStringLiteral("superequalizer=") + bands.join(QLatin1Char(':'));
}

} // namespace tonmill
