#include "platform/AppFolder.h"
#include "platform/AppFolderChoice.h"
#include "platform/AppVersion.h"
#include "platform/ScriptedDialogs.h"
#include "process/CommandLine.h"

#include "installdirs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace tonmill;

class TestPlatform : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void appFolderFoldsSpellings();
    void appFolderChoice();
    void scriptedDialogsAnswerInOrderAndFlagSurprises();
    void versionForms();
    void commandLineWords();
};

void TestPlatform::appFolderFoldsSpellings()
{
    const AppFolder folder(QStringLiteral("/opt/tonmill/"));
    QCOMPARE(folder.path(), QStringLiteral("/opt/tonmill"));
    // Every spelling the program uses reaches the one file on disk.
    for (const QString &name : {QStringLiteral("\\Tonmill.ini"), QStringLiteral("\\Tonmill.INI"),
                                QStringLiteral("\\tonmill.ini"), QStringLiteral("Tonmill.ini")})
        QCOMPARE(folder.file(name), QStringLiteral("/opt/tonmill/Tonmill.ini"));
    QCOMPARE(folder.file(QStringLiteral("\\tools\\WMCmd.vbs")), QStringLiteral("/opt/tonmill/Tools/WMCmd.vbs"));
    QCOMPARE(folder.file(QStringLiteral("\\Tools\\Plugins\\NicAudio.dll")),
             QStringLiteral("/opt/tonmill/Tools/Plugins/NicAudio.dll"));
    QCOMPARE(folder.file(QStringLiteral("/fileData.ini")), QStringLiteral("/opt/tonmill/fileData.ini"));
    QCOMPARE(folder.file(QStringLiteral("\\Tools\\MediaInfo\\mediainfo")),
             QStringLiteral("/opt/tonmill/Tools/MediaInfo/mediainfo"));
    // Names the program does not know keep their letters.
    QCOMPARE(folder.file(QStringLiteral("Other.TXT")), QStringLiteral("/opt/tonmill/Other.TXT"));
    // At the root there is no doubled separator.
    QCOMPARE(AppFolder(QStringLiteral("/")).file(QStringLiteral("\\Tonmill.INI")), QStringLiteral("/Tonmill.ini"));
}

// Where each kind of start keeps its files, and where it finds its helpers.
void TestPlatform::appFolderChoice()
{
    QTemporaryDir dir;
    const auto at = [&dir](const char *name) { return dir.filePath(QLatin1String(name)); };
    const QString build = at("build");
    const QString bin = at("prefix/bin");
    const QString installedHelpers = QDir::cleanPath(bin + QLatin1Char('/') + QLatin1String(installdirs::helpersFromExecutable));
    const QString readOnly = at("readonly");
    for (const QString &folder : {build + QStringLiteral("/Tools"), bin, installedHelpers, at("bare"),
                                  readOnly + QStringLiteral("/Tools")})
        QVERIFY(QDir().mkpath(folder));
    QVERIFY(QFile::setPermissions(readOnly, QFile::ReadOwner | QFile::ExeOwner));
    const UserFolders user{at("config"), at("cache")};
    const QString settings = at("config/Tonmill");
    const QString work = at("cache/Tonmill");

    struct Case {
        QString home, executableDir, settingsDir, workDir, helpers;
    };
    QList<Case> cases = {
        {{}, build, build, build, build + QStringLiteral("/Tools")},
        {{}, bin, settings, work, installedHelpers},
        {at("new/home"), bin, at("new/home"), at("new/home"), installedHelpers},
        {at("other"), build, at("other"), at("other"), build + QStringLiteral("/Tools")},
        // Neither helper folder: the one beside the program is named.
        {{}, at("bare"), settings, work, at("bare/Tools")},
    };
    // Only a user other than root is kept out of a folder by its permissions.
    if (::geteuid() != 0)
        cases.append({{}, readOnly, settings, work, readOnly + QStringLiteral("/Tools")});
    for (const Case &c : cases) {
        const AppFolder folder = chooseAppFolder(c.home, c.executableDir, user);
        const QString which = c.home + QLatin1Char(' ') + c.executableDir;
        QVERIFY2(folder.file(QStringLiteral("\\Tonmill.INI")) == c.settingsDir + QStringLiteral("/Tonmill.ini"), qPrintable(which));
        QVERIFY2(folder.file(QStringLiteral("\\Tonmill.LNG")) == c.settingsDir + QStringLiteral("/Tonmill.LNG"), qPrintable(which));
        QVERIFY2(folder.file(QStringLiteral("\\fileData.ini")) == c.workDir + QStringLiteral("/fileData.ini"), qPrintable(which));
        QVERIFY2(folder.path() == c.workDir, qPrintable(which));
        QVERIFY2(folder.file(QStringLiteral("\\tools\\MediaInfo\\mediainfo")) == c.helpers + QStringLiteral("/MediaInfo/mediainfo"),
                 qPrintable(which));
        QVERIFY2(QFileInfo(c.settingsDir).isDir() && QFileInfo(c.workDir).isDir(), qPrintable(which));
    }
    QFile::setPermissions(readOnly, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void TestPlatform::scriptedDialogsAnswerInOrderAndFlagSurprises()
{
    ScriptedDialogs dialogs;
    dialogs.answer(DialogAnswer::Yes).answerFile(QStringLiteral("/tmp/a.mp3"));
    QCOMPARE(dialogs.message({QStringLiteral("Replace?"), {}, DialogButtons::YesNo, DialogIcon::Question}),
             DialogAnswer::Yes);
    QCOMPARE(dialogs.fileName({FileRequest::Mode::Open, QStringLiteral("  Open"), {}, QStringLiteral("/old")}),
             QStringLiteral("/tmp/a.mp3"));
    QVERIFY(dialogs.unexpected().isEmpty());
    QVERIFY(dialogs.allAnswersUsed());
    // Nothing prepared: a question is answered No, a file dialog keeps its name,
    // and both are on record.
    QCOMPARE(dialogs.message({QStringLiteral("Again?"), {}, DialogButtons::YesNo, DialogIcon::Question}),
             DialogAnswer::No);
    QCOMPARE(dialogs.fileName({FileRequest::Mode::Save, QStringLiteral("  Save as..."), {}, QStringLiteral("/old")}),
             QStringLiteral("/old"));
    QCOMPARE(dialogs.unexpected().size(), 2);
    QCOMPARE(dialogs.messages().size(), 2);
    QCOMPARE(dialogs.messages()[1].text, QStringLiteral("Again?"));
    // An answer of the wrong kind is not consumed by the other kind of prompt.
    ScriptedDialogs mixed;
    mixed.answerFile(QStringLiteral("/f"));
    QCOMPARE(mixed.message({QStringLiteral("Ok?"), {}, DialogButtons::Ok, DialogIcon::None}), DialogAnswer::Ok);
    QCOMPARE(mixed.unexpected().size(), 1);
    QVERIFY(!mixed.allAnswersUsed());
}

void TestPlatform::versionForms()
{
    const QRegularExpression dotted(QStringLiteral("^(\\d+)\\.(\\d+)\\.(\\d+)$"));
    const auto match = dotted.match(versionText());
    QVERIFY(match.hasMatch());
    QCOMPARE(versionStamp(), match.captured(1) + match.captured(2) + match.captured(3));
}

void TestPlatform::commandLineWords()
{
    // Fixed text splits at blanks; a quoted value is one word whatever it holds,
    // and joins text written right against it.
    CommandLineBuilder b;
    b.quoted(QStringLiteral("/usr/bin/ff mpeg")).text(QStringLiteral(" -y -i "))
        .quoted(QStringLiteral("a \"b\" $(c); d\ne")).text(QStringLiteral(" -f  "))
        .quoted(QString()).text(QStringLiteral(" x=")).quoted(QStringLiteral("y z"));
    const CommandLine line = b.build();
    QCOMPARE(line.text, QStringLiteral("\"/usr/bin/ff mpeg\" -y -i \"a \"b\" $(c); d\ne\" -f  \"\" x=\"y z\""));
    QCOMPARE(line.program, QStringLiteral("/usr/bin/ff mpeg"));
    QCOMPARE(line.arguments, (QStringList{QStringLiteral("-y"), QStringLiteral("-i"), QStringLiteral("a \"b\" $(c); d\ne"),
                                          QStringLiteral("-f"), QString(), QStringLiteral("x=y z")}));
    QCOMPARE(line.imageName, QStringLiteral("ff mpeg"));
    QVERIFY(CommandLineBuilder().build().isEmpty());
}

QTEST_GUILESS_MAIN(TestPlatform)
#include "tst_platform.moc"
