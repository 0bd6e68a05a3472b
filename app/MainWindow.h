#pragma once

#include "platform/AppFolder.h"

#include <QMainWindow>

class QTextEdit;

namespace tonmill {

class ActivityLog;

// The program's only top-level window.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    MainWindow(const AppFolder &folder, ActivityLog &log, QWidget *parent = nullptr);

    QTextEdit *rtbLog = nullptr;

private:
    void showLog(const QString &text, qsizetype caret);

    AppFolder m_folder;
};

} // namespace tonmill
