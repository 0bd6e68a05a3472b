#include "platform/NumberFormat.h"

#include <cmath>

namespace tonmill {

std::optional<double> parseNumber(const QString &text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

double roundWhole(double value)
{
    const double decimal = QString::number(value, 'g', 15).toDouble();
    return std::round(decimal) + 0.0; // + 0.0 turns -0 into 0
}

QString formatWhole(double value)
{
    if (!std::isfinite(value))
        return {};
    return QString::number(roundWhole(value), 'f', 0);
}

} // namespace tonmill
