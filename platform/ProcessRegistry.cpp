#include "platform/ProcessRegistry.h"

#include "platform/ChildProcess.h"

#include <QFile>
#include <QSaveFile>

namespace tonmill {

ProcessRegistry::ProcessRegistry(QString recordFile)
    : m_file(std::move(recordFile))
{
}

QList<ChildRecord> ProcessRegistry::load() const
{
    if (m_file.isEmpty())
        return m_memory;
    QList<ChildRecord> records;
    QFile file(m_file);
    if (!file.open(QIODevice::ReadOnly))
        return records;
    while (!file.atEnd()) {
        const QList<QByteArray> fields = file.readLine().trimmed().split('\t');
        if (fields.size() != 3)
            continue;
        records.append({fields[0].toLongLong(), fields[1].toULongLong(), QString::fromUtf8(fields[2])});
    }
    return records;
}

void ProcessRegistry::store(const QList<ChildRecord> &records) const
{
    if (m_file.isEmpty()) {
        m_memory = records;
        return;
    }
    QSaveFile file(m_file);
    if (!file.open(QIODevice::WriteOnly))
        return;
    for (const ChildRecord &r : records)
        file.write(QByteArray::number(r.pid) + '\t' + QByteArray::number(r.startTime) + '\t'
                   + r.imageName.toUtf8() + '\n');
    file.commit();
}

QList<ChildRecord> ProcessRegistry::live() const
{
    QList<ChildRecord> alive;
    for (const ChildRecord &r : load()) {
        if (r.startTime != 0 && processStartTime(r.pid) == r.startTime && isProcessAlive(r.pid))
            alive.append(r);
    }
    return alive;
}

void ProcessRegistry::add(qint64 pid, const QString &imageName)
{
    QList<ChildRecord> records = live(); // drops what has ended meanwhile
    QString name = imageName;
    name.remove(QLatin1Char('\t')).remove(QLatin1Char('\n'));
    records.append({pid, processStartTime(pid), name});
    store(records);
}

void ProcessRegistry::remove(qint64 pid)
{
    QList<ChildRecord> records = live();
    records.removeIf([pid](const ChildRecord &r) { return r.pid == pid; });
    store(records);
}

bool ProcessRegistry::contains(qint64 pid) const
{
    const QList<ChildRecord> records = live();
    return std::any_of(records.begin(), records.end(), [pid](const ChildRecord &r) { return r.pid == pid; });
}

} // namespace tonmill
