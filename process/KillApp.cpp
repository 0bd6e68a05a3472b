#include "process/KillApp.h"

#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"

#include <csignal>

namespace tonmill {

namespace {
QString folded(const QString &name)
{
    QString upper = name.toUpper();
    if (upper.endsWith(QLatin1String(".EXE")))
        upper.chop(4);
    return upper;
}
} // namespace

bool imageNameMatches(const QString &imageName, const QString &wanted)
{
    return folded(imageName).contains(folded(wanted));
}

QString KillByName(const ProcessRegistry &registry, const QString &name)
{
    for (const ChildRecord &record : registry.live()) {
        if (imageNameMatches(record.imageName, name)) {
            KillById(registry, record.pid);
            break;
        }
    }
    return {};
}

bool KillById(const ProcessRegistry &registry, qint64 pid)
{
    if (!registry.contains(pid))
        return false;
    return signalProcessTree(pid, SIGKILL);
}

} // namespace tonmill
