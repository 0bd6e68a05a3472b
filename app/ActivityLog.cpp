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

namespace {
bool settingFlag(const QString &value, bool whenEmpty)
{
    const QString v = value.trimmed();
    if (v.isEmpty())
        return whenEmpty;
    if (v.compare(QStringLiteral("true"), Qt::CaseInsensitive) == 0)
        return true;
    if (v.compare(QStringLiteral("false"), Qt::CaseInsensitive) == 0)
        return false;
    bool numeric = false;
    const double number = v.toDouble(&numeric);
    return numeric ? number != 0 : whenEmpty;
}
} // namespace

LogMenuState LogMenuState::fromSettings(const QString &logOnOff, const QString &saveLog)
{
    LogMenuState state;
    state.m_log = settingFlag(logOnOff, false);
    state.m_saveLog = settingFlag(saveLog, true);
    return state;
}

int LogMenuState::toggleLog(int windowHeightTwips)
{
    m_log = !m_log;
    return m_log ? windowHeightTwips + kPanelHeightTwips : windowHeightTwips - kPanelHeightTwips;
}

} // namespace tonmill
