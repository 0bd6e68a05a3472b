#pragma once

#include "media/WavHeader.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace tonmill::avs {

using SourceInfo = AudioStreamInfo;

// What a file's first audio stream holds: as the program that started this
// one measured it, or read from a plain WAV's header, or else asked of ffprobe.
class SourceProbe {
public:
    // `knownFacts`: the value of the program's source facts variable, if any.
    explicit SourceProbe(QString ffprobePath, QByteArray knownFacts = {});
    // Nothing, with a one-line reason, when the file is missing, unreadable or
    // has no audio. A length that nothing states is 0.
    std::optional<SourceInfo> probe(const QString &path, QString *error) const;
    // The same, asked of ffprobe whatever the file is.
    std::optional<SourceInfo> askFfprobe(const QString &path, QString *error) const;

    // How ffmpeg and ffprobe are given a local file: the file: prefix keeps a
    // name such as "-x.wav" or "concat:a|b" a plain file.
    static QString inputUrl(const QString &absolutePath);

private:
    QString m_ffprobe;
    QByteArray m_knownFacts;
};

} // namespace tonmill::avs
