#include "platform/AppFolder.h"
#include "platform/AppVersion.h"
#include "platform/ScriptedDialogs.h"
#include "process/CommandLine.h"

#include <QRegularExpression>
#include <QTest>

using namespace tonmill;

class TestPlatform : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void appFolderFoldsSpellings();
    void homeArgumentChoosesFolder();
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

void TestPlatform::homeArgumentChoosesFolder()
{
    QCOMPARE(AppFolder::fromArguments({QStringLiteral("tonmill")}, QStringLiteral("/usr/lib/tonmill")).path(),
             QStringLiteral("/usr/lib/tonmill"));
    QCOMPARE(AppFolder::fromArguments({QStringLiteral("tonmill"), QStringLiteral("--home"), QStringLiteral("/tmp/h")},
                                      QStringLiteral("/usr/lib/tonmill"))
                 .path(),
             QStringLiteral("/tmp/h"));
    // A trailing --home without a folder is ignored rather than guessed.
    QCOMPARE(AppFolder::fromArguments({QStringLiteral("tonmill"), QStringLiteral("--home")}, QStringLiteral("/x")).path(),
             QStringLiteral("/x"));
    QCOMPARE(AppFolder::fromArguments({QStringLiteral("tonmill"), QStringLiteral("--convert"), QStringLiteral("a"),
                                       QStringLiteral("--home=/tmp/h")},
                                      QStringLiteral("/x"))
                 .path(),
             QStringLiteral("/tmp/h"));
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
