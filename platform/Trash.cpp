#include "platform/Trash.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace tonmill {

namespace {

constexpr int kMaxNameTries = 10000;

// Creates the info file only when no other has its name, so that two
// programs trashing at once never take one name.
bool createExclusive(const QString &path, const QByteArray &content)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    const bool written = ::write(fd, content.constData(), size_t(content.size())) == content.size();
    ::close(fd);
    if (!written)
        ::unlink(QFile::encodeName(path).constData());
    return written;
}

} // namespace

QString homeTrashDir()
{
    QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    if (dataHome.isEmpty() || !QDir::isAbsolutePath(dataHome))
        dataHome = QDir::homePath() + QStringLiteral("/.local/share");
    return dataHome + QStringLiteral("/Trash");
}

QString moveToTrash(const QString &path, const QString &trashDir)
{
    const QFileInfo source(path);
    if (!source.isFile())
        return QStringLiteral("\"%1\" is no file").arg(path);
    const QString files = trashDir + QStringLiteral("/files");
    const QString info = trashDir + QStringLiteral("/info");
    if (!QDir().mkpath(files) || !QDir().mkpath(info))
        return QStringLiteral("the trash \"%1\" cannot be made").arg(trashDir);
    QFile::setPermissions(trashDir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    const QString absolute = source.absoluteFilePath();
    const QByteArray content = "[Trash Info]\nPath="
                               + QUrl::toPercentEncoding(absolute, "/")
                               + "\nDeletionDate="
                               + QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-ddThh:mm:ss")).toUtf8()
                               + "\n";
    const QString name = source.fileName();
    const QString stem = source.completeBaseName();
    const QString suffix = source.suffix().isEmpty() ? QString() : QLatin1Char('.') + source.suffix();
    for (int n = 1; n <= kMaxNameTries; ++n) {
        const QString trashed = n == 1 ? name : QStringLiteral("%1.%2%3").arg(stem).arg(n).arg(suffix);
        const QString infoFile = info + QLatin1Char('/') + trashed + QStringLiteral(".trashinfo");
        if (QFileInfo::exists(files + QLatin1Char('/') + trashed) || !createExclusive(infoFile, content)) {
            if (errno == EEXIST || QFileInfo::exists(files + QLatin1Char('/') + trashed))
                continue;
            return QStringLiteral("the trash's info file cannot be written: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
        }
        if (std::rename(QFile::encodeName(absolute).constData(),
                        QFile::encodeName(files + QLatin1Char('/') + trashed).constData())
            == 0)
            return {};
        const int error = errno;
        ::unlink(QFile::encodeName(infoFile).constData());
        if (error == EXDEV)
            return QStringLiteral("it lies on another file system than the trash \"%1\"").arg(trashDir);
        return QStringLiteral("it cannot be moved to the trash: %1").arg(QString::fromLocal8Bit(std::strerror(error)));
    }
    return QStringLiteral("the trash has no free name for it");
}

} // namespace tonmill
