#include "tools/run/FfmpegArguments.h"

#include <QFileInfo>

#include <array>

namespace tonmill::run {

namespace {

const QString kLabel = QStringLiteral("[tonmill_out]");

QString bracketed(const QString &label)
{
    if (label.startsWith(QLatin1Char('[')))
        return label;
    return QLatin1Char('[') + label + QLatin1Char(']');
}

// AC-3 takes only 32, 44.1 and 48 kHz; a lower rate is doubled into that set,
// so that the family of the chosen rate is kept.
int ac3SampleRate(int rate)
{
    constexpr std::array<int, 3> legal = {32000, 44100, 48000};
    if (std::find(legal.begin(), legal.end(), rate) != legal.end())
        return rate;
    if (rate == 11025 || rate == 22050)
        return 44100;
    if (rate == 16000)
        return 32000;
    return 48000;
}

} // namespace

bool holdsCoverStream(const QString &muxer)
{
    return muxer == QLatin1String("mp3") || muxer == QLatin1String("flac") || muxer == QLatin1String("ipod");
}

AudioSource plainSource(const QString &path)
{
    AudioSource source;
    source.inputArguments = {QStringLiteral("-i"), path};
    source.outputLabel = QStringLiteral("0:a:0");
    return source;
}

QStringList sourceFiles(const AudioSource &source)
{
    QStringList files;
    for (qsizetype i = 0; i + 1 < source.inputArguments.size(); ++i) {
        if (source.inputArguments[i] == QLatin1String("-i"))
            files << source.inputArguments[++i];
    }
    return files;
}

EncodeSettings encodeSettings(const EncodeRequest &request, const AudioSource &source)
{
    EncodeSettings s;
    s.sampleRate = request.sampleRate;
    s.filters << request.shaping;
    if (request.volume != 1.0)
        s.filters << QStringLiteral("volume=%1").arg(request.volume, 0, 'g', 10);
    if (request.encoder == QLatin1String("ac3") && source.sampleRate > 0 && s.sampleRate == 0) {
        s.sampleRate = ac3SampleRate(source.sampleRate);
        if (s.sampleRate != source.sampleRate)
            s.notes << QStringLiteral("AC-3 has no %1 Hz; encoded at %2 Hz").arg(source.sampleRate).arg(s.sampleRate);
    }
    if (source.ac3ChannelOrder && source.channels == 6) {
        // ffmpeg places channels by name: name each by its AC-3 position.
        // Opus knows the surrounds as back channels only.
        s.filters << (request.encoder == QLatin1String("libopus")
                          ? QStringLiteral("channelmap=map=0-FL|2-FR|1-FC|5-LFE|3-BL|4-BR:channel_layout=5.1")
                          : QStringLiteral("channelmap=map=0-FL|2-FR|1-FC|5-LFE|3-SL|4-SR:channel_layout=5.1(side)"));
    }
    return s;
}

namespace {

// The conversion ffmpeg makes at the output for -ac and -ar, made inside the
// graph instead, so that filters can follow it: the same resampler with the
// same defaults, and "Nc" is the layout -ac N gives.
QStringList conversionFilters(const EncodeRequest &request, const EncodeSettings &settings)
{
    QStringList formats;
    if (settings.sampleRate > 0)
        formats << QStringLiteral("sample_rates=%1").arg(settings.sampleRate);
    if (request.channels > 0)
        formats << QStringLiteral("channel_layouts=%1c").arg(request.channels);
    if (formats.isEmpty())
        return {};
    return {QStringLiteral("aformat=") + formats.join(QLatin1Char(':'))};
}

} // namespace

AudioGraph audioGraph(const EncodeRequest &request, const AudioSource &source, const QStringList &furtherFilters)
{
    const EncodeSettings settings = encodeSettings(request, source);
    QStringList filters = settings.filters;
    if (!furtherFilters.isEmpty())
        filters << conversionFilters(request, settings) << furtherFilters;
    AudioGraph g{source.filterComplex,
                 source.filterComplex.isEmpty() ? source.outputLabel : bracketed(source.outputLabel)};
    if (!filters.isEmpty()) {
        const QString chain = bracketed(source.outputLabel) + filters.join(QLatin1Char(',')) + kLabel;
        g.filterComplex = g.filterComplex.isEmpty() ? chain : g.filterComplex + QLatin1Char(';') + chain;
        g.map = kLabel;
    }
    return g;
}

QString coverAside(const EncodeRequest &request, const AudioSource &source, const QString &target)
{
    static const QStringList kCoverTagMuxers = {QStringLiteral("ogg"), QStringLiteral("opus"), QStringLiteral("asf")};
    if (!request.sourceTags || source.coverStream < 0 || !kCoverTagMuxers.contains(request.muxer))
        return {};
    return target + QStringLiteral(".cover");
}

QStringList ffmpegArguments(const EncodeRequest &request, const AudioSource &source, const QString &target,
                            const EncodeAdjustment &adjustment)
{
    const EncodeSettings settings = encodeSettings(request, source);
    QStringList a = {QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"), QStringLiteral("-nostats"),
                     QStringLiteral("-loglevel"),    QStringLiteral("level+info"), QStringLiteral("-progress"),
                     QStringLiteral("pipe:1"),       QStringLiteral("-y")};
    a << source.inputArguments;

    // The window is cut last, so that the stretch sounds as it does in the whole.
    QStringList lastFilters = adjustment.filters;
    if (request.window)
        lastFilters << QStringLiteral("atrim=start=%1:duration=%2")
                           .arg(request.window->start, 0, 'f', 6)
                           .arg(request.window->seconds, 0, 'f', 6)
                    << QStringLiteral("asetpts=PTS-STARTPTS");
    const AudioGraph graph = audioGraph(request, source, lastFilters);
    if (!graph.filterComplex.isEmpty())
        a << QStringLiteral("-filter_complex") << graph.filterComplex;
    a << QStringLiteral("-map") << graph.map;
    // The formats that hold tags carry the first source's, the file's and its
    // audio stream's (where Ogg keeps them), under the line's own; the others
    // get bare audio.
    if (request.sourceTags)
        a << QStringLiteral("-map_metadata") << QStringLiteral("0") << QStringLiteral("-map_metadata")
          << QStringLiteral("0:s:a:0");
    else
        a << QStringLiteral("-map_metadata") << QStringLiteral("-1");
    if (request.sourceTags && source.coverStream >= 0 && holdsCoverStream(request.muxer))
        a << QStringLiteral("-map") << QStringLiteral("0:%1").arg(source.coverStream) << QStringLiteral("-c:v")
          << QStringLiteral("copy") << QStringLiteral("-disposition:v:0") << QStringLiteral("attached_pic")
          << QStringLiteral("-metadata:s:v:0") << QStringLiteral("comment=Cover (front)");
    else
        a << QStringLiteral("-vn");
    // The program's ID3 writer rewrites the tag in version 2.3 and 2.4 and
    // keeps frames it finds; version 2.3's text encodings are valid in both.
    if (request.sourceTags && request.muxer == QLatin1String("mp3"))
        a << QStringLiteral("-id3v2_version") << QStringLiteral("3");
    if (!request.encoder.isEmpty())
        a << QStringLiteral("-c:a") << request.encoder;
    if (request.bitRate > 0)
        a << QStringLiteral("-b:a") << QString::number(request.bitRate);
    if (request.channels > 0)
        a << QStringLiteral("-ac") << QString::number(request.channels);
    if (settings.sampleRate > 0)
        a << QStringLiteral("-ar") << QString::number(settings.sampleRate);
    a << request.codecOptions;
    for (const auto &[key, value] : request.metadata)
        a << QStringLiteral("-metadata") << key + QLatin1Char('=') + value;
    for (const auto &[key, value] : adjustment.tags)
        a << QStringLiteral("-metadata") << key + QLatin1Char('=') + value;
    a << request.muxerOptions;
    a << QStringLiteral("-f") << request.muxer << target;
    // The picture's packet is its image file as it stands.
    if (const QString cover = coverAside(request, source, target); !cover.isEmpty())
        a << QStringLiteral("-map") << QStringLiteral("0:%1").arg(source.coverStream) << QStringLiteral("-c")
          << QStringLiteral("copy") << QStringLiteral("-frames:v") << QStringLiteral("1") << QStringLiteral("-update")
          << QStringLiteral("1") << QStringLiteral("-f") << QStringLiteral("image2") << cover;
    return a;
}

QString describeEncode(const EncodeRequest &request, const AudioSource &source, const EncodeAdjustment &adjustment)
{
    const EncodeSettings settings = encodeSettings(request, source);
    QStringList parts;
    parts << (request.encoder.isEmpty() ? QStringLiteral("default codec") : request.encoder);
    if (request.bitRate > 0)
        parts << QStringLiteral("%1 kbit/s").arg(request.bitRate / 1000.0);
    if (settings.sampleRate > 0)
        parts << QStringLiteral("%1 Hz").arg(settings.sampleRate);
    if (request.channels > 0)
        parts << QStringLiteral("%1 channel(s)").arg(request.channels);
    if (request.volume != 1.0)
        parts << QStringLiteral("volume x%1").arg(request.volume, 0, 'g', 4);
    if (!request.shaping.isEmpty())
        parts << QStringLiteral("equalizer");
    if (!adjustment.summary.isEmpty())
        parts << adjustment.summary;
    if (request.window)
        parts << QStringLiteral("only %1 s from %2 s").arg(request.window->seconds, 0, 'g', 6).arg(request.window->start, 0, 'g', 8);
    parts << QStringLiteral("in %1").arg(request.muxer);
    QString line = QStringLiteral("Encoding %1 to %2: %3")
                       .arg(QFileInfo(request.input).fileName(), QFileInfo(request.output).fileName(),
                            parts.join(QStringLiteral(", ")));
    const QStringList notes = request.notes + settings.notes;
    if (!notes.isEmpty())
        line += QStringLiteral(" (") + notes.join(QStringLiteral("; ")) + QLatin1Char(')');
    return line;
}

} // namespace tonmill::run
