#include "platform/AppFolder.h"

#include <QDir>
#include <array>

namespace tonmill {

namespace {
// Every file and folder of the application folder that the program names.
constexpr std::array kKnownNames = {
    "Tonmill.ini", "Tonmill.LNG", "fileData.ini", "DirectQX.avs", "segment.avs",
    "Tools",       "Plugins",     "MediaInfo",    "mediainfo",    "WMCmd.vbs",
    "NicAudio.dll", "soxfilter.dll",
};
} // namespace

QString canonicalComponent(const QString &component)
{
    for (const char *known : kKnownNames) {
        if (component.compare(QLatin1String(known), Qt::CaseInsensitive) == 0)
            return QString::fromLatin1(known);
    }
    return component;
}

AppFolder::AppFolder(const QString &dir)
    : m_path(QDir::cleanPath(QDir(dir).absolutePath()))
{
}

QString AppFolder::file(const QString &relative) const
{
    QString joined = m_path;
    const QStringList parts = QString(relative).replace(QLatin1Char('\\'), QLatin1Char('/'))
                                  .split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        if (!joined.endsWith(QLatin1Char('/')))
            joined += QLatin1Char('/');
        joined += canonicalComponent(part);
    }
    return joined;
}

AppFolder AppFolder::fromArguments(const QStringList &arguments, const QString &executableDir)
{
    const qsizetype at = arguments.indexOf(QStringLiteral("--home"));
    if (at >= 0 && at + 1 < arguments.size())
        return AppFolder(arguments.at(at + 1));
    return AppFolder(executableDir);
}

} // namespace tonmill
