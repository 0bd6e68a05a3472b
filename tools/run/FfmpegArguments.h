#pragma once

#include "tools/run/EncoderLine.h"

#include <QString>
#include <QStringList>

namespace tonmill::run {

// Where the audio comes from: a file ffmpeg opens itself, or the inputs and
// filter graph that a script was compiled to.
struct AudioSource {
    QStringList inputArguments;  // everything that opens the inputs ("-i" ...)
    QString filterComplex;       // empty for a plain file
    QString outputLabel;         // the graph's audio output, or a stream specifier
    int channels = 0;            // 0: not known before ffmpeg opens it
    int sampleRate = 0;
    double durationSeconds = 0;
    // Six channels that stand in the AC-3 order L C R Ls Rs LFE, as the
    // up-mix script hands them to the AC3 encoder, rather than in ffmpeg's.
    bool ac3ChannelOrder = false;
};

AudioSource plainSource(const QString &path);

// The file names the source opens.
QStringList sourceFiles(const AudioSource &source);

// The settings the encode ends with, once the source is known.
struct EncodeSettings {
    QStringList filters;  // applied in order to the source's audio
    int sampleRate = 0;   // 0: as the source has it
    QStringList notes;
};
EncodeSettings encodeSettings(const EncodeRequest &request, const AudioSource &source);

// One ffmpeg run that reads the source, applies the settings and writes the
// target; progress goes to its standard output as key=value blocks.
QStringList ffmpegArguments(const EncodeRequest &request, const AudioSource &source, const QString &target);

// One line that tells what is encoded how, for the log.
QString describeEncode(const EncodeRequest &request, const AudioSource &source);

} // namespace tonmill::run
