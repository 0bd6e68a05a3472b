#pragma once

#include "platform/AppFolder.h"

#include <QMainWindow>

class QTextEdit;

namespace tonmill {

// The program's only top-level window.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(const AppFolder &folder, QWidget *parent = nullptr);

    QTextEdit *rtbLog = nullptr;

private:
    AppFolder m_folder;
};

} // namespace tonmill
