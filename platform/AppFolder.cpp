#include "platform/AppFolder.h"

#include <QDir>
#include <algorithm>
#include <array>

namespace tonmill {

namespace {
// Every file and folder of the application folder that the program names,
// relative to it, in the one spelling used on disk.
constexpr std::array kKnownPaths = {
    "Tonmill.ini", "Tonmill.LNG", "fileData.ini", "DirectQX.avs", "segment.avs",
    "Tools", "Tools/WMCmd.vbs", "Tools/Plugins", "Tools/Plugins/NicAudio.dll", "Tools/Plugins/soxfilter.dll",
    "Tools/MediaInfo", "Tools/MediaInfo/mediainfo",
};
} // namespace

QString canonicalRelativePath(const QString &relative)
{
    QString folded;
    const QStringList parts = QString(relative).replace(QLatin1Char('\\'), QLatin1Char('/'))
                                  .split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        const QString candidate = folded.isEmpty() ? part : folded + QLatin1Char('/') + part;
        const auto known = std::find_if(kKnownPaths.begin(), kKnownPaths.end(), [&](const char *path) {
            return candidate.compare(QLatin1String(path), Qt::CaseInsensitive) == 0;
        });
        folded = known != kKnownPaths.end() ? QString::fromLatin1(*known) : candidate;
    }
    return folded;
}

AppFolder::AppFolder(const QString &dir)
    : m_path(QDir::cleanPath(QDir(dir).absolutePath()))
{
}

QString AppFolder::file(const QString &relative) const
{
    const QString folded = canonicalRelativePath(relative);
    if (folded.isEmpty())
        return m_path;
    return m_path.endsWith(QLatin1Char('/')) ? m_path + folded : m_path + QLatin1Char('/') + folded;
}

AppFolder AppFolder::fromArguments(const QStringList &arguments, const QString &executableDir)
{
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        if (arguments[i] == QLatin1String("--home") && i + 1 < arguments.size())
            return AppFolder(arguments[i + 1]);
        if (arguments[i].startsWith(QLatin1String("--home=")))
            return AppFolder(arguments[i].mid(7));
    }
    return AppFolder(executableDir);
}

} // namespace tonmill
