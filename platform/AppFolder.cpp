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

QString absoluteFolder(const QString &dir)
{
    return QDir::cleanPath(QDir(dir).absolutePath());
}

QString joined(const QString &folder, const QString &relative)
{
    if (relative.isEmpty())
        return folder;
    return folder.endsWith(QLatin1Char('/')) ? folder + relative : folder + QLatin1Char('/') + relative;
}
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
    : AppFolder(dir, dir, QDir(dir).filePath(QStringLiteral("Tools")))
{
}

AppFolder::AppFolder(const QString &settingsDir, const QString &workDir, const QString &helperDir)
    : m_settings(absoluteFolder(settingsDir))
    , m_work(absoluteFolder(workDir))
    , m_helpers(absoluteFolder(helperDir))
{
}

QString AppFolder::file(const QString &relative) const
{
    const QString folded = canonicalRelativePath(relative);
    if (folded == QLatin1String("Tools") || folded.startsWith(QLatin1String("Tools/")))
        return joined(m_helpers, folded.mid(6));
    if (folded == QLatin1String("Tonmill.ini") || folded == QLatin1String("Tonmill.LNG"))
        return joined(m_settings, folded);
    return joined(m_work, folded);
}

} // namespace tonmill
