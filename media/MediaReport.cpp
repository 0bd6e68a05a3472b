#include "media/MediaReport.h"

#include "process/ConsolePane.h"
#include "process/ReadOutput.h"

#include <QSaveFile>

namespace tonmill {

namespace {
const QString kCrLf = QStringLiteral("\r\n");
}

QString normaliseMediaReport(QString text, const QString &commandText)
{
    text.replace(QStringLiteral("C:\\>"), QString());
    text.replace(kCrLf + commandText, QString());
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

MediaReport::MediaReport(const AppFolder &folder, ReadOutput &reader, ConsolePane &pane)
    : m_folder(folder)
    , m_reader(reader)
    , m_pane(pane)
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

void MediaReport::RunMediaReport(const QString &txtPath)
{
    if (txtPath.isEmpty())
        return;
    m_pane.setText(QString());
    m_reader.setSetCommand(commandFor(txtPath));
    bool failed = false;
    const QMetaObject::Connection errors =
        QObject::connect(&m_reader, &ReadOutput::Error, [&failed](const QString &, qint32) { failed = true; });
    m_reader.ProcessCommand();
    QObject::disconnect(errors);
    if (failed)
        return;

    m_pane.setText(normaliseMediaReport(m_pane.text(), m_reader.SetCommand().text));
    QSaveFile file(reportFile());
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write((m_pane.text() + kCrLf).toUtf8());
    file.commit();
}

} // namespace tonmill
