#pragma once

#include "process/CommandLine.h"

#include <QObject>
#include <QStringDecoder>

class QProcess;

namespace tonmill {

class ProcessRegistry;

// Runs one console program at a time with its output and error merged into
// one pipe and its input on another. ExecuteCommand returns only when the child
// has gone, but yields to the event loop on every round, so timers, buttons and
// the handlers of these signals run nested inside it. Failures are reported
// through Error, never thrown.
//
// The encoders run through a helper in Tools/, so a program that cannot be
// started is often found only by the helper: a child that ends with the
// helpers' launch-failure status (126 or 127) is reported as Error 406, like a
// child that could not be started at all, and never as Complete.
class cStdIO : public QObject {
    Q_OBJECT
public:
    enum ErrorNumber : qint16 {
        NotReady = 400,
        EmptyCommandLine = 401,
        NotReadyToChange = 402,
        CreatePipeFailed = 404,
        SetPipeStateFailed = 405,
        CreateProcessFailed = 406,
    };
    static constexpr qint64 kReadSize = 4096;

    explicit cStdIO(ProcessRegistry &registry, QObject *parent = nullptr);
    ~cStdIO() override;

    const CommandLine &commandLine() const { return m_commandLine; }
    // Refused with Error 402 while a run is active.
    void setCommandLine(const CommandLine &commandLine);
    bool Ready() const { return m_ready; }
    QString Version() const { return {}; }

    // Runs the stored command line, or the given one (which is stored first).
    // Returns everything the child wrote, or what was gathered until a cancel.
    QString ExecuteCommand(const CommandLine &commandLine = {});
    // Sends the text and CR LF to the child's input. The text's length in bytes
    // as written, or -1 when nothing could be written.
    qint32 WriteData(const QString &strData);
    // Asks an active run to stop; no effect when ready.
    void Cancel();

    // The id of the running child, 0 when none.
    qint64 processId() const;

    // How the last run ended by itself: its exit status, or with
    // endedBySignal the number of the signal that ended it. A cancelled run
    // leaves 0 and false.
    int exitCode() const { return m_exitCode; }
    bool endedBySignal() const { return m_endedBySignal; }
    // Why the last Error 406 came: the program and what was wrong with it.
    const QString &launchFailure() const { return m_launchFailure; }

Q_SIGNALS:
    void GotData(const QString &data);
    void CancelSuccess();
    void CancelFail();
    void Complete();
    void Error(qint16 number, const QString &description);

private:
    void raiseError(ErrorNumber number);
    // Reads and delivers what the child has written; false when nothing was waiting.
    bool deliverWaiting();

    ProcessRegistry &m_registry;
    CommandLine m_commandLine;
    QString m_output;
    QStringDecoder m_decoder;
    QProcess *m_process = nullptr;
    bool m_ready = true;
    bool m_cancelRequested = false;
    int m_exitCode = 0;
    bool m_endedBySignal = false;
    QString m_launchFailure;
};

// Waits, with the window running on, until the runner's run has ended.
void waitUntilReady(const cStdIO &runner);

} // namespace tonmill
