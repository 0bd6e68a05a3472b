#pragma once

#include <QByteArray>
#include <QString>

namespace tonmill::test {

// The file's bytes; empty when it cannot be read.
QByteArray readBytes(const QString &path);
// Replaces the file's content; a failure fails the running test.
void writeBytes(const QString &path, const QByteArray &bytes);
// What ffprobe, a reader independent of the program, says of the file's
// entries (such as "stream=codec_name,channels"): the values, comma-separated.
QString probeEntries(const QString &path, const QString &entries);
// How long the file's first audio stream lasts as ffmpeg decodes it, counted
// in samples; -1 when it cannot be decoded.
double decodedSeconds(const QString &path);
// The file's integrated loudness (LUFS) and true peak (dBTP) as ffmpeg's own
// EBU R128 meter, run apart from the program, finds them.
struct Loudness {
    double lufs = 0;
    double peakDbtp = 0;
};
Loudness measureLoudness(const QString &path);
// The mean level in dB of the file's sound after ffmpeg's filters (such as
// "atrim=0:0.25" or a band-pass), as its volume meter finds it; NaN if none.
double meanVolume(const QString &path, const QString &filters);

} // namespace tonmill::test
