#include "platform/AppVersion.h"
#include "settings/INIManager.h"
#include "settings/SettingsStore.h"
#include "settings/Translations.h"
#include "settings/UpgradePath.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;
using test::readBytes;
using test::writeBytes;

namespace {

const QString kUpdateQuestion = QStringLiteral("Would you like that Tonmill automatically checks for new versions?\r\n\r\n"
                                               "(You can change your option on 'Setup' dialog)");
const QString kInterfaceNotice = QStringLiteral("Your Interface, Language files and Configuration, have been updated!");
const QString kFirstRunNotice = QStringLiteral("This is the first time you run Tonmill\u2122 or\r\n"
                                               "Your configuration file got corrupted!\r\n"
                                               "Please reset your preferences on the Setup dialog.");

} // namespace

class TestSettingsStore : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void generalKeys();
    void optionKeys();
    void firstStartInOrder();
    void answeringNoAsksAgain();
    void interfaceResetAndFirstRunTouchOnlyTheirKeys();

private:
    QString freshFile()
    {
        m_dirs.append(std::make_shared<QTemporaryDir>());
        return m_dirs.last()->filePath(QStringLiteral("Tonmill.ini"));
    }
    QList<std::shared_ptr<QTemporaryDir>> m_dirs;
};

void TestSettingsStore::generalKeys()
{
    // What empty means; reading creates no file.
    SettingsStore settings(freshFile());
    QVERIFY(settings.versionChanged());
    QVERIFY(settings.interfaceChanged());
    QVERIFY(!settings.checkUpdates());
    QVERIFY(settings.isFirstRun());
    QCOMPARE(settings.vista(), std::nullopt);
    QVERIFY(!settings.logOnOff());
    QVERIFY(settings.saveLog());
    QVERIFY(!QFile::exists(settings.file()));

    // Defaults that are stored when found empty.
    QCOMPARE(settings.ensureLanguage(), QStringLiteral("English"));
    QCOMPARE(settings.ensureVista(), QStringLiteral("0"));
    QCOMPARE(readBytes(settings.file()), QByteArray("[General]\r\nLanguage=English\r\nVista=0\r\n"));
    settings.setLanguage(QStringLiteral("Deutsch"));
    QCOMPARE(settings.ensureLanguage(), QStringLiteral("Deutsch"));

    // Flags as "1"/"0" or "True"/"False", each as its readers expect.
    settings.setCheckUpdates(true);
    settings.setVista(true);
    settings.setLogOnOff(false);
    settings.setSaveLog(true);
    settings.setFfmpegPath(QStringLiteral("/usr/bin/ffmpeg"));
    settings.setQuencPath(QStringLiteral("/opt/QuEnc/QuEnc.exe"));
    QCOMPARE(readBytes(settings.file()), QByteArray("[General]\r\nLanguage=Deutsch\r\nVista=1\r\nChkUpdates=1\r\n"
                                                    "LogOnOff=False\r\nSaveLog=True\r\nFFMPEG=/usr/bin/ffmpeg\r\n"
                                                    "QUENC=/opt/QuEnc/QuEnc.exe\r\n"));
    QVERIFY(settings.checkUpdates());
    QCOMPARE(settings.vista(), std::optional<bool>(true));
    QVERIFY(!settings.isFirstRun());
    QCOMPARE(settings.quencPath(), QStringLiteral("/opt/QuEnc/QuEnc.exe"));

    // Names in other letter case, flags in either spelling.
    writeBytes(settings.file(), "[general]\r\nlogonoff=TRUE\r\nsavelog=false\r\nvista=0\r\nffmpeg=/x/ffmpeg\r\n");
    QVERIFY(settings.logOnOff());
    QVERIFY(!settings.saveLog());
    QCOMPARE(settings.vista(), std::optional<bool>(false));
    QCOMPARE(settings.ffmpegPath(), QStringLiteral("/x/ffmpeg"));
    // Values that mean nothing fall back to what empty means.
    writeBytes(settings.file(), "[General]\r\nLogOnOff=maybe\r\nSaveLog=on\r\nChkUpdates=yes\r\nVista=2\r\n");
    QVERIFY(!settings.logOnOff());
    QVERIFY(settings.saveLog());
    QVERIFY(!settings.checkUpdates());
    QCOMPARE(settings.vista(), std::nullopt);
    QCOMPARE(settings.ensureVista(), QStringLiteral("2"));
    QCOMPARE(flagValue(QStringLiteral("-1")), std::optional<bool>(true));
    QCOMPARE(flagValue(QStringLiteral(" fAlSe ")), std::optional<bool>(false));
}

void TestSettingsStore::optionKeys()
{
    const QStringList keys = SettingsStore::optionKeys();
    QCOMPARE(keys.size(), 20);
    QCOMPARE(keys.first(), QStringLiteral("Mode"));
    QCOMPARE(keys.last(), QStringLiteral("AACProfile"));

    SettingsStore settings(freshFile());
    for (qsizetype i = 0; i < keys.size(); ++i)
        settings.setOption(keys[i], QString::number(i));
    settings.setLogOnOff(false);
    const QString content = QString::fromUtf8(readBytes(settings.file()));
    QVERIFY(content.startsWith(QStringLiteral("[Options]\r\nMode=0\r\nMP3SamFreq=1\r\n")));
    QVERIFY(content.endsWith(QStringLiteral("AACProfile=19\r\n[General]\r\nLogOnOff=False\r\n")));
    for (qsizetype i = 0; i < keys.size(); ++i)
        QCOMPARE(settings.option(keys[i].toLower()), QString::number(i));
    settings.setMode(QStringLiteral("MP2/MPA"));
    QCOMPARE(settings.option(QStringLiteral("MODE")), QStringLiteral("MP2/MPA"));
}

// The start-up's order on a machine that has never run the program.
void TestSettingsStore::firstStartInOrder()
{
    SettingsStore settings(freshFile());
    const QString languageFile = QFileInfo(settings.file()).dir().filePath(QStringLiteral("Tonmill.LNG"));
    test::TestDialogs dialogs;
    dialogs.answer(DialogAnswer::Yes).answer(DialogAnswer::Ok).answer(DialogAnswer::Ok);
    QStringList events;
    const auto rewrite = [&] {
        events << QStringLiteral("language file for ") + settings.language();
        WriteLanguageFile(settings.language(), languageFile);
    };

    UpgradePath path(settings, dialogs);
    QVERIFY(path.checkVersion());
    events << QStringLiteral("asked");
    QVERIFY(path.checkInterface(rewrite));
    events << QStringLiteral("told");
    QCOMPARE(settings.ensureLanguage(), QStringLiteral("English"));
    rewrite();
    QVERIFY(path.checkFirstRun(rewrite, [&] { events << QStringLiteral("Setup shown"); }));

    QCOMPARE(events, (QStringList{QStringLiteral("asked"), QStringLiteral("language file for "), QStringLiteral("told"),
                                  QStringLiteral("language file for English"), QStringLiteral("language file for English"),
                                  QStringLiteral("Setup shown")}));
    QCOMPARE(dialogs.messages().size(), 3);
    QCOMPARE(dialogs.messages()[0].text, kUpdateQuestion);
    QCOMPARE(dialogs.messages()[0].buttons, DialogButtons::YesNo);
    QCOMPARE(dialogs.messages()[0].icon, DialogIcon::Question);
    QCOMPARE(dialogs.messages()[1].text, kInterfaceNotice);
    QCOMPARE(dialogs.messages()[1].buttons, DialogButtons::Ok);
    QCOMPARE(dialogs.messages()[2].text, kFirstRunNotice);
    QCOMPARE(dialogs.messages()[2].buttons, DialogButtons::Ok);
    QVERIFY(dialogs.allAnswersUsed());

    const QByteArray stamp = versionStamp().toLatin1();
    QCOMPARE(readBytes(settings.file()), "[General]\r\nChkUpdates=1\r\nVersion=" + stamp + "\r\nInterface=" + stamp
                                             + "\r\nLanguage=English\r\n[Options]\r\nMode=MP3\r\n");
    QVERIFY(readBytes(languageFile).startsWith("English\r\n{Menus}\r\n"));

    // The next start asks nothing while FFMPEG is still empty, except the
    // first-run notice.
    test::TestDialogs again;
    again.answer(DialogAnswer::Ok);
    UpgradePath next(settings, again);
    QVERIFY(!next.checkVersion());
    QVERIFY(!next.checkInterface(rewrite));
    QVERIFY(next.checkFirstRun([] {}, [] {}));
    QCOMPARE(again.messages().size(), 1);
}

void TestSettingsStore::answeringNoAsksAgain()
{
    SettingsStore settings(freshFile());
    settings.setVersion(QStringLiteral("42"));
    for (int start = 0; start < 2; ++start) {
        test::TestDialogs dialogs;
        dialogs.answer(DialogAnswer::No);
        QVERIFY(UpgradePath(settings, dialogs).checkVersion());
        QCOMPARE(dialogs.messages().size(), 1);
        QCOMPARE(settings.version(), QStringLiteral("42"));
        QVERIFY(!settings.checkUpdates());
        QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("ChkUpdates"), settings.file()), QStringLiteral("0"));
    }
    test::TestDialogs yes;
    yes.answer(DialogAnswer::Yes);
    QVERIFY(UpgradePath(settings, yes).checkVersion());
    QCOMPARE(settings.version(), versionStamp());
    QVERIFY(settings.checkUpdates());
    test::TestDialogs silent;
    QVERIFY(!UpgradePath(settings, silent).checkVersion());
    QVERIFY(silent.messages().isEmpty());
}

void TestSettingsStore::interfaceResetAndFirstRunTouchOnlyTheirKeys()
{
    SettingsStore settings(freshFile());
    for (const QString &stored : {QStringLiteral("999"), QStringLiteral("0"), QStringLiteral("v") + versionStamp()}) {
        settings.setInterfaceStamp(stored);
        QVERIFY2(settings.interfaceChanged(), qPrintable(stored));
    }
    settings.setMode(QStringLiteral("WAV"));
    settings.setOption(QStringLiteral("WAVCodec"), QStringLiteral("1"));
    test::TestDialogs dialogs;
    dialogs.answer(DialogAnswer::Ok).answer(DialogAnswer::Ok);
    QStringList events;
    QVERIFY(UpgradePath(settings, dialogs).checkInterface([&] { events << QStringLiteral("rewrite"); }));
    QCOMPARE(settings.mode(), QStringLiteral("MP3"));
    QCOMPARE(settings.option(QStringLiteral("WAVCodec")), QStringLiteral("1"));
    QVERIFY(!settings.interfaceChanged());
    QVERIFY(!UpgradePath(settings, dialogs).checkInterface([&] { events << QStringLiteral("rewrite"); }));

    // A damaged file without FFMPEG: the notice, the rewrite, Setup, and not
    // a byte of the file changed.
    settings.setFfmpegPath(QString());
    const QByteArray damaged = readBytes(settings.file());
    QVERIFY(UpgradePath(settings, dialogs).checkFirstRun([&] { events << QStringLiteral("rewrite"); },
                                                         [&] { events << QStringLiteral("setup"); }));
    QCOMPARE(events, (QStringList{QStringLiteral("rewrite"), QStringLiteral("rewrite"), QStringLiteral("setup")}));
    QCOMPARE(dialogs.messages().size(), 2);
    QCOMPARE(dialogs.messages()[0].text, kInterfaceNotice);
    QCOMPARE(dialogs.messages()[1].text, kFirstRunNotice);
    QCOMPARE(readBytes(settings.file()), damaged);

    settings.setFfmpegPath(QStringLiteral("/usr/bin/ffmpeg"));
    QVERIFY(!UpgradePath(settings, dialogs).checkFirstRun([&] { events << QStringLiteral("rewrite"); },
                                                          [&] { events << QStringLiteral("setup"); }));
    QCOMPARE(events.size(), 3);
    QCOMPARE(dialogs.messages().size(), 2);
}

QTEST_GUILESS_MAIN(TestSettingsStore)
#include "tst_settingsstore.moc"
