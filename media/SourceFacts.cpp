#include "media/SourceFacts.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace tonmill {

namespace {

// Size and time together tell a rewritten file from the one measured.
QJsonObject identity(const QFileInfo &file)
{
    return {{QStringLiteral("path"), file.absoluteFilePath()},
            {QStringLiteral("size"), QString::number(file.size())},
            {QStringLiteral("modified"), QString::number(file.lastModified().toMSecsSinceEpoch())}};
}

bool complete(const AudioStreamInfo &stream)
{
    return stream.channels >= 1 && stream.channels <= kMaxAudioChannels && stream.sampleRate > 0
        && std::isfinite(stream.durationSeconds) && stream.durationSeconds >= 0;
}

} // namespace

QString sourceFactsEntry(const QString &path, const AudioStreamInfo &stream)
{
    const QFileInfo file(path);
    if (!complete(stream) || !file.isFile())
        return {};
    QJsonObject facts = identity(file);
    facts.insert(QStringLiteral("channels"), stream.channels);
    facts.insert(QStringLiteral("rate"), stream.sampleRate);
    facts.insert(QStringLiteral("seconds"), stream.durationSeconds);
    facts.insert(QStringLiteral("float"), stream.isFloat);
    facts.insert(QStringLiteral("cover"), stream.coverStream);
    return QLatin1String(kSourceFactsVariable) + QLatin1Char('=')
        + QString::fromUtf8(QJsonDocument(facts).toJson(QJsonDocument::Compact));
}

std::optional<AudioStreamInfo> knownSourceFacts(const QByteArray &encoded, const QString &path)
{
    if (encoded.isEmpty())
        return std::nullopt;
    const QJsonObject facts = QJsonDocument::fromJson(encoded).object();
    const QJsonObject now = identity(QFileInfo(path));
    for (auto key = now.begin(); key != now.end(); ++key) {
        if (facts.value(key.key()) != key.value())
            return std::nullopt;
    }
    AudioStreamInfo stream;
    stream.channels = facts.value(QStringLiteral("channels")).toInt();
    stream.sampleRate = facts.value(QStringLiteral("rate")).toInt();
    stream.durationSeconds = facts.value(QStringLiteral("seconds")).toDouble(-1);
    stream.isFloat = facts.value(QStringLiteral("float")).toBool();
    stream.coverStream = facts.value(QStringLiteral("cover")).toInt(-1);
    return complete(stream) ? std::optional<AudioStreamInfo>(stream) : std::nullopt;
}

} // namespace tonmill
