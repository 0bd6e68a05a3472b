#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace tonmill {

class AppFolder;

// What the full decoding script is written from.
struct FullScriptInputs {
    QString source;       // txtPath
    double duration = 0;  // the source's length in seconds
    QString rate;         // SamFreq
    QString format;       // cmbFormat text
    bool normalize = false; // chkNormalize
    bool upmix = false;     // chk51UpMix
    bool fade = false;      // chkFadeInOut
};

// What the segment script is written from.
struct SegmentScriptInputs {
    QString source; // txtPath
    QString start;  // txtCutS, seconds as text
    QString end;    // txtCutE
    QString rate;   // SamFreq
    bool fade = false; // chkFadeInOut
    // The source's length in seconds, where a segment that runs to the
    // source's end needs it; 0 when it is not known.
    double sourceSeconds = 0;
};

// A time in seconds as the scripts' frame number at 25 frames per second,
// rounded half away from zero; empty for a value that is not finite.
QString frameNumber(double seconds);

// How long the segment from start to end lasts, in seconds: its frames, the
// end one included, up to the source's end when the source's length is known
// (above 0); an end of 0 runs to the source's end. At least one frame, and 0
// when it runs to the end of a source of unknown length.
double segmentSeconds(double start, double end, double sourceSeconds);

// The line that fades the clip in over its first 2 seconds and out over its
// last 2, or over a third of its length each when it is shorter than 6
// seconds; a length of 0 (not known) takes the 2 seconds.
QString fadeLine(double seconds);

// The full script's source line for a source: chosen by its last three
// characters, compared case-sensitively; for an extension the table does not
// know, the segment script's DirectShowSource line, which reads whatever
// ffmpeg decodes. A path that holds a double quote is written between three.
QString sourceLine(const QString &source);

// The lines of DirectQX.avs; nothing when the duration is not finite. The
// last frame is at least 1, since Trim reads 0 as the clip's end. Its
// source line depends on the source's last three characters (sourceLine).
// The fade, when asked for, is the last change to the sound before the rate.
std::optional<QStringList> fullScript(const FullScriptInputs &inputs, const AppFolder &folder);
// The lines of segment.avs; nothing when the start or end is not a number.
std::optional<QStringList> segmentScript(const SegmentScriptInputs &inputs);

// Writes the lines as UTF-8 with CR LF line ends, replacing any earlier
// content. False when the file cannot be written or the inputs make no script.
bool writeScript(const QString &path, const QStringList &lines);
bool writeFullScript(const QString &path, const FullScriptInputs &inputs, const AppFolder &folder);
bool writeSegmentScript(const QString &path, const SegmentScriptInputs &inputs);

} // namespace tonmill
