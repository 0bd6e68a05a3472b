#include "support/TestProcesses.h"

#include "platform/ChildProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTest>

namespace tonmill::test {

QList<qint64> processesMentioning(const QString &text)
{
    QList<qint64> found;
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool numeric = false;
        const qint64 pid = entry.toLongLong(&numeric);
        QFile file(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (numeric && pid != QCoreApplication::applicationPid() && file.open(QIODevice::ReadOnly)
            && file.readAll().contains(text.toUtf8()) && isProcessAlive(pid))
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

Ran runProgram(const QString &program, const QStringList &arguments, const QStringList &environment)
{
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString &entry : environment)
        env.insert(entry.section(QLatin1Char('='), 0, 0), entry.section(QLatin1Char('='), 1));
    p.setProcessEnvironment(env);
    p.start(program, arguments);
    Ran r;
    if (!p.waitForStarted(-1) || !p.waitForFinished(300000))
        return r;
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

} // namespace tonmill::test
