#include "convert/SourceDuration.h"

#include "media/WavHeader.h"
#include "platform/ChildProcess.h"
#include "platform/ToolChain.h"
#include "settings/INIManager.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <cmath>
#include <limits>

namespace tonmill {

namespace {

// Reading the packets of a long film from a slow disk takes a while; a source
// that never ends (a device, a pipe) must not hold the job for ever.
constexpr int kMeasureTimeoutMs = 300'000;

struct ToolRun {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    QString failure; // why it did not end by itself in time
};

// Runs a measuring tool to its end. The window keeps running meanwhile: the
// job runs on its thread and the wait yields to the event loop.
ToolRun runToEnd(const QString &program, const QStringList &arguments)
{
    ToolRun run;
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    makeChildDieWithParent(process);
    process.start(program, arguments);
    if (!process.waitForStarted(-1)) {
        run.failure = cannotStart(program, process.errorString());
        return run;
    }
    QElapsedTimer waited;
    waited.start();
    const bool ended = waitYielding(process, [&] {
        // Read as it comes, so that a long packet list never fills the pipe.
        run.out += process.readAllStandardOutput();
        run.err += process.readAllStandardError();
        return waited.elapsed() <= kMeasureTimeoutMs;
    });
    if (!ended) {
        process.kill();
        process.waitForFinished(-1);
        run.failure = QStringLiteral("it took longer than %1 s to read").arg(kMeasureTimeoutMs / 1000);
        return run;
    }
    run.out += process.readAllStandardOutput();
    run.err += process.readAllStandardError();
    run.exitCode = process.exitCode();
    if (process.exitStatus() != QProcess::NormalExit)
        run.failure = QStringLiteral("%1 was ended by signal %2").arg(QFileInfo(program).fileName()).arg(process.exitCode());
    return run;
}

// A tool's last word on a file, without the file's name that it puts first.
QString reasonFrom(const QByteArray &errorOutput, const QString &input)
{
    QString why = lastLineOf(QString::fromUtf8(errorOutput));
    if (why.startsWith(input + QStringLiteral(": ")))
        why = why.mid(input.size() + 2);
    return why;
}

// The file as ffprobe is given it: "file:" keeps a name that begins with "-"
// or holds a ":" from being read as an option or another protocol.
QString probeInput(const QString &path)
{
    return QStringLiteral("file:") + QFileInfo(path).absoluteFilePath();
}

// Asks ffprobe for entries of the input, as CSV with keys; why it could not
// answer, or empty.
QString askProbe(const QString &ffprobe, const QStringList &what, const QString &input, ToolRun *run)
{
    *run = runToEnd(ffprobe, QStringList{QStringLiteral("-v"), QStringLiteral("error")} + what
                                 + QStringList{QStringLiteral("-of"), QStringLiteral("csv=nk=0"), input});
    if (!run->failure.isEmpty())
        return run->failure;
    return run->exitCode != 0 ? reasonFrom(run->err, input) : QString();
}

SourceLength unreadable(const QString &why)
{
    SourceLength length;
    length.error = why.isEmpty() ? QStringLiteral("the tools could not say why") : why;
    return length;
}

std::optional<AudioStreamInfo> plainWav(const QString &source)
{
    QFile file(source);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return readWavHeader(file.read(kWavHeadBytes), file.size());
}

// Calls `take` with each trimmed line of ffprobe's output, read in place.
template <typename Take>
void forEachLine(QByteArrayView output, Take take)
{
    while (!output.isEmpty()) {
        const qsizetype lineEnd = output.indexOf('\n');
        take(output.first(lineEnd < 0 ? output.size() : lineEnd).trimmed());
        output = lineEnd < 0 ? QByteArrayView() : output.sliced(lineEnd + 1);
    }
}

// The value of a line's "key=value" field, fields being separated by commas;
// null when the line has no such field.
QByteArrayView entryOf(QByteArrayView line, QByteArrayView key)
{
    while (!line.isNull()) {
        const qsizetype comma = line.indexOf(',');
        const QByteArrayView field = comma < 0 ? line : line.first(comma);
        if (field.size() > key.size() && field.startsWith(key) && field[key.size()] == '=')
            return field.sliced(key.size() + 1);
        line = comma < 0 ? QByteArrayView() : line.sliced(comma + 1);
    }
    return {};
}

} // namespace

SourceDuration::SourceDuration(const AppFolder &folder)
    : m_folder(folder)
{
}

QString SourceDuration::ffprobeFor(const QString &ffmpegPath)
{
    if (!ffmpegPath.isEmpty()) {
        const QString beside = QFileInfo(ffmpegPath).dir().filePath(QStringLiteral("ffprobe"));
        if (QFileInfo(beside).isExecutable())
            return beside;
    }
    return QStandardPaths::findExecutable(QStringLiteral("ffprobe"));
}

namespace {

// The "stream," line of the first audio stream: the one ffmpeg takes as "a:0".
QByteArrayView audioStreamLine(QByteArrayView probeOutput)
{
    QByteArrayView found;
    forEachLine(probeOutput, [&](QByteArrayView line) {
        if (found.isNull() && line.startsWith("stream,") && entryOf(line, "codec_type") == "audio")
            found = line;
    });
    return found;
}

} // namespace

std::optional<double> SourceDuration::lengthFromPackets(QByteArrayView probeOutput)
{
    const QByteArrayView stream = audioStreamLine(probeOutput);
    const QByteArrayView index = entryOf(stream, "index");
    const QByteArrayView ratio = entryOf(stream, "time_base");
    const qsizetype slash = ratio.indexOf('/');
    bool numOk = false;
    bool denOk = false;
    const double num = slash < 0 ? 0 : ratio.first(slash).toDouble(&numOk);
    const double den = slash < 0 ? 0 : ratio.sliced(slash + 1).toDouble(&denOk);
    if (index.isEmpty() || !numOk || !denOk || !(num > 0) || !(den > 0))
        return std::nullopt;
    // A long source lists tens of thousands of packets: read in place.
    qint64 first = std::numeric_limits<qint64>::max();
    qint64 end = std::numeric_limits<qint64>::min();
    forEachLine(probeOutput, [&](QByteArrayView line) {
        if (!line.startsWith("packet,") || entryOf(line, "stream_index") != index)
            return;
        bool ptsOk = false;
        bool durationOk = false;
        const qint64 pts = entryOf(line, "pts").toLongLong(&ptsOk);
        const qint64 duration = entryOf(line, "duration").toLongLong(&durationOk);
        if (!ptsOk)
            return; // a packet without a time says nothing of the length
        first = std::min(first, pts);
        end = std::max(end, pts + (durationOk && duration > 0 ? duration : 0));
    });
    if (end == std::numeric_limits<qint64>::min())
        return std::nullopt;
    // Samples before time 0 (an encoder's priming) are dropped by the decoder;
    // a stream that starts later is counted from its start.
    const double seconds = double(end - std::max<qint64>(first, 0)) * num / den;
    return std::isfinite(seconds) && seconds > 0 ? std::optional<double>(seconds) : std::nullopt;
}

std::optional<double> SourceDuration::lengthFromFrameCount(QByteArrayView probeOutput)
{
    const QByteArrayView stream = audioStreamLine(probeOutput);
    const QByteArrayView codec = entryOf(stream, "codec_name");
    const double rate = entryOf(stream, "sample_rate").toDouble();
    const double frames = entryOf(stream, "nb_read_packets").toDouble();
    // Samples per frame: MPEG-2 and 2.5 halve layer III's at the low rates.
    const double perFrame = codec == "mp1" ? 384 : codec == "mp2" ? 1152 : codec == "mp3" ? (rate >= 32000 ? 1152 : 576) : 0;
    if (perFrame == 0 || !(rate > 0) || !(frames > 0))
        return std::nullopt;
    return frames * perFrame / rate;
}

AudioStreamInfo SourceDuration::streamFrom(QByteArrayView probeOutput)
{
    AudioStreamInfo stream;
    const QByteArrayView audio = audioStreamLine(probeOutput);
    const QByteArrayView format = entryOf(audio, "sample_fmt");
    // No sample type is how ffprobe says that it has no decoder for the stream.
    stream.channels = format.isEmpty() ? 0 : entryOf(audio, "channels").toInt();
    stream.sampleRate = entryOf(audio, "sample_rate").toInt();
    stream.isFloat = format.startsWith("flt") || format.startsWith("dbl");
    forEachLine(probeOutput, [&](QByteArrayView line) {
        const QByteArrayView codec = entryOf(line, "codec_name");
        if (stream.coverStream < 0 && line.startsWith("stream,") && entryOf(line, "codec_type") == "video"
            && entryOf(line, "disposition:attached_pic") == "1" && (codec == "mjpeg" || codec == "png"))
            stream.coverStream = entryOf(line, "index").toInt();
    });
    return stream;
}

QString SourceDuration::ffmpegPath() const
{
    return ReadIniValue(QStringLiteral("General"), QStringLiteral("FFMPEG"), m_folder.file(QStringLiteral("\\Tonmill.ini")));
}

qint64 SourceDuration::audioBytesFromPackets(QByteArrayView probeOutput)
{
    const QByteArrayView index = entryOf(audioStreamLine(probeOutput), "index");
    qint64 bytes = 0;
    forEachLine(probeOutput, [&](QByteArrayView line) {
        if (!index.isEmpty() && line.startsWith("packet,") && entryOf(line, "stream_index") == index)
            bytes += entryOf(line, "size").toLongLong();
    });
    return bytes;
}

std::optional<EncodedAudio> SourceDuration::encodedAudio(const QString &file) const
{
    const QString ffprobe = ffprobeFor(ffmpegPath());
    ToolRun run;
    if (ffprobe.isEmpty()
        || !askProbe(ffprobe,
                     {QStringLiteral("-show_entries"),
                      QStringLiteral("stream=index,codec_type,time_base:packet=stream_index,pts,duration,size")},
                     probeInput(file), &run)
                .isEmpty())
        return std::nullopt;
    const std::optional<double> seconds = lengthFromPackets(run.out);
    const qint64 bytes = audioBytesFromPackets(run.out);
    if (!seconds || bytes <= 0)
        return std::nullopt;
    return EncodedAudio{bytes, *seconds};
}

SourceLength SourceDuration::operator()(const QString &source) const
{
    const QString ffmpeg = ffmpegPath();
    if (source.endsWith(QLatin1String(".avs"), Qt::CaseInsensitive))
        return askInterpreter(source, ffmpeg);
    if (const std::optional<AudioStreamInfo> wav = plainWav(source)) {
        SourceLength length;
        length.seconds = wav->durationSeconds;
        length.stream = *wav;
        return length;
    }
    return measurePackets(source, ffmpeg);
}

SourceLength SourceDuration::measurePackets(const QString &source, const QString &ffmpeg) const
{
    const QString ffprobe = ffprobeFor(ffmpeg);
    if (ffprobe.isEmpty())
        return unreadable(QStringLiteral("ffprobe was found neither beside \"%1\" nor on the search path").arg(ffmpeg));
    const QString input = probeInput(source);
    // Every stream is listed, not only the audio: a front cover is a picture
    // stream of its own, which the later formats carry.
    const QString kStreamEntries = QStringLiteral("stream=index,codec_type,codec_name,sample_rate,channels,sample_fmt");
    const QString kCoverEntry = QStringLiteral(":stream_disposition=attached_pic");
    const auto ask = [&](const QStringList &what, ToolRun *run) { return askProbe(ffprobe, what, input, run); };
    ToolRun run;
    const auto measured = [&](double seconds) {
        SourceLength length;
        length.seconds = seconds;
        length.stream = streamFrom(run.out);
        length.stream.durationSeconds = seconds;
        return length;
    };
    // MPEG audio frames all hold as many samples: counting them costs half
    // of listing them. A name that promises MPEG audio may hold something else.
    static const QStringList kMpegAudio = {QStringLiteral("mp3"), QStringLiteral("mp2"), QStringLiteral("mpa"), QStringLiteral("mp1")};
    if (kMpegAudio.contains(QFileInfo(source).suffix().toLower())) {
        if (const QString why = ask({QStringLiteral("-count_packets"), QStringLiteral("-show_entries"),
                                     kStreamEntries + QStringLiteral(",nb_read_packets") + kCoverEntry},
                                    &run);
            !why.isEmpty())
            return unreadable(why);
        if (const std::optional<double> seconds = lengthFromFrameCount(run.out))
            return measured(*seconds);
    }
    if (const QString why = ask({QStringLiteral("-show_entries"), kStreamEntries + QStringLiteral(",time_base") + kCoverEntry
                                                                      + QStringLiteral(":packet=stream_index,pts,duration")},
                                &run);
        !why.isEmpty())
        return unreadable(why);
    if (audioStreamLine(run.out).isNull())
        return unreadable(QStringLiteral("it holds no audio"));
    const std::optional<double> seconds = lengthFromPackets(run.out);
    if (!seconds)
        return unreadable(QStringLiteral("no audio could be read from it"));
    return measured(*seconds);
}

SourceLength SourceDuration::askInterpreter(const QString &script, const QString &ffmpeg) const
{
    const QString interpreter = m_folder.file(QStringLiteral("Tools/tonmill-avs"));
    const ToolRun run = runToEnd(interpreter, {QStringLiteral("--ffmpeg"), ffmpeg, QStringLiteral("--length"), script});
    if (!run.failure.isEmpty())
        return unreadable(run.failure);
    if (run.exitCode != 0)
        return unreadable(reasonFrom(run.err, QStringLiteral("tonmill-avs")));
    bool ok = false;
    const double seconds = QString::fromUtf8(run.out).trimmed().toDouble(&ok);
    // A script whose sources do not say how long they are cannot be cut to
    // its length.
    if (!ok || !std::isfinite(seconds) || seconds <= 0)
        return unreadable(QStringLiteral("the script interpreter cannot tell its length"));
    SourceLength length;
    length.seconds = seconds;
    return length;
}

} // namespace tonmill
