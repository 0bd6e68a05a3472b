#include "support/TestProcesses.h"

#include "platform/ChildProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

namespace tonmill::test {

QList<qint64> processesMentioning(const QString &text)
{
    QList<qint64> found;
    const QByteArray needle = text.toUtf8();
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool numeric = false;
        const qint64 pid = entry.toLongLong(&numeric);
        if (!numeric || pid == QCoreApplication::applicationPid())
            continue;
        QFile file(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        if (file.readAll().contains(needle) && isProcessAlive(pid))
            found << pid;
    }
    return found;
}

bool noProcessMentions(const QString &text, int waitMs)
{
    QElapsedTimer waited;
    waited.start();
    while (!processesMentioning(text).isEmpty()) {
        if (waited.elapsed() > waitMs)
            return false;
        QTest::qWait(20);
    }
    return true;
}

} // namespace tonmill::test
