#include "tools/avs/AudioMeter.h"

#include "platform/ToolChain.h"
#include "tools/avs/ToolProcess.h"

#include <QRegularExpression>

#include <cmath>

namespace tonmill::avs {

std::optional<AudioMeasure> measureAudio(const QString &ffmpegPath, const FfmpegGraph &graph, const QString &purpose,
                                         QString *error)
{
    const QString graphText = graph.filterComplex + QLatin1Char(';') + graph.outputLabel
                              + QStringLiteral("astats=measure_perchannel=none:measure_overall=Peak_level+Number_of_samples[scan]");
    QStringList arguments{QStringLiteral("-nostdin"), QStringLiteral("-hide_banner"), QStringLiteral("-nostats"),
                          QStringLiteral("-loglevel"), QStringLiteral("info")};
    arguments << graph.inputArguments
              << QStringLiteral("-filter_complex") << graphText
              << QStringLiteral("-map") << QStringLiteral("[scan]")
              << QStringLiteral("-f") << QStringLiteral("null") << QStringLiteral("-");
    const ToolResult run = runTool(ffmpegPath, arguments);
    if (!run.finished || run.exitCode != 0) {
        const QString why = run.finished ? lastLineOf(QString::fromUtf8(run.err)) : run.failure;
        *error = QStringLiteral("%1 could not read the audio: %2").arg(purpose, why.isEmpty() ? QStringLiteral("ffmpeg failed") : why);
        return std::nullopt;
    }
    // astats reports at the end: "... Peak level dB: -12.041200" ("-inf" for
    // silence) and "... Number of samples: 88200"; no audio, no report.
    const QString report = QString::fromUtf8(run.err);
    AudioMeasure measure;
    static const QRegularExpression peakLine(QStringLiteral("Peak level dB: (\\S+)"));
    QRegularExpressionMatchIterator peaks = peakLine.globalMatch(report);
    while (peaks.hasNext()) {
        bool ok = false;
        const double db = peaks.next().captured(1).toDouble(&ok);
        if (ok && std::isfinite(db))
            measure.peak = std::pow(10.0, db / 20.0);
    }
    static const QRegularExpression samplesLine(QStringLiteral("Number of samples: (\\d+)"));
    QRegularExpressionMatchIterator counts = samplesLine.globalMatch(report);
    while (counts.hasNext())
        measure.samples = counts.next().captured(1).toLongLong();
    return measure;
}

} // namespace tonmill::avs
