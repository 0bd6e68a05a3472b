// What goes wrong is said in one line, nothing that looks finished is left
// behind, and no process outlives the run: for bad sources, bad scripts,
// unwritable folders, an ffmpeg that cannot start, fails or is killed, a
// termination signal and an abort by name.
#include "convert/AVSScripts.h"
#include "platform/AppFolder.h"
#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "platform/ToolChain.h"
#include "process/CommandLine.h"
#include "process/KillApp.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <unistd.h>

using namespace tonmill;

namespace {

const QString kFfmpeg = QStringLiteral("/usr/bin/ffmpeg");

CommandLine mp3Line(const QString &in, const QString &out, const QString &ffmpeg = kFfmpeg)
{
    return CommandLineBuilder()
        .quoted(ffmpeg).text(QStringLiteral(" -y -i ")).quoted(in)
        .text(QStringLiteral(" -vn -acodec mp3 -vol 256 -ac 2 -ab 128 -f mp3 ")).quoted(out)
        .build();
}

CommandLine wavLine(const QString &in, const QString &out, const QString &ffmpeg = kFfmpeg)
{
    return CommandLineBuilder()
        .quoted(ffmpeg).text(QStringLiteral(" -y -i ")).quoted(in)
        .text(QStringLiteral(" -vn -acodec pcm_s16le -ac 1 -ar 44100 -f wav ")).quoted(out)
        .build();
}

CommandLine ac3Line(const QString &in, const QString &out)
{
    return CommandLineBuilder()
        .quoted(QStringLiteral("/opt/QuEnc/QuEnc.exe")).text(QStringLiteral(" -i ")).quoted(in)
        .text(QStringLiteral(" -o ")).quoted(out)
        .text(QStringLiteral(" -mpeg2mux novideo -audiocodec ac3 -audiobitrate 192 -auto -close"))
        .build();
}

CommandLine routed(const CommandLine &line)
{
    return throughStandIns(line, AppFolder(test::builtAppDir()));
}

bool runTool(const QString &program, const QStringList &arguments)
{
    QProcess p;
    p.start(program, arguments);
    return p.waitForFinished(120000) && p.exitCode() == 0;
}

} // namespace

class TestRunFailures : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void badInputSaysWhatInOneLine_data();
    void badInputSaysWhatInOneLine();
    void terminationEndsTheEncoderAtOnce();
    void scriptHostRunWaitsAndAbortByNameEndsIt();

private:
    QTemporaryDir m_dir;
    QString m_long;
};

void TestRunFailures::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(QFileInfo(test::builtAppDir() + QStringLiteral("/Tools/tonmill-run")).isExecutable());
    // An hour of silence takes long enough to encode to be interrupted.
    m_long = m_dir.filePath(QStringLiteral("hour.wav"));
    QVERIFY(runTool(QStringLiteral("ffmpeg"),
                    {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                     QStringLiteral("-i"), QStringLiteral("anullsrc=r=8000:cl=mono"), QStringLiteral("-t"),
                     QStringLiteral("3600"), QStringLiteral("-c:a"), QStringLiteral("pcm_u8"), m_long}));
}

void TestRunFailures::badInputSaysWhatInOneLine_data()
{
    QTest::addColumn<QString>("ffmpeg");
    QTest::addColumn<QString>("searchPath"); // empty: this test's own
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("killEncoder"); // SIGKILL ffmpeg once it is at work
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QStringList>("ffmpegSaid"); // the lines before the error line; empty: not checked

    const QString dir = m_dir.path();
    // Random bytes behind a name that promises audio.
    const QString corrupt = dir + QStringLiteral("/corrupt.wav");
    QFile f(corrupt);
    QVERIFY(f.open(QIODevice::WriteOnly));
    QByteArray noise(64 * 1024, '\0');
    for (qsizetype i = 0; i < noise.size(); ++i)
        noise[i] = char((i * 7919 + i / 13) % 251);
    f.write("RIFF\x10\0\0\0WAVEjunk" + noise);
    f.close();
    const QString script = dir + QStringLiteral("/DirectQX.avs");
    QFile s(script);
    QVERIFY(s.open(QIODevice::WriteOnly));
    s.write("# Created by Tonmill - Quorell\r\nClip1 = FrobnicateSource(\"" + m_long.toUtf8()
            + "\")\r\nClip2 = BlankClip(Length = 2000000, fps = 25)\r\nClip3 = AudioDub(Clip2, Clip1)\r\n"
              "Trim(Clip3,0,90000)\r\nResampleAudio (44100)\r\nConvertToYV12()\r\n");
    s.close();
    const QString readOnly = dir + QStringLiteral("/read-only");
    QVERIFY(QDir().mkdir(readOnly));
    QVERIFY(QFile::setPermissions(readOnly, QFile::ReadOwner | QFile::ExeOwner));

    // The same sources behind the script the program writes for them.
    auto scriptFor = [&](const QString &name, const QString &source) {
        const QString folder = dir + QLatin1Char('/') + name;
        QDir().mkpath(folder);
        FullScriptInputs inputs;
        inputs.source = source;
        inputs.duration = 8;
        inputs.rate = QStringLiteral("44100");
        inputs.format = QStringLiteral("MP3");
        const QString path = folder + QStringLiteral("/DirectQX.avs");
        return writeFullScript(path, inputs, AppFolder(folder)) ? path : QString();
    };
    const QString corruptScript = scriptFor(QStringLiteral("corrupt-job"), corrupt);
    const QString missingScript = scriptFor(QStringLiteral("missing-job"), dir + QStringLiteral("/gone.wav"));

    auto row = [](const char *name, const QString &source, const QString &output, const QString &expected,
                  int status = 1, const QString &ffmpeg = kFfmpeg, const QString &searchPath = {},
                  bool killEncoder = false, const QStringList &ffmpegSaid = {}) {
        QTest::newRow(name) << ffmpeg << searchPath << source << output << killEncoder << status << expected << ffmpegSaid;
    };
    row("corrupt source", corrupt, dir + QStringLiteral("/c.mp3"), QStringLiteral("cannot read the source \"%1\"").arg(corrupt));
    row("missing source", dir + QStringLiteral("/nothing.wav"), dir + QStringLiteral("/m.mp3"), QStringLiteral("does not exist"));
    row("corrupt source in a script", corruptScript, dir + QStringLiteral("/cs.mp3"),
        QStringLiteral("\"%1\" could not be read").arg(corrupt));
    row("missing source in a script", missingScript, dir + QStringLiteral("/ms.mp3"), QStringLiteral("gone.wav\" does not exist"));
    row("unknown script function", script, dir + QStringLiteral("/s.mp3"), QStringLiteral("FrobnicateSource"));
    row("missing output folder", m_long, dir + QStringLiteral("/no/such/folder/o.mp3"), QStringLiteral("does not exist"));
    row("unwritable output folder (/proc)", m_long, QStringLiteral("/proc/tonmill-test.mp3"),
        QStringLiteral("cannot write to the output folder \"/proc\""));
    // A superuser writes anywhere, so this case shows only for other users.
    if (::geteuid() != 0)
        row("unwritable output folder (mode)", m_long, readOnly + QStringLiteral("/o.mp3"), QStringLiteral("cannot write to the output folder"));

    // An ffmpeg that cannot be started, in a folder of its own.
    const QString tools = dir + QStringLiteral("/tools");
    QVERIFY(QDir().mkpath(tools + QStringLiteral("/folder/ffmpeg")));
    QFile plain(tools + QStringLiteral("/ffmpeg.txt"));
    QVERIFY(plain.open(QIODevice::WriteOnly));
    plain.close();
    QVERIFY(QFile::link(kFfmpeg, tools + QStringLiteral("/ffmpeg")));
    const QString launch = dir + QStringLiteral("/launch");
    QVERIFY(QDir().mkpath(launch));
    row("missing ffmpeg", m_long, launch + QStringLiteral("/l.mp3"), QStringLiteral("\"/nonexistent/ffmpeg\""),
        kHelperProgramMissing, QStringLiteral("/nonexistent/ffmpeg"));
    row("ffmpeg not executable", m_long, launch + QStringLiteral("/l.mp3"), QStringLiteral("\"%1/ffmpeg.txt\"").arg(tools),
        kHelperProgramNotExecutable, tools + QStringLiteral("/ffmpeg.txt"));
    row("ffmpeg a folder", m_long, launch + QStringLiteral("/l.mp3"), QStringLiteral("\"%1/folder/ffmpeg\"").arg(tools),
        kHelperProgramNotExecutable, tools + QStringLiteral("/folder/ffmpeg"));
    // A script needs ffprobe, found neither beside this ffmpeg nor on the path.
    row("missing ffprobe", corruptScript, launch + QStringLiteral("/l.mp3"), QStringLiteral("\"ffprobe\""),
        kHelperProgramMissing, tools + QStringLiteral("/ffmpeg"), launch);

    // An encoder that refuses in words of its own, not at ffmpeg's error level.
    const QString fake = tools + QStringLiteral("/fake-ffmpeg");
    QFile f2(fake);
    QVERIFY(f2.open(QIODevice::WriteOnly));
    f2.write("#!/bin/sh\nfor i in 1 2 3 4 5; do echo \"fake: step $i\" >&2; done\necho 'fake: licence refused' >&2\nexit 1\n");
    f2.close();
    QVERIFY(f2.setPermissions(f2.permissions() | QFile::ExeOwner));
    row("encoder fails in its own words", m_long, dir + QStringLiteral("/fake.mp3"),
        QStringLiteral("status 1: fake: licence refused"), 1, fake, {}, false,
        {QStringLiteral("fake: step 3"), QStringLiteral("fake: step 4"), QStringLiteral("fake: step 5"),
         QStringLiteral("fake: licence refused")});
    row("ffmpeg killed from outside", m_long, dir + QStringLiteral("/killed.mp3"),
        QStringLiteral("ffmpeg was ended by signal 9"), 1, kFfmpeg, {}, true);
}

void TestRunFailures::badInputSaysWhatInOneLine()
{
    QFETCH(QString, ffmpeg);
    QFETCH(QString, searchPath);
    QFETCH(QString, source);
    QFETCH(QString, output);
    QFETCH(bool, killEncoder);
    QFETCH(int, status);
    QFETCH(QString, expected);
    QFETCH(QStringList, ffmpegSaid);

    const CommandLine line = routed(mp3Line(source, output, ffmpeg));
    QProcess p;
    if (!searchPath.isEmpty()) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("PATH"), searchPath);
        p.setProcessEnvironment(environment);
    }
    p.start(line.program, line.arguments);
    if (killEncoder) {
        QVERIFY(p.waitForStarted());
        QString seen;
        QTRY_VERIFY_WITH_TIMEOUT((seen += QString::fromUtf8(p.readAllStandardOutput())).contains(QLatin1String("size=")),
                                 20000);
        const QList<qint64> encoders = test::processesMentioning(partialOutputName(output));
        QCOMPARE(encoders.size(), 1);
        QVERIFY(encoders.first() != p.processId());
        ::kill(pid_t(encoders.first()), SIGKILL);
    }
    QVERIFY(p.waitForFinished(60000));
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    const QString err = QString::fromUtf8(p.readAllStandardError());
    QVERIFY2(p.exitCode() == status, qPrintable(QString::number(p.exitCode()) + QLatin1Char(' ') + err));
    // The reason is the last line, after at most four of ffmpeg's own.
    QStringList errorLines = err.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QVERIFY2(!errorLines.isEmpty() && errorLines.size() <= 5, qPrintable(err));
    const QString last = errorLines.takeLast();
    QVERIFY2(last.startsWith(QLatin1String("tonmill-run: error: ")) && last.contains(expected), qPrintable(err));
    if (isLaunchFailureStatus(status))
        QVERIFY(errorLines.isEmpty());
    if (!ffmpegSaid.isEmpty())
        QCOMPARE(errorLines, ffmpegSaid);
    const QFileInfo target(output);
    QVERIFY(target.dir().entryList({target.fileName() + QLatin1Char('*')}, QDir::AllEntries | QDir::Hidden | QDir::System).isEmpty());
    QVERIFY(test::noProcessMentions(m_dir.path()));
}

void TestRunFailures::terminationEndsTheEncoderAtOnce()
{
    // As the program's Abort does: SIGTERM, then SIGKILL half a second later.
    // A WAV is written at disk speed, so a run that waited for ffmpeg to end
    // gracefully would be killed first and leave its partial file. The last
    // encoder ignores SIGTERM and writes on, as a slow one would.
    const QString stubborn = m_dir.filePath(QStringLiteral("stubborn-ffmpeg"));
    QFile script(stubborn);
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\ntrap '' TERM\nfor target; do :; done\n"
                 "while :; do head -c 1048576 /dev/zero >> \"$target\"; done\n");
    script.close();
    QVERIFY(script.setPermissions(script.permissions() | QFile::ExeOwner));
    for (int round = 0; round < 6; ++round) {
        const QString output = m_dir.filePath(QStringLiteral("terminated-%1.wav").arg(round));
        const QString partial = partialOutputName(output);
        const CommandLine line = routed(wavLine(m_long, output, round < 5 ? kFfmpeg : stubborn));
        QProcess p;
        p.start(line.program, line.arguments);
        QVERIFY(p.waitForStarted());
        QVERIFY(p.processId() > 0); // kill(0) would signal this test's own process group
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(partial).size() > 4 * 1024 * 1024, 20000);
        QVERIFY(test::processesMentioning(output).size() >= 2); // the runner and its ffmpeg
        QElapsedTimer clock;
        clock.start();
        ::kill(pid_t(p.processId()), SIGTERM);
        if (!p.waitForFinished(500)) {
            ::kill(pid_t(p.processId()), SIGKILL);
            QVERIFY(p.waitForFinished(10000));
        }
        const qint64 took = clock.elapsed();
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QCOMPARE(p.exitCode(), 128 + SIGTERM);
        QVERIFY2(took < 1000, qPrintable(QString::number(took)));
        QVERIFY(!QFileInfo::exists(output));
        QVERIFY(!QFileInfo::exists(partial));
        QVERIFY(test::processesMentioning(output).isEmpty());
    }
}

void TestRunFailures::scriptHostRunWaitsAndAbortByNameEndsIt()
{
    ProcessRegistry registry;
    const QString shortSource = m_dir.filePath(QStringLiteral("short.wav"));
    QVERIFY(runTool(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-b"), QStringLiteral("16"),
                                            QStringLiteral("-r"), QStringLiteral("48000"), QStringLiteral("-c"),
                                            QStringLiteral("2"), shortSource, QStringLiteral("synth"),
                                            QStringLiteral("3"), QStringLiteral("sine"), QStringLiteral("440")}));
    const QString done = m_dir.filePath(QStringLiteral("done.ac3"));
    const CommandLine line = ac3Line(shortSource, done);
    const CommandLine routedLine = routed(line);
    QCOMPARE(routedLine.text, line.text);
    QCOMPARE(routedLine.imageName, QStringLiteral("QuEnc.exe"));
    QCOMPARE(ScriptHostRun(registry, routedLine).exitCode, 0);
    QVERIFY(QFileInfo(done).size() > 10000);

    // Abort during a long encode: ending "QuEnc.exe" by name ends the run.
    const QString aborted = m_dir.filePath(QStringLiteral("aborted.ac3"));
    bool timerRan = false;
    bool wasRunning = false;
    QTimer::singleShot(1500, this, [&] {
        timerRan = true;
        wasRunning = !test::processesMentioning(aborted).isEmpty();
        // Ended in any case: a check that failed first would leave an hour to encode.
        KillByName(registry, QStringLiteral("QuEnc.exe"));
    });
    QElapsedTimer clock;
    clock.start();
    const ScriptHostEnd end = ScriptHostRun(registry, routed(ac3Line(m_long, aborted)));
    QVERIFY(end.endedBySignal);
    QVERIFY(timerRan); // the event loop ran while the run waited
    QVERIFY(wasRunning);
    QVERIFY(clock.elapsed() < 10000);
    QVERIFY(!QFileInfo::exists(aborted));
    QVERIFY(test::noProcessMentions(aborted));
    QVERIFY(registry.live().isEmpty());
}

QTEST_GUILESS_MAIN(TestRunFailures)
#include "tst_run_failures.moc"
