#include "platform/ProcessRegistry.h"
#include "process/CommandLine.h"
#include "process/ProgressMonitor.h"
#include "process/cStdIO.h"
#include "support/TestPaths.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <limits>

using namespace tonmill;

namespace {

// ffmpeg's status line as the encoder runner prints it.
QString statusLine(const QString &size, const QString &seconds)
{
    return QStringLiteral("size=") + size.rightJustified(10, QLatin1Char(' ')) + QStringLiteral(" time=") + seconds
        + QStringLiteral(" bitrate= 128.0kbits/s speed=41.2x    \r");
}

ProgressDisplay tick(const QString &pane, std::optional<double> duration, ProgressDisplay display = {})
{
    progressTick(pane, QStringLiteral("5"), duration, display);
    return display;
}

} // namespace

class TestProgress : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void statusLineGivesPercentSizeAndSeconds();
    void shortAndLongSecondsLoseTheBitrateWord();
    void notAStatusLine();
    void missingOrZeroDurationKeepsTheCaption();
    void wmaShowsOnlyItsLabel();
    void statusLinesOfTheEncoderRunner();
};

void TestProgress::statusLineGivesPercentSizeAndSeconds()
{
    ProgressDisplay d = tick(statusLine(QStringLiteral("512kB"), QStringLiteral("32.65")), 65.3);
    QCOMPARE(d.txtProgress, QStringLiteral("33"));
    QCOMPARE(d.PB1, 33);
    // 33 of 65 seconds is 51 percent, shown divided by ten.
    QCOMPARE(d.Encoding, QStringLiteral("005.1%   Size: 512kB"));

    // Halves round away from zero: 2.5 s is 3 s; 1 s of 8 s is 12.5, so 13 percent.
    d = tick(statusLine(QStringLiteral("12kB"), QStringLiteral("2.50")), 100);
    QCOMPARE(d.txtProgress, QStringLiteral("3"));
    d = tick(statusLine(QStringLiteral("12kB"), QStringLiteral("1.00")), 8);
    QCOMPARE(d.Encoding, QStringLiteral("001.3%   Size: 12kB"));
    // The duration is rounded too: 1 s of 7.5 s (8) is 13 percent, not 13.3.
    d = tick(statusLine(QStringLiteral("12kB"), QStringLiteral("1.00")), 7.5);
    QCOMPARE(d.Encoding, QStringLiteral("001.3%   Size: 12kB"));

    // Finished and beyond: 100 percent reads 010.0; ten times over, 100.0.
    d = tick(statusLine(QStringLiteral("2048kB"), QStringLiteral("120.00")), 120);
    QCOMPARE(d.Encoding, QStringLiteral("010.0%   Size: 2048kB"));
    QCOMPARE(d.PB1, 120);
    d = tick(statusLine(QStringLiteral("2048kB"), QStringLiteral("1200.00")), 120);
    QCOMPARE(d.Encoding, QStringLiteral("100.0%   Size: 2048kB"));
    d = tick(statusLine(QStringLiteral("0kB"), QStringLiteral("0.00")), 120);
    QCOMPARE(d.Encoding, QStringLiteral("000.0%   Size: 0kB"));
    QCOMPARE(d.PB1, 0);
}

void TestProgress::shortAndLongSecondsLoseTheBitrateWord()
{
    // The nine-character window behind "time=" holds the seconds and, when
    // they are short, the start of the next word.
    const struct {
        const char *seconds;
        const char *shown;
    } cases[] = {
        {"5.00", "5"},          // "5.00 bitr"
        {"32.65", "33"},        // "32.65 bit"
        {"132.49", "132"},      // "132.49 bi"
        {"1132.50", "1133"},    // "1132.50 b"
        {"11132.50", "11133"},  // "11132.50 "
        {"111132.50", "111133"} // exactly nine characters
    };
    for (const auto &c : cases) {
        const ProgressDisplay d = tick(statusLine(QStringLiteral("512kB"), QLatin1String(c.seconds)), 100000);
        QCOMPARE(d.txtProgress, QLatin1String(c.shown));
        QCOMPARE(d.PB1, QString::fromLatin1(c.shown).toInt());
    }
}

void TestProgress::notAStatusLine()
{
    ProgressDisplay before;
    before.PB1 = 7;
    before.Encoding = QStringLiteral("000.5%   Size: 100kB");

    // A size that fills all ten columns leaves no blank in front: not taken
    // as a status line, so the size shows as 0kb.
    ProgressDisplay d = tick(statusLine(QStringLiteral("10485760kB"), QStringLiteral("600.00")), 1200, before);
    QCOMPARE(d.Encoding, QStringLiteral("005.0%   Size: 0kb"));
    QCOMPARE(d.PB1, 600);

    // The encoder's banner: the time window holds letters, so the bar and the
    // caption keep what the previous tick showed.
    const QString banner = QStringLiteral("ffmpeg version 5.1.6-0+deb12u1 Copyright (c) 2000-2024 the FFmpeg developers\n");
    d = tick(banner, 1200, before);
    QCOMPARE(d.txtProgress, QStringLiteral("0+deb12u1")); // columns 22 to 30
    QCOMPARE(d.PB1, 7);
    QCOMPARE(d.Encoding, before.Encoding);

    // An empty pane and one shorter than the time window do the same.
    d = tick(QString(), 1200, before);
    QCOMPARE(d.txtProgress, QString());
    QCOMPARE(d.Encoding, before.Encoding);
    d = tick(QStringLiteral("size=     512kB ti"), 1200, before);
    QCOMPARE(d.PB1, 7);
    QCOMPARE(d.Encoding, before.Encoding);
}

void TestProgress::missingOrZeroDurationKeepsTheCaption()
{
    ProgressDisplay before;
    before.Encoding = QStringLiteral("004.2%   Size: 300kB");
    const QString line = statusLine(QStringLiteral("512kB"), QStringLiteral("32.65"));
    for (const std::optional<double> duration :
         {std::optional<double>(), std::optional<double>(0.0), std::optional<double>(0.4),
          std::optional<double>(std::numeric_limits<double>::quiet_NaN())}) {
        const ProgressDisplay d = tick(line, duration, before);
        QCOMPARE(d.Encoding, before.Encoding);
        // The elapsed time still reaches the text field and the bar.
        QCOMPARE(d.txtProgress, QStringLiteral("33"));
        QCOMPARE(d.PB1, 33);
    }
    // 0.5 s rounds up to 1 s, which is a total again.
    QCOMPARE(tick(line, 0.5, before).Encoding, QStringLiteral("330.0%   Size: 512kB"));
}

void TestProgress::wmaShowsOnlyItsLabel()
{
    ProgressDisplay before;
    before.txtProgress = QStringLiteral("12");
    before.PB1 = 12;
    before.Encoding = QStringLiteral("001.2%   Size: 10kB");

    ProgressDisplay d = before;
    // Runs of three blanks become two, once, from the left: six blanks become
    // four and four become three.
    progressTick(QStringLiteral("Encoding:      25%    done"), QStringLiteral("7"), 100, d);
    QCOMPARE(d.lblWMAprogress, QStringLiteral("Encoding:    25%   done"));
    QCOMPARE(d.txtProgress, before.txtProgress);
    QCOMPARE(d.PB1, before.PB1);
    QCOMPARE(d.Encoding, before.Encoding);

    // Cut to 63 characters, then everything from a "[" on pushed out of sight.
    const QString longText = QStringLiteral("Pass 1 of 1: ") + QString(70, QLatin1Char('x'));
    progressTick(longText, QStringLiteral("7"), 100, d);
    QCOMPARE(d.lblWMAprogress, longText.left(63));
    progressTick(QStringLiteral("42% [=====>    ]"), QStringLiteral("7"), 100, d);
    QCOMPARE(d.lblWMAprogress, QStringLiteral("42% ") + QString(97, QLatin1Char(' ')) + QStringLiteral("=====>   ]"));

    // Any other format number takes the status line path and leaves the label.
    const QString label = d.lblWMAprogress;
    progressTick(statusLine(QStringLiteral("512kB"), QStringLiteral("32.65")), QStringLiteral("6"), 65.3, d);
    QCOMPARE(d.lblWMAprogress, label);
    QCOMPARE(d.Encoding, QStringLiteral("005.1%   Size: 512kB"));

    // The seconds written, which the conversion watches for a runaway: the
    // last progress line of a chunk, in either encoder's words.
    const QList<std::pair<QString, std::optional<double>>> written = {
        {QStringLiteral("Encoding WMA: 45% (27.5 of 61.0 s), 210 kB"), 27.5},
        {QStringLiteral("Encoding WMA: 3.0 s, 20 kB"), 3.0},
        {statusLine(QStringLiteral("1kB"), QStringLiteral("1.00")) + QStringLiteral("\n")
             + statusLine(QStringLiteral("9kB"), QStringLiteral("912.25")),
         912.25},
        {QStringLiteral("Encoding a.wav to b.mp3: libmp3lame, 128 kbit/s"), std::nullopt},
    };
    for (const auto &[chunk, seconds] : written)
        QCOMPARE(encodedSeconds(chunk), seconds);
}

void TestProgress::statusLinesOfTheEncoderRunner()
{
    const QString runner = test::builtAppDir() + QStringLiteral("/Tools/tonmill-run");
    if (!QFile::exists(runner))
        QSKIP("the encoder runner is not built");
    const QString ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    QVERIFY(!ffmpeg.isEmpty());
    QTemporaryDir dir;

    // Sources under 10 s and over 100 s: the seconds leave different parts
    // of "bitrate" in the time window.
    for (const int seconds : {5, 150}) {
        const QString source = dir.filePath(QStringLiteral("tone%1.wav").arg(seconds));
        QCOMPARE(QProcess::execute(QStringLiteral("sox"),
                                   {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"),
                                    QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-b"), QStringLiteral("16"),
                                    source, QStringLiteral("synth"), QString::number(seconds), QStringLiteral("sine"),
                                    QStringLiteral("440")}),
                 0);
        // The MP3 line as the conversion writes it, run by the runner the way
        // the window runs it: every chunk replaces the output pane.
        CommandLineBuilder line;
        line.quoted(runner).text(QStringLiteral(" ")).quoted(ffmpeg).text(QStringLiteral(" -y -i ")).quoted(source)
            .text(QStringLiteral(" -vn -acodec mp3 -vol 256 -ac 2 -ab 128 -f mp3 "))
            .quoted(dir.filePath(QStringLiteral("out%1.mp3").arg(seconds)));
        ProcessRegistry registry;
        cStdIO io(registry);
        ProgressDisplay display;
        QStringList panes;
        connect(&io, &cStdIO::GotData, this, [&](const QString &chunk) {
            panes << chunk;
            progressTick(chunk, QStringLiteral("5"), seconds, display);
        });
        const QString output = io.ExecuteCommand(line.build());

        // Each status line on its own, read independently of the fixed columns.
        static const QRegularExpression status(QStringLiteral("^size= *(\\d+kB) time=(\\d+\\.\\d\\d) bitrate="));
        int lines = 0;
        double last = -1;
        for (const QString &text : output.split(QLatin1Char('\n'))) {
            const QRegularExpressionMatch m = status.match(text);
            if (!m.hasMatch())
                continue;
            ++lines;
            const double time = m.captured(2).toDouble();
            const long elapsed = std::lround(time);
            const ProgressDisplay d = tick(text, seconds);
            QCOMPARE(d.txtProgress, QString::number(elapsed));
            QCOMPARE(d.PB1, int(elapsed));
            const long percent = std::lround(100.0 * elapsed / seconds);
            QCOMPARE(d.Encoding, QStringLiteral("%1.%2%   Size: %3")
                                     .arg(percent / 10, 3, 10, QLatin1Char('0'))
                                     .arg(percent % 10)
                                     .arg(m.captured(1)));
            QVERIFY(time >= last);
            last = time;
        }
        QVERIFY2(lines >= 2, qPrintable(output));
        QVERIFY2(std::abs(last - seconds) < 0.5, qPrintable(output)); // the last line is the end of the source
        if (seconds > 100)
            QVERIFY(last >= 100);

        // Whatever chunk the pane held last, the display never went past
        // the end, and a status line was shown.
        QVERIFY(!panes.isEmpty());
        QVERIFY(display.Encoding.contains(QStringLiteral("%   Size: ")));
        QVERIFY(display.PB1 <= seconds);
    }
}

QTEST_GUILESS_MAIN(TestProgress)
#include "tst_progress.moc"
