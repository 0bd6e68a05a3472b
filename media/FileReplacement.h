#pragma once

#include <QFile>
#include <QString>

namespace tonmill {

// New content for an existing file, written into a new file beside it that
// takes its place in one rename: the file holds its old content or its new
// content, never a mix, even when this process dies while writing. The new
// file gets the old one's permissions; a symbolic link keeps pointing at it.
// An uncommitted new file leaves no trace.
class FileReplacement {
public:
    explicit FileReplacement(const QString &fileName);
    ~FileReplacement();
    FileReplacement(const FileReplacement &) = delete;
    FileReplacement &operator=(const FileReplacement &) = delete;

    // Creates the new, empty file. False when the folder does not allow it.
    bool open();
    // Sets aside room for about size bytes, so that a full disk shows before
    // anything is written.
    bool reserve(qint64 size);
    // Where the new content is written.
    QFile &output() { return m_output; }
    // Appends everything of source from offset on, streamed, without holding
    // it in memory.
    bool appendFrom(QFile &source, qint64 offset);
    // Puts the new file in the old one's place.
    bool commit();

private:
    bool link();

    QString m_target;
    QString m_linked; // the new file's name once it has one
    int m_fd = -1;
    QFile m_output;
};

} // namespace tonmill
