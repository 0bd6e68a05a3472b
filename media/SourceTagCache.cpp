#include "media/SourceTagCache.h"

#include <QTimer>

namespace tonmill {

SourceTagCache::SourceTagCache(QObject *parent)
    : QObject(parent)
{
}

SourceTagCache::~SourceTagCache()
{
    if (m_probe) {
        m_probe->disconnect(this);
        m_probe->kill();
        m_probe->waitForFinished();
    }
}

std::optional<SourceTags> SourceTagCache::known(const QString &path) const
{
    const auto found = m_tags.constFind(path);
    if (found == m_tags.cend())
        return std::nullopt;
    return *found;
}

void SourceTagCache::want(const QString &ffprobe, const QStringList &paths)
{
    m_ffprobe = ffprobe;
    for (const QString &path : paths) {
        if (!m_tags.contains(path) && path != m_probing && !m_queue.contains(path))
            m_queue << path;
    }
    next();
}

SourceTags SourceTagCache::now(const QString &ffprobe, const QString &path)
{
    if (const std::optional<SourceTags> tags = known(path))
        return *tags;
    const SourceTags tags = readSourceTags(ffprobe, path);
    m_tags.insert(path, tags);
    m_queue.removeAll(path);
    return tags;
}

void SourceTagCache::next()
{
    if (m_probe || m_queue.isEmpty() || m_ffprobe.isEmpty())
        return;
    m_probing = m_queue.takeFirst();
    m_probe = std::make_unique<QProcess>();
    QProcess *probe = m_probe.get();
    probe->setStandardInputFile(QProcess::nullDevice());
    connect(probe, &QProcess::finished, this, [this, probe](int code, QProcess::ExitStatus status) {
        const bool read = status == QProcess::NormalExit && code == 0;
        finish(m_probing, read ? sourceTagsFromProbe(probe->readAllStandardOutput()) : SourceTags{});
    });
    connect(probe, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            finish(m_probing, {});
    });
    // A probe that hangs on a broken file must not hold up the rest.
    QTimer::singleShot(kSourceTagsTimeoutMs, probe, [probe] { probe->kill(); });
    probe->start(m_ffprobe, sourceTagsProbeArguments(m_probing));
}

void SourceTagCache::finish(QString path, const SourceTags &tags)
{
    // The process object may not be destroyed inside its own signal.
    m_probe.release()->deleteLater();
    m_probing.clear();
    if (!m_tags.contains(path))
        m_tags.insert(path, tags);
    // The next run starts before anyone hears of this one, who may ask for more.
    next();
    Q_EMIT arrived();
}

} // namespace tonmill
