#include "settings/BuiltInLanguages.h"
#include "settings/INIManager.h"
#include "settings/LanguageCaptions.h"
#include "settings/LanguageLines.h"
#include "settings/Translations.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;
using test::readBytes;
using test::writeBytes;

namespace {

// A written language file taken apart by plain splitting, without the lookup:
// the first line, then each section's keys and texts in file order.
struct SplitFile {
    QString firstLine;
    QStringList sections;
    QList<QList<std::pair<QString, QString>>> entries;
};

SplitFile split(const QByteArray &bytes)
{
    SplitFile result;
    QStringList lines = QString::fromUtf8(bytes).split(QStringLiteral("\r\n"));
    if (lines.isEmpty() || !lines.last().isEmpty())
        return result;
    lines.removeLast();
    result.firstLine = lines.value(0);
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QString &line = lines[i];
        if (line.startsWith(u'{') && line.endsWith(u'}')) {
            result.sections.append(line.mid(1, line.size() - 2));
            result.entries.append(QList<std::pair<QString, QString>>());
        } else if (!result.entries.isEmpty() && line.contains(QChar(0xBB))) {
            const qsizetype at = line.indexOf(QChar(0xBB));
            result.entries.last().append(std::make_pair(line.left(at), line.mid(at + 1)));
        } else {
            result.sections.append(QStringLiteral("<stray line: %1>").arg(line));
        }
    }
    return result;
}

QStringList keysOf(const QList<std::pair<QString, QString>> &entries)
{
    QStringList keys;
    for (const auto &entry : entries)
        keys.append(entry.first);
    return keys;
}

} // namespace

class TestLanguageFile : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void builtInLanguagesHaveEveryKey();
    void englishTextsAndKnownSlips();
    void unknownLanguageWritesEmptyFile();
    void captionTableNamesExistingKeys();
    void lookupRules();
    void lineArrayAndFindLanguageLine();
    void readsFilesOfTheOriginalPlatform();
    void badFilesGiveDefaults();

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }
};

void TestLanguageFile::builtInLanguagesHaveEveryKey()
{
    const QStringList names = builtInLanguageNames();
    QCOMPARE(names, (QStringList{QStringLiteral("English"), QStringLiteral("Portugues"), QStringLiteral("Espanol"),
                                 QStringLiteral("Francais"), QStringLiteral("Deutsch")}));
    const QStringList displayNames = {QStringLiteral("English"), QStringLiteral("Português"), QStringLiteral("Español"),
                                      QStringLiteral("Français"), QStringLiteral("Deutsch")};
    const QStringList sectionOrder = {QStringLiteral("Menus"), QStringLiteral("Main"), QStringLiteral("FormatOptions"),
                                      QStringLiteral("Setup"), QStringLiteral("About")};

    SplitFile english;
    for (qsizetype i = 0; i < names.size(); ++i) {
        const QString file = path(names[i] + QStringLiteral(".LNG"));
        WriteLanguageFile(names[i], file);
        const QByteArray bytes = readBytes(file);
        QVERIFY2(QString::fromUtf8(bytes).toUtf8() == bytes, "not UTF-8");
        QCOMPARE(bytes.count('\n'), bytes.count("\r\n"));
        QCOMPARE(bytes.count('\r'), bytes.count("\r\n"));

        const SplitFile parsed = split(bytes);
        QCOMPARE(parsed.firstLine, displayNames[i]);
        QCOMPARE(parsed.sections, sectionOrder);
        if (i == 0)
            english = parsed;
        for (qsizetype s = 0; s < sectionOrder.size(); ++s) {
            QCOMPARE(keysOf(parsed.entries[s]), keysOf(english.entries[s]));
            for (const auto &[key, text] : parsed.entries[s]) {
                // Every text is there, holds no reserved character, and is
                // what the lookup gives for its key.
                QVERIFY2(!text.isEmpty(), qPrintable(names[i] + u'/' + key));
                QVERIFY2(IsValidLanguageName(text), qPrintable(names[i] + u'/' + key));
                QCOMPARE(ReadLanguageText(sectionOrder[s], key, QStringLiteral("<default>"), file), text);
            }
        }
        if (i > 0) {
            // A translation, not a copy: most texts differ from the English.
            int same = 0;
            for (qsizetype s = 0; s < sectionOrder.size(); ++s)
                for (qsizetype k = 0; k < english.entries[s].size(); ++k)
                    same += parsed.entries[s][k].second == english.entries[s][k].second;
            QVERIFY2(same < 8, qPrintable(names[i] + QStringLiteral(": %1 texts as in English").arg(same)));
        }
    }
    QCOMPARE(english.entries.value(0).size() + english.entries.value(1).size() + english.entries.value(2).size()
                 + english.entries.value(3).size() + english.entries.value(4).size(),
             59);
}

void TestLanguageFile::englishTextsAndKnownSlips()
{
    const QString file = path(QStringLiteral("Tonmill.LNG"));
    WriteLanguageFile(QStringLiteral("English"), file);
    const QByteArray english = readBytes(file);
    QVERIFY(english.startsWith("English\r\n{Menus}\r\nFile\xC2\xBB&File\r\nFileOpen\xC2\xBB&Open\r\n"));
    for (const char *line : {"ToolTagEditor\xC2\xBBTag & Editor\r\n", "FileSaveAs\xC2\xBBS&ave As\r\n",
                             "{Main}\r\nOutFormat\xC2\xBBOutput Format:\r\n", "Translated\xC2\xBBTranslated by Quorell\r\n",
                             "chkUpdt\xC2\xBB" "Ch&eck for Updates now\r\n",
                             "ExtPath\xC2\xBB" "External Tools Paths' Definition\r\n",
                             "UpdtMessage\xC2\xBBNote: You need an active Internet connection to use these features.\r\n"})
        QVERIFY2(english.contains(line), line);

    WriteLanguageFile(QStringLiteral("Francais"), file);
    QVERIFY(readBytes(file).startsWith("Fran\xC3\xA7" "ais\r\n"));
    QCOMPARE(ReadLanguageText(QStringLiteral("Main"), QStringLiteral("Convert"), QString(), file), QStringLiteral("Convertir"));
    WriteLanguageFile(QStringLiteral("Espanol"), file);
    QCOMPARE(ReadLanguageText(QStringLiteral("Main"), QStringLiteral("Start"), QString(), file), QStringLiteral("Início"));
    QCOMPARE(ReadLanguageText(QStringLiteral("Main"), QStringLiteral("Translated"), QString(), file),
             QStringLiteral("Traducido por el equipo de Tonmill"));
}

void TestLanguageFile::unknownLanguageWritesEmptyFile()
{
    const QString file = path(QStringLiteral("Tonmill.LNG"));
    WriteLanguageFile(QStringLiteral("Deutsch"), file);
    QVERIFY(readBytes(file).size() > 1000);
    for (const QString &name : {QStringLiteral("francais"), QStringLiteral("Portuguese"), QString()}) {
        WriteLanguageFile(QStringLiteral("Deutsch"), file);
        WriteLanguageFile(name, file);
        QVERIFY(QFileInfo::exists(file));
        QCOMPARE(readBytes(file), QByteArray());
        QCOMPARE(ReadLanguageText(QStringLiteral("Main"), QStringLiteral("Convert"), QString(), file), QString());
    }
}

void TestLanguageFile::captionTableNamesExistingKeys()
{
    const QString file = path(QStringLiteral("English.LNG"));
    WriteLanguageFile(QStringLiteral("English"), file);
    LanguageLines lines;
    lines.LoadLanguageLines(file);
    QSet<QString> controls;
    int relabelled = 0;
    for (const LanguageCaption &caption : languageCaptions()) {
        const QString where = QString::fromLatin1(caption.form) + u'.' + QString::fromLatin1(caption.control);
        QVERIFY2(!controls.contains(where), qPrintable(where + QStringLiteral(" twice")));
        controls.insert(where);
        QVERIFY2(!lines.text(QString::fromLatin1(caption.section), QString::fromLatin1(caption.key), QString()).isEmpty(),
                 qPrintable(where));
        relabelled += caption.relabel;
    }
    // The channel buttons carry their count before the text.
    const auto find = [&](const char *control) {
        for (const LanguageCaption &caption : languageCaptions())
            if (qstrcmp(caption.control, control) == 0)
                return captionText(caption, lines);
        return QStringLiteral("<no row>");
    };
    QCOMPARE(find("optChannelsAC3_2"), QStringLiteral("6 Channels"));
    QCOMPARE(find("optChannels_1"), QStringLiteral("2 Channels"));
    QCOMPARE(find("optChannelsWAV_0"), QStringLiteral("1 Channel"));
    QCOMPARE(find("btnOutFolder"), QStringLiteral("S&ave As"));
    QCOMPARE(find("btnAbout"), QStringLiteral("A&bout"));
    QCOMPARE(find("Dialog"), QStringLiteral("File Information"));
    QVERIFY(relabelled >= 60);
}

void TestLanguageFile::lookupRules()
{
    const QString file = path(QStringLiteral("rules.LNG"));
    writeBytes(file, "Test\r\n"
                     "\r\n"
                     "{Main} the main window\r\n"
                     "\r\n"
                     "SetUp\xC2\xBBwrong key\r\n"
                     "Set\xC2\xBBSet \xC2\xBB and more  \r\n"
                     "convert\xC2\xBBMy own\r\n"
                     "convert\xC2\xBBSecond\r\n"
                     "Empty\xC2\xBB\r\n"
                     "{Setup}\r\n"
                     "Start\xC2\xBBin the wrong section\r\n"
                     "UpdtMessage\xC2\xBBnote\r\n"
                     "{Odd}}\r\n"
                     "K\xC2\xBB\xC2\xBBtext\r\n");
    const auto text = [&](const QString &section, const QString &key) {
        return ReadLanguageText(section, key, QStringLiteral("<default>"), file);
    };
    QCOMPARE(text(QStringLiteral("Main"), QStringLiteral("Convert")), QStringLiteral("My own"));
    QCOMPARE(text(QStringLiteral("MAIN"), QStringLiteral("CONVERT")), QStringLiteral("My own"));
    // "Set" does not match "SetUp", and the text keeps further separators and
    // trailing blanks.
    QCOMPARE(text(QStringLiteral("Main"), QStringLiteral("Set")), QStringLiteral("Set » and more  "));
    QCOMPARE(text(QStringLiteral("Main"), QStringLiteral("Empty")), QString());
    // A key of a later section is not found from an earlier one, nor the reverse.
    QCOMPARE(text(QStringLiteral("Main"), QStringLiteral("Start")), QStringLiteral("<default>"));
    QCOMPARE(text(QStringLiteral("Main"), QStringLiteral("UpdtMessage")), QStringLiteral("<default>"));
    QCOMPARE(text(QStringLiteral("Setup"), QStringLiteral("Convert")), QStringLiteral("<default>"));
    QCOMPARE(text(QStringLiteral("Setup"), QStringLiteral("Start")), QStringLiteral("in the wrong section"));
    QCOMPARE(text(QStringLiteral("About"), QStringLiteral("Notice")), QStringLiteral("<default>"));
    // Headers match by prefix: "{Ma" is no section name, "{Main}" with text
    // after it is.
    QCOMPARE(text(QStringLiteral("Ma"), QStringLiteral("Convert")), QStringLiteral("<default>"));
    // A reserved character in the key under a clean section name gives the
    // default; under a section name with one, the lookup goes on.
    QCOMPARE(text(QStringLiteral("Main"), QStringLiteral("Set\u00BB")), QStringLiteral("<default>"));
    QCOMPARE(text(QStringLiteral("Odd}"), QStringLiteral("K\u00BB")), QStringLiteral("\u00BBtext"));
    QCOMPARE(text(QStringLiteral("Odd}"), QStringLiteral("K")), QStringLiteral("\u00BBtext"));
    QVERIFY(IsValidLanguageName(QStringLiteral("Main")));
    QVERIFY(!IsValidLanguageName(QStringLiteral("Ma{in")));
    QVERIFY(!IsValidLanguageName(QStringLiteral("Main}")));
    QVERIFY(!IsValidLanguageName(QStringLiteral("a\u00BBb")));
}

void TestLanguageFile::lineArrayAndFindLanguageLine()
{
    LanguageLines lines;
    lines.loadContent("Name\r\n\r\n{A}\r\nk\xC2\xBBv\n\n{B}\rx\xC2\xBBy");
    QCOMPARE(lines.count(), 7);
    const QStringList expected = {QStringLiteral("Name"), QString(), QStringLiteral("{A}"), QStringLiteral("k»v"),
                                  QString(), QStringLiteral("{B}"), QStringLiteral("x»y")};
    for (int i = 1; i <= lines.count(); ++i)
        QCOMPARE(lines.at(i), expected[i - 1]);

    int position = 0;
    QVERIFY(lines.FindLanguageLine(position, QStringLiteral("{b}"), false));
    QCOMPARE(position, 6);
    position = 3;
    QVERIFY(!lines.FindLanguageLine(position, QStringLiteral("x»"), true));
    QCOMPARE(position, 6); // stopped on the next header
    position = 0;
    QVERIFY(!lines.FindLanguageLine(position, QStringLiteral("zzz"), false));
    QCOMPARE(position, 7); // the last non-empty line looked at
    position = 7;
    QVERIFY(!lines.FindLanguageLine(position, QStringLiteral("x"), false));

    // A file that starts with a header has the empty element first.
    lines.loadContent("{Main}\r\nConvert\xC2\xBBGo\r\n");
    QCOMPARE(lines.count(), 3);
    QVERIFY(lines.at(1).isEmpty());
    QCOMPARE(lines.text(QStringLiteral("Main"), QStringLiteral("Convert"), QString()), QStringLiteral("Go"));
}

void TestLanguageFile::readsFilesOfTheOriginalPlatform()
{
    const QString file = path(QStringLiteral("cp1252.LNG"));
    writeBytes(file, "Fran\xE7" "ais\r\n"
                     "{Menus}\r\n"
                     "FileOpen\xBB&Ouvrir\r\n"
                     "{Main}\r\n"
                     "InFile\xBB" "Fichier \xE0 convertir :\r\n"
                     "Start\xBB" "D\xE9" "but\r\n"
                     "{FormatOptions}\r\n"
                     "SamFreq\xBB" "Fr\xE9quence d'\xE9" "chantillonnage \x96 \x80\r\n");
    QCOMPARE(ReadLanguageText(QStringLiteral("Menus"), QStringLiteral("FileOpen"), QString(), file), QStringLiteral("&Ouvrir"));
    QCOMPARE(ReadLanguageText(QStringLiteral("Main"), QStringLiteral("InFile"), QString(), file),
             QStringLiteral("Fichier à convertir :"));
    QCOMPARE(ReadLanguageText(QStringLiteral("main"), QStringLiteral("start"), QString(), file), QStringLiteral("Début"));
    QCOMPARE(ReadLanguageText(QStringLiteral("FormatOptions"), QStringLiteral("SamFreq"), QString(), file),
             QStringLiteral("Fréquence d'échantillonnage – €"));

    // A hand edit saved in UTF-8 among the old lines, with a byte order mark.
    writeBytes(file, "\xEF\xBB\xBF{Main}\r\nConvert\xC2\xBB" "Conv\xC3\xA9rtir\r\nEnd\xBB" "Fin\xE9\r\n");
    QCOMPARE(ReadLanguageText(QStringLiteral("Main"), QStringLiteral("Convert"), QString(), file), QStringLiteral("Convértir"));
    QCOMPARE(ReadLanguageText(QStringLiteral("Main"), QStringLiteral("End"), QString(), file), QStringLiteral("Finé"));
}

void TestLanguageFile::badFilesGiveDefaults()
{
    const QString def = QStringLiteral("<default>");
    const QString file = path(QStringLiteral("bad.LNG"));
    const auto convert = [&](const QString &from) {
        return ReadLanguageText(QStringLiteral("Main"), QStringLiteral("Convert"), def, from);
    };

    QByteArray noise(10 * 1024 * 1024, Qt::Uninitialized);
    QRandomGenerator random(7);
    random.fillRange(reinterpret_cast<quint32 *>(noise.data()), noise.size() / 4);
    writeBytes(file, noise);
    QCOMPARE(convert(file), def);
    LanguageLines lines;
    lines.LoadLanguageLines(file);
    QVERIFY(lines.count() > 1000);

    writeBytes(file, "English\r\n{Main\r\nConvert\xC2\xBBunclosed\r\n");
    QCOMPARE(convert(file), def);
    writeBytes(file, "English\r\nMain}\r\n}{Main}\r\nConvert\xC2\xBB" "backwards\r\n");
    QCOMPARE(convert(file), def);
    writeBytes(file, "English\r\n{{Main}}\r\nConvert\xC2\xBB" "doubled\r\n");
    QCOMPARE(convert(file), def);
    writeBytes(file, "English\r\n{Main}\r\nConvert Convertir\r\nConvert=Convertir\r\n");
    QCOMPARE(convert(file), def);
    writeBytes(file, QByteArray());
    QCOMPARE(convert(file), def);
    QCOMPARE(convert(path(QStringLiteral("absent.LNG"))), def);

    // A folder in the file's place, a read-only file, a missing folder.
    const QString folder = path(QStringLiteral("folder.LNG"));
    QVERIFY(QDir().mkpath(folder));
    QCOMPARE(convert(folder), def);
    WriteLanguageFile(QStringLiteral("English"), folder);
    QVERIFY(QFileInfo(folder).isDir());

    const QString locked = path(QStringLiteral("locked.LNG"));
    writeBytes(locked, "Old\r\n{Main}\r\nConvert\xC2\xBBold\r\n");
    QVERIFY(QFile::setPermissions(locked, QFile::ReadOwner));
    WriteLanguageFile(QStringLiteral("English"), locked);
    QCOMPARE(convert(locked), QStringLiteral("old"));
    WriteLanguageFile(QStringLiteral("nonsense"), locked);
    QCOMPARE(convert(locked), QStringLiteral("old"));

    const QString lost = path(QStringLiteral("gone/Tonmill.LNG"));
    WriteLanguageFile(QStringLiteral("English"), lost);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("gone"))));
    QCOMPARE(convert(lost), def);
}

QTEST_GUILESS_MAIN(TestLanguageFile)
#include "tst_languagefile.moc"
