#include "settings/UpgradePath.h"

#include "platform/AppVersion.h"
#include "platform/Dialogs.h"
#include "settings/SettingsStore.h"

namespace tonmill {

namespace {
const QString kCrLf = QStringLiteral("\r\n");
}

UpgradePath::UpgradePath(SettingsStore &settings, Dialogs &dialogs)
    : m_settings(settings)
    , m_dialogs(dialogs)
{
}

bool UpgradePath::checkVersion()
{
    if (!m_settings.versionChanged())
        return false;
    MessageRequest question;
    question.text = QStringLiteral("Would you like that Tonmill automatically checks for new versions?") + kCrLf + kCrLf
        + QStringLiteral("(You can change your option on 'Setup' dialog)");
    question.buttons = DialogButtons::YesNo;
    question.icon = DialogIcon::Question;
    if (m_dialogs.message(question) == DialogAnswer::Yes) {
        m_settings.setCheckUpdates(true);
        m_settings.setVersion(versionStamp());
    } else {
        m_settings.setCheckUpdates(false);
    }
    return true;
}

bool UpgradePath::checkInterface(const std::function<void()> &rewriteLanguage)
{
    if (!m_settings.interfaceChanged())
        return false;
    m_settings.setInterfaceStamp(versionStamp());
    rewriteLanguage();
    m_settings.setMode(QStringLiteral("MP3"));
    MessageRequest notice;
    notice.text = QStringLiteral("Your Interface, Language files and Configuration, have been updated!");
    m_dialogs.message(notice);
    return true;
}

bool UpgradePath::checkFirstRun(const std::function<void()> &rewriteLanguage, const std::function<void()> &openSetup)
{
    if (!m_settings.isFirstRun())
        return false;
    MessageRequest notice;
    notice.text = QStringLiteral("This is the first time you run Tonmill\u2122 or") + kCrLf
        + QStringLiteral("Your configuration file got corrupted!") + kCrLf
        + QStringLiteral("Please reset your preferences on the Setup dialog.");
    m_dialogs.message(notice);
    rewriteLanguage();
    openSetup();
    return true;
}

} // namespace tonmill
