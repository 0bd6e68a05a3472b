#include "platform/AppFolder.h"
#include "platform/AppFolderChoice.h"
#include "platform/AppVersion.h"
#include "platform/TextEncoding.h"
#include "platform/WidgetDialogs.h"
#include "process/CommandLine.h"

#include "installdirs.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace tonmill;
using namespace Qt::Literals::StringLiterals;

class TestPlatform : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void appFolderSpellingsAndChoice();
    void textEncodings();
    void filtersVersionAndCommandLine();
};

void TestPlatform::appFolderSpellingsAndChoice()
{
    // Every spelling the program uses reaches one file on disk; other names keep their letters.
    const QList<std::array<QString, 3>> names = {
        {u"/opt/tonmill/"_s, u"\\Tonmill.INI"_s, u"/opt/tonmill/Tonmill.ini"_s},
        {u"/opt/tonmill"_s, u"\\tonmill.ini"_s, u"/opt/tonmill/Tonmill.ini"_s},
        {u"/opt/tonmill"_s, u"Tonmill.ini"_s, u"/opt/tonmill/Tonmill.ini"_s},
        {u"/opt/tonmill"_s, u"\\tools\\WMCmd.vbs"_s, u"/opt/tonmill/Tools/WMCmd.vbs"_s},
        {u"/opt/tonmill"_s, u"\\Tools\\Plugins\\NicAudio.dll"_s, u"/opt/tonmill/Tools/Plugins/NicAudio.dll"_s},
        {u"/opt/tonmill"_s, u"/fileData.ini"_s, u"/opt/tonmill/fileData.ini"_s},
        {u"/opt/tonmill"_s, u"Other.TXT"_s, u"/opt/tonmill/Other.TXT"_s},
        {u"/"_s, u"\\Tonmill.INI"_s, u"/Tonmill.ini"_s},
    };
    for (const auto &[folder, name, file] : names)
        QCOMPARE(AppFolder(folder).file(name), file);
    QCOMPARE(AppFolder(u"/opt/tonmill/"_s).path(), u"/opt/tonmill"_s);

    // Where each kind of start keeps its files, and where it finds its helpers.
    QTemporaryDir dir;
    const auto at = [&dir](const char *name) { return dir.filePath(QLatin1String(name)); };
    const QString build = at("build");
    const QString bin = at("prefix/bin");
    const QString installed = QDir::cleanPath(bin + u'/' + QLatin1String(installdirs::helpersFromExecutable));
    const QString readOnly = at("readonly");
    for (const QString &folder : {build + u"/Tools"_s, bin, installed, at("bare"), readOnly + u"/Tools"_s})
        QVERIFY(QDir().mkpath(folder));
    QVERIFY(QFile::setPermissions(readOnly, QFile::ReadOwner | QFile::ExeOwner));
    const QString settings = at("config/Tonmill");
    const QString work = at("cache/Tonmill");
    QList<std::array<QString, 5>> cases = {  // home, program's folder, settings, work files, helpers
        {QString(), build, build, build, build + u"/Tools"_s},
        {QString(), bin, settings, work, installed},
        {at("new/home"), bin, at("new/home"), at("new/home"), installed},
        {at("other"), build, at("other"), at("other"), build + u"/Tools"_s},
        // Neither helper folder: the one beside the program is named.
        {QString(), at("bare"), settings, work, at("bare/Tools")},
    };
    // Only a user other than root is kept out of a folder by its permissions.
    if (::geteuid() != 0)
        cases.append({QString(), readOnly, settings, work, readOnly + u"/Tools"_s});
    for (const auto &[home, executableDir, settingsDir, workDir, helpers] : cases) {
        const AppFolder folder = chooseAppFolder(home, executableDir, UserFolders{at("config"), at("cache")});
        const QStringList expected = {settingsDir + u"/Tonmill.ini"_s, settingsDir + u"/Tonmill.LNG"_s,
                                      workDir + u"/fileData.ini"_s, workDir, helpers + u"/MediaInfo/mediainfo"_s};
        QCOMPARE((QStringList{folder.file(u"\\Tonmill.INI"_s), folder.file(u"\\Tonmill.LNG"_s),
                              folder.file(u"\\fileData.ini"_s), folder.path(), folder.file(u"\\tools\\MediaInfo\\mediainfo"_s)}),
                 expected);
        QVERIFY(QFileInfo(settingsDir).isDir() && QFileInfo(workDir).isDir());
    }
    QFile::setPermissions(readOnly, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void TestPlatform::textEncodings()
{
    // Windows-1252 as Python's cp1252 codec has it; the five bytes it leaves unassigned map, as on
    // the original platform, to the control characters of that number.
    QProcess python;
    python.start(u"/usr/bin/python3"_s, {u"-c"_s, u"print(' '.join(str(ord(bytes([b]).decode('cp1252', 'ignore') or chr(b)))"
                                                   " for b in range(256)))"_s});
    QVERIFY(python.waitForFinished(30000));
    QByteArray all;
    for (int b = 0; b < 256; ++b)
        all.append(char(b));
    QStringList codes;
    for (const QChar c : decodeWindows1252(all))
        codes << QString::number(c.unicode());
    QCOMPARE(codes.join(u' '), QString::fromLatin1(python.readAllStandardOutput()).trimmed());

    // UTF-8 when all of it is; a cut-off start, an overlong form or an encoded surrogate is not.
    const QList<std::pair<QByteArray, QString>> texts = {
        {"Fran\xC3\xA7" "ais \xC2\xBB \xE2\x82\xAC", u"Français » €"_s}, {"Fran\xE7" "ais \xBB \x80", u"Français » €"_s},
        {"abc\xC3", u"abcÃ"_s}, {"\xC0\xBB", u"À»"_s}, {"\xED\xA0\x80", u"í\u00A0€"_s},
        {"\xEF\xBB\xBF[General]", u"\uFEFF[General]"_s}, {QByteArray("a\0b", 3), QString::fromUtf16(u"a\0b", 3)}, {{}, {}},
    };
    for (const auto &[bytes, text] : texts)
        QCOMPARE(decodeText(bytes), text);
    const QString text = u"Übersetzt » 日本 \U0001F3B5"_s;
    QCOMPARE(encodeText(text), text.toUtf8());
    QCOMPARE(decodeText(encodeText(text)), text);
}

void TestPlatform::filtersVersionAndCommandLine()
{
    // The file dialog's filters in Qt's form.
    QCOMPARE(WidgetDialogs::qtFilter(u"MP3 Files|*.mp3"_s), u"MP3 Files (*.mp3)"_s);
    QCOMPARE(WidgetDialogs::qtFilter(u"Audio Files|*.aac;*.ac3;*.wav|All Files|*.*"_s),
             u"Audio Files (*.aac *.ac3 *.wav);;All Files (*.*)"_s);
    QCOMPARE(WidgetDialogs::qtFilter(QString()), QString());

    const QRegularExpressionMatch dotted = QRegularExpression(u"^(\\d+)\\.(\\d+)\\.(\\d+)$"_s).match(versionText());
    QVERIFY(dotted.hasMatch());
    QCOMPARE(versionStamp(), dotted.captured(1) + dotted.captured(2) + dotted.captured(3));

    // Fixed text splits at blanks; a quoted value is one word, joined to text right against it.
    CommandLineBuilder b;
    b.quoted(u"/usr/bin/ff mpeg"_s).text(u" -y -i "_s).quoted(u"a \"b\" $(c); d\ne"_s).text(u" -f  "_s).quoted(QString())
        .text(u" x="_s).quoted(u"y z"_s);
    const CommandLine line = b.build();
    QCOMPARE(line.text, u"\"/usr/bin/ff mpeg\" -y -i \"a \"b\" $(c); d\ne\" -f  \"\" x=\"y z\""_s);
    QCOMPARE(line.program, u"/usr/bin/ff mpeg"_s);
    QCOMPARE(line.arguments, (QStringList{u"-y"_s, u"-i"_s, u"a \"b\" $(c); d\ne"_s, u"-f"_s, QString(), u"x=y z"_s}));
    QCOMPARE(line.imageName, u"ff mpeg"_s);
    QVERIFY(CommandLineBuilder().build().isEmpty());
}

QTEST_MAIN(TestPlatform)
#include "tst_platform.moc"
