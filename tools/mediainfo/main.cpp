// Tools/MediaInfo/mediainfo: the media report the program reads, made by the
// system's MediaInfo with the stream headings numbered from 0.
#include "platform/ChildProcess.h"
#include "tools/mediainfo/StreamHeadings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <cstdio>

namespace {

int fail(const QString &reason)
{
    std::fputs(("mediainfo: error: " + reason + QLatin1Char('\n')).toUtf8().constData(), stderr);
    return 1;
}

// The system's MediaInfo, never this program itself should it be on the path.
QString systemMediaInfo()
{
    const QString self = QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath();
    const QStringList places = {QStringLiteral("/usr/bin"), QStringLiteral("/usr/local/bin")};
    for (const QString &found : {QStandardPaths::findExecutable(QStringLiteral("mediainfo"), places),
                                 QStandardPaths::findExecutable(QStringLiteral("mediainfo"))}) {
        if (!found.isEmpty() && QFileInfo(found).canonicalFilePath() != self)
            return found;
    }
    return {};
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
    const QString tool = systemMediaInfo();
    if (tool.isEmpty())
        return fail(QStringLiteral("MediaInfo is not installed"));

    QProcess process;
    // MediaInfo reads file names through the locale; a C locale loses every
    // name that is not plain ASCII.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    tonmill::makeChildDieWithParent(process);
    process.start(tool, {file});
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit)
        return fail(QStringLiteral("MediaInfo could not be run: %1").arg(process.errorString()));
    const QString report = QString::fromUtf8(process.readAllStandardOutput());
    if (process.exitCode() != 0 || report.trimmed().isEmpty())
        return fail(QStringLiteral("MediaInfo could not read \"%1\"").arg(file));
    const QByteArray text = tonmill::mediainfo::numberStreamHeadings(report).toUtf8();
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    return 0;
}
