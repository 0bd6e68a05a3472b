#include "settings/LanguageBinder.h"
#include "settings/Mnemonics.h"
#include "settings/Translations.h"

#include <QAction>
#include <QCheckBox>
#include <QDialog>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

using namespace tonmill;

namespace {

// A drawn control that names its text "caption", as the gradient panel does.
class CaptionedPanel : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString caption READ caption WRITE setCaption)
public:
    using QWidget::QWidget;
    QString caption() const { return m_caption; }
    void setCaption(const QString &caption) { m_caption = caption; }

private:
    QString m_caption;
};

template <typename T>
T *named(QWidget *parent, const char *name, QLayout *layout)
{
    auto *widget = new T(parent);
    widget->setObjectName(QLatin1String(name));
    widget->setProperty("text", QStringLiteral("untouched"));
    widget->setProperty("title", QStringLiteral("untouched"));
    layout->addWidget(widget);
    return widget;
}

// A small main window with some of the captioned controls, a Setup dialog
// beneath it and controls that the language file does not name.
struct TestWindow {
    QMainWindow main;
    QMenu *mnuArquivo = nullptr;
    QAction *mnuAbrir = nullptr;
    QAction *mnuSave = nullptr;
    QAction *mnuAbout = nullptr;
    QPushButton *btnConvert = nullptr;
    QPushButton *btnOutFolder = nullptr;
    QCheckBox *chkSameOutput = nullptr;
    QLabel *lblTranslated = nullptr;
    QGroupBox *frmAC3 = nullptr;
    QRadioButton *optChannelsAC3[3] = {};
    CaptionedPanel *fraFileMode = nullptr;
    QLabel *lblOther = nullptr;
    QDialog *setup = nullptr;
    QGroupBox *fraLanguages = nullptr;
    QCheckBox *chkUpdates = nullptr;
    QPushButton *btnChkUpdates = nullptr;

    TestWindow()
    {
        main.setObjectName(QStringLiteral("Main"));
        main.setWindowTitle(QStringLiteral("Tonmill"));
        mnuArquivo = main.menuBar()->addMenu(QStringLiteral("untouched"));
        mnuArquivo->setObjectName(QStringLiteral("mnuArquivo"));
        mnuAbrir = mnuArquivo->addAction(QStringLiteral("untouched"));
        mnuAbrir->setObjectName(QStringLiteral("mnuAbrir"));
        mnuSave = mnuArquivo->addAction(QStringLiteral("untouched"));
        mnuSave->setObjectName(QStringLiteral("mnuSave"));
        QMenu *help = main.menuBar()->addMenu(QStringLiteral("?"));
        mnuAbout = help->addAction(QStringLiteral("untouched"));
        mnuAbout->setObjectName(QStringLiteral("mnuAbout"));

        auto *central = new QWidget(&main);
        auto *layout = new QVBoxLayout(central);
        btnConvert = named<QPushButton>(central, "btnConvert", layout);
        btnOutFolder = named<QPushButton>(central, "btnOutFolder", layout);
        chkSameOutput = named<QCheckBox>(central, "chkSameOutput", layout);
        lblTranslated = named<QLabel>(central, "lblTranslated", layout);
        fraFileMode = named<CaptionedPanel>(central, "fraFileMode", layout);
        lblOther = named<QLabel>(central, "lblOther", layout);
        frmAC3 = named<QGroupBox>(central, "frmAC3", layout);
        auto *panel = new QVBoxLayout(frmAC3);
        for (int i = 0; i < 3; ++i) {
            const QByteArray name = "optChannelsAC3_" + QByteArray::number(i);
            optChannelsAC3[i] = named<QRadioButton>(frmAC3, name.constData(), panel);
        }
        main.setCentralWidget(central);

        setup = new QDialog(&main);
        setup->setObjectName(QStringLiteral("Setup"));
        setup->setWindowTitle(QStringLiteral("untouched"));
        auto *setupLayout = new QVBoxLayout(setup);
        fraLanguages = named<QGroupBox>(setup, "fraLanguages", setupLayout);
        chkUpdates = named<QCheckBox>(setup, "chkUpdates", setupLayout);
        btnChkUpdates = named<QPushButton>(setup, "btnChkUpdates", setupLayout);
    }
};

} // namespace

class TestLanguageBinder : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void relabelsExistingControls();
    void formLoadSetsItsOwnCaptions();
    void missingKeysBlankTheirControls();

private:
    QTemporaryDir m_dir;
    QString languageFile() const { return m_dir.filePath(QStringLiteral("Tonmill.LNG")); }
};

void TestLanguageBinder::relabelsExistingControls()
{
    TestWindow w;
    WriteLanguageFile(QStringLiteral("Francais"), languageFile());
    ApplyLanguage(&w.main, languageFile());

    QCOMPARE(w.mnuArquivo->title(), QStringLiteral("&Fichier"));
    QCOMPARE(w.mnuArquivo->menuAction()->text(), QStringLiteral("&Fichier"));
    QCOMPARE(w.mnuAbrir->text(), QStringLiteral("&Ouvrir"));
    QCOMPARE(w.mnuSave->text(), QStringLiteral("&Enregistrer sous"));
    QCOMPARE(w.btnOutFolder->text(), QStringLiteral("&Enregistrer sous"));
    QCOMPARE(w.mnuAbout->text(), QStringLiteral("À &propos"));
    QCOMPARE(withoutMnemonic(w.btnConvert->text()), QStringLiteral("Convertir"));
    QCOMPARE(withoutMnemonic(w.chkSameOutput->text()), QStringLiteral("Dans le même dossier"));
    QCOMPARE(w.lblTranslated->text(), QStringLiteral("Traduit par l'équipe de Tonmill"));
    QCOMPARE(w.fraFileMode->caption(), QStringLiteral("Mode fichier"));
    QCOMPARE(w.frmAC3->title(), QStringLiteral("Options AC3"));
    QCOMPARE(withoutMnemonic(w.optChannelsAC3[0]->text()), QStringLiteral("1 Canal"));
    QCOMPARE(withoutMnemonic(w.optChannelsAC3[1]->text()), QStringLiteral("2 Canaux"));
    QCOMPARE(withoutMnemonic(w.optChannelsAC3[2]->text()), QStringLiteral("6 Canaux"));
    // The Setup dialog's frames follow; its title is set only when it loads.
    QCOMPARE(w.fraLanguages->title(), QStringLiteral("Langues disponibles (cliquez sur un drapeau pour l'appliquer)"));
    QCOMPARE(w.chkUpdates->text(), QStringLiteral("Rechercher les mises à jour a&utomatiquement"));
    QCOMPARE(w.btnChkUpdates->text(), QStringLiteral("&Rechercher les mises à jour maintenant"));
    QCOMPARE(w.setup->windowTitle(), QStringLiteral("untouched"));
    QCOMPARE(w.main.windowTitle(), QStringLiteral("Tonmill"));
    QCOMPARE(w.lblOther->text(), QStringLiteral("untouched"));

    // Another language replaces every caption.
    WriteLanguageFile(QStringLiteral("Deutsch"), languageFile());
    ApplyLanguage(&w.main, languageFile());
    QCOMPARE(w.mnuArquivo->title(), QStringLiteral("&Datei"));
    QCOMPARE(w.btnConvert->text(), QStringLiteral("&Konvertieren"));
    QCOMPARE(withoutMnemonic(w.optChannelsAC3[2]->text()), QStringLiteral("6 Kanäle"));
    QCOMPARE(w.fraLanguages->title(), QStringLiteral("Verfügbare Sprachen (zum Übernehmen auf eine Flagge klicken)"));

    // Relabelling from the Setup dialog alone reaches its own controls only.
    WriteLanguageFile(QStringLiteral("English"), languageFile());
    ApplyLanguage(w.setup, languageFile());
    QCOMPARE(w.chkUpdates->text(), QStringLiteral("Check for &updates automatically"));
    QCOMPARE(w.btnConvert->text(), QStringLiteral("&Konvertieren"));
}

void TestLanguageBinder::formLoadSetsItsOwnCaptions()
{
    TestWindow w;
    WriteLanguageFile(QStringLiteral("Portugues"), languageFile());
    ApplyFormLanguage(w.setup, languageFile());
    QCOMPARE(w.setup->windowTitle(), QStringLiteral("Configurações"));
    QCOMPARE(w.fraLanguages->title(), QStringLiteral("Idiomas Disponíveis (clique nas bandeiras para aplicar)"));
    QCOMPARE(w.btnConvert->text(), QStringLiteral("untouched"));

    // The About and Dialog windows read theirs when they load.
    QDialog about;
    about.setObjectName(QStringLiteral("About"));
    auto *layout = new QVBoxLayout(&about);
    QLabel *notice = named<QLabel>(&about, "lblNotice", layout);
    ApplyLanguage(&about, languageFile());
    QCOMPARE(notice->text(), QStringLiteral("untouched"));
    ApplyFormLanguage(&about, languageFile());
    QVERIFY(notice->text().startsWith(QStringLiteral("Tonmill é gratuito")));

    QDialog dialog;
    dialog.setObjectName(QStringLiteral("Dialog"));
    ApplyFormLanguage(&dialog, languageFile());
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Informações do Arquivo"));
}

void TestLanguageBinder::missingKeysBlankTheirControls()
{
    TestWindow w;
    {
        QFile file(languageFile());
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("Edited\r\n{Menus}\r\nfileopen\xC2\xBBMy &Open\r\n{Main}\r\nCONVERT\xC2\xBBGo!\r\n"
                   "{FormatOptions}\r\nChannels\xC2\xBB" "ch\r\n");
    }
    ApplyLanguage(&w.main, languageFile());
    QCOMPARE(w.mnuAbrir->text(), QStringLiteral("My &Open"));
    QCOMPARE(withoutMnemonic(w.btnConvert->text()), QStringLiteral("Go!"));
    QCOMPARE(withoutMnemonic(w.mnuSave->text()), QString());
    QCOMPARE(withoutMnemonic(w.chkSameOutput->text()), QString());
    QCOMPARE(withoutMnemonic(w.optChannelsAC3[2]->text()), QStringLiteral("6 ch"));
    QCOMPARE(withoutMnemonic(w.optChannelsAC3[0]->text()), QStringLiteral("1 "));

    // A name that is none of the languages leaves an empty file and empty
    // captions everywhere.
    WriteLanguageFile(QStringLiteral("english"), languageFile());
    ApplyLanguage(&w.main, languageFile());
    QCOMPARE(w.mnuArquivo->title(), QString());
    QCOMPARE(withoutMnemonic(w.btnConvert->text()), QString());
    QCOMPARE(w.fraLanguages->title(), QString());
    QCOMPARE(w.fraFileMode->caption(), QString());
    QCOMPARE(w.lblOther->text(), QStringLiteral("untouched"));
}

QTEST_MAIN(TestLanguageBinder)
#include "tst_languagebinder.moc"
