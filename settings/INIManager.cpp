#include "settings/INIManager.h"

#include "settings/FileReplace.h"
#include "settings/LanguageLines.h"
#include "settings/ProfileText.h"

#include <QFile>
#include <QFileInfo>

namespace tonmill {

QString ReadIniValue(const QString &section, const QString &key, const QString &file)
{
    QFile input(file);
    if (!input.open(QIODevice::ReadOnly))
        return QString();
    return profileValue(input.readAll(), section, key);
}

void WriteIniValue(const QString &section, const QString &key, const QString &value, const QString &file)
{
    QByteArray content;
    if (QFileInfo::exists(file)) {
        // A file that cannot be read must not be replaced by one key.
        QFile input(file);
        if (!canReplaceFile(file) || !input.open(QIODevice::ReadOnly))
            return;
        content = input.readAll();
    }
    if (const std::optional<QByteArray> changed = withProfileValue(content, section, key, value))
        replaceFile(file, *changed);
}

QString ReadLanguageText(const QString &section, const QString &key, const QString &defaultText,
                         const QString &file)
{
    LanguageLines lines;
    lines.LoadLanguageLines(file);
    return lines.text(section, key, defaultText);
}

bool IsValidLanguageName(const QString &name)
{
    for (const QChar reserved : LanguageLines::kReserved) {
        if (name.contains(reserved))
            return false;
    }
    return true;
}

} // namespace tonmill
