#include "convert/OutputCheck.h"

#include "platform/ToolChain.h"

#include <QProcess>
#include <QRegularExpression>

#include <cmath>
#include <optional>

namespace tonmill {

namespace {

constexpr int kCheckTimeoutMs = 600000;

} // namespace

QString outputCheckFailure(const QString &ffmpegPath, const QString &output, double expectedSeconds)
{
    QProcess decode;
    decode.setStandardInputFile(QProcess::nullDevice());
    decode.setStandardOutputFile(QProcess::nullDevice());
    // -xerror ends at the first damaged packet; -stats prints the time decoded.
    decode.start(ffmpegPath, {QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"), QStringLiteral("-v"),
                              QStringLiteral("error"), QStringLiteral("-stats"), QStringLiteral("-xerror"),
                              QStringLiteral("-i"), QStringLiteral("file:") + output, QStringLiteral("-map"),
                              QStringLiteral("0:a:0"), QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-")});
    if (!decode.waitForStarted(-1))
        return cannotStart(ffmpegPath, decode.errorString());
    if (!decode.waitForFinished(kCheckTimeoutMs)) {
        decode.kill();
        decode.waitForFinished();
        return QStringLiteral("the output could not be decoded in time");
    }
    const QString printed = QString::fromUtf8(decode.readAllStandardError());
    if (decode.exitStatus() != QProcess::NormalExit || decode.exitCode() != 0)
        return QStringLiteral("the output does not decode to its end: %1").arg(lastLineOf(printed));
    // The last status line carries the whole length decoded.
    static const QRegularExpression time(QStringLiteral(R"(time=\s*(\d+):(\d+):(\d+(?:\.\d+)?))"));
    std::optional<double> decoded;
    for (auto it = time.globalMatch(printed); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        decoded = m.captured(1).toDouble() * 3600 + m.captured(2).toDouble() * 60 + m.captured(3).toDouble();
    }
    if (!decoded)
        return QStringLiteral("the output's decoded length is unknown");
    if (std::abs(*decoded - expectedSeconds) > kOutputLengthTolerance)
        return QStringLiteral("the output decodes to %1 s where %2 s were expected")
            .arg(*decoded, 0, 'f', 2)
            .arg(expectedSeconds, 0, 'f', 2);
    return {};
}

} // namespace tonmill
