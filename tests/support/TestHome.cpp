#include "support/TestHome.h"

#include "platform/AppVersion.h"
#include "settings/INIManager.h"
#include "support/TestPaths.h"

#include <QDir>
#include <QFile>
#include <QProcess>

namespace tonmill::test {

namespace {

bool succeeds(const QString &program, const QStringList &arguments)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start(program, arguments);
    return p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

} // namespace

bool makeTone(const QString &path, double seconds, int channels, const QStringList &sound)
{
    return succeeds(QStringLiteral("sox"), QStringList{QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
                                                       QStringLiteral("-c"), QString::number(channels), QStringLiteral("-b"),
                                                       QStringLiteral("16"), path, QStringLiteral("synth"), QString::number(seconds)}
                                               + sound);
}

bool generate(const QString &path, const QString &lavfi, const QStringList &more)
{
    return succeeds(QStringLiteral("ffmpeg"), QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"),
                                                          QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"), lavfi}
                                                  + more + QStringList{path});
}

AppHome::AppHome()
{
    QDir().mkpath(app);
    QFile::link(builtAppDir() + QStringLiteral("/Tools"), app + QStringLiteral("/Tools"));
}

QString AppHome::setting(const char *section, const char *key) const
{
    return ReadIniValue(QLatin1String(section), QLatin1String(key), settings());
}

void AppHome::settled() const
{
    for (const auto &[key, value] : {std::pair{"Version", versionStamp()}, {"Interface", versionStamp()},
                                     {"ChkUpdates", QStringLiteral("0")}, {"Vista", QStringLiteral("0")},
                                     {"Language", QStringLiteral("English")},
                                     {"FFMPEG", QStringLiteral("/usr/bin/ffmpeg")}})
        WriteIniValue(QStringLiteral("General"), QLatin1String(key), value, settings());
}

} // namespace tonmill::test
