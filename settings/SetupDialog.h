#pragma once

#include "settings/SetupForm.h"

#include <QDialog>

#include <memory>

namespace Ui {
class SetupDialog;
}

namespace tonmill {

// The Setup window: binds its controls to SetupForm. Each opening makes a new
// one, which loads the settings afresh; OK stores, Cancel does not.
class SetupDialog : public QDialog {
    Q_OBJECT
public:
    // window: the main window whose height chkVista sets, or null.
    SetupDialog(const AppFolder &folder, Dialogs &dialogs, UpdateCheck &updates, MainWindowHeight *window,
                QWidget *parent = nullptr);
    ~SetupDialog() override;

    const SetupFormState &state() const { return m_form.state; }

private:
    // Shows the state in the controls.
    void render();
    // Puts the language file's texts on every window, this one included.
    void relabel();

    std::unique_ptr<Ui::SetupDialog> m_ui;
    SetupForm m_form;
};

} // namespace tonmill
