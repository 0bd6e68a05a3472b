#include "process/ConsolePane.h"

#include "process/ReadOutput.h"

namespace tonmill {

namespace {
const QString kCrLf = QStringLiteral("\r\n");
}

QString ConsolePane::banner()
{
    return QStringLiteral("Tonmill console");
}

void ConsolePane::starting(const QString &commandText)
{
    m_text += commandText + kCrLf;
}

void ConsolePane::gotChunk(const QString &chunk)
{
    if (chunk.size() >= 3 && chunk.chopped(2) == m_appFolder) {
        m_text += QStringLiteral("C:\\") + kCrLf;
        return;
    }
    QString normalised = chunk;
    normalised.remove(QLatin1Char('\r')).replace(QLatin1Char('\n'), kCrLf);
    m_text += normalised;
    if (chunk == QString(QChar(12)))
        m_text += kCrLf + banner();
}

void ConsolePane::complete()
{
    if (m_text.isEmpty())
        m_text = QStringLiteral("C:\\> ");
    else
        m_text += kCrLf + QStringLiteral("C:\\> ");
}

void ConsolePane::attach(ReadOutput &reader)
{
    QObject::connect(&reader, &ReadOutput::Starting, &reader, [this, &reader] { starting(reader.SetCommand().text); });
    QObject::connect(&reader, &ReadOutput::GotChunk, &reader, [this](const QString &chunk, bool) { gotChunk(chunk); });
    QObject::connect(&reader, &ReadOutput::Complete, &reader, [this] { complete(); });
}

} // namespace tonmill
