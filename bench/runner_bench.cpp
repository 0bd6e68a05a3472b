// How much the piped runner slows a talkative child: the same child writes
// 20 MB once to /dev/null and once through cStdIO, several times each, and the
// medians are compared.
//   tonmill-bench-runner [MB] [ROUNDS]
// The child is this program started again with --child. "encoder" children
// compute each block before writing it, as an encoder does; "burst" children
// write as fast as the kernel takes it, which shows the runner's own cost.
#include "platform/ProcessRegistry.h"
#include "process/cStdIO.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

int child(long long bytes, bool encoder)
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
    return 0;
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    if (argc >= 4 && std::strcmp(argv[1], "--child") == 0)
        return child(std::atoll(argv[2]), std::strcmp(argv[3], "encoder") == 0);

    QCoreApplication app(argc, argv);
    const long long megabytes = argc > 1 ? std::atoll(argv[1]) : 20;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
    const QString self = QCoreApplication::applicationFilePath();
    const QString bytes = QString::number(megabytes * 1024 * 1024);

    tonmill::ProcessRegistry registry;
    tonmill::cStdIO runner(registry);
    std::printf("child writes %lld MB; median of %d rounds\n", megabytes, rounds);
    for (const char *kind : {"encoder", "burst"}) {
        const QStringList args{QStringLiteral("--child"), bytes, QString::fromLatin1(kind)};
        std::vector<double> direct, piped;
        for (int i = 0; i < rounds; ++i) {
            QProcess p;
            p.setStandardOutputFile(QProcess::nullDevice());
            QElapsedTimer t;
            t.start();
            p.start(self, args);
            p.waitForFinished(-1);
            direct.push_back(t.elapsed());

            tonmill::CommandLine line{self, self, args, QStringLiteral("bench")};
            long long received = 0;
            auto c = QObject::connect(&runner, &tonmill::cStdIO::GotData,
                                      [&](const QString &d) { received += d.size(); });
            t.restart();
            runner.ExecuteCommand(line);
            piped.push_back(t.elapsed());
            QObject::disconnect(c);
            if (received != megabytes * 1024 * 1024) {
                std::printf("runner delivered %lld bytes, expected %lld\n", received, megabytes * 1024 * 1024);
                return 1;
            }
        }
        const double d = median(direct), p = median(piped);
        std::printf("%-8s /dev/null %7.0f ms   through cStdIO %7.0f ms   ratio %.3f\n", kind, d, p, p / d);
    }
    return 0;
}
