// Times the conversion job's measurement of a source's length, the program's
// own code, rounds times over one source:
//   tonmill-bench-length APP_DIR SOURCE ROUNDS
// APP_DIR's settings name the ffmpeg beside whose ffprobe it measures. Prints
// the length found and the median wall-clock milliseconds of one measurement.
#include "convert/SourceDuration.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int rounds = args.size() == 4 ? args[3].toInt() : 0;
    if (rounds < 1) {
        std::fprintf(stderr, "usage: tonmill-bench-length APP_DIR SOURCE ROUNDS\n");
        return 2;
    }
    const tonmill::SourceDuration measure{tonmill::AppFolder(args[1])};
    std::vector<double> ms;
    tonmill::SourceLength length;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer timer;
        timer.start();
        length = measure(args[2]);
        ms.push_back(double(timer.nsecsElapsed()) / 1e6);
        if (!length.ok()) {
            std::fprintf(stderr, "cannot measure: %s\n", qPrintable(length.error));
            return 1;
        }
    }
    std::sort(ms.begin(), ms.end());
    std::printf("%.6f %.1f\n", length.seconds, ms[ms.size() / 2]);
    return 0;
}
