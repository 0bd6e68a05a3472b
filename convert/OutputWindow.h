#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace tonmill {

// A stretch of an output's sound, in seconds from the output's start: what a
// preview of the result encodes, everything else done as for the whole.
struct OutputWindow {
    double start = 0;
    double seconds = 0;
};

// The environment variable through which the program asks the encoder runner
// to encode only a window of the output.
inline constexpr char kWindowVariable[] = "TONMILL_WINDOW";

// The window as a "NAME=start,seconds" environment entry.
QString windowEntry(const OutputWindow &window);

// The window kWindowVariable's value holds: two numbers, a start of 0 or
// more and a length above 0; nothing for anything else.
std::optional<OutputWindow> windowFrom(const QByteArray &value);

// `seconds` of an output `outputSeconds` long from `position`: moved back
// where the output ends sooner, and never longer than the output.
OutputWindow windowWithin(double position, double seconds, double outputSeconds);

} // namespace tonmill
