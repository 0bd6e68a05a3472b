#pragma once

#include "process/CommandLine.h"

#include <QString>
#include <QStringList>

namespace tonmill::test {

// The folder of the test helper programs (tonmill-test-child and others).
QString testBinDir();
// A helper program of that folder by name.
QString testProgram(const QString &name);
// The build tree's application folder (the tonmill executable and Tools/).
QString builtAppDir();
// tonmill-test-child with the arguments, each written in double quotes.
CommandLine testChildLine(const QStringList &arguments);

} // namespace tonmill::test
