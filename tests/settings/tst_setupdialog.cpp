// The Setup dialog clicked as a person would, offscreen: what it stores and
// when, what it relabels, and what it asks through the dialogs.
#include "app/ActivityLog.h"
#include "platform/AppFolder.h"
#include "platform/AppVersion.h"
#include "settings/INIManager.h"
#include "settings/Mnemonics.h"
#include "settings/SetupDialog.h"
#include "settings/Translations.h"
#include "settings/UpdateCheck.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

using namespace tonmill;

namespace {

// The main window as far as Setup reaches it: its height, its log switch and
// one caption.
class FakeMain : public QWidget, public MainWindowHeight {
public:
    FakeMain()
    {
        setObjectName(QStringLiteral("Main"));
        convert = new QPushButton(this);
        convert->setObjectName(QStringLiteral("btnConvert"));
    }
    bool mnuLogChecked() const override { return logShown; }
    void setHeightTwips(int twips) override { heights << twips; }

    QPushButton *convert = nullptr;
    bool logShown = false;
    QList<int> heights;
};

struct Fixture {
    QTemporaryDir dir;
    AppFolder folder{dir.path()};
    test::TestDialogs dialogs;
    ActivityLog log;
    // The version file says the running version: nothing newer.
    UpdateCheck updates{log, dialogs, [] { return TextFetch{versionStamp(), {}}; }};
    FakeMain main;

    Fixture() { WriteLanguageFile(QStringLiteral("English"), languageFile()); }
    QString settings() const { return folder.file(QStringLiteral("Tonmill.ini")); }
    QString languageFile() const { return folder.file(QStringLiteral("Tonmill.LNG")); }
    QString setting(const char *key) const { return ReadIniValue(QStringLiteral("General"), QLatin1String(key), settings()); }
    void set(const char *key, const QString &value) const
    {
        WriteIniValue(QStringLiteral("General"), QLatin1String(key), value, settings());
    }
    std::unique_ptr<SetupDialog> open()
    {
        auto setup = std::make_unique<SetupDialog>(folder, dialogs, updates, &main, &main);
        setup->show();
        return setup;
    }
};

template <typename T>
T *control(QWidget *form, const char *name)
{
    T *found = form->findChild<T *>(QLatin1String(name));
    if (!found)
        qFatal("no control %s", name);
    return found;
}

// A press where a person would: a check box on its box, any other button in
// its middle.
void click(QWidget *form, const char *name)
{
    QAbstractButton *button = control<QAbstractButton>(form, name);
    const QPoint where = qobject_cast<QCheckBox *>(button) ? QPoint(8, button->height() / 2) : button->rect().center();
    QTest::mouseClick(button, Qt::LeftButton, {}, where);
}

} // namespace

class TestSetupDialog : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void loadsAndStoresAsTheSettingsSay();
    void flagRelabelsAtOnceAndCancelLeavesItUnstored();
    void checkBoxesStoreAtTheClickAndVistaResizes();
    void browseTakesTheDialogsNameAsItStands();
};

void TestSetupDialog::loadsAndStoresAsTheSettingsSay()
{
    Fixture f;
    // No settings file: Vista is written as "0", the language holder says English.
    auto setup = f.open();
    QCOMPARE(f.setting("Vista"), QStringLiteral("0"));
    QCOMPARE(control<QLineEdit>(setup.get(), "txtLanguage")->text(), QStringLiteral("English"));
    QVERIFY(!control<QLineEdit>(setup.get(), "txtLanguage")->isVisible());
    QVERIFY(f.main.heights.isEmpty());
    QCOMPARE(setup->windowTitle(), QStringLiteral("Setup"));
    QCOMPARE(control<QGroupBox>(setup.get(), "fraLanguages")->title(),
             QStringLiteral("Available Languages (click on the flags to apply)"));
    QCOMPARE(control<QCheckBox>(setup.get(), "chkUpdates")->text(), QStringLiteral("Check for &updates automatically"));
    QCOMPARE(control<QPushButton>(setup.get(), "btnChkUpdates")->text(), QStringLiteral("Ch&eck for Updates now"));
    QCOMPARE(control<QLabel>(setup.get(), "lblUpdtMessage")->text(),
             QStringLiteral("Note: You need an active Internet connection to use these features."));
    QCOMPARE(withoutMnemonic(control<QPushButton>(setup.get(), "btnOk")->text()), QStringLiteral("OK"));

    // Paths are stored as typed, unchecked, and only by OK.
    control<QLineEdit>(setup.get(), "ffmpegPath")->clear();
    QTest::keyClicks(control<QLineEdit>(setup.get(), "ffmpegPath"), QStringLiteral("/no/such/ffmpeg"));
    QTest::keyClicks(control<QLineEdit>(setup.get(), "QuEncPath"), QStringLiteral("C:\\QuEnc\\QuEnc.exe"));
    QVERIFY(f.setting("FFMPEG").isEmpty());
    click(setup.get(), "btnOk");
    QVERIFY(!setup->isVisible());
    QCOMPARE(f.setting("FFMPEG"), QStringLiteral("/no/such/ffmpeg"));
    QCOMPARE(f.setting("QUENC"), QStringLiteral("C:\\QuEnc\\QuEnc.exe"));
    QCOMPARE(f.setting("Language"), QStringLiteral("English"));

    // Opened again, it reads them back; the manual check reports in a message.
    setup = f.open();
    QCOMPARE(control<QLineEdit>(setup.get(), "ffmpegPath")->text(), QStringLiteral("/no/such/ffmpeg"));
    f.dialogs.answer(DialogAnswer::Ok);
    click(setup.get(), "btnChkUpdates");
    QCOMPARE(f.dialogs.messages().last().text, QStringLiteral("No new versions available."));
}

void TestSetupDialog::flagRelabelsAtOnceAndCancelLeavesItUnstored()
{
    Fixture f;
    f.set("Language", QStringLiteral("English"));
    auto setup = f.open();
    QCOMPARE(control<QToolButton>(setup.get(), "Image5")->toolTip(), QStringLiteral("Deutsch"));
    click(setup.get(), "Image5");
    // The language file and every window speak German at once.
    QCOMPARE(control<QLineEdit>(setup.get(), "txtLanguage")->text(), QStringLiteral("Deutsch"));
    QVERIFY(test::readBytes(f.languageFile()).startsWith("Deutsch\r\n"));
    QCOMPARE(control<QGroupBox>(setup.get(), "fraLanguages")->title(),
             QStringLiteral("Verfügbare Sprachen (zum Übernehmen auf eine Flagge klicken)"));
    QCOMPARE(control<QGroupBox>(setup.get(), "fraUpdates")->title(), QStringLiteral("Aktualisierungen"));
    QCOMPARE(withoutMnemonic(control<QPushButton>(setup.get(), "btnCancel")->text()), QStringLiteral("Abbrechen"));
    QCOMPARE(f.main.convert->text(), QStringLiteral("&Konvertieren"));
    // Cancel stores none of it, and the next opening reads the stored language.
    click(setup.get(), "btnCancel");
    QCOMPARE(setup->result(), int(QDialog::Rejected));
    QCOMPARE(f.setting("Language"), QStringLiteral("English"));
    setup = f.open();
    QCOMPARE(control<QLineEdit>(setup.get(), "txtLanguage")->text(), QStringLiteral("English"));

    // Each flag names its language; OK stores it.
    const QStringList names = {QStringLiteral("English"), QStringLiteral("Portugues"), QStringLiteral("Espanol"),
                               QStringLiteral("Francais"), QStringLiteral("Deutsch")};
    for (int i = 0; i < 5; ++i) {
        click(setup.get(), qPrintable(QStringLiteral("Image%1").arg(i + 1)));
        QCOMPARE(control<QLineEdit>(setup.get(), "txtLanguage")->text(), names[i]);
    }
    click(setup.get(), "Image4");
    click(setup.get(), "btnOk");
    QCOMPARE(f.setting("Language"), QStringLiteral("Francais"));
}

void TestSetupDialog::checkBoxesStoreAtTheClickAndVistaResizes()
{
    Fixture f;
    f.set("ChkUpdates", QStringLiteral("1"));
    f.set("Vista", QStringLiteral("1"));
    f.main.logShown = true;
    // Boxes checked by the loading act as clicked: Vista's height at once.
    auto setup = f.open();
    QVERIFY(control<QCheckBox>(setup.get(), "chkUpdates")->isChecked());
    QVERIFY(control<QCheckBox>(setup.get(), "chkVista")->isChecked());
    QCOMPARE(f.main.heights, QList<int>{9070});

    // Unchecking stores at the click, so a Cancel keeps it.
    click(setup.get(), "chkUpdates");
    QCOMPARE(f.setting("ChkUpdates"), QStringLiteral("0"));
    click(setup.get(), "chkVista");
    QCOMPARE(f.setting("Vista"), QStringLiteral("0"));
    f.main.logShown = false;
    click(setup.get(), "chkVista");
    click(setup.get(), "chkVista");
    QCOMPARE(f.main.heights, (QList<int>{9070, 9190, 7410, 7530}));
    click(setup.get(), "btnCancel");
    QCOMPARE(f.setting("ChkUpdates"), QStringLiteral("0"));
    QCOMPARE(f.setting("Vista"), QStringLiteral("0"));
}

void TestSetupDialog::browseTakesTheDialogsNameAsItStands()
{
    Fixture f;
    auto setup = f.open();
    f.dialogs.answerFile(QStringLiteral("/opt/ffmpeg/bin/ffmpeg"));
    click(setup.get(), "cmdBrowse1");
    QCOMPARE(control<QLineEdit>(setup.get(), "ffmpegPath")->text(), QStringLiteral("/opt/ffmpeg/bin/ffmpeg"));
    const FileRequest first = f.dialogs.fileRequests().last();
    QCOMPARE(first.title, QStringLiteral("  Open"));
    QCOMPARE(first.filter, QStringLiteral("FFMPEG Executable|ffmpeg;ffmpeg.exe"));
    QVERIFY(first.fileName.isEmpty());

    // One dialog serves both buttons: a cancelled QuEnc browse reports the
    // name chosen last, which is taken all the same.
    f.dialogs.answerFile(QStringLiteral("/opt/ffmpeg/bin/ffmpeg"));
    click(setup.get(), "cmdBrowse2");
    const FileRequest second = f.dialogs.fileRequests().last();
    QCOMPARE(second.filter, QStringLiteral("QuEnc Executable|QuEnc;QuEnc.exe"));
    QCOMPARE(second.fileName, QStringLiteral("/opt/ffmpeg/bin/ffmpeg"));
    QCOMPARE(control<QLineEdit>(setup.get(), "QuEncPath")->text(), QStringLiteral("/opt/ffmpeg/bin/ffmpeg"));
    QVERIFY(f.setting("FFMPEG").isEmpty());
}

QTEST_MAIN(TestSetupDialog)
#include "tst_setupdialog.moc"
