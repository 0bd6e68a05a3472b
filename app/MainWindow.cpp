#include "app/MainWindow.h"

#include "app/MainWindowTitle.h"

#include <QTextEdit>
#include <QVBoxLayout>

namespace tonmill {

MainWindow::MainWindow(const AppFolder &folder, QWidget *parent)
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
    setCentralWidget(central);
    resize(711, 502); // 10665 x 7530 twips
}

} // namespace tonmill
