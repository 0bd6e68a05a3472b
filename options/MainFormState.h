#pragma once

#include "options/ChoiceList.h"

#include <QString>

namespace tonmill {

struct CheckBoxState {
    bool checked = false;
    bool enabled = false;
};

// The parts of the main form, other than the option choices, that the option
// panel and the settings store read or change. The window binds its controls
// to these; without a window they are plain values.
struct MainFormState {
    ChoiceList cmbFormat;
    // The option frame on show ("frmMP3" …).
    QString visibleFrame;
    QString txtPath;
    QString lblOutputPath;
    CheckBoxState chk51UpMix;
    bool mnuLog = false;
    bool mnuSaveLog = true;

    // Fills the format list and shows "MP3" with its frame.
    void fillFormatList();
};

} // namespace tonmill
