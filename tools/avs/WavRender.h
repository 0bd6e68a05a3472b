#pragma once

#include "tools/avs/AvsScript.h"

#include <QString>

namespace tonmill::avs {

// Told what the render has put on disk and started, so that a signal handler
// can undo it if the program is stopped half-way.
class RenderWatch {
public:
    virtual ~RenderWatch() = default;
    virtual void partialFileCreated(const QString &path) = 0;
    virtual void encoderStarted(qint64 pid) = 0;
    virtual void encoderEnded() = 0;
};

// Runs the graph through ffmpeg into a 16-bit PCM WAV file (RF64 when it
// outgrows WAV). ffmpeg writes a hidden file beside the output, which replaces
// the output only when complete; on failure nothing is left behind and an
// existing output stays as it was. False with a one-line reason.
bool renderWav(const FfmpegGraph &graph, const QString &ffmpegPath, const QString &outputPath,
               RenderWatch &watch, QString *error);

} // namespace tonmill::avs
