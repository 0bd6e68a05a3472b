#pragma once

#include <QString>

namespace tonmill {

class AppFolder;

// The length of a source in seconds, asked of ffprobe synchronously: the
// ffprobe beside the configured ffmpeg, else the one on the search path.
// 0 when the length cannot be learnt, as a player reports for a file it
// cannot load.
class SourceDuration {
public:
    explicit SourceDuration(const AppFolder &folder);

    double operator()(const QString &source) const;

    // The ffprobe to ask, for an ffmpeg path as the settings hold it; empty
    // when there is none.
    static QString ffprobeFor(const QString &ffmpegPath);
    // The seconds in ffprobe's "format=duration" output; 0 when it holds none.
    static double parseDuration(const QString &probeOutput);

private:
    QString m_settingsFile;
};

} // namespace tonmill
