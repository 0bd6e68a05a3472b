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

template <typename Answer>
Answer ScriptedDialogs::fileAnswer(const FileRequest &request, Answer whenUnexpected)
{
    m_files.append(request);
    if (!m_queue.isEmpty() && std::holds_alternative<Answer>(m_queue.first()))
        return std::get<Answer>(m_queue.takeFirst());
    const QString description = QStringLiteral("unexpected file dialog: ") + request.title;
    m_unexpected.append(description);
    onUnexpected(description);
    return whenUnexpected;
}

QString ScriptedDialogs::fileName(const FileRequest &request)
{
    return fileAnswer<QString>(request, request.fileName);
}

QStringList ScriptedDialogs::fileNames(const FileRequest &request)
{
    return fileAnswer<QStringList>(request, {});
}

} // namespace tonmill
