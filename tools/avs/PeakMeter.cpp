#include "tools/avs/PeakMeter.h"

#include "platform/ToolChain.h"
#include "tools/avs/ToolProcess.h"

#include <QRegularExpression>

#include <cmath>

namespace tonmill::avs {

std::optional<double> measurePeak(const QString &ffmpegPath, const FfmpegGraph &graph, QString *error)
{
    const QString graphText = graph.filterComplex + QLatin1Char(';') + graph.outputLabel
                              + QStringLiteral("astats=measure_perchannel=none:measure_overall=Peak_level[scan]");
    QStringList arguments{QStringLiteral("-nostdin"), QStringLiteral("-hide_banner"), QStringLiteral("-nostats"),
                          QStringLiteral("-loglevel"), QStringLiteral("info")};
    arguments << graph.inputArguments
              << QStringLiteral("-filter_complex") << graphText
              << QStringLiteral("-map") << QStringLiteral("[scan]")
              << QStringLiteral("-f") << QStringLiteral("null") << QStringLiteral("-");
    const ToolResult run = runTool(ffmpegPath, arguments);
    if (!run.finished || run.exitCode != 0) {
        const QString why = run.finished ? lastLineOf(QString::fromUtf8(run.err)) : run.failure;
        *error = QStringLiteral("Normalize could not read the audio: %1").arg(why.isEmpty() ? QStringLiteral("ffmpeg failed") : why);
        return std::nullopt;
    }
    // astats reports at the end: "... Peak level dB: -12.041200" ("-inf" for silence).
    static const QRegularExpression peakLine(QStringLiteral("Peak level dB: (\\S+)"));
    double peak = 0;
    QRegularExpressionMatchIterator it = peakLine.globalMatch(QString::fromUtf8(run.err));
    while (it.hasNext()) {
        bool ok = false;
        const double db = it.next().captured(1).toDouble(&ok);
        if (ok && std::isfinite(db))
            peak = std::pow(10.0, db / 20.0);
    }
    return peak;
}

} // namespace tonmill::avs
