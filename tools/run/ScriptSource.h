#pragma once

#include "tools/run/FfmpegArguments.h"

namespace tonmill::run {

struct SourceResult {
    bool ok = false;
    QString error;
    AudioSource source;
};

// The audio an encoder line's input names: a script (.avs) is compiled to
// ffmpeg inputs and a filter graph, any other file is opened as it is.
SourceResult openSource(const QString &input, const QString &ffmpegPath);

} // namespace tonmill::run
