#include "player/WaveformLoader.h"

#include "platform/ChildProcess.h"

#include <QProcess>
#include <QThread>

namespace tonmill {

namespace {

constexpr int kSamplesPerBin = WaveformLoader::kSampleRate / WaveformLoader::kBinsPerSecond;
constexpr int kReadWaitMs = 20;

// Runs on the worker thread: decodes and folds the sound into peaks until the
// end of the source or until `cancel` is raised. Empty when nothing decoded.
Waveform computeWaveform(const QString &ffmpeg, const QString &source, const std::atomic_bool &cancel)
{
    Waveform waveform;
    waveform.binsPerSecond = WaveformLoader::kBinsPerSecond;
    QProcess decoder;
    makeChildDieWithParent(decoder);
    decoder.setProgram(ffmpeg);
    decoder.setArguments({QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
                          QStringLiteral("-i"), source, QStringLiteral("-vn"), QStringLiteral("-ac"),
                          QStringLiteral("1"), QStringLiteral("-ar"), QString::number(WaveformLoader::kSampleRate),
                          QStringLiteral("-f"), QStringLiteral("s16le"), QStringLiteral("-")});
    decoder.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    decoder.start(QIODevice::ReadOnly);
    if (!decoder.waitForStarted())
        return {};
    QByteArray pending;
    constexpr qsizetype kBinBytes = kSamplesPerBin * qsizetype(sizeof(qint16));
    const auto fold = [&](bool all) {
        const qsizetype whole = all ? pending.size() - pending.size() % qsizetype(sizeof(qint16))
                                    : pending.size() - pending.size() % kBinBytes;
        appendPeaks({reinterpret_cast<const qint16 *>(pending.constData()), std::size_t(whole) / sizeof(qint16)},
                    kSamplesPerBin, waveform.peaks);
        pending.remove(0, whole);
    };
    while (!cancel.load()) {
        const bool running = decoder.state() != QProcess::NotRunning;
        if (running)
            decoder.waitForReadyRead(kReadWaitMs);
        pending += decoder.readAllStandardOutput();
        fold(false);
        if (!running)
            break;
    }
    if (cancel.load()) {
        decoder.kill();
        decoder.waitForFinished();
        return {};
    }
    fold(true);
    if (decoder.exitStatus() != QProcess::NormalExit || decoder.exitCode() != 0)
        return {};
    return waveform;
}

} // namespace

WaveformLoader::WaveformLoader(QObject *parent)
    : QObject(parent)
{
}

WaveformLoader::~WaveformLoader()
{
    cancelRunning();
    for (QThread *thread : m_threads) {
        thread->wait();
        delete thread;
    }
}

void WaveformLoader::cancelRunning()
{
    if (m_cancel)
        m_cancel->store(true);
    m_cancel.reset();
    ++m_generation;
    m_computing = false;
    m_waveform = {};
    // Threads that have ended are let go here rather than from their own
    // signal, so that the destructor never waits on a deleted one.
    std::erase_if(m_threads, [](QThread *thread) {
        if (!thread->isFinished())
            return false;
        delete thread;
        return true;
    });
}

void WaveformLoader::clear()
{
    cancelRunning();
}

void WaveformLoader::start(const QString &ffmpeg, const QString &source)
{
    cancelRunning();
    m_computing = true;
    m_cancel = std::make_shared<std::atomic_bool>(false);
    const quint64 generation = m_generation;
    QThread *thread = QThread::create([this, generation, ffmpeg, source, cancel = m_cancel] {
        const Waveform waveform = computeWaveform(ffmpeg, source, *cancel);
        if (cancel->load())
            return;
        // The result crosses to this object's thread as a posted call, which
        // goes with this object if it ends first; its destructor waits for
        // this thread, so `this` is alive while the call is posted.
        QMetaObject::invokeMethod(
            this, [this, generation, waveform] { deliver(generation, waveform); }, Qt::QueuedConnection);
    });
    m_threads.push_back(thread);
    thread->start(QThread::LowPriority);
}

void WaveformLoader::deliver(quint64 generation, const Waveform &waveform)
{
    if (generation != m_generation)
        return;
    m_computing = false;
    m_waveform = waveform;
    Q_EMIT finished();
}

} // namespace tonmill
