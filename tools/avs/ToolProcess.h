#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace tonmill::avs {

struct ToolResult {
    bool finished = false; // started and ended by itself within the time allowed
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    QString failure; // why it did not finish
};

// Runs a program to its end with an argument list (no shell), tied to this
// process so that it cannot outlive it. timeoutMs < 0 waits for as long as it
// takes; a program still running at the timeout is killed.
ToolResult runTool(const QString &program, const QStringList &arguments, int timeoutMs = -1);

// The executable a user's path names: an existing executable file, or for a
// bare name the one of that name on PATH; empty when there is none.
QString resolveProgram(const QString &path);

// ffprobe beside the given ffmpeg, or else on PATH; empty when there is none.
QString findFfprobe(const QString &ffmpegPath);


} // namespace tonmill::avs
