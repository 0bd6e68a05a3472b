#pragma once

#include "player/WaveformPeaks.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <memory>
#include <vector>

class QThread;

namespace tonmill {

// Computes a source's waveform on a thread of its own: ffmpeg decodes the
// sound to mono PCM and the peaks are taken as it arrives. The window never
// waits for it; a new source cancels the computation of the old one, whose
// result is then never shown.
class WaveformLoader : public QObject {
    Q_OBJECT
public:
    static constexpr int kSampleRate = 16000;
    static constexpr int kBinsPerSecond = 100;

    explicit WaveformLoader(QObject *parent = nullptr);
    ~WaveformLoader() override;

    // Forgets the current waveform and starts on the source's.
    void start(const QString &ffmpeg, const QString &source);
    // Forgets the current waveform and stops any computation.
    void clear();

    // The last finished waveform; empty while one is computed or when the
    // source could not be decoded.
    const Waveform &waveform() const { return m_waveform; }
    bool computing() const { return m_computing; }

Q_SIGNALS:
    // A waveform was finished (or found impossible) for the latest source.
    void finished();

private:
    void cancelRunning();
    void deliver(quint64 generation, const Waveform &waveform);

    Waveform m_waveform;
    bool m_computing = false;
    quint64 m_generation = 0;
    std::shared_ptr<std::atomic_bool> m_cancel;
    // Threads whose computation may still be ending; each is waited for when
    // this object goes.
    std::vector<QThread *> m_threads;
};

} // namespace tonmill
