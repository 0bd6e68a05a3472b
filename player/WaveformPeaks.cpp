#include "player/WaveformPeaks.h"

#include <algorithm>
#include <cstdlib>

namespace tonmill {

void appendPeaks(std::span<const qint16> samples, int samplesPerBin, QList<float> &peaks)
{
    if (samplesPerBin <= 0)
        return;
    for (std::size_t begin = 0; begin < samples.size(); begin += std::size_t(samplesPerBin)) {
        const std::size_t end = std::min(samples.size(), begin + std::size_t(samplesPerBin));
        int peak = 0;
        for (std::size_t i = begin; i < end; ++i)
            peak = std::max(peak, std::abs(int(samples[i])));
        // -32768 has no positive twin: it reads as full scale too.
        peaks.append(std::min(1.0f, float(peak) / 32767.0f));
    }
}

} // namespace tonmill
