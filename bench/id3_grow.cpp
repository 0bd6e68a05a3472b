// Adds to an MP3 file a version 2.3 tag larger than the one it has, so that
// the whole file is rewritten, and prints how long that took and the peak
// memory of this process.
//   tonmill-bench-id3 FILE        grow the tag
//   tonmill-bench-id3 FILE small  give the file a small tag first
#include "media/modID3Tags.h"

#include <QElapsedTimer>
#include <QFile>

#include <cstdio>
#include <cstring>
#include <sys/resource.h>

int main(int argc, char **argv)
{
    if (argc < 2)
        return 2;
    const QString path = QString::fromLocal8Bit(argv[1]);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return 1;
    const qint64 oldSize = tonmill::GetID3v2TagSize(file, 0);
    file.close();

    tonmill::ID3TagInfo info;
    info.Title = QStringLiteral("Benchmark");
    if (argc < 3 || std::strcmp(argv[2], "small") != 0)
        info.Comment = QString(oldSize + 1, QLatin1Char('c'));

    QElapsedTimer timer;
    timer.start();
    const bool written = tonmill::WriteID3v2Tag(path, info, 0, true, false);
    const double seconds = timer.nsecsElapsed() / 1e9;

    QFile after(path);
    after.open(QIODevice::ReadOnly);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("written=%d seconds=%.3f peak_rss_kb=%ld old_tag=%lld new_tag=%lld\n", written ? 1 : 0, seconds,
                usage.ru_maxrss, static_cast<long long>(oldSize),
                static_cast<long long>(tonmill::GetID3v2TagSize(after, 0)));
    return written ? 0 : 1;
}
