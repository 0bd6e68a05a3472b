#include "tools/avs/AvsValue.h"

namespace tonmill::avs {

QString typeName(const Value &value)
{
    switch (value.index()) {
    case 1: return QStringLiteral("bool");
    case 2: return QStringLiteral("int");
    case 3: return QStringLiteral("float");
    case 4: return QStringLiteral("string");
    case 5: return QStringLiteral("clip");
    default: return QStringLiteral("nothing");
    }
}

double toNumber(const Value &v)
{
    if (const qint64 *i = std::get_if<qint64>(&v))
        return static_cast<double>(*i);
    if (const double *d = std::get_if<double>(&v))
        return *d;
    return 0;
}

} // namespace tonmill::avs
