#pragma once

#include "platform/AppFolder.h"

namespace tonmill {

class Dialogs;
struct MainFormState;
struct OptionState;

// What the option controls of the main form do when the user changes them.
// Button handlers take the clicked button's index and return false, changing
// nothing, for an index that the button group lacks.
class OptionPanel {
public:
    OptionPanel(OptionState &options, MainFormState &form, Dialogs &dialogs, const AppFolder &folder);

    // Shows the chosen format's panel, re-derives SamFreq and gives the AC3
    // channel advice.
    void cmbFormat_Click();
    void cmbWMAProfile_Click();

    bool optSamFreqAAC_Click(int index);
    bool optSamFreqAC3_Click(int index);
    bool optSamFreqMP2_Click(int index);
    bool optSamFreq_Click(int index);
    bool optSamFreqWAV_Click(int index);

    bool optChannelsAAC_Click(int index);
    bool optChannelsMP2_Click(int index);
    bool optChannels_Click(int index);
    bool optChannelsWAV_Click(int index);
    bool optChannelsAC3_Click(int index);

    bool optProfileAAC_Click(int index);
    bool optMP2Header_Click(int index);
    bool optPCM_Click(int index);
    bool optAMRType_Click(int index);

    bool optSamFreqFLAC_Click(int index);
    bool optFLACBits_Click(int index);
    bool optOpusMode_Click(int index);
    bool optOpusApp_Click(int index);
    bool optM4AMode_Click(int index);
    bool optSamFreqALAC_Click(int index);
    bool optALACBits_Click(int index);

    // Advises on the up-mix when an AC3 six-channel output does not fit the
    // source's channel count, and sets chk51UpMix accordingly.
    void ac3ChannelAdvice();

private:
    void showFormatPanel();
    void deriveSamFreq();

    OptionState &m_options;
    MainFormState &m_form;
    Dialogs &m_dialogs;
    AppFolder m_folder;
    // The up-mix box's state as AC3's channel buttons leave it, which the
    // first seven formats show; the later formats always take the up-mix.
    bool m_ac3UpMixEnabled = false;
};

} // namespace tonmill
