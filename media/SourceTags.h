#pragma once

#include <QString>
#include <QStringList>

namespace tonmill {

// A source's own tags as naming reads them; any may be empty.
struct SourceTags {
    QString artist;
    QString albumArtist;
    QString album;
    QString title;
    QString track;
    QString disc;
    QString year;
    QString genre;
};

// The tags of the file's container and streams (the container's win), read
// with one run of ffprobe; empty tags when it cannot be read.
SourceTags readSourceTags(const QString &ffprobe, const QString &path);

// ffprobe's arguments for the tags, and how long a run may take.
QStringList sourceTagsProbeArguments(const QString &path);
constexpr int kSourceTagsTimeoutMs = 30000;

// The tags from ffprobe's JSON answer to those arguments.
SourceTags sourceTagsFromProbe(const QByteArray &json);

} // namespace tonmill
