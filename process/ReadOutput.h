#pragma once

#include "process/CommandLine.h"

#include <QObject>
#include <QStringDecoder>

class QProcess;

namespace tonmill {

class ProcessRegistry;

// Runs one command and streams its output back in small chunks, for the
// console pane that shows the media tool's report. The command is executed
// directly, never through a shell. ProcessCommand returns when the run is over;
// while it waits it yields to the event loop, so the window stays alive.
// A child that ends with the helpers' launch-failure status (126 or 127, the
// media tool stand-in finding no MediaInfo) is reported as "CreateProcess
// failed." in place of the closing chunk and Complete.
class ReadOutput : public QObject {
    Q_OBJECT
public:
    enum ErrorNumber : qint32 {
        InvalidCommand = 1200,
        AlreadyProcessing = 1201,
        NotProcessing = 1202,
        CannotClose = 1203,
    };
    static constexpr qint64 kChunkSize = 256;

    explicit ReadOutput(ProcessRegistry &registry, QObject *parent = nullptr);

    const CommandLine &SetCommand() const { return m_command; }
    void setSetCommand(const CommandLine &command) { m_command = command; }

    void ProcessCommand();
    void CancelProcess();
    // Ends one of this program's processes: asked first, forced after a grace.
    bool CloseProcess(qint64 lProcessID, quint32 uExitCode);

    bool processing() const { return m_processing; }

    // How the last run that started ended: its exit status, or with
    // endedBySignal the number of the signal that ended it.
    int exitCode() const { return m_exitCode; }
    bool endedBySignal() const { return m_endedBySignal; }
    // Why the last "CreateProcess failed." came: the program and what was wrong.
    const QString &launchFailure() const { return m_launchFailure; }

Q_SIGNALS:
    void Error(const QString &description, qint32 lastDllError);
    void GotChunk(const QString &sChunk, bool lastChunk);
    void Complete();
    void Starting();
    void Canceled();

private:
    ProcessRegistry &m_registry;
    CommandLine m_command;
    QStringDecoder m_decoder;
    bool m_processing = false;
    bool m_cancelRequested = false;
    int m_exitCode = 0;
    bool m_endedBySignal = false;
    QString m_launchFailure;
};

} // namespace tonmill
