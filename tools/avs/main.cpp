// tonmill-avs: renders a decoding script to a WAV file with ffmpeg.
//   tonmill-avs --ffmpeg PATH SCRIPT OUTPUT.wav
// On any failure it prints one line to stderr, exits non-zero and leaves no
// output behind.
//   tonmill-avs --ffmpeg PATH --graph SCRIPT
// prints the ffmpeg arguments the script compiles to (inputs, -filter_complex
// and -map), each ended by a NUL byte, for benchmarks and for looking into a
// script.
//   tonmill-avs --ffmpeg PATH --length SCRIPT
// prints the script's length in seconds on one line (0 when its sources do not
// say), for the program to learn the length of a source that is a script.

#include "tools/avs/AvsScript.h"
#include "tools/avs/WavRender.h"

#include <QCoreApplication>
#include <QFile>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// What a signal handler must undo: read there, so plain and fixed-size.
volatile sig_atomic_t g_encoder = 0;
volatile sig_atomic_t g_hasPartial = 0;
char g_partial[4096];

extern "C" void stopRender(int signal)
{
    const pid_t encoder = g_encoder;
    if (encoder > 0) {
        // The encoder leads its own process group. Once it has been reaped it
        // can no longer create the file removed below.
        ::kill(-encoder, SIGKILL);
        ::waitpid(encoder, nullptr, 0);
    }
    if (g_hasPartial)
        ::unlink(g_partial);
    ::_exit(128 + signal);
}

class SignalWatch : public tonmill::avs::RenderWatch {
public:
    void partialFileCreated(const QString &path) override
    {
        const QByteArray name = QFile::encodeName(path);
        if (static_cast<size_t>(name.size()) < sizeof g_partial) {
            std::memcpy(g_partial, name.constData(), static_cast<size_t>(name.size()) + 1);
            g_hasPartial = 1;
        }
    }
    void encoderStarted(qint64 pid) override { g_encoder = static_cast<sig_atomic_t>(pid); }
    void encoderEnded() override { g_encoder = 0; }
};

int failWith(const QString &message)
{
    std::fprintf(stderr, "tonmill-avs: %s\n", message.toLocal8Bit().constData());
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    struct sigaction action {};
    action.sa_handler = stopRender;
    sigemptyset(&action.sa_mask);
    for (int s : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(s, &action, nullptr);

    const QStringList args = app.arguments();
    if (args.size() != 5 || args[1] != QLatin1String("--ffmpeg"))
        return failWith(QStringLiteral("usage: tonmill-avs --ffmpeg PATH SCRIPT OUTPUT.wav | --ffmpeg PATH --graph SCRIPT | --ffmpeg PATH --length SCRIPT"));
    const QString ffmpeg = args[2];
    if (args[3] == QLatin1String("--length")) {
        QString error;
        const std::optional<double> seconds = tonmill::avs::scriptLength(args[4], ffmpeg, &error);
        if (!seconds)
            return failWith(error);
        std::printf("%s\n", QString::number(*seconds, 'f', 6).toLatin1().constData());
        return 0;
    }
    const bool graphOnly = args[3] == QLatin1String("--graph");

    const tonmill::avs::CompileResult compiled = tonmill::avs::compileScript(graphOnly ? args[4] : args[3], ffmpeg);
    if (!compiled.ok)
        return failWith(compiled.error);
    if (graphOnly) {
        const tonmill::avs::FfmpegGraph &g = compiled.graph;
        for (const QString &a : g.inputArguments + QStringList{QStringLiteral("-filter_complex"), g.filterComplex, QStringLiteral("-map"), g.outputLabel}) {
            const QByteArray bytes = a.toLocal8Bit();
            std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()) + 1, stdout);
        }
        return 0;
    }
    SignalWatch watch;
    QString error;
    if (!tonmill::avs::renderWav(compiled.graph, ffmpeg, args[4], watch, &error))
        return failWith(error);
    return 0;
}
