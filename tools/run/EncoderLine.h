#pragma once

#include "convert/OutputWindow.h"

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <optional>

namespace tonmill::run {

// The three kinds of encoder line the program writes.
enum class LineKind { Ffmpeg, QuEnc, WmaScript };

// One encode as a line asks for it, already in today's ffmpeg terms.
struct EncodeRequest {
    LineKind kind = LineKind::Ffmpeg;
    QString input;
    QString output;
    QString encoder;           // ffmpeg encoder name; empty: the muxer's default
    QString muxer;             // ffmpeg muxer name
    QStringList muxerOptions;  // extra output options of the muxer
    int channels = 0;          // 0: as the input has them
    int sampleRate = 0;        // 0: as the input has it
    qint64 bitRate = 0;        // bits per second; 0: the encoder's default
    double volume = 1.0;       // gain factor, 1 = unchanged
    // Filters that shape the sound before the volume: the equalizer's.
    QStringList shaping;
    // Only this stretch of the sound is encoded, after everything else has
    // been done to the whole: what a preview of the result asks for.
    std::optional<OutputWindow> window;
    // The encoder's own settings, as ffmpeg takes them ("-compression_level",
    // "5", ...), checked against what the lines may ask.
    QStringList codecOptions;
    QList<QPair<QString, QString>> metadata;
    // Whether the source's own tags are carried, under the line's.
    bool sourceTags = false;
    // What was chosen where the line cannot be followed as it stands.
    QStringList notes;
};

struct ParsedLine {
    bool ok = false;
    QString error;
    EncodeRequest request;
};

// The words of an encoder line: word 0 is the program as the line names it
// (ffmpeg's path, QuEnc's path or the script host), the rest its arguments.
ParsedLine parseEncoderLine(const QStringList &words);

LineKind lineKind(const QStringList &words);

// The legal AMR mode nearest to a bit rate in kbit/s, in bits per second.
qint64 nearestAmrMode(bool wideBand, double kbps);

// What ffmpeg's WMA encoder is given for one of the script host's profiles.
struct WmaProfile {
    int nominalKbps = 0;  // what the profile's name promises
    qint64 bitRate = 0;   // what is encoded
    int sampleRate = 0;
    int channels = 0;
};
std::optional<WmaProfile> wmaProfile(const QString &key);

// A number written with either decimal separator ("84.48", "84,48").
std::optional<double> parseNumber(const QString &text);

} // namespace tonmill::run
