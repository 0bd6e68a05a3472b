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
    // Only for finding the length: as PeakScan, but silence that bounds the
    // clip itself stays whole.
    LengthScan,
};

// What the passes over the audio found: the gain each Normalize node
// applies, and how many samples reach each Fade node, whose fade out ends
// with the last of them.
struct Measurements {
    QHash<const ClipNode *, double> gains;
    QHash<const ClipNode *, qint64> lengths;
};

// The nodes the clip is built from, each after all of its inputs.
std::vector<const ClipNode *> postOrder(const Clip &root);

// The clip as one ffmpeg filter graph whose result is the pad "[out]". Every
// Normalize and Fade node the clip uses must have been measured.
FfmpegGraph compileGraph(const Clip &root, GraphMode mode, const Measurements &measured);

// ffmpeg's name of the layout the graph gives a clip of that many channels.
QString layoutName(int channels);

} // namespace tonmill::avs
