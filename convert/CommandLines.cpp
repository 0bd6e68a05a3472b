#include "convert/CommandLines.h"

#include "options/FormatOptions.h"
#include "options/OptionState.h"
#include "platform/AppFolder.h"

#include <cmath>

namespace tonmill {

namespace {

CommandLineBuilder ffmpegStart(const EncoderInputs &in)
{
    CommandLineBuilder b;
    b.quoted(in.ffmpegPath).text(QStringLiteral(" -y -i ")).quoted(in.input);
    return b;
}

CommandLine aacLine(const EncoderInputs &in, const OptionState &o)
{
    return ffmpegStart(in)
        .text(QStringLiteral(" -vn -acodec aac -vol ")).value(volumeText(in.volumePercent))
        .text(QStringLiteral(" -ac ")).value(o.txtChannelsAAC)
        .text(QStringLiteral(" -ab ")).value(o.Combo8.text)
        .text(QStringLiteral(" -f ")).value(aacContainer(o.txtAACProfile))
        .text(QStringLiteral(" ")).quoted(in.output)
        .build();
}

CommandLine ac3Line(const EncoderInputs &in, const OptionState &o)
{
    CommandLine line = CommandLineBuilder()
        .quoted(in.quencPath)
        .text(QStringLiteral(" -i ")).quoted(in.input)
        .text(QStringLiteral(" -o ")).quoted(in.output)
        .text(QStringLiteral(" -mpeg2mux novideo -audiocodec ac3"))
        .text(QStringLiteral(" -audiobitrate ")).value(o.Combo1.text)
        .text(QStringLiteral(" -auto -close"))
        .build();
    // Abort ends this run by the encoder's name, whatever path it was given.
    if (line.imageName.isEmpty())
        line.imageName = QStringLiteral("QuEnc.exe");
    return line;
}

// The bitrate as a 16-bit whole number, rounded half to even as the
// whole-number conversion does; empty when the text is no such number.
QString wholeBitRate(const QString &text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return {};
    const double whole = std::nearbyint(value);
    if (whole < -32768.0 || whole > 32767.0)
        return {};
    return QString::number(static_cast<int>(whole));
}

CommandLine amrLine(const EncoderInputs &in, const OptionState &o)
{
    const QString bitRate = wholeBitRate(o.Combo2.text);
    if (bitRate.isEmpty())
        return {};
    const bool narrow = amrIsNarrowBand(o.amrType);
    return ffmpegStart(in)
        .text(narrow ? QStringLiteral(" -vn -acodec amr_nb -vol ") : QStringLiteral(" -vn -acodec amr_wb -vol "))
        .value(volumeText(in.volumePercent))
        .text(narrow ? QStringLiteral(" -ac 1 -ar 8000 -ab ") : QStringLiteral(" -ac 1 -ar 16000 -ab ")).value(bitRate)
        .text(QStringLiteral(" -f amr ")).quoted(in.output)
        .build();
}

CommandLine mp2Line(const EncoderInputs &in, const OptionState &o)
{
    return ffmpegStart(in)
        .text(QStringLiteral(" -vn -acodec mp2 -vol ")).value(volumeText(in.volumePercent))
        .text(QStringLiteral(" -ac ")).value(o.txtChannelsMP2)
        .text(QStringLiteral(" -ab ")).value(o.Combo6.text)
        .text(QStringLiteral(" -f ")).value(mp2HeaderName(o.txtMP2Header))
        .text(QStringLiteral(" ")).quoted(in.output)
        .build();
}

CommandLine mp3Line(const EncoderInputs &in, const OptionState &o)
{
    return ffmpegStart(in)
        .text(QStringLiteral(" -vn -acodec mp3 -vol ")).value(volumeText(in.volumePercent))
        .text(QStringLiteral(" -ac ")).value(o.txtChannelsMP3)
        .text(QStringLiteral(" -ab ")).value(o.Combo5.text)
        .text(QStringLiteral(" -f mp3 ")).quoted(in.output)
        .build();
}

CommandLine wavLine(const EncoderInputs &in, const OptionState &o)
{
    return ffmpegStart(in)
        .text(QStringLiteral(" -vn -acodec ")).value(wavCodec(o.wavPCM))
        .text(QStringLiteral(" -vol ")).value(volumeText(in.volumePercent))
        .text(QStringLiteral(" -ac ")).value(o.txtChannelsWAV)
        .text(QStringLiteral(" -ab ")).value(wavBitRate(o.wavPCM))
        .text(QStringLiteral(" -f wav ")).quoted(in.output)
        .build();
}

CommandLine wmaLine(const EncoderInputs &in, const OptionState &o, const AppFolder &folder)
{
    // The title is given twice, back to back: the encoding script is called so.
    return CommandLineBuilder()
        .text(QStringLiteral("Cscript.exe ")).quoted(folder.file(QStringLiteral("\\tools\\WMCmd.vbs")))
        .text(QStringLiteral(" -input ")).quoted(in.input)
        .text(QStringLiteral(" -profile ")).value(o.txtWMAProfile)
        .text(QStringLiteral(" -title ")).quoted(in.title)
        .text(QStringLiteral(" -title ")).quoted(in.title)
        .text(QStringLiteral(" -author ")).quoted(in.artist)
        .text(QStringLiteral(" -album ")).quoted(in.album)
        .text(QStringLiteral(" -year ")).quoted(in.year)
        .text(QStringLiteral(" -description ")).quoted(in.notes)
        .text(QStringLiteral(" -genre ")).quoted(in.genre)
        .text(QStringLiteral(" -trackno ")).quoted(in.track)
        .text(QStringLiteral(" -output ")).quoted(in.output)
        .build();
}

// The later formats keep the source's channels (six after the up-mix) and
// take the rate the script resamples to.
CommandLineBuilder laterStart(const EncoderInputs &in, const char *codec)
{
    CommandLineBuilder b = ffmpegStart(in);
    b.text(QStringLiteral(" -vn -acodec ")).value(QLatin1String(codec))
        .text(QStringLiteral(" -vol ")).value(volumeText(in.volumePercent));
    return b;
}

// The tags typed for the output, in ffmpeg's names, which each format's
// muxer writes in its own tag system; then the muxer and the output.
CommandLine laterEnd(CommandLineBuilder b, const EncoderInputs &in, const char *muxer)
{
    const std::pair<const char *, const QString *> tags[] = {
        {"title", &in.title}, {"artist", &in.artist}, {"album", &in.album}, {"date", &in.year},
        {"comment", &in.notes}, {"genre", &in.genre}, {"track", &in.track},
    };
    for (const auto &[key, value] : tags) {
        if (!value->isEmpty())
            b.text(QStringLiteral(" -metadata ")).quoted(QLatin1String(key) + QLatin1Char('=') + *value);
    }
    return b.text(QStringLiteral(" -f ")).value(QLatin1String(muxer)).text(QStringLiteral(" ")).quoted(in.output).build();
}

CommandLine flacLine(const EncoderInputs &in, const OptionState &o)
{
    return laterEnd(laterStart(in, "flac")
        .text(QStringLiteral(" -sample_fmt ")).value(losslessSampleFormat(o.flacBits, false))
        .text(QStringLiteral(" -compression_level ")).value(o.cmbFLACLevel.text), in, "flac");
}

CommandLine opusLine(const EncoderInputs &in, const OptionState &o)
{
    return laterEnd(laterStart(in, "opus")
        .text(QStringLiteral(" -ab ")).value(o.cmbOpusBitRate.text)
        .text(o.opusMode == QLatin1String("1") ? QStringLiteral(" -vbr off") : QStringLiteral(" -vbr on"))
        .text(QStringLiteral(" -application ")).value(opusApplication(o.opusApplication)), in, "opus");
}

CommandLine oggLine(const EncoderInputs &in, const OptionState &o)
{
    return laterEnd(laterStart(in, "vorbis")
        .text(QStringLiteral(" -aq ")).value(o.cmbOggQuality.text), in, "ogg");
}

CommandLine m4aLine(const EncoderInputs &in, const OptionState &o)
{
    CommandLineBuilder b = laterStart(in, "aac");
    if (o.m4aMode == QLatin1String("1"))
        b.text(QStringLiteral(" -aq ")).value(o.cmbM4AQuality.text);
    else
        b.text(QStringLiteral(" -ab ")).value(o.cmbM4ABitRate.text);
    return laterEnd(b, in, "ipod");
}

CommandLine alacLine(const EncoderInputs &in, const OptionState &o)
{
    return laterEnd(laterStart(in, "alac")
        .text(QStringLiteral(" -sample_fmt ")).value(losslessSampleFormat(o.alacBits, true)), in, "ipod");
}

} // namespace

QString volumeText(int percent)
{
    // Fifteen significant digits, the ordinary conversion's precision: far
    // more than any slider value needs, so no exponent ever appears.
    return QString::number(percent * 256.0 / 100.0, 'g', 15);
}

CommandLine encoderCommandLine(const EncoderInputs &inputs, const OptionState &options, const AppFolder &folder)
{
    const QString &format = options.txtFormat;
    if (format == QLatin1String("1"))
        return aacLine(inputs, options);
    if (format == QLatin1String("2"))
        return ac3Line(inputs, options);
    if (format == QLatin1String("3"))
        return amrLine(inputs, options);
    if (format == QLatin1String("4"))
        return mp2Line(inputs, options);
    if (format == QLatin1String("5"))
        return mp3Line(inputs, options);
    if (format == QLatin1String("6"))
        return wavLine(inputs, options);
    if (format == QLatin1String("7"))
        return wmaLine(inputs, options, folder);
    if (format == QLatin1String("8"))
        return flacLine(inputs, options);
    if (format == QLatin1String("9"))
        return opusLine(inputs, options);
    if (format == QLatin1String("10"))
        return oggLine(inputs, options);
    if (format == QLatin1String("11"))
        return m4aLine(inputs, options);
    if (format == QLatin1String("12"))
        return alacLine(inputs, options);
    return {};
}

} // namespace tonmill
