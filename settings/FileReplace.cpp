#include "settings/FileReplace.h"

#include <QFileInfo>
#include <QSaveFile>

namespace tonmill {

bool canReplaceFile(const QString &file)
{
    const QFileInfo info(file);
    if (!info.exists())
        return !info.isSymLink();
    constexpr auto anyWrite = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
    return info.isFile() && info.isWritable() && (info.permissions() & anyWrite);
}

void replaceFile(const QString &file, const QByteArray &content)
{
    if (!canReplaceFile(file))
        return;
    QSaveFile output(file);
    // A folder that does not let us create the temporary file still lets us
    // write a file that we may write.
    output.setDirectWriteFallback(true);
    if (output.open(QIODevice::WriteOnly) && output.write(content) == content.size())
        output.commit();
}

} // namespace tonmill
