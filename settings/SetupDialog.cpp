#include "settings/SetupDialog.h"

#include "controls/ReadingOrder.h"
#include "settings/BuiltInLanguages.h"
#include "settings/FlagIcons.h"
#include "settings/LanguageBinder.h"
#include "ui_SetupDialog.h"

namespace tonmill {

namespace {
// The flags' size in device-independent pixels: the 3:2 of most flags.
constexpr QSize kFlagSize(36, 24);
} // namespace

SetupDialog::SetupDialog(const AppFolder &folder, Dialogs &dialogs, UpdateCheck &updates, MainWindowHeight *window,
                         QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::SetupDialog>())
    , m_form(folder, dialogs, updates, window, [this] { relabel(); })
{
    m_ui->setupUi(this);
    QToolButton *const flags[] = {m_ui->Image1, m_ui->Image2, m_ui->Image3, m_ui->Image4, m_ui->Image5};
    for (int i = 0; i < 5; ++i) {
        QToolButton *flag = flags[i];
        flag->setIcon(QIcon(flagPixmap(i + 1, kFlagSize, devicePixelRatioF())));
        flag->setIconSize(kFlagSize);
        flag->setAutoRaise(true);
        // The language's own name, as tooltip and for screen readers.
        const QString name = builtInDisplayName(builtInLanguageNames().value(i));
        flag->setToolTip(name);
        flag->setAccessibleName(name);
        connect(flag, &QToolButton::clicked, this, [this, i] {
            m_form.Image_Click(i + 1);
            render();
        });
    }
    connect(m_ui->ffmpegPath, &QLineEdit::textEdited, this, [this](const QString &text) { m_form.state.ffmpegPath = text; });
    connect(m_ui->QuEncPath, &QLineEdit::textEdited, this, [this](const QString &text) { m_form.state.QuEncPath = text; });
    connect(m_ui->cmdBrowse1, &QPushButton::clicked, this, [this] {
        m_form.cmdBrowse1_Click();
        render();
    });
    connect(m_ui->cmdBrowse2, &QPushButton::clicked, this, [this] {
        m_form.cmdBrowse2_Click();
        render();
    });
    connect(m_ui->chkUpdates, &QCheckBox::clicked, this, [this](bool checked) {
        m_form.state.chkUpdates = checked;
        m_form.chkUpdates_Click();
    });
    connect(m_ui->chkVista, &QCheckBox::clicked, this, [this](bool checked) {
        m_form.state.chkVista = checked;
        m_form.chkVista_Click();
    });
    connect(m_ui->btnChkUpdates, &QPushButton::clicked, this, [this] {
        // The window runs on while the check waits: one check at a time.
        m_ui->btnChkUpdates->setEnabled(false);
        m_form.btnChkUpdates_Click();
        m_ui->btnChkUpdates->setEnabled(true);
    });
    connect(m_ui->btnOk, &QPushButton::clicked, this, [this] {
        m_form.btnOk_Click();
        accept();
    });
    connect(m_ui->btnCancel, &QPushButton::clicked, this, &QDialog::reject);

    m_form.Form_Load();
    ApplyFormLanguage(this, m_form.languageFile());
    setTabOrderByReading(this);
    render();
}

SetupDialog::~SetupDialog() = default;

void SetupDialog::render()
{
    const SetupFormState &s = m_form.state;
    m_ui->txtLanguage->setText(s.txtLanguage);
    m_ui->ffmpegPath->setText(s.ffmpegPath);
    m_ui->QuEncPath->setText(s.QuEncPath);
    m_ui->chkUpdates->setChecked(s.chkUpdates);
    m_ui->chkVista->setChecked(s.chkVista);
}

void SetupDialog::relabel()
{
    QWidget *root = parentWidget() ? parentWidget()->window() : this;
    ApplyLanguage(root, m_form.languageFile());
}

} // namespace tonmill
