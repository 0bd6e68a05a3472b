#pragma once

#include "platform/AppFolder.h"

#include <QString>

namespace tonmill {

class Dialogs;
class MediaReport;
struct MainFormState;
struct OptionState;

// How the person names the source and the output file: the Open and Save-as
// dialogs, loading a source (media report, then the tag editor from it), and
// the switch between writing beside the source and writing to a chosen path.
// One dialog file name serves both dialogs, so each starts from the name
// chosen last in either.
class FileSelection {
public:
    static const QString kOpenFilter;
    // The file name patterns of the Open filter's first entry ("*.wav", ...):
    // what a folder added to a batch contributes.
    static QStringList audioPatterns();

    FileSelection(MainFormState &form, const OptionState &options, Dialogs &dialogs, MediaReport &report,
                  const AppFolder &folder);

    // The Open dialog, then loading whatever name it reports.
    void OpenSourceFile();
    // Loads a source as the Open dialog's choice would: the name is taken as
    // it stands, the media report runs and the tag editor is filled from it.
    void loadSource(const QString &path);
    // Fills the tag editor from the report's [General] section; a key the
    // report lacks empties its field.
    void LoadTagsFromReport();
    // The Save-as dialog with the chosen format's filter.
    void ChooseOutputFile();
    void chkSameOutput_Click(bool checked);
    void txtPath_Change();

    // The Save-as filter for a format number "1" … "7"; empty for any other.
    static QString saveFilter(const QString &txtFormat);

private:
    MainFormState &m_form;
    const OptionState &m_options;
    Dialogs &m_dialogs;
    MediaReport &m_report;
    AppFolder m_folder;
    QString m_dialogFileName;
};

} // namespace tonmill
