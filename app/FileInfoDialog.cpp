#include "app/FileInfoDialog.h"

#include "controls/ReadingOrder.h"
#include "settings/LanguageBinder.h"
#include "ui_FileInfoDialog.h"

#include <QFontDatabase>

namespace tonmill {

FileInfoDialog::FileInfoDialog(const QString &text, const QString &languageFile, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::FileInfoDialog>())
{
    m_ui->setupUi(this);
    // The report lines up its values in columns.
    m_ui->txtInfo->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_ui->txtInfo->setPlainText(QString(text).remove(QLatin1Char('\r')));
    connect(m_ui->btnExit, &QPushButton::clicked, this, &QDialog::accept);
    ApplyFormLanguage(this, languageFile);
    // The report is what the window is about: it bears the window's caption.
    m_ui->txtInfo->setAccessibleName(windowTitle());
    setTabOrderByReading(this);
}

FileInfoDialog::~FileInfoDialog() = default;

} // namespace tonmill
