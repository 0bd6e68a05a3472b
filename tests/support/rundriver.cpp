// Runs the arguments as one child through cStdIO, the way the program runs an
// encoder, and copies what the child writes to its own output. Tests kill this
// driver to show that its child does not outlive it.
#include "platform/ProcessRegistry.h"
#include "process/cStdIO.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = QCoreApplication::arguments().mid(1);
    if (args.isEmpty())
        return 2;
    tonmill::ProcessRegistry registry;
    tonmill::cStdIO runner(registry);
    QObject::connect(&runner, &tonmill::cStdIO::GotData, [](const QString &data) {
        std::fputs(data.toUtf8().constData(), stdout);
        std::fflush(stdout);
    });
    tonmill::CommandLine line;
    line.program = args.takeFirst();
    line.arguments = args;
    line.text = line.program;
    runner.ExecuteCommand(line);
    return 0;
}
