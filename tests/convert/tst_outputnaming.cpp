#include "convert/NamePattern.h"
#include "convert/OutputPlan.h"
#include "media/SourceTags.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace tonmill;

namespace {

enum class Tags { Full, Partial, None };

SourceTags tagsOf(Tags kind)
{
    SourceTags t;
    if (kind == Tags::None)
        return t;
    t.artist = QStringLiteral("Band");
    t.title = QStringLiteral("Intro");
    if (kind == Tags::Partial)
        return t;
    t.albumArtist = QStringLiteral("Various");
    t.album = QStringLiteral("Live");
    t.track = QStringLiteral("3/12");
    t.disc = QStringLiteral("2");
    t.year = QStringLiteral("2003-05-01");
    t.genre = QStringLiteral("Rock");
    return t;
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

using Decision = PlannedOutput::Decision;

} // namespace

class TestOutputNaming : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void patternsAreCheckedBeforeUse();
    void placeholdersOverFullPartialAndNoTags();
    void hostileTagValuesStayOneSafeName();
    void existingOutputsAndCollisions();
    void tagsAreReadFromRealFiles();
};

void TestOutputNaming::patternsAreCheckedBeforeUse()
{
    const QList<std::pair<QString, QString>> rows = {
        {QStringLiteral("{albumartist}/{album}/{track:02} {title}"), QString()},
        {QStringLiteral("{relpath}/{disc:1}-{track:3} {filename}"), QString()},
        {QString(), QStringLiteral("empty")},
        {QStringLiteral("/music/{title}"), QStringLiteral("absolute")},
        {QStringLiteral("~/{title}"), QStringLiteral("absolute")},
        {QStringLiteral("../{title}"), QStringLiteral("\"..\"")},
        {QStringLiteral("{artist}/./{title}"), QStringLiteral("\".\"")},
        {QStringLiteral("{artist}//{title}"), QStringLiteral("empty folder")},
        {QStringLiteral("{artist}/"), QStringLiteral("empty folder")},
        {QStringLiteral("{nope}"), QStringLiteral("unknown placeholder {nope}")},
        {QStringLiteral("{title"), QStringLiteral("without its \"}\"")},
        {QStringLiteral("title}"), QStringLiteral("without its \"{\"")},
        {QStringLiteral("{title:02}"), QStringLiteral("take a width")},
        {QStringLiteral("{track:0}"), QStringLiteral("take a width")},
        {QStringLiteral("{relpath}"), QStringLiteral("{relpath} stands alone")},
        {QStringLiteral("x{relpath}/{title}"), QStringLiteral("{relpath} stands alone")},
        {QStringLiteral("a\\b{title}"), QStringLiteral("does not belong")},
    };
    for (const auto &[pattern, refusal] : rows) {
        const QString why = patternRefusal(pattern);
        QVERIFY2(refusal.isEmpty() ? why.isEmpty() : why.contains(refusal), qPrintable(pattern + QStringLiteral(": ") + why));
        // A refused pattern names no output at all.
        if (!refusal.isEmpty())
            QVERIFY(expandPattern(pattern, {QStringLiteral("/m/a.wav"), QStringLiteral("/m"), {}}, {},
                                  QStringLiteral("/out"), QStringLiteral("mp3"))
                        .isEmpty());
    }
}

void TestOutputNaming::placeholdersOverFullPartialAndNoTags()
{
    struct Row {
        const char *pattern;
        Tags tags;
        const char *expected; // below /out, with ".mp3" added
    };
    const QList<Row> rows = {
        {"{artist}", Tags::Full, "Band"},          {"{artist}", Tags::Partial, "Band"},
        {"{artist}", Tags::None, "Unknown Artist"}, {"{albumartist}", Tags::Full, "Various"},
        {"{albumartist}", Tags::Partial, "Band"},   {"{albumartist}", Tags::None, "Unknown Artist"},
        {"{album}", Tags::Full, "Live"},            {"{album}", Tags::Partial, "Unknown Album"},
        {"{title}", Tags::Partial, "Intro"},        {"{title}", Tags::None, "Unknown Title"},
        {"{track}", Tags::Full, "3"},               {"{track:02}", Tags::Full, "03"},
        {"{track:02}", Tags::None, "00"},           {"{disc}", Tags::Full, "2"},
        {"{disc:2}", Tags::None, "00"},             {"{year}", Tags::Full, "2003"},
        {"{year}", Tags::None, "Unknown Year"},     {"{genre}", Tags::Full, "Rock"},
        {"{genre}", Tags::Partial, "Unknown Genre"}, {"{filename}", Tags::None, "song.take 1"},
        {"{folder}", Tags::None, "Band"},           {"{relpath}/{filename}", Tags::None, "Rock/Band/song.take 1"},
        {"{albumartist}/{year} - {album}/{disc}-{track:02} {title}", Tags::Full, "Various/2003 - Live/2-03 Intro"},
    };
    const PatternFallbacks english = patternFallbacks(QStringLiteral("English"));
    const PatternSource added{QStringLiteral("/m/in/Rock/Band/song.take 1.flac"), QStringLiteral("/m/in"), {}};
    for (const Row &row : rows) {
        PatternSource source = added;
        source.tags = tagsOf(row.tags);
        const QString path = expandPattern(QLatin1String(row.pattern), source, english, QStringLiteral("/out"),
                                           QStringLiteral("mp3"));
        QCOMPARE(path, QStringLiteral("/out/%1.mp3").arg(QLatin1String(row.expected)));
    }
    // A file named on its own is its own base: {relpath} is then nothing.
    QCOMPARE(expandPattern(QStringLiteral("{relpath}/{filename}"),
                           {QStringLiteral("/m/song.wav"), QStringLiteral("/m"), {}}, english, QStringLiteral("/out"),
                           QStringLiteral("ogg")),
             QStringLiteral("/out/song.ogg"));
    // The fallbacks speak the window's language.
    QCOMPARE(patternFallbacks(QStringLiteral("Deutsch")).artist, QStringLiteral("Unbekannter Künstler"));
    QCOMPARE(patternFallbacks(QStringLiteral("Français")).album, QStringLiteral("Album inconnu"));
}

void TestOutputNaming::hostileTagValuesStayOneSafeName()
{
    const QString e300 = QString(150, QChar(0xe9));             // 300 bytes of "é"
    QString emoji;
    for (int i = 0; i < 80; ++i)
        emoji += QString::fromUtf8("\xF0\x9F\x98\x80");           // 320 bytes, four to a character
    struct Row {
        QString title;
        QString expectedName; // empty: checked by length below
    };
    const QList<Row> rows = {
        {QStringLiteral("AC/DC"), QStringLiteral("AC_DC.mp3")},
        {QStringLiteral(".."), QStringLiteral("Unknown Title.mp3")},
        {QStringLiteral("../../etc/passwd"), QStringLiteral("_.._etc_passwd.mp3")},
        {QStringLiteral(" .hidden. "), QStringLiteral("hidden.mp3")},
        {QStringLiteral("a\tb\x01" "c\x7f"), QStringLiteral("a_b_c_.mp3")},
        {QStringLiteral("what? <yes> *|:\""), QStringLiteral("what_ _yes_ ____.mp3")},
        {QString::fromUtf8("Ünïcødé 日本の歌"), QString::fromUtf8("Ünïcødé 日本の歌.mp3")},
        {e300, QString(125, QChar(0xe9)) + QStringLiteral(".mp3")},
        {emoji, QString()},
    };
    for (const Row &row : rows) {
        SourceTags tags;
        tags.title = row.title;
        const QString path = expandPattern(QStringLiteral("{title}"), {QStringLiteral("/m/a.wav"), QStringLiteral("/m"), tags},
                                           {}, QStringLiteral("/out"), QStringLiteral("mp3"));
        QVERIFY2(path.startsWith(QStringLiteral("/out/")) && path.count(QLatin1Char('/')) == 2, qPrintable(path));
        const QString name = path.mid(5);
        const QByteArray bytes = name.toUtf8();
        QVERIFY2(bytes.size() <= 255 && name.endsWith(QStringLiteral(".mp3")), qPrintable(name));
        // Never a split character: the name reads back as the same text.
        QCOMPARE(QString::fromUtf8(bytes), name);
        if (!row.expectedName.isEmpty())
            QCOMPARE(name, row.expectedName);
        else
            QCOMPARE(name, emoji.left(62 * 2) + QStringLiteral(".mp3"));
    }
    // A numbered name keeps its number and extension whole.
    const QString numbered = numberedPath(QStringLiteral("/out/") + QString(125, QChar(0xe9)) + QStringLiteral(".mp3"), 12);
    QVERIFY(numbered.endsWith(QStringLiteral(" (12).mp3")));
    QVERIFY(QFileInfo(numbered).fileName().toUtf8().size() <= 255);
}

void TestOutputNaming::existingOutputsAndCollisions()
{
    QTemporaryDir dir;
    const QString out = dir.filePath(QStringLiteral("out"));
    QVERIFY(QDir().mkpath(out));
    // Two sources of one name in different folders, one whose output is
    // there already (an empty file counts as nothing), and one whose output
    // name is another name of the source itself.
    const QStringList sources = {dir.filePath(QStringLiteral("a/x.wav")), dir.filePath(QStringLiteral("b/x.wav")),
                                 dir.filePath(QStringLiteral("b/y.wav")), dir.filePath(QStringLiteral("b/z.wav")),
                                 dir.filePath(QStringLiteral("c/w.mp3"))};
    QVERIFY(QDir().mkpath(dir.filePath(QStringLiteral("c"))) && writeFile(sources[4], "source"));
    QVERIFY(::link(QFile::encodeName(sources[4]).constData(), QFile::encodeName(out + QStringLiteral("/w.mp3")).constData()) == 0);
    QVERIFY(writeFile(out + QStringLiteral("/x.mp3"), "old"));
    QVERIFY(writeFile(out + QStringLiteral("/y.mp3"), "old"));
    QVERIFY(writeFile(out + QStringLiteral("/y (2).mp3"), "old"));
    QVERIFY(writeFile(out + QStringLiteral("/z.mp3"), ""));
    struct Row {
        ExistingPolicy policy;
        QList<std::pair<const char *, Decision>> expected;
    };
    const QList<Row> rows = {
        {ExistingPolicy::Ask,
         {{"x.mp3", Decision::Ask}, {"x (2).mp3", Decision::New}, {"y.mp3", Decision::Ask}, {"z.mp3", Decision::New},
          {"w (2).mp3", Decision::New}}},
        {ExistingPolicy::Skip,
         {{"x.mp3", Decision::Skip}, {"x (2).mp3", Decision::New}, {"y.mp3", Decision::Skip}, {"z.mp3", Decision::New},
          {"w (2).mp3", Decision::New}}},
        {ExistingPolicy::Overwrite,
         {{"x.mp3", Decision::Overwrite}, {"x (2).mp3", Decision::New}, {"y.mp3", Decision::Overwrite}, {"z.mp3", Decision::New},
          {"w (2).mp3", Decision::New}}},
        {ExistingPolicy::Rename,
         {{"x (2).mp3", Decision::Renamed}, {"x (3).mp3", Decision::Renamed}, {"y (3).mp3", Decision::Renamed}, {"z.mp3", Decision::New},
          {"w (2).mp3", Decision::Renamed}}},
    };
    for (const Row &row : rows) {
        OutputNaming naming;
        naming.outputDir = out;
        naming.pattern = QStringLiteral("{filename}");
        naming.extension = QStringLiteral("mp3");
        naming.existing = row.policy;
        naming.tags = [](const QString &) -> SourceTags {
            QTest::qFail("a pattern without tags probes no source", __FILE__, __LINE__);
            return {};
        };
        const QList<PlannedOutput> plan = planOutputs(sources, {dir.filePath(QStringLiteral("a")),
                                                                dir.filePath(QStringLiteral("b")),
                                                                dir.filePath(QStringLiteral("b")),
                                                                dir.filePath(QStringLiteral("b")),
                                                                dir.filePath(QStringLiteral("c"))},
                                                      naming);
        QCOMPARE(plan.size(), row.expected.size());
        for (qsizetype i = 0; i < plan.size(); ++i) {
            QCOMPARE(plan[i].source, sources[i]);
            QCOMPARE(plan[i].output, out + QLatin1Char('/') + QLatin1String(row.expected[i].first));
            QVERIFY2(plan[i].decision == row.expected[i].second,
                     qPrintable(existingPolicyName(row.policy) + QLatin1Char(' ') + decisionName(plan[i].decision)));
        }
        // The second source of one name is told apart from the first.
        QVERIFY(!plan[0].collided && plan[1].collided && !plan[2].collided);
    }
    // Without a pattern the single file's names stand, numbered apart.
    OutputNaming plain;
    plain.outputDir = out;
    plain.extension = QStringLiteral("mp3");
    const QList<PlannedOutput> plan = planOutputs({sources[0], sources[1]}, {dir.path(), dir.path()}, plain);
    QCOMPARE(plan[0].output, out + QStringLiteral("/a/x_Konverted.mp3"));
    QCOMPARE(plan[1].output, out + QStringLiteral("/b/x_Konverted.mp3"));
    for (const char *name : {"ask", "skip", "overwrite", "rename"})
        QCOMPARE(existingPolicyName(*existingPolicyNamed(QLatin1String(name))), QLatin1String(name));
    QVERIFY(!existingPolicyNamed(QStringLiteral("replace")));
}

void TestOutputNaming::tagsAreReadFromRealFiles()
{
    // FLAC keeps its comments in the container, Opus in the stream.
    QTemporaryDir dir;
    for (const char *name : {"t.flac", "t.opus", "t.mp3"}) {
        const QString path = dir.filePath(QLatin1String(name));
        QProcess ffmpeg;
        ffmpeg.start(QStringLiteral("ffmpeg"),
                     {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                      QStringLiteral("-i"), QStringLiteral("sine=d=0.5"), QStringLiteral("-metadata"),
                      QStringLiteral("artist=Bänd/Two"), QStringLiteral("-metadata"), QStringLiteral("album_artist=Various"),
                      QStringLiteral("-metadata"), QStringLiteral("title=Intro"), QStringLiteral("-metadata"),
                      QStringLiteral("track=3/12"), QStringLiteral("-metadata"), QStringLiteral("date=2003"),
                      QStringLiteral("-metadata"), QStringLiteral("genre=Rock"), path});
        QVERIFY(ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0);
        const SourceTags tags = readSourceTags(QStringLiteral("/usr/bin/ffprobe"), path);
        QCOMPARE(tags.artist, QString::fromUtf8("Bänd/Two"));
        QCOMPARE(tags.albumArtist, QStringLiteral("Various"));
        QCOMPARE(tags.title, QStringLiteral("Intro"));
        QCOMPARE(tags.track.section(QLatin1Char('/'), 0, 0), QStringLiteral("3"));
        QCOMPARE(tags.year, QStringLiteral("2003"));
        QCOMPARE(tags.genre, QStringLiteral("Rock"));
        QVERIFY(tags.album.isEmpty());
    }
    QCOMPARE(readSourceTags(QStringLiteral("/usr/bin/ffprobe"), dir.filePath(QStringLiteral("missing.wav"))).title, QString());
}

QTEST_GUILESS_MAIN(TestOutputNaming)
#include "tst_outputnaming.moc"
