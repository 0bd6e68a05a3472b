// What goes wrong is said in one line, nothing that looks finished is left
// behind, and no process outlives the run: for bad sources, bad scripts,
// unwritable folders, a termination signal and an abort by name.
#include "convert/AVSScripts.h"
#include "platform/AppFolder.h"
#include "platform/ChildProcess.h"
#include "platform/ProcessRegistry.h"
#include "platform/ToolChain.h"
#include "process/CommandLine.h"
#include "process/KillApp.h"
#include "support/TestPaths.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <unistd.h>

using namespace tonmill;

namespace {

CommandLine mp3Line(const QString &in, const QString &out)
{
    return CommandLineBuilder()
        .quoted(QStringLiteral("/usr/bin/ffmpeg")).text(QStringLiteral(" -y -i ")).quoted(in)
        .text(QStringLiteral(" -vn -acodec mp3 -vol 256 -ac 2 -ab 128 -f mp3 ")).quoted(out)
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

// Live processes whose command line mentions the text.
QList<qint64> processesMentioning(const QString &text)
{
    QList<qint64> found;
    const QByteArray needle = text.toUtf8();
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool numeric = false;
        const qint64 pid = entry.toLongLong(&numeric);
        if (!numeric || pid == QCoreApplication::applicationPid())
            continue;
        QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().contains(needle) && isProcessAlive(pid))
            found << pid;
    }
    return found;
}

bool noProcessMentions(const QString &text)
{
    for (int i = 0; i < 100; ++i) {
        if (processesMentioning(text).isEmpty())
            return true;
        QTest::qWait(20);
    }
    return false;
}

} // namespace

class TestRunFailures : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void badInputSaysWhatInOneLine_data();
    void badInputSaysWhatInOneLine();
    void terminationEndsTheEncoder();
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
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("expected");

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

    QTest::newRow("corrupt source") << corrupt << dir + QStringLiteral("/c.mp3")
                                    << QStringLiteral("cannot read the source \"%1\"").arg(corrupt);
    QTest::newRow("missing source") << dir + QStringLiteral("/nothing.wav") << dir + QStringLiteral("/m.mp3")
                                    << QStringLiteral("does not exist");
    QTest::newRow("corrupt source in a script") << corruptScript << dir + QStringLiteral("/cs.mp3")
                                                << QStringLiteral("\"%1\" could not be read").arg(corrupt);
    QTest::newRow("missing source in a script") << missingScript << dir + QStringLiteral("/ms.mp3")
                                                << QStringLiteral("gone.wav\" does not exist");
    QTest::newRow("unknown script function") << script << dir + QStringLiteral("/s.mp3")
                                             << QStringLiteral("FrobnicateSource");
    QTest::newRow("missing output folder") << m_long << dir + QStringLiteral("/no/such/folder/o.mp3")
                                           << QStringLiteral("does not exist");
    QTest::newRow("unwritable output folder (/proc)") << m_long << QStringLiteral("/proc/tonmill-test.mp3")
                                                      << QStringLiteral("cannot write to the output folder \"/proc\"");
    // A superuser writes anywhere, so this case shows only for other users.
    if (::geteuid() != 0)
        QTest::newRow("unwritable output folder (mode)") << m_long << readOnly + QStringLiteral("/o.mp3")
                                                         << QStringLiteral("cannot write to the output folder");
}

void TestRunFailures::badInputSaysWhatInOneLine()
{
    QFETCH(QString, source);
    QFETCH(QString, output);
    QFETCH(QString, expected);

    const CommandLine line = routed(mp3Line(source, output));
    QProcess p;
    p.start(line.program, line.arguments);
    QVERIFY(p.waitForFinished(60000));
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    QVERIFY(p.exitCode() != 0);
    const QStringList errorLines = QString::fromUtf8(p.readAllStandardError()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(errorLines.size(), 1);
    QVERIFY2(errorLines.first().contains(expected), qPrintable(errorLines.first()));
    QVERIFY(!QFileInfo::exists(output));
    QVERIFY(!QFileInfo::exists(output + QStringLiteral(".part")));
    QVERIFY(noProcessMentions(m_dir.path()));
}

void TestRunFailures::terminationEndsTheEncoder()
{
    const QString output = m_dir.filePath(QStringLiteral("terminated.mp3"));
    const CommandLine line = routed(mp3Line(m_long, output));
    QProcess p;
    p.start(line.program, line.arguments);
    QVERIFY(p.waitForStarted());
    // Once a status line has come, the encoder is at work.
    QString seen;
    QTRY_VERIFY_WITH_TIMEOUT((seen += QString::fromUtf8(p.readAllStandardOutput())).contains(QLatin1String("size=")),
                             20000);
    QVERIFY(processesMentioning(output).size() >= 2); // the runner and its ffmpeg
    QVERIFY(p.processId() > 0); // kill(0) would signal this test's own process group
    ::kill(pid_t(p.processId()), SIGTERM);
    QVERIFY(p.waitForFinished(10000));
    QCOMPARE(p.exitCode(), 128 + SIGTERM);
    QVERIFY(!QFileInfo::exists(output));
    QVERIFY(!QFileInfo::exists(output + QStringLiteral(".part")));
    QVERIFY(noProcessMentions(output));
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
    QCOMPARE(ScriptHostRun(registry, routedLine), 0);
    QVERIFY(QFileInfo(done).size() > 10000);

    // Abort during a long encode: ending "QuEnc.exe" by name ends the run.
    const QString aborted = m_dir.filePath(QStringLiteral("aborted.ac3"));
    bool timerRan = false;
    bool wasRunning = false;
    QTimer::singleShot(1500, this, [&] {
        timerRan = true;
        wasRunning = !processesMentioning(aborted).isEmpty();
        // Ended in any case: a check that failed first would leave an hour to encode.
        KillByName(registry, QStringLiteral("QuEnc.exe"));
    });
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(ScriptHostRun(registry, routed(ac3Line(m_long, aborted))), -1);
    QVERIFY(timerRan); // the event loop ran while the run waited
    QVERIFY(wasRunning);
    QVERIFY(clock.elapsed() < 10000);
    QVERIFY(!QFileInfo::exists(aborted));
    QVERIFY(noProcessMentions(aborted));
    QVERIFY(registry.live().isEmpty());
}

QTEST_GUILESS_MAIN(TestRunFailures)
#include "tst_run_failures.moc"
