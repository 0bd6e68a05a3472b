#include "app/AboutDialog.h"
#include "app/ActivityLog.h"
#include "app/MainWindow.h"
#include "app/MainWindowTitle.h"
#include "platform/AppVersion.h"
#include "settings/LanguageLines.h"
#include "settings/Translations.h"
#include "support/TestDialogs.h"

#include <QLabel>
#include <QPushButton>

#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>

using namespace tonmill;

class TestMainWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void titleAndLogPanel();
    void aboutShowsVersionNoticeAndLinks();
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

void TestMainWindow::aboutShowsVersionNoticeAndLinks()
{
    QTemporaryDir home;
    const AppFolder folder(home.path());
    const QString file = folder.file(QStringLiteral("Tonmill.LNG"));
    WriteLanguageFile(QStringLiteral("Deutsch"), file);
    LanguageLines lines;
    lines.LoadLanguageLines(file);
    test::TestDialogs dialogs;
    AboutDialog about(folder, dialogs);
    about.show();
    QCOMPARE(about.windowTitle(), QStringLiteral("Über Tonmill"));
    QCOMPARE(about.findChild<QLabel *>(QStringLiteral("lblVersion"))->text(),
             QStringLiteral("Version ") + versionText() + QStringLiteral(" beta"));
    const QString notice = about.findChild<QLabel *>(QStringLiteral("lblNotice"))->text();
    QVERIFY(!notice.isEmpty());
    QCOMPARE(notice, lines.text(QStringLiteral("About"), QStringLiteral("Notice"), QString()));
    for (const char *link : {"lnkHome", "lnkAuthor"})
        QTest::mouseClick(about.findChild<QPushButton *>(QLatin1String(link)), Qt::LeftButton);
    QCOMPARE(dialogs.openedUrls(), (QStringList{homePageUrl(), authorPageUrl()}));
    QTest::mouseClick(about.findChild<QPushButton *>(QStringLiteral("btnOk")), Qt::LeftButton);
    QVERIFY(!about.isVisible());
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
