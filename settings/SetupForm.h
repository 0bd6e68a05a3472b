#pragma once

#include "platform/AppFolder.h"

#include <QString>

#include <functional>

namespace tonmill {

class Dialogs;
class UpdateCheck;

// What the Setup dialog changes of the main window: its height, which
// depends on whether the log panel is shown.
class MainWindowHeight {
public:
    virtual ~MainWindowHeight() = default;
    virtual bool mnuLogChecked() const = 0;
    virtual void setHeightTwips(int twips) = 0;
};

// The room the log panel takes in the main window, in twips.
constexpr int kLogPanelHeightTwips = 1660;

// The main window's height in twips: compact (Vista) or normal, with or
// without the log panel's 1660 twips.
int mainWindowHeightTwips(bool compact, bool logShown);

// The values the Setup dialog's controls show.
struct SetupFormState {
    QString txtLanguage; // the current language's name, for the language file
    QString ffmpegPath;
    QString QuEncPath;
    bool chkUpdates = false;
    bool chkVista = false;
};

// The Setup dialog's behaviour. Check boxes are stored the moment they are
// clicked; the language and the paths only by OK, so that Cancel leaves them
// unstored (a language picked by flag stays on the interface until the
// program ends). The window that shows it sets the state from its controls,
// calls the handler and shows the state again.
class SetupForm {
public:
    // window may be null while no main window exists; relabel puts the
    // language file's texts on every window after a flag is clicked.
    SetupForm(const AppFolder &folder, Dialogs &dialogs, UpdateCheck &updates, MainWindowHeight *window,
              std::function<void()> relabel);

    SetupFormState state;

    void Form_Load();
    // index 1 .. 5: the built-in languages in their order.
    void Image_Click(int index);
    void cmdBrowse1_Click();
    void cmdBrowse2_Click();
    void chkUpdates_Click();
    void chkVista_Click();
    void btnChkUpdates_Click();
    void btnOk_Click();

    QString languageFile() const;

private:
    QString settingsFile() const;
    QString browse(const QString &filter);

    AppFolder m_folder;
    Dialogs &m_dialogs;
    UpdateCheck &m_updates;
    MainWindowHeight *m_window;
    std::function<void()> m_relabel;
    // One dialog serves both buttons, so each starts from the name chosen last.
    QString m_dialogFileName;
};

} // namespace tonmill
