#pragma once

#include "media/WavHeader.h"
#include "platform/AppFolder.h"

#include <QByteArrayView>
#include <QString>

#include <optional>

namespace tonmill {

// What the job learns of a source before it converts it.
struct SourceLength {
    double seconds = 0;
    // Why the source cannot be read as audio, in ffmpeg's words where it
    // gave some; empty when it can.
    QString error;
    // The stream's channels, rate and sample type, learnt on the way; no
    // channels when the source is a script or the measuring did not say.
    AudioStreamInfo stream;

    bool ok() const { return error.isEmpty(); }
};

// An encoded file's audio stream: its packets' bytes, without what the
// container adds, and the seconds of sound they hold.
struct EncodedAudio {
    qint64 bytes = 0;
    double seconds = 0;
};

// The length of a source's sound in seconds, taken from the stream itself:
// headers lie (a VBR MP3 without a frame count is guessed from its first
// frames, a cut-off file claims its full length, a streamed file claims
// nothing), so every source is measured by reading its audio packets, which
// costs a small fraction of decoding them (MPEG audio, whose frames all hold
// as many samples, by counting them). A plain WAV whose header matches
// the file's size is read from its header; a script (.avs) is asked of the
// script interpreter in Tools/. The channels, rate and sample type come with
// the same answer, for the helpers that would otherwise ask again. The
// measuring tools are the ffprobe beside
// the configured ffmpeg, else the one on the search path.
class SourceDuration {
public:
    explicit SourceDuration(const AppFolder &folder);

    SourceLength operator()(const QString &source) const;
    // The audio of a file as its packets list it; nothing when they cannot
    // be read or hold no timed audio.
    std::optional<EncodedAudio> encodedAudio(const QString &file) const;

    // The ffprobe to ask, for an ffmpeg path as the settings hold it; empty
    // when there is none.
    static QString ffprobeFor(const QString &ffmpegPath);
    // ffprobe's answers are read as CSV with keys, one "stream,index=I,
    // codec_type=T,..." line for each stream; the audio is the first audio
    // stream's.
    // The seconds of sound that the packet list ("packet,stream_index=I,
    // pts=P,duration=D" lines) spans for the audio, in its stream's
    // time_base: from the first sample the decoder keeps to the end of the
    // last packet. Nothing when the list names no audio stream or holds no
    // timed packet of it.
    static std::optional<double> lengthFromPackets(QByteArrayView probeOutput);
    // The bytes of the audio's packets in such a list, which also names
    // their "size"; 0 when it holds none.
    static qint64 audioBytesFromPackets(QByteArrayView probeOutput);
    // The seconds that ffprobe's count of the audio's MPEG frames makes, from
    // its codec_name, sample_rate and nb_read_packets; nothing for another
    // codec, whose frames may differ in length.
    static std::optional<double> lengthFromFrameCount(QByteArrayView probeOutput);
    // The audio's channels, rate and sample type (no channels when it named
    // no sample type, which is how it says there is no decoder), and the
    // front cover: a JPEG or PNG stream marked as an attached picture.
    static AudioStreamInfo streamFrom(QByteArrayView probeOutput);

private:
    QString ffmpegPath() const;
    SourceLength measurePackets(const QString &source, const QString &ffmpeg) const;
    SourceLength askInterpreter(const QString &script, const QString &ffmpeg) const;

    AppFolder m_folder;
};

} // namespace tonmill
