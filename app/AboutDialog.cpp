#include "app/AboutDialog.h"

#include "controls/ReadingOrder.h"
#include "platform/AppVersion.h"
#include "platform/Dialogs.h"
#include "settings/LanguageBinder.h"
#include "ui_AboutDialog.h"

namespace tonmill {

QString homePageUrl()
{
    return QStringLiteral("https://tonmill.example.org/");
}

QString authorPageUrl()
{
    return QStringLiteral("https://tonmill.example.org/author.html");
}

AboutDialog::AboutDialog(const AppFolder &folder, Dialogs &dialogs, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::AboutDialog>())
{
    m_ui->setupUi(this);
    m_ui->lblVersion->setText(QStringLiteral("Version ") + versionText() + QStringLiteral(" beta"));
    connect(m_ui->lnkHome, &QPushButton::clicked, this, [&dialogs] { dialogs.openUrl(homePageUrl()); });
    connect(m_ui->lnkAuthor, &QPushButton::clicked, this, [&dialogs] { dialogs.openUrl(authorPageUrl()); });
    connect(m_ui->btnOk, &QPushButton::clicked, this, &QDialog::accept);
    ApplyFormLanguage(this, folder.file(QStringLiteral("\\Tonmill.LNG")));
    setTabOrderByReading(this);
}

AboutDialog::~AboutDialog() = default;

} // namespace tonmill
