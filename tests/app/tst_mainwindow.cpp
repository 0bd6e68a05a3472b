#include "app/ActivityLog.h"
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
    ActivityLog activity([] { return QTime(14, 3, 22); });
    activity.appendLine(QStringLiteral("2026-11-22"));
    MainWindow window{AppFolder(home.path()), activity};
    QCOMPARE(window.windowTitle(), mainWindowTitle());
    auto *log = window.findChild<QTextEdit *>(QStringLiteral("rtbLog"));
    QVERIFY(log);
    QCOMPARE(log, window.rtbLog);
    QVERIFY(log->isReadOnly());

    // The panel follows the log, with the caret at the end of the last line.
    QCOMPARE(log->toPlainText(), QStringLiteral("2026-11-22\n"));
    activity.append(QStringLiteral(" -> Process Completed!"));
    QCOMPARE(log->toPlainText(), QStringLiteral("2026-11-22\n14:03:22 -> Process Completed!\n"));
    QCOMPARE(log->textCursor().position(), QStringLiteral("2026-11-22\n14:03:22 -> Process Completed!").size());
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
