#include "convert/AVSScripts.h"

#include "options/FormatOptions.h"
#include "platform/AppFolder.h"
#include "platform/NumberFormat.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <initializer_list>

namespace tonmill {

namespace {

const QString kQ = QStringLiteral("\"");
const QString kHeader = QStringLiteral("# Created by Tonmill - Quorell");
const QString kBlankClip = QStringLiteral("Clip2 = BlankClip(Length = 2000000, fps = 25)");
const QString kAudioDub = QStringLiteral("Clip3 = AudioDub(Clip2, Clip1)");
constexpr double kFrameSeconds = 1.0 / 25.0;
constexpr double kFadeSeconds = 2.0;

// Kept character for character, spacing and spelling included: the script
// interpreter reads exactly these lines.
const std::array<const char *, 15> kUpMix = {
    "EnsureVBRMP3Sync()",
    "Stereo = Last",
    "function UpMix(clip a) {",
    "back = a.soxfilter(\"filter 100-7000\")",
    "fl = a.GetLeftChannel()",
    "fr = a.GetRightChannel()",
    "cc = mixaudio(a.GetRightChannel(), a.GetLeftChannel, 0.5, 0.5)",
    "lfe = ConvertToMono(a).SoxFilter(\"lowpass 120\",\"vol -0.5\")",
    "sl = mixaudio(back.GetLeftChannel(), back.GetRightChannel(), 0.668, -0.668)",
    "sR = mixaudio(back.GetRightChannel(), back.GetLeftChannel(), 0.668, -0.668)",
    "sl = DelayAudio(sl, 0.02)",
    "sr = DelayAudio(sr,0.02)# Return result",
    "return MergeChannels( fl, fr, cc, lfe, sl, sr)}",
    "2==AudioChannels(Stereo)?UpMix(ConvertAudioToFloat(Stereo)):Stereo",
    "6==Audiochannels(last)?GetChannel(last,1,3,2,5,6,4):last",
};

// A path as a string of the script: between double quotes, or between three
// of them when it holds one itself, since a script string has no escapes.
QString scriptString(const QString &text)
{
    const QString quotes = text.contains(kQ) ? QStringLiteral("\"\"\"") : kQ;
    return quotes + text + quotes;
}

QString loadPlugin(const AppFolder &folder, const QString &relative)
{
    return QStringLiteral("LoadPlugin(") + scriptString(folder.file(relative)) + QStringLiteral(")");
}

QString genericSourceLine(const QString &source)
{
    return QStringLiteral("Clip1 = DirectShowSource(") + scriptString(source) + QStringLiteral(",25)");
}

} // namespace

QString sourceLine(const QString &source)
{
    const QString tail = source.right(3);
    const auto is = [&](std::initializer_list<const char *> names) {
        for (const char *name : names) {
            if (tail == QLatin1String(name))
                return true;
        }
        return false;
    };
    const QString quoted = scriptString(source);
    if (is({"avs", "wma", "wav", "aac", ".ra", "rmj"}))
        return genericSourceLine(source);
    if (is({"ac3"}))
        return QStringLiteral("Clip1 = NicAc3Source(") + quoted + QStringLiteral(")");
    if (is({"dts"}))
        return QStringLiteral("Clip1 = NicDTSSource(") + quoted + QStringLiteral(")");
    if (is({"mpa", "mp2"}))
        return QStringLiteral("Clip1 = NicMPASource(") + quoted + QStringLiteral(")");
    if (is({"mp3"}))
        return QStringLiteral("Clip1 = DirectShowSource(") + quoted + QStringLiteral(")");
    // Whatever else ffmpeg decodes is read as the segment script reads it.
    return genericSourceLine(source);
}

QString frameNumber(double seconds)
{
    return formatWhole(seconds * 25.0);
}

double segmentSeconds(double start, double end, double sourceSeconds)
{
    if (end <= 0 && sourceSeconds <= 0)
        return 0;
    double last = end > 0 ? end + kFrameSeconds : sourceSeconds;
    if (sourceSeconds > 0)
        last = std::min(last, sourceSeconds);
    return std::max(last - start, kFrameSeconds);
}

QString fadeLine(double seconds)
{
    const double fade = seconds > 0 ? std::min(kFadeSeconds, seconds / 3.0) : kFadeSeconds;
    return QStringLiteral("FadeIO0(") + frameNumber(fade) + QStringLiteral(")");
}

std::optional<QStringList> fullScript(const FullScriptInputs &in, const AppFolder &folder)
{
    // Frame 0 would mean "to the end" of the 2,000,000-frame clip: a source
    // shorter than one frame still ends after its first.
    const QString lastFrame = frameNumber(std::max(in.duration, 1.0 / 25.0));
    if (lastFrame.isEmpty())
        return std::nullopt;
    QStringList lines;
    lines << kHeader;
    lines << loadPlugin(folder, QStringLiteral("\\Tools\\Plugins\\NicAudio.dll"));
    lines << loadPlugin(folder, QStringLiteral("\\Tools\\Plugins\\soxfilter.dll"));
    const QString source = sourceLine(in.source);
    if (!source.isEmpty())
        lines << source;
    lines << kBlankClip << kAudioDub;
    QString trimmed = QStringLiteral("Clip3");
    if (in.normalize) {
        lines << QStringLiteral("Clip4=Normalize(Clip3,volume=1)");
        trimmed = QStringLiteral("Clip4");
    }
    lines << QStringLiteral("Trim(%1,0,%2)").arg(trimmed, lastFrame);
    if ((in.format == QLatin1String("AC3") || isLaterFormat(formatIndex(in.format))) && in.upmix) {
        for (const char *line : kUpMix)
            lines << QString::fromLatin1(line);
    }
    if (in.fade)
        lines << fadeLine(in.duration);
    // WMA takes its rate from the encoding profile; no rate keeps the source's.
    if (in.format != QLatin1String("WMA") && !in.rate.isEmpty())
        lines << QStringLiteral("ResampleAudio (") + in.rate + QStringLiteral(")");
    lines << QStringLiteral("ConvertToYV12()");
    return lines;
}

std::optional<QStringList> segmentScript(const SegmentScriptInputs &in)
{
    const std::optional<double> start = parseNumber(in.start);
    const std::optional<double> end = parseNumber(in.end);
    if (!start || !end)
        return std::nullopt;
    const QString startFrame = frameNumber(*start);
    const QString endFrame = frameNumber(*end);
    if (startFrame.isEmpty() || endFrame.isEmpty())
        return std::nullopt;
    QStringList lines;
    lines << kHeader;
    lines << genericSourceLine(in.source);
    lines << kBlankClip << kAudioDub;
    lines << QStringLiteral("ConvertToYV12 (Clip3)");
    lines << QStringLiteral("Trim(Clip3,") + startFrame + QStringLiteral(",") + endFrame + QStringLiteral(")");
    if (in.fade)
        lines << fadeLine(segmentSeconds(*start, *end, in.sourceSeconds));
    lines << QStringLiteral("ResampleAudio (") + in.rate + QStringLiteral(")");
    lines << QStringLiteral("ConvertToYV12()");
    return lines;
}

bool writeScript(const QString &path, const QStringList &lines)
{
    QByteArray bytes;
    for (const QString &line : lines)
        bytes += line.toUtf8() + "\r\n";
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const bool written = file.write(bytes) == bytes.size();
    file.close();
    return written && file.error() == QFileDevice::NoError;
}

bool writeFullScript(const QString &path, const FullScriptInputs &inputs, const AppFolder &folder)
{
    const std::optional<QStringList> lines = fullScript(inputs, folder);
    return lines && writeScript(path, *lines);
}

bool writeSegmentScript(const QString &path, const SegmentScriptInputs &inputs)
{
    const std::optional<QStringList> lines = segmentScript(inputs);
    return lines && writeScript(path, *lines);
}

} // namespace tonmill
