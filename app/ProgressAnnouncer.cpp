#include "app/ProgressAnnouncer.h"

namespace tonmill {

std::optional<ProgressAnnouncer::Announcement> ProgressAnnouncer::update(qint64 nowMs, bool running, int value,
                                                                         const QString &text)
{
    const Announcement now{value, text};
    if (!running) {
        if (!m_running)
            return std::nullopt;
        m_running = false;
        return now;
    }
    if (!m_running) {
        m_running = true;
        m_last.reset();
    }
    if (m_last && (*m_last == now || nowMs - m_lastMs < m_intervalMs))
        return std::nullopt;
    m_last = now;
    m_lastMs = nowMs;
    return now;
}

} // namespace tonmill
