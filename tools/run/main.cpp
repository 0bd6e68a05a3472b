// tonmill-run: runs the encoder lines the program writes for its original
// tools (old ffmpeg, QuEnc, the WMA script host) on today's ffmpeg, and prints
// the progress lines the program's progress monitor reads.
#include "tools/run/EncoderRun.h"
#include "tools/run/ScriptSource.h"
#include "tools/run/TerminationSignals.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>

#include <cstdio>

using namespace tonmill::run;

namespace {

void print(FILE *stream, const QString &text)
{
    std::fputs((text + QLatin1Char('\n')).toUtf8().constData(), stream);
    std::fflush(stream);
}

int fail(const QString &reason)
{
    print(stderr, QStringLiteral("tonmill-run: error: ") + reason);
    return 1;
}

// The ffmpeg that does the work: the one an ffmpeg line names, otherwise the
// one on the search path or in the system's program folders.
QString ffmpegFor(const EncodeRequest &request, const QStringList &words)
{
    if (request.kind == LineKind::Ffmpeg)
        return words.first();
    const QString onPath = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    if (!onPath.isEmpty())
        return onPath;
    return QStandardPaths::findExecutable(QStringLiteral("ffmpeg"),
                                          {QStringLiteral("/usr/bin"), QStringLiteral("/usr/local/bin")});
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    TerminationSignals termination;
    const QStringList words = QCoreApplication::arguments().mid(1);

    const ParsedLine parsed = parseEncoderLine(words);
    if (!parsed.ok)
        return fail(parsed.error);
    const QString ffmpeg = ffmpegFor(parsed.request, words);
    if (ffmpeg.isEmpty() || !QFileInfo(ffmpeg).isExecutable())
        return fail(QStringLiteral("ffmpeg is not installed at \"%1\"").arg(ffmpeg.isEmpty() ? QStringLiteral("ffmpeg") : ffmpeg));

    const SourceResult source = openSource(parsed.request.input, ffmpeg);
    if (!source.ok)
        return fail(source.error);

    EncoderRun run(parsed.request, source.source, ffmpeg);
    int status = 0;
    QObject::connect(&run, &EncoderRun::line, [](const QString &text) { print(stdout, text); });
    QObject::connect(&run, &EncoderRun::finished, [&](bool ok) {
        status = ok ? 0 : fail(run.failure());
        QCoreApplication::exit(status);
    });
    QObject::connect(&termination, &TerminationSignals::received, [&](int number) {
        run.stop();
        status = 128 + number;
        QCoreApplication::exit(status);
    });
    if (!run.start())
        return fail(run.failure());
    app.exec();
    return status;
}
