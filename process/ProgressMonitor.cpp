#include "process/ProgressMonitor.h"

#include "platform/NumberFormat.h"

#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace tonmill {

namespace {

constexpr int kWmaFormat = 7;
constexpr qsizetype kWmaLabelLength = 63;
constexpr qsizetype kBracketBlanks = 97;

// The numeric format "0": a number becomes its whole value; any other text
// passes through unchanged.
QString formatWholeText(const QString &text)
{
    const std::optional<double> value = parseNumber(text);
    return value ? tonmill::formatWhole(*value) : text;
}

// The numeric format "000.0": at least three digits before the point, one after.
QString formatTenths(double value)
{
    QString digits = QString::number(std::fabs(value), 'f', 1);
    const qsizetype point = digits.indexOf(QLatin1Char('.'));
    if (point < 3)
        digits.prepend(QString(3 - point, QLatin1Char('0')));
    return value < 0 ? QLatin1Char('-') + digits : digits;
}

void wmaTick(const QString &pane, ProgressDisplay &display)
{
    QString text = pane;
    text.replace(QStringLiteral("   "), QStringLiteral("  "));
    display.lblWMAprogress = text.left(kWmaLabelLength);
    // Everything from a "[" on is pushed out of the visible label.
    display.lblWMAprogress.replace(QLatin1Char('['), QString(kBracketBlanks, QLatin1Char(' ')));
}

void statusLineTick(const QString &pane, std::optional<double> duration, ProgressDisplay &display)
{
    // Columns are counted from 1: the size is 6 to 15, the time 22 to 30.
    QString size = pane.mid(5, 10);
    QString time = pane.mid(21, 9);

    // A short number of seconds lets the start of "bitrate" into the window.
    for (const QString &cut : {QStringLiteral(" bitr"), QStringLiteral(" bit"), QStringLiteral(" bi"),
                               QStringLiteral(" b"), QStringLiteral(" ")})
        time.remove(cut);
    display.txtProgress = formatWholeText(time);

    const std::optional<double> elapsed = parseNumber(display.txtProgress);
    // A missing duration counts as zero, which no percentage can be made of.
    const double total = duration && std::isfinite(*duration) ? roundWhole(*duration) : 0;

    if (!size.startsWith(QLatin1Char(' ')))
        size = QStringLiteral(" 0kb");
    size.remove(QLatin1Char(' '));

    // Values that are not numbers, or a duration of zero, leave the display
    // as the previous tick set it.
    if (elapsed && *elapsed >= std::numeric_limits<int>::min() && *elapsed <= std::numeric_limits<int>::max())
        display.PB1 = static_cast<int>(*elapsed);
    if (elapsed && total != 0) {
        const double percent = roundWhole(100.0 * *elapsed / total);
        // The percentage is shown divided by ten: 50 percent reads 005.0.
        display.Encoding = formatTenths(percent / 10) + QStringLiteral("%   Size: ") + size;
    }
}

} // namespace

std::optional<double> encodedSeconds(const QString &output)
{
    static const QRegularExpression progress(
        QStringLiteral(R"((?:\btime=\s*|Encoding WMA: (?:\d+% \()?)(\d+(?:\.\d+)?))"));
    std::optional<double> seconds;
    for (auto it = progress.globalMatch(output); it.hasNext();)
        seconds = it.next().captured(1).toDouble();
    return seconds;
}

void progressTick(const QString &rtbOutput, const QString &txtFormat, std::optional<double> duration,
                  ProgressDisplay &display)
{
    const std::optional<double> format = parseNumber(txtFormat);
    if (format && *format == kWmaFormat)
        wmaTick(rtbOutput, display);
    else
        statusLineTick(rtbOutput, duration, display);
}

} // namespace tonmill
