// The preview player on a real sound server (a PulseAudio null sink started
// by the test), with the real media framework and script interpreter: the
// transport, the segment marks and preview, the waveform, the equalizer's
// docking, the preview of the result, and the window without any sound device.
#include "app/MainProgram.h"
#include "controls/WaveformView.h"
#include "player/EqualizerWindow.h"
#include "player/MediaPlayer.h"
#include "player/PlayerTransport.h"
#include "player/QtMediaPlayer.h"
#include "player/SegmentMarks.h"
#include "options/MainFormState.h"
#include "options/OptionState.h"
#include "support/TestDialogs.h"
#include "support/TestHome.h"

#include <QAction>
#include <QCheckBox>
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <cstdio>
#include <memory>

using namespace tonmill;

namespace {

// The tests run either with a sound server of their own or, with
// TONMILL_TEST_NO_SOUND set, with none at all.
bool withSound()
{
    return qEnvironmentVariableIsEmpty("TONMILL_TEST_NO_SOUND");
}

// An application folder with the build's tools and the settings of an
// earlier run.
struct Home : test::AppHome {
    Home() { settled(); }
};

using test::makeTone;

// The whole program on a home, its window shown and its start-up begun.
struct Started {
    test::TestDialogs dialogs;
    MainProgram program;
    MainWindow &window = program.window();

    explicit Started(const Home &home)
        : program(home.folder, dialogs)
    {
        program.start();
    }
    // The start-up has run to its end, probes included.
    bool done()
    {
        return !program.form().busy()
               && program.log().text().contains(QStringLiteral(" -> Startup routines successfully loaded."));
    }
};

bool near(double actual, double expected, double within = 0.15)
{
    return qAbs(actual - expected) <= within;
}

} // namespace

class TestPlayer : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init()
    {
        if (!withSound() && QString::fromLatin1(QTest::currentTestFunction()) != QLatin1String("windowWithoutSound"))
            QSKIP("no sound server in this run");
        if (withSound() && QString::fromLatin1(QTest::currentTestFunction()) == QLatin1String("windowWithoutSound"))
            QSKIP("a sound server runs in this run");
    }
    void readOutFormats();
    void transportPlaysPausesStepsAndReloads();
    void segmentMarksAndPreview();
    void waveformShowsTheSoundAndSetsMarks();
    void equalizerDocksWhileTimer3Runs();
    void previewOfTheResultPlaysAndEstimates();
    void windowWithoutSound();
};

void TestPlayer::readOutFormats()
{
    const struct {
        double seconds;
        const char *time;
        const char *counter;
    } rows[] = {
        {3725.5, "01:02:06", "3725.500"}, {0, "00:00:00", "000.000"}, {7.25, "00:00:07", "007.250"},
        {-2.0, "23:59:58", "-002.000"},   {86401, "00:00:01", "86401.000"},
    };
    for (const auto &row : rows) {
        QCOMPARE(counterTime(row.seconds), QLatin1String(row.time));
        QCOMPARE(counterSeconds(row.seconds), QLatin1String(row.counter));
    }
    QVERIFY(near(volumeGain(-600), 0.501, 0.001));
    QCOMPARE(volumeGain(0), 1.0);
}

void TestPlayer::transportPlaysPausesStepsAndReloads()
{
    Home home;
    const QString tone = home.path(QStringLiteral("tone.wav"));
    const QString shorter = home.path(QStringLiteral("short.wav"));
    QVERIFY(makeTone(tone, 20));
    QVERIFY(makeTone(shorter, 7));
    QtMediaPlayer player(home.folder);
    QVERIFY2(player.unavailableReason().isEmpty(), qPrintable(player.unavailableReason()));
    QString source = tone;
    PlayerTransport transport(player, source);

    transport.btnPlay_Click();
    QCOMPARE(transport.state.Slider1Max, 20);
    QVERIFY(transport.state.Timer1Enabled);
    QCOMPARE(transport.state.txtPlayWhat, QStringLiteral("0"));
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0.5, 10000);
    QCOMPARE(player.playState(), MediaPlayer::kPlaying);

    // Pause holds the position; Play resumes from it without loading again.
    transport.btnPause_Click();
    QTRY_VERIFY(player.playState() != MediaPlayer::kPlaying);
    const double held = player.currentPosition();
    QTest::qWait(400);
    QVERIFY(near(player.currentPosition(), held, 0.05));
    transport.btnPlay_Click();
    QTRY_VERIFY(player.currentPosition() > held + 0.2);
    QVERIFY(player.currentPosition() < held + 5);

    // Each step pauses a playing player and moves it by its step.
    transport.step(0);
    player.setCurrentPosition(10);
    QTRY_VERIFY(near(player.currentPosition(), 10, 0.01));
    for (const double step : {-0.1, -1.0, -5.0, 0.1, 1.0, 5.0}) {
        const double before = player.currentPosition();
        transport.step(step);
        QTRY_VERIFY2(near(player.currentPosition(), before + step, 0.02), qPrintable(QString::number(step)));
        QVERIFY(player.playState() != MediaPlayer::kPlaying);
        QCOMPARE(transport.state.txtCounter2, counterSeconds(player.currentPosition()));
    }
    QCOMPARE(transport.state.txtCounter1, QStringLiteral("00:00:10"));

    transport.BtnMute_Click();
    QCOMPARE(transport.state.BtnMute, QStringLiteral("On"));
    transport.BtnMute_Click();
    QCOMPARE(transport.state.BtnMute, QStringLiteral("Off"));

    // A new source is loaded by the next Play, from its start.
    source = shorter;
    player.stop();
    transport.newSource();
    QCOMPARE(transport.state.txtPlayWhat, QStringLiteral("1"));
    QCOMPARE(transport.state.txtCounter2, QStringLiteral("000.000"));
    transport.btnPlay_Click();
    QCOMPARE(transport.state.Slider1Max, 7);
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0.2, 10000);
    QVERIFY(player.currentPosition() < 3);
    QVERIFY(transport.state.loadFailure.isEmpty());

    // A file the player cannot read says so.
    source = home.path(QStringLiteral("notes.mp3"));
    QFile notes(source);
    QVERIFY(notes.open(QIODevice::WriteOnly) && notes.write("milk, eggs, tape\n") > 0);
    notes.close();
    transport.newSource();
    transport.btnPlay_Click();
    QVERIFY(!transport.state.loadFailure.isEmpty());
    player.stop();
}

void TestPlayer::segmentMarksAndPreview()
{
    Home home;
    const QString tone = home.path(QStringLiteral("tone.wav"));
    QVERIFY(makeTone(tone, 20));
    auto owned = std::make_unique<QtMediaPlayer>(home.folder);
    QtMediaPlayer &player = *owned;
    MainFormState form;
    OptionState options;
    form.txtPath = tone;
    PlayerTransport transport(player, form.txtPath);
    test::TestDialogs dialogs;
    SegmentMarks marks(form, options, transport, dialogs, home.folder);

    // The end is checked as text, in two steps whose order is kept.
    const struct {
        const char *start;
        const char *end;
        int messages;
        bool enabled;
        bool checked; // switching off unchecks chkSegment; switching on leaves it
    } rows[] = {
        {"010.000", "005.000", 1, true, false}, // reported, yet enabled by the second step
        {"007.500", "007.500", 1, false, false},
        {"100.000", "20", 0, true, true},       // "20" sorts after "100.000"
        {"002.000", "005.000", 0, true, true},
    };
    for (const auto &row : rows) {
        form.txtCutS = QLatin1String(row.start);
        form.txtCutE = QLatin1String(row.end);
        form.chkSegment = true;
        const qsizetype before = dialogs.messages().size();
        for (int i = 0; i < row.messages; ++i)
            dialogs.answer(DialogAnswer::Ok);
        marks.endTimeCheck();
        QCOMPARE(dialogs.messages().size() - before, row.messages);
        QCOMPARE(form.chkSegmentEnabled, row.enabled);
        QCOMPARE(form.btnSegPreviewEnabled, row.enabled);
        QCOMPARE(form.chkSegment, row.checked);
    }
    QCOMPARE(dialogs.messages().constFirst().text,
             QStringLiteral("Please, check the end time of your cut!\r\n\r\nIt can't be less or equal than Start time."));

    // The marks take the player's position.
    transport.btnPlay_Click();
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0, 10000);
    transport.step(0);
    for (const auto &[seconds, set] : {std::pair{4.25, &SegmentMarks::btnSetS_Click}, {9.5, &SegmentMarks::btnSetE_Click}}) {
        player.setCurrentPosition(seconds);
        QTRY_VERIFY(near(player.currentPosition(), seconds, 0.01));
        (marks.*set)();
    }
    QCOMPARE(form.txtCutS, QStringLiteral("004.250"));
    QCOMPARE(form.txtCutE, QStringLiteral("009.500"));

    // The preview plays just the segment, rendered from segment.avs: frames
    // 106 to 238 of 25 a second (9.5 s is frame 237.5, rounded up), its end
    // frame included. The rendered sound goes when the next replaces it and
    // when the player goes.
    marks.btnSegPreview_Click();
    QVERIFY2(player.loadFailure().isEmpty(), qPrintable(player.loadFailure()));
    const QString first = player.renderedFile();
    QVERIFY(QFileInfo::exists(first));
    QVERIFY2(near(player.duration(), 133 / 25.0, 0.01), qPrintable(QString::number(player.duration())));
    QCOMPARE(transport.state.Slider1Max, 5);
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0.2, 10000);
    form.txtCutE = QStringLiteral("006.000");
    marks.btnSegPreview_Click();
    QVERIFY(near(player.duration(), 45 / 25.0, 0.01)); // frames 106 to 150
    QVERIFY(!QFileInfo::exists(first));
    const QString second = player.renderedFile();
    QVERIFY(QFileInfo::exists(second));
    owned.reset();
    QVERIFY(!QFileInfo::exists(second));
}

void TestPlayer::waveformShowsTheSoundAndSetsMarks()
{
    Home home;
    // Three seconds of tone, two of silence, three of tone.
    const QString tone = home.path(QStringLiteral("tone.wav"));
    const QString quiet = home.path(QStringLiteral("quiet.wav"));
    const QString gap = home.path(QStringLiteral("gap.wav"));
    QVERIFY(makeTone(tone, 3));
    QCOMPARE(QProcess::execute(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-b"), QStringLiteral("16"),
                                                       QStringLiteral("-r"), QStringLiteral("44100"), QStringLiteral("-c"),
                                                       QStringLiteral("2"), quiet, QStringLiteral("trim"),
                                                       QStringLiteral("0"), QStringLiteral("2")}),
             0);
    QCOMPARE(QProcess::execute(QStringLiteral("sox"), {tone, quiet, tone, gap}), 0);
    const QString longTone = home.path(QStringLiteral("long.wav"));
    QVERIFY(makeTone(longTone, 600));
    Started started(home);
    QTRY_VERIFY_WITH_TIMEOUT(started.done(), 30000);
    MainForm &form = started.program.form();
    MainWindow &window = started.window;
    auto *view = window.findChild<WaveformView *>(QStringLiteral("picWaveform"));
    QVERIFY(view && view->isVisible() && view->width() > 200);

    // The window goes on while the waveform is computed elsewhere; the long
    // source's computation gives way to the next source's.
    form.openDropped(longTone);
    QVERIFY(form.waveform().computing());
    form.openDropped(gap);
    QVERIFY(form.waveform().computing() && form.waveform().waveform().peaks.isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(!form.waveform().computing(), 20000);
    const Waveform &waveform = form.waveform().waveform();
    QVERIFY2(near(waveform.seconds(), 8, 0.05), qPrintable(QString::number(waveform.seconds())));
    qsizetype silentFrom = -1;
    qsizetype silentTo = -1;
    for (qsizetype i = 0; i < waveform.peaks.size(); ++i) {
        if (waveform.peaks[i] < 0.01) {
            silentFrom = silentFrom < 0 ? i : silentFrom;
            silentTo = i + 1;
        }
    }
    const double from = double(silentFrom) / waveform.binsPerSecond;
    const double to = double(silentTo) / waveform.binsPerSecond;
    QVERIFY2(near(from, 3, 0.05) && near(to, 5, 0.05), qPrintable(QStringLiteral("%1 .. %2").arg(from).arg(to)));
    QCOMPARE(view->seconds(), waveform.seconds());

    // A left click marks the start, a right click the end; a drag, either
    // way, the whole segment. Every end is checked.
    const qsizetype messages = started.dialogs.messages().size();
    auto *start = window.findChild<QLineEdit *>(QStringLiteral("txtCutS"));
    auto *end = window.findChild<QLineEdit *>(QStringLiteral("txtCutE"));
    const auto timeAt = [&](double seconds) { return counterSeconds(view->secondsAt(view->xOf(seconds))); };
    const int y = view->height() / 2;
    QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(view->xOf(2), y));
    QCOMPARE(start->text(), timeAt(2));
    QVERIFY(near(start->text().toDouble(), 2, 0.05));
    QTest::mouseClick(view, Qt::RightButton, {}, QPoint(view->xOf(6), y));
    QCOMPARE(end->text(), timeAt(6));
    QVERIFY(window.findChild<QCheckBox *>(QStringLiteral("chkSegment"))->isEnabled());
    QTest::mousePress(view, Qt::LeftButton, {}, QPoint(view->xOf(7), y));
    QTest::mouseMove(view, QPoint(view->xOf(4), y));
    QTest::mouseRelease(view, Qt::LeftButton, {}, QPoint(view->xOf(1), y));
    QCOMPARE(start->text(), timeAt(1));
    QCOMPARE(end->text(), timeAt(7));
    QCOMPARE(started.dialogs.messages().size(), messages);
    // The marks are drawn where they are.
    const QImage drawn = view->grab().toImage();
    QCOMPARE(drawn.pixelColor(view->xOf(1), 2), QColor(0x20, 0xa0, 0x40));
    QCOMPARE(drawn.pixelColor(view->xOf(7), 2), QColor(0xd0, 0x40, 0x40));
    // An end on the start is refused as the Set buttons' is.
    started.dialogs.answer(DialogAnswer::Ok);
    QTest::mouseClick(view, Qt::RightButton, {}, QPoint(view->xOf(1), y));
    QCOMPARE(end->text(), start->text());
    QCOMPARE(started.dialogs.messages().size(), messages + 1);
    QVERIFY(started.dialogs.messages().constLast().text.startsWith(QStringLiteral("Please, check the end time")));
    QVERIFY(!window.findChild<QCheckBox *>(QStringLiteral("chkSegment"))->isEnabled());
}

void TestPlayer::equalizerDocksWhileTimer3Runs()
{
    Home home;
    const QString tone = home.path(QStringLiteral("tone.wav"));
    QVERIFY(makeTone(tone, 3));
    Started started(home);
    QTRY_VERIFY_WITH_TIMEOUT(started.done(), 30000);
    MainProgram &program = started.program;
    MainWindow &window = started.window;

    window.findChild<QAction *>(QStringLiteral("mnuEqualizer"))->trigger();
    auto *equalizer = window.findChild<EqualizerWindow *>(QStringLiteral("Equalizer"));
    QVERIFY(equalizer && equalizer->isVisible());
    const auto docked = [&] {
        const QRect main = window.frameGeometry();
        const QRect eq = equalizer->frameGeometry();
        return eq.left() == main.left() + main.width() && eq.top() == main.top() && eq.height() == main.height();
    };
    window.move(40, 30);
    QTRY_VERIFY(docked());
    window.move(120, 60);
    QTRY_VERIFY(docked());

    // The window's Play button plays the source it has opened.
    program.form().openDropped(tone);
    window.findChild<QPushButton *>(QStringLiteral("btnPlay"))->click();
    auto *counter = window.findChild<QLineEdit *>(QStringLiteral("txtCounter2"));
    QTRY_VERIFY_WITH_TIMEOUT(counter->text() > QStringLiteral("000.100"), 10000);
    // Space on the player's Play button pauses what plays.
    auto *play = window.findChild<QPushButton *>(QStringLiteral("btnPlay"));
    QApplication::setActiveWindow(&window);
    play->setFocus();
    QTest::keyClick(play, Qt::Key_Space);
    QTRY_VERIFY(program.form().transport().player().playState() != MediaPlayer::kPlaying);

    // A conversion stops the timer for good: the window is left where it was.
    window.findChild<QPushButton *>(QStringLiteral("btnConvert"))->click();
    QVERIFY(QFileInfo::exists(home.path(QStringLiteral("tone_Konverted.mp3"))));
    const QPoint left = equalizer->pos();
    window.move(300, 200);
    QTest::qWait(200);
    QCOMPARE(equalizer->pos(), left);
    QVERIFY(window.close());
    QVERIFY(!equalizer->isVisible());
}

void TestPlayer::previewOfTheResultPlaysAndEstimates()
{
    Home home;
    const QString tone = home.path(QStringLiteral("tone.wav"));
    QVERIFY(makeTone(tone, 40));
    auto started = std::make_unique<Started>(home);
    QTRY_VERIFY_WITH_TIMEOUT(started->done(), 30000);
    MainForm &form = started->program.form();
    MainWindow &window = started->window;
    auto *button = window.findChild<QPushButton *>(QStringLiteral("cmdPreviewResult"));
    auto *estimate = window.findChild<QLabel *>(QStringLiteral("lblEstimate"));
    QVERIFY(button && estimate && !button->isEnabled());
    form.openDropped(tone);
    QVERIFY(button->isEnabled());
    MediaPlayer &player = form.transport().player();
    window.findChild<QPushButton *>(QStringLiteral("btnPlay"))->click();
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0, 10000);
    window.findChild<QPushButton *>(QStringLiteral("btnPause"))->click();
    player.setCurrentPosition(12);
    QTRY_VERIFY(near(player.currentPosition(), 12, 0.01));

    // The window goes on while ten seconds from there are encoded, then
    // plays them and shows the estimate beside Convert.
    button->click();
    QVERIFY(!button->isEnabled() && form.preview().running());
    QTRY_VERIFY_WITH_TIMEOUT(button->isEnabled(), 60000);
    const PreviewOutcome first = form.preview().outcome();
    QVERIFY2(first.failure.isEmpty(), qPrintable(first.failure));
    QVERIFY(QFileInfo::exists(first.file));
    QVERIFY(near(first.window.start, 12, 0.05));
    QCOMPARE(form.transport().loadedFile(), first.file);
    QVERIFY(near(player.duration(), 10, 0.1));
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0.2, 10000);
    QVERIFY(estimate->isVisible());
    QVERIFY2(estimate->text().startsWith(QStringLiteral("≈ ")) && estimate->text().endsWith(QStringLiteral(", 128 kbit/s")),
             qPrintable(estimate->text()));

    // The whole output, converted as Convert converts it, is as large as estimated.
    window.findChild<QPushButton *>(QStringLiteral("btnConvert"))->click();
    const qint64 real = QFileInfo(home.path(QStringLiteral("tone_Konverted.mp3"))).size();
    qInfo("estimate %lld bytes, output %lld bytes", first.estimate.bytes, real);
    QVERIFY2(qAbs(double(first.estimate.bytes) / double(real) - 1) < 0.05,
             qPrintable(QStringLiteral("%1 of %2").arg(first.estimate.bytes).arg(real)));
    // Once a choice changes, the estimate no longer says anything true.
    QVERIFY(!estimate->text().isEmpty());
    window.findChild<QCheckBox *>(QStringLiteral("chkNormalize"))->click();
    QVERIFY(estimate->text().isEmpty());

    // A preview made while the last one plays starts where the source is:
    // the first file goes at once, the second with the program.
    window.findChild<QPushButton *>(QStringLiteral("btnPause"))->click();
    const double at = form.sourcePosition();
    QVERIFY(at > 12);
    button->click();
    QVERIFY(!QFileInfo::exists(first.file));
    QTRY_VERIFY_WITH_TIMEOUT(button->isEnabled(), 60000);
    const PreviewOutcome second = form.preview().outcome();
    QVERIFY(QFileInfo::exists(second.file) && second.file != first.file);
    QVERIFY(near(second.window.start, at, 0.05));
    const QString folder = QFileInfo(second.file).path();
    started.reset();
    QVERIFY(!QFileInfo::exists(folder));
}

void TestPlayer::windowWithoutSound()
{
    Home home;
    const QString tone = home.path(QStringLiteral("tone.wav"));
    QVERIFY(makeTone(tone, 3));
    Started started(home);
    QTRY_VERIFY_WITH_TIMEOUT(started.done(), 30000);
    MainProgram &program = started.program;
    MainWindow &window = started.window;
    QVERIFY(program.log().text().contains(
        QStringLiteral(" -> Preview player unavailable: no sound output device was found\r\n")));
    QVERIFY(!window.findChild<QWidget *>(QStringLiteral("fraPlayer"))->isEnabled());
    program.form().openDropped(tone);
    QVERIFY(!window.findChild<QPushButton *>(QStringLiteral("btnSetS"))->isEnabled());
    window.findChild<QPushButton *>(QStringLiteral("btnConvert"))->click();
    QVERIFY(QFileInfo(home.path(QStringLiteral("tone_Konverted.mp3"))).size() > 0);
}

// The sound server is started before the application object, since the
// media framework looks for sound devices once.
int main(int argc, char *argv[])
{
    qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    QTemporaryDir runtime;
    qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
    // No sound server but the test's own: none is started on demand.
    const QString clientConfig = runtime.filePath(QStringLiteral("client.conf"));
    QFile config(clientConfig);
    if (!config.open(QIODevice::WriteOnly) || config.write("autospawn = no\n") < 0)
        return 1;
    config.close();
    qputenv("PULSE_CLIENTCONFIG", clientConfig.toLocal8Bit());
    QProcess server;
    if (withSound()) {
        server.start(QStringLiteral("pulseaudio"),
                     {QStringLiteral("-n"), QStringLiteral("--daemonize=no"), QStringLiteral("--exit-idle-time=-1"),
                      QStringLiteral("--disallow-exit"), QStringLiteral("--load=module-null-sink"),
                      QStringLiteral("--load=module-native-protocol-unix")});
        const QString socket = runtime.filePath(QStringLiteral("pulse/native"));
        for (int i = 0; i < 100 && !QFileInfo::exists(socket); ++i)
            QThread::msleep(50);
        if (!QFileInfo::exists(socket)) {
            std::fprintf(stderr, "the PulseAudio null sink did not start\n");
            return 1;
        }
    }
    int status = 0;
    {
        QApplication app(argc, argv);
        QApplication::setQuitOnLastWindowClosed(false);
        TestPlayer test;
        status = QTest::qExec(&test, argc, argv);
    }
    server.terminate();
    server.waitForFinished(5000);
    return status;
}

#include "tst_player.moc"
