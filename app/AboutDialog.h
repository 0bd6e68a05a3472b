#pragma once

#include "platform/AppFolder.h"

#include <QDialog>

#include <memory>

namespace Ui {
class AboutDialog;
}

namespace tonmill {

class Dialogs;

// The program's web site and its author's page, which About opens.
QString homePageUrl();
QString authorPageUrl();

// The About window: the version, the notice of the current language, and
// the program's two links, opened in the browser through the dialogs.
class AboutDialog : public QDialog {
    Q_OBJECT
public:
    AboutDialog(const AppFolder &folder, Dialogs &dialogs, QWidget *parent = nullptr);
    ~AboutDialog() override;

private:
    std::unique_ptr<Ui::AboutDialog> m_ui;
};

} // namespace tonmill
