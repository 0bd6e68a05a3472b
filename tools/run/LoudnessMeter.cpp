#include "tools/run/LoudnessMeter.h"

#include "platform/ChildProcess.h"
#include "platform/ToolChain.h"
#include "tools/run/TerminationSignals.h"

#include <QProcess>
#include <QRegularExpression>

#include <cmath>

namespace tonmill::run {

namespace {

std::optional<double> decibels(const QString &text)
{
    if (text == QLatin1String("-inf"))
        return -std::numeric_limits<double>::infinity();
    bool ok = false;
    const double value = text.toDouble(&ok);
    return ok && std::isfinite(value) ? std::optional<double>(value) : std::nullopt;
}

} // namespace

std::optional<LoudnessReading> parseLoudnessLog(const QString &log)
{
    const qsizetype summary = log.lastIndexOf(QLatin1String("Summary:"));
    if (summary < 0)
        return std::nullopt;
    const QString tail = log.mid(summary);
    static const QRegularExpression integrated(QStringLiteral(R"(Integrated loudness:\s*\n\s*I:\s*(\S+) LUFS)"));
    static const QRegularExpression truePeak(QStringLiteral(R"(True peak:\s*\n\s*Peak:\s*(\S+) dBFS)"));
    const std::optional<double> lufs = decibels(integrated.match(tail).captured(1));
    if (!lufs || !std::isfinite(*lufs))
        return std::nullopt;
    LoudnessReading reading;
    reading.integratedLufs = *lufs;
    if (const std::optional<double> peak = decibels(truePeak.match(tail).captured(1)))
        reading.truePeakDbtp = *peak;
    // The output stream's line, which ffmpeg writes before the summary.
    static const QRegularExpression outputRate(
        QStringLiteral(R"(Output #0,[^\n]*\n(?:[^\n]*\n)*?[^\n]*Stream #0:0: Audio: [^,]+, (\d+) Hz)"));
    const qsizetype output = log.lastIndexOf(QLatin1String("Output #0,"), summary);
    if (output >= 0)
        reading.sampleRate = outputRate.match(log.mid(output)).captured(1).toInt();
    return reading;
}

QStringList loudnessMeterArguments(const EncodeRequest &request, const AudioSource &source,
                                   const QStringList &filters, bool truePeak)
{
    // Per-frame lines at verbose level stay out of the log; the summary is at info.
    const QString meter = truePeak ? QStringLiteral("ebur128=peak=true:framelog=verbose")
                                   : QStringLiteral("ebur128=framelog=verbose");
    const AudioGraph graph = audioGraph(request, source, QStringList(filters) << meter);
    QStringList a = {QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"), QStringLiteral("-nostats"),
                     QStringLiteral("-loglevel"), QStringLiteral("level+info")};
    a << source.inputArguments;
    a << QStringLiteral("-filter_complex") << graph.filterComplex << QStringLiteral("-map") << graph.map;
    a << QStringLiteral("-f") << QStringLiteral("null") << QStringLiteral("-");
    return a;
}

MeterRun runLoudnessMeter(const QString &ffmpegPath, const QStringList &arguments, const EncodeRequest &request,
                          const AudioSource &source)
{
    MeterRun run;
    QProcess process;
    makeChildDieWithParent(process);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    bool started = false;
    {
        const HeldTerminationSignals held;
        process.setChildProcessModifier(held.releasedInChild(process.childProcessModifier()));
        process.start(ffmpegPath, arguments);
        started = process.waitForStarted(-1);
        if (started)
            setEncoderProcess(process.processId());
    }
    if (!started) {
        const ProgramCheck check = checkProgram(ffmpegPath);
        run.failureStatus = check.status != 0 ? check.status : kHelperProgramNotExecutable;
        run.failure = check.status != 0 ? check.reason : cannotStart(ffmpegPath, process.errorString());
        return run;
    }
    process.waitForFinished(-1);
    setEncoderProcess(0);
    const QByteArray log = process.readAllStandardError();
    run.diagnostics.feed(log);
    run.diagnostics.feed("\n"); // a last line without its end still counts
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        const QString why = process.exitStatus() != QProcess::NormalExit
            ? QStringLiteral("ffmpeg was ended by signal %1").arg(process.exitCode())
            : failureLine({process.exitCode(), run.diagnostics.errors(), run.diagnostics.lastLines(),
                           sourceFiles(source), request.encoder, 0, QStringLiteral("-"), QStringLiteral("-")});
        run.failure = QStringLiteral("the loudness could not be measured: %1").arg(why);
        return run;
    }
    run.reading = parseLoudnessLog(QString::fromUtf8(log));
    if (!run.reading)
        run.failure = QStringLiteral("the loudness could not be measured: ffmpeg's meter gave no summary");
    return run;
}

} // namespace tonmill::run
