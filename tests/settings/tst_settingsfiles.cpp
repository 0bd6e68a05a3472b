// The program's two text files: the settings file (INI manager, settings store, start-up steps) and the language file.
#include "platform/AppVersion.h"
#include "settings/BuiltInLanguages.h"
#include "settings/INIManager.h"
#include "settings/LanguageCaptions.h"
#include "settings/LanguageLines.h"
#include "settings/SettingsStore.h"
#include "settings/Translations.h"
#include "settings/UpgradePath.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;
using namespace Qt::Literals::StringLiterals;
using test::readBytes;
using test::writeBytes;

namespace {

// A settings file as the original platform leaves it: Windows-1252, CR LF, names in other case,
// comments, blank lines, blanks around values and a key of an older version.
const QByteArray kOriginal = "; Tonmill settings\r\n[general]\r\nversion=100\r\nCHKUPDATES=1\r\nInterface = 100\r\n"
                             "language=Portugues\r\nFFMPEG=C:\\Arquivos de Programas\\M\xFAsicas\\ffmpeg.exe\r\n\r\n"
                             ";Vista=1\r\nOldKey=left by an older version\r\n\r\n"
                             "[OPTIONS]   \r\nmode=MP3  \r\naacSamFreq=6\r\nNotes=Caf\xE9 \x93quoted\x94\r\n";
const QString kFfmpeg = u"C:\\Arquivos de Programas\\Músicas\\ffmpeg.exe"_s;

// Noise in place of a file: nothing in it can be read.
QByteArray noise()
{
    QByteArray bytes(64 * 1024, Qt::Uninitialized);
    QRandomGenerator(20240611).fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return bytes;
}

} // namespace

class TestSettingsFiles : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void originalFileReadAndEditedInPlace();
    void writeRulesAndBadFiles();
    void storeKeysDefaultsAndFlags();
    void startUpStepsInOrder();
    void builtInLanguagesHaveEveryKey();
    void languageLookupRules();

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }
};

void TestSettingsFiles::originalFileReadAndEditedInPlace()
{
    const QString ini = path(u"original.ini"_s);
    writeBytes(ini, kOriginal);
    // Names in any case; a commented key, a key of the other section, missing names: empty.
    const QList<std::array<QString, 3>> reads = {
        {u"General"_s, u"Version"_s, u"100"_s},   {u"general"_s, u"CHKUPDATES"_s, u"1"_s},
        {u"General"_s, u"Interface"_s, u"100"_s}, {u"GENERAL"_s, u"Language"_s, u"Portugues"_s},
        {u"General"_s, u"FFMPEG"_s, kFfmpeg},     {u"Options"_s, u"Mode"_s, u"MP3"_s},
        {u"options"_s, u"notes"_s, u"Café “quoted”"_s}, {u"General"_s, u"Vista"_s, {}},
        {u"General"_s, u"Mode"_s, {}},            {u"Missing"_s, u"Version"_s, {}},
    };
    for (const auto &[section, key, value] : reads)
        QCOMPARE(ReadIniValue(section, key, ini), value);
    QCOMPARE(ReadIniValue(u"General"_s, u"Version"_s, path(u"absent.ini"_s)), QString());

    // A write changes its own line only, keeping the key's spelling and the blanks before the value;
    // a new key goes after its section's last entry; a UTF-8 value among Windows-1252 lines.
    struct Edit {
        QString section, key, value;
        QByteArray from, to;
    };
    const QList<Edit> edits = {
        {u"General"_s, u"Version"_s, u"101"_s, "version=100\r\n", "version=101\r\n"},
        {u"general"_s, u"INTERFACE"_s, u"101"_s, "Interface = 100\r\n", "Interface = 101\r\n"},
        {u"General"_s, u"Vista"_s, u"0"_s, "version\r\n\r\n", "version\r\nVista=0\r\n\r\n"},
        {u"Options"_s, u"AACBitRate"_s, u"128"_s, "\x94\r\n", "\x94\r\nAACBitRate=128\r\n"},
        {u"General"_s, u"Language"_s, u"Français"_s, "=Portugues\r\n", "=Fran\xC3\xA7" "ais\r\n"},
    };
    QByteArray expected = kOriginal;
    for (const Edit &e : edits) {
        WriteIniValue(e.section, e.key, e.value, ini);
        QCOMPARE(readBytes(ini), expected.replace(e.from, e.to));
        QCOMPARE(ReadIniValue(e.section, e.key, ini), e.value);
    }
    QCOMPARE(ReadIniValue(u"General"_s, u"FFMPEG"_s, ini), kFfmpeg);
    // A Windows-1252 key name keeps its bytes when its value is replaced.
    writeBytes(ini, "[Tags]\r\nT\xEDtulo=velho\r\n");
    WriteIniValue(u"Tags"_s, u"Título"_s, u"Ação"_s, ini);
    QCOMPARE(readBytes(ini), QByteArray("[Tags]\r\nT\xEDtulo=A\xC3\xA7\xC3\xA3o\r\n"));
    QCOMPARE(ReadIniValue(u"Tags"_s, u"TÍTULO"_s, ini), u"Ação"_s);
}

void TestSettingsFiles::writeRulesAndBadFiles()
{
    const QString ini = path(u"new.ini"_s);
    WriteIniValue(u"General"_s, u"ChkUpdates"_s, u"1"_s, ini);
    WriteIniValue(u"Options"_s, u"Mode"_s, u"MP3"_s, ini);
    WriteIniValue(u"general"_s, u"Language"_s, u"English"_s, ini);
    QCOMPARE(readBytes(ini), QByteArray("[General]\r\nChkUpdates=1\r\nLanguage=English\r\n[Options]\r\nMode=MP3\r\n"));

    // Cut to 254 characters, never within a surrogate pair; quotes go; a line break ends the value.
    const QList<std::pair<QString, QString>> values = {
        {QString(300, u'x'), QString(254, u'x')},
        {QString(253, u'z') + u"\U0001F3B5"_s, QString(253, u'z')},
        {u"\"quoted\""_s, u"quoted"_s}, {u"'single'"_s, u"single"_s}, {u"\"open"_s, u"\"open"_s},
        {u"a=b;c"_s, u"a=b;c"_s}, {QString(), QString()}, {u"first\r\n[Injected]\nsecond"_s, u"first"_s},
    };
    for (const auto &[value, read] : values) {
        WriteIniValue(u"V"_s, u"Key"_s, value, ini);
        QCOMPARE(ReadIniValue(u" V "_s, u"\tKey "_s, ini), read);
    }
    QVERIFY(readBytes(ini).endsWith("[V]\r\nKey=first\r\n"));
    WriteIniValue(u"V"_s, u"Key"_s, u"  padded  "_s, ini);
    QVERIFY(readBytes(ini).endsWith("[V]\r\nKey=padded\r\n"));

    // Names that cannot be written write nothing.
    const QString none = path(u"names.ini"_s);
    for (const auto &[section, key] : std::initializer_list<std::pair<QString, QString>>{
             {QString(), u"Key"_s}, {u"S"_s, QString()}, {u"  "_s, u"Key"_s}, {u"S"_s, u"a=b"_s},
             {u"S"_s, u"[S2]"_s}, {u"S"_s, u";note"_s}, {u"S\r\nX"_s, u"Key"_s}, {u"S"_s, u"Key\nX"_s}}) {
        WriteIniValue(section, key, u"v"_s, none);
        QVERIFY2(!QFile::exists(none), qPrintable(section + u'/' + key));
    }

    // The file's own line breaks are kept; a file without any gets CR LF.
    const QList<std::array<QByteArray, 3>> writes = {
        {"[S]\nA=1\n", "S", "[S]\nA=1\nB=2\n"}, {"[S]\rA=1\r", "S", "[S]\rA=1\rB=2\r"},
        {"[S]\r\nA=1", "S", "[S]\r\nA=1\r\nB=2\r\n"}, {"[S]", "S", "[S]\r\nB=2\r\n"},
        {"[S]\nA=1", "T", "[S]\nA=1\n[T]\nB=2\n"},
        {"[S]\r\nA=1\r\n\r\n[T]\r\n", "S", "[S]\r\nA=1\r\nB=2\r\n\r\n[T]\r\n"},
        {"[S]\r\nB=1   \r\nC=3\r\n", "S", "[S]\r\nB=2\r\nC=3\r\n"},
        {"[S]\r\nB= \t\r\n", "S", "[S]\r\nB= \t2\r\n"},
        {"\xEF\xBB\xBF[S]\r\nB=1\r\n", "S", "\xEF\xBB\xBF[S]\r\nB=2\r\n"},
    };
    for (const auto &[before, section, after] : writes) {
        writeBytes(ini, before);
        WriteIniValue(QString::fromLatin1(section), u"B"_s, u"2"_s, ini);
        QCOMPARE(readBytes(ini), after);
    }

    // The first matching section and key count; a key is not looked for past its section.
    writeBytes(ini, "Loose=0\r\n[A]\r\nk=1\r\nk=9\r\n[B]\r\nj=5\r\n[a]\r\nk=2\r\nj=3\r\n[A] old\r\n");
    QCOMPARE(ReadIniValue(u"A"_s, u"k"_s, ini), u"1"_s);
    QCOMPARE(ReadIniValue(u"A"_s, u"j"_s, ini), QString());
    QCOMPARE(ReadIniValue(u"A"_s, u"Loose"_s, ini), QString());
    WriteIniValue(u"a"_s, u"K"_s, u"7"_s, ini);
    WriteIniValue(u"A"_s, u"j"_s, u"4"_s, ini);
    QCOMPARE(readBytes(ini), QByteArray("Loose=0\r\n[A]\r\nk=7\r\nk=9\r\nj=4\r\n[B]\r\nj=5\r\n[a]\r\nk=2\r\nj=3\r\n[A] old\r\n"));
    // The header's name runs to its last "]"; text after it is ignored.
    writeBytes(ini, "[x]y] ; note\r\nk=1\r\n");
    QCOMPARE(ReadIniValue(u"x]y"_s, u"k"_s, ini), u"1"_s);

    // Noise in place of the settings file: nothing read, the key appended.
    const auto version = [](const QString &file) { return ReadIniValue(u"General"_s, u"Version"_s, file); };
    const auto write = [](const QString &file) { WriteIniValue(u"General"_s, u"Version"_s, u"999"_s, file); };
    const QString noisy = path(u"noise.ini"_s);
    writeBytes(noisy, noise());
    QCOMPARE(version(noisy), QString());
    write(noisy);
    QCOMPARE(version(noisy), u"999"_s);
    QVERIFY(readBytes(noisy).startsWith(noise()));

    // A folder in the file's place, a read-only file (also for root), a missing folder: untouched.
    const QString folder = path(u"folder.ini"_s);
    QVERIFY(QDir().mkpath(folder));
    QCOMPARE(version(folder), QString());
    write(folder);
    QVERIFY(QDir(folder).isEmpty());
    const QString locked = path(u"locked.ini"_s);
    writeBytes(locked, kOriginal);
    QVERIFY(QFile::setPermissions(locked, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    write(locked);
    WriteIniValue(u"New"_s, u"Key"_s, u"1"_s, locked);
    QCOMPARE(readBytes(locked), kOriginal);
    QVERIFY(!QDir(m_dir.path()).entryList().join(u' ').contains(u"locked.ini."_s));
    write(path(u"missing/folder/Tonmill.ini"_s));
    QVERIFY(!QFileInfo::exists(path(u"missing"_s)));
}

void TestSettingsFiles::storeKeysDefaultsAndFlags()
{
    SettingsStore settings(path(u"store.ini"_s));
    // What empty means; reading creates no file.
    QVERIFY(settings.versionChanged() && settings.interfaceChanged() && settings.isFirstRun());
    QVERIFY(!settings.checkUpdates() && !settings.logOnOff() && settings.saveLog());
    QCOMPARE(settings.vista(), std::nullopt);
    QVERIFY(!QFile::exists(settings.file()));
    // Defaults stored when found empty, flags as "1"/"0" or "True"/"False" as their readers expect.
    QCOMPARE(settings.ensureLanguage(), u"English"_s);
    QCOMPARE(settings.ensureVista(), u"0"_s);
    settings.setLanguage(u"Deutsch"_s);
    settings.setCheckUpdates(true);
    settings.setVista(true);
    settings.setLogOnOff(false);
    settings.setSaveLog(true);
    settings.setFfmpegPath(u"/usr/bin/ffmpeg"_s);
    settings.setMode(u"WAV"_s);
    settings.setOption(u"WAVCodec"_s, u"1"_s);
    QCOMPARE(readBytes(settings.file()), "[General]\r\nLanguage=Deutsch\r\nVista=1\r\nChkUpdates=1\r\nLogOnOff=False\r\n"
                                         "SaveLog=True\r\nFFMPEG=/usr/bin/ffmpeg\r\n[Options]\r\nMode=WAV\r\nWAVCodec=1\r\n"_ba);
    QVERIFY(settings.checkUpdates() && !settings.isFirstRun());

    // Names in other case, flags in either spelling; values that mean nothing are as empty.
    // Flags: LogOnOff, SaveLog, ChkUpdates, Vista (-1: unset).
    const QList<std::pair<QByteArray, std::array<int, 4>>> files = {
        {"[general]\r\nlogonoff=TRUE\r\nsavelog=false\r\nchkupdates=1\r\nvista=0\r\n", {1, 0, 1, 0}},
        {"[General]\r\nLogOnOff=-1\r\nSaveLog= fAlSe \r\nVista=1\r\n", {1, 0, 0, 1}},
        {"[General]\r\nLogOnOff=maybe\r\nSaveLog=on\r\nChkUpdates=yes\r\nVista=2\r\n", {0, 1, 0, -1}},
    };
    for (const auto &[file, flags] : files) {
        writeBytes(settings.file(), file);
        QCOMPARE(settings.logOnOff(), bool(flags[0]));
        QCOMPARE(settings.saveLog(), bool(flags[1]));
        QCOMPARE(settings.checkUpdates(), bool(flags[2]));
        QCOMPARE(settings.vista(), flags[3] < 0 ? std::nullopt : std::optional<bool>(flags[3]));
    }
    QCOMPARE(settings.ensureVista(), u"2"_s);
}

// The start-up's steps on a new machine, after an upgrade of the interface, with a damaged file.
void TestSettingsFiles::startUpStepsInOrder()
{
    SettingsStore settings(path(u"Tonmill.ini"_s));
    const QString languageFile = path(u"Tonmill.LNG"_s);
    test::TestDialogs dialogs;
    dialogs.answer(DialogAnswer::Yes).answer(DialogAnswer::Ok).answer(DialogAnswer::Ok);
    QStringList events;
    const auto rewrite = [&] {
        events << u"language file for "_s + settings.language();
        WriteLanguageFile(settings.language(), languageFile);
    };
    const auto setup = [&] { events << u"Setup"_s; };
    UpgradePath path(settings, dialogs);
    QVERIFY(path.checkVersion());
    events << u"asked"_s;
    QVERIFY(path.checkInterface(rewrite));
    events << u"told"_s;
    QCOMPARE(settings.ensureLanguage(), u"English"_s);
    QVERIFY(path.checkFirstRun(rewrite, setup));
    QCOMPARE(events, (QStringList{u"asked"_s, u"language file for "_s, u"told"_s, u"language file for English"_s, u"Setup"_s}));
    QStringList texts;
    for (const MessageRequest &message : dialogs.messages())
        texts << message.text;
    QCOMPARE(texts, (QStringList{u"Would you like that Tonmill automatically checks for new versions?\r\n\r\n"
                                 "(You can change your option on 'Setup' dialog)"_s,
                                 u"Your Interface, Language files and Configuration, have been updated!"_s,
                                 u"This is the first time you run Tonmill\u2122 or\r\nYour configuration file got corrupted!"
                                 "\r\nPlease reset your preferences on the Setup dialog."_s}));
    QCOMPARE(dialogs.messages()[0].buttons, DialogButtons::YesNo);
    QCOMPARE(dialogs.messages()[0].icon, DialogIcon::Question);
    QCOMPARE(dialogs.messages()[2].buttons, DialogButtons::Ok);
    const QByteArray stamp = versionStamp().toLatin1();
    QCOMPARE(readBytes(settings.file()), "[General]\r\nChkUpdates=1\r\nVersion=" + stamp + "\r\nInterface=" + stamp
                                             + "\r\nLanguage=English\r\n[Options]\r\nMode=MP3\r\n");
    QVERIFY(readBytes(languageFile).startsWith("English\r\n{Menus}\r\n"));
    QVERIFY(!path.checkVersion() && !path.checkInterface(rewrite));

    // Any other interface stamp resets the format and nothing else.
    for (const QString &stored : {u"999"_s, u"0"_s, u"v"_s + versionStamp()}) {
        settings.setInterfaceStamp(stored);
        QVERIFY2(settings.interfaceChanged(), qPrintable(stored));
    }
    settings.setMode(u"WAV"_s);
    settings.setOption(u"WAVCodec"_s, u"1"_s);
    dialogs.answer(DialogAnswer::Ok).answer(DialogAnswer::Ok);
    QVERIFY(path.checkInterface(rewrite));
    QCOMPARE(settings.mode(), u"MP3"_s);
    QCOMPARE(settings.option(u"WAVCodec"_s), u"1"_s);
    // Without FFMPEG: the notice, the rewrite, Setup, and not a byte changed; with it, nothing.
    const QByteArray damaged = readBytes(settings.file());
    events.clear();
    QVERIFY(path.checkFirstRun(rewrite, setup));
    QCOMPARE(events, (QStringList{u"language file for English"_s, u"Setup"_s}));
    QCOMPARE(dialogs.messages().last().text, texts.last());
    QCOMPARE(readBytes(settings.file()), damaged);
    settings.setFfmpegPath(u"/usr/bin/ffmpeg"_s);
    QVERIFY(!path.checkFirstRun(rewrite, setup));
    QCOMPARE(dialogs.messages().size(), 5);
}

void TestSettingsFiles::builtInLanguagesHaveEveryKey()
{
    const QStringList names = builtInLanguageNames();
    QCOMPARE(names, (QStringList{u"English"_s, u"Portugues"_s, u"Espanol"_s, u"Francais"_s, u"Deutsch"_s}));
    const QStringList displayNames = {u"English"_s, u"Português"_s, u"Español"_s, u"Français"_s, u"Deutsch"_s};
    const QString file = path(u"Tonmill.LNG"_s);
    QList<std::pair<QString, QString>> english;
    for (qsizetype i = 0; i < names.size(); ++i) {
        WriteLanguageFile(names[i], file);
        // Split plainly: UTF-8, CR LF, the display name, the sections in order of "key»text" lines.
        const QByteArray bytes = readBytes(file);
        QCOMPARE(QString::fromUtf8(bytes).toUtf8(), bytes);
        QCOMPARE(bytes.count('\n'), bytes.count("\r\n"));
        QCOMPARE(bytes.count('\r'), bytes.count("\r\n"));
        QStringList lines = QString::fromUtf8(bytes).split(u"\r\n"_s);
        QCOMPARE(lines.takeFirst(), displayNames[i]);
        QCOMPARE(lines.takeLast(), QString());
        QStringList sections;
        QList<std::pair<QString, QString>> entries;
        for (const QString &line : lines) {
            if (line.startsWith(u'{') && line.endsWith(u'}'))
                sections << line.mid(1, line.size() - 2);
            else
                entries.append({sections.value(sections.size() - 1) + u'/' + line.section(u'»', 0, 0), line.section(u'»', 1)});
        }
        QCOMPARE(sections, (QStringList{u"Menus"_s, u"Main"_s, u"FormatOptions"_s, u"Setup"_s, u"About"_s}));
        if (i == 0)
            english = entries;
        QCOMPARE(entries.size(), english.size());
        int same = 0;
        for (qsizetype k = 0; k < entries.size(); ++k) {
            // Keys as in English; texts there, valid, as the lookup gives them, mostly translated.
            const auto &[key, text] = entries[k];
            QCOMPARE(key, english[k].first);
            QVERIFY2(!text.isEmpty() && IsValidLanguageName(text), qPrintable(names[i] + u'/' + key));
            QCOMPARE(ReadLanguageText(key.section(u'/', 0, 0), key.section(u'/', 1), u"<default>"_s, file), text);
            same += i > 0 && text == english[k].second;
        }
        QVERIFY2(same < 8, qPrintable(names[i] + u": %1 texts as in English"_s.arg(same)));
        // Every caption of every window finds its text, once per control.
        LanguageLines captions;
        captions.LoadLanguageLines(file);
        QSet<QString> controls;
        for (const LanguageCaption &caption : languageCaptions()) {
            const QString where = QLatin1String(caption.form) + u'.' + QLatin1String(caption.control);
            QVERIFY2(!controls.contains(where) && !captionText(caption, captions).isEmpty(), qPrintable(where));
            controls.insert(where);
        }
    }

    // Texts, the channel buttons' counts before them, and slips kept from the original translations.
    const QList<std::array<QString, 3>> texts = {
        {u"English"_s, u"Menus/FileOpen"_s, u"&Open"_s}, {u"English"_s, u"Main/Translated"_s, u"Translated by Quorell"_s},
        {u"English"_s, u"Setup/chkUpdt"_s, u"Ch&eck for Updates now"_s},
        {u"English"_s, u"Setup/UpdtMessage"_s, u"Note: You need an active Internet connection to use these features."_s},
        {u"English"_s, u"optChannelsAC3_2"_s, u"6 Channels"_s}, {u"English"_s, u"optChannels_1"_s, u"2 Channels"_s},
        {u"English"_s, u"optChannelsWAV_0"_s, u"1 Channel"_s}, {u"English"_s, u"btnOutFolder"_s, u"S&ave As"_s},
        {u"English"_s, u"Dialog"_s, u"File Information"_s}, {u"Francais"_s, u"Main/Convert"_s, u"Convertir"_s},
        {u"Espanol"_s, u"Main/Start"_s, u"Início"_s}, {u"Espanol"_s, u"Main/Translated"_s, u"Traducido por el equipo de Tonmill"_s},
    };
    for (const auto &[language, key, text] : texts) {
        WriteLanguageFile(language, file);
        LanguageLines lines;
        lines.LoadLanguageLines(file);
        const auto row = std::find_if(languageCaptions().begin(), languageCaptions().end(),
                                      [&key](const LanguageCaption &c) { return key == QLatin1String(c.control); });
        QCOMPARE(key.contains(u'/') ? ReadLanguageText(key.section(u'/', 0, 0), key.section(u'/', 1), {}, file)
                                    : captionText(*row, lines), text);
    }

    // Any other name, even in other case, leaves an empty file.
    for (const QString &name : {u"francais"_s, u"Portuguese"_s, QString()}) {
        WriteLanguageFile(u"Deutsch"_s, file);
        WriteLanguageFile(name, file);
        QVERIFY(QFileInfo::exists(file));
        QCOMPARE(readBytes(file), QByteArray());
    }
}

void TestSettingsFiles::languageLookupRules()
{
    const QString file = path(u"rules.LNG"_s);
    // Blank lines, text after a header, keys alike, a repeated key, every line break, and
    // Windows-1252 lines among UTF-8 ones after a byte order mark.
    writeBytes(file, "\xEF\xBB\xBFTest\r\n\r\n{Main} the main window\r\n\r\nSetUp\xC2\xBBwrong key\r\n"
                     "Set\xC2\xBBSet \xC2\xBB and more  \r\nconvert\xC2\xBBMy own\nconvert\xC2\xBBSecond\rEmpty\xC2\xBB\r\n"
                     "InFile\xBB" "Fichier \xE0 convertir :\r\nSamFreq\xBB" "Fr\xE9quence \x96 \x80\r\n"
                     "{Setup}\r\nStart\xC2\xBBin the wrong section\r\nUpdtMessage\xC2\xBBnote\r\n{Odd}}\r\nK\xC2\xBB\xC2\xBBtext\r\n");
    const QList<std::array<QString, 3>> lookups = {
        {u"Main"_s, u"Convert"_s, u"My own"_s}, {u"MAIN"_s, u"CONVERT"_s, u"My own"_s},
        {u"Main"_s, u"Set"_s, u"Set » and more  "_s}, {u"Main"_s, u"Empty"_s, QString()},
        {u"main"_s, u"infile"_s, u"Fichier à convertir :"_s}, {u"Main"_s, u"SamFreq"_s, u"Fréquence – €"_s},
        // A key of a later section is not found from an earlier one, nor the reverse.
        {u"Main"_s, u"Start"_s, u"<default>"_s}, {u"Main"_s, u"UpdtMessage"_s, u"<default>"_s},
        {u"Setup"_s, u"Convert"_s, u"<default>"_s}, {u"Setup"_s, u"Start"_s, u"in the wrong section"_s},
        {u"About"_s, u"Notice"_s, u"<default>"_s}, {u"Ma"_s, u"Convert"_s, u"<default>"_s},
        // A reserved character in the key gives the default, unless the section name holds one too.
        {u"Main"_s, u"Set\u00BB"_s, u"<default>"_s}, {u"Odd}"_s, u"K\u00BB"_s, u"\u00BBtext"_s},
        {u"Odd}"_s, u"K"_s, u"\u00BBtext"_s},
    };
    for (const auto &[section, key, text] : lookups)
        QCOMPARE(ReadLanguageText(section, key, u"<default>"_s, file), text);
    for (const QString &name : {u"Ma{in"_s, u"Main}"_s, u"a\u00BBb"_s})
        QVERIFY(!IsValidLanguageName(name));

    // Bad files, a missing one and a folder in the file's place give defaults.
    const auto convert = [](const QString &from) { return ReadLanguageText(u"Main"_s, u"Convert"_s, u"<default>"_s, from); };
    for (const QByteArray &content : {noise(), "English\r\n{Main\r\nConvert\xC2\xBBunclosed\r\n"_ba,
                                      "English\r\nMain}\r\n}{Main}\r\nConvert\xC2\xBB" "backwards\r\n"_ba,
                                      "English\r\n{{Main}}\r\nConvert\xC2\xBB" "doubled\r\n"_ba,
                                      "English\r\n{Main}\r\nConvert Convertir\r\nConvert=Convertir\r\n"_ba, QByteArray()}) {
        writeBytes(file, content);
        QCOMPARE(convert(file), u"<default>"_s);
    }
    QVERIFY(QDir().mkpath(path(u"folder.LNG"_s)));
    for (const QString &name : {u"absent.LNG"_s, u"folder.LNG"_s})
        QCOMPARE(convert(path(name)), u"<default>"_s);
}

QTEST_GUILESS_MAIN(TestSettingsFiles)
#include "tst_settingsfiles.moc"
