#pragma once

#include "version.h"

#include <QString>

namespace tonmill {

// "1.2.3": the form shown in the window title and the About box.
inline QString versionText()
{
    return QStringLiteral("%1.%2.%3").arg(version::major).arg(version::minor).arg(version::revision);
}

// "123": the digits joined, as stored in the settings and served by the update check.
inline QString versionStamp()
{
    return QStringLiteral("%1%2%3").arg(version::major).arg(version::minor).arg(version::revision);
}

} // namespace tonmill
