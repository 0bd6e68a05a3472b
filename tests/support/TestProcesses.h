#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace tonmill::test {

// The ids of live processes, other than this test, whose command line
// mentions the text (a folder of the test's, a file name).
QList<qint64> processesMentioning(const QString &text);
// True once none is left; processes killed with their parent take a moment.
bool noProcessMentions(const QString &text, int waitMs = 2000);

// How a program run to its end went; exit code -1 when it did not start, did
// not end within five minutes, or crashed.
struct Ran {
    int exitCode = -1;
    QString out;
    QString err;
};
// Runs the program with "NAME=value" entries added to the environment.
Ran runProgram(const QString &program, const QStringList &arguments, const QStringList &environment = {});

} // namespace tonmill::test
