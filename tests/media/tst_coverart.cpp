// Front covers embedded into Ogg Vorbis, Opus and WMA files that ffmpeg made, read back by mutagen and decoded by ffmpeg; broken files
// are refused and left as they were.
#include "media/CoverArt.h"
#include "support/TestFiles.h"
#include "support/TestProcesses.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill;
using namespace Qt::StringLiterals;
using test::readBytes;
using test::runProgram;

namespace {

// What mutagen reads of a file (id3tool.py covers): its kind, its tags other than pictures, its pictures, the numbers of its Ogg pages.
QJsonObject readWithMutagen(const QString &path)
{
    const test::Ran ran = runProgram(u"/usr/bin/python3"_s, {QStringLiteral(ID3TOOL), u"covers"_s, path}, {"LC_ALL=C.UTF-8"});
    if (ran.exitCode != 0)
        qWarning() << ran.err;
    return QJsonDocument::fromJson(ran.out.toUtf8()).object();
}

// ffmpeg's decoding of the first audio stream: a checksum and duration per frame.
QString decoded(const QString &path)
{
    const test::Ran ran = runProgram(u"ffmpeg"_s, {"-v", "error", "-i", path, "-map", "0:a:0", "-c:a", "pcm_s16le", "-f", "framecrc", "-"});
    return ran.err.isEmpty() ? ran.out : u"error: "_s + ran.err;
}

bool ffmpeg(const QStringList &arguments)
{
    const test::Ran ran = runProgram(u"ffmpeg"_s, QStringList{"-v", "error", "-y", "-f", "lavfi", "-i"} + arguments);
    if (ran.exitCode != 0)
        qWarning() << arguments << ran.err;
    return ran.exitCode == 0;
}

// A two-second tone with tags in three scripts.
QByteArray tone(const QString &path, const QString &codec, const QStringList &extra = {})
{
    const QStringList tags{"-metadata", "title=夜明けの歌", "-metadata", "artist=Сергей Прокофьев", "-metadata", "album=Plain Album"};
    return ffmpeg(QStringList{"sine=frequency=440:duration=2", "-c:a", codec} + tags + extra + QStringList{path}) ? readBytes(path) : QByteArray();
}

struct Cover {
    CoverPicture picture;
    int width = 0, height = 0;
};

} // namespace

class TestCoverArt : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void embedsOneFrontCover();
    void refusesBrokenFiles();

private:
    QTemporaryDir m_dir;
    Cover m_jpeg;
    Cover m_png;
    QByteArray m_vorbis, m_opus, m_wma;
};

void TestCoverArt::initTestCase()
{
    // Noise keeps the PNG beyond 64 KiB: too large for one Ogg page and for an Extended Content Description value.
    for (const auto &[cover, name, source, width, height] :
         {std::tuple{&m_jpeg, "cover.jpg", "color=c=red:s=64x48", 64, 48},
          std::tuple{&m_png, "cover.png", "nullsrc=s=300x200,geq=r='random(1)*255':g='random(2)*255':b='random(3)*255'", 300, 200}}) {
        const QString path = m_dir.filePath(QLatin1String(name));
        QVERIFY(ffmpeg({source, "-frames:v", "1", "-pix_fmt", width == 64 ? "yuvj420p" : "rgb24", path}));
        *cover = {{readBytes(path), pictureMime(readBytes(path))}, width, height};
    }
    QVERIFY(m_jpeg.picture.mime == "image/jpeg"_L1 && m_png.picture.mime == "image/png"_L1 && m_png.picture.data.size() > 70000);
    m_vorbis = tone(m_dir.filePath(u"plain.ogg"_s), u"libvorbis"_s);
    m_opus = tone(m_dir.filePath(u"plain.opus"_s), u"libopus"_s);
    m_wma = tone(m_dir.filePath(u"plain.wma"_s), u"wmav2"_s);
    QVERIFY(!m_vorbis.isEmpty() && !m_opus.isEmpty() && !m_wma.isEmpty());
}

void TestCoverArt::embedsOneFrontCover()
{
    for (const auto &[bytes, extension] : {std::pair{m_vorbis, "ogg"}, std::pair{m_opus, "opus"}, std::pair{m_wma, "wma"}}) {
        const QString path = m_dir.filePath(u"tone."_s + QLatin1String(extension));
        test::writeBytes(path, bytes);
        const bool ogg = extension != "wma"_L1;
        const QJsonObject before = readWithMutagen(path);
        const QString tagText = QString::fromUtf8(QJsonDocument(before["tags"_L1].toObject()).toJson());
        QVERIFY2(tagText.contains(u"夜明けの歌"_s) && tagText.contains(u"Сергей Прокофьев"_s), qPrintable(tagText));
        QVERIFY(before["pictures"_L1].toArray().isEmpty());
        const QString decodedBefore = decoded(path);
        QVERIFY2(decodedBefore.startsWith(QLatin1Char('#')) && decodedBefore.count(QLatin1Char('\n')) > 20, qPrintable(decodedBefore));
        // Each cover replaces the one before: the large one grows the headers by pages, the small one after it shrinks them again.
        for (const Cover *cover : {&m_jpeg, &m_png, &m_jpeg}) {
            QCOMPARE(ogg ? embedOggCover(path, cover->picture) : embedAsfCover(path, cover->picture), QString());
            const QJsonObject after = readWithMutagen(path);
            QVERIFY2(after["kind"_L1] == before["kind"_L1] && after["tags"_L1] == before["tags"_L1], extension);
            const QJsonArray pictures = after["pictures"_L1].toArray();
            QCOMPARE(pictures.size(), 1);
            const QJsonObject picture = pictures.first().toObject();
            QVERIFY(picture["type"_L1] == 3 && picture["mime"_L1] == cover->picture.mime);
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
}

void TestCoverArt::refusesBrokenFiles()
{
    QByteArray flipped = m_vorbis;
    flipped[flipped.size() / 2] = char(flipped[flipped.size() / 2] ^ 0x10);
    const QList<std::tuple<QByteArray, bool, const char *>> rows = { // the bytes, whether as ASF, the reason
        {QByteArray(), false, "not an Ogg file"}, {m_vorbis.chopped(100), false, "ends inside an Ogg page"},
        {m_vorbis.first(m_vorbis.lastIndexOf("OggS")), false, "ends before its stream does"},
        {m_opus.first(m_opus.indexOf("OggS", 4)), false, "ends inside the stream headers"}, {flipped, false, "damaged Ogg page"},
        {tone(m_dir.filePath(u"flac.oga"_s), u"flac"_s, {"-f", "ogg"}), false, "not an Ogg Vorbis or Opus stream"},
        {tone(m_dir.filePath(u"two.ogg"_s), u"libvorbis"_s, {"-map", "0:a", "-map", "0:a"}), false, "more than one logical stream"},
        {m_wma, false, "not an Ogg file"}, {m_vorbis, true, "not an ASF file"}, {m_wma.first(300), true, "damaged ASF header"},
        {m_wma.chopped(1000), true, "cut off"}};
    const QString folder = m_dir.filePath(u"broken"_s);
    for (const auto &[bytes, asf, reason] : rows) {
        QVERIFY(QDir(folder).removeRecursively() && QDir().mkpath(folder));
        const QString path = folder + u"/file"_s;
        test::writeBytes(path, bytes);
        const QString why = asf ? embedAsfCover(path, m_jpeg.picture) : embedOggCover(path, m_jpeg.picture);
        QVERIFY2(why.contains(QLatin1String(reason)), qPrintable(why));
        QCOMPARE(readBytes(path), bytes);
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{"file"});
    }
}

QTEST_GUILESS_MAIN(TestCoverArt)
#include "tst_coverart.moc"
