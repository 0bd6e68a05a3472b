#include "player/SegmentMarks.h"

#include "convert/AVSScripts.h"
#include "options/MainFormState.h"
#include "options/OptionState.h"
#include "platform/Dialogs.h"
#include "player/PlayerTransport.h"

#include <algorithm>

namespace tonmill {

namespace {

QString endTimeMessage()
{
    return QStringLiteral("Please, check the end time of your cut!\r\n\r\nIt can't be less or equal than Start time.");
}

} // namespace

SegmentMarks::SegmentMarks(MainFormState &form, const OptionState &options, PlayerTransport &transport,
                           Dialogs &dialogs, const AppFolder &folder)
    : m_form(form)
    , m_options(options)
    , m_transport(transport)
    , m_dialogs(dialogs)
    , m_folder(folder)
{
}

void SegmentMarks::btnSetS_Click()
{
    markStart(m_transport.position());
}

void SegmentMarks::btnSetE_Click()
{
    markEnd(m_transport.position());
}

void SegmentMarks::markStart(double seconds)
{
    m_form.txtCutS = counterSeconds(seconds);
}

void SegmentMarks::markEnd(double seconds)
{
    m_form.txtCutE = counterSeconds(seconds);
    endTimeCheck();
}

void SegmentMarks::markSpan(double from, double to)
{
    markStart(std::min(from, to));
    markEnd(std::max(from, to));
}

// The segment can be neither encoded nor previewed while it is empty; the
// enabled state leaves the check box's value as the person left it.
void SegmentMarks::setSegmentControls(bool enabled)
{
    m_form.chkSegmentEnabled = enabled;
    m_form.btnSegPreviewEnabled = enabled;
    if (!enabled)
        m_form.chkSegment = false;
}

void SegmentMarks::endTimeCheck()
{
    const auto warn = [this] {
        m_dialogs.message({endTimeMessage(), QString(), DialogButtons::Ok, DialogIcon::None});
    };
    // Two steps in this order: an end before the start is reported but the
    // second step enables the controls again; only an equal end keeps them off.
    if (m_form.txtCutE < m_form.txtCutS) {
        setSegmentControls(false);
        warn();
    } else {
        setSegmentControls(true);
    }
    if (m_form.txtCutE == m_form.txtCutS) {
        setSegmentControls(false);
        warn();
    } else {
        setSegmentControls(true);
    }
}

void SegmentMarks::btnSegPreview_Click()
{
    const QString script = m_folder.file(QStringLiteral("\\segment.avs"));
    writeSegmentScript(script, {m_form.txtPath, m_form.txtCutS, m_form.txtCutE, m_options.SamFreq, m_form.chkFadeInOut});
    m_transport.playFile(script);
}

} // namespace tonmill
