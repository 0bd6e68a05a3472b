#pragma once

#include "process/CommandLine.h"

#include <QString>

namespace tonmill {

class AppFolder;
struct OptionState;

// Everything an encoder line needs besides the option choices, as the
// conversion job settles it at the Convert click.
struct EncoderInputs {
    QString ffmpegPath;   // General/FFMPEG
    QString quencPath;    // General/QUENC
    QString input;        // the script, or for WMA possibly the source itself
    QString output;
    int volumePercent = 100; // slVolume
    // Tag fields, used by the WMA line and the lines of the formats after it.
    QString title;  // txtTitle
    QString artist; // txtArtist
    QString album;  // txtAlbum
    QString year;   // txtYear
    QString notes;  // txtNotes
    QString genre;  // cmbGenre
    QString track;  // txtTrack
};

// The volume the encoders take: percent × 256 ÷ 100, where 256 keeps the level.
// Whole values carry no decimals, others carry theirs with ".": 33 → "84.48".
QString volumeText(int percent);

// The encoder line of the format that options.txtFormat names ("1" … "12").
// Paths and tag texts are written in double quotes and each stays one argument
// however it is spelled. An empty CommandLine when txtFormat names no format or
// the AMR bitrate is not a whole number.
CommandLine encoderCommandLine(const EncoderInputs &inputs, const OptionState &options, const AppFolder &folder);

} // namespace tonmill
