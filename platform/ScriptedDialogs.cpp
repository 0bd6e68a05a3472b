#include "platform/ScriptedDialogs.h"

namespace tonmill {

ScriptedDialogs &ScriptedDialogs::answer(DialogAnswer answer)
{
    m_queue.append(answer);
    return *this;
}

ScriptedDialogs &ScriptedDialogs::answerFile(const QString &fileName)
{
    m_queue.append(fileName);
    return *this;
}

ScriptedDialogs &ScriptedDialogs::answerFiles(const QStringList &fileNames)
{
    m_queue.append(fileNames);
    return *this;
}

DialogAnswer ScriptedDialogs::message(const MessageRequest &request)
{
    m_messages.append(request);
    if (!m_queue.isEmpty() && std::holds_alternative<DialogAnswer>(m_queue.first()))
        return std::get<DialogAnswer>(m_queue.takeFirst());
    const QString description = QStringLiteral("unexpected message: ") + request.text;
    m_unexpected.append(description);
    onUnexpected(description);
    return request.buttons == DialogButtons::YesNo ? DialogAnswer::No : DialogAnswer::Ok;
}

QString ScriptedDialogs::fileName(const FileRequest &request)
{
    m_files.append(request);
    if (!m_queue.isEmpty() && std::holds_alternative<QString>(m_queue.first()))
        return std::get<QString>(m_queue.takeFirst());
    const QString description = QStringLiteral("unexpected file dialog: ") + request.title;
    m_unexpected.append(description);
    onUnexpected(description);
    return request.fileName;
}

QStringList ScriptedDialogs::fileNames(const FileRequest &request)
{
    m_files.append(request);
    if (!m_queue.isEmpty() && std::holds_alternative<QStringList>(m_queue.first()))
        return std::get<QStringList>(m_queue.takeFirst());
    const QString description = QStringLiteral("unexpected file dialog: ") + request.title;
    m_unexpected.append(description);
    onUnexpected(description);
    return {};
}

} // namespace tonmill
