#pragma once

#include "platform/Dialogs.h"

#include <QList>
#include <QStringList>
#include <variant>

namespace tonmill {

// Answers prompts from a prepared queue and records every request. A prompt
// that finds the queue empty, or finds an answer of the other kind, is an
// unexpected prompt: it is recorded, and answered No (or with the starting file
// name) so that nothing irreversible happens.
class ScriptedDialogs : public Dialogs {
public:
    ScriptedDialogs &answer(DialogAnswer answer);
    ScriptedDialogs &answerFile(const QString &fileName);
    ScriptedDialogs &answerFiles(const QStringList &fileNames);

    DialogAnswer message(const MessageRequest &request) override;
    QString fileName(const FileRequest &request) override;
    QStringList fileNames(const FileRequest &request) override;
    // Recorded only: no browser opens.
    void openUrl(const QString &url) override { m_urls.append(url); }

    const QList<MessageRequest> &messages() const { return m_messages; }
    const QList<FileRequest> &fileRequests() const { return m_files; }
    const QStringList &openedUrls() const { return m_urls; }
    // Descriptions of prompts that had no prepared answer.
    const QStringList &unexpected() const { return m_unexpected; }
    bool allAnswersUsed() const { return m_queue.isEmpty(); }

protected:
    // Called for each unexpected prompt after it is recorded.
    virtual void onUnexpected(const QString &description) {}

private:
    // The prepared answer of the dialog's kind, or the unexpected prompt's.
    template <typename Answer>
    Answer fileAnswer(const FileRequest &request, Answer whenUnexpected);

    using Prepared = std::variant<DialogAnswer, QString, QStringList>;
    QList<Prepared> m_queue;
    QList<MessageRequest> m_messages;
    QList<FileRequest> m_files;
    QStringList m_urls;
    QStringList m_unexpected;
};

} // namespace tonmill
