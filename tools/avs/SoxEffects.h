#pragma once

#include "tools/avs/AvsClip.h"

#include <QString>

#include <vector>

namespace tonmill::avs {

// One step of a sox effect chain as this interpreter applies it.
struct SoxEffect {
    enum class Kind { Pass, Gain };
    Kind kind = Kind::Gain;
    PassFilter filter; // Pass
    double gain = 1;   // Gain: linear; negative inverts
};

// Reads one effect as written on sox's command line: "lowpass [-1|-2] F",
// "highpass [-1|-2] F", "filter LOW-HIGH" (also "LOW-" and "-HIGH"),
// "vol GAIN [amplitude|dB]". Frequencies may end in k. The band of "filter"
// becomes a high-pass and a low-pass. False with a one-line reason otherwise.
bool parseSoxEffect(const QString &text, std::vector<SoxEffect> *effects, QString *error);

} // namespace tonmill::avs
