#pragma once

#include <QString>
#include <QStringList>

namespace tonmill::test {

// Live processes, other than this test, whose command line mentions the text
// (a folder of the test's, a file name): "PID command line" each.
QStringList processesMentioning(const QString &text);
// True once none is left; processes killed with their parent take a moment.
bool noProcessMentions(const QString &text, int waitMs = 2000);

} // namespace tonmill::test
