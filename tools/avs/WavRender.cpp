#include "tools/avs/WavRender.h"

#include "platform/ChildProcess.h"
#include "platform/ToolChain.h"
#include "tools/avs/ToolProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <cstdio>

namespace tonmill::avs {

namespace {

// A new, empty file beside the output, named after it; empty when none can
// be made.
QString createPartialFile(const QFileInfo &output)
{
    for (int attempt = 0; attempt < 100; ++attempt) {
        const QString name = QStringLiteral(".%1.%2-%3.part")
                                 .arg(output.fileName())
                                 .arg(QCoreApplication::applicationPid())
                                 .arg(attempt);
        QFile file(output.dir().filePath(name));
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            return file.fileName();
        if (file.error() != QFileDevice::OpenError || !output.dir().exists())
            break;
    }
    return {};
}

} // namespace

bool renderWav(const FfmpegGraph &graph, const QString &ffmpegPath, const QString &outputPath,
               RenderWatch &watch, QString *error)
{
    const QString ffmpeg = resolveProgram(ffmpegPath);
    if (ffmpeg.isEmpty()) {
        *error = QStringLiteral("ffmpeg was not found at \"%1\"").arg(ffmpegPath);
        return false;
    }
    const QFileInfo output(outputPath);
    if (output.isDir()) {
        *error = QStringLiteral("\"%1\" is a folder").arg(outputPath);
        return false;
    }
    const QString partial = createPartialFile(output);
    if (partial.isEmpty()) {
        *error = QStringLiteral("cannot write into the folder \"%1\"").arg(output.absolutePath());
        return false;
    }
    watch.partialFileCreated(partial);

    QStringList arguments{QStringLiteral("-nostdin"), QStringLiteral("-hide_banner"), QStringLiteral("-nostats"),
                          QStringLiteral("-loglevel"), QStringLiteral("error"), QStringLiteral("-y")};
    arguments << graph.inputArguments
              << QStringLiteral("-filter_complex") << graph.filterComplex
              << QStringLiteral("-map") << graph.outputLabel
              << QStringLiteral("-c:a") << QStringLiteral("pcm_s16le")
              << QStringLiteral("-rf64") << QStringLiteral("auto")
              << QStringLiteral("-f") << QStringLiteral("wav") << QStringLiteral("file:") + partial;

    QProcess process;
    makeChildDieWithParent(process);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(ffmpeg, arguments);
    bool ok = process.waitForStarted(-1);
    if (ok) {
        watch.encoderStarted(process.processId());
        process.waitForFinished(-1);
        watch.encoderEnded();
        ok = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
        if (!ok) {
            const QString why = lastLineOf(QString::fromUtf8(process.readAllStandardError()));
            *error = QStringLiteral("ffmpeg failed: %1").arg(why.isEmpty() ? QStringLiteral("exit code %1").arg(process.exitCode()) : why);
        }
    } else {
        *error = QStringLiteral("ffmpeg could not be started: %1").arg(process.errorString());
    }
    if (ok && std::rename(QFile::encodeName(partial).constData(), QFile::encodeName(output.absoluteFilePath()).constData()) != 0) {
        *error = QStringLiteral("cannot write \"%1\"").arg(outputPath);
        ok = false;
    }
    if (!ok)
        QFile::remove(partial);
    return ok;
}

} // namespace tonmill::avs
