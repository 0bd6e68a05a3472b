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

CommandLine testChildLine(const QStringList &arguments)
{
    CommandLineBuilder b;
    b.quoted(testProgram(QStringLiteral("tonmill-test-child")));
    for (const QString &a : arguments)
        b.text(QStringLiteral(" ")).quoted(a);
    return b.build();
}

} // namespace tonmill::test
