#include "media/MediaReport.h"

#include "app/ActivityLog.h"
#include "platform/ToolChain.h"
#include "process/ConsolePane.h"
#include "process/ReadOutput.h"

#include <QFile>
#include <QSaveFile>

namespace tonmill {

namespace {
const QString kCrLf = QStringLiteral("\r\n");

// The last line the tool printed: the pane ends with the prompt.
QString lastToolLine(QString paneText)
{
    return lastLineOf(paneText.remove(QStringLiteral("C:\\>")));
}
}

QString normaliseMediaReport(QString text, const QString &commandText)
{
    text.replace(QStringLiteral("C:\\>"), QString());
    // The echoed command goes whatever precedes it: a line break, or nothing
    // when it opens the pane, where its own line break goes with it.
    text.replace(kCrLf + commandText, QString());
    text.replace(QLatin1Char('\n') + commandText, QString());
    if (text.startsWith(commandText + kCrLf))
        text.remove(0, commandText.size() + kCrLf.size());
    text.replace(QStringLiteral("Text1"), QStringLiteral("[General]"));
    text.replace(QStringLiteral("General #0"), QStringLiteral("[General]"));
    text.replace(QStringLiteral("Audio #0"), QStringLiteral("[Audio]"));
    text.replace(QStringLiteral(" : "), QStringLiteral("="));
    text.replace(QStringLiteral("  "), QString());
    text.replace(QStringLiteral(" ="), QStringLiteral("="));
    text.replace(QStringLiteral("  "), QStringLiteral(" "));
    text.replace(QStringLiteral("MiB"), QStringLiteral("MB"));
    text.replace(kCrLf + kCrLf + kCrLf, QString());
    text.replace(QStringLiteral("Track name"), QStringLiteral("Title"));
    text.replace(QStringLiteral("Performer"), QStringLiteral("Author"));
    text.replace(QStringLiteral("Recorded date"), QStringLiteral("Date"));
    text.replace(QStringLiteral("Title/Position"), QStringLiteral("Track"));
    return text;
}

QString fileInfoDisplayText(QString text)
{
    text.replace(QStringLiteral("[General]"), QStringLiteral("+++++++++++") + kCrLf + QStringLiteral(" + General +") + kCrLf
                                                   + QStringLiteral("+++++++++++"));
    text.replace(QStringLiteral("[Audio]"),
                 QStringLiteral("+++++++++") + kCrLf + QStringLiteral(" + Audio +") + kCrLf + QStringLiteral("+++++++++"));
    text.replace(QStringLiteral(" : "), QStringLiteral("="));
    text.replace(QStringLiteral("  "), QString());
    text.replace(QStringLiteral("="), QStringLiteral(" = "));
    text.replace(QStringLiteral("  "), QStringLiteral(" "));
    text.replace(QStringLiteral("MiB"), QStringLiteral("MB"));
    return text;
}

MediaReport::MediaReport(const AppFolder &folder, ReadOutput &reader, ConsolePane &pane, ActivityLog &log)
    : m_folder(folder)
    , m_reader(reader)
    , m_pane(pane)
    , m_log(log)
{
}

CommandLine MediaReport::commandFor(const QString &sourcePath) const
{
    CommandLineBuilder b;
    b.quoted(m_folder.file(QStringLiteral("\\Tools\\MediaInfo\\mediainfo"))).text(QStringLiteral(" ")).quoted(sourcePath);
    CommandLine line = b.build();
    line.imageName = QStringLiteral("mediainfo");
    return line;
}

bool MediaReport::RunMediaReport(const QString &txtPath)
{
    if (txtPath.isEmpty())
        return false;
    m_lastFailure.clear();
    QFile::remove(reportFile());
    m_pane.setText(QString());
    m_reader.setSetCommand(commandFor(txtPath));
    QString readerError;
    const QMetaObject::Connection errors = QObject::connect(
        &m_reader, &ReadOutput::Error, [&readerError](const QString &description, qint32) { readerError = description; });
    m_reader.ProcessCommand();
    QObject::disconnect(errors);
    if (const QString why = failureOfRun(readerError); !why.isEmpty())
        return fail(txtPath, why);

    const QString report = normaliseMediaReport(m_pane.text(), m_reader.SetCommand().text);
    if (!report.contains(QLatin1String("[General]"))) {
        const QString printed = lastToolLine(m_pane.text()).left(200);
        return fail(txtPath, printed.isEmpty() ? QStringLiteral("the media tool printed no report of it")
                                               : QStringLiteral("the media tool printed no report of it, only: ") + printed);
    }
    m_pane.setText(report);
    QSaveFile file(reportFile());
    if (!file.open(QIODevice::WriteOnly) || file.write((report + kCrLf).toUtf8()) < 0 || !file.commit())
        return fail(txtPath, QStringLiteral("the report cannot be written to \"%1\": %2").arg(reportFile(), file.errorString()));
    return true;
}

QString MediaReport::failureOfRun(const QString &readerError) const
{
    if (readerError == QLatin1String("CreateProcess failed."))
        return m_reader.launchFailure();
    if (!readerError.isEmpty())
        return readerError;
    if (m_reader.endedBySignal())
        return QStringLiteral("the media tool was ended by signal %1").arg(m_reader.exitCode());
    if (m_reader.exitCode() != 0) {
        const QString reason = helperReason(lastToolLine(m_pane.text()));
        return reason.isEmpty() ? QStringLiteral("the media tool ended with status %1").arg(m_reader.exitCode()) : reason;
    }
    return {};
}

bool MediaReport::fail(const QString &txtPath, const QString &why)
{
    m_lastFailure = QStringLiteral("\"%1\" could not be described: %2").arg(txtPath, why);
    m_log.append(QStringLiteral(" -> ") + m_lastFailure);
    return false;
}

} // namespace tonmill
