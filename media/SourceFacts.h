#pragma once

#include "media/WavHeader.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace tonmill {

// The environment variable through which the program hands a source's stream
// facts, measured once, to the helper programs it starts, so that they need
// not ask ffprobe about the same file again.
inline constexpr char kSourceFactsVariable[] = "TONMILL_SOURCE_FACTS";

// The facts of one source as a "NAME=value" environment entry: its absolute
// path, with its size and modification time so that a file changed since it
// was measured is not taken for the one measured. Empty when the file cannot
// be read or the facts are not complete (the helper then probes it itself and
// says what is wrong with it).
QString sourceFactsEntry(const QString &path, const AudioStreamInfo &stream);

// The facts that kSourceFactsVariable's value holds for `path`: nothing when they are of
// another file, of an older version of this one, or not well formed.
std::optional<AudioStreamInfo> knownSourceFacts(const QByteArray &encoded, const QString &path);

} // namespace tonmill
