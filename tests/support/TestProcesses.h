#pragma once

#include <QList>
#include <QString>

namespace tonmill::test {

// The ids of live processes, other than this test, whose command line
// mentions the text (a folder of the test's, a file name).
QList<qint64> processesMentioning(const QString &text);
// True once none is left; processes killed with their parent take a moment.
bool noProcessMentions(const QString &text, int waitMs = 2000);

} // namespace tonmill::test
