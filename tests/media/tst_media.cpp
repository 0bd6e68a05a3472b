// The media files a conversion reads and writes: the report and tags of an opened source, ID3 tags and embedded covers, checked with
// mutagen (id3tool.py) and ffmpeg, which share no code with the program.
#include "app/ActivityLog.h"
#include "media/CoverArt.h"
#include "media/FileSelection.h"
#include "media/GenreList.h"
#include "media/MediaReport.h"
#include "media/modID3Tags.h"
#include "options/MainFormState.h"
#include "options/OptionState.h"
#include "platform/ProcessRegistry.h"
#include "process/ConsolePane.h"
#include "process/ReadOutput.h"
#include "settings/INIManager.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"
#include "support/TestHome.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tonmill;
using namespace Qt::StringLiterals;
using test::readBytes;
using test::runProgram;
using test::writeBytes;

namespace {

test::Ran ran(const QString &program, const QStringList &arguments)
{
    const test::Ran r = runProgram(program, arguments, {"LC_ALL=C.UTF-8"});
    if (r.exitCode != 0)
        qWarning() << program << arguments << r.err;
    return r;
}
// What mutagen (id3tool.py) reads or writes.
QJsonObject id3tool(const QStringList &arguments)
{
    return QJsonDocument::fromJson(ran(u"/usr/bin/python3"_s, QStringList{QStringLiteral(ID3TOOL)} + arguments).out.toUtf8()).object();
}

// What mutagen reads of a file's ID3v2 tag: its version, size and frames as stored, in order.
struct Dump {
    int version = 0;
    qint64 size = 0;
    QStringList ids;
    QMultiMap<QString, QJsonObject> frames;
    QString text(const QString &id) const { return frames.value(id)["text"_L1][0].toString(); }
};

Dump dump(const QString &path)
{
    const QJsonObject v2 = id3tool({"dump", path});
    Dump d{v2["version"_L1][1].toInt(), v2["size"_L1].toInteger(), {}, {}};
    for (const QJsonValue &f : v2["frames"_L1].toArray()) {
        d.ids << f["id"_L1].toString();
        d.frames.insert(d.ids.last(), f.toObject());
    }
    return d;
}

// Bytes as the device the reading functions take.
struct Bytes : QBuffer {
    explicit Bytes(const QByteArray &bytes) { setData(bytes), open(ReadOnly); }
};
qint64 tagSizeOf(const QByteArray &bytes) { Bytes device(bytes); return GetID3v2TagSize(device, 0); }

// The bytes between the ID3v2 tag and an ID3v1 tag.
QByteArray audioOf(const QByteArray &bytes)
{
    const QByteArray audio = bytes.mid(tagSizeOf(bytes));
    return audio.size() >= 128 && audio.right(128).startsWith("TAG") ? audio.chopped(128) : audio;
}

// What ReadID3v2Tag makes of bytes: the record and the frames kept.
struct Read {
    ID3TagInfo info;
    ID3FrameList kept;
    qint64 from(const QByteArray &bytes, qint64 position = 0, qint64 maxSize = kID3ReadLimit)
    {
        Bytes device(bytes);
        return ReadID3v2Tag(device, position, info, kept, maxSize);
    }
};

QByteArray bigEndian(qint64 v, int bytes) { return QByteArray::fromHex(QByteArray::number(v, 16).rightJustified(2 * bytes, '0')); }
QByteArray synchsafe(qint64 v) { return bigEndian((v & 127) | (v << 1 & 0x7F00) | (v << 2 & 0x7F0000) | (v << 3 & 0x7F000000), 4); }
QByteArray frame22(const QByteArray &id, const QByteArray &body) { return id + bigEndian(body.size(), 3) + body; }
QByteArray frame23(const QByteArray &id, const QByteArray &body, char flags = 0) { return id + bigEndian(body.size(), 4) + char(0) + flags + body; }
QByteArray frame24(const QByteArray &id, const QByteArray &body, char flags = 0) { return id + synchsafe(body.size()) + char(0) + flags + body; }
QByteArray tag(char major, char flags, const QByteArray &body) { return "ID3" + QByteArray(1, major) + char(0) + flags + synchsafe(body.size()) + body; }
QByteArray latin1Text(const char *text) { return QByteArray(1, 0) + QByteArray(text); }
QByteArray unsynchronised(QByteArray data) { return data.replace(char(0xFF), QByteArray("\xFF\0", 2)); }

// Bytes that look like MP3 frames to nobody but stand for the audio.
QByteArray fakeAudio(qsizetype size)
{
    QByteArray audio(size, 0);
    QRandomGenerator(42).fillRange(reinterpret_cast<quint32 *>(audio.data()), size / 4);
    return audio.replace(0, 3, "\xFF\xFB\x90");
}

// A record with every field; the composer needs more than ISO-8859-1.
const ID3TagInfo kFull{"Ärtist Name", "The Album", "Café au lait, a title longer than thirty letters", "2021", "rock",
                       "Señor comment", "7", "Tonmill", "http://example.org/x?a=1", "2021 Someone", "Сергей Прокофьев", "Orig Artist"};

// ffmpeg's decoding of the first audio stream: a checksum and duration per frame.
QString decoded(const QString &path)
{
    const test::Ran ran = runProgram(u"ffmpeg"_s, {"-v", "error", "-i", path, "-map", "0:a:0", "-c:a", "pcm_s16le", "-f", "framecrc", "-"});
    return ran.err.isEmpty() ? ran.out : u"error: "_s + ran.err;
}

// A two-second tone with tags in three scripts.
QByteArray tone(const QString &path, const QString &codec, const QStringList &extra = {})
{
    const QStringList tags{"-metadata", "title=夜明けの歌", "-metadata", "artist=Сергей Прокофьев", "-metadata", "album=Plain Album"};
    return test::generate(path, u"sine=frequency=440:duration=2"_s, QStringList{"-c:a", codec} + tags + extra) ? readBytes(path) : QByteArray();
}

// Everything FileSelection needs, wired as the main window wires it, in an application folder of its own, maybe with the build's Tools/.
struct Selection {
    QTemporaryDir dir;
    AppFolder folder{dir.path()};
    ProcessRegistry registry;
    ReadOutput reader{registry};
    ConsolePane pane{folder.path()};
    ActivityLog log;
    MediaReport report{folder, reader, pane, log};
    MainFormState form;
    OptionState options;
    test::TestDialogs dialogs;
    FileSelection selection{form, options, dialogs, report, folder};
    explicit Selection(bool tools = true)
    {
        if (tools)
            QFile::link(test::builtAppDir() + u"/Tools"_s, dir.filePath(u"Tools"_s));
        pane.attach(reader);
    }
    QString reportText() const { return QString::fromUtf8(test::readBytes(report.reportFile())); }
};

} // namespace

class TestMedia : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void reportsAndDialogs();
    void id3Tags();
    void frontCovers();

private:
    QTemporaryDir m_dir;
};

void TestMedia::reportsAndDialogs()
{
    // What real reports do not show: the echo after either line break goes; odd and even label padding end as Label=Value, blanks inside
    // labels stay; "Text1" opens the general section, "Audio #0" the audio one; two blank lines join their neighbours; MiB are MB.
    const QString cmd = u"\"/app/Tools/MediaInfo/mediainfo\" \"/m/a.mp3\""_s;
    const QList<std::pair<QString, QString>> rows = {
        {"x\r\n" + cmd + "\r\ny", "x\r\ny"}, {"x\n" + cmd + "\r\ny", "x\r\ny"},
        {"Bit rate   : 128 kb/s\r\nBit rate    : 128 kb/s", "Bit rate=128 kb/s\r\nBit rate=128 kb/s"},
        {"Text1\r\nA : 1\r\n\r\n\r\nB : 2\r\n\r\nAudio #0\r\nFile size : 3.52 MiB", "[General]\r\nA=1B=2\r\n\r\n[Audio]\r\nFile size=3.52 MB"}};
    for (const auto &[text, normalised] : rows)
        QVERIFY2(normaliseMediaReport(text, cmd) == normalised && normaliseMediaReport(normalised, cmd) == normalised, qPrintable(text));

    // MP3 names the comment "Comment", WMA "Description"; a name beyond ASCII reaches the tool whole; of two streams the first is "Audio #0".
    for (const auto &[name, extra] : {std::pair{"it's é song.mp3", QStringList{"-id3v2_version", "3"}},
                                      std::pair{"song.wma", QStringList{"-map", "0:a", "-map", "0:a", "-c:a", "wmav2"}}}) {
        const QString source = m_dir.filePath(QString::fromUtf8(name));
        QStringList args = QStringList{"-ac", "2"} + extra;
        for (const char *tag : {"title=Intro  Song", "artist=The Band", "album=First : Album", "date=1999", "genre=Rock", "track=5", "comment=Live"})
            args << u"-metadata"_s << QString::fromUtf8(tag);
        QVERIFY(test::generate(source, u"sine=d=1"_s, args));

        Selection s;
        s.form.txtTitle = u"typed by hand"_s;
        s.dialogs.answerFile(source);
        s.selection.OpenSourceFile();
        const auto &asked = s.dialogs.fileRequests();
        QVERIFY(asked.size() == 1 && asked[0].title == "  Open"_L1 && asked[0].filter == FileSelection::kOpenFilter);
        QVERIFY(s.form.txtPath == source && s.form.sourceControlsEnabled);
        // The report: the tool's labels as the tag editor's keys, no padding, neither the console's prompt nor the echoed command.
        const QString report = s.reportText();
        QVERIFY2(report.startsWith(u"[General]\r\nComplete name="_s + source + u"\r\n"_s), qPrintable(report));
        QVERIFY(report.contains(u"\r\n[Audio]\r\n"_s) && report.contains(u"\r\nChannel(s)=2 channels"_s));
        QVERIFY(!report.contains(u"mediainfo\""_s) && !report.contains(u"C:\\>"_s) && !report.contains(u" : "_s));
        QCOMPARE(s.pane.text() + u"\r\n"_s, report);
        // Two blanks inside the title vanish on the way; " : " inside a value gains its "="; the rest arrives as tagged.
        QCOMPARE((QStringList{s.form.txtTitle, s.form.txtArtist, s.form.txtAlbum, s.form.txtYear, s.form.cmbGenre.text, s.form.txtTrack, s.form.txtNotes}),
                 (QStringList{"IntroSong", "The Band", "First=Album", "1999", "Rock", "5", "Live"}));
        // Opening again gives the same report.
        s.dialogs.answerFile(source);
        s.selection.OpenSourceFile();
        QCOMPARE(s.reportText(), report);
    }

    // This folder has no Tools/MediaInfo. An empty path runs nothing and keeps the report.
    Selection s(false);
    const QString tool = s.dir.path() + u"/Tools/MediaInfo/mediainfo"_s;
    QCOMPARE(s.report.commandFor(u"/m/it's é.mp3"_s).text, u"\"%1\" \"/m/it's é.mp3\""_s.arg(tool));
    QCOMPARE(s.report.commandFor(u"/m/it's é.mp3"_s).arguments, QStringList{"/m/it's é.mp3"});
    test::writeBytes(s.report.reportFile(), "[General]\r\nTitle=Old\r\n");
    s.pane.setText(u"kept"_s);
    QVERIFY(!s.report.RunMediaReport(QString()));
    QVERIFY(s.pane.text() == "kept"_L1 && QFile::exists(s.report.reportFile()) && s.log.text().isEmpty());

    // A cancelled open keeps the old report, whose tags fill the editor; a key the report lacks empties its field.
    WriteIniValue(u"General"_s, u"Title"_s, u"Previous"_s, s.report.reportFile());
    s.form.txtArtist = u"typed"_s;
    // One dialog name serves both dialogs: the save dialog starts from the opened name.
    s.dialogs.answerFile(QString()).answerFile(u"/out/a.mp3"_s);
    s.selection.OpenSourceFile();
    QVERIFY(s.form.txtPath.isEmpty() && !s.form.sourceControlsEnabled && s.form.txtArtist.isEmpty());
    QCOMPARE(s.form.txtTitle, u"Previous"_s);
    s.options.txtFormat = u"5"_s;
    s.selection.ChooseOutputFile();
    QVERIFY(s.dialogs.fileRequests()[1].title == "  Save as..."_L1 && s.dialogs.fileRequests()[1].filter == "MP3 Files|*.mp3"_L1);
    QVERIFY(s.form.lblOutputPath == "/out/a.mp3"_L1 && !s.form.chkSameOutput);
    s.selection.chkSameOutput_Click(true);
    QVERIFY(s.form.lblOutputPath.isEmpty());
    s.selection.chkSameOutput_Click(false);
    QCOMPARE(s.form.lblOutputPath, u"/out/a.mp3"_s);
    // A cancelled save keeps the dialog's last name; an empty one goes back to "beside the source"; no format, no dialog.
    s.dialogs.answerFile(u"/out/a.mp3"_s);
    s.selection.ChooseOutputFile();
    QCOMPARE(s.dialogs.fileRequests()[2].fileName, u"/out/a.mp3"_s);
    s.form.lblOutputPath.clear();
    s.dialogs.answerFile(QString());
    s.selection.ChooseOutputFile();
    QVERIFY(s.form.lblOutputPath.isEmpty() && s.form.chkSameOutput);
    s.options.txtFormat = u"13"_s;
    s.selection.ChooseOutputFile();
    QVERIFY(s.dialogs.fileRequests().size() == 4 && s.form.chkSameOutput);
    const QString filters = u"AAC Files|*.aac;AC3 Files|*.ac3;AMR Files|*.amr;MP2/MPA Files|*.mp2;MP3 Files|*.mp3;WAV Files|*.wav;WMA Files|*.wma;"
                            "FLAC Files|*.flac;Opus Files|*.opus;Ogg Vorbis Files|*.ogg;M4A Files|*.m4a;ALAC Files|*.m4a"_s;
    for (int i = 1; i <= 12; ++i)
        QCOMPARE(FileSelection::saveFilter(QString::number(i)), filters.section(QLatin1Char(';'), i - 1, i - 1));
    QVERIFY(FileSelection::saveFilter(u"0"_s).isEmpty() && FileSelection::saveFilter(u"05"_s).isEmpty());

    // The tool cannot start: the old report, which is another file's, goes.
    QVERIFY(!s.report.RunMediaReport(u"/m/a.mp3"_s));
    QVERIFY(!QFile::exists(s.report.reportFile()));
    QVERIFY2(s.log.text().contains(u" -> \"/m/a.mp3\" could not be described: cannot start \"%1\""_s.arg(tool)), qPrintable(s.log.text()));
    QCOMPARE(s.report.lastFailure(), s.log.text().section(u" -> "_s, 1).trimmed());
}

void TestMedia::id3Tags()
{
    // The list's own spellings, both ways; names are trimmed and compared without regard to case; 255 is no genre.
    for (const auto &[number, name] : QList<std::pair<int, const char *>>{
             {0, "Blues"}, {17, "Rock"}, {40, "Alt. Rock"}, {67, "Psychadelic"}, {123, "A capella"}, {140, "Contemporary C"}, {147, "SynthPop"}})
        QVERIFY2(GenreName(number) == QLatin1String(name) && GenreNumber(QLatin1String(name)) == number, name);
    QVERIFY(GenreNumber(u"  rOcK "_s) == 17 && GenreNumber(u"Nu-Rock"_s) == 255 && GenreNumber(QString()) == 255);
    QVERIFY(GenreName(-1).isEmpty() && GenreName(148).isEmpty() && GenreName(255).isEmpty());
    // The genre frame carries the number and the list's name, or the text as typed.
    for (const auto &[typed, frame] : QList<std::pair<QString, QString>>{{"rock", "(17)Rock"}, {" synthpop", "(147)SynthPop"}, {" Nu-Rock ", " Nu-Rock "}, {"", ""}})
        QCOMPARE(genreFrameText(typed), frame);

    // ID3v1.1: fields cut to their width, CR LF in the comment as blanks, the year's first four letters, a zero before the track byte.
    QCOMPARE(id3v1Tag({}), QByteArray("TAG") + QByteArray(124, 0) + char(255));
    ID3TagInfo tagInfo{"Artist", "Album", kFull.Title, "20215", "rock", "line one\r\nline two\r\nand a third one", {}, {}, {}, {}, {}, {}};
    QCOMPARE(id3v1Tag(tagInfo), QByteArray("TAGCaf\xE9 au lait, a title longer tArtist") + QByteArray(24, 0) + "Album" + QByteArray(25, 0)
                                 + "2021line one line two and a thir" + char(0) + char(0) + char(17));
    for (const auto &[track, number] : QList<std::pair<const char *, int>>{
             {"7", 7}, {" 12 ", 12}, {"255", 255}, {"256", 0}, {"0", 0}, {"007", 7}, {"0007", 0}, {"1/9", 0}, {"abc", 0}}) {
        tagInfo.Track = QLatin1String(track);
        QVERIFY2(quint8(id3v1Tag(tagInfo)[126]) == number && id3v1Tag(tagInfo)[125] == 0, track);
    }
    tagInfo.Genre = u"Nu-Rock"_s;
    QCOMPARE(quint8(id3v1Tag(tagInfo)[127]), 255);
    // Appended to a short file or one without a tag, written over an existing tag.
    const QString file = m_dir.filePath(u"v1.bin"_s);
    for (const qsizetype size : {0, 100, 500}) {
        writeBytes(file, fakeAudio(size));
        for (const char *title : {"First", "Second"}) {
            tagInfo.Title = QLatin1String(title);
            QVERIFY(WriteID3v1Tag(file, tagInfo, false));
            QCOMPARE(readBytes(file), fakeAudio(size) + id3v1Tag(tagInfo));
        }
    }

    // ID3v2 tag sizes: at least 1 KiB to spare, in 2 KiB steps, plus the header; a title of n letters is a frame of n + 12 bytes. Into a
    // tag, frames fit while they leave room for the header; one byte more grows it. Zeros follow the frames.
    const QByteArray padded = fakeAudio(5000);
    tagInfo = ID3TagInfo();
    for (const auto &[fresh, frames, total] : QList<std::tuple<bool, int, int>>{
             {true, 1023, 2058}, {true, 1024, 4106}, {true, 2047, 4106}, {true, 3072, 6154}, {true, 13, 2058}, {false, 2048, 2058},
             {false, 2049, 4106}}) {
        if (fresh)
            writeBytes(file, padded);
        tagInfo.Title = QString(frames - 12, QLatin1Char('t'));
        QVERIFY(WriteID3v2Tag(file, tagInfo, 0, true, false));
        QCOMPARE(readBytes(file).mid(10 + frames), QByteArray(total - 10 - frames, 0) + padded);
        const Dump d = dump(file);
        QVERIFY(d.size == total && d.text(u"TIT2"_s) == tagInfo.Title);
    }
    // An empty record: a tag there becomes a bare header and padding of its size; with no tag, or only blanks, nothing is written.
    QVERIFY(WriteID3v2Tag(file, ID3TagInfo(), 1, true, false));
    QCOMPARE(readBytes(file), QByteArray("ID3\x04\x00\x00", 6) + synchsafe(4096) + QByteArray(4096, 0) + padded);
    writeBytes(file, padded);
    tagInfo.Title = u"   "_s;
    QVERIFY(!WriteID3v2Tag(file, ID3TagInfo(), 0, true, false) && !WriteID3v2Tag(file, tagInfo, 0, true, false));
    QCOMPARE(readBytes(file), padded);

    // As after an MP3 encode, over ffmpeg's own ID3v2.4 and ID3v1 tags: an ID3v1 tag, a 2.3 tag, then a 2.4 tag of the same size.
    const QString mp3 = m_dir.filePath(u"enc.mp3"_s);
    QVERIFY(test::generate(mp3, u"sine=duration=1"_s, {"-write_id3v1", "1", "-metadata", "title=ffmpeg title"}));
    const QByteArray encoded = audioOf(readBytes(mp3));
    QVERIFY(readBytes(mp3).startsWith("ID3") && encoded.size() > 5000);
    QVERIFY(WriteID3v1Tag(mp3, kFull, true) && WriteID3v2Tag(mp3, kFull, 0, true, true));
    const qint64 size = tagSizeOf(readBytes(mp3));
    const Dump dump23 = dump(mp3);
    QVERIFY(WriteID3v2Tag(mp3, kFull, 1, true, true));
    const Dump dump24 = dump(mp3);
    // The audio between the tags is what the encoder wrote; the ID3v1.1 tag ends the file.
    QCOMPARE(audioOf(readBytes(mp3)), encoded);
    QCOMPARE(readBytes(mp3).right(128), id3v1Tag(kFull));
    for (const bool four : {false, true}) {
        const Dump &d = four ? dump24 : dump23;
        QVERIFY(d.version == (four ? 4 : 3) && d.size == size);
        const QString year = four ? u"TDRC"_s : u"TYER"_s;
        QCOMPARE(d.ids, (QStringList{"TPE1", "TALB", "TIT2", year, "TCON", "COMM", "TRCK", "TENC", "WXXX", "TCOP", "TCOM", "TOPE"}));
        // ISO-8859-1 where it will do, else UTF-16 with its byte order mark.
        for (const auto &[id, text] : QList<std::pair<QString, QString>>{
                 {"TPE1", kFull.Artist}, {"TALB", kFull.Album}, {"TIT2", kFull.Title}, {year, kFull.Year}, {"TCON", "(17)Rock"},
                 {"COMM", kFull.Comment}, {"TRCK", kFull.Track}, {"TENC", kFull.EncodedBy}, {"TCOP", kFull.Copyright},
                 {"TCOM", kFull.Composer}, {"TOPE", kFull.OriginalArtist}})
            QVERIFY2(d.text(id) == text && d.frames.value(id)["encoding"_L1] == (id == "TCOM"_L1 ? 1 : 0), qPrintable(id));
        const QJsonObject comm = d.frames.value(u"COMM"_s), wxxx = d.frames.value(u"WXXX"_s);
        QCOMPARE((QStringList{comm["lang"_L1].toString(), comm["desc"_L1].toString(), wxxx["url"_L1].toString(), wxxx["desc"_L1].toString()}),
                 (QStringList{"eng", "", kFull.URL, ""}));
    }

    const QByteArray audio = fakeAudio(3000);
    const QString path = m_dir.filePath(u"unusual.mp3"_s);
    // Frames the record has no field for, in tags that mutagen wrote.
    const ID3TagInfo info{"New artist", {}, "New title", {}, {}, {}, {}, {}, {}, {}, {}, {}};
    for (const int version : {3, 4}) {
        writeBytes(path, audio);
        id3tool({"add", path, QString::number(version)});
        const Dump original = dump(path);
        QCOMPARE(original.text(u"TIT2"_s), u"Old title"_s);
        // Version 2.3 first, then 2.4: the record's frames replace the old title, everything else is carried over unchanged.
        QVERIFY(WriteID3v2Tag(path, info, 0, false, false));
        const Dump as23 = dump(path);
        QVERIFY(WriteID3v2Tag(path, info, 1, false, false));
        const Dump as24 = dump(path);
        for (const Dump &d : {as23, as24}) {
            QVERIFY(d.frames.count(u"TIT2"_s) == 1 && d.text(u"TIT2"_s) == info.Title && d.text(u"TPE1"_s) == info.Artist);
            for (const QString id : {"APIC", "PRIV", "TXXX"})
                QVERIFY2(d.frames.contains(id) && d.frames.value(id) == original.frames.value(id), qPrintable(id));
        }
        QCOMPARE(audioOf(readBytes(path)), audio);
        if (version == 4)
            continue;
        // Written as 2.3 they keep their names; as 2.4 they take the new ones.
        for (const QString id : {"TORY", "IPLS"})
            QVERIFY(as23.frames.value(id) == original.frames.value(id) && !as24.ids.contains(id));
        QCOMPARE(as24.text(u"TDOR"_s), u"1999"_s);
        QCOMPARE(as24.frames.value(u"TIPL"_s)["people"_L1], original.frames.value(u"IPLS"_s)["people"_L1]);
    }

    const ID3TagInfo record{{}, {}, "Rewritten", {}, {}, {}, {}, {}, {}, {}, {}, {}};
    // What mutagen finds after the record rewrote the old tag; behind the new tag the file goes on as behind the old one.
    const auto rewritten = [&](const QByteArray &old, const QByteArray &behind = {}, int version4 = 0) {
        writeBytes(path, old + audio);
        [&] { QVERIFY(WriteID3v2Tag(path, record, version4, false, false)); }();
        [&] { QCOMPARE(readBytes(path).mid(tagSizeOf(readBytes(path))), behind + audio); }();
        return dump(path);
    };

    // Version 2.2: frames take their 2.3 names, PIC a MIME type, LNK the 2.3 name it links to; unmapped frames are dropped.
    const QByteArray png = QByteArray("\x89PNG\r\n\x1a\n", 8) + fakeAudio(300);
    const QByteArray v22 = tag(2, 0, frame22("TT2", latin1Text("Old 2.2 title")) + frame22("TYE", latin1Text("1987"))
                                         + frame22("COM", QByteArray("\0eng\0old comment", 16))
                                         + frame22("PIC", QByteArray(1, 0) + "PNG" + char(3) + "cover" + char(0) + png)
                                         + frame22("LNK", QByteArray("TT2http://example.org/\0id", 25)) + frame22("TOR", latin1Text("1970"))
                                         + frame22("XYZ", "junk") + frame22("TXX", QByteArray("\0mood\0calm", 10)) + QByteArray(100, 0));
    Read read;
    QCOMPARE(read.from(v22 + audio), -1);
    QCOMPARE((QStringList{read.info.Title, read.info.Year, read.info.Comment}), (QStringList{"Old 2.2 title", "1987", "old comment"}));
    Dump d = rewritten(v22, {}, 1);
    QCOMPARE(d.ids, (QStringList{"TIT2", "APIC", "LINK", "TDOR", "TXXX"}));
    const QJsonObject apic = d.frames.value(u"APIC"_s), link = d.frames.value(u"LINK"_s);
    QCOMPARE((QStringList{d.text(u"TIT2"_s), apic["mime"_L1].toString(), apic["desc"_L1].toString(), apic["data"_L1]["hex"_L1].toString(),
                          link["frameid"_L1].toString(), link["url"_L1].toString(), link["data"_L1]["hex"_L1].toString(), d.text(u"TDOR"_s),
                          d.frames.value(u"TXXX"_s)["desc"_L1].toString()}),
             (QStringList{record.Title, "image/png", "cover", QString::fromLatin1(png.toHex()), "TIT2", "http://example.org/", "6964", "1970", "mood"}));

    // 2.3 unsynchronised with an extended header; 2.4 with an extended header, a footer, and frames unsynchronised on their own, with a
    // data length or a group byte, or compressed.
    const QByteArray secret = QByteArray("owner\0", 6) + QByteArray("\xFF\xE0\xFF\x00\xFF\xFF\x01", 7);
    const QByteArray v23 = tag(3, char(0xC0), unsynchronised(QByteArray("\0\0\0\x06\0\0\0\0\0\0", 10) + frame23("TIT2", latin1Text("Sync \xFF\xFE title"))
                                                             + frame23("PRIV", secret) + frame23("PCNT", QByteArray("\0\0\0\x07\x01", 5), char(0x80))));
    const QByteArray v24Frames = QByteArray("\0\0\0\x06\x01\0", 6) + frame24("TPE1", latin1Text("Footer artist"))
                                 + frame24("PRIV", synchsafe(secret.size()) + unsynchronised(secret), 0x03)
                                 + frame24("TXXX", QByteArray("\x07") + QByteArray("\0g\0v", 4), 0x40) + frame24("TCMP", QByteArray("\0\0\0\x02xx", 6), 0x09);
    const QByteArray v24 = QByteArray("ID3\x04\x00\x50", 6) + synchsafe(v24Frames.size()) + v24Frames + QByteArray("3DI\x04\x00\x50", 6)
                           + synchsafe(v24Frames.size());
    for (const QByteArray &old : {v23, v24}) {
        const bool four = old[3] == 4;
        QCOMPARE(tagSizeOf(old + audio), old.size());
        Read r;
        QCOMPARE(r.from(old + audio), -1);
        QCOMPARE(four ? r.info.Artist : r.info.Title, four ? u"Footer artist"_s : u"Sync \xFF\xFE title"_s);
        QVERIFY(r.kept.size() == (four ? 2 : 1) && r.kept[0].id == "PRIV" && r.kept[0].body == secret);
        QVERIFY(!four || (r.kept[1].id == "TXXX" && r.kept[1].body == QByteArray("\0g\0v", 4)));
        d = rewritten(old);
        QCOMPARE(d.ids.size(), four ? 3 : 2);
        QCOMPARE(d.frames.value(u"PRIV"_s)["data"_L1]["hex"_L1].toString(), QString::fromLatin1(secret.mid(6).toHex()));
    }

    // Two tags in a row: the frames of both are kept, the second tag stays behind the new one. Of a tag only maxSize bytes are read.
    const QByteArray first = tag(3, 0, frame23("PRIV", QByteArray("a\0one", 5)));
    const QByteArray second = tag(4, 0, frame24("PRIV", QByteArray("b\0two", 5)) + frame24("TIT2", latin1Text("2nd")));
    Read two;
    QVERIFY(two.from(first + second + audio) == first.size() && two.from(first + second + audio, first.size()) == -1);
    QVERIFY(two.info.Title == "2nd"_L1 && two.kept.size() == 2);
    QCOMPARE(rewritten(first + second, second).ids, (QStringList{"TIT2", "PRIV", "PRIV"}));
    Read limited;
    QVERIFY(limited.from(first + first + audio, 0, 14) == first.size() && limited.kept.isEmpty());
    QVERIFY(limited.from(first + first + audio, first.size(), 15) == -1 && limited.kept.size() == 1);
    // A header that claims more than the file holds is kept as audio.
    rewritten(QByteArray("ID3\x03\x00\x00\x00\x00\x7F\x7F", 10), QByteArray("ID3\x03\x00\x00\x00\x00\x7F\x7F", 10));

    // Text in every encoding that a 2.4 tag may use, made by mutagen.
    writeBytes(path, audio);
    id3tool({"text", path});
    Read text;
    QVERIFY(text.from(readBytes(path)) == -1 && text.kept.isEmpty());
    const ID3TagInfo &t = text.info;
    QCOMPARE((QStringList{t.Title, t.Artist, t.Album, t.Comment, t.URL, t.Year, t.Track}),
             (QStringList{"Ünïcode title ✓", "Wide artist ✓", "Big-endian album", "Comment ✓", "http://example.org/a", "2001", "3/12"}));

    // Rewrites are safe: missing files and folders are refused.
    const QString missing = m_dir.filePath(u"missing.mp3"_s);
    QVERIFY(!WriteID3v1Tag(missing, kFull, true) && !WriteID3v2Tag(missing, kFull, 1, true, true) && !QFile::exists(missing));
    QVERIFY(!WriteID3v1Tag(m_dir.path(), kFull, true) && !WriteID3v2Tag(m_dir.path(), kFull, 0, true, true));
    // Without any write permission a file is read-only, for root too; clearReadOnly gives the owner's back first.
    const QString locked = m_dir.filePath(u"locked.mp3"_s);
    const QByteArray large = fakeAudio(3 << 20);
    writeBytes(locked, large);
    QVERIFY(QFile::setPermissions(locked, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    QVERIFY(!WriteID3v1Tag(locked, kFull, false) && !WriteID3v2Tag(locked, kFull, 0, true, false));
    QCOMPARE(readBytes(locked), large);
    QVERIFY(WriteID3v2Tag(locked, kFull, 0, true, true));
    QCOMPARE(QFileInfo(locked).permissions() & 0x7000, QFile::ReadOwner | QFile::WriteOwner);
    QVERIFY(QFile::setPermissions(locked, QFile::ReadOwner) && WriteID3v1Tag(locked, kFull, true));
    QVERIFY(QFileInfo(locked).permissions() & QFile::WriteOwner);

    // A grown tag goes through a new file, which keeps the permissions (0640), leaves nothing behind and is reached through the link as before.
    QTemporaryDir dir;
    const QString song = dir.filePath(u"song.mp3"_s), alias = dir.filePath(u"alias.mp3"_s);
    writeBytes(song, large);
    QVERIFY(QFile::setPermissions(song, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
    const QFile::Permissions permissions = QFileInfo(song).permissions();
    QVERIFY(QFile::link(u"song.mp3"_s, alias) && WriteID3v2Tag(alias, kFull, 0, true, false));
    QVERIFY(QFileInfo(song).permissions() == permissions && QFileInfo(alias).isSymLink());
    QVERIFY(tagSizeOf(readBytes(song)) == 2058 && readBytes(song).mid(2058) == large);
    const auto entries = [&] { return QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot); };
    QCOMPARE(entries(), (QStringList{"alias.mp3", "song.mp3"}));

    // A rewrite that grows the tag of a 32 MB file, ended by SIGKILL at moments spread over a whole rewrite's time: the old file or the new.
    // A kill between naming the new file and renaming it over the old leaves the whole new file beside it, nothing less.
    const QString program = test::testProgram(u"tonmill-test-id3write"_s);
    const QByteArray old = fakeAudio(32 << 20);
    writeBytes(song, old);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(QProcess::execute(program, {song, "3000"}), 0);
    const qint64 wholeMs = timer.elapsed();
    const QByteArray grown = readBytes(song);
    QCOMPARE(grown.mid(tagSizeOf(grown)), old);
    for (int step = 0; step <= 12; ++step) {
        writeBytes(song, old);
        QProcess writer;
        writer.start(program, {song, "3000"});
        QVERIFY(writer.waitForStarted());
        QTest::qSleep(int(wholeMs * step / 10));
        if (writer.processId() > 0)
            ::kill(pid_t(writer.processId()), SIGKILL);
        QVERIFY(writer.waitForFinished(10000));
        const QByteArray now = readBytes(song);
        QVERIFY2(now == old || now == grown, qPrintable(u"mixed file after %1 ms"_s.arg(wholeMs * step / 10)));
        static const QRegularExpression newName(u"^song\\.mp3\\.[0-9a-f]{8}$"_s);
        for (const QString &name : entries().filter(newName)) {
            QVERIFY2(readBytes(dir.filePath(name)) == grown, qPrintable(name + u" is not the whole new file"_s));
            QVERIFY(QFile::remove(dir.filePath(name)));
        }
        QCOMPARE(entries(), (QStringList{"alias.mp3", "song.mp3"}));
    }
}

void TestMedia::frontCovers()
{
    // Noise keeps the PNG beyond 64 KiB: too large for one Ogg page and for an Extended Content Description value.
    struct Cover { CoverPicture picture; int width = 0, height = 0; } jpeg, png;
    for (const auto &[cover, name, source, width, height] :
         {std::tuple{&jpeg, "cover.jpg", "color=c=red:s=64x48", 64, 48},
          std::tuple{&png, "cover.png", "nullsrc=s=300x200,geq=r='random(1)*255':g='random(2)*255':b='random(3)*255'", 300, 200}}) {
        const QString path = m_dir.filePath(QLatin1String(name));
        QVERIFY(test::generate(path, QLatin1String(source), {"-frames:v", "1", "-pix_fmt", width == 64 ? "yuvj420p" : "rgb24"}));
        *cover = {{readBytes(path), pictureMime(readBytes(path))}, width, height};
    }
    QVERIFY(jpeg.picture.mime == "image/jpeg"_L1 && png.picture.mime == "image/png"_L1 && png.picture.data.size() > 70000);
    const QByteArray vorbis = tone(m_dir.filePath(u"plain.ogg"_s), u"libvorbis"_s), opus = tone(m_dir.filePath(u"plain.opus"_s), u"libopus"_s),
                     wma = tone(m_dir.filePath(u"plain.wma"_s), u"wmav2"_s);
    QVERIFY(!vorbis.isEmpty() && !opus.isEmpty() && !wma.isEmpty());

    // Each cover replaces the one before: the large one grows the headers by pages, the small one after it shrinks them again.
    for (const auto &[bytes, extension] : {std::pair{vorbis, "ogg"}, std::pair{opus, "opus"}, std::pair{wma, "wma"}}) {
        const QString path = m_dir.filePath(u"tone."_s + QLatin1String(extension));
        test::writeBytes(path, bytes);
        const bool ogg = extension != "wma"_L1;
        const QJsonObject before = id3tool({u"covers"_s, path});
        const QString tagText = QString::fromUtf8(QJsonDocument(before["tags"_L1].toObject()).toJson());
        QVERIFY2(tagText.contains(u"夜明けの歌"_s) && tagText.contains(u"Сергей Прокофьев"_s) && before["pictures"_L1].toArray().isEmpty(), qPrintable(tagText));
        const QString decodedBefore = decoded(path);
        QVERIFY2(decodedBefore.startsWith(QLatin1Char('#')) && decodedBefore.count(QLatin1Char('\n')) > 20, qPrintable(decodedBefore));
        for (const Cover *cover : {&jpeg, &png, &jpeg}) {
            QCOMPARE(ogg ? embedOggCover(path, cover->picture) : embedAsfCover(path, cover->picture), QString());
            const QJsonObject after = id3tool({u"covers"_s, path});
            QVERIFY2(after["kind"_L1] == before["kind"_L1] && after["tags"_L1] == before["tags"_L1], extension);
            const QJsonArray pictures = after["pictures"_L1].toArray();
            const QJsonObject picture = pictures.first().toObject();
            QVERIFY(pictures.size() == 1 && picture["type"_L1] == 3 && picture["mime"_L1] == cover->picture.mime);
            QVERIFY(picture["data"_L1].toString().toLatin1() == cover->picture.data.toHex());
            if (ogg) {
                QVERIFY(picture["width"_L1] == cover->width && picture["height"_L1] == cover->height && picture["depth"_L1] == 24);
                const QJsonArray pages = after["pages"_L1].toArray();
                QVERIFY(pages.size() > 3);
                for (qsizetype i = 0; i < pages.size(); ++i)
                    QCOMPARE(pages[i].toInt(), i);
            }
            // Every page's checksum and every sample as before.
            QCOMPARE(decoded(path), decodedBefore);
        }
    }

    // Broken files are refused and left as they were.
    QByteArray flipped = vorbis;
    flipped[flipped.size() / 2] = char(flipped[flipped.size() / 2] ^ 0x10);
    const QList<std::tuple<QByteArray, bool, const char *>> rows = { // the bytes, whether as ASF, the reason
        {QByteArray(), false, "not an Ogg file"}, {vorbis.chopped(100), false, "ends inside an Ogg page"},
        {vorbis.first(vorbis.lastIndexOf("OggS")), false, "ends before its stream does"},
        {opus.first(opus.indexOf("OggS", 4)), false, "ends inside the stream headers"}, {flipped, false, "damaged Ogg page"},
        {tone(m_dir.filePath(u"flac.oga"_s), u"flac"_s, {"-f", "ogg"}), false, "not an Ogg Vorbis or Opus stream"},
        {tone(m_dir.filePath(u"two.ogg"_s), u"libvorbis"_s, {"-map", "0:a", "-map", "0:a"}), false, "more than one logical stream"},
        {wma, false, "not an Ogg file"}, {vorbis, true, "not an ASF file"}, {wma.first(300), true, "damaged ASF header"},
        {wma.chopped(1000), true, "cut off"}};
    const QString folder = m_dir.filePath(u"broken"_s);
    for (const auto &[bytes, asf, reason] : rows) {
        QVERIFY(QDir(folder).removeRecursively() && QDir().mkpath(folder));
        const QString path = folder + u"/file"_s;
        test::writeBytes(path, bytes);
        const QString why = asf ? embedAsfCover(path, jpeg.picture) : embedOggCover(path, jpeg.picture);
        QVERIFY2(why.contains(QLatin1String(reason)), qPrintable(why));
        QCOMPARE(readBytes(path), bytes);
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{"file"});
    }
}

QTEST_GUILESS_MAIN(TestMedia)
#include "tst_media.moc"
