// Tools/MediaInfo/mediainfo prints the system MediaInfo's report with the
// stream headings numbered from 0, the rest of the report untouched, and
// says in one line why it cannot.
#include "ToolTests.h"

class TestMediaInfo : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void reportNumbersTheStreamsFromZero();
};

void TestMediaInfo::reportNumbersTheStreamsFromZero()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    // A name that the C locale would mangle, and a file with two audio streams.
    const QString wav = dir.filePath(u"it's a tëst – Ünïcode.wav"_s), twoStreams = dir.filePath(u"two streams.mkv"_s);
    QVERIFY(made(u"sox"_s, words(u"-n -b 16 -r 44100 -c 2 OUT synth 1 sine 440"_s, {}, wav)));
    QVERIFY(made(u"ffmpeg"_s, words(u"-v error -i IN -i IN -map 0 -map 1 -c:a libmp3lame OUT"_s, wav, twoStreams)));
    const QRegularExpression heading(uR"(^([A-Z][A-Za-z]*)( #\d+)?$)"_s, QRegularExpression::MultilineOption);
    for (const auto &[file, headings] : {std::pair{wav, u"General #0|Audio #0"_s}, {twoStreams, u"General #0|Audio #0|Audio #1"_s}}) {
        const Ran r = runProgram(helper(u"MediaInfo/mediainfo"_s), {file});
        QVERIFY2(r.exitCode == 0 && r.err.isEmpty() && r.out.contains(file), qPrintable(r.err));
        QStringList found;
        for (auto it = heading.globalMatch(r.out); it.hasNext();)
            found << it.next().captured(0);
        QCOMPARE(found.join(u'|'), headings);
        // Apart from the headings the report is the system tool's own.
        QCOMPARE(QString(r.out).replace(heading, u"\\1"_s),
                 runProgram(u"mediainfo"_s, {file}, {u"LC_ALL=C.UTF-8"_s}).out.replace(heading, u"\\1"_s));
    }

    // The system's MediaInfo is looked for on the search path, as a shell would.
    const QString noTool = dir.filePath(u"no tool"_s), unusable = dir.filePath(u"unusable tool"_s);
    QVERIFY(QDir().mkpath(noTool) && QDir().mkpath(unusable));
    writeBytes(unusable + u"/mediainfo"_s, {});
    const QString missing = dir.filePath(u"not here.wav"_s);
    const QList<std::tuple<QString, QString, int, QString>> cases = { // file, search path (empty: this test's own)
        {missing, {}, 1, u"\"%1\" does not exist"_s.arg(missing)},
        {wav, noTool, tonmill::kHelperProgramMissing, u"MediaInfo is not installed"_s},
        {wav, unusable, tonmill::kHelperProgramNotExecutable, unusable + u"/mediainfo"_s},
    };
    for (const auto &[file, path, status, reason] : cases) {
        const Ran r = runProgram(helper(u"MediaInfo/mediainfo"_s), {file}, path.isEmpty() ? QStringList() : QStringList{u"PATH="_s + path});
        QCOMPARE(r.exitCode, status);
        QVERIFY2(r.out.isEmpty() && r.err.startsWith(u"mediainfo: error: "_s) && r.err.count(u'\n') == 1 && r.err.contains(reason),
                 qPrintable(r.err));
    }
}

QTEST_GUILESS_MAIN(TestMediaInfo)
#include "tst_mediainfo.moc"
