#include "convert/ResultPreview.h"

#include "convert/AVSScripts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace tonmill {

namespace {

PreviewOutcome encodePreview(const AppFolder &folder, PreviewRequest request, const QString &file,
                             const std::atomic_bool &abort)
{
    PreviewOutcome outcome;
    request.settings.window = OutputWindow{request.position, ResultPreview::kSeconds};
    const FileConversionEnd end =
        convertFile(folder, request.settings, request.source, file, true, abort, [](double, double) {});
    if (end.status != BatchItem::Status::Done) {
        outcome.failure = end.reason.isEmpty() ? QStringLiteral("it was abandoned") : end.reason;
        QFile::remove(file);
        return outcome;
    }
    const std::optional<EncodedAudio> audio = SourceDuration(folder).encodedAudio(file);
    if (!audio) {
        outcome.failure = QStringLiteral("its sound cannot be measured");
        QFile::remove(file);
        return outcome;
    }
    const double outputSeconds = request.segment
                                     ? segmentSeconds(request.segment->first, request.segment->second, end.sourceSeconds)
                                     : end.sourceSeconds;
    outcome.file = file;
    outcome.window = windowWithin(request.position, ResultPreview::kSeconds, end.sourceSeconds);
    outcome.estimate = estimateWhole(QFileInfo(file).size(), *audio, outputSeconds);
    return outcome;
}

} // namespace

SizeEstimate estimateWhole(qint64 previewBytes, const EncodedAudio &audio, double outputSeconds)
{
    if (!(audio.seconds > 0))
        return {};
    const qint64 container = std::max<qint64>(0, previewBytes - audio.bytes);
    const double perSecond = double(audio.bytes) / audio.seconds;
    return {container + qRound64(perSecond * outputSeconds), perSecond * 8 / 1000};
}

QString estimateText(const SizeEstimate &estimate)
{
    const QString size = estimate.bytes >= 1'000'000
                             ? QStringLiteral("%1 MB").arg(double(estimate.bytes) / 1e6, 0, 'f', 1)
                             : QStringLiteral("%1 kB").arg(std::max<qint64>(1, qRound64(double(estimate.bytes) / 1e3)));
    return QStringLiteral("≈ %1, %2 kbit/s").arg(size).arg(qRound(estimate.kbps));
}

ResultPreview::ResultPreview(const AppFolder &folder, QObject *parent)
    : QObject(parent)
    , m_folder(folder)
    , m_dir(QDir::tempPath() + QStringLiteral("/tonmill-preview-XXXXXX"))
{
    m_pool.setMaxThreadCount(1);
}

ResultPreview::~ResultPreview()
{
    cancel();
    m_pool.waitForDone();
}

void ResultPreview::cancel()
{
    if (m_abort)
        *m_abort = true;
    m_running = false;
}

void ResultPreview::start(const PreviewRequest &request)
{
    cancel();
    if (!m_outcome.file.isEmpty())
        QFile::remove(m_outcome.file);
    m_outcome = {};
    ++m_serial;
    if (!m_dir.isValid()) {
        m_outcome.failure = QStringLiteral("no temporary folder: ") + m_dir.errorString();
        Q_EMIT finished();
        return;
    }
    const QString file =
        m_dir.filePath(QStringLiteral("preview-%1.%2").arg(m_serial).arg(request.settings.options.OutExtension));
    m_abort = std::make_shared<std::atomic_bool>(false);
    m_running = true;
    m_pool.start([this, serial = m_serial, abort = m_abort, folder = m_folder, request, file] {
        const PreviewOutcome outcome = encodePreview(folder, request, file, *abort);
        QMetaObject::invokeMethod(this, [this, serial, outcome] { ended(serial, outcome); });
    });
}

void ResultPreview::ended(quint64 serial, const PreviewOutcome &outcome)
{
    // An abandoned preview that got to its end leaves nothing behind.
    if (serial != m_serial || !m_running) {
        QFile::remove(outcome.file);
        return;
    }
    m_running = false;
    m_outcome = outcome;
    Q_EMIT finished();
}

} // namespace tonmill
