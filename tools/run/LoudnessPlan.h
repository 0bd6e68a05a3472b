#pragma once

#include "convert/LoudnessChoice.h"
#include "tools/run/LoudnessMeter.h"

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <optional>

namespace tonmill::run {

// Whether the meter found anything to bring to a level: silence and audio too
// short for one block read as its floor.
bool isMeasurable(const LoudnessReading &reading);

// The gain, in dB, that brings the reading to the choice's target.
double loudnessGain(const LoudnessChoice &choice, const LoudnessReading &reading);

// Whether that gain would lift the true peak over the choice's ceiling.
bool needsLimiter(const LoudnessChoice &choice, const LoudnessReading &reading, double gainDb);

// The level, in dBTP, the limiter holds peaks to: a little under the ceiling,
// as resampling back from its oversampled rate makes new peaks between
// samples, and further under for a lossy encoder, whose coding noise adds
// to the peaks it is given.
double limiterLevel(const LoudnessChoice &choice, const QString &encoder);

// The filters that apply the gain; with a limiter level, followed by a
// limiter that works at four times the rate, so that it sees the peaks
// between samples, and then back at sampleRate.
QStringList gainFilters(double gainDb, std::optional<double> limiterDbtp, int sampleRate);

// The true peak as a share of full scale; 0 for silence.
double trackPeak(const LoudnessReading &reading);
// ReplayGain 2.0 track tags: the gain to -18 LUFS as "-3.21 dB", the true
// peak as a share of full scale.
QList<QPair<QString, QString>> replayGainTags(const LoudnessReading &reading);
// The album's, in the same form.
QList<QPair<QString, QString>> albumGainTags(const AlbumGain &album);
// Opus's own gain tags for the track and, when there is one, the album.
QList<QPair<QString, QString>> opusGainTags(const LoudnessReading &reading, const std::optional<AlbumGain> &album);

// The loudness tags a source may carry into the output (ReplayGain's and
// Opus's R128 gains), each with an empty value, which makes ffmpeg drop it:
// they describe the audio before its level was changed.
QList<QPair<QString, QString>> droppedLoudnessTags();

// Whether ffmpeg's muxer stores those tags where tag readers find them:
// Vorbis comments, ID3v2 TXXX frames and ASF attributes take any name; the
// other containers drop them or, as MP4 does, store them as no reader expects.
bool keepsReplayGainTags(const QString &muxer);

// A number of decibels for the log, with its sign: "+4.3 dB".
QString signedDecibels(double db);

} // namespace tonmill::run
