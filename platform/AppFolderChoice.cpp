#include "platform/AppFolderChoice.h"

#include "installdirs.h"

#include <QDir>
#include <QFileInfo>

#include <unistd.h>

namespace tonmill {

namespace {

const QString kProgramFolder = QStringLiteral("Tonmill");

QString toolsBeside(const QString &executableDir)
{
    return QDir(executableDir).filePath(QStringLiteral("Tools"));
}

// access() rather than the permission bits: it also knows a read-only mount.
bool writable(const QString &dir)
{
    return ::access(QFile::encodeName(dir).constData(), W_OK) == 0;
}

} // namespace

QString helperFolder(const QString &executableDir)
{
    const QString beside = toolsBeside(executableDir);
    if (QFileInfo(beside).isDir())
        return beside;
    const QString installed =
        QDir::cleanPath(QDir(executableDir).filePath(QString::fromUtf8(installdirs::helpersFromExecutable)));
    return QFileInfo(installed).isDir() ? installed : beside;
}

AppFolder chooseAppFolder(const QString &home, const QString &executableDir, const UserFolders &user)
{
    const QString helpers = helperFolder(executableDir);
    if (!home.isEmpty()) {
        QDir().mkpath(home);
        return AppFolder(home, home, helpers);
    }
    if (QFileInfo(toolsBeside(executableDir)).isDir() && writable(executableDir))
        return AppFolder(executableDir);
    const QString settings = QDir(user.config).filePath(kProgramFolder);
    const QString work = QDir(user.cache).filePath(kProgramFolder);
    QDir().mkpath(settings);
    QDir().mkpath(work);
    return AppFolder(settings, work, helpers);
}

} // namespace tonmill
