#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class FileInfoDialog;
}

namespace tonmill {

// The File Info window: the source's media report as plain text, titled
// from the language file.
class FileInfoDialog : public QDialog {
    Q_OBJECT
public:
    FileInfoDialog(const QString &text, const QString &languageFile, QWidget *parent = nullptr);
    ~FileInfoDialog() override;

private:
    std::unique_ptr<Ui::FileInfoDialog> m_ui;
};

} // namespace tonmill
