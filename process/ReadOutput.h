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
};

} // namespace tonmill
