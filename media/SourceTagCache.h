#pragma once

#include "media/SourceTags.h"

#include <QHash>
#include <QObject>
#include <QProcess>
#include <QStringList>

#include <memory>
#include <optional>

namespace tonmill {

// The tags of the files a batch lists, read in the background one ffprobe
// run at a time, so that a long list never holds up the window while the
// naming preview waits for them.
class SourceTagCache : public QObject {
    Q_OBJECT
public:
    explicit SourceTagCache(QObject *parent = nullptr);
    ~SourceTagCache() override;

    std::optional<SourceTags> known(const QString &path) const;
    // Queues the files not read yet; arrived() follows each one read.
    void want(const QString &ffprobe, const QStringList &paths);
    // The tags now: from the cache, else read at once.
    SourceTags now(const QString &ffprobe, const QString &path);

Q_SIGNALS:
    void arrived();

private:
    void next();
    // By value: the path is often m_probing itself, which this clears.
    void finish(QString path, const SourceTags &tags);

    QString m_ffprobe;
    QStringList m_queue;
    QHash<QString, SourceTags> m_tags;
    std::unique_ptr<QProcess> m_probe;
    QString m_probing;
};

} // namespace tonmill
