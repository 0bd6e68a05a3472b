#include "media/GenreList.h"
#include "media/modID3Tags.h"
#include "support/TestPaths.h"

#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tonmill;

namespace {

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), bytes.size());
}

QByteArray run(const QString &program, const QStringList &arguments)
{
    QProcess p;
    // The readers print tag text through the locale; under a C locale they
    // would turn every letter beyond ASCII into "?".
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    p.setProcessEnvironment(environment);
    p.start(program, arguments);
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        qWarning() << program << arguments << p.readAllStandardError();
        return {};
    }
    return p.readAllStandardOutput();
}

// A three-second MP3 made by ffmpeg, with ffmpeg's own ID3v2.4 and ID3v1
// tags or with no tag at all.
QString makeMp3(const QString &dir, const QString &name, bool withTags)
{
    const QString path = dir + QLatin1Char('/') + name;
    QStringList args{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"),
                     QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("sine=frequency=440:duration=3"),
                     QStringLiteral("-c:a"), QStringLiteral("libmp3lame"), QStringLiteral("-b:a"), QStringLiteral("128k")};
    if (withTags)
        args << QStringLiteral("-write_id3v1") << QStringLiteral("1") << QStringLiteral("-metadata")
             << QStringLiteral("title=ffmpeg title") << QStringLiteral("-metadata") << QStringLiteral("artist=ffmpeg artist");
    else
        args << QStringLiteral("-id3v2_version") << QStringLiteral("0");
    run(QStringLiteral("ffmpeg"), args << path);
    return path;
}

// What mutagen reads: {"v2": {"version", "size", "frames"}, "v1": {...}}.
QJsonObject mutagen(const QStringList &arguments)
{
    const QByteArray out = run(QStringLiteral("/usr/bin/python3"), QStringList{QStringLiteral(ID3TOOL)} + arguments);
    return QJsonDocument::fromJson(out).object();
}

QJsonObject dump(const QString &path)
{
    return mutagen({QStringLiteral("dump"), path});
}

// The frames of a dump by identifier, in order.
QMultiMap<QString, QJsonObject> framesOf(const QJsonObject &dumped)
{
    QMultiMap<QString, QJsonObject> frames;
    const QJsonArray list = dumped[QStringLiteral("v2")][QStringLiteral("frames")].toArray();
    for (qsizetype i = list.size() - 1; i >= 0; --i)
        frames.insert(list[i][QStringLiteral("id")].toString(), list[i].toObject());
    return frames;
}

QStringList identifiers(const QJsonObject &dumped)
{
    QStringList ids;
    for (const QJsonValue &f : dumped[QStringLiteral("v2")][QStringLiteral("frames")].toArray())
        ids << f[QStringLiteral("id")].toString();
    return ids;
}

QString textOf(const QJsonObject &frame)
{
    return frame[QStringLiteral("text")].toArray().first().toString();
}

QJsonObject mediaInfoGeneral(const QString &path)
{
    const QByteArray out =
        run(QStringLiteral("mediainfo"), {QStringLiteral("--Output=JSON"), path});
    return QJsonDocument::fromJson(out)[QStringLiteral("media")][QStringLiteral("track")][0].toObject();
}

qint64 tagSizeOf(const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return GetID3v2TagSize(buffer, 0);
}

// The bytes between the ID3v2 tag and an ID3v1 tag.
QByteArray audioOf(const QByteArray &bytes)
{
    QByteArray audio = bytes.mid(tagSizeOf(bytes));
    if (audio.size() >= 128 && audio.right(128).startsWith("TAG"))
        audio.chop(128);
    return audio;
}

ID3TagInfo fullRecord()
{
    ID3TagInfo info;
    info.Artist = QStringLiteral("Ärtist Name");
    info.Album = QStringLiteral("The Album");
    info.Title = QStringLiteral("Café au lait, a title longer than thirty letters");
    info.Year = QStringLiteral("2021");
    info.Genre = QStringLiteral("rock");
    info.Comment = QStringLiteral("Señor comment");
    info.Track = QStringLiteral("7");
    info.EncodedBy = QStringLiteral("Tonmill");
    info.URL = QStringLiteral("http://example.org/x?a=1");
    info.Copyright = QStringLiteral("2021 Someone");
    info.Composer = QStringLiteral("Comp Oser");
    info.OriginalArtist = QStringLiteral("Orig Artist");
    return info;
}

// ---- hand-made tags ----

QByteArray synchsafe(qint64 v)
{
    const char bytes[] = {char((v >> 21) & 0x7F), char((v >> 14) & 0x7F), char((v >> 7) & 0x7F), char(v & 0x7F)};
    return QByteArray(bytes, 4);
}

QByteArray plainSize(qint64 v, int bytes)
{
    QByteArray out;
    for (int i = bytes - 1; i >= 0; --i)
        out += char((v >> (8 * i)) & 0xFF);
    return out;
}

QByteArray frame22(const QByteArray &id, const QByteArray &body)
{
    return id + plainSize(body.size(), 3) + body;
}

QByteArray frame23(const QByteArray &id, const QByteArray &body, char formatFlags = 0)
{
    return id + plainSize(body.size(), 4) + char(0) + formatFlags + body;
}

QByteArray frame24(const QByteArray &id, const QByteArray &body, char formatFlags = 0)
{
    return id + synchsafe(body.size()) + char(0) + formatFlags + body;
}

QByteArray tag(int major, char flags, const QByteArray &content)
{
    return QByteArray("ID3") + char(major) + char(0) + flags + synchsafe(content.size()) + content;
}

QByteArray unsynchronised(const QByteArray &data)
{
    QByteArray out;
    for (char c : data) {
        out += c;
        if (c == char(0xFF))
            out += char(0);
    }
    return out;
}

QByteArray latin1Text(const char *text)
{
    return QByteArray(1, 0) + QByteArray(text);
}

// Bytes that look like MP3 frames to nobody but stand for the audio.
QByteArray fakeAudio(qsizetype size)
{
    QByteArray audio(size, 0);
    QRandomGenerator generator(42);
    for (char &c : audio)
        c = static_cast<char>(generator.bounded(256));
    audio.replace(0, 3, "\xFF\xFB\x90");
    return audio;
}

} // namespace

class TestID3Tags : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void genreList();
    void id3v1Tag();
    void tagSizes();
    void independentReadersSeeEveryField();
    void unknownFramesSurvive();
    void olderAndUnusualTags();
    void fileSafety();
    void interruptedRewriteLeavesOldOrNew();

private:
    QTemporaryDir m_dir;
};

void TestID3Tags::genreList()
{
    const QStringList &names = genreNames();
    QCOMPARE(names.size(), 148);
    QCOMPARE(genreListText(), names.join(QLatin1Char('#')));
    QVERIFY(genreListText().startsWith(QStringLiteral("Blues#Classic Rock#Country#")));
    QVERIFY(genreListText().endsWith(QStringLiteral("#Anime#JPop#SynthPop")));
    const QList<std::pair<int, QString>> spellings{
        {0, QStringLiteral("Blues")},       {17, QStringLiteral("Rock")},       {40, QStringLiteral("Alt. Rock")},
        {67, QStringLiteral("Psychadelic")}, {85, QStringLiteral("Bebob")},     {123, QStringLiteral("A capella")},
        {133, QStringLiteral("Negerpunk")}, {134, QStringLiteral("Polsk Punk")}, {140, QStringLiteral("Contemporary C")},
        {146, QStringLiteral("JPop")},      {147, QStringLiteral("SynthPop")}};
    for (const auto &[number, name] : spellings) {
        QCOMPARE(GenreName(number), name);
        QCOMPARE(GenreNumber(name), number);
    }
    // Trimmed and without regard to case; the first match counts.
    QCOMPARE(GenreNumber(QStringLiteral("  rOcK ")), 17);
    QCOMPARE(GenreNumber(QStringLiteral("Nu-Rock")), 255);
    QCOMPARE(GenreNumber(QString()), 255);
    QCOMPARE(GenreName(-1), QString());
    QCOMPARE(GenreName(148), QString());
    QCOMPARE(GenreName(255), QString());

    QCOMPARE(genreFrameText(QStringLiteral("rock")), QStringLiteral("(17)Rock"));
    QCOMPARE(genreFrameText(QStringLiteral(" synthpop")), QStringLiteral("(147)SynthPop"));
    QCOMPARE(genreFrameText(QStringLiteral(" Nu-Rock ")), QStringLiteral(" Nu-Rock "));
    QCOMPARE(genreFrameText(QString()), QString());
}

void TestID3Tags::id3v1Tag()
{
    ID3TagInfo info;
    QByteArray t = tonmill::id3v1Tag(info);
    QCOMPARE(t.size(), 128);
    QCOMPARE(t, QByteArray("TAG") + QByteArray(124, 0) + char(255));

    info.Title = QStringLiteral("Café au lait, a title longer than thirty letters");
    info.Artist = QStringLiteral("Artist");
    info.Album = QStringLiteral("Album");
    info.Year = QStringLiteral("20215");
    info.Comment = QStringLiteral("line one\r\nline two\r\nand a third one");
    info.Genre = QStringLiteral("rock");
    t = tonmill::id3v1Tag(info);
    QCOMPARE(t.mid(3, 30), QByteArray("Caf\xE9 au lait, a title longer t"));
    QCOMPARE(t.mid(33, 30), QByteArray("Artist") + QByteArray(24, 0));
    QCOMPARE(t.mid(63, 30), QByteArray("Album") + QByteArray(25, 0));
    QCOMPARE(t.mid(93, 4), QByteArray("2021"));
    QCOMPARE(t.mid(97, 28), QByteArray("line one line two and a thir"));
    QCOMPARE(int(t[125]), 0);
    QCOMPARE(quint8(t[127]), 17);

    const QList<std::pair<QString, int>> tracks{
        {QStringLiteral("7"), 7},    {QStringLiteral(" 12 "), 12}, {QStringLiteral("255"), 255},
        {QStringLiteral("256"), 0},  {QStringLiteral("0"), 0},     {QStringLiteral("007"), 7},
        {QStringLiteral("0007"), 0}, {QStringLiteral("1/9"), 0},   {QStringLiteral("abc"), 0},
        {QString(), 0}};
    for (const auto &[track, number] : tracks) {
        info.Track = track;
        QCOMPARE(quint8(tonmill::id3v1Tag(info)[126]), number);
    }
    info.Genre = QStringLiteral("Nu-Rock");
    QCOMPARE(quint8(tonmill::id3v1Tag(info)[127]), 255);

    // Placement: appended to a short file or one without a tag, written over
    // an existing tag.
    info.Track = QStringLiteral("9");
    info.Genre = QStringLiteral("Jazz");
    const QString path = m_dir.filePath(QStringLiteral("v1.bin"));
    for (const qsizetype size : {qsizetype(0), qsizetype(100), qsizetype(500)}) {
        const QByteArray audio = fakeAudio(size);
        writeFile(path, audio);
        QVERIFY(WriteID3v1Tag(path, info, false));
        QCOMPARE(readFile(path), audio + tonmill::id3v1Tag(info));
        info.Title = QStringLiteral("Second");
        QVERIFY(WriteID3v1Tag(path, info, false));
        QCOMPARE(readFile(path), audio + tonmill::id3v1Tag(info));
        info.Title = QStringLiteral("First");
    }

    // An independent reader sees an ID3v1.1 tag with the fields.
    const QJsonObject v1 = dump(path)[QStringLiteral("v1")].toObject();
    QCOMPARE(textOf(v1[QStringLiteral("TIT2")].toObject()), QStringLiteral("Second"));
    QCOMPARE(textOf(v1[QStringLiteral("TRCK")].toObject()), QStringLiteral("9"));
    QCOMPARE(textOf(v1[QStringLiteral("TCON")].toObject()), QStringLiteral("8"));
    QCOMPARE(textOf(v1[QStringLiteral("COMM")].toObject()), QStringLiteral("line one line two and a thir"));
}

void TestID3Tags::tagSizes()
{
    // At least 1 KiB to spare, in 2 KiB steps, plus the header.
    QCOMPARE(paddedTagSize(0), 2048 + 10);
    QCOMPARE(paddedTagSize(1023), 2048 + 10);
    QCOMPARE(paddedTagSize(1024), 4096 + 10);
    QCOMPARE(paddedTagSize(2047), 4096 + 10);
    QCOMPARE(paddedTagSize(2048), 4096 + 10);
    QCOMPARE(paddedTagSize(3071), 4096 + 10);
    QCOMPARE(paddedTagSize(3072), 6144 + 10);

    const QString path = m_dir.filePath(QStringLiteral("sizes.mp3"));
    const QByteArray audio = fakeAudio(5000);
    // A title of n letters makes a frame of n + 12 bytes.
    for (const auto &[frames, total] : {std::pair{1023, 2058}, std::pair{1024, 4106}, std::pair{2047, 4106}}) {
        writeFile(path, audio);
        ID3TagInfo info;
        info.Title = QString(frames - 12, QLatin1Char('t'));
        QVERIFY(WriteID3v2Tag(path, info, 0, true, false));
        const QByteArray bytes = readFile(path);
        QCOMPARE(tagSizeOf(bytes), total);
        QCOMPARE(bytes.size(), total + audio.size());
        QCOMPARE(bytes.mid(total), audio);
        QCOMPARE(bytes.mid(10 + frames, total - 10 - frames), QByteArray(total - 10 - frames, 0));
        const QJsonObject dumped = dump(path);
        QCOMPARE(dumped[QStringLiteral("v2")][QStringLiteral("size")].toInt(), total);
        QCOMPARE(textOf(framesOf(dumped).value(QStringLiteral("TIT2"))), info.Title);
    }

    // Into that 2058-byte tag, frames fit while they leave room for the header;
    // one byte more and the tag grows.
    writeFile(path, audio);
    ID3TagInfo info;
    info.Title = QStringLiteral("t");
    QVERIFY(WriteID3v2Tag(path, info, 0, true, false));
    info.Title = QString(2048 - 12, QLatin1Char('t'));
    QVERIFY(WriteID3v2Tag(path, info, 0, true, false));
    QCOMPARE(tagSizeOf(readFile(path)), 2058);
    QCOMPARE(readFile(path).mid(2058), audio);
    info.Title += QStringLiteral("t");
    QVERIFY(WriteID3v2Tag(path, info, 0, true, false));
    QCOMPARE(tagSizeOf(readFile(path)), 4106);
    QCOMPARE(readFile(path).mid(4106), audio);

    // Version 2.3 then 2.4 of one record: one 2.4 tag of the 2.3 tag's size.
    writeFile(path, audio);
    info = fullRecord();
    QVERIFY(WriteID3v2Tag(path, info, 0, true, false));
    const QByteArray v23 = readFile(path);
    QVERIFY(WriteID3v2Tag(path, info, 1, true, false));
    const QByteArray v24 = readFile(path);
    QCOMPARE(v24.size(), v23.size());
    QCOMPARE(tagSizeOf(v24), tagSizeOf(v23));
    QCOMPARE(int(v24[3]), 4);
    QCOMPARE(v24.mid(tagSizeOf(v24)), audio);
    QCOMPARE(v24.indexOf("ID3", 3), -1);

    // An empty record: a tag already there becomes a bare header and
    // padding of the same size; with no tag there is nothing to write.
    QVERIFY(WriteID3v2Tag(path, ID3TagInfo(), 1, true, false));
    const QByteArray bare = readFile(path);
    QCOMPARE(bare.left(10), QByteArray("ID3\x04\x00\x00", 6) + synchsafe(tagSizeOf(v23) - 10));
    QCOMPARE(bare.mid(10, tagSizeOf(v23) - 10), QByteArray(tagSizeOf(v23) - 10, 0));
    QCOMPARE(bare.mid(tagSizeOf(v23)), audio);
    writeFile(path, audio);
    QVERIFY(!WriteID3v2Tag(path, ID3TagInfo(), 0, true, false));
    QCOMPARE(readFile(path), audio);
    // Blanks count as empty.
    info = ID3TagInfo();
    info.Title = QStringLiteral("   ");
    QVERIFY(!WriteID3v2Tag(path, info, 0, true, false));
}

void TestID3Tags::independentReadersSeeEveryField()
{
    const ID3TagInfo info = fullRecord();
    for (const bool ffmpegTags : {false, true}) {
        const QString path = makeMp3(m_dir.path(), QStringLiteral("enc%1.mp3").arg(ffmpegTags), ffmpegTags);
        const QByteArray before = readFile(path);
        QVERIFY(before.size() > 40000);
        QCOMPARE(before.startsWith("ID3"), ffmpegTags);
        const QByteArray audio = audioOf(before);

        // What a conversion does after an MP3 encode.
        QVERIFY(WriteID3v1Tag(path, info, true));
        QVERIFY(WriteID3v2Tag(path, info, 0, true, true));
        const QByteArray afterV23 = readFile(path);
        const QJsonObject v23 = dump(path);
        QVERIFY(WriteID3v2Tag(path, info, 1, true, true));
        const QByteArray after = readFile(path);
        const QJsonObject v24 = dump(path);

        for (const QJsonObject *tags : {&v23, &v24}) {
            const bool four = tags == &v24;
            const QJsonObject &dumped = *tags;
            const QJsonObject v2 = dumped[QStringLiteral("v2")].toObject();
            QCOMPARE(v2[QStringLiteral("version")].toArray()[1].toInt(), four ? 4 : 3);
            QCOMPARE(v2[QStringLiteral("size")].toInt(), tagSizeOf(afterV23));
            QCOMPARE(identifiers(dumped),
                     (QStringList{QStringLiteral("TPE1"), QStringLiteral("TALB"), QStringLiteral("TIT2"),
                                  four ? QStringLiteral("TDRC") : QStringLiteral("TYER"), QStringLiteral("TCON"),
                                  QStringLiteral("COMM"), QStringLiteral("TRCK"), QStringLiteral("TENC"),
                                  QStringLiteral("WXXX"), QStringLiteral("TCOP"), QStringLiteral("TCOM"),
                                  QStringLiteral("TOPE")}));
            const auto frames = framesOf(dumped);
            for (const QJsonObject &f : frames)
                QCOMPARE(f[QStringLiteral("encoding")].toInt(), 0);
            QCOMPARE(textOf(frames.value(QStringLiteral("TPE1"))), info.Artist);
            QCOMPARE(textOf(frames.value(QStringLiteral("TALB"))), info.Album);
            QCOMPARE(textOf(frames.value(QStringLiteral("TIT2"))), info.Title);
            QCOMPARE(textOf(frames.value(four ? QStringLiteral("TDRC") : QStringLiteral("TYER"))), info.Year);
            QCOMPARE(textOf(frames.value(QStringLiteral("TCON"))), QStringLiteral("(17)Rock"));
            const QJsonObject comm = frames.value(QStringLiteral("COMM"));
            QCOMPARE(textOf(comm), info.Comment);
            QCOMPARE(comm[QStringLiteral("lang")].toString(), QStringLiteral("eng"));
            QCOMPARE(comm[QStringLiteral("desc")].toString(), QString());
            QCOMPARE(textOf(frames.value(QStringLiteral("TRCK"))), info.Track);
            QCOMPARE(textOf(frames.value(QStringLiteral("TENC"))), info.EncodedBy);
            QCOMPARE(frames.value(QStringLiteral("WXXX"))[QStringLiteral("url")].toString(), info.URL);
            QCOMPARE(frames.value(QStringLiteral("WXXX"))[QStringLiteral("desc")].toString(), QString());
            QCOMPARE(textOf(frames.value(QStringLiteral("TCOP"))), info.Copyright);
            QCOMPARE(textOf(frames.value(QStringLiteral("TCOM"))), info.Composer);
            QCOMPARE(textOf(frames.value(QStringLiteral("TOPE"))), info.OriginalArtist);

            // The ID3v1.1 tag at the end.
            const QJsonObject v1 = dumped[QStringLiteral("v1")].toObject();
            QCOMPARE(textOf(v1[QStringLiteral("TIT2")].toObject()), info.Title.left(30));
            QCOMPARE(textOf(v1[QStringLiteral("TPE1")].toObject()), info.Artist);
            QCOMPARE(textOf(v1[QStringLiteral("TALB")].toObject()), info.Album);
            QCOMPARE(textOf(v1[QStringLiteral("TDRC")].toObject()), info.Year);
            QCOMPARE(textOf(v1[QStringLiteral("COMM")].toObject()), info.Comment);
            QCOMPARE(textOf(v1[QStringLiteral("TRCK")].toObject()), QStringLiteral("7"));
            QCOMPARE(textOf(v1[QStringLiteral("TCON")].toObject()), QStringLiteral("17"));
        }

        // The audio between the tags is what the encoder wrote.
        QCOMPARE(after.size(), afterV23.size());
        QCOMPARE(audioOf(after), audio);
        QCOMPARE(after.right(128), tonmill::id3v1Tag(info));
        QCOMPARE(int(after[after.size() - 3]), 0);

        // mediainfo agrees.
        const QJsonObject general = mediaInfoGeneral(path);
        QCOMPARE(general[QStringLiteral("Performer")].toString(), info.Artist);
        QCOMPARE(general[QStringLiteral("Album")].toString(), info.Album);
        QCOMPARE(general[QStringLiteral("Title")].toString(), info.Title);
        QCOMPARE(general[QStringLiteral("Recorded_Date")].toString(), info.Year);
        QCOMPARE(general[QStringLiteral("Genre")].toString(), QStringLiteral("Rock"));
        QCOMPARE(general[QStringLiteral("Comment")].toString(), info.Comment);
        QCOMPARE(general[QStringLiteral("Track_Position")].toString(), info.Track);
        QCOMPARE(general[QStringLiteral("EncodedBy")].toString(), info.EncodedBy);
        QCOMPARE(general[QStringLiteral("extra")][QStringLiteral("URL")].toString(), info.URL);
        QCOMPARE(general[QStringLiteral("Copyright")].toString(), info.Copyright);
        QCOMPARE(general[QStringLiteral("Composer")].toString(), info.Composer);
        QCOMPARE(general[QStringLiteral("Original_Performer")].toString(), info.OriginalArtist);
        QCOMPARE(general[QStringLiteral("Format")].toString(), QStringLiteral("MPEG Audio"));
    }
}

void TestID3Tags::unknownFramesSurvive()
{
    ID3TagInfo info;
    info.Title = QStringLiteral("New title");
    info.Artist = QStringLiteral("New artist");
    for (const int version : {3, 4}) {
        const QString path = makeMp3(m_dir.path(), QStringLiteral("keep%1.mp3").arg(version), false);
        const QByteArray audio = readFile(path);
        run(QStringLiteral("/usr/bin/python3"),
            {QStringLiteral(ID3TOOL), QStringLiteral("add"), path, QString::number(version)});
        const auto original = framesOf(dump(path));
        QCOMPARE(textOf(original.value(QStringLiteral("TIT2"))), QStringLiteral("Old title"));

        // Version 2.3 first, then 2.4: the record's frames replace the old
        // title, everything else is carried over unchanged.
        QVERIFY(WriteID3v2Tag(path, info, 0, false, false));
        const QJsonObject as23 = dump(path);
        QVERIFY(WriteID3v2Tag(path, info, 1, false, false));
        const QJsonObject as24 = dump(path);
        for (const QJsonObject &dumped : {as23, as24}) {
            const auto frames = framesOf(dumped);
            QCOMPARE(frames.count(QStringLiteral("TIT2")), 1);
            QCOMPARE(textOf(frames.value(QStringLiteral("TIT2"))), info.Title);
            QCOMPARE(textOf(frames.value(QStringLiteral("TPE1"))), info.Artist);
            for (const QString &id : {QStringLiteral("APIC"), QStringLiteral("PRIV"), QStringLiteral("TXXX")}) {
                QVERIFY2(frames.contains(id), qPrintable(id));
                QCOMPARE(frames.value(id), original.value(id));
            }
            QCOMPARE(frames.value(QStringLiteral("APIC"))[QStringLiteral("mime")].toString(), QStringLiteral("image/png"));
        }
        QCOMPARE(audioOf(readFile(path)), audio);

        const auto frames23 = framesOf(as23);
        const auto frames24 = framesOf(as24);
        if (version == 3) {
            // Written as 2.3 they keep their names; as 2.4 they take the new ones.
            QCOMPARE(frames23.value(QStringLiteral("TORY")), original.value(QStringLiteral("TORY")));
            QCOMPARE(frames23.value(QStringLiteral("IPLS")), original.value(QStringLiteral("IPLS")));
            QVERIFY(!frames24.contains(QStringLiteral("TORY")));
            QVERIFY(!frames24.contains(QStringLiteral("IPLS")));
            QCOMPARE(textOf(frames24.value(QStringLiteral("TDOR"))), QStringLiteral("1999"));
            QCOMPARE(frames24.value(QStringLiteral("TIPL"))[QStringLiteral("people")].toArray(),
                     original.value(QStringLiteral("IPLS"))[QStringLiteral("people")].toArray());
            // Only the version flag 1 renames.
            QVERIFY(WriteID3v2Tag(path, info, 0, true, false));
            run(QStringLiteral("/usr/bin/python3"), {QStringLiteral(ID3TOOL), QStringLiteral("add"), path, QStringLiteral("3")});
            QVERIFY(WriteID3v2Tag(path, info, 2, false, false));
            const QJsonObject flagTwo = dump(path);
            QCOMPARE(flagTwo[QStringLiteral("v2")][QStringLiteral("version")].toArray()[1].toInt(), 4);
            QVERIFY(identifiers(flagTwo).contains(QStringLiteral("TORY")));
            QVERIFY(!identifiers(flagTwo).contains(QStringLiteral("TDOR")));
        }
    }
}

void TestID3Tags::olderAndUnusualTags()
{
    const QByteArray audio = fakeAudio(3000);
    const QString path = m_dir.filePath(QStringLiteral("unusual.mp3"));
    ID3TagInfo record;
    record.Title = QStringLiteral("Rewritten");

    // Version 2.2: three-letter frames take their 2.3 names, PIC its MIME type,
    // LNK the 2.3 name of the frame it links to; unmapped frames are dropped.
    const QByteArray png = QByteArray("\x89PNG\r\n\x1a\n", 8) + fakeAudio(300);
    const QByteArray v22 = tag(2, 0,
                               frame22("TT2", latin1Text("Old 2.2 title")) + frame22("TYE", latin1Text("1987"))
                                   + frame22("COM", QByteArray("\0eng\0old comment", 16))
                                   + frame22("PIC", QByteArray(1, 0) + "PNG" + char(3) + "cover" + char(0) + png)
                                   + frame22("LNK", QByteArray("TT2http://example.org/\0id", 25))
                                   + frame22("TOR", latin1Text("1970")) + frame22("XYZ", "junk")
                                   + frame22("TXX", QByteArray("\0mood\0calm", 10)) + QByteArray(100, 0));
    QBuffer buffer;
    buffer.setData(v22 + audio);
    buffer.open(QIODevice::ReadOnly);
    ID3TagInfo read;
    ID3FrameList kept;
    QCOMPARE(ReadID3v2Tag(buffer, 0, read, kept, kID3ReadLimit), -1);
    QCOMPARE(read.Title, QStringLiteral("Old 2.2 title"));
    QCOMPARE(read.Year, QStringLiteral("1987"));
    QCOMPARE(read.Comment, QStringLiteral("old comment"));
    QStringList ids;
    for (const ID3Frame &f : kept)
        ids << QString::fromLatin1(f.id);
    QCOMPARE(ids, (QStringList{QStringLiteral("APIC"), QStringLiteral("LINK"), QStringLiteral("TORY"),
                               QStringLiteral("TXXX")}));
    QCOMPARE(kept[0].body, QByteArray(1, 0) + "image/png" + char(0) + char(3) + "cover" + char(0) + png);
    QCOMPARE(kept[1].body, QByteArray("TIT2http://example.org/\0id", 26));

    writeFile(path, v22 + audio);
    QVERIFY(WriteID3v2Tag(path, record, 1, false, false));
    auto frames = framesOf(dump(path));
    QCOMPARE(textOf(frames.value(QStringLiteral("TIT2"))), record.Title);
    QVERIFY(!frames.contains(QStringLiteral("COMM")));
    QCOMPARE(frames.value(QStringLiteral("APIC"))[QStringLiteral("mime")].toString(), QStringLiteral("image/png"));
    QCOMPARE(frames.value(QStringLiteral("APIC"))[QStringLiteral("desc")].toString(), QStringLiteral("cover"));
    QCOMPARE(frames.value(QStringLiteral("APIC"))[QStringLiteral("data")][QStringLiteral("hex")].toString(),
             QString::fromLatin1(png.toHex()));
    QCOMPARE(frames.value(QStringLiteral("LINK"))[QStringLiteral("frameid")].toString(), QStringLiteral("TIT2"));
    QCOMPARE(frames.value(QStringLiteral("LINK"))[QStringLiteral("url")].toString(), QStringLiteral("http://example.org/"));
    QCOMPARE(textOf(frames.value(QStringLiteral("TDOR"))), QStringLiteral("1970"));
    QCOMPARE(frames.value(QStringLiteral("TXXX"))[QStringLiteral("desc")].toString(), QStringLiteral("mood"));
    QCOMPARE(audioOf(readFile(path)), audio);

    // Other picture formats of 2.2, compared in upper case.
    for (const auto &[format, mime] : {std::pair{"jpg", "image/jpeg"}, std::pair{"-->", "-->"},
                                       std::pair{"GIF", "image/gif"}, std::pair{"Bmp", "image/bmp"}}) {
        buffer.close();
        buffer.setData(tag(2, 0, frame22("PIC", QByteArray(1, 0) + format + char(0) + char(0) + "x")));
        buffer.open(QIODevice::ReadOnly);
        kept.clear();
        ReadID3v2Tag(buffer, 0, read, kept, kID3ReadLimit);
        QCOMPARE(kept.size(), 1);
        QCOMPARE(kept[0].body, QByteArray(1, 0) + mime + char(0) + char(0) + char(0) + "x");
    }

    // Version 2.3, unsynchronised and with an extended header; version 2.4
    // with an extended header, a footer, and frames that are unsynchronised
    // on their own, carry a data length or a group byte, or are compressed.
    const QByteArray secret = QByteArray("owner\0", 6) + QByteArray("\xFF\xE0\xFF\x00\xFF\xFF\x01", 7);
    const QByteArray v23 = tag(3, char(0xC0),
                               unsynchronised(QByteArray("\0\0\0\x06\0\0\0\0\0\0", 10)
                                              + frame23("TIT2", latin1Text("Sync \xFF\xFE title"))
                                              + frame23("PRIV", secret)
                                              + frame23("PCNT", QByteArray("\0\0\0\x07\x01", 5), char(0x80))));
    const QByteArray v24Frames = QByteArray("\0\0\0\x06\x01\0", 6) + frame24("TPE1", latin1Text("Footer artist"))
        + frame24("PRIV", synchsafe(secret.size()) + unsynchronised(secret), 0x03)
        + frame24("TXXX", QByteArray("\x07") + QByteArray("\0g\0v", 4), 0x40)
        + frame24("TCMP", QByteArray("\0\0\0\x02xx", 6), 0x09);
    const QByteArray v24 = QByteArray("ID3\x04\x00\x50", 6) + synchsafe(v24Frames.size())
        + v24Frames + QByteArray("3DI\x04\x00\x50", 6) + synchsafe(v24Frames.size());

    for (const QByteArray *tagBytes : {&v23, &v24}) {
        const bool four = tagBytes == &v24;
        const QByteArray &old = *tagBytes;
        buffer.close();
        buffer.setData(old + audio);
        buffer.open(QIODevice::ReadOnly);
        QCOMPARE(GetID3v2TagSize(buffer, 0), old.size());
        read = ID3TagInfo();
        kept.clear();
        QCOMPARE(ReadID3v2Tag(buffer, 0, read, kept, kID3ReadLimit), -1);
        if (four) {
            QCOMPARE(read.Artist, QStringLiteral("Footer artist"));
            QCOMPARE(kept.size(), 2);
            QCOMPARE(kept[1].id, QByteArray("TXXX"));
            QCOMPARE(kept[1].body, QByteArray("\0g\0v", 4));
        } else {
            QCOMPARE(read.Title, QStringLiteral("Sync \xFF\xFE title"));
            QCOMPARE(kept.size(), 1);
        }
        QCOMPARE(kept[0].id, QByteArray("PRIV"));
        QCOMPARE(kept[0].body, secret);

        writeFile(path, old + audio);
        QVERIFY(WriteID3v2Tag(path, record, 0, false, false));
        const QJsonObject dumped = dump(path);
        frames = framesOf(dumped);
        QCOMPARE(identifiers(dumped).size(), four ? 3 : 2);
        QCOMPARE(frames.value(QStringLiteral("PRIV"))[QStringLiteral("data")][QStringLiteral("hex")].toString(),
                 QString::fromLatin1(secret.mid(6).toHex()));
        QCOMPARE(audioOf(readFile(path)), audio);
    }

    // Two tags in a row: the frames of both are kept; the second tag stays
    // behind the new one.
    const QByteArray first = tag(3, 0, frame23("PRIV", QByteArray("a\0one", 5)));
    const QByteArray second = tag(4, 0, frame24("PRIV", QByteArray("b\0two", 5)) + frame24("TIT2", latin1Text("2nd")));
    buffer.close();
    buffer.setData(first + second + audio);
    buffer.open(QIODevice::ReadOnly);
    read = ID3TagInfo();
    kept.clear();
    QCOMPARE(ReadID3v2Tag(buffer, 0, read, kept, kID3ReadLimit), first.size());
    QCOMPARE(ReadID3v2Tag(buffer, first.size(), read, kept, kID3ReadLimit), -1);
    QCOMPARE(read.Title, QStringLiteral("2nd"));
    QCOMPARE(kept.size(), 2);
    writeFile(path, first + second + audio);
    QVERIFY(WriteID3v2Tag(path, record, 0, false, false));
    QCOMPARE(identifiers(dump(path)), (QStringList{QStringLiteral("TIT2"), QStringLiteral("PRIV"), QStringLiteral("PRIV")}));
    QCOMPARE(readFile(path).mid(tagSizeOf(readFile(path))), second + audio);

    // Only the first maxSize bytes of a tag are read; the position after it
    // is found all the same.
    buffer.close();
    buffer.setData(first + first + audio);
    buffer.open(QIODevice::ReadOnly);
    kept.clear();
    QCOMPARE(ReadID3v2Tag(buffer, 0, read, kept, 14), first.size());
    QCOMPARE(kept.size(), 0);
    QCOMPARE(ReadID3v2Tag(buffer, first.size(), read, kept, 15), -1);
    QCOMPARE(kept.size(), 1);

    // Text in every encoding that a 2.4 tag may use, made by mutagen.
    writeFile(path, audio);
    run(QStringLiteral("/usr/bin/python3"), {QStringLiteral(ID3TOOL), QStringLiteral("text"), path});
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    read = ID3TagInfo();
    kept.clear();
    QCOMPARE(ReadID3v2Tag(file, 0, read, kept, kID3ReadLimit), -1);
    QCOMPARE(read.Title, QStringLiteral("Ünïcode title ✓"));
    QCOMPARE(read.Artist, QStringLiteral("Wide artist ✓"));
    QCOMPARE(read.Album, QStringLiteral("Big-endian album"));
    QCOMPARE(read.Comment, QStringLiteral("Comment ✓"));
    QCOMPARE(read.URL, QStringLiteral("http://example.org/a"));
    QCOMPARE(read.Year, QStringLiteral("2001"));
    QCOMPARE(read.Track, QStringLiteral("3/12"));
    QVERIFY(kept.isEmpty());

    // A header that claims more than the file holds is kept as audio.
    const QByteArray liar = QByteArray("ID3\x03\x00\x00\x00\x00\x7F\x7F", 10) + audio;
    writeFile(path, liar);
    QVERIFY(WriteID3v2Tag(path, record, 0, false, false));
    const QByteArray rewritten = readFile(path);
    QCOMPARE(rewritten.mid(tagSizeOf(rewritten)), liar);
}

void TestID3Tags::fileSafety()
{
    ID3TagInfo info = fullRecord();
    const QString missing = m_dir.filePath(QStringLiteral("missing.mp3"));
    QVERIFY(!WriteID3v1Tag(missing, info, true));
    QVERIFY(!WriteID3v2Tag(missing, info, 1, true, true));
    QVERIFY(!QFile::exists(missing));
    QVERIFY(!WriteID3v1Tag(m_dir.path(), info, true));
    QVERIFY(!WriteID3v2Tag(m_dir.path(), info, 0, true, true));

    // A file without any write permission is read-only, for root too.
    const QString path = m_dir.filePath(QStringLiteral("locked.mp3"));
    const QByteArray audio = fakeAudio(3 << 20);
    writeFile(path, audio);
    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    QVERIFY(!WriteID3v1Tag(path, info, false));
    QVERIFY(!WriteID3v2Tag(path, info, 0, true, false));
    QCOMPARE(readFile(path), audio);
    // clearReadOnly gives the owner's write permission back first.
    QVERIFY(WriteID3v2Tag(path, info, 0, true, true));
    QCOMPARE(QFileInfo(path).permissions() & 0x7000, QFile::ReadOwner | QFile::WriteOwner);
    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner));
    QVERIFY(WriteID3v1Tag(path, info, true));
    QVERIFY(QFileInfo(path).permissions() & QFile::WriteOwner);

    // A grown tag goes through a new file, which keeps the old one's
    // permissions, leaves nothing else behind and is reached through a link
    // as before.
    QTemporaryDir dir;
    const QString song = dir.filePath(QStringLiteral("song.mp3"));
    const QString link = dir.filePath(QStringLiteral("link.mp3"));
    writeFile(song, audio);
    QVERIFY(QFile::setPermissions(song, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup)); // 0640
    const QFile::Permissions permissions = QFileInfo(song).permissions();
    QVERIFY(QFile::link(QStringLiteral("song.mp3"), link));
    QVERIFY(WriteID3v2Tag(link, info, 0, true, false));
    QCOMPARE(QFileInfo(song).permissions(), permissions);
    QVERIFY(QFileInfo(link).isSymLink());
    QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             (QStringList{QStringLiteral("link.mp3"), QStringLiteral("song.mp3")}));
    const QByteArray grown = readFile(song);
    QCOMPARE(tagSizeOf(grown), 2058);
    QCOMPARE(grown.mid(tagSizeOf(grown)), audio);
}

void TestID3Tags::interruptedRewriteLeavesOldOrNew()
{
    // A rewrite that grows the tag of a 48 MB file, ended by SIGKILL at
    // moments spread over the time a whole rewrite takes.
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("big.mp3"));
    const QString program = test::testProgram(QStringLiteral("tonmill-test-id3write"));
    const QByteArray old = fakeAudio(48 << 20);
    writeFile(path, old);
    QElapsedTimer timer;
    timer.start();
    QProcess whole;
    whole.start(program, {path, QStringLiteral("3000")});
    QVERIFY(whole.waitForFinished(60000));
    const qint64 wholeMs = timer.elapsed();
    QCOMPARE(whole.exitCode(), 0);
    const QByteArray grown = readFile(path);
    QCOMPARE(grown.mid(tagSizeOf(grown)), old);

    int sawOld = 0;
    int sawNew = 0;
    for (int step = 0; step <= 12; ++step) {
        const int delayMs = static_cast<int>(wholeMs * step / 10);
        writeFile(path, old);
        QProcess writer;
        writer.start(program, {path, QStringLiteral("3000")});
        QVERIFY(writer.waitForStarted());
        QTest::qSleep(delayMs);
        if (writer.processId() > 0)
            ::kill(static_cast<pid_t>(writer.processId()), SIGKILL);
        QVERIFY(writer.waitForFinished(10000));
        const QByteArray now = readFile(path);
        QVERIFY2(now == old || now == grown, qPrintable(QStringLiteral("mixed file after %1 ms").arg(delayMs)));
        (now == old ? sawOld : sawNew)++;
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("big.mp3")});
    }
    qInfo("whole rewrite %lld ms; interrupted rewrites: %d left the old file, %d the new one", wholeMs, sawOld,
          sawNew);
}

QTEST_GUILESS_MAIN(TestID3Tags)
#include "tst_id3tags.moc"
