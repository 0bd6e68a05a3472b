#include "media/SourceTags.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

namespace tonmill {

namespace {

// Fills each empty field from the first of its keys that the tags hold; the
// keys differ between tag systems and letter cases.
void fillFrom(const QJsonObject &tags, SourceTags &t)
{
    QHash<QString, QString> lower;
    for (auto it = tags.begin(); it != tags.end(); ++it)
        lower.insert(it.key().toLower(), it.value().toString());
    const auto fill = [&lower](QString &field, std::initializer_list<const char *> keys) {
        for (const char *key : keys) {
            if (!field.isEmpty())
                return;
            field = lower.value(QLatin1String(key)).trimmed();
        }
    };
    fill(t.artist, {"artist"});
    fill(t.albumArtist, {"album_artist", "albumartist", "album artist"});
    fill(t.album, {"album"});
    fill(t.title, {"title"});
    fill(t.track, {"track", "tracknumber"});
    fill(t.disc, {"disc", "discnumber"});
    fill(t.year, {"date", "year", "originaldate"});
    fill(t.genre, {"genre"});
}

} // namespace

SourceTags sourceTagsFromProbe(const QByteArray &json)
{
    SourceTags tags;
    const QJsonObject root = QJsonDocument::fromJson(json).object();
    fillFrom(root.value(QLatin1String("format")).toObject().value(QLatin1String("tags")).toObject(), tags);
    // Ogg and Opus keep their comments in the stream.
    for (const QJsonValue stream : root.value(QLatin1String("streams")).toArray())
        fillFrom(stream.toObject().value(QLatin1String("tags")).toObject(), tags);
    return tags;
}

QStringList sourceTagsProbeArguments(const QString &path)
{
    return {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
            QStringLiteral("format_tags:stream_tags"), QStringLiteral("-of"), QStringLiteral("json"),
            QStringLiteral("file:") + path};
}

SourceTags readSourceTags(const QString &ffprobe, const QString &path)
{
    if (ffprobe.isEmpty())
        return {};
    QProcess probe;
    probe.setStandardInputFile(QProcess::nullDevice());
    probe.start(ffprobe, sourceTagsProbeArguments(path));
    if (!probe.waitForFinished(kSourceTagsTimeoutMs)) {
        probe.kill();
        probe.waitForFinished();
        return {};
    }
    return sourceTagsFromProbe(probe.readAllStandardOutput());
}

} // namespace tonmill
