#pragma once

#include <QString>
#include <QStringList>

namespace tonmill {

// The folder that holds the settings, the language file, the media report,
// the scripts and Tools/. The program names its files with the spellings of
// its original platform ("\Tonmill.INI", "\tools\WMCmd.vbs"); this class folds
// them to the one name that exists on disk.
class AppFolder {
public:
    explicit AppFolder(const QString &dir);

    // The folder as given, absolute, without a trailing separator.
    const QString &path() const { return m_path; }

    // The folder joined with a relative name written with "\" or "/",
    // each known component folded to its one spelling on disk.
    QString file(const QString &relative) const;

    // "--home DIR" when the arguments hold it, otherwise the executable's folder.
    static AppFolder fromArguments(const QStringList &arguments, const QString &executableDir);

private:
    QString m_path;
};

// Folds one path component to its spelling on disk; unknown names stay as they are.
QString canonicalComponent(const QString &component);

} // namespace tonmill
