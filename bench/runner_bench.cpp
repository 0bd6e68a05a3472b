// How much the piped runner slows a talkative child: the same child writes
// 20 MB once to /dev/null and once through cStdIO, several times each, and the
// medians are compared. Two times are taken through the runner: when the child
// has written its last byte and exited, and when ExecuteCommand returns with
// the whole output decoded and gathered. For reference the child also writes
// into a pipe that cat reads, the plainest reader there is: what any reader of a
// pipe costs the child on this machine, before a runner does anything at all.
//   tonmill-bench-runner [MB] [ROUNDS] [encoder|burst]
// The child is this program started again with --child. "encoder" children
// compute each block before writing it, as an encoder does; "burst" children
// write as fast as the kernel takes it, which shows the runner's own cost.
#include "platform/ProcessRegistry.h"
#include "process/cStdIO.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <unistd.h>

namespace {

double nowMs()
{
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
}

// Writes the child's own end time, so that the parent can tell when the child
// was done apart from when the runner had delivered everything.
int child(long long bytes, bool encoder, const char *endFile)
{
    char block[4096];
    unsigned state = 12345;
    for (long long done = 0; done < bytes; done += sizeof block) {
        const int rounds = encoder ? 40 : 1;
        for (int r = 0; r < rounds; ++r)
            for (char &c : block) {
                state = state * 1103515245u + 12345u;
                c = static_cast<char>('a' + (state >> 16) % 26);
            }
        block[sizeof block - 1] = '\n';
        const size_t n = static_cast<size_t>(std::min<long long>(sizeof block, bytes - done));
        if (::write(1, block, n) < 0)
            return 1;
    }
    if (FILE *f = std::fopen(endFile, "w")) {
        std::fprintf(f, "%.3f\n", nowMs());
        std::fclose(f);
    }
    return 0;
}

// What only holding the output as text costs on this machine: the runner
// returns the whole output, which for ASCII takes two bytes per byte read.
double textFloorMs(long long bytes)
{
    const double t0 = nowMs();
    QString text(static_cast<qsizetype>(bytes), Qt::Uninitialized);
    std::fill(text.begin(), text.end(), QLatin1Char('a'));
    const double elapsed = nowMs() - t0;
    return text.isEmpty() ? 0.0 : elapsed;
}

double childEnd(const QString &endFile)
{
    QFile f(endFile);
    return f.open(QIODevice::ReadOnly) ? f.readAll().trimmed().toDouble() : 0.0;
}

// Time until the child is done when cat drains its output into /dev/null; cat
// is started before the clock so that only the pipe is measured.
double throughCatMs(const QString &self, const QStringList &args, const QString &endFile)
{
    QProcess reader;
    QProcess writer;
    writer.setStandardOutputProcess(&reader);
    reader.setStandardOutputFile(QProcess::nullDevice());
    reader.start(QStringLiteral("cat"), {});
    if (!reader.waitForStarted(-1))
        return 0.0;
    const double t0 = nowMs();
    writer.start(self, args);
    writer.waitForFinished(-1);
    reader.waitForFinished(-1);
    return childEnd(endFile) - t0;
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    if (argc >= 5 && std::strcmp(argv[1], "--child") == 0)
        return child(std::atoll(argv[2]), std::strcmp(argv[3], "encoder") == 0, argv[4]);

    QCoreApplication app(argc, argv);
    const long long megabytes = argc > 1 ? std::atoll(argv[1]) : 20;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
    const QString self = QCoreApplication::applicationFilePath();
    const QString bytes = QString::number(megabytes * 1024 * 1024);

    const QStringList kinds = argc > 3 ? QStringList{QString::fromLatin1(argv[3])}
                                       : QStringList{QStringLiteral("encoder"), QStringLiteral("burst")};
    QTemporaryDir scratch;
    const QString endFile = scratch.filePath(QStringLiteral("end"));

    tonmill::ProcessRegistry registry;
    tonmill::cStdIO runner(registry);
    std::printf("child writes %lld MB; median of %d rounds, ms from start\n", megabytes, rounds);
    for (const QString &kind : kinds) {
        const QStringList args{QStringLiteral("--child"), bytes, kind, endFile};
        std::vector<double> direct, viaCat, childDone, returned;
        for (int i = 0; i < rounds; ++i) {
            QProcess p;
            p.setStandardOutputFile(QProcess::nullDevice());
            double t0 = nowMs();
            p.start(self, args);
            p.waitForFinished(-1);
            direct.push_back(childEnd(endFile) - t0);
            viaCat.push_back(throughCatMs(self, args, endFile));

            tonmill::CommandLine line{self, self, args, QStringLiteral("bench"), {}};
            long long received = 0;
            auto c = QObject::connect(&runner, &tonmill::cStdIO::GotData,
                                      [&](const QString &d) { received += d.size(); });
            t0 = nowMs();
            runner.ExecuteCommand(line);
            returned.push_back(nowMs() - t0);
            childDone.push_back(childEnd(endFile) - t0);
            QObject::disconnect(c);
            if (received != megabytes * 1024 * 1024) {
                std::printf("runner delivered %lld bytes, expected %lld\n", received, megabytes * 1024 * 1024);
                return 1;
            }
        }
        const double d = median(direct), p = median(viaCat), c = median(childDone), r = median(returned);
        std::printf("%-8s to /dev/null: child done %6.0f | through cat: child done %6.0f (ratio %.3f) | "
                    "through cStdIO: child done %6.0f (ratio %.3f), output gathered %6.0f (ratio %.3f)\n",
                    qPrintable(kind), d, p, p / d, c, c / d, r, r / d);
    }
    std::vector<double> textOnly;
    for (int i = 0; i < rounds; ++i)
        textOnly.push_back(textFloorMs(megabytes * 1024 * 1024));
    std::printf("without any child, filling a new %lld MB text as the runner returns it: %.0f\n", megabytes * 2,
                median(textOnly));
    return 0;
}
