#include "app/MainWindowTitle.h"

#include "platform/AppVersion.h"

namespace tonmill {

QString mainWindowTitle(bool leadingBlank)
{
    return (leadingBlank ? QStringLiteral(" ") : QString()) + QStringLiteral("Tonmill™ by Quorell (v.") + versionText()
        + QStringLiteral(" beta)");
}

} // namespace tonmill
