#pragma once

#include <QList>
#include <QString>

namespace tonmill {

// One process that this program started.
struct ChildRecord {
    qint64 pid = 0;
    quint64 startTime = 0;
    QString imageName;
};

// The processes this program started, so that ending processes by name can
// never touch a process on the machine that it did not start. The list is kept
// in a file of the application folder, so that a later run can still end what
// an earlier run left behind; an entry counts only while the same process (id
// and start time) is still alive.
class ProcessRegistry {
public:
    // recordFile empty: the list lives in memory only.
    explicit ProcessRegistry(QString recordFile = {});

    void add(qint64 pid, const QString &imageName);
    void remove(qint64 pid);
    bool contains(qint64 pid) const;

    // The recorded processes that are still alive, oldest first.
    QList<ChildRecord> live() const;

private:
    QList<ChildRecord> load() const;
    void store(const QList<ChildRecord> &records) const;

    QString m_file;
    mutable QList<ChildRecord> m_memory;
};

} // namespace tonmill
