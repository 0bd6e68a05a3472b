// tonmill-avs when things go wrong: one line on stderr, a non-zero exit, no
// file left behind (an earlier output stays as it was) and no process left,
// for bad sources, bad scripts and bad arguments, and when it is stopped by a
// signal in the middle of a render; and its --length answer.
#include "platform/ChildProcess.h"
#include "support/TestPaths.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tonmill;

namespace {

const QByteArray kOldOutput = "an earlier render";

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), bytes.size());
}

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Processes whose command line mentions the text, this one aside.
QList<qint64> processesMentioning(const QString &text)
{
    QList<qint64> found;
    const QByteArray needle = QFile::encodeName(text);
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool ok = false;
        const qint64 pid = entry.toLongLong(&ok);
        if (!ok || pid == QCoreApplication::applicationPid() || !isProcessAlive(pid))
            continue;
        if (readFile(QStringLiteral("/proc/%1/cmdline").arg(pid)).contains(needle))
            found << pid;
    }
    return found;
}

} // namespace

class TestAvsTool : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void failuresLeaveNothing_data();
    void failuresLeaveNothing();
    void signalStopsRenderCleanly();

private:
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QTemporaryDir m_dir;
    QString m_tool;
};

void TestAvsTool::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_tool = QDir(test::builtAppDir()).filePath(QStringLiteral("Tools/tonmill-avs"));
    QVERIFY2(QFile::exists(m_tool), qPrintable(m_tool));
    QProcess sox;
    makeChildDieWithParent(sox);
    sox.start(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-b"), QStringLiteral("16"), QStringLiteral("-r"), QStringLiteral("44100"),
                                      QStringLiteral("-c"), QStringLiteral("1"), path(QStringLiteral("tone.wav")),
                                      QStringLiteral("synth"), QStringLiteral("4"), QStringLiteral("sine"), QStringLiteral("440")});
    QVERIFY(sox.waitForFinished(-1) && sox.exitCode() == 0);
    // Bytes that no demuxer takes for audio.
    writeFile(path(QStringLiteral("broken.wav")), QByteArray("RIFF\x10\0\0\0WAVEjunk", 16) + QByteArray(4000, '\x5a'));
    // A readable WAV whose format tag names a codec no decoder knows.
    QByteArray odd = readFile(path(QStringLiteral("tone.wav")));
    QVERIFY(odd.size() > 44);
    odd[20] = '\x34';
    odd[21] = '\x12';
    writeFile(path(QStringLiteral("odd.wav")), odd);
}

void TestAvsTool::failuresLeaveNothing_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QStringList>("arguments"); // {} for the usual --ffmpeg, script, output
    QTest::addColumn<QString>("error");

    const QString dub = QStringLiteral("Clip2 = BlankClip(Length = 2000000, fps = 25)\r\nClip3 = AudioDub(Clip2, Clip1)\r\nTrim(Clip3,0,100)\r\n");
    const QString broken = path(QStringLiteral("broken.wav"));
    const QString missing = path(QStringLiteral("gone.mp3"));
    const QString tone = path(QStringLiteral("tone.wav"));
    QTest::newRow("corrupt source")
        << QStringLiteral("# Created by Tonmill - Quorell\r\nClip1 = DirectShowSource(\"%1\",25)\r\n").arg(broken) + dub << QStringList()
        << QStringLiteral("DirectQX.avs, line 2: the source \"%1\" could not be read: Invalid data found when processing input").arg(broken);
    QTest::newRow("missing source")
        << QStringLiteral("# Created by Tonmill - Quorell\r\nClip1 = DirectShowSource(\"%1\")\r\n").arg(missing) + dub << QStringList()
        << QStringLiteral("DirectQX.avs, line 2: the source \"%1\" does not exist").arg(missing);
    const QString odd = path(QStringLiteral("odd.wav"));
    QTest::newRow("undecodable source")
        << QStringLiteral("Clip1 = NicMPASource(\"%1\")\r\n").arg(odd) + dub << QStringList()
        << QStringLiteral("DirectQX.avs, line 1: the source \"%1\" has audio that ffmpeg cannot decode").arg(odd);
    QTest::newRow("unknown function")
        << QStringLiteral("Clip1 = DirectShowSource(\"%1\",25)\r\n\r\nClip1.Sharpen(0.5)\r\n").arg(tone) << QStringList()
        << QStringLiteral("DirectQX.avs, line 3: unknown function \"Sharpen\"");
    QTest::newRow("syntax error, asked the length")
        << QStringLiteral("Clip1 = DirectShowSource(\"%1\",25)\r\nClip2 = BlankClip(Length = 2000000, fps = 25\r\n").arg(tone)
        << QStringList{QStringLiteral("--ffmpeg"), QStringLiteral("/usr/bin/ffmpeg"), QStringLiteral("--length"), QStringLiteral("SCRIPT")}
        << QStringLiteral("DirectQX.avs, line 2: syntax error: expected \",\" or \")\" in the arguments of BlankClip but found the end of the line");
    const QString good = QStringLiteral("Clip1 = DirectShowSource(\"%1\",25)\r\n").arg(tone) + dub;
    QTest::newRow("no ffmpeg")
        << good << QStringList{QStringLiteral("--ffmpeg"), path(QStringLiteral("ffmpeg")), QStringLiteral("SCRIPT"), QStringLiteral("OUTPUT")}
        << QStringLiteral("ffmpeg was not found at \"%1\"").arg(path(QStringLiteral("ffmpeg")));
    QTest::newRow("no output folder")
        << good << QStringList{QStringLiteral("--ffmpeg"), QStringLiteral("/usr/bin/ffmpeg"), QStringLiteral("SCRIPT"), path(QStringLiteral("none/out.wav"))}
        << QStringLiteral("cannot write into the folder \"%1\"").arg(path(QStringLiteral("none")));
    QTest::newRow("usage")
        << good << QStringList{QStringLiteral("SCRIPT"), QStringLiteral("OUTPUT")}
        << QStringLiteral("usage: tonmill-avs --ffmpeg PATH SCRIPT OUTPUT.wav | --ffmpeg PATH --graph SCRIPT | --ffmpeg PATH --length SCRIPT");
}

void TestAvsTool::failuresLeaveNothing()
{
    QFETCH(QString, script);
    QFETCH(QStringList, arguments);
    QFETCH(QString, error);
    const QString scriptPath = path(QStringLiteral("DirectQX.avs"));
    const QString output = path(QStringLiteral("out.wav"));
    writeFile(scriptPath, script.toUtf8());
    writeFile(output, kOldOutput);
    if (arguments.isEmpty())
        arguments = {QStringLiteral("--ffmpeg"), QStringLiteral("/usr/bin/ffmpeg"), QStringLiteral("SCRIPT"), QStringLiteral("OUTPUT")};
    arguments.replaceInStrings(QStringLiteral("SCRIPT"), scriptPath);
    arguments.replaceInStrings(QStringLiteral("OUTPUT"), output);
    const QStringList before = QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);

    QProcess tool;
    makeChildDieWithParent(tool);
    tool.start(m_tool, arguments);
    QVERIFY(tool.waitForFinished(-1));
    QCOMPARE(tool.exitStatus(), QProcess::NormalExit);
    QCOMPARE(tool.exitCode(), 1);
    QCOMPARE(QString::fromUtf8(tool.readAllStandardError()), QStringLiteral("tonmill-avs: ") + error + QLatin1Char('\n'));
    QVERIFY(tool.readAllStandardOutput().isEmpty());

    QCOMPARE(readFile(output), kOldOutput);
    QCOMPARE(QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), before);
    QCOMPARE(processesMentioning(m_dir.path()), QList<qint64>());
}

void TestAvsTool::signalStopsRenderCleanly()
{
    // An hour of silence: long enough to be caught in the middle.
    const QString scriptPath = path(QStringLiteral("long.avs"));
    writeFile(scriptPath, "Clip1 = BlankClip(length=90000, fps=25, channels=2)\r\nResampleAudio (Clip1, 8000)\r\n");
    QProcess length;
    makeChildDieWithParent(length);
    length.start(m_tool, {QStringLiteral("--ffmpeg"), QStringLiteral("/usr/bin/ffmpeg"), QStringLiteral("--length"), scriptPath});
    QVERIFY(length.waitForFinished(-1));
    QCOMPARE(length.exitCode(), 0);
    QCOMPARE(length.readAllStandardOutput(), QByteArray("3600.000000\n"));
    const QString output = path(QStringLiteral("long.wav"));
    writeFile(output, kOldOutput);
    const QStringList before = QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);

    QProcess tool;
    makeChildDieWithParent(tool);
    tool.start(m_tool, {QStringLiteral("--ffmpeg"), QStringLiteral("/usr/bin/ffmpeg"), scriptPath, output});
    QVERIFY(tool.waitForStarted(-1));

    // Wait until ffmpeg has begun writing the hidden file beside the output.
    QString partial;
    qint64 encoder = 0;
    QElapsedTimer clock;
    clock.start();
    while (partial.isEmpty() && clock.elapsed() < 30'000 && tool.state() == QProcess::Running) {
        for (const QFileInfo &f : QDir(m_dir.path()).entryInfoList({QStringLiteral(".long.wav.*.part")}, QDir::Files | QDir::Hidden)) {
            if (f.size() > 0)
                partial = f.absoluteFilePath();
        }
        QTest::qWait(5);
    }
    QVERIFY2(!partial.isEmpty(), "the render never started writing");
    const QByteArray children = readFile(QStringLiteral("/proc/%1/task/%1/children").arg(tool.processId())).trimmed();
    encoder = children.split(' ').first().toLongLong();
    QVERIFY(readFile(QStringLiteral("/proc/%1/cmdline").arg(encoder)).contains("ffmpeg"));

    QVERIFY(tool.processId() > 0 && ::kill(static_cast<pid_t>(tool.processId()), SIGTERM) == 0);
    QVERIFY(tool.waitForFinished(10'000));
    QCOMPARE(tool.exitStatus(), QProcess::NormalExit);
    QCOMPARE(tool.exitCode(), 128 + SIGTERM);
    QVERIFY(!QFile::exists(partial));
    QCOMPARE(readFile(output), kOldOutput);
    QCOMPARE(QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), before);
    QVERIFY(!isProcessAlive(encoder));
    QCOMPARE(processesMentioning(m_dir.path()), QList<qint64>());
}

QTEST_GUILESS_MAIN(TestAvsTool)
#include "tst_avstool.moc"
