// The main window clicked as a person would, offscreen, with the real media
// tool and encoders: start-up, opening a source, the option panel's advice,
// converting, aborting and closing during a run, the log and tag editor
// switches, the equalizer in the output, and the captions of every language.
#include "app/AboutDialog.h"
#include "app/MainProgram.h"
#include "app/FileInfoDialog.h"
#include "app/MainWindowTitle.h"
#include "controls/XP_ProgressBar.h"
#include "player/Equalizer.h"
#include "platform/AppVersion.h"
#include "settings/BuiltInLanguages.h"
#include "settings/LanguageCaptions.h"
#include "settings/LanguageLines.h"
#include "settings/Mnemonics.h"
#include "settings/SetupDialog.h"
#include "player/EqualizerWindow.h"
#include "settings/OwnCaptions.h"
#include "settings/Translations.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"
#include "support/TestHome.h"
#include "support/TestPaths.h"
#include "support/TestProcesses.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QDir>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QDropEvent>
#include <QPlainTextEdit>
#include <QProcess>
#include <QRegularExpression>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>
#include <QTimer>

#include <cmath>
#include <functional>
#include <QTreeWidget>

using namespace tonmill;

namespace {

bool run(const QString &program, const QStringList &arguments)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start(program, arguments);
    return p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

using test::makeTone;
using Home = test::AppHome;

template <typename T>
T *control(QWidget &window, const char *name)
{
    auto *found = window.findChild<T *>(QLatin1String(name));
    if (!found)
        QTest::qFail(qPrintable(QStringLiteral("no control %1").arg(QLatin1String(name))), __FILE__, __LINE__);
    return found;
}

// Acts on the modal window of the given name once it shows: the test's hand
// on a dialog that the window runs in its own event loop.
void onModal(QTimer &watch, const char *name, std::function<void(QWidget &)> act)
{
    QObject::connect(&watch, &QTimer::timeout, &watch, [&watch, name, act = std::move(act)] {
        QWidget *modal = QApplication::activeModalWidget();
        if (!modal || modal->objectName() != QLatin1String(name))
            return;
        watch.stop();
        act(*modal);
    });
    watch.start(20);
}

// The log's lines without their times.
QStringList logMessages(const ActivityLog &log)
{
    QStringList messages;
    for (const QString &line : log.text().split(QStringLiteral("\r\n"), Qt::SkipEmptyParts))
        messages << (line.size() > 8 && line[2] == QLatin1Char(':') ? line.mid(8) : line);
    return messages;
}

// Chooses an item of a list as a person does: the list reports the choice.
void choose(QComboBox *box, const QString &item)
{
    const int index = box->findText(item);
    QVERIFY2(index >= 0, qPrintable(item));
    box->setCurrentIndex(index);
    Q_EMIT box->activated(index);
}

// The Alt+letters of what the window shows: none twice, and one for every
// menu and push button with a letter in its caption; each menu's items
// likewise among themselves.
void checkMnemonics(QWidget &window, const QString &where)
{
    const auto letterIn = [](const QString &text) {
        return withoutMnemonic(text).contains(QRegularExpression(QStringLiteral("[A-Za-z]")));
    };
    const auto check = [&](const QList<std::pair<QString, bool>> &captions) {
        QHash<QString, QString> owner;
        for (const auto &[text, required] : captions) {
            const QString key = QKeySequence::mnemonic(text).toString();
            QVERIFY2(!key.isEmpty() || !required || !letterIn(text), qPrintable(where + QStringLiteral(": no key for ") + text));
            QVERIFY2(key.isEmpty() || !owner.contains(key),
                     qPrintable(where + QStringLiteral(": %1 for %2 and %3").arg(key, text, owner.value(key))));
            if (!key.isEmpty())
                owner.insert(key, text);
        }
    };
    QList<std::pair<QString, bool>> shown;
    for (QMenuBar *bar : window.findChildren<QMenuBar *>()) {
        for (QAction *title : bar->actions()) {
            shown.append({title->text(), true});
            QList<std::pair<QString, bool>> items;
            for (QAction *item : title->menu()->actions()) {
                if (!item->isSeparator())
                    items.append({item->text(), true});
            }
            check(items);
        }
    }
    for (QWidget *w : window.findChildren<QWidget *>()) {
        if (w->window() != &window || !w->isVisibleTo(&window))
            continue;
        if (auto *button = qobject_cast<QPushButton *>(w))
            shown.append({button->text(), button->property("takesMnemonic").toBool() || !button->property("takesMnemonic").isValid()});
        else if (auto *other = qobject_cast<QAbstractButton *>(w))
            shown.append({other->text(), false});
        else if (auto *label = qobject_cast<QLabel *>(w); label && label->buddy())
            shown.append({label->text(), false});
    }
    check(shown);
}

// The Tab key, pressed until the focus comes round again, reaches every
// control that takes it (of a group of option buttons the chosen one), in
// the order of reading: a panel is read through once, and within it each
// control stands right of the one before on its line or below it.
void checkTabOrder(QWidget &window, const QString &where)
{
    window.activateWindow();
    QApplication::setActiveWindow(&window);
    QList<QWidget *> takers;
    for (QWidget *w : window.findChildren<QWidget *>()) {
        auto *radio = qobject_cast<QRadioButton *>(w);
        if (w->window() == &window && w->isVisibleTo(&window) && w->isEnabled() && (w->focusPolicy() & Qt::TabFocus)
            && (!radio || radio->isChecked()) && !w->focusProxy() && !w->objectName().startsWith(QLatin1String("qt_")))
            takers << w;
    }
    QVERIFY2(!takers.isEmpty(), qPrintable(where));
    QWidget *first = takers.constFirst();
    first->setFocus(Qt::TabFocusReason);
    QList<QWidget *> visited{first};
    for (int i = 0; i < 4 * takers.size(); ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QWidget *now = QApplication::focusWidget();
        if (now == first)
            break;
        visited << now;
    }
    for (QWidget *w : takers)
        QVERIFY2(visited.contains(w), qPrintable(where + QStringLiteral(": Tab never reaches ") + w->objectName()));
    // Read from the top: the chain is a circle, and the first control is wherever the focus started.
    const auto top = std::min_element(visited.begin(), visited.end(), [&window](QWidget *a, QWidget *b) {
        return a->mapTo(&window, QPoint(0, 0)).y() < b->mapTo(&window, QPoint(0, 0)).y();
    });
    std::rotate(visited.begin(), top, visited.end());
    const auto panelsOf = [&window](QWidget *w) {
        QList<QWidget *> panels;
        for (QWidget *p = w->parentWidget(); p && p != &window; p = p->parentWidget()) {
            if (qobject_cast<QGroupBox *>(p))
                panels << p;
        }
        return panels;
    };
    QSet<QWidget *> left;
    for (qsizetype i = 1; i < visited.size(); ++i) {
        QWidget *a = visited[i - 1];
        QWidget *b = visited[i];
        const QString step = where + QStringLiteral(": ") + a->objectName() + QStringLiteral(" -> ") + b->objectName();
        const QList<QWidget *> fromPanels = panelsOf(a);
        const QList<QWidget *> toPanels = panelsOf(b);
        for (QWidget *panel : fromPanels) {
            if (!toPanels.contains(panel))
                left << panel;
        }
        for (QWidget *panel : toPanels)
            QVERIFY2(!left.contains(panel), qPrintable(step + QStringLiteral(" goes back into ") + panel->objectName()));
        if (fromPanels.value(0) != toPanels.value(0))
            continue;
        const QRect ra(a->mapTo(&window, QPoint(0, 0)), a->size());
        const QRect rb(b->mapTo(&window, QPoint(0, 0)), b->size());
        const bool sameLine = rb.top() <= ra.bottom() && rb.bottom() >= ra.top();
        QVERIFY2(sameLine ? rb.left() > ra.left() : rb.top() > ra.top(), qPrintable(step));
    }
}

// The mean level in dB of a file's sound within a tenth of an octave around
// the frequency, as ffmpeg's band-pass filter and volume meter measure it.
double bandLevel(const QString &file, double hertz)
{
    QProcess p;
    const QString band = QStringLiteral("bandpass=f=%1:width_type=o:w=0.1").arg(hertz);
    p.start(QStringLiteral("ffmpeg"), {QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"), QStringLiteral("-i"),
                                       file, QStringLiteral("-af"),
                                       band + QLatin1Char(',') + band + QStringLiteral(",volumedetect"),
                                       QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-")});
    if (!p.waitForFinished(60000))
        return qQNaN();
    const QRegularExpressionMatch m
        = QRegularExpression(QStringLiteral("mean_volume: (-?[0-9.]+) dB")).match(QString::fromUtf8(p.readAllStandardError()));
    return m.hasMatch() ? m.captured(1).toDouble() : qQNaN();
}

bool startedUp(const ActivityLog &log, int probeLines)
{
    const QStringList messages = logMessages(log);
    const qsizetype loaded = messages.indexOf(QStringLiteral(" -> Startup routines successfully loaded."));
    return loaded >= 0 && messages.size() >= loaded + 1 + probeLines;
}

} // namespace

class TestMainWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }
    void firstStartThenNormalStart();
    void openAdviseConvertAbortClose();
    void batchModeFromTheWindow();
    void batchNamingPreviewAndTrash();
    void tagEditorItemHidesTheFrame();
    void launcherFilesOpen();
    void equalizerShapesTheOutput();
    void everyLanguageCaptionsKeysAndTabOrder();
    void aboutShowsVersionNoticeAndLinks();
};

void TestMainWindow::firstStartThenNormalStart()
{
    Home home;
    {
        test::TestDialogs dialogs;
        dialogs.answer(DialogAnswer::No).answer(DialogAnswer::Ok).answer(DialogAnswer::Ok);
        MainProgram program(home.folder, dialogs);
        // The first start ends in the Setup dialog, shown modally over the window.
        QString setupTitle;
        QTimer setupWatch;
        onModal(setupWatch, "Setup", [&](QWidget &modal) {
            setupTitle = modal.windowTitle();
            auto *path = control<QLineEdit>(modal, "ffmpegPath");
            path->clear();
            QTest::keyClicks(path, QStringLiteral("/usr/bin/ffmpeg"));
            QTest::mouseClick(control<QPushButton>(modal, "btnOk"), Qt::LeftButton);
        });
        program.start();
        QTRY_VERIFY_WITH_TIMEOUT(startedUp(program.log(), 2), 30000);

        const QList<MessageRequest> &asked = dialogs.messages();
        QCOMPARE(asked.size(), 3);
        QVERIFY(asked[0].text.startsWith(QStringLiteral("Would you like that Tonmill automatically checks")));
        QCOMPARE(asked[0].buttons, DialogButtons::YesNo);
        QCOMPARE(asked[1].text, QStringLiteral("Your Interface, Language files and Configuration, have been updated!"));
        QVERIFY(asked[2].text.startsWith(QStringLiteral("This is the first time you run Tonmill™ or\r\n")));
        QCOMPARE(setupTitle, QStringLiteral("Setup"));
        const QStringList expected = {
            QDate::currentDate().toString(Qt::ISODate),
            QStringLiteral(" -> Version verification: OK"),
            QStringLiteral(" -> Interface and Language files verification: OK"),
            QStringLiteral(" -> Configuration: OK"),
            QStringLiteral(" -> External Paths: OK"),
            QStringLiteral(" -> Startup routines successfully loaded."),
            // The two probe runs: ffmpeg alone, and the WMA script host.
            QStringLiteral(" -> Process Completed!"),
        };
        // A machine without a sound device says so, between the two.
        QStringList messages = logMessages(program.log());
        messages.removeIf([](const QString &m) { return m.startsWith(QLatin1String(" -> Preview player unavailable: ")); });
        QCOMPARE(messages.mid(0, 7), expected);
        MainWindow &window = program.window();
        QCOMPARE(window.windowTitle(), mainWindowTitle(true));
        // 7530 twips with the log hidden, 9190 with it, and the rows added to the design.
        const int added = window.addedRowsHeight();
        QVERIFY(added > 30);
        QCOMPARE(window.height(), 502 + added);
        QCOMPARE(home.setting("General", "FFMPEG"), QStringLiteral("/usr/bin/ffmpeg"));
        QCOMPARE(home.setting("General", "ChkUpdates"), QStringLiteral("0"));
        QCOMPARE(home.setting("Options", "Mode"), QStringLiteral("MP3"));
        QCOMPARE(control<QComboBox>(window, "cmbFormat")->currentText(), QStringLiteral("MP3"));
        QVERIFY(control<QWidget>(window, "frmMP3")->isVisible());
        QVERIFY(!control<QWidget>(window, "frmAAC")->isVisible());

        // The log switch: two clicks give back the height, to the pixel.
        QAction *logItem = control<QAction>(window, "mnuLog");
        logItem->trigger();
        QVERIFY(logItem->isChecked());
        QCOMPARE(window.height(), 613 + added);
        QTRY_VERIFY(!control<QTextEdit>(window, "rtbLog")->visibleRegion().isEmpty());
        logItem->trigger();
        QCOMPARE(window.height(), 502 + added);
        QTRY_VERIFY(control<QTextEdit>(window, "rtbLog")->visibleRegion().isEmpty());
        logItem->trigger();

        QVERIFY(window.close());
        QCOMPARE(logMessages(program.log()).constLast(), QStringLiteral(" -> Tonmill turned off by user."));
        QVERIFY(dialogs.allAnswersUsed());
    }
    QCOMPARE(home.setting("General", "LogOnOff"), QStringLiteral("True"));

    // The next start asks only the update question again (it was declined),
    // and opens with the log shown as it was left.
    test::TestDialogs dialogs;
    dialogs.answer(DialogAnswer::No);
    MainProgram program(home.folder, dialogs);
    program.start();
    QTRY_VERIFY_WITH_TIMEOUT(startedUp(program.log(), 2), 30000);
    QCOMPARE(dialogs.messages().size(), 1);
    QCOMPARE(program.window().height(), 613 + program.window().addedRowsHeight());
    QVERIFY(control<QAction>(program.window(), "mnuLog")->isChecked());
    // Exit saves and ends without a word in the log.
    const QString last = logMessages(program.log()).constLast();
    QTest::mouseClick(control<QPushButton>(program.window(), "btnExit"), Qt::LeftButton);
    QVERIFY(!program.window().isVisible());
    QCOMPARE(logMessages(program.log()).constLast(), last);
}

void TestMainWindow::openAdviseConvertAbortClose()
{
    Home home;
    home.settled();
    const QString tagged = home.path(QStringLiteral("tagged.mp3"));
    QVERIFY(run(QStringLiteral("ffmpeg"),
                {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                 QStringLiteral("-i"), QStringLiteral("sine=frequency=440:duration=300"), QStringLiteral("-ac"),
                 QStringLiteral("2"), QStringLiteral("-metadata"), QStringLiteral("title=Morning Song"),
                 QStringLiteral("-metadata"), QStringLiteral("artist=The Testers"), QStringLiteral("-metadata"),
                 QStringLiteral("album=Offscreen"), tagged}));
    const QString six = home.path(QStringLiteral("six.wav"));
    QVERIFY(makeTone(six, 1, 6));
    const QString longTone = home.path(QStringLiteral("long.wav"));
    QVERIFY(makeTone(longTone, 900, 2));

    test::TestDialogs dialogs;
    MainProgram program(home.folder, dialogs);
    MainWindow &window = program.window();
    program.start();
    QTRY_VERIFY_WITH_TIMEOUT(startedUp(program.log(), 2), 30000);

    // Open through the browse button: the report fills the tag editor.
    dialogs.answerFile(tagged);
    QTest::mouseClick(control<QPushButton>(window, "cmdBrowse"), Qt::LeftButton);
    QCOMPARE(control<QLineEdit>(window, "txtPath")->text(), tagged);
    QCOMPARE(control<QLineEdit>(window, "txtTitle")->text(), QStringLiteral("Morning Song"));
    QCOMPARE(control<QLineEdit>(window, "txtArtist")->text(), QStringLiteral("The Testers"));
    QCOMPARE(control<QLineEdit>(window, "txtAlbum")->text(), QStringLiteral("Offscreen"));
    QVERIFY(control<QPlainTextEdit>(window, "rtfOutput")->toPlainText().contains(QStringLiteral("[Audio]")));
    // File Info shows the report in its own window.
    QString info;
    QTimer infoWatch;
    onModal(infoWatch, "Dialog", [&](QWidget &modal) {
        info = modal.windowTitle() + QLatin1Char('\n') + control<QPlainTextEdit>(modal, "txtInfo")->toPlainText();
        QTest::mouseClick(control<QPushButton>(modal, "btnExit"), Qt::LeftButton);
    });
    QTest::mouseClick(control<QPushButton>(window, "btnInfo"), Qt::LeftButton);
    QVERIFY(info.startsWith(QStringLiteral("File Information\n+++++++++++\n + General +\n")));
    QVERIFY(info.contains(QStringLiteral("Title = Morning Song")));

    // AC3 with six channels for a stereo source advises the up-mix and sets
    // it; with the box set, the advice is not given again.
    QComboBox *format = control<QComboBox>(window, "cmbFormat");
    // The tag editor says when the chosen format keeps no tags.
    for (const auto &[name, keeps] : {std::pair{"WAV", false}, std::pair{"WMA", true}, std::pair{"FLAC", true},
                                      std::pair{"MP2/MPA", false}, std::pair{"MP3", true}}) {
        choose(format, QLatin1String(name));
        QCOMPARE(control<QLabel>(window, "lblNoTags")->isVisible(), !keeps);
    }
    choose(format, QStringLiteral("AC3"));
    QVERIFY(control<QWidget>(window, "frmAC3")->isVisible());
    QVERIFY(control<QLabel>(window, "lblNoTags")->isVisible());
    dialogs.answer(DialogAnswer::Ok);
    QTest::mouseClick(control<QRadioButton>(window, "optChannelsAC3_2"), Qt::LeftButton);
    QVERIFY(dialogs.messages().constLast().text.startsWith(QStringLiteral("You have selected AC3 6CH as output format!")));
    auto *upmix = control<QCheckBox>(window, "chk51UpMix");
    QVERIFY(upmix->isChecked());
    QVERIFY(upmix->isEnabled());
    choose(format, QStringLiteral("AC3"));
    QCOMPARE(dialogs.messages().size(), 1);
    // A six-channel source, opened with the up-mix on, has it taken off.
    dialogs.answerFile(six).answer(DialogAnswer::Ok);
    control<QAction>(window, "mnuAbrir")->trigger();
    QVERIFY(dialogs.messages().constLast().text.startsWith(QStringLiteral("You have activated '5.1 UpMix' feature!")));
    QVERIFY(!upmix->isChecked());

    // A loudness target takes the place of peak normalising and opens its
    // ceiling; ReplayGain tags leave both to the audio as it is.
    auto *normalize = control<QCheckBox>(window, "chkNormalize");
    auto *ceiling = control<QDoubleSpinBox>(window, "spnTruePeak");
    QVERIFY(normalize->isEnabled() && !ceiling->isEnabled());
    choose(control<QComboBox>(window, "cmbLoudness"), QStringLiteral("−23 LUFS"));
    QVERIFY(!normalize->isEnabled() && ceiling->isEnabled());
    ceiling->setValue(-2);
    const LoudnessChoice &chosen = program.form().form.loudness;
    QVERIFY(chosen.mode == LoudnessChoice::Mode::Normalize && chosen.targetLufs == -23 && chosen.truePeakDbtp == -2);
    choose(control<QComboBox>(window, "cmbLoudness"), QStringLiteral("ReplayGain tags"));
    QVERIFY(chosen.mode == LoudnessChoice::Mode::ReplayGain && normalize->isEnabled() && !ceiling->isEnabled());
    choose(control<QComboBox>(window, "cmbLoudness"), QStringLiteral("Peak level only"));
    QVERIFY(chosen.mode == LoudnessChoice::Mode::Off);

    // A real MP3 conversion from the Convert button.
    choose(format, QStringLiteral("MP3"));
    dialogs.answerFile(tagged);
    QTest::mouseClick(control<QPushButton>(window, "cmdBrowse"), Qt::LeftButton);
    QVERIFY(control<QWidget>(window, "frmMP3")->isVisible());
    choose(control<QComboBox>(window, "Combo5"), QStringLiteral("96"));
    auto *bar = control<QProgressBar>(window, "PB1");
    QList<int> shown;
    connect(static_cast<XP_ProgressBar *>(bar), &XP_ProgressBar::shownValueChanged, bar, [&shown](int value) { shown << value; });
    auto *convert = control<QPushButton>(window, "btnConvert");
    bool busySeen = false;
    QTimer busyWatch;
    connect(&busyWatch, &QTimer::timeout, [&] {
        busySeen = busySeen || (!convert->isEnabled() && control<QPushButton>(window, "btnAbort")->isVisible());
    });
    busyWatch.start(5);
    QTest::mouseClick(convert, Qt::LeftButton);
    busyWatch.stop();
    const QString output = home.path(QStringLiteral("tagged_Konverted.mp3"));
    QVERIFY(busySeen);
    QVERIFY2(shown.size() >= 2 && std::is_sorted(shown.begin(), shown.end()) && shown.constLast() > shown.constFirst(),
             qPrintable(QString::number(shown.size())));
    QCOMPARE(bar->maximum(), 300);
    QVERIFY(convert->isEnabled());
    QVERIFY(!control<QPushButton>(window, "btnAbort")->isVisible());
    QCOMPARE(test::probeEntries(output, QStringLiteral("stream=codec_name,channels,bit_rate")),
             QStringLiteral("mp3,2,96000"));
    QCOMPARE(test::probeEntries(output, QStringLiteral("format_tags=title")), QStringLiteral("Morning Song"));
    QVERIFY(qAbs(test::decodedSeconds(output) - 300) < 0.1);
    QVERIFY(logMessages(program.log()).contains(QStringLiteral(" -> Process Completed!")));
    // A line typed for the encoder finds none running.
    QTest::keyClicks(control<QLineEdit>(window, "txtSend"), QStringLiteral("q"));
    QTest::mouseClick(control<QPushButton>(window, "btnSend"), Qt::LeftButton);
    QCOMPARE(logMessages(program.log()).constLast(), QStringLiteral(" -> The application isn't encoding anything!"));

    // Abort in the middle of a long encode, then close the window in the middle
    // of the next: the encoder ends, nothing is left behind.
    // The long source comes dropped from a file manager.
    QMimeData dragged;
    dragged.setUrls({QUrl::fromLocalFile(longTone)});
    QDragEnterEvent enter(QPoint(300, 300), Qt::CopyAction, &dragged, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(300, 300), Qt::CopyAction, &dragged, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &drop);
    QCOMPARE(control<QLineEdit>(window, "txtPath")->text(), longTone);
    // The waveform's decoder reads the source too; it is let finish first, so
    // that only the encoder is left to end.
    QTRY_VERIFY_WITH_TIMEOUT(!program.form().waveform().computing(), 60000);
    const QString longOutput = home.path(QStringLiteral("long_Konverted.mp3"));
    for (const bool closing : {false, true}) {
        bool acted = false;
        QTimer midway;
        connect(&midway, &QTimer::timeout, [&] {
            if (acted || !control<QPushButton>(window, "btnAbort")->isVisible()
                || static_cast<XP_ProgressBar *>(bar)->shownValue() < 5)
                return;
            acted = true;
            if (closing)
                window.close();
            else
                QTest::keyClick(&window, Qt::Key_Escape);
        });
        midway.start(5);
        // The keys of the desktop: Ctrl+Return converts, Escape aborts.
        QApplication::setActiveWindow(&window);
        QTest::keyClick(&window, Qt::Key_Return, Qt::ControlModifier);
        QVERIFY(acted);
        const QStringList messages = logMessages(program.log());
        QVERIFY(messages.contains(QStringLiteral(" -> Canceling program.")));
        QVERIFY(messages.contains(QStringLiteral(" -> Encoding Aborted!")));
        QVERIFY(!QFileInfo::exists(longOutput));
        QVERIFY(!QFileInfo::exists(longOutput + QStringLiteral(".part")));
        QVERIFY(test::noProcessMentions(home.dir.path()));
        QCOMPARE(window.isVisible(), !closing);
    }
    QVERIFY(dialogs.allAnswersUsed());
    QCOMPARE(home.setting("Options", "MP3BitRate"), QStringLiteral("96"));
}

void TestMainWindow::batchModeFromTheWindow()
{
    Home home;
    home.settled();
    const QString folder = home.path(QStringLiteral("album"));
    QDir().mkpath(folder + QStringLiteral("/disc 2"));
    for (const QString &name : {QStringLiteral("1.wav"), QStringLiteral("2.wav"), QStringLiteral("disc 2/3.wav")})
        QVERIFY(makeTone(folder + QLatin1Char('/') + name, 2, 2));
    const QString loose = home.path(QStringLiteral("loose.wav"));
    QVERIFY(makeTone(loose, 2, 2));
    const QString broken = home.path(QStringLiteral("broken.wav"));
    QVERIFY(QFile(broken).open(QIODevice::WriteOnly) && QFile(broken).resize(100));
    const QString out = home.path(QStringLiteral("out"));
    QDir().mkpath(out);

    test::TestDialogs dialogs;
    MainProgram program(home.folder, dialogs);
    MainWindow &window = program.window();
    program.start();
    QTRY_VERIFY_WITH_TIMEOUT(startedUp(program.log(), 2), 30000);

    QTest::mouseClick(control<QRadioButton>(window, "optBatchMode"), Qt::LeftButton);
    QVERIFY(control<QWidget>(window, "fraBatchMode")->isVisible());
    QVERIFY(!control<QWidget>(window, "fraFileMode")->isVisible());
    // A folder with its subfolders, two files (one of them listed already),
    // and one more dropped from a file manager.
    QTest::mouseClick(control<QCheckBox>(window, "chkSubfolders"), Qt::LeftButton);
    dialogs.answerFile(folder);
    QTest::mouseClick(control<QPushButton>(window, "btnAddFolder"), Qt::LeftButton);
    dialogs.answerFiles({broken, folder + QStringLiteral("/1.wav")});
    QTest::mouseClick(control<QPushButton>(window, "btnAddFiles"), Qt::LeftButton);
    QMimeData dragged;
    dragged.setUrls({QUrl::fromLocalFile(loose)});
    QDragEnterEvent enter(QPoint(300, 300), Qt::CopyAction, &dragged, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &enter);
    QDropEvent drop(QPointF(300, 300), Qt::CopyAction, &dragged, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &drop);
    auto *list = control<QTreeWidget>(window, "lstBatch");
    QCOMPARE(list->topLevelItemCount(), 5);
    // The loose file is taken off again; the outputs go into one folder.
    list->topLevelItem(4)->setSelected(true);
    QTest::mouseClick(control<QPushButton>(window, "btnRemove"), Qt::LeftButton);
    QCOMPARE(list->topLevelItemCount(), 4);
    dialogs.answerFile(out);
    QTest::mouseClick(control<QRadioButton>(window, "optOutFolder"), Qt::LeftButton);
    QCOMPARE(control<QLineEdit>(window, "txtOutputDir")->text(), out);

    bool progressed = false;
    auto *bar = control<QProgressBar>(window, "PB1");
    connect(static_cast<XP_ProgressBar *>(bar), &XP_ProgressBar::shownValueChanged, bar,
            [&](int value) { progressed = progressed || value > 0; });
    QTest::mouseClick(control<QPushButton>(window, "btnConvert"), Qt::LeftButton);
    QVERIFY(progressed);
    const QStringList statuses = [&] {
        QStringList texts;
        for (int row = 0; row < list->topLevelItemCount(); ++row)
            texts << list->topLevelItem(row)->text(1);
        return texts;
    }();
    QCOMPARE(statuses, (QStringList{QStringLiteral("done"), QStringLiteral("done"), QStringLiteral("done"),
                                    QStringLiteral("failed")}));
    for (const char *name : {"1_Konverted.mp3", "2_Konverted.mp3", "disc 2/3_Konverted.mp3"})
        QVERIFY(qAbs(test::decodedSeconds(out + QLatin1Char('/') + QLatin1String(name)) - 2) < 0.1);
    const QStringList messages = logMessages(program.log());
    QVERIFY(messages.contains(QStringLiteral(" -> Batch finished: 3 converted, 1 failed, 0 skipped, 0 aborted")));
    QVERIFY(messages.filter(QStringLiteral(" -> Error: ") + broken + QStringLiteral(": ")).size() == 1);
    QVERIFY(control<QPushButton>(window, "btnConvert")->isEnabled());
    QVERIFY(dialogs.allAnswersUsed());
}

void TestMainWindow::batchNamingPreviewAndTrash()
{
    Home home;
    home.settled();
    const QString folder = home.path(QStringLiteral("album"));
    QDir().mkpath(folder);
    const auto tone = [&](const char *name, const QStringList &metadata) {
        QStringList arguments = {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                                 QStringLiteral("-i"), QStringLiteral("sine=d=2")};
        for (const QString &entry : metadata)
            arguments << QStringLiteral("-metadata") << entry;
        return run(QStringLiteral("ffmpeg"), arguments << folder + QLatin1Char('/') + QLatin1String(name));
    };
    // Five files that name one output, and one without tags whose output is
    // there already.
    const QStringList named = {QStringLiteral("a.flac"), QStringLiteral("b.flac"), QStringLiteral("d.flac"),
                               QStringLiteral("e.flac"), QStringLiteral("f.flac")};
    for (const QString &name : named)
        QVERIFY(tone(qPrintable(name), {QStringLiteral("artist=Bänd"), QStringLiteral("title=Song")}));
    QVERIFY(tone("c.flac", {}));
    const QString out = home.path(QStringLiteral("out"));
    QDir().mkpath(out);
    const QString existing = out + QStringLiteral("/Unknown Artist - Unknown Title.mp3");
    QFile kept(existing);
    QVERIFY(kept.open(QIODevice::WriteOnly) && kept.write("kept") == 4);
    kept.close();
    const QString dataHome = home.path(QStringLiteral("data"));
    qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome));

    test::TestDialogs dialogs;
    MainProgram program(home.folder, dialogs);
    MainWindow &window = program.window();
    program.start();
    QTRY_VERIFY_WITH_TIMEOUT(startedUp(program.log(), 2), 30000);
    QTest::mouseClick(control<QRadioButton>(window, "optBatchMode"), Qt::LeftButton);
    dialogs.answerFile(folder);
    QTest::mouseClick(control<QPushButton>(window, "btnAddFolder"), Qt::LeftButton);
    dialogs.answerFile(out);
    QTest::mouseClick(control<QRadioButton>(window, "optOutFolder"), Qt::LeftButton);

    // The preview follows each key, for the first five files once their tags
    // are read; a pattern that would leave the folder is named as such.
    auto *pattern = control<QLineEdit>(window, "txtNamePattern");
    auto *list = control<QTreeWidget>(window, "lstBatch");
    const auto shown = [list](int column) {
        QStringList texts;
        for (int row = 0; row < list->topLevelItemCount(); ++row)
            texts << list->topLevelItem(row)->text(column);
        return texts;
    };
    QTest::keyClicks(pattern, QStringLiteral("../{title}"));
    QVERIFY2(shown(2).constFirst().contains(QStringLiteral("\"..\"")), qPrintable(shown(2).constFirst()));
    pattern->clear();
    QTest::keyClicks(pattern, QStringLiteral("{artist} - {title}"));
    const QString same = QStringLiteral("  [same name as another file]");
    QTRY_COMPARE_WITH_TIMEOUT(shown(2), (QStringList{out + QString::fromUtf8("/Bänd - Song.mp3"),
                                                    out + QString::fromUtf8("/Bänd - Song (2).mp3") + same,
                                                    existing + QStringLiteral("  [exists]"),
                                                    out + QString::fromUtf8("/Bänd - Song (3).mp3") + same,
                                                    out + QString::fromUtf8("/Bänd - Song (4).mp3") + same, QString()}),
                              10000);

    // Convert: the existing output is kept by answering its question, and
    // the trash is agreed to once for the files that convert.
    QCOMPARE(control<QComboBox>(window, "cmbExisting")->currentText(), QStringLiteral("Ask"));
    QTest::mouseClick(control<QCheckBox>(window, "chkTrashSources"), Qt::LeftButton);
    dialogs.answer(DialogAnswer::No).answer(DialogAnswer::Yes);
    QTest::mouseClick(control<QPushButton>(window, "btnConvert"), Qt::LeftButton);
    QCOMPARE(shown(1), (QStringList{QStringLiteral("done"), QStringLiteral("done"), QStringLiteral("skipped"), QStringLiteral("done"),
                                    QStringLiteral("done"), QStringLiteral("done")}));
    QVERIFY(dialogs.allAnswersUsed());
    QVERIFY(dialogs.unexpected().isEmpty());
    for (const char *name : {"Bänd - Song.mp3", "Bänd - Song (5).mp3"})
        QVERIFY(qAbs(test::decodedSeconds(out + QLatin1Char('/') + QString::fromUtf8(name)) - 2) < 0.1);
    QFile again(existing);
    QVERIFY(again.open(QIODevice::ReadOnly) && again.readAll() == "kept");
    for (const QString &name : named) {
        QVERIFY(!QFileInfo::exists(folder + QLatin1Char('/') + name));
        QVERIFY(QFileInfo::exists(dataHome + QStringLiteral("/Trash/files/") + name));
        QVERIFY(QFileInfo::exists(dataHome + QStringLiteral("/Trash/info/") + name + QStringLiteral(".trashinfo")));
    }
    QVERIFY(QFileInfo::exists(folder + QStringLiteral("/c.flac")));
    qunsetenv("XDG_DATA_HOME");
}

void TestMainWindow::tagEditorItemHidesTheFrame()
{
    Home home;
    home.settled();
    // Laid out once the window has handled its layout requests: every panel
    // at least as tall as it needs to be and inside the window.
    const auto wholeAndUnsqueezed = [](MainWindow &window, std::initializer_list<const char *> names) {
        QApplication::processEvents();
        const QRect area = window.centralWidget()->rect();
        for (const char *name : names) {
            auto *w = window.findChild<QWidget *>(QLatin1String(name));
            const QRect shown(w->mapTo(window.centralWidget(), QPoint(0, 0)), w->size());
            if (!area.contains(shown) || w->height() < w->minimumSizeHint().height())
                return QStringLiteral("%1 at %2,%3 %4x%5 min %6").arg(QLatin1String(name)).arg(shown.x()).arg(shown.y()).arg(shown.width()).arg(shown.height()).arg(w->minimumSizeHint().height());
        }
        return QString();
    };
    int frameHeight = 0;
    for (const bool restarted : {false, true}) {
        test::TestDialogs dialogs;
        MainProgram program(home.folder, dialogs);
        MainWindow &window = program.window();
        program.start();
        QTRY_VERIFY_WITH_TIMEOUT(startedUp(program.log(), 2), 30000);
        const int full = 502 + window.addedRowsHeight(), withLog = 613 + window.addedRowsHeight();
        QAction *item = control<QAction>(window, "mnuTagEditor");
        QWidget *frame = control<QWidget>(window, "fraTagViewer");
        auto *fade = control<QCheckBox>(window, "chkFadeInOut");
        // The fade is chosen for one run only, as Normalize is.
        QVERIFY(!fade->isChecked());
        if (!restarted) {
            QVERIFY(item->isChecked() && frame->isVisible());
            QCOMPARE(window.height(), full);
            frameHeight = frame->height();
            QVERIFY(frameHeight > 50);
            QTest::mouseClick(fade, Qt::LeftButton);
            QVERIFY(program.form().form.chkFadeInOut);
            item->trigger();
        }
        // Hidden: the window is shorter by the frame, nothing below it is
        // cut or squeezed, even beside the tallest option panel; the log
        // switch keeps the difference, and the batch list takes the room.
        QVERIFY(!item->isChecked() && !frame->isVisible());
        QCOMPARE(window.height(), full - frameHeight);
        choose(control<QComboBox>(window, "cmbFormat"), QStringLiteral("AAC"));
        QCOMPARE(wholeAndUnsqueezed(window, {"frmAAC", "fraClipEdition", "fraOutVol", "btnConvert", "fraPlayer"}), QString());
        QAction *log = control<QAction>(window, "mnuLog");
        log->trigger();
        QCOMPARE(window.height(), withLog - frameHeight);
        log->trigger();
        QTest::mouseClick(control<QRadioButton>(window, "optBatchMode"), Qt::LeftButton);
        QCOMPARE(window.height(), full);
        QCOMPARE(wholeAndUnsqueezed(window, {"fraBatchMode", "fraClipEdition", "fraOutVol", "fraPlayer"}), QString());
        QTest::mouseClick(control<QRadioButton>(window, "optFileMode"), Qt::LeftButton);
        QCOMPARE(window.height(), full - frameHeight);
        if (restarted) {
            item->trigger();
            QVERIFY(item->isChecked() && frame->isVisible());
            QCOMPARE(window.height(), full);
            QCOMPARE(wholeAndUnsqueezed(window, {"fraTagViewer", "frmAAC", "fraClipEdition", "fraOutVol", "fraPlayer"}), QString());
            QCOMPARE(frame->height(), frameHeight);
        }
        QVERIFY(window.close());
        QCOMPARE(home.setting("General", "TagEditor"), restarted ? QStringLiteral("True") : QStringLiteral("False"));
        QVERIFY(dialogs.allAnswersUsed());
    }
}

// What the launcher hands over opens once start-up is done: one file as the
// Open dialog would open it, more than one in Batch Mode.
void TestMainWindow::launcherFilesOpen()
{
    Home home;
    home.settled();
    const QString one = home.path(QStringLiteral("one.wav"));
    const QString two = home.path(QStringLiteral("two.wav"));
    QVERIFY(makeTone(one, 1, 2) && makeTone(two, 1, 2));
    test::TestDialogs dialogs;
    {
        MainProgram program(home.folder, dialogs);
        program.start({one});
        QTRY_COMPARE_WITH_TIMEOUT(program.form().form.txtPath, one, 30000);
        QVERIFY(!program.form().batch.batchMode);
        QVERIFY(startedUp(program.log(), 2));
    }
    MainProgram program(home.folder, dialogs);
    program.start({one, two});
    QTRY_VERIFY_WITH_TIMEOUT(program.form().batch.items.size() == 2, 30000);
    QVERIFY(program.form().batch.batchMode);
    QVERIFY(control<QWidget>(program.window(), "fraBatchMode")->isVisible());
    QCOMPARE(program.form().batch.items[1].source, two);
}

// With a band at -12 dB and the switch on, pink noise comes out 12 dB lower
// in that band and as it was in the others, converted alone and in a batch;
// the switch and the bands are there again at the next start.
void TestMainWindow::equalizerShapesTheOutput()
{
    Home home;
    home.settled();
    const QString pink = home.path(QStringLiteral("pink.wav"));
    QVERIFY(run(QStringLiteral("sox"), {QStringLiteral("-n"), QStringLiteral("-b"), QStringLiteral("16"),
                                        QStringLiteral("-r"), QStringLiteral("44100"), QStringLiteral("-c"),
                                        QStringLiteral("2"), pink, QStringLiteral("synth"), QStringLiteral("6"),
                                        QStringLiteral("pinknoise"), QStringLiteral("vol"), QStringLiteral("0.5")}));
    const QString output = home.path(QStringLiteral("pink_Konverted.wav"));
    const auto keep = [&](const char *name) {
        const QString kept = home.path(QLatin1String(name));
        return QFile::rename(output, kept) ? kept : QString();
    };
    constexpr int kBand = 8;
    QString flat;
    QString shaped;
    QString batched;
    test::TestDialogs dialogs;
    {
        MainProgram program(home.folder, dialogs);
        MainWindow &window = program.window();
        program.start();
        QTRY_VERIFY_WITH_TIMEOUT(startedUp(program.log(), 2), 30000);
        program.form().openDropped(pink);
        choose(control<QComboBox>(window, "cmbFormat"), QStringLiteral("WAV"));
        auto *convert = control<QPushButton>(window, "btnConvert");
        control<QAction>(window, "mnuEqualizer")->trigger();
        QWidget *equalizer = control<QWidget>(window, "Equalizer");
        control<QSlider>(*equalizer, "SEq_8")->setValue(kEqualizerMinimum);
        QCOMPARE(control<QLabel>(*equalizer, "EQ_8")->text(), QStringLiteral("-12"));
        // The bands alone change nothing while the switch is off.
        QTest::mouseClick(convert, Qt::LeftButton);
        flat = keep("flat.wav");
        QTest::mouseClick(control<QCheckBox>(*equalizer, "chkApply"), Qt::LeftButton);
        QTest::mouseClick(convert, Qt::LeftButton);
        shaped = keep("shaped.wav");
        program.form().setBatchMode(true);
        program.form().addToBatch({pink});
        QTest::mouseClick(convert, Qt::LeftButton);
        batched = keep("batched.wav");
        QVERIFY(!flat.isEmpty() && !shaped.isEmpty() && !batched.isEmpty());
        QVERIFY(window.close());
    }
    QCOMPARE(home.setting("Options", "EqualizerApply"), QStringLiteral("1"));
    QCOMPARE(home.setting("Options", "EqualizerBands"), QStringLiteral("0,0,0,0,0,0,0,0,-12,0,0,0,0,0,0,0,0,0"));
    {
        MainProgram program(home.folder, dialogs);
        program.start();
        QTRY_VERIFY_WITH_TIMEOUT(startedUp(program.log(), 2), 30000);
        const EqualizerState &again = program.form().form.equalizer;
        QVERIFY(again.chkApply);
        QCOMPARE(again.gainsDb()[kBand], -12);
        QCOMPARE(again.EQ[kBand], QStringLiteral("-12"));
        QVERIFY(program.window().close());
    }

    // The bands lie half an octave apart from 55 Hz.
    for (int band = 0; band < kEqualizerBands; ++band) {
        const double hertz = 55 * std::pow(2.0, band / 2.0);
        const double before = bandLevel(flat, hertz);
        const double expected = band == kBand ? -12 : 0;
        for (const QString &file : {shaped, batched}) {
            const double change = bandLevel(file, hertz) - before;
            if (band == kBand)
                qInfo("%s: %.2f dB at %.0f Hz", qPrintable(QFileInfo(file).fileName()), change, hertz);
            QVERIFY2(qAbs(change - expected) <= 1.5,
                     qPrintable(QStringLiteral("%1 at %2 Hz: %3 dB").arg(QFileInfo(file).fileName()).arg(hertz).arg(change)));
        }
    }
    QVERIFY(dialogs.allAnswersUsed());
}

void TestMainWindow::everyLanguageCaptionsKeysAndTabOrder()
{
    Home home;
    home.settled();
    test::TestDialogs dialogs;
    MainProgram program(home.folder, dialogs);
    MainWindow &window = program.window();
    program.start();
    QTRY_VERIFY_WITH_TIMEOUT(startedUp(program.log(), 2), 30000);
    const QString file = program.form().languageFile();

    // Which control takes which caption, and the texts that are the same in
    // every language (numbers, codec and container names).
    QSet<QString> captioned;
    for (const LanguageCaption &row : languageCaptions())
        captioned << QLatin1String(row.control);
    for (const OwnCaption &row : ownCaptions())
        captioned << QLatin1String(row.control);
    const QStringList neutral = {QStringLiteral("..."), QStringLiteral("MPEG-4"), QStringLiteral("MPEG-2"),
                                 QStringLiteral("MP2"),  QStringLiteral("AVI"),    QStringLiteral("MPEG"),
                                 QStringLiteral("16 bit"), QStringLiteral("8 bit"),
                                 // The mute button names the next state with fixed words.
                                 QStringLiteral("Off"), QStringLiteral("On")};

    for (const QString &language : builtInLanguageNames()) {
        WriteLanguageFile(language, file);
        window.relabel();
        LanguageLines lines;
        lines.LoadLanguageLines(file);
        for (const LanguageCaption &row : languageCaptions()) {
            if (qstrcmp(row.form, "Main") != 0)
                continue;
            QObject *target = window.findChild<QObject *>(QLatin1String(row.control));
            if (!target)
                continue;
            const QString expected = captionText(row, lines);
            QVERIFY2(!expected.isEmpty(), row.key);
            QString shown = target->property("title").toString();
            if (shown.isEmpty())
                shown = target->property("text").toString();
            QVERIFY2(withoutMnemonic(shown) == withoutMnemonic(expected),
                     qPrintable(language + QLatin1Char(' ') + QLatin1String(row.control)));
        }
        // No control with words on it is left out of both caption tables.
        for (QObject *o : window.findChildren<QObject *>()) {
            QString text;
            if (auto *b = qobject_cast<QAbstractButton *>(o))
                text = b->text();
            else if (auto *l = qobject_cast<QLabel *>(o); l && l->buddy())
                text = l->text();
            else if (auto *g = qobject_cast<QGroupBox *>(o))
                text = g->title();
            else if (auto *a = qobject_cast<QAction *>(o); a && !a->isSeparator())
                text = a->text();
            if (!text.contains(QRegularExpression(QStringLiteral("[A-Za-z]"))) || neutral.contains(withoutMnemonic(text)))
                continue;
            QString name = o->objectName();
            if (auto *menu = qobject_cast<QMenu *>(o->parent()); menu && qobject_cast<QAction *>(o)
                                                                 && menu->menuAction() == o)
                name = menu->objectName();
            QVERIFY2(captioned.contains(name), qPrintable(language + QStringLiteral(": no caption for ") + name
                                                           + QStringLiteral(" \"") + text + QLatin1Char('"')));
        }
        QCOMPARE(withoutMnemonic(control<QMenu>(window, "mnuArquivo")->title()),
                 withoutMnemonic(lines.text(QStringLiteral("Menus"), QStringLiteral("File"), QString())));
        QCOMPARE(control<QTreeWidget>(window, "lstBatch")->headerItem()->text(2),
                 ownText("Main", "lstBatch.Output", builtInDisplayName(language)));

        // Every view of the window: each format's options, and batch mode.
        auto *format = control<QComboBox>(window, "cmbFormat");
        for (int i = 0; i < format->count(); ++i) {
            choose(format, format->itemText(i));
            checkMnemonics(window, language + QLatin1Char(' ') + format->itemText(i));
        }
        program.form().setBatchMode(true);
        checkMnemonics(window, language + QStringLiteral(" batch"));
        program.form().setBatchMode(false);

        SetupDialog setup(home.folder, dialogs, program.form().updates(), nullptr);
        AboutDialog about(home.folder, dialogs);
        FileInfoDialog info(QStringLiteral("[General]"), file);
        EqualizerState bands;
        EqualizerWindow equalizer(bands, file, &window);
        for (QWidget *form : std::initializer_list<QWidget *>{&setup, &about, &info, &equalizer}) {
            form->show();
            checkMnemonics(*form, language + QLatin1Char(' ') + form->objectName());
            if (language == QLatin1String("English"))
                checkTabOrder(*form, form->objectName());
        }
    }
    auto *format = control<QComboBox>(window, "cmbFormat");
    for (const QString &shown : {QStringLiteral("MP3"), QStringLiteral("AAC"), QStringLiteral("M4A")}) {
        choose(format, shown);
        checkTabOrder(window, shown);
    }
    program.form().setBatchMode(true);
    checkTabOrder(window, QStringLiteral("batch"));
}

void TestMainWindow::aboutShowsVersionNoticeAndLinks()
{
    QTemporaryDir home;
    const AppFolder folder(home.path());
    const QString file = folder.file(QStringLiteral("Tonmill.LNG"));
    WriteLanguageFile(QStringLiteral("Deutsch"), file);
    LanguageLines lines;
    lines.LoadLanguageLines(file);
    test::TestDialogs dialogs;
    AboutDialog about(folder, dialogs);
    about.show();
    QCOMPARE(about.windowTitle(), QStringLiteral("Über Tonmill"));
    QCOMPARE(about.findChild<QLabel *>(QStringLiteral("lblVersion"))->text(),
             QStringLiteral("Version ") + versionText() + QStringLiteral(" beta"));
    const QString notice = about.findChild<QLabel *>(QStringLiteral("lblNotice"))->text();
    QVERIFY(!notice.isEmpty());
    QCOMPARE(notice, lines.text(QStringLiteral("About"), QStringLiteral("Notice"), QString()));
    for (const char *link : {"lnkHome", "lnkAuthor"})
        QTest::mouseClick(about.findChild<QPushButton *>(QLatin1String(link)), Qt::LeftButton);
    QCOMPARE(dialogs.openedUrls(), (QStringList{homePageUrl(), authorPageUrl()}));
    QTest::mouseClick(about.findChild<QPushButton *>(QStringLiteral("btnOk")), Qt::LeftButton);
    QVERIFY(!about.isVisible());
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
