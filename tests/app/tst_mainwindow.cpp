#include "app/MainWindow.h"
#include "app/MainWindowTitle.h"
#include "platform/AppVersion.h"

#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>

using namespace tonmill;

class TestMainWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void titleAndLogPanel();
};

void TestMainWindow::titleAndLogPanel()
{
    QCOMPARE(mainWindowTitle(), QStringLiteral("Tonmill™ by Quorell (v.") + versionText() + QStringLiteral(" beta)"));
    QCOMPARE(mainWindowTitle(true), QStringLiteral(" ") + mainWindowTitle());

    QTemporaryDir home;
    MainWindow window{AppFolder(home.path())};
    QCOMPARE(window.windowTitle(), mainWindowTitle());
    auto *log = window.findChild<QTextEdit *>(QStringLiteral("rtbLog"));
    QVERIFY(log);
    QCOMPARE(log, window.rtbLog);
    QVERIFY(log->isReadOnly());
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
