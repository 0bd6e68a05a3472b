#include "app/ProgramArguments.h"
#include "options/FormatOptions.h"
#include "platform/AppVersion.h"
#include "support/TestFiles.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDirIterator>
#include <QDir>
#include <QHash>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <unistd.h>

using namespace tonmill;
using test::probeEntries;

namespace {

const QString kSeparator = QString(142, QLatin1Char('-'));

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<unreadable>");
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

bool run(const QString &program, const QStringList &arguments)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start(program, arguments);
    return p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

bool makeTone(const QString &path, double seconds)
{
    return run(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
                                       QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-b"),
                                       QStringLiteral("16"), path, QStringLiteral("synth"), QString::number(seconds),
                                       QStringLiteral("sine"), QStringLiteral("440")});
}

// The sound's level in dB every 10 ms, as ffmpeg's own meter finds it in a
// mono mix at 48 kHz; -200 for silence.
QList<double> levels(const QString &path)
{
    QProcess meter;
    meter.start(QStringLiteral("ffmpeg"),
                {QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), path,
                 QStringLiteral("-map"), QStringLiteral("0:a:0"), QStringLiteral("-af"),
                 QStringLiteral("aresample=48000,aformat=channel_layouts=mono,asetnsamples=n=480:p=0,"
                                "astats=metadata=1:reset=1:measure_perchannel=none:measure_overall=RMS_level,"
                                "ametadata=mode=print:key=lavfi.astats.Overall.RMS_level:file=-"),
                 QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-")});
    meter.waitForFinished(120000);
    QList<double> dB;
    static const QRegularExpression level(QStringLiteral("RMS_level=(\\S+)"));
    for (QRegularExpressionMatchIterator it = level.globalMatch(QString::fromUtf8(meter.readAllStandardOutput())); it.hasNext();) {
        bool ok = false;
        const double value = it.next().captured(1).toDouble(&ok);
        dB << (ok && std::isfinite(value) ? value : -200.0);
    }
    return dB;
}

// The level of 250 ms made of 10 ms levels: the k-th quarter second from the
// start, or with a negative k the -k-th from the end.
double quarterSecond(const QList<double> &tenths, int k)
{
    const qsizetype first = k >= 0 ? 25 * k : tenths.size() + 25 * k;
    double power = 0;
    for (qsizetype i = first; i < first + 25; ++i)
        power += std::pow(10.0, tenths.value(i, -200) / 10) / 25;
    return 10 * std::log10(std::max(power, 1e-20));
}

struct Result {
    int status = -1;
    QString out;
    QString err;
};

// A temporary application folder given with --home (the helpers are the
// program's own), and a place for sources.
struct Home {
    QTemporaryDir dir;
    QString app;

    explicit Home(const QByteArray &settings = "[General]\r\nFFMPEG=/usr/bin/ffmpeg\r\n")
    {
        app = dir.filePath(QStringLiteral("app"));
        QDir().mkpath(app);
        writeFile(app + QStringLiteral("/Tonmill.ini"), settings);
    }

    QString path(const QString &name) const { return dir.filePath(name); }
    QString tmp() const { return dir.filePath(QStringLiteral("tmp")); }

    QProcess *start(const QStringList &arguments, const QStringList &extra = {}) const
    {
        auto *p = new QProcess;
        // Work folders go to a temporary folder of this home's own.
        QDir().mkpath(tmp());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TMPDIR"), tmp());
        for (const QString &entry : extra)
            environment.insert(entry.section(QLatin1Char('='), 0, 0), entry.section(QLatin1Char('='), 1));
        p->setProcessEnvironment(environment);
        p->start(test::builtAppDir() + QStringLiteral("/tonmill"), QStringList{QStringLiteral("--home"), app} + arguments);
        return p;
    }

    Result convert(const QStringList &arguments, const QStringList &extra = {}) const
    {
        QProcess *p = start(arguments, extra);
        Result r;
        if (p->waitForFinished(120000) && p->exitStatus() == QProcess::NormalExit)
            r.status = p->exitCode();
        r.out = QString::fromUtf8(p->readAllStandardOutput());
        r.err = QString::fromUtf8(p->readAllStandardError());
        delete p;
        return r;
    }
};

} // namespace

class TestHeadless : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void argumentsAreRead();
    void commandLineWithoutDisplay();
    void homeWithoutHelpers();
    void allFormatsFromThreeSources();
    void logTagsAndNaming();
    void reportTagsUnderGivenOnes();
    void replaceQuestionBothWays();
    void segmentNormalizeAndUpmix();
    void fadeInAndOutOfEveryKind();
    void laterFormatsWithTheirOptionsAndTags();
    void sourceTagsReachLaterFormats();
    void badInputFailsCleanly();
    void signalsAbortTheEncode();
    void batchOfMixedSources();
    void namedBatchDryRunAndTrash();
};

ProgramArguments parse(const QStringList &arguments)
{
    return parseProgramArguments(QStringList{QStringLiteral("tonmill")} + arguments);
}

void TestHeadless::argumentsAreRead()
{
    using Action = ProgramArguments::Action;
    const ProgramArguments p = parse({QStringLiteral("--home"), QStringLiteral("/h"), QStringLiteral("--convert"),
                                      QStringLiteral("a.wav"), QStringLiteral("--format"), QStringLiteral("mp2/mpa"),
                                      QStringLiteral("--volume=75"), QStringLiteral("--segment"), QStringLiteral("1.5"),
                                      QStringLiteral("3"), QStringLiteral("--title"), QString(),
                                      QStringLiteral("--wma-profile"), QStringLiteral("a96"), QStringLiteral("--keep")});
    QVERIFY2(p.action == Action::Convert, qPrintable(p.error));
    QCOMPARE(p.home, QStringLiteral("/h"));
    QCOMPARE(p.request.sources, QStringList{QStringLiteral("a.wav")});
    QCOMPARE(p.request.format, QStringLiteral("MP2/MPA"));
    QCOMPARE(p.request.volume, std::optional<int>(75));
    QVERIFY(p.request.segment);
    QCOMPARE(p.request.segmentStart, QStringLiteral("1.5"));
    QCOMPARE(p.request.segmentEnd, QStringLiteral("3"));
    QCOMPARE(p.request.title, std::optional<QString>(QString()));
    QVERIFY(!p.request.artist.has_value());
    QCOMPARE(p.request.wmaProfile, QStringLiteral("CD Audiophile Quality (96Kbps)"));
    QVERIFY(p.request.keep && !p.request.replace);
    QVERIFY(!p.request.isBatch());

    // Several sources after --convert, also in its joined form, and the
    // options in any place.
    const ProgramArguments batch = parse({QStringLiteral("--jobs"), QStringLiteral("3"), QStringLiteral("--convert=a.wav"),
                                          QStringLiteral("b.flac"), QStringLiteral("--output-dir"), QStringLiteral("/o"),
                                          QStringLiteral("--recursive"), QStringLiteral("c d.mp3")});
    QVERIFY2(batch.action == Action::Convert, qPrintable(batch.error));
    QCOMPARE(batch.request.sources,
             (QStringList{QStringLiteral("a.wav"), QStringLiteral("b.flac"), QStringLiteral("c d.mp3")}));
    QVERIFY(batch.request.isBatch() && batch.request.recursive);
    QCOMPARE(batch.request.jobs, 3);
    QCOMPARE(batch.request.outputDir, QStringLiteral("/o"));
    const ProgramArguments named = parse({QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--keep"),
                                          QStringLiteral("--existing=skip"), QStringLiteral("--name-pattern"),
                                          QStringLiteral("{artist}/{track:02} {title}"), QStringLiteral("--dry-run"),
                                          QStringLiteral("--trash-sources")});
    QVERIFY2(named.action == Action::Convert, qPrintable(named.error));
    QVERIFY(named.request.isBatch() && named.request.dryRun && named.request.trashSources);
    QVERIFY(named.request.existing == ExistingPolicy::Skip);
    QCOMPARE(named.request.namePattern, QStringLiteral("{artist}/{track:02} {title}"));
    const ProgramArguments loud = parse({QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--loudness=-18.5"),
                                         QStringLiteral("--true-peak"), QStringLiteral("-2")});
    QVERIFY2(loud.action == Action::Convert, qPrintable(loud.error));
    QVERIFY(loud.request.loudness.mode == LoudnessChoice::Mode::Normalize);
    QCOMPARE(loud.request.loudness.targetLufs, -18.5);
    QCOMPARE(loud.request.loudness.truePeakDbtp, -2.0);
    const ProgramArguments album = parse({QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("b"),
                                          QStringLiteral("--replaygain=album"), QStringLiteral("--fade")});
    QVERIFY2(album.action == Action::Convert, qPrintable(album.error));
    QVERIFY(album.request.loudness.mode == LoudnessChoice::Mode::ReplayGain && album.request.loudness.album);
    QVERIFY(album.request.fade);

    // Without --convert: the window, and what it opens.
    const ProgramArguments window = parse({QStringLiteral("-home"), QStringLiteral("/h"), QStringLiteral("a.mp3"),
                                           QStringLiteral("--"), QStringLiteral("--b.mp3")});
    QVERIFY2(window.action == Action::Window, qPrintable(window.error));
    QCOMPARE(window.home, QStringLiteral("/h"));
    QCOMPARE(window.files, (QStringList{QStringLiteral("a.mp3"), QStringLiteral("--b.mp3")}));
    QVERIFY(parse({QStringLiteral("-h")}).action == Action::Help);
    QVERIFY(parse({QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--version")}).action == Action::Version);
    QVERIFY(parse({QStringLiteral("--list-formats")}).action == Action::ListFormats);

    // Each mistake is named.
    const QList<std::pair<QStringList, QString>> bad = {
        {{QStringLiteral("--format"), QStringLiteral("MP3")}, QStringLiteral("--convert SOURCE is missing")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--format"), QStringLiteral("APE")},
         QStringLiteral("unknown format \"APE\"")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--volume"), QStringLiteral("loud")},
         QStringLiteral("--volume takes a whole percentage")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--segment"), QStringLiteral("3"),
          QStringLiteral("1")},
         QStringLiteral("the segment's end must lie after its start")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--segment"), QStringLiteral("3")},
         QStringLiteral("--segment needs a start and an end")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--segment"), QStringLiteral("x"),
          QStringLiteral("4")},
         QStringLiteral("--segment takes two times in seconds, not \"x\" \"4\"")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--replace"), QStringLiteral("--keep")},
         QStringLiteral("--replace and --keep exclude each other")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--bogus")}, QStringLiteral("'bogus'")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--title")}, QStringLiteral("'--title'")},
        {{QStringLiteral("--normalize=yes"), QStringLiteral("--convert"), QStringLiteral("a")},
         QStringLiteral("'--normalize'")},
        {{QStringLiteral("--convert"), QString()}, QStringLiteral("--convert needs a file")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--convert"), QStringLiteral("b")},
         QStringLiteral("--convert is given twice")},
        {{QStringLiteral("--home="), QStringLiteral("a")}, QStringLiteral("--home needs a folder")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--jobs"), QStringLiteral("0")},
         QStringLiteral("--jobs takes a whole number from 1 to 64")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("--output"),
          QStringLiteral("c.mp3")},
         QStringLiteral("a batch takes --output-dir")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--loudness"), QStringLiteral("-3")},
         QStringLiteral("--loudness takes a target from -70 to -5 LUFS")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--loudness"), QStringLiteral("-16"),
          QStringLiteral("--normalize")},
         QStringLiteral("--loudness and --normalize exclude each other")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--true-peak"), QStringLiteral("-1")},
         QStringLiteral("--true-peak is the ceiling of --loudness")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--loudness"), QStringLiteral("-16"),
          QStringLiteral("--true-peak"), QStringLiteral("1")},
         QStringLiteral("--true-peak takes a ceiling from -9 to 0 dBTP")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--replaygain"), QStringLiteral("disc")},
         QStringLiteral("--replaygain takes \"track\" or \"album\"")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--replaygain"), QStringLiteral("track"),
          QStringLiteral("--loudness"), QStringLiteral("-16")},
         QStringLiteral("--replaygain leaves the audio as it is")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--wma-profile"), QStringLiteral("a1")},
         QStringLiteral("unknown WMA profile \"a1\"")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--existing"), QStringLiteral("replace")},
         QStringLiteral("--existing takes ask, skip, overwrite or rename")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--existing"), QStringLiteral("rename"),
          QStringLiteral("--replace")},
         QStringLiteral("--replace is --existing overwrite")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--name-pattern"), QStringLiteral("../{title}")},
         QStringLiteral("may not name \"..\"")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--name-pattern"), QStringLiteral("/tmp/{title}")},
         QStringLiteral("not an absolute path")},
        {{QStringLiteral("--convert"), QStringLiteral("a"), QStringLiteral("--dry-run"), QStringLiteral("--output"),
          QStringLiteral("c.mp3")},
         QStringLiteral("a batch takes --output-dir")},
    };
    for (const auto &[arguments, error] : bad) {
        const ProgramArguments r = parse(arguments);
        QVERIFY2(r.action == Action::Invalid && r.error.contains(error) && !r.error.contains(QLatin1Char('\n')),
                 qPrintable(arguments.join(QLatin1Char(' ')) + QStringLiteral(" -> ") + r.error));
    }
}

// What needs no window needs no display either; mistakes end with one line
// and status 2.
void TestHeadless::commandLineWithoutDisplay()
{
    const QString program = test::builtAppDir() + QStringLiteral("/tonmill");
    const QStringList noDisplay = {QStringLiteral("QT_QPA_PLATFORM="), QStringLiteral("DISPLAY="),
                                   QStringLiteral("WAYLAND_DISPLAY=")};
    QTemporaryDir home;
    // The window itself cannot start there, so the rest is shown to need no display.
    QVERIFY(test::runProgram(program, {QStringLiteral("--home"), home.path()}, noDisplay).exitCode != 0);

    test::Ran r = test::runProgram(program, {QStringLiteral("--help")}, noDisplay);
    QCOMPARE(r.exitCode, 0);
    QVERIFY2(r.out.startsWith(QStringLiteral("Usage: tonmill ")), qPrintable(r.out));
    for (const QString &text : {QStringLiteral("\n  0 "), QStringLiteral("\n  1 "), QStringLiteral("\n  2 "),
                                QStringLiteral("\n  3 "), QStringLiteral("--convert <SOURCE>"),
                                QStringLiteral("--segment <START END>"), QStringLiteral("--list-formats"),
                                QStringLiteral("~/.config/Tonmill/")})
        QVERIFY2(r.out.contains(text), qPrintable(text));

    r = test::runProgram(program, {QStringLiteral("--version")}, noDisplay);
    QCOMPARE(r.exitCode, 0);
    QCOMPARE(r.out, QStringLiteral("Tonmill ") + versionText() + QLatin1Char('\n'));

    r = test::runProgram(program, {QStringLiteral("--list-formats")}, noDisplay);
    QCOMPARE(r.exitCode, 0);
    for (const QString &format : kFormatList.split(QLatin1Char('|')))
        QVERIFY2(r.out.contains(QLatin1Char('\n') + format + QStringLiteral("  .")), qPrintable(format));
    for (const QString &text : {QStringLiteral("MP3BitRate       32 48 64 96 128 160 192 224 kbit/s"),
                                QStringLiteral("AC3Channels      0 mono, 1 stereo, 2 5.1"),
                                QStringLiteral("FLACSamFreq      0 the source's own, 1 44100"),
                                QStringLiteral("a96 \"CD Audiophile Quality (96Kbps)\"")})
        QVERIFY2(r.out.contains(text), qPrintable(text + QStringLiteral(" in\n") + r.out));

    for (const auto &[arguments, named] : QList<std::pair<QStringList, QString>>{
             {{QStringLiteral("--convert"), QStringLiteral("x"), QStringLiteral("--bogus")}, QStringLiteral("'bogus'")},
             {{QStringLiteral("--convert"), QStringLiteral("x"), QStringLiteral("--format")}, QStringLiteral("'--format'")},
             {{QStringLiteral("--convert"), QStringLiteral("x"), QStringLiteral("--format"), QStringLiteral("APE")},
              QStringLiteral("unknown format \"APE\"")},
             {{QStringLiteral("--upmix")}, QStringLiteral("--convert SOURCE is missing")}}) {
        r = test::runProgram(program, arguments, noDisplay);
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.out.isEmpty());
        QVERIFY2(r.err.startsWith(QStringLiteral("tonmill: ")) && r.err.contains(named)
                     && r.err.count(QLatin1Char('\n')) == 1 && r.err.endsWith(QLatin1Char('\n')),
                 qPrintable(r.err));
    }
}

// --home on a new folder keeps the program's files there and still finds the
// helpers beside the program.
void TestHeadless::homeWithoutHelpers()
{
    QTemporaryDir dir;
    const QString home = dir.filePath(QStringLiteral("new home"));
    QVERIFY(QDir().mkpath(home));
    QVERIFY(writeFile(home + QStringLiteral("/Tonmill.ini"), "[General]\r\nFFMPEG=/usr/bin/ffmpeg\r\n"));
    const QString source = dir.filePath(QStringLiteral("tagged.mp3"));
    QVERIFY(run(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"),
                                           QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("sine=d=2"),
                                           QStringLiteral("-metadata"), QStringLiteral("title=From the report"), source}));
    const QString output = dir.filePath(QStringLiteral("out.ogg"));
    const test::Ran r = test::runProgram(test::builtAppDir() + QStringLiteral("/tonmill"),
                                         {QStringLiteral("--home"), home, QStringLiteral("--convert"), source,
                                          QStringLiteral("--format"), QStringLiteral("OGG"), QStringLiteral("--output"),
                                          output},
                                         {QStringLiteral("TMPDIR=") + dir.path()});
    QVERIFY2(r.exitCode == 0 && r.err.isEmpty(), qPrintable(r.err));
    QCOMPARE(probeEntries(output, QStringLiteral("stream=codec_name")), QStringLiteral("vorbis"));
    // The title came through the media tool's report.
    QCOMPARE(probeEntries(output, QStringLiteral("stream_tags=title")), QStringLiteral("From the report"));
    QStringList written = QDir(home).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    written.sort();
    QCOMPARE(written, (QStringList{QStringLiteral("DirectQX.avs"), QStringLiteral("Tonmill.ini"), QStringLiteral("fileData.ini")}));
}

void TestHeadless::allFormatsFromThreeSources()
{
    Home home;
    const QString wav = home.path(QStringLiteral("tone.wav"));
    QVERIFY(makeTone(wav, 2));
    QVERIFY(run(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), wav,
                                           QStringLiteral("-c:a"), QStringLiteral("libmp3lame"), home.path(QStringLiteral("tone.mp3"))}));
    QVERIFY(run(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), wav,
                                           QStringLiteral("-c:a"), QStringLiteral("ac3"), home.path(QStringLiteral("tone.ac3"))}));
    const QList<std::pair<QString, QString>> formats = {
        {QStringLiteral("AAC"), QStringLiteral("aac")},      {QStringLiteral("AC3"), QStringLiteral("ac3")},
        {QStringLiteral("AMR"), QStringLiteral("amr_nb")},   {QStringLiteral("MP2/MPA"), QStringLiteral("mp2")},
        {QStringLiteral("MP3"), QStringLiteral("mp3")},      {QStringLiteral("WAV"), QStringLiteral("pcm_s16le")},
        {QStringLiteral("WMA"), QStringLiteral("wmav2")},
    };
    for (const QString &source : {QStringLiteral("tone.wav"), QStringLiteral("tone.mp3"), QStringLiteral("tone.ac3")}) {
        const QByteArray before = readAll(home.path(source));
        for (const auto &[format, codec] : formats) {
            const QString output = home.path(QStringLiteral("out.") + codec);
            const Result r = home.convert({QStringLiteral("--convert"), home.path(source), QStringLiteral("--format"),
                                           format, QStringLiteral("--output"), output, QStringLiteral("--replace")});
            QVERIFY2(r.status == 0, qPrintable(source + QLatin1Char(' ') + format + QLatin1Char(' ') + r.err));
            QVERIFY2(probeEntries(output, QStringLiteral("stream=codec_name")) == codec, qPrintable(source + QLatin1Char(' ') + format));
            const double seconds = probeEntries(output, QStringLiteral("format=duration")).toDouble();
            QVERIFY2(seconds > 1.7 && seconds < 2.4, qPrintable(format + QLatin1Char(' ') + QString::number(seconds)));
            QVERIFY(r.out.contains(QStringLiteral(" -- Output format: ") + format + QStringLiteral("\n")));
        }
        QCOMPARE(readAll(home.path(source)), before);
    }
    QVERIFY(test::noProcessMentions(home.dir.path()));
}

void TestHeadless::logTagsAndNaming()
{
    Home home("[General]\r\nFFMPEG=/usr/bin/ffmpeg\r\n[Options]\r\nMode=AAC\r\nMP3BitRate=192\r\nMP3Channels=0\r\n");
    const QString source = home.path(QStringLiteral("song.wav"));
    QVERIFY(makeTone(source, 2));
    // The saved Mode is used when no format is given.
    Result r = home.convert({QStringLiteral("--convert"), source});
    QCOMPARE(r.status, 0);
    QCOMPARE(probeEntries(home.path(QStringLiteral("song_Konverted.aac")), QStringLiteral("stream=codec_name")), QStringLiteral("aac"));

    r = home.convert({QStringLiteral("--convert"), source, QStringLiteral("--format"), QStringLiteral("MP3"),
                      QStringLiteral("--title"), QStringLiteral("Über \"it\""), QStringLiteral("--artist"),
                      QStringLiteral("A; $(id)"), QStringLiteral("--album"), QStringLiteral("Alb"), QStringLiteral("--year"),
                      QStringLiteral("1999"), QStringLiteral("--notes"), QStringLiteral("N"), QStringLiteral("--genre"),
                      QStringLiteral("Jazz"), QStringLiteral("--track"), QStringLiteral("12")});
    QVERIFY2(r.status == 0, qPrintable(r.err));
    QVERIFY(r.err.isEmpty());
    const QString output = home.path(QStringLiteral("song_Konverted.mp3"));
    const QStringList lines = r.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 12);
    QCOMPARE(lines[0], kSeparator);
    QVERIFY(lines[1].endsWith(QStringLiteral(" -> Start encoding:")));
    QCOMPARE(lines.mid(2, 7), (QStringList{kSeparator, QStringLiteral(" - ") + source, QStringLiteral(" - Output file:"),
                                           QStringLiteral(" - ") + output, QStringLiteral(" -- Output format: MP3"),
                                           QStringLiteral(" -- Sampling Frequency: 44100"),
                                           QStringLiteral(" -- Channels: 1")}));
    QCOMPARE(lines[9], QStringLiteral(" -- Bitrate: 192"));
    QVERIFY(lines[10].endsWith(QStringLiteral(" -> Process Completed!")));
    QCOMPARE(lines.last(), kSeparator);
    QCOMPARE(probeEntries(output, QStringLiteral("stream=channels,bit_rate")), QStringLiteral("1,192000"));
    QVERIFY(readAll(home.app + QStringLiteral("/DirectQX.avs")).contains("Trim(Clip3,0,50)\r\nResampleAudio (44100)\r\n"));

    QProcess tags;
    tags.start(QStringLiteral("mid3v2"), {QStringLiteral("-l"), output});
    QVERIFY(tags.waitForFinished(30000));
    const QString listed = QString::fromUtf8(tags.readAllStandardOutput());
    for (const QString &frame : {QStringLiteral("TIT2=Über \"it\""), QStringLiteral("TPE1=A; $(id)"), QStringLiteral("TALB=Alb"),
                                 QStringLiteral("TDRC=1999"), QStringLiteral("TCON=Jazz"), QStringLiteral("TRCK=12"),
                                 QStringLiteral("COMM==eng=N")})
        QVERIFY2(listed.contains(frame), qPrintable(frame + QStringLiteral(" in ") + listed));
}

void TestHeadless::reportTagsUnderGivenOnes()
{
    Home home;
    const QString wav = home.path(QStringLiteral("t.wav"));
    QVERIFY(makeTone(wav, 1));
    const QString source = home.path(QStringLiteral("tagged.mp3"));
    QVERIFY(run(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), wav,
                                           QStringLiteral("-c:a"), QStringLiteral("libmp3lame"), QStringLiteral("-metadata"),
                                           QStringLiteral("title=From File"), QStringLiteral("-metadata"),
                                           QStringLiteral("artist=File Artist"), source}));
    const Result r = home.convert({QStringLiteral("--convert"), source, QStringLiteral("--format"), QStringLiteral("MP3"),
                                   QStringLiteral("--artist"), QStringLiteral("Given")});
    QCOMPARE(r.status, 0);
    QProcess tags;
    tags.start(QStringLiteral("mid3v2"), {QStringLiteral("-l"), home.path(QStringLiteral("tagged_Konverted.mp3"))});
    QVERIFY(tags.waitForFinished(30000));
    const QString listed = QString::fromUtf8(tags.readAllStandardOutput());
    QVERIFY2(listed.contains(QStringLiteral("TIT2=From File\n")) && listed.contains(QStringLiteral("TPE1=Given\n")),
             qPrintable(listed));
}

void TestHeadless::replaceQuestionBothWays()
{
    Home home;
    const QString source = home.path(QStringLiteral("s.wav"));
    QVERIFY(makeTone(source, 2));
    const QString output = home.path(QStringLiteral("s_Konverted.wav"));
    QVERIFY(writeFile(output, "precious"));
    const QStringList base = {QStringLiteral("--convert"), source, QStringLiteral("--format"), QStringLiteral("WAV")};

    Result r = home.convert(base);
    QCOMPARE(r.status, 3);
    QVERIFY(r.err.contains(QStringLiteral("--replace")));
    QCOMPARE(r.out, kSeparator + QLatin1Char('\n'));
    r = home.convert(base + QStringList{QStringLiteral("--keep")});
    QCOMPARE(r.status, 3);
    QVERIFY(!r.err.contains(QStringLiteral("--replace")));
    QCOMPARE(readAll(output), QByteArray("precious"));

    r = home.convert(base + QStringList{QStringLiteral("--replace")});
    QCOMPARE(r.status, 0);
    QCOMPARE(probeEntries(output, QStringLiteral("stream=codec_name")), QStringLiteral("pcm_s16le"));

    // An empty output is no question at all.
    QVERIFY(writeFile(output, QByteArray()));
    r = home.convert(base);
    QCOMPARE(r.status, 0);
    QVERIFY(QFileInfo(output).size() > 1000);
}

void TestHeadless::segmentNormalizeAndUpmix()
{
    Home home("[General]\r\nFFMPEG=/usr/bin/ffmpeg\r\n[Options]\r\nAC3Channels=2\r\n");
    const QString source = home.path(QStringLiteral("s.wav"));
    QVERIFY(makeTone(source, 4));

    Result r = home.convert({QStringLiteral("--convert"), source, QStringLiteral("--format"), QStringLiteral("MP2/MPA"),
                             QStringLiteral("--segment"), QStringLiteral("1"), QStringLiteral("2.5")});
    QCOMPARE(r.status, 0);
    QVERIFY(readAll(home.app + QStringLiteral("/segment.avs")).contains("Trim(Clip3,25,63)\r\n"));
    const double seconds = probeEntries(home.path(QStringLiteral("s_Konverted.mp2")), QStringLiteral("format=duration")).toDouble();
    QVERIFY2(seconds > 1.3 && seconds < 1.8, qPrintable(QString::number(seconds)));

    r = home.convert({QStringLiteral("--convert"), source, QStringLiteral("--format"), QStringLiteral("WAV"),
                      QStringLiteral("--normalize"), QStringLiteral("--volume"), QStringLiteral("50")});
    QCOMPARE(r.status, 0);
    QVERIFY(readAll(home.app + QStringLiteral("/DirectQX.avs")).contains("Clip4=Normalize(Clip3,volume=1)\r\nTrim(Clip4,0,100)"));

    r = home.convert({QStringLiteral("--convert"), source, QStringLiteral("--format"), QStringLiteral("AC3"),
                      QStringLiteral("--upmix")});
    QCOMPARE(r.status, 0);
    QVERIFY(readAll(home.app + QStringLiteral("/DirectQX.avs")).contains("return MergeChannels( fl, fr, cc, lfe, sl, sr)}"));
    QCOMPARE(probeEntries(home.path(QStringLiteral("s_Konverted.ac3")), QStringLiteral("stream=codec_name,channels")),
             QStringLiteral("ac3,6"));

    // A loudness target, for one file and for a batch, as ffmpeg's own
    // EBU R128 meter finds it.
    const auto integrated = [](const QString &file) { return test::measureLoudness(file).lufs; };
    r = home.convert({QStringLiteral("--convert"), source, QStringLiteral("--format"), QStringLiteral("MP3"),
                      QStringLiteral("--loudness"), QStringLiteral("-23"), QStringLiteral("--replace")});
    QCOMPARE(r.status, 0);
    QVERIFY(r.out.contains(QStringLiteral(" -- Loudness: -23 LUFS, true peak at most -1 dBTP\n")));
    const double single = integrated(home.path(QStringLiteral("s_Konverted.mp3")));
    QVERIFY2(std::abs(single + 23) <= 0.5, qPrintable(QString::number(single)));
    QVERIFY(QFile::copy(source, home.path(QStringLiteral("t.wav"))));
    r = home.convert({QStringLiteral("--convert"), source, home.path(QStringLiteral("t.wav")), QStringLiteral("--format"),
                      QStringLiteral("FLAC"), QStringLiteral("--output-dir"), home.path(QStringLiteral("loud")),
                      QStringLiteral("--loudness"), QStringLiteral("-14")});
    QCOMPARE(r.status, 0);
    for (const char *name : {"loud/s_Konverted.flac", "loud/t_Konverted.flac"}) {
        const double batch = integrated(home.path(QLatin1String(name)));
        QVERIFY2(std::abs(batch + 14) <= 0.5, qPrintable(QLatin1String(name) + QLatin1Char(' ') + QString::number(batch)));
    }
    // An album: each file's own gain, and one album gain that is the gain of
    // the files played one after another, as the meter finds them.
    const QString quiet = home.path(QStringLiteral("q.wav"));
    const QString both = home.path(QStringLiteral("both.wav"));
    QVERIFY(run(QStringLiteral("sox"), {source, quiet, QStringLiteral("vol"), QStringLiteral("-12"), QStringLiteral("dB")}));
    QVERIFY(run(QStringLiteral("sox"), {source, quiet, both}));
    r = home.convert({QStringLiteral("--convert"), source, quiet, QStringLiteral("--format"), QStringLiteral("FLAC"),
                      QStringLiteral("--output-dir"), home.path(QStringLiteral("album")), QStringLiteral("--replaygain"),
                      QStringLiteral("album")});
    QVERIFY2(r.status == 0, qPrintable(r.out + r.err));
    const auto gains = [](const QString &file) {
        QProcess python;
        python.start(QStringLiteral("/usr/bin/python3"),
                     {QStringLiteral("-c"),
                      QStringLiteral("import sys, mutagen\nt = mutagen.File(sys.argv[1]).tags\n"
                                     "print(t['replaygain_track_gain'][0].split()[0], t['replaygain_album_gain'][0].split()[0])"),
                      file});
        python.waitForFinished(30000);
        const QStringList read = QString::fromUtf8(python.readAllStandardOutput()).split(QLatin1Char(' '));
        return std::pair(read.value(0).toDouble(), read.value(1).toDouble());
    };
    const double album = -18 - integrated(both);
    for (const auto &[name, own] : {std::pair(QStringLiteral("album/s_Konverted.flac"), source),
                                    std::pair(QStringLiteral("album/q_Konverted.flac"), quiet)}) {
        const auto [trackGain, albumGain] = gains(home.path(name));
        QVERIFY2(std::abs(trackGain - (-18 - integrated(own))) <= 0.5, qPrintable(name + QString::number(trackGain)));
        QVERIFY2(std::abs(albumGain - album) <= 0.5, qPrintable(name + QString::number(albumGain) + QLatin1Char(' ') + QString::number(album)));
    }
    // ReplayGain tags in an MP3 outlive the tag editor's own ID3 tag.
    r = home.convert({QStringLiteral("--convert"), source, QStringLiteral("--format"), QStringLiteral("MP3"),
                      QStringLiteral("--replaygain"), QStringLiteral("track"), QStringLiteral("--title"),
                      QStringLiteral("Tagged"), QStringLiteral("--replace")});
    QCOMPARE(r.status, 0);
    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"),
                 {QStringLiteral("-c"),
                  QStringLiteral("import sys, mutagen\nt = mutagen.File(sys.argv[1]).tags\n"
                                 "print(t['TIT2'].text[0], t['TXXX:REPLAYGAIN_TRACK_GAIN'].text[0].split()[0])"),
                  home.path(QStringLiteral("s_Konverted.mp3"))});
    QVERIFY(python.waitForFinished(30000));
    const QStringList read = QString::fromUtf8(python.readAllStandardOutput()).split(QLatin1Char(' '));
    QCOMPARE(read.value(0), QStringLiteral("Tagged"));
    const double gain = read.value(1).toDouble();
    QVERIFY2(std::abs(gain - (-18 - integrated(source))) <= 0.5, qPrintable(read.join(QLatin1Char(' '))));
}

void TestHeadless::fadeInAndOutOfEveryKind()
{
    Home home;
    const QString source = home.path(QStringLiteral("steady.wav"));
    QVERIFY(makeTone(source, 10));
    const QString fade = QStringLiteral("--fade");
    struct Case {
        const char *name;
        QStringList arguments;
        QString output;
    };
    const QList<Case> cases = {
        {"WAV", {QStringLiteral("--format"), QStringLiteral("WAV"), fade}, home.path(QStringLiteral("steady_Konverted.wav"))},
        {"MP3", {QStringLiteral("--format"), QStringLiteral("MP3"), fade}, home.path(QStringLiteral("steady_Konverted.mp3"))},
        // WMA reads its source through the script only because of the fade.
        {"WMA", {QStringLiteral("--format"), QStringLiteral("WMA"), fade}, home.path(QStringLiteral("steady_Konverted.wma"))},
        {"AC3", {QStringLiteral("--format"), QStringLiteral("AC3"), fade}, home.path(QStringLiteral("steady_Konverted.ac3"))},
        {"OPUS", {QStringLiteral("--format"), QStringLiteral("OPUS"), fade}, home.path(QStringLiteral("steady_Konverted.opus"))},
        {"FLAC batch", {QStringLiteral("--format"), QStringLiteral("FLAC"), fade, QStringLiteral("--output-dir"), home.path(QStringLiteral("batch"))},
         home.path(QStringLiteral("batch/steady_Konverted.flac"))},
        // The cut's own ends fade, 8 s of the 10.
        {"cut", {QStringLiteral("--format"), QStringLiteral("WAV"), fade, QStringLiteral("--segment"), QStringLiteral("1"),
                 QStringLiteral("9"), QStringLiteral("--output"), home.path(QStringLiteral("cut.wav"))},
         home.path(QStringLiteral("cut.wav"))},
    };
    for (const Case &c : cases) {
        const Result r = home.convert(QStringList{QStringLiteral("--convert"), source} + c.arguments);
        QVERIFY2(r.status == 0, qPrintable(QLatin1String(c.name) + QLatin1Char(' ') + r.err));
        const QList<double> tenths = levels(c.output);
        const int quarters = static_cast<int>(tenths.size() / 25);
        QVERIFY2(quarters >= 31, c.name);
        // Full level between the fades: the middle's own level, steady.
        const double full = quarterSecond(tenths, quarters / 2);
        for (int k = 8; k < quarters - 8; ++k)
            QVERIFY2(std::abs(quarterSecond(tenths, k) - full) < 1, qPrintable(QStringLiteral("%1 at %2 s").arg(c.name).arg(k / 4.0)));
        // Silent at the very start and end, rising over the first 2 seconds
        // and falling over the last 2.
        QVERIFY2(tenths.constFirst() < full - 30 && tenths.constLast() < full - 30, c.name);
        for (const int sign : {1, -1}) {
            const auto edge = [&](int k) { return quarterSecond(tenths, sign > 0 ? k : -1 - k); };
            QVERIFY2(edge(0) < full - 12, c.name);
            for (int k = 1; k < 8; ++k)
                QVERIFY2(edge(k) > edge(k - 1) + 0.5, qPrintable(QStringLiteral("%1 %2 %3").arg(c.name).arg(sign).arg(k)));
            QVERIFY2(edge(7) > full - 2, c.name);
        }
    }
    QVERIFY(readAll(home.app + QStringLiteral("/segment.avs")).contains("Trim(Clip3,25,225)\r\nFadeIO0(50)\r\n"));
}

void TestHeadless::badInputFailsCleanly()
{
    Home home;
    const QString tone = home.path(QStringLiteral("tone.wav"));
    QVERIFY(makeTone(tone, 1));
    QDir().mkpath(home.path(QStringLiteral("folder.wav")));
    QVERIFY(writeFile(home.path(QStringLiteral("empty.mp3")), QByteArray()));
    QVERIFY(writeFile(home.path(QStringLiteral("random.mp3")), QByteArray(20000, '\x5a') + QByteArray::number(12345)));
    for (const QString &name : {QStringLiteral("q\"uote.wav"), QStringLiteral("d$(touch PWNED).wav"), QStringLiteral("semi;colon.wav"),
                               QStringLiteral("new\nline.wav"), QStringLiteral("Ünïcødé ñ.wav")})
        QVERIFY(QFile::copy(tone, home.path(name)));

    struct Case {
        QStringList arguments;
        QString reason; // part of the one-line reason
        bool mayWork;   // an odd but harmless name may simply convert
    };
    const QList<Case> cases = {
        {{QStringLiteral("--convert"), home.path(QStringLiteral("missing.wav"))}, QStringLiteral("does not exist"), false},
        {{QStringLiteral("--convert"), home.path(QStringLiteral("folder.wav"))}, QStringLiteral("no audio files were found"), false},
        {{QStringLiteral("--convert"), home.path(QStringLiteral("empty.mp3"))}, QStringLiteral("is empty"), false},
        {{QStringLiteral("--convert"), home.path(QStringLiteral("random.mp3"))}, QStringLiteral("cannot be read as audio"), false},
        {{QStringLiteral("--convert"), tone, QStringLiteral("--format"), QStringLiteral("WAV"), QStringLiteral("--output"), tone,
          QStringLiteral("--replace")},
         QStringLiteral("the selected file itself"), false},
        {{QStringLiteral("--convert"), tone, QStringLiteral("--output"), QStringLiteral("/proc/out.mp3")},
         QStringLiteral("cannot write"), false},
        {{QStringLiteral("--convert"), home.path(QStringLiteral("q\"uote.wav"))}, QStringLiteral("cannot run the script"), true},
        {{QStringLiteral("--convert"), home.path(QStringLiteral("d$(touch PWNED).wav"))}, QString(), true},
        {{QStringLiteral("--convert"), home.path(QStringLiteral("semi;colon.wav"))}, QString(), true},
        {{QStringLiteral("--convert"), home.path(QStringLiteral("new\nline.wav"))}, QStringLiteral("cannot run the script"), true},
        {{QStringLiteral("--convert"), home.path(QStringLiteral("Ünïcødé ñ.wav"))}, QString(), true},
    };
    const QByteArray toneBytes = readAll(tone);
    for (const Case &c : cases) {
        const QString source = c.arguments[1];
        const QByteArray before = readAll(source);
        const Result r = home.convert(c.arguments);
        const QString what = c.arguments.join(QLatin1Char(' ')) + QStringLiteral(" -> ") + r.err;
        QVERIFY2(r.status == 0 || r.status == 1, qPrintable(what));
        if (r.status == 0) {
            QVERIFY2(c.mayWork, qPrintable(what));
            QVERIFY(r.err.isEmpty());
        } else {
            QVERIFY2(r.err.startsWith(QStringLiteral("tonmill: ")) && r.err.count(QLatin1Char('\n')) == 1, qPrintable(what));
            QVERIFY2(r.err.contains(c.reason), qPrintable(what));
        }
        QCOMPARE(readAll(source), before);
        QVERIFY(test::noProcessMentions(home.dir.path()));
    }
    QCOMPARE(readAll(tone), toneBytes);
    QVERIFY(!QFileInfo::exists(QStringLiteral("PWNED")));
    QVERIFY(!QFileInfo::exists(home.path(QStringLiteral("PWNED"))));
}

void TestHeadless::signalsAbortTheEncode()
{
    Home home;
    const QString source = home.path(QStringLiteral("long.wav"));
    QVERIFY(makeTone(source, 600));
    const QStringList arguments = {QStringLiteral("--convert"), source, QStringLiteral("--format"), QStringLiteral("MP3"),
                                   QStringLiteral("--replace")};

    // In the middle of the encode: the encoder ends and says so.
    QProcess *p = home.start(arguments);
    QVERIFY(p->waitForStarted());
    QString out;
    QElapsedTimer t;
    t.start();
    while (!out.contains(QStringLiteral(" -- Bitrate: ")) && t.elapsed() < 30000) {
        p->waitForReadyRead(100);
        out += QString::fromUtf8(p->readAllStandardOutput());
    }
    QTest::qWait(500);
    QVERIFY(!test::processesMentioning(home.dir.path()).isEmpty());
    QVERIFY(p->processId() > 0); // kill(0) would signal this test's own process group
    ::kill(p->processId(), SIGINT);
    QVERIFY(p->waitForFinished(30000));
    out += QString::fromUtf8(p->readAllStandardOutput());
    QCOMPARE(p->exitCode(), 128 + SIGINT);
    QVERIFY(QRegularExpression(QStringLiteral(" -> Canceling program\\.\n\\d\\d:\\d\\d:\\d\\d -> Encoding Aborted!\n-{142}\n$"))
                .match(out).hasMatch());
    QVERIFY(test::noProcessMentions(home.dir.path()));
    delete p;

    // Killed outright in the middle of the encode: no child of it outlives it.
    p = home.start(arguments);
    QVERIFY(p->waitForStarted());
    out.clear();
    t.restart();
    while (!out.contains(QStringLiteral(" -- Bitrate: ")) && t.elapsed() < 30000) {
        p->waitForReadyRead(100);
        out += QString::fromUtf8(p->readAllStandardOutput());
    }
    QTest::qWait(500);
    QVERIFY(test::processesMentioning(home.dir.path()).size() >= 2); // the program and its encoder
    QVERIFY(p->processId() > 0);
    ::kill(p->processId(), SIGKILL);
    QVERIFY(p->waitForFinished(30000));
    QVERIFY(test::noProcessMentions(home.dir.path()));
    delete p;

    // At random moments, from start-up to the encode, with either signal.
    // Encoders that take seconds over this source, so every signal finds work to stop.
    const QStringList formats = {QStringLiteral("AC3"), QStringLiteral("AAC"), QStringLiteral("MP3")};
    QRandomGenerator random(20261122);
    for (int i = 0; i < 20; ++i) {
        const int delay = random.bounded(900);
        const int number = (i % 2) ? SIGTERM : SIGINT;
        QProcess *child = home.start(arguments + QStringList{QStringLiteral("--format"),
                                                             formats[i % 3]});
        QVERIFY(child->waitForStarted());
        QTest::qWait(delay);
        if (child->processId() > 0)
            ::kill(child->processId(), number);
        QVERIFY(child->waitForFinished(30000));
        // A signal that comes before the handlers are in place ends the
        // program the ordinary way, before it has started anything.
        const bool endedBySignal = child->exitStatus() == QProcess::CrashExit;
        QVERIFY2(endedBySignal || child->exitCode() == 128 + number,
                 qPrintable(QStringLiteral("delay %1: status %2 %3").arg(delay).arg(child->exitCode())
                                .arg(QString::fromUtf8(child->readAllStandardError()))));
        delete child;
        QVERIFY(test::noProcessMentions(home.dir.path()));
    }
    QVERIFY(QFileInfo::exists(source));
}


// The formats after WMA: each with options from the settings file, the typed
// tags in its own tag system as mutagen reads them, and the up-mix.
void TestHeadless::laterFormatsWithTheirOptionsAndTags()
{
    Home home("[General]\r\nFFMPEG=/usr/bin/ffmpeg\r\n[Options]\r\nFLACSamFreq=2\r\nFLACBits=1\r\n"
              "OpusBitRate=64\r\nOpusMode=1\r\nOggQuality=2\r\nM4AMode=1\r\nM4AQuality=0.5\r\nALACBits=1\r\n");
    const QString source = home.path(QStringLiteral("tone.mp3"));
    QVERIFY(run(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"),
                                           QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("sine=f=440:d=2"),
                                           QStringLiteral("-ac"), QStringLiteral("2"), source}));
    const QStringList tags = {QStringLiteral("夜の歌"), QStringLiteral("Аня Ü"), QStringLiteral("Café"),
                              QStringLiteral("2024"), QStringLiteral("3"), QStringLiteral("Folk"), QStringLiteral("ñandú")};
    struct Case {
        const char *format, *extension, *stream, *reader;
        bool upmix;
    };
    // codec, rate, channels, bits; the bit rate where it tells the options.
    const Case cases[] = {
        {"FLAC", "flac", "flac,48000,2,24", "FLAC", false},
        {"OPUS", "opus", "opus,48000,6,", "OggOpus", true},
        {"OGG", "ogg", "vorbis,44100,2,", "OggVorbis", false},
        {"M4A", "m4a", "aac,44100,2,", "MP4", false},
        {"ALAC", "m4a", "alac,44100,2,24", "MP4", false},
    };
    const QString reader = QStringLiteral(
        "import sys, json, mutagen\n"
        "f = mutagen.File(sys.argv[1])\n"
        "def get(*keys):\n"
        "    for k in keys:\n"
        "        if k in f.tags:\n"
        "            v = f.tags[k][0]\n"
        "            return str(v[0]) if isinstance(v, tuple) else str(v)\n"
        "    return ''\n"
        "print(type(f).__name__ + '|' + '|'.join([get('title', '\\xa9nam'), get('artist', '\\xa9ART'),\n"
        "      get('album', '\\xa9alb'), get('date', '\\xa9day'), get('tracknumber', 'trkn'), get('genre', '\\xa9gen'),\n"
        "      get('comment', 'description', '\\xa9cmt')]))\n");
    for (const Case &c : cases) {
        const QString output = home.path(QStringLiteral("out-%1.%2").arg(QLatin1String(c.format), QLatin1String(c.extension)));
        QStringList arguments = {QStringLiteral("--convert"), source, QStringLiteral("--format"), QLatin1String(c.format),
                                 QStringLiteral("--output"), output, QStringLiteral("--title"), tags[0],
                                 QStringLiteral("--artist"), tags[1], QStringLiteral("--album"), tags[2],
                                 QStringLiteral("--year"), tags[3], QStringLiteral("--track"), tags[4],
                                 QStringLiteral("--genre"), tags[5], QStringLiteral("--notes"), tags[6]};
        if (c.upmix)
            arguments << QStringLiteral("--upmix");
        const Result r = home.convert(arguments);
        QVERIFY2(r.status == 0, qPrintable(QLatin1String(c.format) + QLatin1Char(' ') + r.err + r.out));
        QCOMPARE(probeEntries(output, QStringLiteral("stream=codec_name,sample_rate,channels,bits_per_raw_sample"))
                     .replace(QStringLiteral("N/A"), QString()),
                 QLatin1String(c.stream));
        QVERIFY2(std::abs(test::decodedSeconds(output) - 2) < 0.1, c.format);
        QProcess python;
        python.start(QStringLiteral("/usr/bin/python3"), {QStringLiteral("-c"), reader, output});
        QVERIFY(python.waitForFinished(30000));
        QCOMPARE(QString::fromUtf8(python.readAllStandardOutput()).trimmed(),
                 QLatin1String(c.reader) + QLatin1Char('|') + tags.join(QLatin1Char('|')));
    }
    // The options chosen show in the bit rates: Opus at 64 kbit/s constant,
    // AAC at its lowest VBR quality, far below its 192 kbit/s default.
    const double opus = probeEntries(home.path(QStringLiteral("out-OPUS.opus")), QStringLiteral("format=bit_rate")).toDouble();
    QVERIFY2(opus > 50'000 && opus < 80'000, qPrintable(QString::number(opus)));
    QVERIFY(probeEntries(home.path(QStringLiteral("out-M4A.m4a")), QStringLiteral("stream=bit_rate")).toDouble() < 100'000);
    QVERIFY(test::noProcessMentions(home.dir.path()));
}

// Every tag field of a source of each kind reaches each later format in that
// format's own tag system, as mutagen reads it; a typed value wins.
void TestHeadless::sourceTagsReachLaterFormats()
{
    Home home;
    const QStringList fields = {QStringLiteral("title=夜の歌"),     QStringLiteral("artist=Аня"),
                                QStringLiteral("album=Café"),       QStringLiteral("album_artist=Équipe"),
                                QStringLiteral("date=2024"),        QStringLiteral("genre=Folk"),
                                QStringLiteral("track=3/12"),       QStringLiteral("disc=2/3"),
                                QStringLiteral("comment=ñandú"),    QStringLiteral("composer=Зоя")};
    QStringList metadata;
    for (const QString &field : fields)
        metadata << QStringLiteral("-metadata") << field;
    const QString cover = home.path(QStringLiteral("cover.png"));
    QVERIFY(run(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                                           QStringLiteral("-i"), QStringLiteral("testsrc=s=96x64"), QStringLiteral("-frames:v"),
                                           QStringLiteral("1"), cover}));
    const QStringList withCover = {QStringLiteral("-i"), cover, QStringLiteral("-map"), QStringLiteral("0"), QStringLiteral("-map"),
                                   QStringLiteral("1"), QStringLiteral("-c:v"), QStringLiteral("copy"),
                                   QStringLiteral("-disposition:v"), QStringLiteral("attached_pic"),
                                   QStringLiteral("-metadata:s:v"), QStringLiteral("comment=Cover (front)")};
    // What ffmpeg does not write, mutagen adds: a WMA cover, an MP3 comment
    // in COMM (ffmpeg writes it as TXXX:comment).
    const QList<std::pair<QString, QStringList>> sources = {
        {QStringLiteral("vorbis.flac"), withCover},
        {QStringLiteral("atoms.m4a"), withCover + QStringList{QStringLiteral("-c:a"), QStringLiteral("aac"), QStringLiteral("-f"), QStringLiteral("ipod")}},
        {QStringLiteral("id3v23.mp3"), withCover + QStringList{QStringLiteral("-id3v2_version"), QStringLiteral("3")}},
        {QStringLiteral("attributes.wma"), {QStringLiteral("-c:a"), QStringLiteral("wmav2")}},
    };
    const QString tagger = QStringLiteral(
        "import sys, struct, mutagen.asf, mutagen.id3\n"
        "f = mutagen.File(sys.argv[1])\n"
        "if isinstance(f.tags, mutagen.asf.ASFTags):\n"
        "    data = open(sys.argv[2], 'rb').read()\n"
        "    head = struct.pack('<BI', 3, len(data)) + 'image/png'.encode('utf-16-le') + b'\\0\\0' + b'\\0\\0'\n"
        "    f.tags['WM/Picture'] = [mutagen.asf.ASFByteArrayAttribute(head + data)]\n"
        "    f.save()\n"
        "else:\n"
        "    f.tags.delall('TXXX:comment')\n"
        "    f.tags.add(mutagen.id3.COMM(encoding=1, lang='eng', desc='', text=[sys.argv[3]]))\n"
        "    f.save(v2_version=3)\n");
    // The ten fields in mutagen's names for each tag system, numbers without
    // their totals, then the front cover's digest.
    const QString reader = QStringLiteral(
        "import sys, base64, hashlib, mutagen, mutagen.asf, mutagen.flac, mutagen.id3, mutagen.mp4, mutagen._vorbis\n"
        "f = mutagen.File(sys.argv[1]); t = f.tags\n"
        "def get(*keys):\n"
        "    for k in keys:\n"
        "        v = t.getall(k) if hasattr(t, 'getall') else t.get(k)\n"
        "        if not v:\n"
        "            continue\n"
        "        v = v[0]\n"
        "        v = v.text[0] if hasattr(v, 'text') else v.value if hasattr(v, 'value') else v\n"
        "        return str(v[0]) if isinstance(v, tuple) else str(v).split('/')[0]\n"
        "    return ''\n"
        "def front():\n"
        "    found = [p.data for p in getattr(f, 'pictures', []) if p.type == 3]\n"
        "    if isinstance(t, mutagen._vorbis.VComment):\n"
        "        pics = [mutagen.flac.Picture(base64.b64decode(b)) for b in t.get('metadata_block_picture', [])]\n"
        "        found += [p.data for p in pics if p.type == 3]\n"
        "    if isinstance(t, mutagen.id3.ID3):\n"
        "        found += [p.data for p in t.getall('APIC') if p.type == 3]\n"
        "    if isinstance(t, mutagen.mp4.MP4Tags):\n"
        "        found += [bytes(c) for c in t.get('covr', [])]\n"
        "    for a in t.get('WM/Picture', []) if isinstance(t, mutagen.asf.ASFTags) else []:\n"
        "        b = a.value; i = 5\n"
        "        for _ in range(2):\n"
        "            while b[i:i + 2] != b'\\0\\0': i += 2\n"
        "            i += 2\n"
        "        found += [b[i:]] if b[0] == 3 else []\n"
        "    return ','.join(hashlib.md5(d).hexdigest() for d in found)\n"
        "print('|'.join([get('title', '\\xa9nam', 'TIT2', 'Title'), get('artist', '\\xa9ART', 'TPE1', 'Author'),\n"
        "      get('album', '\\xa9alb', 'TALB', 'WM/AlbumTitle'), get('albumartist', 'aART', 'TPE2', 'WM/AlbumArtist'),\n"
        "      get('date', '\\xa9day', 'TDRC', 'WM/Year'), get('genre', '\\xa9gen', 'TCON', 'WM/Genre'),\n"
        "      get('tracknumber', 'trkn', 'TRCK', 'WM/TrackNumber'), get('discnumber', 'disk', 'TPOS', 'WM/PartOfSet'),\n"
        "      get('comment', 'description', '\\xa9cmt', 'COMM', 'Description'), get('composer', '\\xa9wrt', 'TCOM', 'WM/Composer'),\n"
        "      front()]))\n");
    QFile coverFile(cover);
    QVERIFY(coverFile.open(QIODevice::ReadOnly));
    const QString coverDigest = QString::fromLatin1(QCryptographicHash::hash(coverFile.readAll(), QCryptographicHash::Md5).toHex());
    QStringList expected;
    for (const QString &field : fields)
        expected << field.section(QLatin1Char('='), 1).section(QLatin1Char('/'), 0, 0);
    expected << coverDigest;
    const auto readTags = [&](const QString &file) {
        QProcess python;
        python.start(QStringLiteral("/usr/bin/python3"), {QStringLiteral("-c"), reader, file});
        python.waitForFinished(30000);
        return QString::fromUtf8(python.readAllStandardOutput()).trimmed() + QString::fromUtf8(python.readAllStandardError());
    };
    for (const auto &[name, codec] : sources) {
        const QString source = home.path(name);
        QVERIFY(run(QStringLiteral("ffmpeg"), QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"),
                                                          QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("sine=d=1")}
                                                  + codec + metadata + QStringList{QStringLiteral("-ac"), QStringLiteral("2"), source}));
        if (!name.endsWith(QLatin1String(".flac")) && !name.endsWith(QLatin1String(".m4a")))
            QVERIFY(run(QStringLiteral("/usr/bin/python3"), {QStringLiteral("-c"), tagger, source, cover, expected[8]}));
        QCOMPARE(readTags(source), expected.join(QLatin1Char('|')));
        // What is typed in the editor wins over the source's value.
        const bool typed = name.endsWith(QLatin1String("mp3"));
        for (const char *format : {"FLAC", "OPUS", "OGG", "M4A", "ALAC", "MP3", "WMA"}) {
            const QString output = home.path(name + QLatin1Char('.') + QLatin1String(format));
            QStringList arguments = {QStringLiteral("--convert"), source, QStringLiteral("--format"),
                                     QLatin1String(format), QStringLiteral("--output"), output};
            if (typed)
                arguments << QStringLiteral("--title") << QStringLiteral("Typed");
            const Result r = home.convert(arguments);
            QVERIFY2(r.status == 0, qPrintable(name + QLatin1Char(' ') + QLatin1String(format) + QLatin1Char(' ') + r.err));
            QStringList want = expected;
            if (typed)
                want[0] = QStringLiteral("Typed");
            const QString read = readTags(output);
            QVERIFY2(read == want.join(QLatin1Char('|')), qPrintable(output + QLatin1Char(' ') + read));
        }
    }
}

void TestHeadless::batchOfMixedSources()
{
    // The ffprobe beside the configured ffmpeg notes what it is asked about.
    Home home;
    const QString bin = home.path(QStringLiteral("bin"));
    QDir().mkpath(bin);
    QVERIFY(QFile::link(QStringLiteral("/usr/bin/ffmpeg"), bin + QStringLiteral("/ffmpeg")));
    QVERIFY(writeFile(bin + QStringLiteral("/ffprobe"),
                      "#!/bin/sh\nfor a; do last=$a; done\nprintf '%s\\n' \"$last\" >> \"$0.log\"\nexec /usr/bin/ffprobe \"$@\"\n"));
    QVERIFY(QFile::setPermissions(bin + QStringLiteral("/ffprobe"), QFile::ReadOwner | QFile::ExeOwner));
    QVERIFY(writeFile(home.app + QStringLiteral("/Tonmill.ini"), "[General]\r\nFFMPEG=" + bin.toUtf8() + "/ffmpeg\r\n"));
    const QString src = home.path(QStringLiteral("src"));
    QDir().mkpath(src + QStringLiteral("/sub"));
    const auto tone = [&](const QString &name, const QStringList &codec) {
        return run(QStringLiteral("ffmpeg"), QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"),
                                                         QStringLiteral("lavfi"), QStringLiteral("-i"),
                                                         QStringLiteral("sine=f=440:d=2"), QStringLiteral("-ac"),
                                                         QStringLiteral("2")}
                                                 + codec + QStringList{src + QLatin1Char('/') + name});
    };
    const QStringList good = {QStringLiteral("a.wav"), QStringLiteral("b.mp3"), QStringLiteral("c.flac"),
                              QStringLiteral("it's \"é\" ü.wav"), QStringLiteral("sub/song.wav"),
                              QStringLiteral("sub/song.mp3")};
    for (const QString &name : good)
        QVERIFY2(tone(name, {}), qPrintable(name));
    QVERIFY(writeFile(src + QStringLiteral("/corrupt.mp3"), QByteArray(30000, '\x5a')));
    QVERIFY(writeFile(src + QStringLiteral("/empty.wav"), QByteArray()));
    const QString out = home.path(QStringLiteral("out"));
    const QStringList arguments = {QStringLiteral("--convert"), src, QStringLiteral("--recursive"),
                                   QStringLiteral("--output-dir"), out, QStringLiteral("--jobs"), QStringLiteral("2")};

    // Every good file converts, each bad one is named, and the two songs of
    // one name keep apart.
    Result r = home.convert(arguments);
    QCOMPARE(r.status, 2);
    QVERIFY2(r.out.contains(QStringLiteral("failed: ") + src + QStringLiteral("/corrupt.mp3: it cannot be read as audio")), qPrintable(r.out));
    QVERIFY(r.out.contains(QStringLiteral("failed: ") + src + QStringLiteral("/empty.wav: ")));
    QVERIFY(r.out.endsWith(QStringLiteral("6 of 8 files converted\n")));
    const QStringList outputs = {QStringLiteral("a_Konverted.mp3"), QStringLiteral("b_Konverted.mp3"),
                                 QStringLiteral("c_Konverted.mp3"), QStringLiteral("it's \"é\" ü_Konverted.mp3"),
                                 QStringLiteral("sub/song_Konverted.mp3"), QStringLiteral("sub/song_Konverted (2).mp3")};
    QHash<QString, QDateTime> written;
    for (const QString &name : outputs) {
        const QString path = out + QLatin1Char('/') + name;
        QVERIFY2(r.out.contains(QStringLiteral(" -> ") + path + QLatin1Char('\n')), qPrintable(name));
        QCOMPARE(probeEntries(path, QStringLiteral("stream=codec_name,channels")), QStringLiteral("mp3,2"));
        QVERIFY2(std::abs(test::decodedSeconds(path) - 2) < 0.1, qPrintable(name));
        written.insert(path, QFileInfo(path).lastModified());
    }
    QCOMPARE(QDir(out).entryList(QDir::Files).size() + QDir(out + QStringLiteral("/sub")).entryList(QDir::Files).size(),
             outputs.size());
    QVERIFY(QDir(home.tmp()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
    QVERIFY(test::noProcessMentions(home.dir.path()));
    // Each source is measured once, a plain WAV from its header alone.
    const QString probes = QString::fromUtf8(readAll(bin + QStringLiteral("/ffprobe.log")));
    for (const auto &[name, times] : QList<std::pair<QString, int>>{{QStringLiteral("a.wav"), 0},
                                                                    {QStringLiteral("b.mp3"), 1},
                                                                    {QStringLiteral("c.flac"), 1},
                                                                    {QStringLiteral("sub/song.mp3"), 1}})
        QVERIFY2(probes.count(QStringLiteral("file:%1/%2\n").arg(src, name)) == times, qPrintable(name + QLatin1Char('\n') + probes));

    // Again: the outputs exist and are kept untouched.
    r = home.convert(arguments);
    QCOMPARE(r.status, 8);
    QCOMPARE(r.out.count(QStringLiteral("skipped: ")), 6);
    for (auto it = written.cbegin(); it != written.cend(); ++it)
        QCOMPARE(QFileInfo(it.key()).lastModified(), it.value());

    // Ended in the middle: every encoder goes, and no unfinished output stays.
    const QString longSrc = home.path(QStringLiteral("long"));
    QDir().mkpath(longSrc);
    for (const char *name : {"1.wav", "2.wav", "3.wav", "4.wav"})
        QVERIFY(makeTone(longSrc + QLatin1Char('/') + QLatin1String(name), 300));
    QProcess *p = home.start({QStringLiteral("--convert"), longSrc, QStringLiteral("--jobs"), QStringLiteral("2")});
    QElapsedTimer t;
    t.start();
    while (QDir(longSrc).entryList({QStringLiteral("*.part")}).isEmpty() && t.elapsed() < 30000)
        QTest::qWait(20);
    QTest::qWait(300);
    QVERIFY(p->processId() > 0);
    ::kill(p->processId(), SIGTERM);
    QVERIFY(p->waitForFinished(30000));
    QCOMPARE(p->exitCode(), 128 + SIGTERM);
    QVERIFY(QString::fromUtf8(p->readAllStandardOutput()).contains(QStringLiteral("aborted: ")));
    QVERIFY(QDir(longSrc).entryList({QStringLiteral("*.part")}).isEmpty());
    for (const QString &name : QDir(longSrc).entryList({QStringLiteral("*_Konverted.mp3")}))
        QVERIFY2(std::abs(test::decodedSeconds(longSrc + QLatin1Char('/') + name) - 300) < 0.1, qPrintable(name));
    QVERIFY(test::noProcessMentions(home.dir.path()));
    delete p;
}

// Every file and folder below the folder with its size and time of change.
QStringList treeListing(const QString &root)
{
    QStringList lines;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        lines << QStringLiteral("%1 %2 %3")
                     .arg(QDir(root).relativeFilePath(info.filePath()))
                     .arg(info.isDir() ? -1 : info.size())
                     .arg(info.lastModified().toMSecsSinceEpoch());
    }
    lines.sort();
    return lines;
}

QStringList commandLines(const QString &out)
{
    QStringList lines;
    for (const QString &line : out.split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1String(" - Command line: ")))
            lines << line;
    }
    lines.sort();
    return lines;
}

void TestHeadless::namedBatchDryRunAndTrash()
{
    // The configured ffmpeg cuts the output of the source titled
    // "Truncated" short after encoding it, before the program checks it.
    Home home;
    const QString bin = home.path(QStringLiteral("bin"));
    QDir().mkpath(bin);
    QVERIFY(writeFile(bin + QStringLiteral("/ffmpeg"),
                      "#!/bin/sh\n/usr/bin/ffmpeg \"$@\"\nstatus=$?\nfor a; do last=$a; done\n"
                      "case \"$last\" in *Truncated*) head -c 3000 \"$last\" > \"$last.cut\" && mv \"$last.cut\" \"$last\";; esac\n"
                      "exit $status\n"));
    QVERIFY(QFile::setPermissions(bin + QStringLiteral("/ffmpeg"), QFile::ReadOwner | QFile::ExeOwner));
    QVERIFY(QFile::link(QStringLiteral("/usr/bin/ffprobe"), bin + QStringLiteral("/ffprobe")));
    QVERIFY(writeFile(home.app + QStringLiteral("/Tonmill.ini"), "[General]\r\nFFMPEG=" + bin.toUtf8() + "/ffmpeg\r\n"));
    const QString src = home.path(QStringLiteral("src"));
    QDir().mkpath(src + QStringLiteral("/sub"));
    const auto tone = [&](const QString &name, const QStringList &metadata) {
        QStringList arguments = {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                                 QStringLiteral("-i"), QStringLiteral("sine=f=440:d=2")};
        for (const QString &entry : metadata)
            arguments << QStringLiteral("-metadata") << entry;
        return run(QStringLiteral("ffmpeg"), arguments << src + QLatin1Char('/') + name);
    };
    // Two sources that name one output, one whose output is cut short, one
    // without tags whose output exists already.
    QVERIFY(tone(QStringLiteral("one.flac"), {QStringLiteral("artist=Bänd"), QStringLiteral("title=Song/One")}));
    QVERIFY(tone(QStringLiteral("four.flac"), {QStringLiteral("artist=Bänd"), QStringLiteral("title=Song/One")}));
    QVERIFY(tone(QStringLiteral("sub/two.flac"), {QStringLiteral("artist=Bänd"), QStringLiteral("title=Truncated")}));
    QVERIFY(tone(QStringLiteral("sub/three.flac"), {}));
    const QString out = home.path(QStringLiteral("out"));
    QDir().mkpath(out + QStringLiteral("/sub"));
    const QString existing = out + QStringLiteral("/sub/Unknown Artist - Unknown Title.mp3");
    QVERIFY(writeFile(existing, "kept as it is"));
    const QString dataHome = home.path(QStringLiteral("data"));
    const QStringList environment = {QStringLiteral("XDG_DATA_HOME=") + dataHome};
    const QStringList arguments = {QStringLiteral("--convert"), src, QStringLiteral("--recursive"), QStringLiteral("--format"),
                                   QStringLiteral("MP3"), QStringLiteral("--output-dir"), out, QStringLiteral("--name-pattern"),
                                   QStringLiteral("{relpath}/{artist} - {title}"), QStringLiteral("--existing"),
                                   QStringLiteral("rename"), QStringLiteral("--trash-sources"), QStringLiteral("--jobs"),
                                   QStringLiteral("2")};
    const QStringList outputs = {out + QString::fromUtf8("/Bänd - Song_One.mp3"), out + QString::fromUtf8("/Bänd - Song_One (2).mp3"),
                                 out + QStringLiteral("/sub/Unknown Artist - Unknown Title (2).mp3"),
                                 out + QString::fromUtf8("/sub/Bänd - Truncated.mp3")};

    // The dry run names every output and decision and leaves every file and
    // folder as it was, the program's own folder included.
    QDir().mkpath(home.tmp());
    const QStringList before = treeListing(home.dir.path());
    const Result dry = home.convert(arguments + QStringList{QStringLiteral("--dry-run")}, environment);
    QCOMPARE(dry.status, 0);
    QCOMPARE(treeListing(home.dir.path()), before);
    const QStringList sources = {src + QStringLiteral("/four.flac"), src + QStringLiteral("/one.flac"),
                                 src + QStringLiteral("/sub/three.flac"), src + QStringLiteral("/sub/two.flac")};
    const QStringList decisions = {QStringLiteral("new"), QStringLiteral("new"), QStringLiteral("renamed"), QStringLiteral("new")};
    for (qsizetype i = 0; i < sources.size(); ++i) {
        const QString entry = sources[i] + QStringLiteral("\n - Output file: ") + outputs[i]
                              + QStringLiteral("\n - Existing output: ") + decisions[i] + QStringLiteral("\n - Command line: ");
        QVERIFY2(dry.out.contains(entry), qPrintable(entry + QStringLiteral("\n---\n") + dry.out));
    }
    const QStringList planned = commandLines(dry.out);
    QCOMPARE(planned.size(), 4);
    // Without a window nobody is asked: --replace and --keep answer, and
    // by default what is there is kept.
    QStringList others = arguments;
    others.removeAt(others.indexOf(QStringLiteral("--existing")) + 1);
    others.removeOne(QStringLiteral("--existing"));
    for (const auto &[given, decision] : QList<std::pair<QStringList, QString>>{
             {{QStringLiteral("--replace")}, QStringLiteral("overwrite")},
             {{QStringLiteral("--keep")}, QStringLiteral("skip")},
             {{QStringLiteral("--existing"), QStringLiteral("ask")}, QStringLiteral("skip")},
             {{QStringLiteral("--existing"), QStringLiteral("overwrite")}, QStringLiteral("overwrite")}}) {
        const Result policy = home.convert(others + given + QStringList{QStringLiteral("--dry-run")}, environment);
        QCOMPARE(policy.status, 0);
        QVERIFY2(policy.out.contains(existing + QStringLiteral("\n - Existing output: ") + decision + QLatin1Char('\n')),
                 qPrintable(given.join(QLatin1Char(' ')) + QLatin1Char('\n') + policy.out));
    }
    QCOMPARE(treeListing(home.dir.path()), before);

    // The run logs the same lines; the short output fails its check and its
    // source stays, the others go to the trash with their info files.
    const Result r = home.convert(arguments, environment);
    QCOMPARE(r.status, 1);
    QCOMPARE(commandLines(r.out), planned);
    QVERIFY2(r.out.contains(QStringLiteral("failed: ") + src + QStringLiteral("/sub/two.flac: the output failed its check, "
                                                                               "so the source stays: the output ")),
             qPrintable(r.out));
    QCOMPARE(readAll(existing), QByteArray("kept as it is"));
    for (const QString &output : {outputs[0], outputs[1], outputs[2]})
        QVERIFY2(std::abs(test::decodedSeconds(output) - 2) < 0.1, qPrintable(output));
    QVERIFY(QFileInfo::exists(src + QStringLiteral("/sub/two.flac")));
    QVERIFY(!QFileInfo::exists(dataHome + QStringLiteral("/Trash/files/two.flac")));
    const QRegularExpression date(QStringLiteral("^DeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d$"),
                                  QRegularExpression::MultilineOption);
    for (const QString &name : {QStringLiteral("one.flac"), QStringLiteral("four.flac"), QStringLiteral("sub/three.flac")}) {
        const QString file = QFileInfo(name).fileName();
        QVERIFY2(!QFileInfo::exists(src + QLatin1Char('/') + name), qPrintable(name));
        QVERIFY(std::abs(test::decodedSeconds(dataHome + QStringLiteral("/Trash/files/") + file) - 2) < 0.1);
        const QString info = QString::fromUtf8(readAll(dataHome + QStringLiteral("/Trash/info/") + file + QStringLiteral(".trashinfo")));
        QVERIFY2(info.startsWith(QStringLiteral("[Trash Info]\nPath=") + src + QLatin1Char('/') + name + QLatin1Char('\n')), qPrintable(info));
        QVERIFY2(date.match(info).hasMatch(), qPrintable(info));
    }
    QVERIFY(QDir(home.tmp()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
}

QTEST_GUILESS_MAIN(TestHeadless)
#include "tst_headless.moc"
