// The program without its window: its command line, conversions by the real
// helpers, failures in one line, batches, and signals that leave nothing behind.
#include "app/ProgramArguments.h"
#include "options/FormatOptions.h"
#include "support/TestFiles.h"
#include "support/TestHome.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tonmill;
using namespace tonmill::test;
using namespace Qt::StringLiterals;

namespace {

// Arguments split at blanks; '' stands for an empty one.
QStringList words(const QString &line)
{
    return line.split(u' ', Qt::SkipEmptyParts).replaceInStrings(QRegularExpression(u"^''$"_s), QString());
}

ProgramArguments parse(const QString &line) { return parseProgramArguments(QStringList{u"tonmill"_s} + words(line)); }

// What python3 prints with the script and the arguments: mutagen reads tags.
QString python(const QString &script, const QStringList &arguments)
{
    const Ran r = runProgram(u"/usr/bin/python3"_s, QStringList{u"-c"_s, script} + arguments);
    return r.out.trimmed() + r.err;
}

// An application folder given with --home, a place for sources, and one for work folders.
struct Home {
    QTemporaryDir dir;
    QString app = dir.filePath(u"app home"_s), tmp = dir.filePath(u"tmp"_s);

    explicit Home(const QByteArray &options = {}, const QString &ffmpeg = u"/usr/bin/ffmpeg"_s)
    {
        QDir().mkpath(app);
        QDir().mkpath(tmp);
        writeBytes(app + u"/Tonmill.ini"_s, "[General]\r\nFFMPEG=" + ffmpeg.toUtf8() + "\r\n" + options);
    }
    QString path(const QString &name) const { return dir.filePath(name); }
    QProcess *start(const QStringList &arguments) const
    {
        auto *p = new QProcess;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"TMPDIR"_s, tmp);
        p->setProcessEnvironment(environment);
        p->start(builtAppDir() + u"/tonmill"_s, QStringList{u"--home"_s, app} + arguments);
        return p;
    }
    Ran convert(const QStringList &arguments, const QStringList &extra = {}) const
    {
        return runProgram(builtAppDir() + u"/tonmill"_s, QStringList{u"--home"_s, app} + arguments, QStringList{u"TMPDIR="_s + tmp} + extra);
    }
    // The settings' ffmpeg (or the ffprobe beside it) is a script around the system's.
    QString wrapTool(const QString &name, const QByteArray &script) const
    {
        const QString bin = path(u"bin"_s), other = name == u"ffmpeg"_s ? u"ffprobe"_s : u"ffmpeg"_s;
        QDir().mkpath(bin);
        writeBytes(bin + u'/' + name, script);
        QFile::setPermissions(bin + u'/' + name, QFile::ReadOwner | QFile::ExeOwner);
        QFile::link(u"/usr/bin/"_s + other, bin + u'/' + other);
        writeBytes(app + u"/Tonmill.ini"_s, "[General]\r\nFFMPEG=" + bin.toUtf8() + "/ffmpeg\r\n");
        return bin;
    }
};

// Every file and folder below the folder with its size and time of change.
QStringList treeListing(const QString &root)
{
    QStringList lines;
    for (QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDirIterator::Subdirectories); it.hasNext();) {
        const QFileInfo info(it.next());
        lines << u"%1 %2 %3"_s.arg(info.filePath()).arg(info.isDir() ? -1 : info.size()).arg(info.lastModified().toMSecsSinceEpoch());
    }
    lines.sort();
    return lines;
}

QStringList commandLines(const QString &out)
{
    QStringList lines = out.split(u'\n').filter(QRegularExpression(u"^ - Command line: "_s));
    lines.sort();
    return lines;
}

// Started with the arguments, once its encoder has started and written for a while.
QProcess *encoding(const Home &home, const QStringList &arguments, QString &out)
{
    QProcess *p = home.start(arguments);
    QElapsedTimer t;
    t.start();
    for (out.clear(); !out.contains(u" -- Bitrate: "_s) && t.elapsed() < 30000; out += QString::fromUtf8(p->readAllStandardOutput()))
        p->waitForReadyRead(100);
    QTest::qWait(500);
    return p;
}

} // namespace

class TestHeadless : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void argumentsAreRead();
    void commandLineWithoutDisplay();
    void everyFormatTagsAndTheExistingOutput();
    void segmentFadeUpmixAndLoudness();
    void tagsAndOptionsReachTheLaterFormats();
    void badInputFailsCleanly();
    void signalsAbortTheEncode();
    void batchOfMixedSources();
    void namedBatchDryRunAndTrash();
};

void TestHeadless::argumentsAreRead()
{
    using Action = ProgramArguments::Action;
    const ProgramArguments p = parse(u"--home /h --convert a.wav --format mp2/mpa --volume=75 --segment 1.5 3 --title '' "
                                     "--wma-profile a96 --keep"_s);
    QVERIFY2(p.action == Action::Convert && p.home == u"/h"_s && p.request.sources == QStringList{u"a.wav"_s}, qPrintable(p.error));
    QVERIFY(p.request.format == u"MP2/MPA"_s && p.request.volume == std::optional<int>(75) && p.request.segmentEnd == u"3"_s);
    QVERIFY(p.request.title == std::optional<QString>(QString()) && !p.request.artist.has_value() && p.request.keep && !p.request.isBatch());
    QCOMPARE(p.request.wmaProfile, u"CD Audiophile Quality (96Kbps)"_s);
    // Several sources after --convert, also in its joined form, and the options in any place.
    const HeadlessRequest batch = parse(u"--jobs 3 --convert=a.wav b.flac --output-dir /o --recursive c.mp3"_s).request;
    QCOMPARE(batch.sources, words(u"a.wav b.flac c.mp3"_s));
    QVERIFY(batch.isBatch() && batch.recursive && batch.jobs == 3 && batch.outputDir == u"/o"_s);
    QVERIFY(parse(u"--convert a --existing=skip"_s).request.existing == ExistingPolicy::Skip);
    const LoudnessChoice loud = parse(u"--convert a --loudness=-18.5 --true-peak -2"_s).request.loudness;
    QVERIFY(loud.mode == LoudnessChoice::Mode::Normalize && loud.targetLufs == -18.5 && loud.truePeakDbtp == -2.0);
    QVERIFY(!parse(u"--convert a --replaygain track"_s).request.loudness.album);
    // Without --convert: the window, and what it opens.
    const ProgramArguments window = parse(u"-home /h a.mp3 -- --b.mp3"_s);
    QVERIFY(window.action == Action::Window && window.home == u"/h"_s && window.files == words(u"a.mp3 --b.mp3"_s));
    QVERIFY(parse(u"-h"_s).action == Action::Help && parse(u"--list-formats"_s).action == Action::ListFormats);
    QVERIFY(parse(u"--convert a --version"_s).action == Action::Version);
    // Each mistake is named, in one line.
    const std::pair<const char *, const char *> bad[] = {
        {"--format MP3", "--convert SOURCE is missing"}, {"--convert a --format APE", "unknown format \"APE\""},
        {"--convert a --volume loud", "--volume takes a whole percentage"},
        {"--convert a --segment 3 1", "the segment's end must lie after its start"},
        {"--convert a --segment 3", "--segment needs a start and an end"},
        {"--convert a --segment x 4", "--segment takes two times in seconds, not \"x\" \"4\""},
        {"--convert a --replace --keep", "--replace and --keep exclude each other"}, {"--convert a --bogus", "'bogus'"},
        {"--convert a --title", "'--title'"}, {"--normalize=yes --convert a", "'--normalize'"}, {"--convert ''", "--convert needs a file"},
        {"--convert a --convert b", "--convert is given twice"}, {"--home= a", "--home needs a folder"},
        {"--convert a --jobs 0", "--jobs takes a whole number from 1 to 64"},
        {"--convert a b --output c.mp3", "a batch takes --output-dir"},
        {"--convert a --dry-run --output c.mp3", "a batch takes --output-dir"},
        {"--convert a --loudness -3", "--loudness takes a target from -70 to -5 LUFS"},
        {"--convert a --loudness -16 --normalize", "--loudness and --normalize exclude each other"},
        {"--convert a --true-peak -1", "--true-peak is the ceiling of --loudness"},
        {"--convert a --loudness -16 --true-peak 1", "--true-peak takes a ceiling from -9 to 0 dBTP"},
        {"--convert a --replaygain disc", "--replaygain takes \"track\" or \"album\""},
        {"--convert a --replaygain track --loudness -16", "--replaygain leaves the audio as it is"},
        {"--convert a --wma-profile a1", "unknown WMA profile \"a1\""},
        {"--convert a --existing replace", "--existing takes ask, skip, overwrite or rename"},
        {"--convert a --existing rename --replace", "--replace is --existing overwrite"},
        {"--convert a --name-pattern ../{title}", "may not name \"..\""},
        {"--convert a --name-pattern /tmp/{title}", "not an absolute path"}};
    for (const auto &[arguments, error] : bad) {
        const ProgramArguments r = parse(QString::fromUtf8(arguments));
        QVERIFY2(r.action == Action::Invalid && r.error.contains(QString::fromUtf8(error)) && !r.error.contains(u'\n'),
                 qPrintable(QString::fromUtf8(arguments) + u" -> "_s + r.error));
    }
}

// What needs no window needs no display either; mistakes end with one line and status 2.
void TestHeadless::commandLineWithoutDisplay()
{
    const QString program = builtAppDir() + u"/tonmill"_s;
    const QStringList noDisplay = words(u"QT_QPA_PLATFORM= DISPLAY= WAYLAND_DISPLAY="_s);
    QTemporaryDir home;
    // The window itself cannot start there, so the rest is shown to need no display.
    QVERIFY(runProgram(program, {u"--home"_s, home.path()}, noDisplay).exitCode != 0);
    Ran r = runProgram(program, {u"--help"_s}, noDisplay);
    QVERIFY2(r.exitCode == 0 && r.out.startsWith(u"Usage: tonmill "_s), qPrintable(r.out));
    for (const QString &text : {u"\n  0 "_s, u"\n  3 "_s, u"--convert <SOURCE>"_s, u"--segment <START END>"_s, u"~/.config/Tonmill/"_s})
        QVERIFY2(r.out.contains(text), qPrintable(text));
    r = runProgram(program, {u"--list-formats"_s}, noDisplay);
    for (const QString &format : kFormatList.split(u'|'))
        QVERIFY2(r.exitCode == 0 && r.out.contains(u'\n' + format + u"  ."_s), qPrintable(format));
    for (const QString &text : {u"MP3BitRate       32 48 64 96 128 160 192 224 kbit/s"_s, u"AC3Channels      0 mono, 1 stereo, 2 5.1"_s,
                                u"FLACSamFreq      0 the source's own, 1 44100"_s, u"a96 \"CD Audiophile Quality (96Kbps)\""_s})
        QVERIFY2(r.out.contains(text), qPrintable(text + u" in\n"_s + r.out));
    for (const auto &[arguments, named] : {std::pair{"--convert x --bogus", "'bogus'"}, {"--convert x --format", "'--format'"},
                                           {"--upmix", "--convert SOURCE is missing"}}) {
        r = runProgram(program, words(QString::fromUtf8(arguments)), noDisplay);
        QVERIFY2(r.exitCode == 2 && r.out.isEmpty() && r.err.startsWith(u"tonmill: "_s) && r.err.contains(QString::fromUtf8(named))
                     && r.err.count(u'\n') == 1 && r.err.endsWith(u'\n'), qPrintable(r.err));
    }
}

// Classic formats (each encoded in tst_run) from sources of three kinds, left as they were; saved options, typed
// tags and the report's title; an existing output ends the run with status 3, unless empty or --replace is given.
void TestHeadless::everyFormatTagsAndTheExistingOutput()
{
    Home home("[Options]\r\nMode=AAC\r\nMP3BitRate=192\r\nMP3Channels=0\r\n");
    const QString wav = home.path(u"tone.wav"_s), mp3 = home.path(u"tone.mp3"_s), ac3 = home.path(u"tone.ac3"_s);
    QVERIFY(makeTone(wav, 2) && generate(mp3, u"sine=d=2"_s, words(u"-ac 2 -metadata title=From_the_report"_s))
            && generate(ac3, u"sine=d=2"_s, words(u"-ac 2 -c:a ac3"_s)));
    const QByteArray before = readBytes(wav) + readBytes(mp3) + readBytes(ac3);
    // Without --format, the saved Mode.
    for (const auto &[format, codec, source] : {std::tuple{"", "aac", wav}, {"AMR", "amr_nb", ac3}, {"WMA", "wmav2", ac3}, {"OGG", "vorbis", mp3}}) {
        const QString output = home.path(u"out."_s + QLatin1String(codec)), given = QLatin1String(format);
        const Ran r = home.convert(QStringList{u"--convert"_s, source, u"--output"_s, output} + (*format ? QStringList{u"--format"_s, given} : QStringList()));
        QVERIFY2(r.exitCode == 0 && r.out.contains(u" -- Output format: "_s + (*format ? given : u"AAC"_s) + u'\n'), qPrintable(r.err));
        QCOMPARE(probeEntries(output, u"stream=codec_name"_s), QLatin1String(codec));
        const double seconds = probeEntries(output, u"format=duration"_s).toDouble();
        QVERIFY2(seconds > 1.7 && seconds < 2.4, format);
    }
    QCOMPARE(readBytes(wav) + readBytes(mp3) + readBytes(ac3), before);
    QCOMPARE(probeEntries(home.path(u"out.vorbis"_s), u"stream_tags=title"_s), u"From_the_report"_s);
    // The saved MP3 options, and typed tags.
    const QString output = home.path(u"tone_Konverted.mp3"_s);
    const QStringList base = {u"--convert"_s, wav, u"--format"_s, u"MP3"_s};
    Ran r = home.convert(base + QStringList{u"--title"_s, u"Über \"it\""_s, u"--artist"_s, u"A; $(id)"_s}
                            + words(u"--album Alb --year 1999 --notes N --genre Jazz --track 12"_s));
    QVERIFY2(r.exitCode == 0 && r.err.isEmpty() && r.out.contains(u" -- Channels: 1\n -- Bitrate: 192\n"_s), qPrintable(r.err));
    QCOMPARE(probeEntries(output, u"stream=channels,bit_rate"_s), u"1,192000"_s);
    const QString frames = runProgram(u"mid3v2"_s, {u"-l"_s, output}).out;
    for (const QString &frame : {u"TIT2=Über \"it\""_s, u"TPE1=A; $(id)"_s, u"TALB=Alb"_s, u"TDRC=1999"_s, u"TCON=Jazz"_s, u"TRCK=12"_s,
                                 u"COMM==eng=N"_s})
        QVERIFY2(frames.contains(frame), qPrintable(frame + u" in "_s + frames));
    QStringList written = QDir(home.app).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    written.sort();
    QCOMPARE(written, words(u"DirectQX.avs Tonmill.ini fileData.ini"_s));

    writeBytes(output, "precious");
    r = home.convert(base);
    QVERIFY(r.exitCode == 3 && r.err.contains(u"--replace"_s) && r.out == QString(142, u'-') + u'\n');
    r = home.convert(base + QStringList{u"--keep"_s});
    QVERIFY(r.exitCode == 3 && !r.err.contains(u"--replace"_s) && readBytes(output) == "precious");
    QCOMPARE(home.convert(base + QStringList{u"--replace"_s}).exitCode, 0);
    QCOMPARE(probeEntries(output, u"stream=codec_name"_s), u"mp3"_s);
    writeBytes(output, {});
    QCOMPARE(home.convert(base).exitCode, 0);
    QVERIFY(QFileInfo(output).size() > 1000);
    QVERIFY(noProcessMentions(home.dir.path()));
}

void TestHeadless::segmentFadeUpmixAndLoudness()
{
    Home home("[Options]\r\nAC3Channels=2\r\n");
    const QString source = home.path(u"s.wav"_s), quiet = home.path(u"q.wav"_s), both = home.path(u"both.wav"_s);
    QVERIFY(makeTone(source, 4));
    QCOMPARE(home.convert(words(u"--format AC3 --upmix --normalize --volume 50 --convert"_s) << source).exitCode, 0);
    QVERIFY(readBytes(home.app + u"/DirectQX.avs"_s).contains("Clip4=Normalize(Clip3,volume=1)\r\nTrim(Clip4,0,100)"));
    QCOMPARE(probeEntries(home.path(u"s_Konverted.ac3"_s), u"stream=codec_name,channels"_s), u"ac3,6"_s);
    // A third of a short source fades at each end, read from ffmpeg or through
    // the script (WMA, for the fade), in a batch, or at a cut's own ends.
    for (const auto &[arguments, output, seconds] : {std::tuple{u"MP3"_s, u"s_Konverted.mp3"_s, 4.0}, {u"WMA"_s, u"s_Konverted.wma"_s, 4.0},
                                                     {u"FLAC --output-dir "_s + home.path(u"fade"_s), u"fade/s_Konverted.flac"_s, 4.0},
                                                     {u"WAV --segment 0.5 3.5 --output "_s + home.path(u"cut.wav"_s), u"cut.wav"_s, 3.0}}) {
        QVERIFY2(home.convert(words(u"--fade --replace --convert "_s + source + u" --format "_s + arguments)).exitCode == 0, qPrintable(arguments));
        const QString file = home.path(output);
        const double length = decodedSeconds(file);
        QVERIFY2(std::abs(length - seconds) < 0.1, qPrintable(u"%1: %2 s"_s.arg(arguments).arg(length)));
        const double full = meanVolume(file, u"atrim=%1:%2"_s.arg(length / 2 - 0.2).arg(length / 2 + 0.2));
        const double in = meanVolume(file, u"atrim=0:0.1"_s), half = meanVolume(file, u"atrim=%1:%2"_s.arg(length / 6 - 0.05).arg(length / 6 + 0.05));
        const double out = meanVolume(file, u"atrim=%1:%2"_s.arg(length - 0.1).arg(length));
        QVERIFY2(in < full - 15 && out < full - 15 && std::abs(half - (full - 6)) < 1.5,
                 qPrintable(u"%1: %2 %3 %4 %5"_s.arg(arguments).arg(in).arg(half).arg(full).arg(out)));
    }
    // A loudness target, as ffmpeg's own EBU R128 meter finds it.
    const auto integrated = [](const QString &file) { return measureLoudness(file).lufs; };
    Ran r = home.convert(words(u"--format MP3 --loudness -23 --replace --convert"_s) << source);
    QVERIFY(r.exitCode == 0 && r.out.contains(u" -- Loudness: -23 LUFS, true peak at most -1 dBTP\n"_s));
    QVERIFY2(std::abs(integrated(home.path(u"s_Konverted.mp3"_s)) + 23) <= 0.5, qPrintable(r.out));
    // An album: each file's own gain, and the gain of the files played one after another.
    QVERIFY(runProgram(u"sox"_s, {source, quiet, u"vol"_s, u"-12"_s, u"dB"_s}).exitCode == 0);
    QVERIFY(runProgram(u"sox"_s, {source, quiet, both}).exitCode == 0);
    r = home.convert(words(u"--format FLAC --replaygain album --output-dir"_s) << home.path(u"album"_s) << u"--convert"_s << source << quiet);
    QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
    for (const QString &own : {source, quiet}) {
        const QString output = home.path(u"album/"_s + QFileInfo(own).baseName() + u"_Konverted.flac"_s);
        const QStringList gains = python(u"import sys, mutagen\nt = mutagen.File(sys.argv[1]).tags\n"
                                         "print(t['replaygain_track_gain'][0].split()[0], t['replaygain_album_gain'][0].split()[0])"_s,
                                         {output}).split(u' ');
        QVERIFY2(std::abs(gains.value(0).toDouble() - (-18 - integrated(own))) <= 0.5, qPrintable(output + gains.join(u' ')));
        QVERIFY2(std::abs(gains.value(1).toDouble() - (-18 - integrated(both))) <= 0.5, qPrintable(output + gains.join(u' ')));
    }
    // ReplayGain tags in an MP3 outlive the tag editor's own ID3 tag.
    QCOMPARE(home.convert(words(u"--format MP3 --replaygain track --title Tagged --replace --convert"_s) << source).exitCode, 0);
    const QStringList read = python(u"import sys, mutagen\nt = mutagen.File(sys.argv[1]).tags\n"
                                    "print(t['TIT2'].text[0], t['TXXX:REPLAYGAIN_TRACK_GAIN'].text[0].split()[0])"_s,
                                    {home.path(u"s_Konverted.mp3"_s)}).split(u' ');
    QVERIFY2(read.value(0) == u"Tagged"_s && std::abs(read.value(1).toDouble() - (-18 - integrated(source))) <= 0.5,
             qPrintable(read.join(u' ')));
}

// Every tag field and the front cover of each kind of source reach each later format's own tag system, as
// mutagen reads it; typed values win; each format has its options from the settings.
void TestHeadless::tagsAndOptionsReachTheLaterFormats()
{
    Home home("[Options]\r\nFLACSamFreq=2\r\nFLACBits=1\r\nOpusBitRate=64\r\nOpusMode=1\r\nOggQuality=2\r\nM4AMode=1\r\n"
              "M4AQuality=0.5\r\nALACBits=1\r\n");
    const QStringList fields = {u"title=夜の歌"_s, u"artist=Аня"_s, u"album=Café"_s, u"album_artist=Équipe"_s, u"date=2024"_s,
                                u"genre=Folk"_s, u"track=3/12"_s, u"disc=2/3"_s, u"comment=ñandú"_s, u"composer=Зоя"_s};
    QStringList metadata, expected;
    for (const QString &field : fields) {
        metadata << u"-metadata"_s << field;
        expected << field.section(u'=', 1).section(u'/', 0, 0);
    }
    const QString cover = home.path(u"cover.png"_s);
    QVERIFY(generate(cover, u"testsrc=s=96x64"_s, words(u"-frames:v 1"_s)));
    expected << QString::fromLatin1(QCryptographicHash::hash(readBytes(cover), QCryptographicHash::Md5).toHex());
    const QStringList withCover = words(u"-i "_s + cover + u" -map 0 -map 1 -c:v copy -disposition:v attached_pic -metadata:s:v comment=Front"_s);
    // What ffmpeg does not write, mutagen adds: a WMA cover, an MP3 comment in COMM.
    const QString tagger = u"import sys, struct, mutagen.asf, mutagen.id3\n"
                           "f = mutagen.File(sys.argv[1]); data = open(sys.argv[2], 'rb').read()\n"
                           "if isinstance(f.tags, mutagen.asf.ASFTags):\n"
                           "    head = struct.pack('<BI', 3, len(data)) + 'image/png'.encode('utf-16-le') + b'\\0' * 4\n"
                           "    f.tags['WM/Picture'] = [mutagen.asf.ASFByteArrayAttribute(head + data)]; f.save()\n"
                           "else:\n"
                           "    f.tags.delall('TXXX:comment'); f.tags.add(mutagen.id3.COMM(encoding=1, lang='eng', desc='', text=[sys.argv[3]]))\n"
                           "    f.save(v2_version=3)\n"_s;
    for (const auto &[name, codec] : {std::pair{u"vorbis.flac"_s, withCover}, {u"atoms.m4a"_s, withCover + words(u"-c:a aac -f ipod"_s)},
                                      {u"id3v23.mp3"_s, withCover + words(u"-id3v2_version 3"_s)}, {u"attributes.wma"_s, words(u"-c:a wmav2"_s)}}) {
        QVERIFY(generate(home.path(name), u"sine=d=1"_s, codec + metadata + words(u"-ac 2"_s)));
        if (name.endsWith(u"mp3"_s) || name.endsWith(u"wma"_s))
            QVERIFY(runProgram(u"/usr/bin/python3"_s, {u"-c"_s, tagger, home.path(name), cover, expected[8]}).exitCode == 0);
    }
    // The ten fields (numbers without totals), the front cover's digest, the kind of file.
    const QString reader =
        u"import sys, base64, hashlib, mutagen, mutagen.asf, mutagen.flac, mutagen.id3, mutagen.mp4, mutagen._vorbis\n"
        "f = mutagen.File(sys.argv[1]); t = f.tags\n"
        "def get(*keys):\n"
        "    for k in keys:\n"
        "        if v := t.getall(k) if hasattr(t, 'getall') else t.get(k):\n"
        "            v = v[0].text[0] if hasattr(v[0], 'text') else v[0].value if hasattr(v[0], 'value') else v[0]\n"
        "            return str(v[0]) if isinstance(v, tuple) else str(v).split('/')[0]\n"
        "    return ''\n"
        "found = [p.data for p in getattr(f, 'pictures', []) if p.type == 3]\n"
        "if isinstance(t, mutagen._vorbis.VComment):\n"
        "    found += [p.data for p in map(mutagen.flac.Picture, map(base64.b64decode, t.get('metadata_block_picture', []))) if p.type == 3]\n"
        "if isinstance(t, mutagen.id3.ID3):\n"
        "    found += [p.data for p in t.getall('APIC') if p.type == 3]\n"
        "if isinstance(t, mutagen.mp4.MP4Tags):\n"
        "    found += [bytes(c) for c in t.get('covr', [])]\n"
        "for b in [a.value for a in t.get('WM/Picture', [])] if isinstance(t, mutagen.asf.ASFTags) else []:\n"
        "    i = 5\n"
        "    for _ in range(2):\n"
        "        while b[i:i + 2] != b'\\0\\0': i += 2\n"
        "        i += 2\n"
        "    found += [b[i:]] if b[0] == 3 else []\n"
        "print('|'.join([get('title', '\\xa9nam', 'TIT2', 'Title'), get('artist', '\\xa9ART', 'TPE1', 'Author'),\n"
        "      get('album', '\\xa9alb', 'TALB', 'WM/AlbumTitle'), get('albumartist', 'aART', 'TPE2', 'WM/AlbumArtist'),\n"
        "      get('date', '\\xa9day', 'TDRC', 'WM/Year'), get('genre', '\\xa9gen', 'TCON', 'WM/Genre'),\n"
        "      get('tracknumber', 'trkn', 'TRCK', 'WM/TrackNumber'), get('discnumber', 'disk', 'TPOS', 'WM/PartOfSet'),\n"
        "      get('comment', 'description', '\\xa9cmt', 'COMM', 'Description'), get('composer', '\\xa9wrt', 'TCOM', 'WM/Composer'),\n"
        "      ','.join(hashlib.md5(d).hexdigest() for d in found), type(f).__name__]))\n"_s;
    // Codec, rate, channels and bits as the options say, the Opus up-mixed.
    const std::pair<const char *, int> typedFields[] = {{"--title=Typed", 0}, {"--artist=Ärtist", 1}, {"--album=Albüm", 2},
                                                        {"--year=1999", 4}, {"--genre=Jazz", 5}, {"--track=7", 6}, {"--notes=Nötes", 8}};
    const std::tuple<const char *, const char *, const char *, const char *, int> cases[] = {
        {"FLAC flac", "atoms.m4a", "flac,48000,2,24", "FLAC", 7},          {"OPUS opus --upmix", "vorbis.flac", "opus,48000,6,", "OggOpus", 0},
        {"OGG ogg", "attributes.wma", "vorbis,44100,2,", "OggVorbis", 1},  {"M4A m4a", "id3v23.mp3", "aac,44100,2,", "MP4", 0},
        {"ALAC m4a", "attributes.wma", "alac,44100,2,24", "MP4", 7},       {"MP3 mp3", "vorbis.flac", "mp3,44100,2,", "MP3", 1},
        {"WMA wma", "id3v23.mp3", "wmav2,44100,2,", "ASF", 0}};
    for (const auto &[format, source, stream, kind, typed] : cases) {
        const QStringList given = words(QString::fromUtf8(format));
        const QString output = home.path(given[0] + u'-' + QLatin1String(source) + u'.' + given[1]);
        QStringList arguments = QStringList{u"--convert"_s, home.path(QLatin1String(source)), u"--output"_s, output, u"--format"_s, given[0]} + given.mid(2);
        QStringList want = expected;
        for (int i = 0; i < typed; ++i) {
            arguments << QString::fromUtf8(typedFields[i].first);
            want[typedFields[i].second] = arguments.constLast().section(u'=', 1);
        }
        const Ran r = home.convert(arguments);
        QVERIFY2(r.exitCode == 0, qPrintable(output + u' ' + r.err + r.out));
        // The sound's stream; a cover is a stream of its own.
        QCOMPARE(probeEntries(output, u"stream=codec_name,sample_rate,channels,bits_per_raw_sample"_s).split(u'\n')
                     .filter(QRegularExpression(u"^(?!png,|mjpeg,)"_s)).value(0).replace(u"N/A"_s, QString()), QLatin1String(stream));
        QVERIFY2(std::abs(decodedSeconds(output) - 1) < 0.1, qPrintable(output));
        QCOMPARE(python(reader, {output}), want.join(u'|') + u'|' + QLatin1String(kind));
    }
    // Opus at 64 kbit/s constant, AAC at its lowest VBR quality, far below its 192 kbit/s default.
    const double opus = probeEntries(home.path(u"OPUS-vorbis.flac.opus"_s), u"format=bit_rate"_s).toDouble();
    QVERIFY2(opus > 50'000 && opus < 80'000, qPrintable(QString::number(opus)));
    QVERIFY(probeEntries(home.path(u"M4A-id3v23.mp3.m4a"_s), u"stream=bit_rate"_s).section(u'\n', 0, 0).toDouble() < 100'000);
    QVERIFY(noProcessMentions(home.dir.path()));
}

void TestHeadless::badInputFailsCleanly()
{
    Home home;
    const QString tone = home.path(u"tone.wav"_s), odd = home.path(u"odd"_s);
    QVERIFY(makeTone(tone, 1) && QDir().mkpath(odd));
    QDir().mkpath(home.path(u"folder.wav"_s));
    writeBytes(home.path(u"empty.mp3"_s), {});
    writeBytes(home.path(u"random.mp3"_s), QByteArray(20000, '\x5a') + "12345");
    // The source, more arguments, part of the one-line reason.
    const std::tuple<QString, QString, QString> cases[] = {
        {u"missing.wav"_s, {}, u"does not exist"_s}, {u"folder.wav"_s, {}, u"no audio files were found"_s},
        {u"empty.mp3"_s, {}, u"is empty"_s}, {u"random.mp3"_s, {}, u"cannot be read as audio"_s},
        {u"tone.wav"_s, u"--format WAV --replace --output "_s + tone, u"the selected file itself"_s},
        {u"tone.wav"_s, u"--output /proc/out.mp3"_s, u"cannot write"_s}};
    for (const auto &[name, more, reason] : cases) {
        const QString source = home.path(name);
        const QByteArray before = readBytes(source);
        const Ran r = home.convert(QStringList{u"--convert"_s, source} + words(more));
        QVERIFY2(r.exitCode == 1 && r.err.startsWith(u"tonmill: "_s) && r.err.count(u'\n') == 1 && r.err.contains(reason),
                 qPrintable(name + u' ' + more + u" -> "_s + r.err));
        QVERIFY(readBytes(source) == before && noProcessMentions(home.dir.path()));
    }
    // Odd but harmless names convert, or fail only to run the script; nothing they say is run.
    const QStringList names = {u"q\"uote"_s, u"d$(touch PWNED)"_s, u"semi;colon"_s, u"new\nline"_s, u"Ünïcødé ñ"_s};
    for (const QString &name : names)
        QVERIFY(QFile::copy(tone, odd + u'/' + name + u".wav"_s));
    const Ran r = home.convert({u"--convert"_s, odd});
    QVERIFY2(r.exitCode == r.out.count(u": cannot run the script"_s), qPrintable(r.out));
    for (const QString &name : names) {
        const QString source = odd + u'/' + name + u".wav"_s;
        QVERIFY2(r.out.contains(u"done: "_s + source + u" -> "_s + odd + u'/' + name + u"_Konverted.mp3\n"_s)
                     != r.out.contains(u"failed: "_s + source + u": cannot run the script"_s), qPrintable(name + u'\n' + r.out));
        QCOMPARE(readBytes(source), readBytes(tone));
    }
    QVERIFY(!QFileInfo::exists(u"PWNED"_s) && !QFileInfo::exists(odd + u"/PWNED"_s) && noProcessMentions(home.dir.path()));
}

void TestHeadless::signalsAbortTheEncode()
{
    Home home;
    const QString source = home.path(u"long.wav"_s);
    QVERIFY(makeTone(source, 300));
    const QStringList arguments = {u"--convert"_s, source, u"--format"_s, u"MP3"_s, u"--replace"_s};
    // In the middle of the encode: the encoder ends and says so, and no output is left.
    QString out;
    std::unique_ptr<QProcess> p(encoding(home, arguments, out));
    QVERIFY(!processesMentioning(home.dir.path()).isEmpty() && p->processId() > 0); // kill(0) would signal this test's own group
    ::kill(p->processId(), SIGINT);
    QVERIFY(p->waitForFinished(30000) && p->exitCode() == 128 + SIGINT);
    out += QString::fromUtf8(p->readAllStandardOutput());
    QVERIFY2(QRegularExpression(u" -> Canceling program\\.\n\\d\\d:\\d\\d:\\d\\d -> Encoding Aborted!\n-{142}\n$"_s).match(out).hasMatch(),
             qPrintable(out));
    QVERIFY(noProcessMentions(home.dir.path()) && QDir(home.dir.path()).entryList(QDir::Files) == QStringList{u"long.wav"_s});
    // Killed outright: no child of it outlives it.
    p.reset(encoding(home, arguments, out));
    QVERIFY(processesMentioning(home.dir.path()).size() >= 2 && p->processId() > 0); // the program and its encoder
    ::kill(p->processId(), SIGKILL);
    QVERIFY(p->waitForFinished(30000) && noProcessMentions(home.dir.path()));
    // At random moments from start-up to the encode, with either signal; one
    // before the handlers are in place ends the program before it starts anything.
    QRandomGenerator random(20261122);
    for (int i = 0; i < 8; ++i) {
        const int delay = random.bounded(900), number = (i % 2) ? SIGTERM : SIGINT;
        p.reset(home.start(arguments + QStringList{u"--format"_s, QStringList{u"AC3"_s, u"AAC"_s, u"MP3"_s}[i % 3]}));
        QVERIFY(p->waitForStarted());
        QTest::qWait(delay);
        if (p->processId() > 0)
            ::kill(p->processId(), number);
        QVERIFY(p->waitForFinished(30000));
        QVERIFY2(p->exitStatus() == QProcess::CrashExit || p->exitCode() == 128 + number, qPrintable(u"delay %1"_s.arg(delay)));
        QVERIFY(noProcessMentions(home.dir.path()));
    }
}

void TestHeadless::batchOfMixedSources()
{
    // The ffprobe beside the configured ffmpeg notes what it is asked about.
    Home home;
    const QString bin = home.wrapTool(u"ffprobe"_s, "#!/bin/sh\nfor a; do last=$a; done\nprintf '%s\\n' \"$last\" >> \"$0.log\"\n"
                                                   "exec /usr/bin/ffprobe \"$@\"\n");
    const QString src = home.path(u"src"_s), out = home.path(u"out"_s);
    QDir().mkpath(src + u"/sub"_s);
    for (const QString &name : {u"a.wav"_s, u"b.mp3"_s, u"c.flac"_s, u"it's \"é\" ü.wav"_s, u"sub/song.wav"_s, u"sub/song.mp3"_s})
        QVERIFY2(generate(src + u'/' + name, u"sine=f=440:d=2"_s, words(u"-ac 2"_s)), qPrintable(name));
    writeBytes(src + u"/corrupt.mp3"_s, QByteArray(30000, '\x5a'));
    writeBytes(src + u"/empty.wav"_s, {});
    const QStringList arguments = QStringList{u"--convert"_s, src} + words(u"--recursive --jobs 2 --output-dir"_s) << out;
    // Good files convert, bad ones are named, two songs of one name keep apart; the status counts the missed.
    Ran r = home.convert(arguments);
    QCOMPARE(r.exitCode, 2);
    QVERIFY2(r.out.contains(u"failed: "_s + src + u"/corrupt.mp3: it cannot be read as audio"_s), qPrintable(r.out));
    QVERIFY(r.out.contains(u"failed: "_s + src + u"/empty.wav: "_s) && r.out.endsWith(u"6 of 8 files converted\n"_s));
    QHash<QString, QDateTime> written;
    for (const QString &name : {u"a"_s, u"b"_s, u"c"_s, u"it's \"é\" ü"_s, u"sub/song"_s, u"sub/song_Konverted (2)"_s}) {
        const QString path = out + u'/' + name + (name.endsWith(u')') ? u".mp3"_s : u"_Konverted.mp3"_s);
        QVERIFY2(r.out.contains(u" -> "_s + path + u'\n'), qPrintable(name));
        QCOMPARE(probeEntries(path, u"stream=codec_name,channels"_s), u"mp3,2"_s);
        QVERIFY2(std::abs(decodedSeconds(path) - 2) < 0.1, qPrintable(name));
        written.insert(path, QFileInfo(path).lastModified());
    }
    QCOMPARE(QDir(out).entryList(QDir::Files).size() + QDir(out + u"/sub"_s).entryList(QDir::Files).size(), 6);
    QVERIFY(QDir(home.tmp).isEmpty() && noProcessMentions(home.dir.path()));
    // Each source is measured once, a plain WAV from its header alone.
    const QString probes = QString::fromUtf8(readBytes(bin + u"/ffprobe.log"_s));
    for (const auto &[name, times] : {std::pair{"a.wav", 0}, {"b.mp3", 1}, {"c.flac", 1}, {"sub/song.mp3", 1}})
        QVERIFY2(probes.count(u"file:%1/%2\n"_s.arg(src, QLatin1String(name))) == times, qPrintable(probes));
    // Again: the outputs exist and are kept untouched.
    r = home.convert(arguments);
    QVERIFY(r.exitCode == 8 && r.out.count(u"skipped: "_s) == 6);
    for (auto it = written.cbegin(); it != written.cend(); ++it)
        QCOMPARE(QFileInfo(it.key()).lastModified(), it.value());

    // Ended in the middle: every encoder goes, and no unfinished output stays.
    const QString longSrc = home.path(u"long"_s);
    QDir().mkpath(longSrc);
    for (const char *name : {"1.wav", "2.wav", "3.wav", "4.wav"})
        QVERIFY(makeTone(longSrc + u'/' + QLatin1String(name), 60));
    std::unique_ptr<QProcess> p(home.start({u"--convert"_s, longSrc, u"--jobs"_s, u"2"_s}));
    QElapsedTimer t;
    for (t.start(); QDir(longSrc).entryList({u"*.part"_s}).isEmpty() && t.elapsed() < 30000;)
        QTest::qWait(20);
    QTest::qWait(300);
    QVERIFY(p->processId() > 0);
    ::kill(p->processId(), SIGTERM);
    QVERIFY(p->waitForFinished(30000) && p->exitCode() == 128 + SIGTERM);
    QVERIFY(QString::fromUtf8(p->readAllStandardOutput()).contains(u"aborted: "_s) && QDir(longSrc).entryList({u"*.part"_s}).isEmpty());
    for (const QString &name : QDir(longSrc).entryList({u"*_Konverted.mp3"_s}))
        QVERIFY2(std::abs(decodedSeconds(longSrc + u'/' + name) - 60) < 0.1, qPrintable(name));
    QVERIFY(noProcessMentions(home.dir.path()));
}

void TestHeadless::namedBatchDryRunAndTrash()
{
    // The configured ffmpeg cuts the output of the source titled "Truncated" short.
    Home home;
    home.wrapTool(u"ffmpeg"_s, "#!/bin/sh\n/usr/bin/ffmpeg \"$@\"\nstatus=$?\nfor a; do last=$a; done\n"
                               "case \"$last\" in *Truncated*) head -c 3000 \"$last\" > \"$last.cut\" && mv \"$last.cut\" \"$last\";; esac\n"
                               "exit $status\n");
    const QString src = home.path(u"src"_s), out = home.path(u"out"_s), dataHome = home.path(u"data"_s);
    QDir().mkpath(src + u"/sub"_s);
    QDir().mkpath(out + u"/sub"_s);
    // Two sources that name one output, and one without tags whose output exists.
    const QStringList song = words(u"-metadata artist=Bänd -metadata title=Song/One"_s);
    QVERIFY(generate(src + u"/one.flac"_s, u"sine=d=2"_s, song) && generate(src + u"/four.flac"_s, u"sine=d=2"_s, song));
    QVERIFY(generate(src + u"/sub/two.flac"_s, u"sine=d=2"_s, words(u"-metadata artist=Bänd -metadata title=Truncated"_s)));
    QVERIFY(generate(src + u"/sub/three.flac"_s, u"sine=d=2"_s));
    const QString existing = out + u"/sub/Unknown Artist - Unknown Title.mp3"_s;
    writeBytes(existing, "kept as it is");
    const QStringList environment = {u"XDG_DATA_HOME="_s + dataHome};
    const QStringList common = QStringList{u"--convert"_s, src, u"--output-dir"_s, out, u"--name-pattern"_s, u"{relpath}/{artist} - {title}"_s}
                               + words(u"--recursive --format MP3 --trash-sources --jobs 2"_s);
    const QStringList arguments = common + words(u"--existing rename"_s);
    const QStringList outputs = {out + u"/Bänd - Song_One.mp3"_s, out + u"/Bänd - Song_One (2).mp3"_s,
                                 out + u"/sub/Unknown Artist - Unknown Title (2).mp3"_s, out + u"/sub/Bänd - Truncated.mp3"_s};
    // The dry run names every output and decision and leaves every file as it was.
    const QStringList before = treeListing(home.dir.path());
    const Ran dry = home.convert(arguments + QStringList{u"--dry-run"_s}, environment);
    QVERIFY2(dry.exitCode == 0 && dry.out.endsWith(u"4 files planned; nothing was written\n"_s), qPrintable(dry.out));
    const QStringList sources = {u"four.flac"_s, u"one.flac"_s, u"sub/three.flac"_s, u"sub/two.flac"_s};
    for (qsizetype i = 0; i < sources.size(); ++i) {
        const QString entry = src + u'/' + sources[i] + u"\n - Output file: "_s + outputs[i] + u"\n - Existing output: "_s
                              + (i == 2 ? u"renamed"_s : u"new"_s) + u"\n - Command line: "_s;
        QVERIFY2(dry.out.contains(entry), qPrintable(entry + u"\n---\n"_s + dry.out));
    }
    const QStringList planned = commandLines(dry.out);
    QCOMPARE(planned.size(), 4);
    // --replace and --keep answer for the existing output, and by default what is there is kept.
    for (const auto &[given, decision] : {std::pair{"--replace", "overwrite"}, {"--keep", "skip"}, {"--existing ask", "skip"},
                                          {"--existing overwrite", "overwrite"}}) {
        const Ran policy = home.convert(common + words(QLatin1String(given)) + QStringList{u"--dry-run"_s}, environment);
        QVERIFY2(policy.exitCode == 0 && policy.out.contains(existing + u"\n - Existing output: "_s + QLatin1String(decision) + u'\n'),
                 qPrintable(QLatin1String(given) + u'\n' + policy.out));
    }
    QCOMPARE(treeListing(home.dir.path()), before);
    // The run logs the same lines; the short output's source stays, the others go to the trash.
    const Ran r = home.convert(arguments, environment);
    QVERIFY(r.exitCode == 1 && commandLines(r.out) == planned);
    QVERIFY2(r.out.contains(u"failed: "_s + src + u"/sub/two.flac: the output failed its check, so the source stays: the output "_s),
             qPrintable(r.out));
    QCOMPARE(readBytes(existing), QByteArray("kept as it is"));
    for (const QString &output : outputs.mid(0, 3))
        QVERIFY2(std::abs(decodedSeconds(output) - 2) < 0.1, qPrintable(output));
    QVERIFY(QFileInfo::exists(src + u"/sub/two.flac"_s) && !QFileInfo::exists(dataHome + u"/Trash/files/two.flac"_s));
    const QRegularExpression date(u"^DeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d$"_s, QRegularExpression::MultilineOption);
    for (const QString &name : {u"one.flac"_s, u"four.flac"_s, u"sub/three.flac"_s}) {
        const QString file = QFileInfo(name).fileName();
        QVERIFY2(!QFileInfo::exists(src + u'/' + name), qPrintable(name));
        QVERIFY(std::abs(decodedSeconds(dataHome + u"/Trash/files/"_s + file) - 2) < 0.1);
        const QString info = QString::fromUtf8(readBytes(dataHome + u"/Trash/info/"_s + file + u".trashinfo"_s));
        QVERIFY2(info.startsWith(u"[Trash Info]\nPath="_s + src + u'/' + name + u'\n') && date.match(info).hasMatch(), qPrintable(info));
    }
    QVERIFY(QDir(home.tmp).isEmpty());
}

QTEST_GUILESS_MAIN(TestHeadless)
#include "tst_headless.moc"
