#pragma once

#include <QString>
#include <QStringList>

namespace tonmill {

// Where the program keeps its files: the settings, the language file, the
// media report, the scripts and Tools/. The program names its files with the
// spellings of its original platform ("\Tonmill.INI", "\tools\WMCmd.vbs");
// this class folds them to the one name that exists on disk, and sends each to
// the folder that holds it.
class AppFolder {
public:
    // A portable application folder: everything, Tools/ included, inside dir.
    explicit AppFolder(const QString &dir);
    // The settings and the language file in settingsDir, the report, the
    // scripts and the other files the program writes in workDir, and what
    // Tools/ names in helperDir.
    AppFolder(const QString &settingsDir, const QString &workDir, const QString &helperDir);

    // The folder of the report and the scripts, absolute, without a trailing
    // separator.
    const QString &path() const { return m_work; }

    // The file that a relative name written with "\" or "/" names, each known
    // component folded to its one spelling on disk.
    QString file(const QString &relative) const;

private:
    QString m_settings;
    QString m_work;
    QString m_helpers;
};

// A relative name written with "\\" or "/" in the spelling used on disk: each
// leading part that names a known file or folder takes that file's spelling;
// the rest stays as written.
QString canonicalRelativePath(const QString &relative);

} // namespace tonmill
