// Tools/MediaInfo/mediainfo prints the system MediaInfo's report with the
// stream headings numbered from 0, the rest of the report untouched, and
// says in one line why it cannot.
#include "ToolTests.h"

#include "platform/ToolChain.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace tonmill::test;

class TestMediaInfo : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void reportNumbersTheStreamsFromZero();
    void failuresAreOneLine();

private:
    QTemporaryDir m_dir;
};

void TestMediaInfo::reportNumbersTheStreamsFromZero()
{
    QVERIFY(m_dir.isValid());
    // A name that the C locale would mangle, and a file with two audio streams.
    const QString wav = m_dir.filePath(u"it's a tëst – Ünïcode.wav"_s);
    const QString twoStreams = m_dir.filePath(u"two streams.mkv"_s);
    QVERIFY(made(u"sox"_s, words(u"-n -b 16 -r 44100 -c 2 OUT synth 1 sine 440"_s, {}, wav)));
    QVERIFY(made(u"ffmpeg"_s, words(u"-v error -i IN -i IN -map 0 -map 1 -c:a libmp3lame OUT"_s, wav, twoStreams)));
    const QList<std::pair<QString, QStringList>> cases = {
        {wav, {u"General #0"_s, u"Audio #0"_s}},
        {twoStreams, {u"General #0"_s, u"Audio #0"_s, u"Audio #1"_s}},
    };
    const QRegularExpression heading(uR"(^([A-Z][A-Za-z]*)( #\d+)?$)"_s, QRegularExpression::MultilineOption);
    for (const auto &[file, headings] : cases) {
        const Ran r = runProgram(helper(u"MediaInfo/mediainfo"_s), {file});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.err.isEmpty() && r.out.contains(file));
        QStringList found;
        for (auto it = heading.globalMatch(r.out); it.hasNext();)
            found << it.next().captured(0);
        QCOMPARE(found, headings);
        // Apart from the headings the report is the system tool's own.
        QCOMPARE(QString(r.out).replace(heading, u"\\1"_s),
                 runProgram(u"mediainfo"_s, {file}, {u"LC_ALL=C.UTF-8"_s}).out.replace(heading, u"\\1"_s));
    }
}

void TestMediaInfo::failuresAreOneLine()
{
    // The system's MediaInfo is looked for on the search path, as a shell would.
    const QString noTool = m_dir.filePath(u"no tool"_s), unusableTool = m_dir.filePath(u"unusable tool"_s);
    QVERIFY(QDir().mkpath(noTool) && QDir().mkpath(unusableTool));
    writeBytes(unusableTool + u"/mediainfo"_s, {});
    const QString missing = m_dir.filePath(u"not here.wav"_s), present = m_dir.filePath(u"present.wav"_s);
    writeBytes(present, "RIFF");
    const struct {
        QString file, path; // path empty: this test's own
        int status;
        QString reason;
    } cases[] = {
        {missing, {}, 1, u"\"%1\" does not exist"_s.arg(missing)},
        {present, noTool, tonmill::kHelperProgramMissing, u"MediaInfo is not installed"_s},
        {present, unusableTool, tonmill::kHelperProgramNotExecutable, unusableTool + u"/mediainfo"_s},
    };
    for (const auto &c : cases) {
        const Ran r = runProgram(helper(u"MediaInfo/mediainfo"_s), {c.file},
                                 c.path.isEmpty() ? QStringList() : QStringList{u"PATH="_s + c.path});
        QCOMPARE(r.exitCode, c.status);
        QVERIFY(r.out.isEmpty());
        QVERIFY2(r.err.startsWith(u"mediainfo: error: "_s) && r.err.count(u'\n') == 1 && r.err.contains(c.reason),
                 qPrintable(r.err));
    }
}

QTEST_GUILESS_MAIN(TestMediaInfo)
#include "tst_mediainfo.moc"
