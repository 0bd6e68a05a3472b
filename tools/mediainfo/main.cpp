// Tools/MediaInfo/mediainfo: the media report the program reads, made by the
// system's MediaInfo with the stream headings numbered from 0.
//
// Exit status:
//   0    the report is on stdout.
//   1    no report; the one line on stderr says why.
//   126  (kHelperProgramNotExecutable) the system's MediaInfo exists but
//        cannot be executed.
//   127  (kHelperProgramMissing) the system's MediaInfo cannot be found.
// 126 and 127 are what env and the shells use, so that the program can tell a
// missing tool from a file it could not describe.
#include "platform/ChildProcess.h"
#include "platform/ToolChain.h"
#include "tools/mediainfo/StreamHeadings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>

#include <cstdio>
#include <optional>

namespace {

int fail(const QString &reason, int status = 1)
{
    std::fputs(("mediainfo: error: " + reason + QLatin1Char('\n')).toUtf8().constData(), stderr);
    return status;
}

struct Found {
    QString path;
    int status = 0; // else the exit status that says why there is none
    QString reason;
};

// The system's MediaInfo, found as a shell finds a command: the first
// executable "mediainfo" in the search path's folders (the system's program
// folders when there is no search path), never this program itself should
// its folder be among them.
Found systemMediaInfo(const QString &self)
{
    QStringList places = qEnvironmentVariable("PATH").split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (places.isEmpty())
        places = {QStringLiteral("/usr/local/bin"), QStringLiteral("/usr/bin"), QStringLiteral("/bin")};
    std::optional<tonmill::ProgramCheck> unusable;
    for (const QString &place : places) {
        const QFileInfo candidate(QDir(place).filePath(QStringLiteral("mediainfo")));
        if (!candidate.exists() || candidate.canonicalFilePath() == self)
            continue;
        const tonmill::ProgramCheck check = tonmill::checkProgram(candidate.absoluteFilePath());
        if (check.status == 0)
            return {candidate.absoluteFilePath(), 0, {}};
        if (!unusable)
            unusable = check;
    }
    if (unusable)
        return {{}, unusable->status, unusable->reason};
    return {{}, tonmill::kHelperProgramMissing,
            QStringLiteral("MediaInfo is not installed: there is no \"mediainfo\" on the search path")};
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.size() != 1)
        return fail(QStringLiteral("give exactly one file to describe"));
    const QString file = arguments.first();
    if (!QFileInfo(file).isFile())
        return fail(QStringLiteral("the file \"%1\" does not exist").arg(file));
    const Found tool = systemMediaInfo(QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());
    if (tool.status != 0)
        return fail(tool.reason, tool.status);

    QProcess process;
    // MediaInfo reads file names through the locale; a C locale loses every
    // name that is not plain ASCII.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    tonmill::makeChildDieWithParent(process);
    process.start(tool.path, {file});
    if (!process.waitForStarted(-1))
        return fail(tonmill::cannotStart(tool.path, process.errorString()),
                    QFileInfo::exists(tool.path) ? tonmill::kHelperProgramNotExecutable : tonmill::kHelperProgramMissing);
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit)
        return fail(QStringLiteral("MediaInfo could not be run: %1").arg(process.errorString()));
    const QString report = QString::fromUtf8(process.readAllStandardOutput());
    if (process.exitCode() != 0 || report.trimmed().isEmpty())
        return fail(QStringLiteral("MediaInfo could not read \"%1\"").arg(file));
    const QByteArray text = tonmill::mediainfo::numberStreamHeadings(report).toUtf8();
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    return 0;
}
