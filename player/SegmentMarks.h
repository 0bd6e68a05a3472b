#pragma once

#include "platform/AppFolder.h"

namespace tonmill {

class Dialogs;
class PlayerTransport;
struct MainFormState;
struct OptionState;

// The segment's start and end marks, set from the player's position or typed,
// the check that the end lies after the start, and the preview of just the
// segment.
class SegmentMarks {
public:
    SegmentMarks(MainFormState &form, const OptionState &options, PlayerTransport &transport, Dialogs &dialogs,
                 const AppFolder &folder);

    void btnSetS_Click();
    void btnSetE_Click();
    // Marks from the waveform: a time set as the start is taken as it is,
    // one set as the end is checked as btnSetE's is; a span sets both.
    void markStart(double seconds);
    void markEnd(double seconds);
    void markSpan(double from, double to);
    // Runs after btnSetE, a click on chkSegment and an edit of txtCutE. The
    // two times are compared as text: "20" passes against "100.000".
    void endTimeCheck();
    void btnSegPreview_Click();

private:
    void setSegmentControls(bool enabled);

    MainFormState &m_form;
    const OptionState &m_options;
    PlayerTransport &m_transport;
    Dialogs &m_dialogs;
    AppFolder m_folder;
};

} // namespace tonmill
