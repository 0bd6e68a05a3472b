#include "platform/AppFolder.h"
#include "settings/INIManager.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;
using test::readBytes;
using test::writeBytes;

namespace {

// A settings file as the original platform leaves it: Windows-1252, CR LF,
// names in other letter case, comments, blank lines and a key of an older
// version.
const QByteArray kOriginal = "; Tonmill settings\r\n"
                             "[general]\r\n"
                             "version=100\r\n"
                             "CHKUPDATES=1\r\n"
                             "Interface = 100\r\n"
                             "language=Portugues\r\n"
                             "FFMPEG=C:\\Arquivos de Programas\\M\xFAsicas\\ffmpeg.exe\r\n"
                             "\r\n"
                             ";Vista=1\r\n"
                             "OldKey=left by an older version\r\n"
                             "\r\n"
                             "[OPTIONS]   \r\n"
                             "mode=MP3\r\n"
                             "aacSamFreq=6\r\n"
                             "Notes=Caf\xE9 \x93quoted\x94\r\n";

} // namespace

class TestIniManager : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void readsOriginalPlatformFile();
    void writeChangesOnlyItsOwnLine();
    void createsFileSectionAndKey();
    void valueRules();
    void namesThatCannotBeWrittenWriteNothing();
    void lineBreaksOfTheFileAreKept();
    void firstMatchingSectionAndKeyCount();
    void badFilesReadEmptyAndWriteNothing();
    void oneSpellingOnDisk();
    void pythonReadsWhatWasWritten();

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }
};

void TestIniManager::readsOriginalPlatformFile()
{
    const QString ini = path(QStringLiteral("original.ini"));
    writeBytes(ini, kOriginal);

    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Version"), ini), QStringLiteral("100"));
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("ChkUpdates"), ini), QStringLiteral("1"));
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Interface"), ini), QStringLiteral("100"));
    QCOMPARE(ReadIniValue(QStringLiteral("GENERAL"), QStringLiteral("Language"), ini), QStringLiteral("Portugues"));
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("FFMPEG"), ini),
             QStringLiteral("C:\\Arquivos de Programas\\Músicas\\ffmpeg.exe"));
    QCOMPARE(ReadIniValue(QStringLiteral("Options"), QStringLiteral("Mode"), ini), QStringLiteral("MP3"));
    QCOMPARE(ReadIniValue(QStringLiteral("Options"), QStringLiteral("AACSamFreq"), ini), QStringLiteral("6"));
    QCOMPARE(ReadIniValue(QStringLiteral("options"), QStringLiteral("notes"), ini), QStringLiteral("Café “quoted”"));
    // A commented key, a key of the other section and missing names.
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Vista"), ini), QString());
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Mode"), ini), QString());
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("QUENC"), ini), QString());
    QCOMPARE(ReadIniValue(QStringLiteral("Missing"), QStringLiteral("Version"), ini), QString());
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QString(), ini), QString());
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Version"), path(QStringLiteral("absent.ini"))),
             QString());
}

void TestIniManager::writeChangesOnlyItsOwnLine()
{
    const QString ini = path(QStringLiteral("edited.ini"));
    writeBytes(ini, kOriginal);
    QByteArray expected = kOriginal;

    // In place, keeping the key's spelling and the blanks before the value.
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Version"), QStringLiteral("101"), ini);
    expected.replace("version=100\r\n", "version=101\r\n");
    QCOMPARE(readBytes(ini), expected);
    WriteIniValue(QStringLiteral("general"), QStringLiteral("INTERFACE"), QStringLiteral("101"), ini);
    expected.replace("Interface = 100\r\n", "Interface = 101\r\n");
    QCOMPARE(readBytes(ini), expected);

    // A new key goes after the section's last entry, before its blank line.
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Vista"), QStringLiteral("0"), ini);
    expected.replace("OldKey=left by an older version\r\n", "OldKey=left by an older version\r\nVista=0\r\n");
    QCOMPARE(readBytes(ini), expected);
    WriteIniValue(QStringLiteral("Options"), QStringLiteral("AACBitRate"), QStringLiteral("128"), ini);
    expected += "AACBitRate=128\r\n";
    QCOMPARE(readBytes(ini), expected);

    // A UTF-8 value among Windows-1252 lines: both read back.
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Language"), QStringLiteral("Français"), ini);
    expected.replace("language=Portugues\r\n", "language=Fran\xC3\xA7" "ais\r\n");
    QCOMPARE(readBytes(ini), expected);
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Language"), ini), QStringLiteral("Français"));
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("FFMPEG"), ini),
             QStringLiteral("C:\\Arquivos de Programas\\Músicas\\ffmpeg.exe"));
    // A Windows-1252 key name keeps its bytes when its value is replaced.
    writeBytes(ini, "[Tags]\r\nT\xEDtulo=velho\r\n");
    WriteIniValue(QStringLiteral("Tags"), QStringLiteral("Título"), QStringLiteral("Ação"), ini);
    QCOMPARE(readBytes(ini), QByteArray("[Tags]\r\nT\xEDtulo=A\xC3\xA7\xC3\xA3o\r\n"));
    QCOMPARE(ReadIniValue(QStringLiteral("Tags"), QStringLiteral("TÍTULO"), ini), QStringLiteral("Ação"));
}

void TestIniManager::createsFileSectionAndKey()
{
    const QString ini = path(QStringLiteral("new.ini"));
    WriteIniValue(QStringLiteral("General"), QStringLiteral("ChkUpdates"), QStringLiteral("1"), ini);
    QCOMPARE(readBytes(ini), QByteArray("[General]\r\nChkUpdates=1\r\n"));
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Version"), QStringLiteral("100"), ini);
    WriteIniValue(QStringLiteral("Options"), QStringLiteral("Mode"), QStringLiteral("MP3"), ini);
    WriteIniValue(QStringLiteral("general"), QStringLiteral("Language"), QStringLiteral("English"), ini);
    QCOMPARE(readBytes(ini), QByteArray("[General]\r\nChkUpdates=1\r\nVersion=100\r\nLanguage=English\r\n"
                                        "[Options]\r\nMode=MP3\r\n"));
    QCOMPARE(ReadIniValue(QStringLiteral("OPTIONS"), QStringLiteral("mode"), ini), QStringLiteral("MP3"));
}

void TestIniManager::valueRules()
{
    const QString ini = path(QStringLiteral("values.ini"));
    const auto roundTrip = [&](const QString &value) {
        WriteIniValue(QStringLiteral("V"), QStringLiteral("Key"), value, ini);
        return ReadIniValue(QStringLiteral("V"), QStringLiteral("Key"), ini);
    };
    const QString long300 = QString(300, u'x');
    QCOMPARE(roundTrip(long300), QString(254, u'x'));
    QCOMPARE(roundTrip(QString(254, u'y')), QString(254, u'y'));
    // The cut never leaves half a character of a surrogate pair.
    QCOMPARE(roundTrip(QString(253, u'z') + QStringLiteral("\U0001F3B5")), QString(253, u'z'));
    QCOMPARE(roundTrip(QStringLiteral("  padded  ")), QStringLiteral("padded"));
    QCOMPARE(roundTrip(QStringLiteral("  padded  ")), QStringLiteral("padded"));
    QCOMPARE(readBytes(ini), QByteArray("[V]\r\nKey=padded\r\n"));
    QCOMPARE(roundTrip(QStringLiteral("\"quoted\"")), QStringLiteral("quoted"));
    QCOMPARE(roundTrip(QStringLiteral("'single'")), QStringLiteral("single"));
    QCOMPARE(roundTrip(QStringLiteral("\"open")), QStringLiteral("\"open"));
    QCOMPARE(roundTrip(QStringLiteral("a=b;c")), QStringLiteral("a=b;c"));
    QCOMPARE(roundTrip(QString()), QString());
    QCOMPARE(readBytes(ini), QByteArray("[V]\r\nKey=\r\n"));
    // A line break ends the value: nothing after it reaches the file.
    QCOMPARE(roundTrip(QStringLiteral("first\r\n[Injected]\nsecond")), QStringLiteral("first"));
    QCOMPARE(readBytes(ini), QByteArray("[V]\r\nKey=first\r\n"));
    QCOMPARE(ReadIniValue(QStringLiteral(" V "), QStringLiteral("\tKey "), ini), QStringLiteral("first"));
}

void TestIniManager::namesThatCannotBeWrittenWriteNothing()
{
    const QString ini = path(QStringLiteral("names.ini"));
    for (const auto &[section, key] : std::initializer_list<std::pair<QString, QString>>{
             {QString(), QStringLiteral("Key")},
             {QStringLiteral("S"), QString()},
             {QStringLiteral("  "), QStringLiteral("Key")},
             {QStringLiteral("S"), QStringLiteral("a=b")},
             {QStringLiteral("S"), QStringLiteral("[S2]")},
             {QStringLiteral("S"), QStringLiteral(";note")},
             {QStringLiteral("S\r\nX"), QStringLiteral("Key")},
             {QStringLiteral("S"), QStringLiteral("Key\nX")},
         }) {
        WriteIniValue(section, key, QStringLiteral("v"), ini);
        QVERIFY2(!QFile::exists(ini), qPrintable(section + u'/' + key));
    }
}

void TestIniManager::lineBreaksOfTheFileAreKept()
{
    const QString ini = path(QStringLiteral("breaks.ini"));
    const auto afterWrite = [&](const QByteArray &before, const QString &section, const QString &key) {
        writeBytes(ini, before);
        WriteIniValue(section, key, QStringLiteral("2"), ini);
        return readBytes(ini);
    };
    const QString s = QStringLiteral("S");
    const QString b = QStringLiteral("B");
    QCOMPARE(afterWrite("[S]\nA=1\n", s, b), QByteArray("[S]\nA=1\nB=2\n"));
    QCOMPARE(afterWrite("[S]\rA=1\r", s, b), QByteArray("[S]\rA=1\rB=2\r"));
    QCOMPARE(afterWrite("[S]\r\nA=1", s, b), QByteArray("[S]\r\nA=1\r\nB=2\r\n"));
    QCOMPARE(afterWrite("[S]", s, b), QByteArray("[S]\r\nB=2\r\n"));
    QCOMPARE(afterWrite("[S]\nA=1", QStringLiteral("T"), b), QByteArray("[S]\nA=1\n[T]\nB=2\n"));
    QCOMPARE(afterWrite("[S]\r\nA=1\r\n\r\n[T]\r\n", s, b), QByteArray("[S]\r\nA=1\r\nB=2\r\n\r\n[T]\r\n"));
    QCOMPARE(afterWrite("[S]\r\nB=1   \r\nC=3\r\n", s, b), QByteArray("[S]\r\nB=2\r\nC=3\r\n"));
    QCOMPARE(afterWrite("[S]\r\nB= \t\r\n", s, b), QByteArray("[S]\r\nB= \t2\r\n"));
    // A file saved with a byte order mark keeps it and its first section.
    QCOMPARE(afterWrite("\xEF\xBB\xBF[S]\r\nB=1\r\n", s, b), QByteArray("\xEF\xBB\xBF[S]\r\nB=2\r\n"));
}

void TestIniManager::firstMatchingSectionAndKeyCount()
{
    const QString ini = path(QStringLiteral("twice.ini"));
    writeBytes(ini, "Loose=0\r\n[A]\r\nk=1\r\nk=9\r\n[B]\r\nj=5\r\n[a]\r\nk=2\r\nj=3\r\n[A] old\r\n");
    QCOMPARE(ReadIniValue(QStringLiteral("A"), QStringLiteral("k"), ini), QStringLiteral("1"));
    QCOMPARE(ReadIniValue(QStringLiteral("A"), QStringLiteral("j"), ini), QString());
    QCOMPARE(ReadIniValue(QStringLiteral("A"), QStringLiteral("Loose"), ini), QString());
    WriteIniValue(QStringLiteral("a"), QStringLiteral("K"), QStringLiteral("7"), ini);
    WriteIniValue(QStringLiteral("A"), QStringLiteral("j"), QStringLiteral("4"), ini);
    QCOMPARE(readBytes(ini), QByteArray("Loose=0\r\n[A]\r\nk=7\r\nk=9\r\nj=4\r\n[B]\r\nj=5\r\n[a]\r\nk=2\r\nj=3\r\n[A] old\r\n"));
    // The header's name runs to its last "]"; text after it is ignored.
    writeBytes(ini, "[x]y] ; note\r\nk=1\r\n");
    QCOMPARE(ReadIniValue(QStringLiteral("x]y"), QStringLiteral("k"), ini), QStringLiteral("1"));
}

void TestIniManager::badFilesReadEmptyAndWriteNothing()
{
    // Ten megabytes of noise in place of the settings file.
    const QString noisy = path(QStringLiteral("noise.ini"));
    QByteArray noise(10 * 1024 * 1024, Qt::Uninitialized);
    QRandomGenerator random(20240611);
    random.fillRange(reinterpret_cast<quint32 *>(noise.data()), noise.size() / 4);
    writeBytes(noisy, noise);
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Version"), noisy), QString());
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Version"), QStringLiteral("100"), noisy);
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Version"), noisy), QStringLiteral("100"));
    QVERIFY(readBytes(noisy).startsWith(noise));

    // A folder where the file should be.
    const QString folder = path(QStringLiteral("folder.ini"));
    QVERIFY(QDir().mkpath(folder));
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Version"), folder), QString());
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Version"), QStringLiteral("100"), folder);
    QVERIFY(QFileInfo(folder).isDir());
    QVERIFY(QDir(folder).isEmpty());

    // A read-only file stays as it is, also for root.
    const QString locked = path(QStringLiteral("locked.ini"));
    writeBytes(locked, kOriginal);
    QVERIFY(QFile::setPermissions(locked, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Version"), QStringLiteral("999"), locked);
    WriteIniValue(QStringLiteral("New"), QStringLiteral("Key"), QStringLiteral("1"), locked);
    QCOMPARE(readBytes(locked), kOriginal);
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Version"), locked), QStringLiteral("100"));
    QVERIFY(!QDir(m_dir.path()).entryList().join(u' ').contains(QStringLiteral("locked.ini.")));

    // A missing application folder is not created.
    const QString lost = path(QStringLiteral("missing/folder/Tonmill.ini"));
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Version"), lost), QString());
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Version"), QStringLiteral("100"), lost);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("missing"))));
}

void TestIniManager::oneSpellingOnDisk()
{
    QTemporaryDir home;
    const AppFolder folder(home.path());
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Version"), QStringLiteral("100"),
                  folder.file(QStringLiteral("\\Tonmill.INI")));
    WriteIniValue(QStringLiteral("general"), QStringLiteral("Vista"), QStringLiteral("0"),
                  folder.file(QStringLiteral("\\tonmill.ini")));
    QCOMPARE(ReadIniValue(QStringLiteral("General"), QStringLiteral("Version"), folder.file(QStringLiteral("\\Tonmill.ini"))),
             QStringLiteral("100"));
    QCOMPARE(QDir(home.path()).entryList(QDir::Files), QStringList{QStringLiteral("Tonmill.ini")});
    QCOMPARE(readBytes(home.filePath(QStringLiteral("Tonmill.ini"))), QByteArray("[General]\r\nVersion=100\r\nVista=0\r\n"));
}

// Python's configparser as an independent reader of a file written here.
void TestIniManager::pythonReadsWhatWasWritten()
{
    const QString ini = path(QStringLiteral("python.ini"));
    WriteIniValue(QStringLiteral("General"), QStringLiteral("FFMPEG"), QStringLiteral("/usr/bin/ffmpeg"), ini);
    WriteIniValue(QStringLiteral("Options"), QStringLiteral("Mode"), QStringLiteral("MP2/MPA"), ini);
    WriteIniValue(QStringLiteral("General"), QStringLiteral("Language"), QStringLiteral("Español"), ini);
    WriteIniValue(QStringLiteral("Options"), QStringLiteral("AACBitRate"), QStringLiteral("128"), ini);
    WriteIniValue(QStringLiteral("general"), QStringLiteral("language"), QStringLiteral("Deutsch"), ini);

    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"),
                 {QStringLiteral("-c"),
                  QStringLiteral("import configparser, json, sys\n"
                                 "p = configparser.ConfigParser(interpolation=None)\n"
                                 "p.read(sys.argv[1], encoding='utf-8')\n"
                                 "print(json.dumps({s: dict(p[s]) for s in p.sections()}))\n"),
                  ini});
    QVERIFY(python.waitForFinished(30000));
    QCOMPARE(python.exitCode(), 0);
    const QJsonObject sections = QJsonDocument::fromJson(python.readAllStandardOutput()).object();
    QCOMPARE(sections.keys(), (QStringList{QStringLiteral("General"), QStringLiteral("Options")}));
    const QJsonObject general = sections.value(QStringLiteral("General")).toObject();
    const QJsonObject options = sections.value(QStringLiteral("Options")).toObject();
    QCOMPARE(general.size(), 2);
    QCOMPARE(general.value(QStringLiteral("ffmpeg")).toString(), QStringLiteral("/usr/bin/ffmpeg"));
    QCOMPARE(general.value(QStringLiteral("language")).toString(), QStringLiteral("Deutsch"));
    QCOMPARE(options.size(), 2);
    QCOMPARE(options.value(QStringLiteral("mode")).toString(), QStringLiteral("MP2/MPA"));
    QCOMPARE(options.value(QStringLiteral("aacbitrate")).toString(), QStringLiteral("128"));
}

QTEST_GUILESS_MAIN(TestIniManager)
#include "tst_inimanager.moc"
