#include "options/MainFormState.h"

#include "options/FormatOptions.h"

namespace tonmill {

void MainFormState::fillFormatList()
{
    cmbFormat.fill(kFormatList);
    cmbFormat.select(QStringLiteral("MP3"));
    visibleFrame = formatFrame(cmbFormat.text);
}

} // namespace tonmill
