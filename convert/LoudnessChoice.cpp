#include "convert/LoudnessChoice.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <limits>

namespace tonmill {

namespace {

const QString kMode = QStringLiteral("mode");
const QString kTarget = QStringLiteral("target");
const QString kCeiling = QStringLiteral("ceiling");
const QString kNormalize = QStringLiteral("normalize");
const QString kReplayGain = QStringLiteral("replaygain");
const QString kAlbum = QStringLiteral("album");
const QString kMeasure = QStringLiteral("measure");
const QString kAlbumGain = QStringLiteral("album_gain");
const QString kAlbumPeak = QStringLiteral("album_peak");
const QString kMeasuredPrefix = QStringLiteral("loudness: integrated=");

} // namespace

QString loudnessEntry(const LoudnessChoice &choice)
{
    if (choice.mode == LoudnessChoice::Mode::Off)
        return {};
    QJsonObject json{
        {kMode, choice.mode == LoudnessChoice::Mode::Normalize ? kNormalize : kReplayGain},
        {kTarget, choice.targetLufs},
        {kCeiling, choice.truePeakDbtp},
    };
    if (choice.album)
        json.insert(kAlbum, true);
    if (choice.measureOnly)
        json.insert(kMeasure, true);
    if (choice.albumGain) {
        json.insert(kAlbumGain, choice.albumGain->gainDb);
        json.insert(kAlbumPeak, choice.albumGain->peak);
    }
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
    const QJsonValue albumGain = json.value(kAlbumGain);
    const QJsonValue albumPeak = json.value(kAlbumPeak);
    if (albumGain.isDouble() != albumPeak.isDouble() || (!albumGain.isUndefined() && !albumGain.isDouble()))
        return std::nullopt;
    if (albumGain.isDouble())
        choice.albumGain = AlbumGain{albumGain.toDouble(), albumPeak.toDouble()};
    choice.album = json.value(kAlbum).toBool();
    choice.measureOnly = json.value(kMeasure).toBool();
    choice.targetLufs = target.toDouble(choice.targetLufs);
    choice.truePeakDbtp = ceiling.toDouble(choice.truePeakDbtp);
    const auto within = [](double v, double lowest, double highest) { return v >= lowest && v <= highest; };
    if (!within(choice.targetLufs, kLowestTarget, kHighestTarget)
        || !within(choice.truePeakDbtp, kLowestCeiling, kHighestCeiling))
        return std::nullopt;
    return choice;
}

QString measuredLoudnessLine(double integratedLufs, double truePeakDbtp)
{
    return kMeasuredPrefix + QString::number(integratedLufs, 'f', 2) + QStringLiteral(" LUFS, true peak=")
        + QString::number(truePeakDbtp, 'f', 2) + QStringLiteral(" dBTP");
}

std::optional<TrackLoudness> measuredLoudnessIn(const QString &output)
{
    static const QRegularExpression line(QRegularExpression::escape(kMeasuredPrefix)
                                         + QStringLiteral(R"((-?[0-9.]+|-inf) LUFS, true peak=(-?[0-9.]+|-inf) dBTP)"));
    const QRegularExpressionMatch found = line.match(output);
    if (!found.hasMatch())
        return std::nullopt;
    const auto value = [](const QString &text) {
        return text == QLatin1String("-inf") ? -std::numeric_limits<double>::infinity() : text.toDouble();
    };
    TrackLoudness track;
    track.integratedLufs = value(found.captured(1));
    track.truePeakDbtp = value(found.captured(2));
    return track;
}

std::optional<AlbumGain> albumGainOf(const QList<TrackLoudness> &tracks)
{
    double power = 0;
    double seconds = 0;
    double peakDbtp = -std::numeric_limits<double>::infinity();
    for (const TrackLoudness &t : tracks) {
        if (!std::isfinite(t.integratedLufs) || t.integratedLufs <= kLoudnessFloorLufs || !(t.seconds > 0))
            continue;
        power += t.seconds * std::pow(10.0, t.integratedLufs / 10);
        seconds += t.seconds;
        peakDbtp = std::max(peakDbtp, t.truePeakDbtp);
    }
    if (!(seconds > 0))
        return std::nullopt;
    const double lufs = 10 * std::log10(power / seconds);
    return AlbumGain{replayGainDb(lufs), peakShare(peakDbtp)};
}

double replayGainDb(double integratedLufs)
{
    return std::round((kReplayGainReferenceLufs - integratedLufs) * 100) / 100 + 0.0;
}

double peakShare(double truePeakDbtp)
{
    return std::isfinite(truePeakDbtp) ? std::pow(10.0, truePeakDbtp / 20) : 0.0;
}

} // namespace tonmill
