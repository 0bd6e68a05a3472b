#include "settings/SetupForm.h"

#include "platform/Dialogs.h"
#include "settings/BuiltInLanguages.h"
#include "settings/SettingsStore.h"
#include "settings/Translations.h"
#include "settings/UpdateCheck.h"

namespace tonmill {

int mainWindowHeightTwips(bool compact, bool logShown)
{
    return (compact ? 7410 : 7530) + (logShown ? kLogPanelHeightTwips : 0);
}

SetupForm::SetupForm(const AppFolder &folder, Dialogs &dialogs, UpdateCheck &updates, MainWindowHeight *window,
                     std::function<void()> relabel)
    : m_folder(folder)
    , m_dialogs(dialogs)
    , m_updates(updates)
    , m_window(window)
    , m_relabel(std::move(relabel))
{
}

QString SetupForm::languageFile() const
{
    return m_folder.file(QStringLiteral("\\Tonmill.LNG"));
}

QString SetupForm::settingsFile() const
{
    return m_folder.file(QStringLiteral("\\Tonmill.ini"));
}

void SetupForm::Form_Load()
{
    SettingsStore settings(settingsFile());
    const QString vista = settings.ensureVista();
    state.txtLanguage = settings.language();
    state.ffmpegPath = settings.ffmpegPath();
    state.QuEncPath = settings.quencPath();
    if (state.txtLanguage.isEmpty())
        state.txtLanguage = QStringLiteral("English");
    // A box that becomes checked here acts as if it had been clicked.
    state.chkVista = vista == QLatin1String("1");
    if (state.chkVista)
        chkVista_Click();
    state.chkUpdates = settings.checkUpdates();
    if (state.chkUpdates)
        chkUpdates_Click();
}

void SetupForm::Image_Click(int index)
{
    const QStringList languages = builtInLanguageNames();
    if (index < 1 || index > languages.size())
        return;
    state.txtLanguage = languages[index - 1];
    WriteLanguageFile(state.txtLanguage, languageFile());
    if (m_relabel)
        m_relabel();
}

QString SetupForm::browse(const QString &filter)
{
    m_dialogFileName = m_dialogs.fileName({FileRequest::Mode::Open, QStringLiteral("  Open"), filter, m_dialogFileName});
    return m_dialogFileName;
}

// The dialog's name is taken as it stands, also after a cancel.
void SetupForm::cmdBrowse1_Click()
{
    state.ffmpegPath = browse(QStringLiteral("FFMPEG Executable|ffmpeg;ffmpeg.exe"));
}

void SetupForm::cmdBrowse2_Click()
{
    state.QuEncPath = browse(QStringLiteral("QuEnc Executable|QuEnc;QuEnc.exe"));
}

void SetupForm::chkUpdates_Click()
{
    SettingsStore(settingsFile()).setCheckUpdates(state.chkUpdates);
}

void SetupForm::chkVista_Click()
{
    SettingsStore(settingsFile()).setVista(state.chkVista);
    if (m_window)
        m_window->setHeightTwips(mainWindowHeightTwips(state.chkVista, m_window->mnuLogChecked()));
}

void SetupForm::btnChkUpdates_Click()
{
    m_updates.CheckForUpdatesNow();
}

void SetupForm::btnOk_Click()
{
    SettingsStore settings(settingsFile());
    settings.setLanguage(state.txtLanguage);
    settings.setFfmpegPath(state.ffmpegPath);
    settings.setQuencPath(state.QuEncPath);
}

} // namespace tonmill
