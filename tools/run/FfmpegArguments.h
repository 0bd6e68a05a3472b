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
    // The first input's front cover, a picture stream of its own; -1: none.
    int coverStream = -1;
};

AudioSource plainSource(const QString &path);

// Whether ffmpeg writes a picture stream into this muxer's files as their
// front cover.
bool holdsCoverStream(const QString &muxer);

// The file names the source opens.
QStringList sourceFiles(const AudioSource &source);

// The settings the encode ends with, once the source is known.
struct EncodeSettings {
    QStringList filters;  // applied in order to the source's audio
    int sampleRate = 0;   // 0: as the source has it
    QStringList notes;
};
EncodeSettings encodeSettings(const EncodeRequest &request, const AudioSource &source);

// What a pass before the encode adds to it, such as loudness normalising.
struct EncodeAdjustment {
    // Applied to the audio as the encoder gets it, after the channel and
    // rate conversion the line asks for.
    QStringList filters;
    QList<QPair<QString, QString>> tags; // besides the line's
    QString summary;                     // for the description of the encode
};

// The source's audio led through the settings and, when there are further
// filters, through the line's channel and rate conversion and then them.
struct AudioGraph {
    QString filterComplex; // empty when the source's stream is taken as it is
    QString map;           // what to map as the output's audio
};
AudioGraph audioGraph(const EncodeRequest &request, const AudioSource &source, const QStringList &furtherFilters);

// Where the run puts the source's front cover, for formats whose cover is a
// tag that ffmpeg does not write (Ogg, Opus, WMA): beside the target, to be
// added once the target is complete. Empty when there is none to keep.
QString coverAside(const EncodeRequest &request, const AudioSource &source, const QString &target);

// One ffmpeg run that reads the source, applies the settings and writes the
// target (and the cover aside, where there is one); progress goes to its
// standard output as key=value blocks.
QStringList ffmpegArguments(const EncodeRequest &request, const AudioSource &source, const QString &target,
                            const EncodeAdjustment &adjustment = {});

// One line that tells what is encoded how, for the log.
QString describeEncode(const EncodeRequest &request, const AudioSource &source,
                       const EncodeAdjustment &adjustment = {});

} // namespace tonmill::run
