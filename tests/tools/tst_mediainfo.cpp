// Tools/MediaInfo/mediainfo prints the system MediaInfo's report with the
// stream headings numbered from 0, the rest of the report untouched.
#include "platform/ToolChain.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

using tonmill::test::Ran;
using tonmill::test::runProgram;

QString tool()
{
    return tonmill::test::builtAppDir() + QStringLiteral("/Tools/MediaInfo/mediainfo");
}

QStringList headings(const QString &report)
{
    static const QRegularExpression heading(QStringLiteral(R"(^[A-Z][A-Za-z]*( #\d+)?$)"));
    QStringList found;
    for (const QString &line : report.split(QLatin1Char('\n'))) {
        if (heading.match(line).hasMatch())
            found << line;
    }
    return found;
}

} // namespace

class TestMediaInfo : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void reportHasNumberedHeadingsAndAlignedLabels();
    void severalAudioStreamsCountFromZero();
    void failuresAreOneLine();

private:
    QTemporaryDir m_dir;
    QString m_wav;
    QString m_twoStreams;
};

void TestMediaInfo::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // Ten seconds of 16-bit stereo at 44.1 kHz: about 1.7 MiB.
    m_wav = m_dir.filePath(QStringLiteral("it's a tëst – Ünïcode.wav"));
    QCOMPARE(runProgram(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-b"), QStringLiteral("16"),
                                         QStringLiteral("-r"), QStringLiteral("44100"), QStringLiteral("-c"),
                                         QStringLiteral("2"), m_wav, QStringLiteral("synth"), QStringLiteral("10"),
                                         QStringLiteral("sine"), QStringLiteral("440")})
                 .exitCode,
             0);
    m_twoStreams = m_dir.filePath(QStringLiteral("two streams.mkv"));
    QCOMPARE(runProgram(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), m_wav,
                                            QStringLiteral("-i"), m_wav, QStringLiteral("-map"), QStringLiteral("0"),
                                            QStringLiteral("-map"), QStringLiteral("1"), QStringLiteral("-c:a"),
                                            QStringLiteral("libmp3lame"), m_twoStreams})
                 .exitCode,
             0);
}

void TestMediaInfo::reportHasNumberedHeadingsAndAlignedLabels()
{
    const Ran r = runProgram(tool(), {m_wav});
    QCOMPARE(r.exitCode, 0);
    QVERIFY(r.err.isEmpty());
    QCOMPARE(headings(r.out), (QStringList{QStringLiteral("General #0"), QStringLiteral("Audio #0")}));
    QVERIFY(r.out.startsWith(QLatin1String("General #0\n")));

    // Every 'Label : Value' line has its colon in one column.
    QSet<qsizetype> colonColumns;
    QString fileSize, completeName, channels;
    for (const QString &line : r.out.split(QLatin1Char('\n'))) {
        const qsizetype colon = line.indexOf(QLatin1String(" : "));
        if (colon < 0)
            continue;
        colonColumns.insert(colon);
        const QString label = line.left(colon).trimmed();
        const QString value = line.mid(colon + 3);
        if (label == QLatin1String("File size"))
            fileSize = value;
        else if (label == QLatin1String("Complete name"))
            completeName = value;
        else if (label == QLatin1String("Channel(s)"))
            channels = value;
    }
    QCOMPARE(colonColumns.size(), 1);
    QVERIFY2(QRegularExpression(QStringLiteral(R"(^1\.[0-9]+ MiB$)")).match(fileSize).hasMatch(), qPrintable(fileSize));
    QCOMPARE(completeName, m_wav);
    QCOMPARE(channels, QStringLiteral("2 channels"));

    // Apart from the headings the report is the system tool's own.
    const Ran system = runProgram(QStringLiteral("mediainfo"), {m_wav}, {QStringLiteral("LC_ALL=C.UTF-8")});
    QString ours = r.out;
    ours.replace(QStringLiteral("General #0\n"), QStringLiteral("General\n"));
    ours.replace(QStringLiteral("Audio #0\n"), QStringLiteral("Audio\n"));
    QCOMPARE(ours, system.out);
}

void TestMediaInfo::severalAudioStreamsCountFromZero()
{
    const Ran r = runProgram(tool(), {m_twoStreams});
    QCOMPARE(r.exitCode, 0);
    QCOMPARE(headings(r.out),
             (QStringList{QStringLiteral("General #0"), QStringLiteral("Audio #0"), QStringLiteral("Audio #1")}));
}

void TestMediaInfo::failuresAreOneLine()
{
    // The system's MediaInfo is looked for on the search path, as a shell would.
    const QString noTool = m_dir.filePath(QStringLiteral("no tool"));
    const QString unusableTool = m_dir.filePath(QStringLiteral("unusable tool"));
    QVERIFY(QDir().mkpath(noTool) && QDir().mkpath(unusableTool));
    QFile notExecutable(unusableTool + QStringLiteral("/mediainfo"));
    QVERIFY(notExecutable.open(QIODevice::WriteOnly));
    notExecutable.close();
    const QString missing = m_dir.filePath(QStringLiteral("not here.wav"));
    const struct {
        QString file;
        QString path; // empty: this test's own
        int status;
        QString reason;
    } cases[] = {
        {missing, {}, 1, QStringLiteral("\"%1\" does not exist").arg(missing)},
        {m_wav, noTool, tonmill::kHelperProgramMissing, QStringLiteral("MediaInfo is not installed")},
        {m_wav, unusableTool, tonmill::kHelperProgramNotExecutable, unusableTool + QStringLiteral("/mediainfo")},
    };
    for (const auto &c : cases) {
        const Ran r = runProgram(tool(), {c.file}, c.path.isEmpty() ? QStringList() : QStringList{QStringLiteral("PATH=") + c.path});
        QCOMPARE(r.exitCode, c.status);
        QVERIFY(r.out.isEmpty());
        const QStringList lines = r.err.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().startsWith(QLatin1String("mediainfo: error: ")) && lines.first().contains(c.reason),
                 qPrintable(lines.first()));
    }
}

QTEST_GUILESS_MAIN(TestMediaInfo)
#include "tst_mediainfo.moc"
