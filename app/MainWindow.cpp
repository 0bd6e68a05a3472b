#include "app/MainWindow.h"

#include "app/ActivityLog.h"
#include "app/MainWindowTitle.h"

#include <QTextCursor>
#include <QTextEdit>
#include <QVBoxLayout>

namespace tonmill {

MainWindow::MainWindow(const AppFolder &folder, ActivityLog &log, QWidget *parent)
    : QMainWindow(parent)
    , m_folder(folder)
{
    setObjectName(QStringLiteral("Main"));
    setWindowTitle(mainWindowTitle());

    auto *central = new QWidget(this);
    auto *layout = new QVBoxLayout(central);
    rtbLog = new QTextEdit(central);
    rtbLog->setObjectName(QStringLiteral("rtbLog"));
    rtbLog->setReadOnly(true);
    layout->addWidget(rtbLog);
    showLog(log.text(), log.text().size());
    connect(&log, &ActivityLog::changed, this, &MainWindow::showLog);
    setCentralWidget(central);
    resize(711, 502); // 10665 x 7530 twips
}

void MainWindow::showLog(const QString &text, qsizetype caret)
{
    // The panel counts a line break as one character where the log's CR LF is two.
    const qsizetype returnsBeforeCaret = QStringView(text).left(caret).count(QLatin1Char('\r'));
    rtbLog->setPlainText(QString(text).remove(QLatin1Char('\r')));
    QTextCursor cursor = rtbLog->textCursor();
    cursor.setPosition(static_cast<int>(caret - returnsBeforeCaret));
    rtbLog->setTextCursor(cursor);
    rtbLog->ensureCursorVisible();
}

} // namespace tonmill
