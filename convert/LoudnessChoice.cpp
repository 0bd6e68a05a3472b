#include "convert/LoudnessChoice.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace tonmill {

namespace {


const QString kMode = QStringLiteral("mode");
const QString kTarget = QStringLiteral("target");
const QString kCeiling = QStringLiteral("ceiling");
const QString kNormalize = QStringLiteral("normalize");
const QString kReplayGain = QStringLiteral("replaygain");

} // namespace

QString loudnessEntry(const LoudnessChoice &choice)
{
    if (choice.mode == LoudnessChoice::Mode::Off)
        return {};
    const QJsonObject json{
        {kMode, choice.mode == LoudnessChoice::Mode::Normalize ? kNormalize : kReplayGain},
        {kTarget, choice.targetLufs},
        {kCeiling, choice.truePeakDbtp},
    };
    return QLatin1String(kLoudnessVariable) + QLatin1Char('=')
        + QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact));
}

std::optional<LoudnessChoice> loudnessFrom(const QByteArray &value)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(value, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject json = document.object();
    LoudnessChoice choice;
    const QString mode = json.value(kMode).toString();
    if (mode == kNormalize)
        choice.mode = LoudnessChoice::Mode::Normalize;
    else if (mode == kReplayGain)
        choice.mode = LoudnessChoice::Mode::ReplayGain;
    else
        return std::nullopt;
    // A number left out takes its default; one of another type is a mistake.
    const QJsonValue target = json.value(kTarget);
    const QJsonValue ceiling = json.value(kCeiling);
    if ((!target.isUndefined() && !target.isDouble()) || (!ceiling.isUndefined() && !ceiling.isDouble()))
        return std::nullopt;
    choice.targetLufs = target.toDouble(choice.targetLufs);
    choice.truePeakDbtp = ceiling.toDouble(choice.truePeakDbtp);
    const auto within = [](double v, double lowest, double highest) { return v >= lowest && v <= highest; };
    if (!within(choice.targetLufs, kLowestTarget, kHighestTarget)
        || !within(choice.truePeakDbtp, kLowestCeiling, kHighestCeiling))
        return std::nullopt;
    return choice;
}

} // namespace tonmill
