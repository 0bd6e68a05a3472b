// tonmill-run: runs the encoder lines the program writes for its original
// tools (old ffmpeg, QuEnc, the WMA script host) on today's ffmpeg, and prints
// the progress lines the program's progress monitor reads.
//
// Exit status:
//   0        the output was encoded.
//   1        the encode failed; the last line on stderr says why, after up to
//            four of ffmpeg's own last lines when ffmpeg ran.
//   126      (kHelperProgramNotExecutable) a program it has to run exists but
//            cannot be executed: not executable, a folder, or exec refuses it.
//   127      (kHelperProgramMissing) a program it has to run does not exist:
//            ffmpeg as the line names it (for the QuEnc and WMA lines, ffmpeg on
//            the search path), and for a script ffprobe, which the interpreter
//            takes from beside that ffmpeg or from the search path.
//   128 + N  ended by signal N; the encoder and its unfinished file are gone.
// 126 and 127 are what env and the shells use, so that the program can tell a
// run that never began from one that failed.
//
// TONMILL_LOUDNESS in the environment (see convert/LoudnessChoice.h) asks for
// loudness normalising or ReplayGain tags; the audio is measured before it is
// encoded. Asked only to measure, it prints the reading and writes nothing.
// What cannot be done as asked is said in a "note:" line on stderr.
// TONMILL_EQUALIZER (see convert/EqualizerChoice.h) gives the equalizer's 18
// band gains, which shape the sound before anything else is done to it.
// TONMILL_WINDOW (see convert/OutputWindow.h) asks for only a stretch of the
// output, cut after everything else, loudness measuring included, is done.
#include "convert/EqualizerChoice.h"
#include "convert/LoudnessChoice.h"
#include "platform/ToolChain.h"
#include "tools/avs/ToolProcess.h"
#include "tools/run/EncoderRun.h"
#include "tools/run/LoudnessPass.h"
#include "tools/run/ScriptSource.h"
#include "tools/run/TerminationSignals.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <cstdio>

using namespace tonmill;
using namespace tonmill::run;

namespace {

void print(FILE *stream, const QString &text)
{
    std::fputs((text + QLatin1Char('\n')).toUtf8().constData(), stream);
    std::fflush(stream);
}

// The reason is read from the last line alone, so a name with a line break
// must not split it.
int fail(QString reason, int status = 1)
{
    reason.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
    print(stderr, QStringLiteral("tonmill-run: error: ") + reason);
    return status;
}

struct Ffmpeg {
    QString path;
    ProgramCheck check;
};

// The ffmpeg that does the work: the one an ffmpeg line names (a bare name
// from the search path), otherwise the one on the search path or in the
// system's program folders.
Ffmpeg ffmpegFor(const EncodeRequest &request, const QStringList &words)
{
    const QString named = request.kind == LineKind::Ffmpeg ? words.first() : QString();
    if (named.contains(QLatin1Char('/')))
        return {named, checkProgram(named)};
    const QString name = named.isEmpty() ? QStringLiteral("ffmpeg") : named;
    QString found = QStandardPaths::findExecutable(name);
    if (found.isEmpty() && named.isEmpty())
        found = QStandardPaths::findExecutable(name, {QStringLiteral("/usr/bin"), QStringLiteral("/usr/local/bin")});
    if (found.isEmpty())
        return {name, {kHelperProgramMissing, cannotStart(name, QStringLiteral("it is not on the search path"))}};
    return {found, {}};
}

// The interpreter's ffprobe, looked for where the interpreter looks.
ProgramCheck ffprobeFor(const QString &ffmpeg)
{
    if (!avs::findFfprobe(ffmpeg).isEmpty())
        return {};
    const QString beside = QFileInfo(ffmpeg).dir().filePath(QStringLiteral("ffprobe"));
    if (QFileInfo::exists(beside))
        return checkProgram(beside);
    return {kHelperProgramMissing,
            cannotStart(QStringLiteral("ffprobe"), QStringLiteral("it is neither at \"%1\" nor on the search path").arg(beside))};
}

void note(const QString &text)
{
    print(stderr, QStringLiteral("tonmill-run: note: ") + text);
}

bool isScript(const QString &input)
{
    return QFileInfo(input).suffix().compare(QLatin1String("avs"), Qt::CaseInsensitive) == 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    installTerminationHandler();
    const QStringList words = QCoreApplication::arguments().mid(1);

    ParsedLine parsed = parseEncoderLine(words);
    if (!parsed.ok)
        return fail(parsed.error);
    const Ffmpeg ffmpeg = ffmpegFor(parsed.request, words);
    if (ffmpeg.check.status != 0)
        return fail(ffmpeg.check.reason, ffmpeg.check.status);
    if (isScript(parsed.request.input)) {
        const ProgramCheck ffprobe = ffprobeFor(ffmpeg.path);
        if (ffprobe.status != 0)
            return fail(ffprobe.reason, ffprobe.status);
    }

    // Asked for and not understood, it would be encoded at a level nobody chose.
    std::optional<LoudnessChoice> loudness;
    const QByteArray loudnessValue = qgetenv(kLoudnessVariable);
    if (!loudnessValue.isEmpty()) {
        loudness = loudnessFrom(loudnessValue);
        if (!loudness)
            return fail(QStringLiteral("%1 is not a loudness setting: %2")
                            .arg(QLatin1String(kLoudnessVariable), QString::fromUtf8(loudnessValue)));
    }

    const QByteArray equalizerValue = qgetenv(kEqualizerVariable);
    if (!equalizerValue.isEmpty()) {
        const std::optional<EqualizerGains> gains = equalizerFrom(equalizerValue);
        if (!gains)
            return fail(QStringLiteral("%1 is not a set of equalizer gains: %2")
                            .arg(QLatin1String(kEqualizerVariable), QString::fromUtf8(equalizerValue)));
        parsed.request.shaping << equalizerFilter(*gains);
    }

    const QByteArray windowValue = qgetenv(kWindowVariable);
    if (!windowValue.isEmpty()) {
        parsed.request.window = windowFrom(windowValue);
        if (!parsed.request.window)
            return fail(QStringLiteral("%1 is not a stretch of the output: %2")
                            .arg(QLatin1String(kWindowVariable), QString::fromUtf8(windowValue)));
    }

    const SourceResult source = openSource(parsed.request.input, ffmpeg.path);
    if (!source.ok)
        return fail(source.error);

    // A batch's album gain needs every file's loudness before any is encoded.
    if (loudness && loudness->measureOnly) {
        const MeterRun measured = measureEncodedAudio(parsed.request, source.source, ffmpeg.path);
        if (!measured.reading)
            return fail(measured.failure, measured.failureStatus);
        print(stdout, measuredLoudnessLine(measured.reading->integratedLufs, measured.reading->truePeakDbtp));
        return 0;
    }

    EncoderRun run(parsed.request, source.source, ffmpeg.path, loudness);
    QObject::connect(&run, &EncoderRun::line, [](const QString &text) { print(stdout, text); });
    QObject::connect(&run, &EncoderRun::notice, note);
    QObject::connect(&run, &EncoderRun::finished, [&](bool ok) {
        if (ok) {
            QCoreApplication::exit(0);
            return;
        }
        for (const QString &line : run.lastWords())
            print(stderr, line);
        QCoreApplication::exit(fail(run.failure(), run.failureStatus()));
    });
    if (!run.start()) {
        for (const QString &line : run.lastWords())
            print(stderr, line);
        return fail(run.failure(), run.failureStatus());
    }
    return app.exec();
}
