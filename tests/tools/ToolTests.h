// What the tests of the helper programs share.
#pragma once

#include "convert/AVSScripts.h"
#include "platform/AppFolder.h"
#include "platform/ToolChain.h"
#include "support/TestFiles.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QDebug>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <csignal>

using namespace Qt::StringLiterals;

namespace tonmill::test {

// The words of a fixed argument list, with the words IN and OUT replaced by
// the given paths (which may hold blanks).
inline QStringList words(const QString &line, const QString &in = {}, const QString &out = {})
{
    QStringList list = line.split(u' ', Qt::SkipEmptyParts);
    for (QString &word : list)
        word = word == u"IN"_s ? in : word == u"OUT"_s ? out : word;
    return list;
}

// Runs sox or ffmpeg to make a test file; false, with what it said, when it fails.
inline bool made(const QString &program, const QStringList &arguments)
{
    const Ran r = runProgram(program, arguments);
    if (r.exitCode != 0)
        qWarning().noquote() << program << arguments.join(u' ') << "failed:" << r.err;
    return r.exitCode == 0;
}

// A helper program in the built application's Tools folder.
inline QString helper(const QString &name)
{
    return builtAppDir() + u"/Tools/"_s + name;
}

} // namespace tonmill::test

using namespace tonmill;
using namespace tonmill::test;
