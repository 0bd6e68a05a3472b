#pragma once

#include <QByteArrayView>

#include <optional>

namespace tonmill {

// What a source's first audio stream holds.
struct AudioStreamInfo {
    int channels = 0;
    int sampleRate = 0;
    double durationSeconds = 0;
    bool isFloat = false;
    // The file's front cover: the index of its attached picture stream, the
    // one ffmpeg would take as "0:N"; -1 when it has none.
    int coverStream = -1;
};

// The most channels a source may have.
constexpr int kMaxAudioChannels = 8;

// The stream facts of a plain PCM or float WAV file, read from its header:
// `head` is the start of the file (the chunks up to the data chunk's header)
// and `fileSize` the size of the whole file. Nothing when the file is anything
// else (another codec, RF64, a length the file does not hold, a header that
// does not add up), so that the caller asks ffprobe instead.
std::optional<AudioStreamInfo> readWavHeader(QByteArrayView head, qint64 fileSize);

// How much of a file's start readWavHeader looks at.
constexpr qsizetype kWavHeadBytes = 64 * 1024;

} // namespace tonmill
