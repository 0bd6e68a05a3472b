#include "platform/SameFile.h"

#include <QFile>

#include <sys/stat.h>

namespace tonmill {

bool sameFile(const QString &a, const QString &b)
{
    struct stat sa {};
    struct stat sb {};
    if (::stat(QFile::encodeName(a).constData(), &sa) != 0 || ::stat(QFile::encodeName(b).constData(), &sb) != 0)
        return false;
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

} // namespace tonmill
