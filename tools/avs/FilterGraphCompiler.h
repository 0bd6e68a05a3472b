#pragma once

#include "tools/avs/AvsClip.h"
#include "tools/avs/AvsScript.h"

#include <QHash>

#include <vector>

namespace tonmill::avs {

enum class GraphMode {
    // The clip exactly.
    Render,
    // Only for finding the peak: silence that bounds no other audio is cut
    // to one sample, so that hours of BlankClip are never generated.
    PeakScan,
};

// The gain each Normalize node applies.
using NormalizeGains = QHash<const ClipNode *, double>;

// The nodes the clip is built from, each after all of its inputs.
std::vector<const ClipNode *> postOrder(const Clip &root);

// The clip as one ffmpeg filter graph whose result is the pad "[out]". Every
// Normalize node the clip uses must have its gain in gains.
FfmpegGraph compileGraph(const Clip &root, GraphMode mode, const NormalizeGains &gains);

// ffmpeg's name of the layout the graph gives a clip of that many channels.
QString layoutName(int channels);

} // namespace tonmill::avs
