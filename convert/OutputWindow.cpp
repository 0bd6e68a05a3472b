#include "convert/OutputWindow.h"

#include <QList>

#include <algorithm>
#include <cmath>

namespace tonmill {

QString windowEntry(const OutputWindow &window)
{
    return QStringLiteral("%1=%2,%3")
        .arg(QLatin1String(kWindowVariable))
        .arg(window.start, 0, 'f', 6)
        .arg(window.seconds, 0, 'f', 6);
}

std::optional<OutputWindow> windowFrom(const QByteArray &value)
{
    const QList<QByteArray> parts = value.split(',');
    if (parts.size() != 2)
        return std::nullopt;
    bool startOk = false;
    bool lengthOk = false;
    const OutputWindow window{parts[0].trimmed().toDouble(&startOk), parts[1].trimmed().toDouble(&lengthOk)};
    if (!startOk || !lengthOk || !std::isfinite(window.start) || !std::isfinite(window.seconds) || window.start < 0
        || !(window.seconds > 0))
        return std::nullopt;
    return window;
}

OutputWindow windowWithin(double position, double seconds, double outputSeconds)
{
    const double length = outputSeconds > 0 ? std::min(seconds, outputSeconds) : seconds;
    const double latest = outputSeconds > 0 ? outputSeconds - length : position;
    return {std::clamp(position, 0.0, std::max(latest, 0.0)), length};
}

} // namespace tonmill
