// Front covers embedded into Ogg Vorbis, Opus and WMA files that ffmpeg made,
// read back by mutagen and decoded by ffmpeg, neither of which shares code
// with the writers. Broken files are refused and left as they were.
#include "media/CoverArt.h"
#include "support/TestFiles.h"
#include "support/TestProcesses.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <array>

using namespace tonmill;
using tonmill::test::readBytes;
using tonmill::test::runProgram;
using tonmill::test::writeBytes;

namespace {

// What mutagen reads of a file, as JSON: its kind, its tags other than
// pictures, its pictures, and for Ogg the sequence numbers of its pages.
const char kReader[] = R"(
import base64, json, sys, mutagen
from mutagen.flac import Picture
from mutagen.ogg import OggPage
f = mutagen.File(sys.argv[1])
tags, pictures, pages = {}, [], []
for name, value in f.tags:
    if name.upper() == 'METADATA_BLOCK_PICTURE':
        p = Picture(base64.b64decode(value))
        pictures.append(dict(type=p.type, mime=p.mime, width=p.width, height=p.height, depth=p.depth, data=p.data.hex()))
    elif name == 'WM/Picture':
        v = value.value
        size = int.from_bytes(v[1:5], 'little')
        mime = v[5:len(v) - size].decode('utf-16-le').split('\0')[0]
        pictures.append(dict(type=v[0], mime=mime, data=v[len(v) - size:].hex()))
    else:
        tags.setdefault(name, []).append(str(value))
if sys.argv[1].endswith(('.ogg', '.opus')):
    with open(sys.argv[1], 'rb') as file:
        try:
            while True:
                pages.append(OggPage(file).sequence)
        except EOFError:
            pass
print(json.dumps(dict(kind=type(f).__name__, tags=tags, pictures=pictures, pages=pages)))
)";

QJsonObject readWithMutagen(const QString &path)
{
    const test::Ran ran = runProgram(QStringLiteral("/usr/bin/python3"), {QStringLiteral("-c"), QLatin1String(kReader), path},
                                     {QStringLiteral("LC_ALL=C.UTF-8")});
    if (ran.exitCode != 0)
        qWarning() << ran.err;
    return QJsonDocument::fromJson(ran.out.toUtf8()).object();
}

// ffmpeg's decoding of the first audio stream, a checksum and duration per frame.
test::Ran decode(const QString &path)
{
    return runProgram(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), path,
                                                 QStringLiteral("-map"), QStringLiteral("0:a:0"), QStringLiteral("-c:a"),
                                                 QStringLiteral("pcm_s16le"), QStringLiteral("-f"),
                                                 QStringLiteral("framecrc"), QStringLiteral("-")});
}

bool ffmpeg(const QStringList &arguments)
{
    const test::Ran ran =
        runProgram(QStringLiteral("ffmpeg"), QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y")}
                                                 + arguments);
    if (ran.exitCode != 0)
        qWarning() << arguments << ran.err;
    return ran.exitCode == 0;
}

// A three-second tone with tags in three scripts.
bool makeTone(const QString &path, const QString &codec, const QStringList &extra = {})
{
    return ffmpeg(QStringList{QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                              QStringLiteral("sine=frequency=440:duration=3"), QStringLiteral("-c:a"), codec,
                              QStringLiteral("-metadata"), QStringLiteral("title=夜明けの歌"), QStringLiteral("-metadata"),
                              QStringLiteral("artist=Сергей Прокофьев"), QStringLiteral("-metadata"),
                              QStringLiteral("album=Plain Album")}
                  + extra + QStringList{path});
}

struct Cover {
    CoverPicture picture;
    int width = 0;
    int height = 0;
};

} // namespace

class TestCoverArt : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void embedsOneFrontCover_data();
    void embedsOneFrontCover();
    void refusesBrokenFiles_data();
    void refusesBrokenFiles();

private:
    bool makeCover(Cover &cover, const QString &name, const QString &source, int width, int height);

    QTemporaryDir m_dir;
    Cover m_jpeg;
    Cover m_png;
};

bool TestCoverArt::makeCover(Cover &cover, const QString &name, const QString &source, int width, int height)
{
    const QString path = m_dir.filePath(name);
    if (!ffmpeg({QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"), source, QStringLiteral("-frames:v"),
                 QStringLiteral("1"), QStringLiteral("-pix_fmt"), name.endsWith(QLatin1String(".png")) ? QStringLiteral("rgb24") : QStringLiteral("yuvj420p"), path}))
        return false;
    cover.picture.data = readBytes(path);
    cover.picture.mime = pictureMime(cover.picture.data);
    cover.width = width;
    cover.height = height;
    return true;
}

void TestCoverArt::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(makeCover(m_jpeg, QStringLiteral("cover.jpg"), QStringLiteral("color=c=red:s=64x48"), 64, 48));
    // Noise keeps the PNG beyond 64 KiB: too large for one Ogg page and for
    // an Extended Content Description value.
    QVERIFY(makeCover(m_png, QStringLiteral("cover.png"),
                      QStringLiteral("nullsrc=s=300x200,geq=r='random(1)*255':g='random(2)*255':b='random(3)*255'"), 300,
                      200));
    QCOMPARE(m_jpeg.picture.mime, QStringLiteral("image/jpeg"));
    QCOMPARE(m_png.picture.mime, QStringLiteral("image/png"));
    QVERIFY(m_png.picture.data.size() > 70000);
}

void TestCoverArt::embedsOneFrontCover_data()
{
    QTest::addColumn<QString>("codec");
    QTest::addColumn<QString>("extension");
    QTest::addColumn<bool>("pngFirst");
    const char *const formats[][2] = {{"libvorbis", "ogg"}, {"libopus", "opus"}, {"wmav2", "wma"}};
    for (const auto &[codec, extension] : formats) {
        QTest::addRow("%s, JPEG then PNG", codec) << QString::fromLatin1(codec) << QString::fromLatin1(extension) << false;
        QTest::addRow("%s, PNG then JPEG", codec) << QString::fromLatin1(codec) << QString::fromLatin1(extension) << true;
    }
}

void TestCoverArt::embedsOneFrontCover()
{
    QFETCH(QString, codec);
    QFETCH(QString, extension);
    QFETCH(bool, pngFirst);
    const QString path = m_dir.filePath(QStringLiteral("tone.") + extension);
    QVERIFY(makeTone(path, codec));
    const bool ogg = extension != QLatin1String("wma");

    const QJsonObject before = readWithMutagen(path);
    const QString tagText = QString::fromUtf8(QJsonDocument(before[QStringLiteral("tags")].toObject()).toJson());
    QVERIFY2(tagText.contains(QStringLiteral("夜明けの歌")) && tagText.contains(QStringLiteral("Сергей Прокофьев")),
             qPrintable(tagText));
    QVERIFY(before[QStringLiteral("pictures")].toArray().isEmpty());
    const test::Ran decodedBefore = decode(path);
    QCOMPARE(decodedBefore.err, QString());
    QVERIFY(decodedBefore.out.count(QLatin1Char('\n')) > 20);

    // The second cover replaces the first.
    for (const Cover *cover : pngFirst ? std::array{&m_png, &m_jpeg} : std::array{&m_jpeg, &m_png}) {
        QCOMPARE(ogg ? embedOggCover(path, cover->picture) : embedAsfCover(path, cover->picture), QString());
        const QJsonObject after = readWithMutagen(path);
        QCOMPARE(after[QStringLiteral("kind")], before[QStringLiteral("kind")]);
        QCOMPARE(after[QStringLiteral("tags")], before[QStringLiteral("tags")]);
        const QJsonArray pictures = after[QStringLiteral("pictures")].toArray();
        QCOMPARE(pictures.size(), 1);
        const QJsonObject picture = pictures.first().toObject();
        QCOMPARE(picture[QStringLiteral("type")].toInt(), 3);
        QCOMPARE(picture[QStringLiteral("mime")].toString(), cover->picture.mime);
        QVERIFY(picture[QStringLiteral("data")].toString().toLatin1() == cover->picture.data.toHex());
        if (ogg) {
            QCOMPARE(picture[QStringLiteral("width")].toInt(), cover->width);
            QCOMPARE(picture[QStringLiteral("height")].toInt(), cover->height);
            QCOMPARE(picture[QStringLiteral("depth")].toInt(), 24);
            const QJsonArray pages = after[QStringLiteral("pages")].toArray();
            QVERIFY(pages.size() > 3);
            for (qsizetype i = 0; i < pages.size(); ++i)
                QCOMPARE(pages[i].toInt(), i);
        }
        // Every page's checksum and every sample as before.
        const test::Ran decoded = decode(path);
        QCOMPARE(decoded.err, QString());
        QCOMPARE(decoded.out, decodedBefore.out);
    }
}

void TestCoverArt::refusesBrokenFiles_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("asf");
    QTest::addColumn<QString>("reason");

    const QString vorbisPath = m_dir.filePath(QStringLiteral("plain.ogg"));
    const QString opusPath = m_dir.filePath(QStringLiteral("plain.opus"));
    const QString wmaPath = m_dir.filePath(QStringLiteral("plain.wma"));
    const QString flacPath = m_dir.filePath(QStringLiteral("flac.oga"));
    const QString twoPath = m_dir.filePath(QStringLiteral("two.ogg"));
    QVERIFY(makeTone(vorbisPath, QStringLiteral("libvorbis")));
    QVERIFY(makeTone(opusPath, QStringLiteral("libopus")));
    QVERIFY(makeTone(wmaPath, QStringLiteral("wmav2")));
    QVERIFY(makeTone(flacPath, QStringLiteral("flac"), {QStringLiteral("-f"), QStringLiteral("ogg")}));
    QVERIFY(makeTone(twoPath, QStringLiteral("libvorbis"), {QStringLiteral("-map"), QStringLiteral("0:a"),
                                                            QStringLiteral("-map"), QStringLiteral("0:a")}));
    const QByteArray vorbis = readBytes(vorbisPath);
    const QByteArray opus = readBytes(opusPath);
    const QByteArray wma = readBytes(wmaPath);
    QByteArray flipped = vorbis;
    flipped[flipped.size() / 2] = char(flipped[flipped.size() / 2] ^ 0x10);

    QTest::newRow("empty") << QByteArray() << false << QStringLiteral("not an Ogg file");
    QTest::newRow("Vorbis cut inside a page") << vorbis.chopped(100) << false << QStringLiteral("ends inside an Ogg page");
    QTest::newRow("Vorbis cut before its last page") << vorbis.first(vorbis.lastIndexOf("OggS")) << false
                                                     << QStringLiteral("ends before its stream does");
    QTest::newRow("Opus cut after its first page") << opus.first(opus.indexOf("OggS", 4)) << false
                                                   << QStringLiteral("ends inside the stream headers");
    QTest::newRow("Vorbis with a damaged page") << flipped << false << QStringLiteral("damaged Ogg page");
    QTest::newRow("Ogg FLAC") << readBytes(flacPath) << false << QStringLiteral("not an Ogg Vorbis or Opus stream");
    QTest::newRow("two Vorbis streams") << readBytes(twoPath) << false << QStringLiteral("more than one logical stream");
    QTest::newRow("WMA as Ogg") << wma << false << QStringLiteral("not an Ogg file");
    QTest::newRow("Vorbis as WMA") << vorbis << true << QStringLiteral("not an ASF file");
    QTest::newRow("WMA cut inside its header") << wma.first(300) << true << QStringLiteral("damaged ASF header");
    QTest::newRow("WMA cut inside its data") << wma.chopped(1000) << true << QStringLiteral("cut off");
}

void TestCoverArt::refusesBrokenFiles()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, asf);
    QFETCH(QString, reason);
    const QString folder = m_dir.filePath(QStringLiteral("broken"));
    QVERIFY(QDir(folder).removeRecursively() && QDir().mkpath(folder));
    const QString path = folder + QStringLiteral("/file");
    writeBytes(path, bytes);

    const QString why = asf ? embedAsfCover(path, m_jpeg.picture) : embedOggCover(path, m_jpeg.picture);
    QVERIFY2(why.contains(reason), qPrintable(why));
    QCOMPARE(readBytes(path), bytes);
    QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("file")});
}

QTEST_GUILESS_MAIN(TestCoverArt)
#include "tst_coverart.moc"
