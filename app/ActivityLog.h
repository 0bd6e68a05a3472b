#pragma once

#include <QObject>
#include <QString>
#include <QTime>

#include <functional>

namespace tonmill {

class Dialogs;
class ReadOutput;
class cStdIO;

// The text of the activity log panel rtbLog: time-stamped lines, each ended by
// CR LF, never trimmed. The window shows the text; the log owns it.
class ActivityLog : public QObject {
    Q_OBJECT
public:
    using Clock = std::function<QTime()>;

    // The clock gives the time of day stamped on each line.
    explicit ActivityLog(Clock clock = &QTime::currentTime, QObject *parent = nullptr);

    // Appends the time ("hh:mm:ss", 24-hour) and the message as one line.
    // Returns the caret position: the end of the last line, before its CR LF.
    qsizetype append(const QString &message);
    // Appends the text as a line without a time; the first entry of a run is
    // the date written this way.
    qsizetype appendLine(const QString &line);

    const QString &text() const { return m_text; }

Q_SIGNALS:
    // The panel shows text with the caret at caret, which scrolls it to the bottom.
    void changed(const QString &text, qsizetype caret);

private:
    Clock m_clock;
    QString m_text;
};

// Logs the end of every run of the runner: completed, aborted, cancel failed, errors.
void logRunnerEvents(cStdIO &runner, ActivityLog &log);

// The main form's handler of the output reader's errors: a critical message
// box titled "Error" that gives the description and the number, and the
// number in the log.
void handleReaderErrors(ReadOutput &reader, Dialogs &dialogs, ActivityLog &log);

// Sends a typed line to the encoder that is running and logs the outcome;
// with no run active nothing is sent. Returns the runner's count, or -1.
qint32 writeToEncoder(cStdIO &runner, ActivityLog &log, const QString &text);

} // namespace tonmill
