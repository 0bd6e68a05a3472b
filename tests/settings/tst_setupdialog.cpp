// The language binder and the Setup dialog clicked as a person would, offscreen, and the update
// check against a real HTTP server on this machine, for each answer the server can give.
#include "app/ActivityLog.h"
#include "platform/AppFolder.h"
#include "platform/AppVersion.h"
#include "settings/INIManager.h"
#include "settings/LanguageBinder.h"
#include "settings/Mnemonics.h"
#include "settings/SetupDialog.h"
#include "settings/Translations.h"
#include "settings/UpdateCheck.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"

#include <QAction>
#include <QCheckBox>
#include <QElapsedTimer>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tonmill;
using namespace Qt::Literals::StringLiterals;

namespace {

// A drawn control that names its text "caption", as the gradient panel does.
class CaptionedPanel : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString caption MEMBER m_caption)
    QString m_caption;

public:
    using QWidget::QWidget;
};

// The property that holds a control's caption, as the binder looks for it.
const char *captionProperty(const QObject *control)
{
    for (const char *name : {"caption", "title", "text"})
        if (control->metaObject()->indexOfProperty(name) >= 0)
            return name;
    return "windowTitle";
}

// The main window as far as Setup and the binder reach it: its height, its log switch, and
// "untouched" controls of each kind that takes a caption, one the language file does not name.
class FakeMain : public QWidget, public MainWindowHeight {
public:
    FakeMain() { setObjectName(u"Main"_s); }
    bool mnuLogChecked() const override { return logShown; }
    void setHeightTwips(int twips) override { heights << twips; }
    template <typename T>
    T *add(const char *name)
    {
        auto *control = new T(this);
        control->setObjectName(QLatin1String(name));
        control->setProperty(captionProperty(control), u"untouched"_s);
        return control;
    }
    // Each named control's caption as shown, without its Alt+letter.
    void check(const QList<std::pair<const char *, QString>> &expected) const
    {
        for (const auto &[name, text] : expected) {
            const QObject *control = findChild<QObject *>(QLatin1String(name));
            QVERIFY2(control, name);
            QCOMPARE(withoutMnemonic(control->property(captionProperty(control)).toString()), text);
        }
    }

    bool logShown = false;
    QList<int> heights;
    QPushButton *convert = add<QPushButton>("btnConvert");
    QObject *others[7] = {add<QLabel>("lblOther"), add<CaptionedPanel>("fraFileMode"), add<QGroupBox>("frmAC3"),
                          add<QRadioButton>("optChannelsAC3_0"), add<QRadioButton>("optChannelsAC3_2"),
                          add<QMenu>("mnuArquivo"), add<QAction>("mnuAbrir")};
};

struct Fixture {
    QTemporaryDir dir;
    AppFolder folder{dir.path()};
    test::TestDialogs dialogs;
    ActivityLog log;
    // The version file says the running version: nothing newer.
    UpdateCheck updates{log, dialogs, [] { return TextFetch{versionStamp(), {}}; }};
    FakeMain main;
    std::unique_ptr<SetupDialog> setup;

    Fixture() { WriteLanguageFile(u"English"_s, languageFile()); }
    QString languageFile() const { return folder.file(u"Tonmill.LNG"_s); }
    QString ini() const { return folder.file(u"Tonmill.ini"_s); }
    QString setting(const char *key) const { return ReadIniValue(u"General"_s, QLatin1String(key), ini()); }
    void set(const char *key, const QString &value) const { WriteIniValue(u"General"_s, QLatin1String(key), value, ini()); }
    void open()
    {
        setup = std::make_unique<SetupDialog>(folder, dialogs, updates, &main, &main);
        setup->show();
    }
    template <typename T = QWidget>
    T *control(const char *name) const
    {
        T *found = setup->findChild<T *>(QLatin1String(name));
        return found ? found : (qFatal("no control %s", name), nullptr);
    }
    QString text(const char *name) const { return control<QLineEdit>(name)->text(); }
    // A press where a person would: a check box on its box, any other button in its middle.
    void click(const char *name) const
    {
        auto *button = control<QAbstractButton>(name);
        const bool box = qobject_cast<QCheckBox *>(button);
        QTest::mouseClick(button, Qt::LeftButton, {}, box ? QPoint(8, button->height() / 2) : button->rect().center());
    }
};

// The peak memory this process has used, in kB.
qint64 peakKilobytes()
{
    QFile status(u"/proc/self/status"_s);
    const QString text = status.open(QIODevice::ReadOnly) ? QString::fromLatin1(status.readAll()) : QString();
    return QRegularExpression(u"VmHWM:\\s*(\\d+)"_s).match(text).captured(1).toLongLong();
}

} // namespace

class TestSetupDialog : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void binderRelabelsExistingControls();
    void loadsAndStoresAsTheSettingsSay();
    void flagRelabelsAtOnceAndCancelLeavesItUnstored();
    void checkBoxesStoreAtTheClickAndVistaResizes();
    void updateCheckAgainstARealServer();
};

// The language binder on the Setup dialog over the main window.
void TestSetupDialog::binderRelabelsExistingControls()
{
    Fixture f;
    f.open();
    WriteLanguageFile(u"Francais"_s, f.languageFile());
    ApplyLanguage(&f.main, f.languageFile());
    // The Setup dialog's controls follow; its title is set only when it loads.
    f.main.check({{"mnuArquivo", u"Fichier"_s}, {"mnuAbrir", u"Ouvrir"_s}, {"btnConvert", u"Convertir"_s},
                  {"fraFileMode", u"Mode fichier"_s}, {"frmAC3", u"Options AC3"_s}, {"optChannelsAC3_0", u"1 Canal"_s},
                  {"optChannelsAC3_2", u"6 Canaux"_s}, {"lblOther", u"untouched"_s}, {"Setup", u"Setup"_s},
                  {"fraLanguages", u"Langues disponibles (cliquez sur un drapeau pour l'appliquer)"_s},
                  {"btnChkUpdates", u"Rechercher les mises à jour maintenant"_s}});
    // Relabelling from the Setup dialog alone reaches its own controls only.
    WriteLanguageFile(u"Deutsch"_s, f.languageFile());
    ApplyLanguage(f.setup.get(), f.languageFile());
    f.main.check({{"btnConvert", u"Convertir"_s}, {"chkUpdates", u"Automatisch nach Updates suchen"_s}});

    // A window's own captions come when it loads: Setup's title, About's notice, Dialog's title.
    WriteLanguageFile(u"Portugues"_s, f.languageFile());
    ApplyFormLanguage(f.setup.get(), f.languageFile());
    f.main.check({{"Setup", u"Configurações"_s}, {"btnConvert", u"Convertir"_s}});
    QDialog about;
    about.setObjectName(u"About"_s);
    auto *notice = new QLabel(u"untouched"_s, &about);
    notice->setObjectName(u"lblNotice"_s);
    ApplyLanguage(&about, f.languageFile());
    QCOMPARE(notice->text(), u"untouched"_s);
    ApplyFormLanguage(&about, f.languageFile());
    QVERIFY(notice->text().startsWith(u"Tonmill é gratuito"_s));
    QDialog dialog;
    dialog.setObjectName(u"Dialog"_s);
    ApplyFormLanguage(&dialog, f.languageFile());
    QCOMPARE(dialog.windowTitle(), u"Informações do Arquivo"_s);

    // Missing keys blank their controls (the channel count stays); an unknown language blanks all.
    test::writeBytes(f.languageFile(), "Edited\r\n{Menus}\r\nfileopen\xC2\xBBMy &Open\r\n{Main}\r\nCONVERT\xC2\xBBGo!\r\n"
                                       "{FormatOptions}\r\nChannels\xC2\xBB" "ch\r\n");
    ApplyLanguage(&f.main, f.languageFile());
    f.main.check({{"mnuAbrir", u"My Open"_s}, {"btnConvert", u"Go!"_s}, {"mnuArquivo", QString()},
                  {"optChannelsAC3_2", u"6 ch"_s}, {"optChannelsAC3_0", u"1 "_s}, {"fraLanguages", QString()}});
    WriteLanguageFile(u"english"_s, f.languageFile());
    ApplyLanguage(&f.main, f.languageFile());
    f.main.check({{"mnuAbrir", QString()}, {"btnConvert", QString()}, {"fraFileMode", QString()}, {"lblOther", u"untouched"_s}});
}

void TestSetupDialog::loadsAndStoresAsTheSettingsSay()
{
    Fixture f;
    // No settings file: Vista is written as "0", the hidden language holder says English.
    f.open();
    QCOMPARE(f.setting("Vista"), u"0"_s);
    QCOMPARE(f.text("txtLanguage"), u"English"_s);
    QVERIFY(!f.control("txtLanguage")->isVisible());
    QVERIFY(f.main.heights.isEmpty());
    QCOMPARE(f.setup->windowTitle(), u"Setup"_s);
    QCOMPARE(f.control<QCheckBox>("chkUpdates")->text(), u"Check for &updates automatically"_s);

    // Paths are stored as typed, unchecked, and only by OK.
    f.control<QLineEdit>("ffmpegPath")->clear();
    QTest::keyClicks(f.control("ffmpegPath"), u"/no/such/ffmpeg"_s);
    QTest::keyClicks(f.control("QuEncPath"), u"C:\\QuEnc\\QuEnc.exe"_s);
    QVERIFY(f.setting("FFMPEG").isEmpty());
    f.click("btnOk");
    QVERIFY(!f.setup->isVisible());
    QCOMPARE(f.setting("FFMPEG"), u"/no/such/ffmpeg"_s);
    QCOMPARE(f.setting("QUENC"), u"C:\\QuEnc\\QuEnc.exe"_s);
    QCOMPARE(f.setting("Language"), u"English"_s);

    // Opened again, it reads them back; the manual check reports in a message.
    f.open();
    QCOMPARE(f.text("ffmpegPath"), u"/no/such/ffmpeg"_s);
    f.dialogs.answer(DialogAnswer::Ok);
    f.click("btnChkUpdates");
    QCOMPARE(f.dialogs.messages().last().text, u"No new versions available."_s);

    // One file dialog serves both browse buttons: a cancelled QuEnc browse gives the name chosen last.
    f.dialogs.answerFile(u"/opt/ffmpeg/bin/ffmpeg"_s).answerFile(u"/opt/ffmpeg/bin/ffmpeg"_s);
    f.click("cmdBrowse1");
    f.click("cmdBrowse2");
    const QList<FileRequest> &asked = f.dialogs.fileRequests();
    QCOMPARE(asked.size(), 2);
    QCOMPARE(asked[0].title, u"  Open"_s);
    QCOMPARE(asked[0].filter, u"FFMPEG Executable|ffmpeg;ffmpeg.exe"_s);
    QVERIFY(asked[0].fileName.isEmpty());
    QCOMPARE(asked[1].filter, u"QuEnc Executable|QuEnc;QuEnc.exe"_s);
    QCOMPARE(asked[1].fileName, u"/opt/ffmpeg/bin/ffmpeg"_s);
    QCOMPARE(f.text("ffmpegPath"), u"/opt/ffmpeg/bin/ffmpeg"_s);
    QCOMPARE(f.text("QuEncPath"), u"/opt/ffmpeg/bin/ffmpeg"_s);
}

void TestSetupDialog::flagRelabelsAtOnceAndCancelLeavesItUnstored()
{
    Fixture f;
    f.set("Language", u"English"_s);
    f.open();
    QCOMPARE(f.control("Image5")->toolTip(), u"Deutsch"_s);
    f.click("Image5");
    // The language file and every window speak German at once.
    QCOMPARE(f.text("txtLanguage"), u"Deutsch"_s);
    QVERIFY(test::readBytes(f.languageFile()).startsWith("Deutsch\r\n"));
    QCOMPARE(f.control<QGroupBox>("fraLanguages")->title(), u"Verfügbare Sprachen (zum Übernehmen auf eine Flagge klicken)"_s);
    QCOMPARE(f.main.convert->text(), u"&Konvertieren"_s);
    // Cancel stores none of it, and the next opening reads the stored language.
    f.click("btnCancel");
    QCOMPARE(f.setup->result(), int(QDialog::Rejected));
    QCOMPARE(f.setting("Language"), u"English"_s);
    f.open();
    QCOMPARE(f.text("txtLanguage"), u"English"_s);

    // Each flag names its language; OK stores it.
    const QStringList names = {u"English"_s, u"Portugues"_s, u"Espanol"_s, u"Francais"_s, u"Deutsch"_s};
    for (int i = 0; i < 5; ++i) {
        f.click(qPrintable(u"Image%1"_s.arg(i + 1)));
        QCOMPARE(f.text("txtLanguage"), names[i]);
    }
    f.click("Image4");
    f.click("btnOk");
    QCOMPARE(f.setting("Language"), u"Francais"_s);
}

void TestSetupDialog::checkBoxesStoreAtTheClickAndVistaResizes()
{
    Fixture f;
    f.set("ChkUpdates", u"1"_s);
    f.set("Vista", u"1"_s);
    f.main.logShown = true;
    // Boxes checked by the loading act as clicked: Vista's height at once.
    f.open();
    QVERIFY(f.control<QCheckBox>("chkUpdates")->isChecked());
    QVERIFY(f.control<QCheckBox>("chkVista")->isChecked());
    QCOMPARE(f.main.heights, QList<int>{9070});
    // Unchecking stores at the click, so a Cancel keeps it.
    f.click("chkUpdates");
    QCOMPARE(f.setting("ChkUpdates"), u"0"_s);
    f.click("chkVista");
    QCOMPARE(f.setting("Vista"), u"0"_s);
    f.main.logShown = false;
    f.click("chkVista");
    f.click("chkVista");
    QCOMPARE(f.main.heights, (QList<int>{9070, 9190, 7410, 7530}));
    f.click("btnCancel");
    QCOMPARE(f.setting("ChkUpdates"), u"0"_s);
    QCOMPARE(f.setting("Vista"), u"0"_s);
}

void TestSetupDialog::updateCheckAgainstARealServer()
{
    QProcess server;
    server.start(u"/usr/bin/python3"_s, {QFINDTESTDATA("../support/versionserver.py")});
    QVERIFY(server.waitForStarted() && server.waitForReadyRead(10000));
    const QString base = u"http://127.0.0.1:%1"_s.arg(server.readLine().trimmed().toInt());

    // Stamps compare as numbers with the running version's; a bad answer is no connection.
    const QString offer = u"There's a new version available!\r\n\r\nDo you want to download it now?"_s;
    const QString local = versionStamp();
    const auto newer = [&local](int remote) { return local.toDouble() < remote; };
    const QList<std::pair<QString, std::optional<bool>>> cases = {  // offered; nothing when the answer is bad
        {u"/v/300"_s, newer(300)}, {u"/v/206"_s, newer(206)}, {u"/v/206%0D%0A"_s, newer(206)}, {u"/v/"_s + local, false},
        {u"/v/"_s + QString::number(local.toInt() - 1), false}, {u"/v/40000"_s, {}}, {u"/v/abc"_s, {}}, {u"/v/"_s, {}},
        {u"/missing"_s, {}}, {u"/cut"_s, {}},
    };
    for (const auto &[path, offered] : cases) {
        const bool offers = offered.value_or(false);
        qputenv("TONMILL_UPDATE_URL", (base + path).toUtf8());
        // At start-up: the log line, then the offer; Yes opens the download page.
        ActivityLog log;
        test::TestDialogs dialogs;
        if (offers)
            dialogs.answer(DialogAnswer::Yes);
        UpdateCheck(log, dialogs).CheckForUpdatesAtStart();
        const QStringList lines = log.text().split(u"\r\n"_s, Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 1);
        QCOMPARE(lines[0].mid(8), offered ? u" -> New version checked: No 'New Version' Available"_s
                                          : u" -> New version checked: Failed (No internet connection found)."_s);
        QCOMPARE(dialogs.messages().size(), offers ? 1 : 0);
        if (offers) {
            QCOMPARE(dialogs.messages()[0].text, offer);
            QCOMPARE(dialogs.messages()[0].buttons, DialogButtons::YesNo);
            QCOMPARE(dialogs.messages()[0].icon, DialogIcon::Question);
            QCOMPARE(dialogs.openedUrls(), QStringList{downloadPageUrl()});
        }
        // From Setup: messages only, and No opens nothing.
        ActivityLog quiet;
        test::TestDialogs asked;
        asked.answer(offers ? DialogAnswer::No : DialogAnswer::Ok);
        UpdateCheck(quiet, asked).CheckForUpdatesNow();
        QVERIFY(quiet.text().isEmpty() && asked.openedUrls().isEmpty());
        QCOMPARE(asked.messages().size(), 1);
        QCOMPARE(asked.messages()[0].text, offers    ? offer
                                           : offered ? u"No new versions available."_s
                                                     : u"Couldn't find an internet Connection!"_s);
    }

    // A silent server is given up after the time allowed while the window's timers run on.
    int ticks = 0;
    QTimer painter;
    connect(&painter, &QTimer::timeout, this, [&ticks] { ++ticks; });
    painter.start(100);
    QElapsedTimer waited;
    waited.start();
    const TextFetch silent = fetchText(QUrl(base + u"/silent"_s), 1000);
    QVERIFY2(waited.elapsed() >= 900 && waited.elapsed() <= 3000, qPrintable(QString::number(waited.elapsed())));
    QCOMPARE(silent.error, u"no answer within 1 s"_s);
    QVERIFY2(ticks >= 6, qPrintable(QString::number(ticks)));

    // 50 MB, with and without its length said first: refused after little more than a socket's buffer.
    const qint64 before = peakKilobytes();
    for (const QString &path : {u"/big"_s, u"/stream"_s}) {
        const TextFetch fetch = fetchText(QUrl(base + path));
        QVERIFY2(fetch.error.contains(u"longer than 1024 bytes"_s), qPrintable(fetch.error));
        QVERIFY(fetch.body.isEmpty());
    }
    const qint64 grown = peakKilobytes() - before;
    QVERIFY2(grown < 8 * 1024, qPrintable(QString::number(grown)));
    server.closeWriteChannel();
    QVERIFY(server.waitForFinished(5000));
}

QTEST_MAIN(TestSetupDialog)
#include "tst_setupdialog.moc"
