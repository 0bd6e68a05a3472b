#pragma once

#include "player/Equalizer.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <optional>

namespace tonmill {

using EqualizerGains = std::array<int, kEqualizerBands>;

// The environment variable through which the program hands the equalizer's
// bands to the encoder runner.
inline constexpr char kEqualizerVariable[] = "TONMILL_EQUALIZER";

// The bands as a "NAME=g1,...,g18" environment entry of gains in dB; empty
// when the switch is off or every band is flat, so that the runner's
// environment does not carry the name at all.
QString equalizerEntry(const EqualizerState &equalizer);

// The gains kEqualizerVariable's value holds: 18 whole numbers of dB, from
// -24 to +24; nothing when it is anything else.
std::optional<EqualizerGains> equalizerFrom(const QByteArray &value);

// ffmpeg's 18-band equalizer with these gains; its bands lie half an octave
// apart from 55 Hz, as the Equalizer window's labels read.
QString equalizerFilter(const EqualizerGains &gains);

// The settings file's text for the bands ("0,0,-12,..."), and back; nothing
// for a text that is not 18 numbers.
QString equalizerBandsText(const EqualizerGains &gains);
std::optional<EqualizerGains> equalizerBandsFrom(const QString &text);

} // namespace tonmill
