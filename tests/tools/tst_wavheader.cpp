// WAV sources are described from their header instead of by ffprobe. For real
// files made with sox and ffmpeg the header must give what ffprobe says; for
// anything the header cannot vouch for it must give nothing, so that ffprobe
// is asked after all. What the program already measured is not asked again.
#include "support/TestFiles.h"
#include "tools/avs/SourceProbe.h"
#include "tools/avs/ToolProcess.h"
#include "media/SourceFacts.h"
#include "media/WavHeader.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

using namespace tonmill;
using namespace tonmill::avs;
using tonmill::test::readBytes;
using tonmill::test::writeBytes;

class TestWavHeader : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void agreesWithFfprobe_data();
    void agreesWithFfprobe();
    void declinesWhatItCannotVouchFor();

private:
    QString make(const QString &name, const QString &program, const QStringList &arguments);
    std::optional<SourceInfo> header(const QString &path);

    QTemporaryDir m_dir;
    QString m_ffprobe;
};

void TestWavHeader::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_ffprobe = findFfprobe(QStringLiteral("ffmpeg"));
    QVERIFY2(!m_ffprobe.isEmpty(), "ffprobe is needed");
}

QString TestWavHeader::make(const QString &name, const QString &program, const QStringList &arguments)
{
    const QString path = m_dir.filePath(name);
    QStringList args = arguments;
    args.replaceInStrings(QStringLiteral("OUT"), path);
    const ToolResult r = runTool(program, args, 60'000);
    if (!r.finished || r.exitCode != 0)
        qWarning("%s failed: %s", qPrintable(program), r.err.constData());
    return path;
}

std::optional<SourceInfo> TestWavHeader::header(const QString &path)
{
    const QByteArray bytes = readBytes(path);
    return readWavHeader(QByteArrayView(bytes).first(qMin(bytes.size(), kWavHeadBytes)), bytes.size());
}

void TestWavHeader::agreesWithFfprobe_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    const auto sox = [](const QString &format) {
        return (format + QStringLiteral(" OUT synth 3.3 sine 440")).split(u' ');
    };
    const QString s = QStringLiteral("sox");
    QTest::newRow("16-bit stereo 44.1k") << s << sox(QStringLiteral("-n -b 16 -r 44100 -c 2"));
    QTest::newRow("8-bit mono 8k") << s << sox(QStringLiteral("-n -b 8 -r 8000 -c 1"));
    QTest::newRow("24-bit 5.1 48k (extensible)") << s << sox(QStringLiteral("-n -b 24 -r 48000 -c 6"));
    QTest::newRow("32-bit float stereo") << s << sox(QStringLiteral("-n -e floating-point -b 32 -r 22050 -c 2"));
    QTest::newRow("64-bit float mono") << s << sox(QStringLiteral("-n -e floating-point -b 64 -r 16000 -c 1"));
    // ffmpeg puts a LIST chunk with the title between fmt and data.
    QTest::newRow("tags before the data") << QStringLiteral("ffmpeg")
        << QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                       QStringLiteral("-i"), QStringLiteral("sine=f=300:d=2.5:sample_rate=32000"),
                       QStringLiteral("-metadata"), QStringLiteral("title=Odd"), QStringLiteral("-c:a"),
                       QStringLiteral("pcm_s32le"), QStringLiteral("OUT")};
}

void TestWavHeader::agreesWithFfprobe()
{
    QFETCH(QString, program);
    QFETCH(QStringList, arguments);
    const QString path = make(QStringLiteral("%1.wav").arg(QTest::currentDataTag()).replace(u' ', u'_'), program, arguments);

    const std::optional<SourceInfo> info = header(path);
    QVERIFY(info);
    QString error;
    const std::optional<SourceInfo> ffprobe = SourceProbe(m_ffprobe).askFfprobe(path, &error);
    QVERIFY2(ffprobe, qPrintable(error));
    QCOMPARE(info->channels, ffprobe->channels);
    QCOMPARE(info->sampleRate, ffprobe->sampleRate);
    QCOMPARE(info->isFloat, ffprobe->isFloat);
    QCOMPARE(qRound(info->durationSeconds * 1e6), qRound(ffprobe->durationSeconds * 1e6));
}

void TestWavHeader::declinesWhatItCannotVouchFor()
{
    const QString good = make(QStringLiteral("good.wav"), QStringLiteral("sox"),
                              QStringLiteral("-n -b 16 -r 44100 -c 2 OUT synth 1 sine 440").split(u' '));
    const QByteArray bytes = readBytes(good);
    QVERIFY(readWavHeader(bytes, bytes.size()));
    const qsizetype data = bytes.indexOf("data");
    const qsizetype fmt = bytes.indexOf("fmt ");
    QVERIFY(data > 0 && fmt > 0);
    const auto edited = [&](qsizetype at, QByteArrayView with) {
        QByteArray b = bytes;
        b.replace(at, with.size(), with.toByteArray());
        return b;
    };
    const auto le16 = [](quint16 v) { QByteArray b(2, '\0'); qToLittleEndian(v, b.data()); return b; };
    const auto le32 = [](quint32 v) { QByteArray b(4, '\0'); qToLittleEndian(v, b.data()); return b; };

    // Cut off: the data chunk claims more than the file holds.
    const QByteArray cut = bytes.first(bytes.size() - 100);
    QVERIFY(!readWavHeader(cut, cut.size()));
    // A streamed recording's length fields are 0xFFFFFFFF.
    QVERIFY(!readWavHeader(edited(data + 4, le32(0xFFFFFFFF)), bytes.size()));
    // An empty data chunk or one shorter than a frame, another codec, RF64, nine channels, a block size
    // that does not match the channels and bits, a rate of zero.
    QVERIFY(!readWavHeader(edited(data + 4, le32(0)), bytes.size()));
    QVERIFY(!readWavHeader(edited(data + 4, le32(3)), bytes.size()));
    QVERIFY(!readWavHeader(edited(fmt + 8, le16(2)), bytes.size()));
    QVERIFY(!readWavHeader(edited(0, "RF64"), bytes.size()));
    QVERIFY(!readWavHeader(edited(fmt + 10, le16(9)), bytes.size()));
    QVERIFY(!readWavHeader(edited(fmt + 20, le16(3)), bytes.size()));
    QVERIFY(!readWavHeader(edited(fmt + 12, le32(0)), bytes.size()));
    // No fmt chunk before the data; a header cut inside a chunk.
    QVERIFY(!readWavHeader(edited(fmt, "fmtx"), bytes.size()));
    for (qsizetype n = 0; n < data + 8; ++n)
        QVERIFY(!readWavHeader(QByteArrayView(bytes).first(n), bytes.size()));
    // Any single corrupted byte of the header gives nothing or stays within
    // what the format allows, never a crash or a nonsense value.
    for (qsizetype at = 0; at < data + 8; ++at) {
        for (const char value : {'\0', '\x7F', '\xFF'}) {
            QByteArray b = bytes;
            b[at] = value;
            if (const std::optional<SourceInfo> info = readWavHeader(b, b.size())) {
                QVERIFY(info->channels >= 1 && info->channels <= 8);
                QVERIFY(info->sampleRate >= 1);
                QVERIFY(info->durationSeconds > 0 && info->durationSeconds < 1e6);
            }
        }
    }

    // What the header declines, the probe still reads through ffprobe: an
    // ADPCM WAV, and the cut-off file's real length.
    const QString adpcm = make(QStringLiteral("adpcm.wav"), QStringLiteral("ffmpeg"),
                               {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), good,
                                QStringLiteral("-c:a"), QStringLiteral("adpcm_ms"), QStringLiteral("OUT")});
    QVERIFY(!header(adpcm));
    const QString cutPath = m_dir.filePath(QStringLiteral("cut.wav"));
    writeBytes(cutPath, cut);
    const SourceProbe probe(m_ffprobe);
    QString error;
    std::optional<SourceInfo> info = probe.probe(adpcm, &error);
    QVERIFY2(info, qPrintable(error));
    QCOMPARE(info->channels, 2);
    info = probe.probe(cutPath, &error);
    QVERIFY2(info, qPrintable(error));
    QVERIFY(qAbs(info->durationSeconds - (bytes.size() - 100 - data - 8) / 4 / 44100.0) < 0.01);

    // Facts measured by the program stand in for ffprobe, for that version of
    // that file only.
    const QByteArray facts = sourceFactsEntry(adpcm, {6, 8000, 1.5, true}).section(QLatin1Char('='), 1).toUtf8();
    QVERIFY(!facts.isEmpty());
    QCOMPARE(SourceProbe(m_ffprobe, facts).probe(adpcm, &error)->channels, 6);
    QCOMPARE(SourceProbe(m_ffprobe, facts).probe(cutPath, &error)->channels, 2);
    QFile changed(adpcm);
    QVERIFY(changed.open(QIODevice::ReadWrite));
    QVERIFY(changed.setFileTime(QDateTime::currentDateTime().addSecs(60), QFileDevice::FileModificationTime));
    changed.close();
    QCOMPARE(SourceProbe(m_ffprobe, facts).probe(adpcm, &error)->channels, 2);
    QVERIFY(sourceFactsEntry(adpcm, {9, 8000, 1.5, false}).isEmpty());
}

QTEST_GUILESS_MAIN(TestWavHeader)
#include "tst_wavheader.moc"
