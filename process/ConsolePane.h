#pragma once

#include <QString>

namespace tonmill {

class ReadOutput;

// The text of the small console pane (`rtfOutput`) that echoes each command run
// through ReadOutput, its output and a fresh "C:\> " prompt. The real
// application folder is never shown: a chunk that is just the folder and a
// line break shows as "C:\".
class ConsolePane {
public:
    explicit ConsolePane(QString appFolderPath) : m_appFolder(std::move(appFolderPath)) {}

    const QString &text() const { return m_text; }
    void setText(const QString &text) { m_text = text; }

    void starting(const QString &commandText);
    void gotChunk(const QString &chunk);
    void complete();

    // Feeds the pane from the control's events.
    void attach(ReadOutput &reader);

    static QString banner();

private:
    QString m_appFolder;
    QString m_text;
};

} // namespace tonmill
