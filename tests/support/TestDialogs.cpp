#include "support/TestDialogs.h"

#include <QTest>

namespace tonmill::test {

void TestDialogs::onUnexpected(const QString &description)
{
    QTest::qFail(qPrintable(description), __FILE__, __LINE__);
}

} // namespace tonmill::test
