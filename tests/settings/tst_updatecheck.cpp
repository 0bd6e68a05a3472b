// The update check against a real HTTP server on this machine: what the
// check logs, asks and opens for each answer the server can give, and that
// a silent or endless server neither freezes the window nor fills memory.
#include "app/ActivityLog.h"
#include "platform/AppVersion.h"
#include "settings/UpdateCheck.h"
#include "support/TestDialogs.h"
#include "support/TestPaths.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTest>
#include <QTimer>

using namespace tonmill;

namespace {

const QString kNoNewVersion = QStringLiteral(" -> New version checked: No 'New Version' Available");
const QString kFailed = QStringLiteral(" -> New version checked: Failed (No internet connection found).");
const QString kOffer = QStringLiteral("There's a new version available!\r\n\r\nDo you want to download it now?");
const QString kNoConnection = QStringLiteral("Couldn't find an internet Connection!");
const QString kUpToDate = QStringLiteral("No new versions available.");

// The log's messages, without the time of day.
QStringList messages(const ActivityLog &log)
{
    QStringList lines;
    for (const QString &line : log.text().split(QStringLiteral("\r\n"), Qt::SkipEmptyParts))
        lines << line.mid(8);
    return lines;
}

// The peak memory this process has used, in kB.
qint64 peakKilobytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

} // namespace

class TestUpdateCheck : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void answersOfTheServer();
    void silentServerGivesUpAndTheLoopRuns();
    void longBodiesAreRefusedUnread();

private:
    void point(const QString &path) { qputenv("TONMILL_UPDATE_URL", (m_base + path).toUtf8()); }

    QProcess m_server;
    QString m_base;
};

void TestUpdateCheck::initTestCase()
{
    m_server.start(QStringLiteral("/usr/bin/python3"), {QFINDTESTDATA("../support/versionserver.py")});
    QVERIFY(m_server.waitForStarted());
    QVERIFY(m_server.waitForReadyRead(10000));
    const int port = m_server.readLine().trimmed().toInt();
    QVERIFY(port > 0);
    m_base = QStringLiteral("http://127.0.0.1:%1").arg(port);
    point(QStringLiteral("/v/1"));
    QCOMPARE(versionFileUrl().toString(), m_base + QStringLiteral("/v/1"));
}

void TestUpdateCheck::cleanupTestCase()
{
    m_server.closeWriteChannel();
    m_server.waitForFinished(5000);
}

void TestUpdateCheck::answersOfTheServer()
{
    // Whether a stamp is newer follows the running version: the stamps are
    // compared as numbers.
    const QString local = versionStamp();
    const auto newer = [&local](int remote) { return local.toDouble() < remote; };
    struct Case {
        QString path;
        bool offered;       // a newer version: both checks ask
        bool fetched;       // the start check logs "No 'New Version'"
        QString message;    // the manual check's message when it does not ask
    };
    const QList<Case> cases = {
        {QStringLiteral("/v/300"), newer(300), true, kUpToDate},
        {QStringLiteral("/v/206"), newer(206), true, kUpToDate},
        {QStringLiteral("/v/206%0D%0A"), newer(206), true, kUpToDate},
        {QStringLiteral("/v/") + local, false, true, kUpToDate},
        {QStringLiteral("/v/") + QString::number(local.toInt() - 1), false, true, kUpToDate},
        {QStringLiteral("/v/40000"), false, false, kNoConnection},
        {QStringLiteral("/v/abc"), false, false, kNoConnection},
        {QStringLiteral("/v/"), false, false, kNoConnection},
        {QStringLiteral("/missing"), false, false, kNoConnection},
        {QStringLiteral("/cut"), false, false, kNoConnection},
    };
    for (const Case &c : cases) {
        point(c.path);
        // At start-up: the log, and the offer after the log line. Yes opens
        // the download page.
        ActivityLog log;
        test::TestDialogs dialogs;
        if (c.offered)
            dialogs.answer(DialogAnswer::Yes);
        UpdateCheck(log, dialogs).CheckForUpdatesAtStart();
        QCOMPARE(messages(log), QStringList{c.fetched ? kNoNewVersion : kFailed});
        QCOMPARE(dialogs.messages().size(), c.offered ? 1 : 0);
        if (c.offered) {
            QCOMPARE(dialogs.messages()[0].text, kOffer);
            QCOMPARE(dialogs.messages()[0].buttons, DialogButtons::YesNo);
            QCOMPARE(dialogs.messages()[0].icon, DialogIcon::Question);
            QCOMPARE(dialogs.openedUrls(), QStringList{downloadPageUrl()});
        }

        // From Setup: messages only, and No opens nothing.
        ActivityLog quiet;
        test::TestDialogs asked;
        asked.answer(c.offered ? DialogAnswer::No : DialogAnswer::Ok);
        UpdateCheck(quiet, asked).CheckForUpdatesNow();
        QVERIFY(quiet.text().isEmpty());
        QCOMPARE(asked.messages().size(), 1);
        QCOMPARE(asked.messages()[0].text, c.offered ? kOffer : c.message);
        QVERIFY(asked.openedUrls().isEmpty());
    }
}

void TestUpdateCheck::silentServerGivesUpAndTheLoopRuns()
{
    point(QStringLiteral("/silent"));
    ActivityLog log;
    test::TestDialogs dialogs;
    int ticks = 0;
    QTimer painter;
    connect(&painter, &QTimer::timeout, this, [&ticks] { ++ticks; });
    painter.start(100);
    QElapsedTimer waited;
    waited.start();
    UpdateCheck(log, dialogs).CheckForUpdatesAtStart();
    const qint64 ms = waited.elapsed();
    QVERIFY2(ms >= 14000 && ms <= 17000, qPrintable(QString::number(ms)));
    QCOMPARE(messages(log), QStringList{kFailed});
    // About ten ticks a second all along: the window would have painted.
    QVERIFY2(ticks >= 100, qPrintable(QString::number(ticks)));
}

void TestUpdateCheck::longBodiesAreRefusedUnread()
{
    const qint64 before = peakKilobytes();
    for (const QString &path : {QStringLiteral("/big"), QStringLiteral("/stream")}) {
        const TextFetch fetch = fetchText(QUrl(m_base + path));
        QVERIFY2(!fetch.ok() && fetch.error.contains(QStringLiteral("longer than 1024 bytes")), qPrintable(fetch.error));
        QVERIFY(fetch.body.isEmpty());
    }
    // 50 MB each, of which little more than a socket's buffer was taken.
    const qint64 grown = peakKilobytes() - before;
    QVERIFY2(grown < 8 * 1024, qPrintable(QString::number(grown)));
}

QTEST_GUILESS_MAIN(TestUpdateCheck)
#include "tst_updatecheck.moc"
