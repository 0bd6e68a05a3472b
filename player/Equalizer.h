#pragma once

#include <QRect>
#include <QString>

#include <array>

namespace tonmill {

constexpr int kEqualizerBands = 18;
// The sliders' values; a label reads its slider's value plus
// kEqualizerLabelOffset, so the range shows as -12 .. +12 dB around 0.
constexpr int kEqualizerMinimum = -32;
constexpr int kEqualizerMaximum = -8;
constexpr int kEqualizerFlat = -20;
constexpr int kEqualizerLabelOffset = 20;

// The Equalizer window's values: one slider and one label per band.
struct EqualizerState {
    EqualizerState();

    std::array<int, kEqualizerBands> SEq;
    std::array<QString, kEqualizerBands> EQ;
    // Whether the bands shape the output of conversions.
    bool chkApply = false;

    // Each band's gain in dB, as its label reads.
    std::array<int, kEqualizerBands> gainsDb() const;
    // Sets the bands from gains in dB, each kept within the sliders' range.
    void setGainsDb(const std::array<int, kEqualizerBands> &gains);

    bool operator==(const EqualizerState &) const = default;

    // Any slider moved: every label is written again from its slider. A sum
    // that does not fit 16 bits leaves all labels as they were.
    void SEq_Change();
    // Every band back to flat.
    void btnZero_Click();
};

// Where the equalizer stands beside the main window: against its right edge,
// as high as it and level with its top, keeping its own width. Where that
// would reach past the right edge of the screen (a large scale), against the
// main window's left edge if there is room, else against the screen's right
// edge. All are frame geometries.
QRect dockedEqualizerGeometry(const QRect &mainFrame, int equalizerWidth, const QRect &screen);

} // namespace tonmill
