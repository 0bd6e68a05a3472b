#include "app/ActivityLog.h"

#include "platform/Dialogs.h"
#include "process/ReadOutput.h"
#include "process/cStdIO.h"

namespace tonmill {

ActivityLog::ActivityLog(Clock clock, QObject *parent)
    : QObject(parent)
    , m_clock(std::move(clock))
{
}

qsizetype ActivityLog::append(const QString &message)
{
    return appendLine(m_clock().toString(QStringLiteral("hh:mm:ss")) + message);
}

qsizetype ActivityLog::appendLine(const QString &line)
{
    m_text += line;
    m_text += QStringLiteral("\r\n");
    const qsizetype caret = m_text.size() - 2;
    Q_EMIT changed(m_text, caret);
    return caret;
}

void logRunnerEvents(cStdIO &runner, ActivityLog &log)
{
    QObject::connect(&runner, &cStdIO::Complete, &log, [&log] { log.append(QStringLiteral(" -> Process Completed!")); });
    QObject::connect(&runner, &cStdIO::CancelSuccess, &log,
                     [&log] { log.append(QStringLiteral(" -> Encoding Aborted!")); });
    QObject::connect(&runner, &cStdIO::CancelFail, &log,
                     [&log] { log.append(QStringLiteral(" -> Cancel failed to end program!")); });
    QObject::connect(&runner, &cStdIO::Error, &log, [&log](qint16 number, const QString &description) {
        log.append(QStringLiteral(" -> Error #") + QString::number(number) + QStringLiteral(": ") + description);
    });
}

void handleReaderErrors(ReadOutput &reader, Dialogs &dialogs, ActivityLog &log)
{
    QObject::connect(&reader, &ReadOutput::Error, &log, [&dialogs, &log](const QString &description, qint32 number) {
        log.append(QStringLiteral(" -> Error #") + QString::number(number) + QStringLiteral(": ") + description);
        const QString crLf = QStringLiteral("\r\n");
        dialogs.message({QStringLiteral("Error!") + crLf + QStringLiteral("Description: ") + description + crLf
                             + QStringLiteral("LastDLLError: ") + QString::number(number),
                         QStringLiteral("Error"), DialogButtons::Ok, DialogIcon::Critical});
    });
}

qint32 writeToEncoder(cStdIO &runner, ActivityLog &log, const QString &text)
{
    if (runner.Ready()) {
        log.append(QStringLiteral(" -> The application isn't encoding anything!"));
        return -1;
    }
    const qint32 written = runner.WriteData(text);
    if (written == -1)
        log.append(QStringLiteral(" -> Failed to write!"));
    else
        log.append(QStringLiteral(" -> Successfully wrote ") + QString::number(written) + QStringLiteral(" bytes!"));
    return written;
}

} // namespace tonmill
