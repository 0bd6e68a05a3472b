#include "options/MainFormState.h"

#include "options/FormatOptions.h"

namespace tonmill {

void MainFormState::fillFormatList()
{
    cmbFormat.fill(kFormatList);
    cmbFormat.select(QStringLiteral("MP3"));
    visibleFrame = formatFrame(cmbFormat.text);
}

void MainFormState::showBusy()
{
    EncodingVisible = true;
    PB1Visible = true;
    btnAbortVisible = true;
    btnExitEnabled = false;
    mnuArquivoEnabled = false;
}

void MainFormState::showIdle()
{
    PB1Visible = false;
    btnConvertEnabled = true;
    btnAbortVisible = false;
    EncodingVisible = false;
    btnExitEnabled = true;
    mnuArquivoEnabled = true;
}

} // namespace tonmill
