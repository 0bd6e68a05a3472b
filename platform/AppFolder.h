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

    // "--home DIR" or "--home=DIR" when the arguments (the program's name
    // first) hold it, otherwise the executable's folder.
    static AppFolder fromArguments(const QStringList &arguments, const QString &executableDir);

private:
    QString m_path;
};

// A relative name written with "\\" or "/" in the spelling used on disk: each
// leading part that names a known file or folder takes that file's spelling;
// the rest stays as written.
QString canonicalRelativePath(const QString &relative);

} // namespace tonmill
