#include "convert/ConvertJob.h"

#include "app/ActivityLog.h"
#include "convert/AVSScripts.h"
#include "convert/CommandLines.h"
#include "convert/EqualizerChoice.h"
#include "media/SourceFacts.h"
#include "media/modID3Tags.h"
#include "options/FormatOptions.h"
#include "options/MainFormState.h"
#include "options/OptionState.h"
#include "platform/Dialogs.h"
#include "platform/NumberFormat.h"
#include "platform/ProcessRegistry.h"
#include "platform/SameFile.h"
#include "platform/ToolChain.h"
#include "process/KillApp.h"
#include "process/ProgressMonitor.h"
#include "process/cStdIO.h"
#include "settings/INIManager.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <cstring>

namespace tonmill {

namespace {

const QString kCrLf = QStringLiteral("\r\n");
const QString kSeparator = QString(142, QLatin1Char('-'));
// The progress tick was made for the system timer's granularity, about 15 ms,
// which is also as often as a screen shows anything new.
constexpr int kTimer3IntervalMs = 15;
// How much of what an encoder prints the job keeps, for its last lines.
constexpr qsizetype kEncoderTailSize = 4096;
constexpr int kFailureLines = 5;

QString noSourceText()
{
    return QStringLiteral("Please, select a file to process before atempting to initialize de conversion!");
}

QString replaceQuestion()
{
    return QStringLiteral("The 'Output' file name already exists!") + kCrLf + kCrLf
           + QStringLiteral("Do you want to replace it?");
}

QString failedText()
{
    return QStringLiteral("The conversion failed!");
}

QString launchFailedText()
{
    return QStringLiteral("PROCESS LAUNCH FAILED!");
}

QString pressAgainText()
{
    return QStringLiteral("Please, press 'Convert' button again!");
}

bool isFormat(const QString &txtFormat, const char *index)
{
    return txtFormat == QLatin1String(index);
}

} // namespace

QString encoderFailure(const EncoderEnd &end, const QString &outputTail, qint64 outputSize)
{
    if (end.endedBySignal)
        return QStringLiteral("the encoder was ended by signal %1 (%2)")
            .arg(end.exitCode)
            .arg(QString::fromLocal8Bit(::strsignal(end.exitCode)));
    if (end.exitCode != 0) {
        const QString reason = helperReason(lastLineOf(outputTail));
        return reason.isEmpty() ? QStringLiteral("the encoder ended with status %1").arg(end.exitCode) : reason;
    }
    if (outputSize < 0)
        return QStringLiteral("the encoder wrote no output file");
    if (outputSize == 0)
        return QStringLiteral("the encoder's output file is empty");
    return {};
}

CommandLine runningLine(const CommandLine &line, const AppFolder &folder, const QString &sourceFacts,
                        const LoudnessChoice &loudness, const EqualizerState &equalizer)
{
    CommandLine running = throughStandIns(line, folder);
    if (!sourceFacts.isEmpty())
        running.environment << sourceFacts;
    if (const QString entry = loudnessEntry(loudness); !entry.isEmpty())
        running.environment << entry;
    if (const QString entry = equalizerEntry(equalizer); !entry.isEmpty())
        running.environment << entry;
    return running;
}

double runawayLimit(double expectedSeconds)
{
    return expectedSeconds * 1.1 + 10.0;
}

QString outputPathFor(const QString &txtPath, const QString &lblOutputPath, bool chkSameOutput,
                      const QString &OutExtension)
{
    if (!chkSameOutput)
        return lblOutputPath;
    // The extension is what follows the last dot of the file's own name; a
    // name that starts with its only dot (".hidden") has none.
    const qsizetype nameStart =
        std::max(txtPath.lastIndexOf(QLatin1Char('/')), txtPath.lastIndexOf(QLatin1Char('\\'))) + 1;
    const qsizetype dot = txtPath.lastIndexOf(QLatin1Char('.'));
    const qsizetype end = dot > nameStart ? dot : txtPath.size();
    return txtPath.left(end) + QStringLiteral("_Konverted.") + OutExtension;
}

QString sourceRefusal(const QString &txtPath, const QString &output)
{
    const QFileInfo source(txtPath);
    if (!source.exists())
        return QStringLiteral("The selected file does not exist!") + kCrLf + kCrLf + txtPath;
    if (source.isDir())
        return QStringLiteral("The selected file is a folder, not a file!") + kCrLf + kCrLf + txtPath;
    if (!source.isFile() || !source.isReadable())
        return QStringLiteral("The selected file cannot be read!") + kCrLf + kCrLf + txtPath;
    if (source.size() == 0)
        return QStringLiteral("The selected file is empty!") + kCrLf + kCrLf + txtPath;
    if (sameFile(txtPath, output))
        return QStringLiteral("The 'Output' file is the selected file itself!") + kCrLf + kCrLf
               + QStringLiteral("Please, choose another name for the 'Output' file.");
    return {};
}

ConvertJob::ConvertJob(const AppFolder &folder, Dialogs &dialogs, ActivityLog &log, cStdIO &runner,
                       ProcessRegistry &registry, OptionState &options, MainFormState &form, DurationProbe duration,
                       QObject *parent)
    : QObject(parent)
    , m_folder(folder)
    , m_dialogs(dialogs)
    , m_log(log)
    , m_runner(runner)
    , m_registry(registry)
    , m_options(options)
    , m_form(form)
    , m_duration(std::move(duration))
{
    m_timer3.setInterval(kTimer3IntervalMs);
    connect(&m_timer3, &QTimer::timeout, this, &ConvertJob::Timer3_Timer);
    // The output pane holds only the encoder's latest chunk.
    connect(&m_runner, &cStdIO::GotData, this, [this](const QString &data) {
        m_form.rtbOutput = data;
        onEncoderOutput(data);
    });
}

bool ConvertJob::encoding() const
{
    return !m_runner.Ready() || m_scriptHostRunning;
}

void ConvertJob::message(const QString &text)
{
    m_result.message = text;
    m_dialogs.message({text, QString(), DialogButtons::Ok, DialogIcon::None});
}

void ConvertJob::applyIdleControls()
{
    m_form.showIdle();
    setTimer3(false);
}

void ConvertJob::setTimer3(bool enabled)
{
    m_form.Timer3Enabled = enabled;
    if (enabled)
        m_timer3.start();
    else
        m_timer3.stop();
}

void ConvertJob::Timer3_Timer()
{
    const std::optional<double> duration =
        m_sourceSeconds > 0 ? std::optional<double>(m_sourceSeconds) : std::nullopt;
    Q_EMIT Timer3Tick();
    const ProgressDisplay before = m_form.progress;
    progressTick(m_form.rtbOutput, m_options.txtFormat, duration, m_form.progress);
    if (!(m_form.progress == before))
        Q_EMIT progressChanged();
}

void ConvertJob::btnConvert_Click()
{
    m_result = {};
    m_encoderTail.clear();
    m_stopRequested = false;
    setTimer3(false);
    if (m_form.txtPath.isEmpty()) {
        message(noSourceText());
        applyIdleControls();
        m_result.outcome = ConvertResult::Outcome::Refused;
        return;
    }
    const QString output =
        outputPathFor(m_form.txtPath, m_form.lblOutputPath, m_form.chkSameOutput, m_options.OutExtension);
    m_result.output = output;
    if (const QString refusal = sourceRefusal(m_form.txtPath, output); !refusal.isEmpty()) {
        message(refusal);
        applyIdleControls();
        m_result.outcome = ConvertResult::Outcome::Refused;
        return;
    }

    // Busy: the bar measures the source's whole seconds. Measuring may take
    // a moment, during which the window runs on.
    m_form.btnConvertEnabled = false;
    const SourceLength length = m_duration ? m_duration(m_form.txtPath) : SourceLength{};
    m_sourceSeconds = length.seconds;
    m_sourceFacts = sourceFactsEntry(m_form.txtPath, length.stream);
    m_form.PB1Max = qRound(m_sourceSeconds);
    m_form.progress.PB1 = 0;

    // The tool paths are read afresh at every click and used as stored.
    const QString settings = m_folder.file(QStringLiteral("\\Tonmill.ini"));
    EncoderInputs inputs;
    inputs.ffmpegPath = ReadIniValue(QStringLiteral("General"), QStringLiteral("FFMPEG"), settings);
    inputs.quencPath = ReadIniValue(QStringLiteral("General"), QStringLiteral("QUENC"), settings);
    inputs.output = output;
    inputs.volumePercent = m_form.slVolume;
    inputs.title = m_form.txtTitle;
    inputs.artist = m_form.txtArtist;
    inputs.album = m_form.txtAlbum;
    inputs.year = m_form.txtYear;
    inputs.notes = m_form.txtNotes;
    inputs.genre = m_form.cmbGenre.text;
    inputs.track = m_form.txtTrack;
    // The formats that keep tags carry the source's own: of the editor's
    // fields only what the user changed goes on their line, and wins.
    if (formatKeepsTags(m_options.txtFormat)) {
        QString *const fields[] = {&inputs.title, &inputs.artist, &inputs.album, &inputs.year,
                                   &inputs.notes, &inputs.genre,  &inputs.track};
        for (std::size_t i = 0; i < std::size(fields); ++i) {
            if (*fields[i] == m_form.reportTags[i])
                fields[i]->clear();
        }
    }

    // A source that cannot be read is not worth a question about the output.
    if (!length.ok()) {
        showBusy();
        logHeader(output);
        m_result.failure = QStringLiteral("\"%1\" cannot be read as audio: %2").arg(m_form.txtPath, length.error);
        failurePath();
        return;
    }

    if (!outputMayBeWritten(output)) {
        m_result.outcome = ConvertResult::Outcome::Kept;
        closing();
        return;
    }

    showBusy();
    logHeader(output);
    switch (encode(inputs)) {
    case Step::LaunchFailed:
        errorPath();
        return;
    case Step::Failed:
        failurePath();
        return;
    case Step::Done:
        closing();
        return;
    }
}

void ConvertJob::showBusy()
{
    m_form.showBusy();
}

bool ConvertJob::outputMayBeWritten(const QString &output)
{
    // A missing or empty output is never questioned.
    const QFileInfo existing(output);
    if (!existing.exists() || existing.size() == 0)
        return true;
    const DialogAnswer answer =
        m_dialogs.message({replaceQuestion(), QString(), DialogButtons::YesNo, DialogIcon::Question});
    if (answer == DialogAnswer::No)
        return false;
    if (answer == DialogAnswer::Yes)
        QFile::remove(output);
    return true;
}

void ConvertJob::logHeader(const QString &output)
{
    m_log.appendLine(kSeparator);
    m_log.appendLine(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"))
                     + QStringLiteral(" -> Start encoding:"));
    m_log.appendLine(kSeparator);
    m_log.appendLine(QStringLiteral(" - ") + m_form.txtPath);
    m_log.appendLine(QStringLiteral(" - Output file:"));
    m_log.appendLine(QStringLiteral(" - ") + output);
    m_log.appendLine(QStringLiteral(" -- Output format: ") + m_form.cmbFormat.text);
}

ConvertJob::Step ConvertJob::encode(EncoderInputs &inputs)
{
    const QString &format = m_options.txtFormat;
    // A format index the list does not have runs nothing.
    static const QStringList kIndexes = {QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"),
                                         QStringLiteral("4"), QStringLiteral("5"), QStringLiteral("6"),
                                         QStringLiteral("7")};
    if (!kIndexes.contains(format) && !isLaterFormat(format))
        return Step::Done;
    const bool wma = isFormat(format, "7");
    const bool ac3 = isFormat(format, "2");
    if (wma)
        m_form.lblWMAprogressVisible = true;
    if (!writeScripts(inputs)) {
        m_result.failure = QStringLiteral("the decoding script cannot be written in \"%1\"").arg(m_folder.path());
        return Step::LaunchFailed;
    }
    logOptionLines();

    if (!ac3)
        setTimer3(true);
    waitUntilReady(m_runner);
    CommandLine line = encoderCommandLine(inputs, m_options, m_folder);
    if (line.isEmpty()) {
        m_result.failure = QStringLiteral("no encoder line can be made of these options");
        return Step::LaunchFailed;
    }
    // The names under which the way out of the job, and Abort, end the encoder.
    line.imageName = ac3 ? QStringLiteral("QuEnc.exe") : wma ? QStringLiteral("Cscript.exe") : QStringLiteral("ffmpeg.exe");

    m_encoderTail.clear();
    m_stopReason.clear();
    m_abortRequested = false;
    m_runawayLimit = m_sourceSeconds > 0 ? runawayLimit(expectedSeconds()) : 0;
    if (m_stopRequested) {
        m_result.outcome = ConvertResult::Outcome::Aborted;
        return Step::Done;
    }
    m_watching = true;
    const EncoderEnd end = ac3 ? runScriptHost(line) : runPiped(line);
    m_watching = false;
    if (wma)
        m_form.lblWMAprogressVisible = false;
    const Step step = finishRun(end, inputs.output);
    if (step == Step::Done && isFormat(format, "5") && m_result.outcome == ConvertResult::Outcome::Ended)
        writeMp3Tags(inputs.output);
    return step;
}

ConvertJob::Step ConvertJob::finishRun(const EncoderEnd &end, const QString &output)
{
    if (end.launchFailed) {
        m_result.failure = end.launchFailure;
        return Step::LaunchFailed;
    }
    if (!m_stopReason.isEmpty())
        return failed(m_stopReason);
    if (end.stopped) {
        m_result.outcome = ConvertResult::Outcome::Aborted;
        QFile::remove(partialOutputName(output));
        return Step::Done;
    }
    const QFileInfo written(output);
    const QString cause = encoderFailure(end, m_encoderTail, written.exists() ? written.size() : -1);
    if (!cause.isEmpty())
        return failed(cause);
    m_result.outcome = ConvertResult::Outcome::Ended;
    return Step::Done;
}

ConvertJob::Step ConvertJob::failed(const QString &cause)
{
    m_result.failure = cause;
    return Step::Failed;
}

double ConvertJob::expectedSeconds() const
{
    if (!m_form.chkSegment)
        return m_sourceSeconds;
    return segmentSeconds(parseNumber(m_form.txtCutS).value_or(0), parseNumber(m_form.txtCutE).value_or(0),
                          m_sourceSeconds);
}

void ConvertJob::onEncoderOutput(const QString &chunk)
{
    if (!m_watching)
        return;
    m_encoderTail = (m_encoderTail + chunk).right(kEncoderTailSize);
    if (m_runawayLimit <= 0 || !m_stopReason.isEmpty())
        return;
    const std::optional<double> seconds = encodedSeconds(chunk);
    if (!seconds || *seconds <= m_runawayLimit)
        return;
    m_stopReason = QStringLiteral("the encoder went on past the sound's end (%1 s written where %2 s were expected) and was stopped")
                       .arg(*seconds, 0, 'f', 1)
                       .arg(expectedSeconds(), 0, 'f', 1);
    if (m_scriptHostRunning)
        KillByName(m_registry, QStringLiteral("QuEnc.exe"));
    else
        m_runner.Cancel();
}

bool ConvertJob::writeScripts(EncoderInputs &inputs)
{
    const QString fullPath = m_folder.file(QStringLiteral("\\DirectQX.avs"));
    const QString segmentPath = m_folder.file(QStringLiteral("\\segment.avs"));
    const FullScriptInputs full{m_form.txtPath,         m_sourceSeconds,         m_options.SamFreq,
                                m_form.cmbFormat.text, m_form.peakNormalize(), m_form.chk51UpMix.checked,
                                m_form.chkFadeInOut};
    const SegmentScriptInputs segment{m_form.txtPath,   m_form.txtCutS,      m_form.txtCutE,
                                      m_options.SamFreq, m_form.chkFadeInOut, m_sourceSeconds};

    // WMA reads the source itself unless it is normalised, faded or cut.
    const bool wma = isFormat(m_options.txtFormat, "7");
    inputs.input = m_form.txtPath;
    if (!wma || m_form.peakNormalize() || m_form.chkFadeInOut) {
        if (!writeFullScript(fullPath, full, m_folder))
            return false;
        inputs.input = fullPath;
    }
    if (m_form.chkSegment) {
        if (!writeSegmentScript(segmentPath, segment))
            return false;
        inputs.input = segmentPath;
    }
    return true;
}

void ConvertJob::logOption(const char *label, const QString &value)
{
    m_log.appendLine(QLatin1String(label) + value);
}

void ConvertJob::logLaterOptionLines()
{
    const OptionState &o = m_options;
    const auto bits = [](const QString &index) { return index == QLatin1String("1") ? QStringLiteral("24") : QStringLiteral("16"); };
    const QString &format = o.txtFormat;
    if (isFormat(format, "8") || isFormat(format, "12"))
        logOption(" -- Sampling Frequency: ", o.SamFreq.isEmpty() ? QStringLiteral("as the source") : o.SamFreq);
    logOption(" -- Channels: ", m_form.chk51UpMix.checked ? QStringLiteral("6 (5.1 up-mix)") : QStringLiteral("as the source"));
    if (isFormat(format, "8")) {
        logOption(" -- Bit depth: ", bits(o.flacBits));
        logOption(" -- Compression level: ", o.cmbFLACLevel.text);
    } else if (isFormat(format, "9")) {
        logOption(" -- Bitrate: ", o.cmbOpusBitRate.text);
        logOption(" -- Mode: ", o.opusMode == QLatin1String("1") ? QStringLiteral("CBR") : QStringLiteral("VBR"));
        logOption(" -- Application: ", opusApplication(o.opusApplication));
    } else if (isFormat(format, "10")) {
        logOption(" -- Quality: ", o.cmbOggQuality.text);
    } else if (isFormat(format, "11")) {
        if (o.m4aMode == QLatin1String("1"))
            logOption(" -- Quality (VBR): ", o.cmbM4AQuality.text);
        else
            logOption(" -- Bitrate: ", o.cmbM4ABitRate.text);
    } else if (isFormat(format, "12")) {
        logOption(" -- Bit depth: ", bits(o.alacBits));
    }
}

void ConvertJob::logOptionLines()
{
    const OptionState &o = m_options;
    const auto common = [&](const QString &channels, const QString &bitRate) {
        logOption(" -- Sampling Frequency: ", o.SamFreq);
        logOption(" -- Channels: ", channels);
        logOption(" -- Bitrate: ", bitRate);
    };
    const QString &format = o.txtFormat;
    if (isFormat(format, "1")) {
        common(o.txtChannelsAAC, o.Combo8.text);
        logOption(" -- Profile: ", aacContainer(o.txtAACProfile));
    } else if (isFormat(format, "2")) {
        common(o.txtChannelsAC3, o.Combo1.text);
    } else if (isFormat(format, "3")) {
        logOption(" -- Channels: ", QStringLiteral("1"));
        logOption(" -- Bitrate: ", o.Combo2.text);
        m_log.appendLine(amrIsNarrowBand(o.amrType) ? QStringLiteral(" -- Profile: Narrow Band")
                                                    : QStringLiteral(" -- Profile: Wide Band"));
    } else if (isFormat(format, "4")) {
        common(o.txtChannelsMP2, o.Combo6.text);
        logOption(" -- Header: ", mp2HeaderName(o.txtMP2Header));
    } else if (isFormat(format, "5")) {
        common(o.txtChannelsMP3, o.Combo5.text);
    } else if (isFormat(format, "6")) {
        common(o.txtChannelsWAV, wavBitRate(o.wavPCM));
        logOption(" -- PCM: ", wavCodec(o.wavPCM));
    } else if (isFormat(format, "7")) {
        logOption(" -- Profile: ", o.cmbWMAProfile.text);
    } else if (isLaterFormat(format)) {
        logLaterOptionLines();
    }
    const LoudnessChoice &loudness = m_form.loudness;
    if (loudness.mode == LoudnessChoice::Mode::Normalize)
        logOption(" -- Loudness: ", QStringLiteral("%1 LUFS, true peak at most %2 dBTP")
                                        .arg(loudness.targetLufs, 0, 'g', 4)
                                        .arg(loudness.truePeakDbtp, 0, 'g', 3));
    else if (loudness.mode == LoudnessChoice::Mode::ReplayGain)
        logOption(" -- Loudness: ", QStringLiteral("ReplayGain tags"));
}

EncoderEnd ConvertJob::runPiped(const CommandLine &line)
{
    EncoderEnd end;
    std::optional<qint16> refusal;
    const QList<QMetaObject::Connection> watch = {
        connect(&m_runner, &cStdIO::Error, this, [&refusal](qint16 number, const QString &) { refusal = number; }),
        connect(&m_runner, &cStdIO::CancelSuccess, this, [&end] { end.stopped = true; }),
        connect(&m_runner, &cStdIO::CancelFail, this, [&end] { end.stopped = true; }),
    };
    const CommandLine routedLine = runningLine(line, m_folder, m_sourceFacts, m_form.loudness, m_form.equalizer);
    m_runner.setCommandLine(routedLine);
    if (!refusal)
        m_runner.ExecuteCommand();
    for (const QMetaObject::Connection &c : watch)
        disconnect(c);
    if (refusal) {
        end.launchFailed = true;
        end.launchFailure = *refusal == cStdIO::CreateProcessFailed && !m_runner.launchFailure().isEmpty()
                                ? m_runner.launchFailure()
                                : cannotStart(routedLine.program);
        return end;
    }
    end.exitCode = m_runner.exitCode();
    end.endedBySignal = m_runner.endedBySignal();
    return end;
}

EncoderEnd ConvertJob::runScriptHost(const CommandLine &line)
{
    m_scriptHostRunning = true;
    const ScriptHostEnd run = ScriptHostRun(m_registry, runningLine(line, m_folder, m_sourceFacts, m_form.loudness, m_form.equalizer),
                                            [this](const QString &chunk) { onEncoderOutput(chunk); });
    m_scriptHostRunning = false;
    EncoderEnd end;
    end.launchFailed = !run.launchFailure.isEmpty();
    end.launchFailure = run.launchFailure;
    end.stopped = m_abortRequested || !m_stopReason.isEmpty();
    end.exitCode = run.exitCode;
    end.endedBySignal = run.endedBySignal;
    return end;
}

void ConvertJob::writeMp3Tags(const QString &output)
{
    // The encoder wrote the source's own tag: its frames that the editor has
    // no field for (cover, album artist, disc, ReplayGain...) are kept, and
    // what the user changed in the editor wins over its fields.
    ID3TagInfo carried;
    if (QFile file(output); file.open(QIODevice::ReadOnly)) {
        ID3FrameList ignored;
        ReadID3v2Tag(file, 0, carried, ignored, kID3ReadLimit);
    }
    ID3TagInfo info = carried;
    QString *const record[] = {&info.Title, &info.Artist, &info.Album, &info.Year,
                               &info.Comment, &info.Genre, &info.Track};
    // ffmpeg writes a comment as a TXXX frame, which the record does not
    // read: there the editor's field, read from the source, stands.
    const std::array<QString *, 7> typed = m_form.tagFields();
    for (std::size_t i = 0; i < typed.size(); ++i) {
        if (*typed[i] != m_form.reportTags[i] || record[i]->isEmpty())
            *record[i] = *typed[i];
    }
    WriteID3v1Tag(output, info, true);
    WriteID3v2Tag(output, info, 0, false, true);
    WriteID3v2Tag(output, info, 1, false, true);
}

void ConvertJob::closing()
{
    m_log.appendLine(kSeparator);
    applyIdleControls();
    KillByName(m_registry, QStringLiteral("ffmpeg.exe"));
    KillByName(m_registry, QStringLiteral("Cscript.exe"));
    if (!m_runner.Ready())
        m_runner.Cancel();
    if (m_runner.Ready())
        m_runner.Cancel();
}

void ConvertJob::errorPath()
{
    KillByName(m_registry, QStringLiteral("ffmpeg.exe"));
    KillByName(m_registry, QStringLiteral("Cscript.exe"));
    m_runner.Cancel();
    QFile::remove(partialOutputName(m_result.output));
    if (!m_result.failure.isEmpty())
        m_log.append(QStringLiteral(" -> Error: ") + m_result.failure);
    m_log.appendLine(launchFailedText());
    m_log.appendLine(pressAgainText());
    m_result.outcome = ConvertResult::Outcome::LaunchFailed;
    message(launchFailedText() + kCrLf + kCrLf + pressAgainText());
    // The message asks for another press of Convert, so the window must allow it.
    applyIdleControls();
}

void ConvertJob::failurePath()
{
    m_log.append(QStringLiteral(" -> Error: ") + m_result.failure);
    const QStringList lines = m_encoderTail.split(QRegularExpression(QStringLiteral("[\r\n]")), Qt::SkipEmptyParts);
    for (qsizetype i = std::max<qsizetype>(0, lines.size() - kFailureLines); i < lines.size(); ++i)
        m_log.appendLine(QStringLiteral(" | ") + lines[i]);
    // Nothing unfinished stays behind, and an empty output is no output.
    QFile::remove(partialOutputName(m_result.output));
    if (QFileInfo(m_result.output).isFile() && QFileInfo(m_result.output).size() == 0)
        QFile::remove(m_result.output);
    m_result.outcome = ConvertResult::Outcome::Failed;
    closing();
    message(failedText() + kCrLf + kCrLf + m_result.failure);
}

void ConvertJob::stop()
{
    m_stopRequested = true;
    if (m_scriptHostRunning) {
        m_abortRequested = true;
        KillByName(m_registry, QStringLiteral("QuEnc.exe"));
    } else if (!m_runner.Ready()) {
        m_runner.Cancel();
    }
}

void ConvertJob::btnAbort_Click()
{
    if (m_form.cmbFormat.text.compare(QLatin1String("ac3"), Qt::CaseInsensitive) == 0) {
        if (m_scriptHostRunning)
            m_abortRequested = true;
        KillByName(m_registry, QStringLiteral("QuEnc.exe"));
        return;
    }
    if (!m_runner.Ready()) {
        m_log.append(QStringLiteral(" -> Canceling program."));
        m_runner.Cancel();
    } else {
        m_log.append(QStringLiteral(" -> No Encoding in process!"));
    }
}

} // namespace tonmill
