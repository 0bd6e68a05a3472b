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

namespace {
constexpr double kLoudnessTargets[] = {kLoudnessDefaultLufs, kLoudnessBroadcastLufs, kLoudnessStreamingLufs};
} // namespace

void MainFormState::selectLoudness(int index)
{
    if (index < 0 || index >= kLoudnessChoices)
        return;
    loudness.mode = index == 0 ? LoudnessChoice::Mode::Off
                  : index >= 4 ? LoudnessChoice::Mode::ReplayGain
                               : LoudnessChoice::Mode::Normalize;
    loudness.album = index == 5;
    if (index >= 1 && index <= 3)
        loudness.targetLufs = kLoudnessTargets[index - 1];
}

int MainFormState::loudnessIndex() const
{
    switch (loudness.mode) {
    case LoudnessChoice::Mode::Off:
        return 0;
    case LoudnessChoice::Mode::ReplayGain:
        return loudness.album ? 5 : 4;
    case LoudnessChoice::Mode::Normalize:
        break;
    }
    for (int i = 0; i < 3; ++i) {
        if (loudness.targetLufs == kLoudnessTargets[i])
            return i + 1;
    }
    return -1;
}

} // namespace tonmill
