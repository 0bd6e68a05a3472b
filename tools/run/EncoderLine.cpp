#include "tools/run/EncoderLine.h"

#include <QHash>

#include <array>
#include <cmath>

namespace tonmill::run {

namespace {

// The last component of a path written with either separator.
QString baseName(const QString &path)
{
    const qsizetype cut = std::max(path.lastIndexOf(QLatin1Char('/')), path.lastIndexOf(QLatin1Char('\\')));
    return path.mid(cut + 1);
}

QString encoderFor(const QString &oldName)
{
    static const QHash<QString, QString> names = {
        {QStringLiteral("mp3"), QStringLiteral("libmp3lame")},
        {QStringLiteral("amr_nb"), QStringLiteral("libopencore_amrnb")},
        {QStringLiteral("amr_wb"), QStringLiteral("libvo_amrwbenc")},
        {QStringLiteral("opus"), QStringLiteral("libopus")},
        {QStringLiteral("vorbis"), QStringLiteral("libvorbis")},
    };
    return names.value(oldName, oldName);
}

// Muxer for a file name when the line gives no -f.
QString muxerForExtension(const QString &path)
{
    static const QHash<QString, QString> muxers = {
        {QStringLiteral("mp3"), QStringLiteral("mp3")},  {QStringLiteral("mp2"), QStringLiteral("mp2")},
        {QStringLiteral("mpa"), QStringLiteral("mp2")},  {QStringLiteral("aac"), QStringLiteral("adts")},
        {QStringLiteral("ac3"), QStringLiteral("ac3")},  {QStringLiteral("amr"), QStringLiteral("amr")},
        {QStringLiteral("wav"), QStringLiteral("wav")},  {QStringLiteral("wma"), QStringLiteral("asf")},
        {QStringLiteral("mp4"), QStringLiteral("mp4")},  {QStringLiteral("m4a"), QStringLiteral("mp4")},
        {QStringLiteral("avi"), QStringLiteral("avi")},  {QStringLiteral("mpg"), QStringLiteral("mpeg")},
        {QStringLiteral("mpeg"), QStringLiteral("mpeg")}, {QStringLiteral("flac"), QStringLiteral("flac")},
        {QStringLiteral("ogg"), QStringLiteral("ogg")},   {QStringLiteral("opus"), QStringLiteral("opus")},
    };
    const QString name = baseName(path);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : muxers.value(name.mid(dot + 1).toLower());
}

ParsedLine failed(const QString &error)
{
    ParsedLine parsed;
    parsed.error = error;
    return parsed;
}

ParsedLine succeeded(const EncodeRequest &request)
{
    ParsedLine parsed;
    parsed.ok = true;
    parsed.request = request;
    return parsed;
}

// Options of the lines that take one value each.
bool takesValue(const QString &option, std::initializer_list<const char *> options)
{
    for (const char *o : options) {
        if (option == QLatin1String(o))
            return true;
    }
    return false;
}

// The encoder settings a line may give, each with the values it may take
// (a closed list, or whole numbers in a range); -aq is a number of either
// sign, for Vorbis and AAC quality alike.
std::optional<QString> codecOptionError(const QString &option, const QString &value)
{
    static const QHash<QString, QStringList> choices = {
        {QStringLiteral("-sample_fmt"), {QStringLiteral("s16"), QStringLiteral("s32"), QStringLiteral("s16p"), QStringLiteral("s32p")}},
        {QStringLiteral("-vbr"), {QStringLiteral("on"), QStringLiteral("off"), QStringLiteral("constrained")}},
        {QStringLiteral("-application"), {QStringLiteral("audio"), QStringLiteral("voip"), QStringLiteral("lowdelay")}},
    };
    if (const auto it = choices.constFind(option); it != choices.constEnd())
        return it->contains(value) ? std::nullopt : std::optional<QString>(it->join(QStringLiteral(", ")));
    const std::optional<double> n = parseNumber(value);
    if (option == QLatin1String("-compression_level"))
        return n && *n == std::floor(*n) && *n >= 0 && *n <= 12 ? std::nullopt : std::optional<QString>(QStringLiteral("0 to 12"));
    return n && *n >= -1 && *n <= 10 ? std::nullopt : std::optional<QString>(QStringLiteral("-1 to 10"));
}

ParsedLine parseFfmpeg(const QStringList &words)
{
    EncodeRequest r;
    r.kind = LineKind::Ffmpeg;
    QString oldCodec;
    QString format;
    bool formatGiven = false;
    std::optional<double> kbps;
    for (qsizetype i = 1; i < words.size(); ++i) {
        const QString &w = words[i];
        if (w == QLatin1String("-y") || w == QLatin1String("-vn"))
            continue; // the result is always written anew, and only audio is mapped
        if (takesValue(w, {"-compression_level", "-sample_fmt", "-vbr", "-application", "-aq"})) {
            if (i + 1 >= words.size())
                return failed(QStringLiteral("option %1 has no value").arg(w));
            const QString v = words[++i];
            if (const std::optional<QString> allowed = codecOptionError(w, v))
                return failed(QStringLiteral("option %1 takes %2, not \"%3\"").arg(w, *allowed, v));
            r.codecOptions << (w == QLatin1String("-aq") ? QStringLiteral("-q:a") : w) << v;
        } else if (w == QLatin1String("-metadata")) {
            static const QStringList kTags = {QStringLiteral("title"), QStringLiteral("artist"), QStringLiteral("album"),
                                              QStringLiteral("date"),  QStringLiteral("comment"), QStringLiteral("genre"),
                                              QStringLiteral("track")};
            const QString tag = i + 1 < words.size() ? words[++i] : QString();
            const qsizetype equals = tag.indexOf(QLatin1Char('='));
            if (equals < 0 || !kTags.contains(tag.first(equals)))
                return failed(QStringLiteral("-metadata takes one of %1 as KEY=VALUE, not \"%2\"")
                                  .arg(kTags.join(QStringLiteral(", ")), tag));
            r.metadata.append({tag.first(equals), tag.sliced(equals + 1)});
        } else if (takesValue(w, {"-i", "-acodec", "-vol", "-ac", "-ar", "-ab", "-f"})) {
            if (i + 1 >= words.size())
                return failed(QStringLiteral("option %1 has no value").arg(w));
            const QString v = words[++i];
            if (w == QLatin1String("-i")) {
                if (!r.input.isEmpty())
                    return failed(QStringLiteral("the line names more than one input"));
                r.input = v;
            } else if (w == QLatin1String("-acodec")) {
                oldCodec = v;
            } else if (w == QLatin1String("-f")) {
                format = v;
                formatGiven = true;
            } else {
                const std::optional<double> n = parseNumber(v);
                if (!n || *n < 0)
                    return failed(QStringLiteral("option %1 expects a number, not \"%2\"").arg(w, v));
                if (w == QLatin1String("-vol"))
                    r.volume = *n / 256.0; // 256 is the unchanged level
                else if (w == QLatin1String("-ab"))
                    kbps = *n;
                else if (w == QLatin1String("-ac"))
                    r.channels = int(*n);
                else
                    r.sampleRate = int(*n);
            }
        } else if (w.startsWith(QLatin1Char('-')) && w.size() > 1) {
            return failed(QStringLiteral("unsupported ffmpeg option %1").arg(w));
        } else if (r.output.isEmpty()) {
            r.output = w;
        } else {
            return failed(QStringLiteral("unexpected word \"%1\" after the output file").arg(w));
        }
    }
    if (r.input.isEmpty())
        return failed(QStringLiteral("the line names no input file"));
    if (r.output.isEmpty())
        return failed(QStringLiteral("the line names no output file"));

    r.encoder = encoderFor(oldCodec);
    const bool aac = oldCodec == QLatin1String("aac");
    if (!formatGiven) {
        r.muxer = muxerForExtension(r.output);
        if (r.muxer.isEmpty())
            return failed(QStringLiteral("no output format given and none known for %1").arg(baseName(r.output)));
    } else if (format == QLatin1String("mp2") && aac) {
        // MPEG-2 AAC: a bare ADTS stream that says MPEG-2.
        r.muxer = QStringLiteral("adts");
        r.muxerOptions = {QStringLiteral("-write_mpeg2"), QStringLiteral("1")};
    } else {
        r.muxer = format;
    }

    // The formats that hold tags: ID3v2, WMA attributes, Vorbis comments, MP4 atoms.
    static const QStringList kTagMuxers = {QStringLiteral("mp3"), QStringLiteral("asf"),  QStringLiteral("flac"),
                                           QStringLiteral("ogg"), QStringLiteral("opus"), QStringLiteral("ipod")};
    r.sourceTags = kTagMuxers.contains(r.muxer);

    if (kbps && !oldCodec.startsWith(QLatin1String("pcm_"))) { // PCM's rate follows from its sample format
        if (oldCodec == QLatin1String("amr_nb") || oldCodec == QLatin1String("amr_wb")) {
            const bool wide = oldCodec == QLatin1String("amr_wb");
            r.bitRate = nearestAmrMode(wide, *kbps);
            if (std::abs(r.bitRate - *kbps * 1000) > 1)
                r.notes << QStringLiteral("AMR mode %1 kbit/s for %2").arg(r.bitRate / 1000.0).arg(*kbps);
        } else {
            r.bitRate = qint64(std::llround(*kbps * 1000));
        }
    }
    return succeeded(r);
}

ParsedLine parseQuEnc(const QStringList &words)
{
    EncodeRequest r;
    r.kind = LineKind::QuEnc;
    r.encoder = QStringLiteral("ac3");
    r.muxer = QStringLiteral("ac3");
    for (qsizetype i = 1; i < words.size(); ++i) {
        const QString &w = words[i];
        if (w == QLatin1String("-auto") || w == QLatin1String("-close"))
            continue; // the encode always starts at once and ends by itself
        if (!takesValue(w, {"-i", "-o", "-mpeg2mux", "-audiocodec", "-audiobitrate"}))
            return failed(QStringLiteral("unsupported QuEnc option %1").arg(w));
        if (i + 1 >= words.size())
            return failed(QStringLiteral("option %1 has no value").arg(w));
        const QString v = words[++i];
        if (w == QLatin1String("-i")) {
            r.input = v;
        } else if (w == QLatin1String("-o")) {
            r.output = v;
        } else if (w == QLatin1String("-mpeg2mux")) {
            if (v != QLatin1String("novideo"))
                return failed(QStringLiteral("only audio without video can be written (-mpeg2mux novideo)"));
        } else if (w == QLatin1String("-audiocodec")) {
            if (v != QLatin1String("ac3"))
                return failed(QStringLiteral("unsupported QuEnc audio codec %1").arg(v));
        } else {
            const std::optional<double> n = parseNumber(v);
            if (!n || *n <= 0)
                return failed(QStringLiteral("-audiobitrate expects kbit/s, not \"%1\"").arg(v));
            r.bitRate = qint64(std::llround(*n * 1000));
        }
    }
    if (r.input.isEmpty())
        return failed(QStringLiteral("the line names no input file"));
    if (r.output.isEmpty())
        return failed(QStringLiteral("the line names no output file"));
    return succeeded(r);
}

ParsedLine parseWmaScript(const QStringList &words)
{
    EncodeRequest r;
    r.kind = LineKind::WmaScript;
    r.encoder = QStringLiteral("wmav2");
    r.muxer = QStringLiteral("asf");
    r.sourceTags = true;
    // The ASF attribute each argument of the script sets.
    static const QList<QPair<QString, QString>> fields = {
        {QStringLiteral("-title"), QStringLiteral("Title")},
        {QStringLiteral("-author"), QStringLiteral("Author")},
        {QStringLiteral("-album"), QStringLiteral("WM/AlbumTitle")},
        {QStringLiteral("-year"), QStringLiteral("WM/Year")},
        {QStringLiteral("-description"), QStringLiteral("Description")},
        {QStringLiteral("-genre"), QStringLiteral("WM/Genre")},
        {QStringLiteral("-trackno"), QStringLiteral("WM/TrackNumber")},
    };
    QHash<QString, QString> values;
    for (qsizetype i = 2; i < words.size(); ++i) {
        const QString &w = words[i];
        const bool known = w == QLatin1String("-input") || w == QLatin1String("-output")
            || w == QLatin1String("-profile")
            || std::any_of(fields.begin(), fields.end(), [&](const auto &f) { return f.first == w; });
        if (!known)
            return failed(QStringLiteral("unsupported WMA script option %1").arg(w));
        if (i + 1 >= words.size())
            return failed(QStringLiteral("option %1 has no value").arg(w));
        values.insert(w, words[++i]); // the title is given twice; both are the same
    }
    r.input = values.value(QStringLiteral("-input"));
    r.output = values.value(QStringLiteral("-output"));
    const QString profileKey = values.value(QStringLiteral("-profile"));
    if (r.input.isEmpty())
        return failed(QStringLiteral("the line names no input file"));
    if (r.output.isEmpty())
        return failed(QStringLiteral("the line names no output file"));
    const std::optional<WmaProfile> profile = wmaProfile(profileKey);
    if (!profile)
        return failed(QStringLiteral("unknown WMA profile \"%1\"").arg(profileKey));
    r.bitRate = profile->bitRate;
    r.sampleRate = profile->sampleRate;
    r.channels = profile->channels;
    if (profile->bitRate != profile->nominalKbps * 1000)
        r.notes << QStringLiteral("profile %1 asks for %2 kbit/s; the encoder's lowest is %3 kbit/s")
                       .arg(profileKey)
                       .arg(profile->nominalKbps)
                       .arg(profile->bitRate / 1000);
    for (const auto &[option, key] : fields) {
        const QString v = values.value(option);
        if (!v.isEmpty())
            r.metadata.append({key, v});
    }
    return succeeded(r);
}

} // namespace

std::optional<double> parseNumber(const QString &text)
{
    QString t = text.trimmed();
    t.replace(QLatin1Char(','), QLatin1Char('.'));
    bool ok = false;
    const double v = t.toDouble(&ok);
    if (!ok || !std::isfinite(v))
        return std::nullopt;
    return v;
}

LineKind lineKind(const QStringList &words)
{
    const QString host = baseName(words.value(0)).toLower();
    if (host == QLatin1String("cscript.exe") || host == QLatin1String("cscript")
        || baseName(words.value(1)).compare(QLatin1String("WMCmd.vbs"), Qt::CaseInsensitive) == 0)
        return LineKind::WmaScript;
    if (words.contains(QStringLiteral("-audiocodec")) || words.contains(QStringLiteral("-mpeg2mux"))
        || words.contains(QStringLiteral("-o")))
        return LineKind::QuEnc;
    return LineKind::Ffmpeg;
}

ParsedLine parseEncoderLine(const QStringList &words)
{
    if (words.size() < 2)
        return failed(QStringLiteral("no encoder line given"));
    switch (lineKind(words)) {
    case LineKind::WmaScript: return parseWmaScript(words);
    case LineKind::QuEnc: return parseQuEnc(words);
    case LineKind::Ffmpeg: break;
    }
    return parseFfmpeg(words);
}

qint64 nearestAmrMode(bool wideBand, double kbps)
{
    static constexpr std::array<qint64, 8> narrow = {4750, 5150, 5900, 6700, 7400, 7950, 10200, 12200};
    static constexpr std::array<qint64, 9> wide = {6600, 8850, 12650, 14250, 15850, 18250, 19850, 23050, 23850};
    const double wanted = kbps * 1000.0;
    auto nearest = [wanted](const auto &modes) {
        qint64 best = modes.front();
        for (const qint64 m : modes) {
            if (std::abs(double(m) - wanted) < std::abs(double(best) - wanted))
                best = m;
        }
        return best;
    };
    return wideBand ? nearest(wide) : nearest(narrow);
}

std::optional<WmaProfile> wmaProfile(const QString &key)
{
    // ffmpeg's WMA encoder takes no less than 24 kbit/s, so the two 20 kbit/s
    // profiles are encoded at 24; their low sampling rate keeps them small.
    static const QHash<QString, WmaProfile> profiles = {
        {QStringLiteral("a20_1"), {20, 24000, 22050, 1}},
        {QStringLiteral("a20_2"), {20, 24000, 22050, 2}},
        {QStringLiteral("a32"), {32, 32000, 22050, 2}},
        {QStringLiteral("a48"), {48, 48000, 32000, 2}},
        {QStringLiteral("a64"), {64, 64000, 44100, 2}},
        {QStringLiteral("a96"), {96, 96000, 44100, 2}},
        {QStringLiteral("a128"), {128, 128000, 44100, 2}},
    };
    const auto it = profiles.constFind(key.toLower());
    if (it == profiles.constEnd())
        return std::nullopt;
    return *it;
}

} // namespace tonmill::run
