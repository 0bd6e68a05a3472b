#pragma once

#include <QString>

#include <optional>

namespace tonmill {

// The whole text as a finite number ("12.4", " 5 "), or nothing.
std::optional<double> parseNumber(const QString &text);

// The numeric format "0": the whole number nearest to the value as its
// fifteen-digit decimal form reads, halves away from zero (4507.5 gives 4508,
// and 1.22 × 25 gives 31, not the 30 that binary noise would give).
double roundWhole(double value);

// roundWhole as text without decimals; empty for a value that is not finite.
QString formatWhole(double value);

} // namespace tonmill
