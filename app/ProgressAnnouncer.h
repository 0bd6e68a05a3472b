#pragma once

#include <QString>

#include <optional>

namespace tonmill {

// What a screen reader is told of a job: the progress bar's value and the
// status text while the job runs, no more than once an interval and only
// when one of them has changed, so that speech keeps up; and when the job
// has ended, its outcome, once and at once.
class ProgressAnnouncer {
public:
    struct Announcement {
        int value = 0;
        QString text;
        bool operator==(const Announcement &) const = default;
    };

    explicit ProgressAnnouncer(qint64 intervalMs = 1000)
        : m_intervalMs(intervalMs)
    {
    }

    // Called whenever the display may have changed, with the time on a
    // steady clock; text is the status while running and the outcome after.
    // Returns what to announce now.
    std::optional<Announcement> update(qint64 nowMs, bool running, int value, const QString &text);

private:
    qint64 m_intervalMs;
    bool m_running = false;
    std::optional<Announcement> m_last;
    qint64 m_lastMs = 0;
};

} // namespace tonmill
