#include "support/TestPaths.h"

#include <QDir>

namespace tonmill::test {

QString testBinDir()
{
    return qEnvironmentVariable("TONMILL_TEST_BIN");
}

QString testProgram(const QString &name)
{
    return QDir(testBinDir()).filePath(name);
}

QString builtAppDir()
{
    return qEnvironmentVariable("TONMILL_APP_DIR");
}

} // namespace tonmill::test
