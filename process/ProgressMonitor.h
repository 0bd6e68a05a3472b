#pragma once

#include <QString>

#include <optional>

namespace tonmill {

// What the main window shows of a running encode.
struct ProgressDisplay {
    QString txtProgress;    // elapsed encoded seconds, as text
    int PB1 = 0;            // the progress bar's value
    QString Encoding;       // percent and output size
    QString lblWMAprogress; // the WMA encoder's own progress text

    bool operator==(const ProgressDisplay &) const = default;
};

// One tick of Timer3 over the output pane rtbOutput, which holds only the
// latest chunk the encoder printed. txtFormat "7" (WMA) shows the encoder's
// own text; every other format cuts the fixed columns of the status line
//   "size=" + 10-character size + " time=" + seconds + " bitrate=..."
// duration is the source's length in seconds; when it is missing or rounds
// to zero the Encoding caption keeps its previous text.
void progressTick(const QString &rtbOutput, const QString &txtFormat, std::optional<double> duration,
                  ProgressDisplay &display);

// The seconds of sound an encoder reports as written in the last progress
// line of a piece of its output: the status line's "time=" or the WMA
// encoder's own line. Nothing when the piece holds no progress line.
std::optional<double> encodedSeconds(const QString &output);

} // namespace tonmill
