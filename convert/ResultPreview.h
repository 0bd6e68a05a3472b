#pragma once

#include "convert/BatchJob.h"
#include "convert/OutputWindow.h"
#include "convert/SourceDuration.h"
#include "platform/AppFolder.h"

#include <QObject>
#include <QTemporaryDir>
#include <QThreadPool>

#include <atomic>
#include <memory>
#include <optional>
#include <utility>

namespace tonmill {

// The whole output's size, and its audio's bit rate, as a preview of part of
// it tells them.
struct SizeEstimate {
    qint64 bytes = 0;
    double kbps = 0;
};

// For a preview file of previewBytes whose audio stream is `audio`: the
// audio grows with the length, what the container adds besides it (headers,
// tags, a cover) does not.
SizeEstimate estimateWhole(qint64 previewBytes, const EncodedAudio &audio, double outputSeconds);

// "≈ 4.9 MB, 128 kbit/s": units that read alike in every language.
QString estimateText(const SizeEstimate &estimate);

// What a preview of the result is made from: a single file's conversion and
// the place in its output where the preview starts.
struct PreviewRequest {
    QString source;
    BatchSettings settings;
    double position = 0;
    // The segment that Encode Segment converts instead of the whole, start
    // and end in seconds; nothing when it is off.
    std::optional<std::pair<double, double>> segment;
};

struct PreviewOutcome {
    QString file;    // the encoded stretch; empty when there is none
    QString failure; // why there is none
    OutputWindow window;
    SizeEstimate estimate;
};

// "Preview result": ten seconds of the output that the current choices make,
// encoded the way a conversion encodes the whole file, and the whole output's
// size estimated from them. It encodes on a thread of its own, into a
// temporary folder that goes with it.
class ResultPreview : public QObject {
    Q_OBJECT
public:
    static constexpr double kSeconds = 10;

    explicit ResultPreview(const AppFolder &folder, QObject *parent = nullptr);
    ~ResultPreview() override;

    // The last preview's file goes at once; one still being encoded is abandoned.
    void start(const PreviewRequest &request);
    // Abandons the preview being encoded.
    void cancel();
    bool running() const { return m_running; }
    const PreviewOutcome &outcome() const { return m_outcome; }

Q_SIGNALS:
    void finished();

private:
    void ended(quint64 serial, const PreviewOutcome &outcome);

    AppFolder m_folder;
    QTemporaryDir m_dir;
    // One preview is encoded at a time; an abandoned one ends before the next begins.
    QThreadPool m_pool;
    std::shared_ptr<std::atomic_bool> m_abort;
    // Each preview's number, which also names its file, so that the player
    // never takes a new preview for the one it has loaded.
    quint64 m_serial = 0;
    bool m_running = false;
    PreviewOutcome m_outcome;
};

} // namespace tonmill
