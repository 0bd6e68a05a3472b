#pragma once

#include <QList>
#include <QtGlobal>

#include <span>

namespace tonmill {

// A source's outline: the largest absolute level of each short stretch of its
// sound, from 0 (silence) to 1 (full scale).
struct Waveform {
    int binsPerSecond = 0;
    QList<float> peaks;

    double seconds() const { return binsPerSecond > 0 ? double(peaks.size()) / binsPerSecond : 0.0; }
};

// Appends to `peaks` one value per `samplesPerBin` samples of 16-bit mono
// sound; a last stretch shorter than that gets a value of its own.
void appendPeaks(std::span<const qint16> samples, int samplesPerBin, QList<float> &peaks);

} // namespace tonmill
