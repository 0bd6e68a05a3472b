// The main window clicked as a person would, with the real helpers and a sound server of its own, or none.
#include "app/AboutDialog.h"
#include "app/FileInfoDialog.h"
#include "app/MainProgram.h"
#include "app/MainWindowTitle.h"
#include "controls/WaveformView.h"
#include "controls/XP_ProgressBar.h"
#include "platform/AppVersion.h"
#include "player/EqualizerWindow.h"
#include "settings/BuiltInLanguages.h"
#include "settings/LanguageCaptions.h"
#include "settings/LanguageLines.h"
#include "settings/Mnemonics.h"
#include "settings/OwnCaptions.h"
#include "settings/SetupDialog.h"
#include "settings/Translations.h"
#include "support/TestDialogs.h"
#include "support/TestFiles.h"
#include "support/TestHome.h"
#include "support/TestProcesses.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QDropEvent>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QScreen>
#include <QSlider>
#include <QTest>
#include <QTextEdit>
#include <QThread>
#include <QTimer>
#include <QTreeWidget>

#include <cstdio>

using namespace tonmill;
using namespace tonmill::test;
using namespace Qt::StringLiterals;

namespace {

template <typename T = QWidget>
T *control(QWidget &window, const char *name)
{
    T *found = window.findChild<T *>(QLatin1String(name));
    if (!found)
        QTest::qFail(qPrintable(u"no control "_s + QLatin1String(name)), __FILE__, __LINE__);
    return found;
}

void click(QWidget &window, const char *button) { QTest::mouseClick(control<QAbstractButton>(window, button), Qt::LeftButton); }

void choose(QComboBox *box, const QString &item)
{
    QVERIFY2(box->findText(item) >= 0, qPrintable(item));
    box->setCurrentIndex(box->findText(item));
    Q_EMIT box->activated(box->currentIndex());
}

// The log's lines without their times.
QStringList logMessages(ActivityLog &log)
{
    QStringList messages = log.text().split(u"\r\n"_s, Qt::SkipEmptyParts);
    for (QString &line : messages)
        line = line.size() > 8 && line[2] == u':' ? line.mid(8) : line;
    return messages;
}

bool near(double actual, double expected, double within = 0.15) { return qAbs(actual - expected) <= within; }

// The build's tools, as an earlier run left them unless told otherwise.
struct Home : AppHome {
    explicit Home(bool settle = true)
    {
        if (settle)
            settled();
    }
};

// The program shown; ready() once its start-up and both probe runs have ended.
struct Started {
    TestDialogs dialogs;
    MainProgram program;
    MainWindow &window = program.window();
    MainForm &form = program.form();

    explicit Started(const AppHome &home, const QStringList &files = {}) : program(home.folder, dialogs) { program.start(files); }
    bool ready()
    {
        const QStringList messages = logMessages(program.log());
        const qsizetype loaded = messages.indexOf(u" -> Startup routines successfully loaded."_s);
        return loaded >= 0 && messages.size() >= loaded + 3;
    }
};

// Acts on the modal window of the name, run in its own event loop, once it shows.
void onModal(QTimer &watch, const char *name, std::function<void(QWidget &)> act)
{
    QObject::connect(&watch, &QTimer::timeout, &watch, [&watch, name, act = std::move(act)] {
        if (QWidget *modal = QApplication::activeModalWidget(); modal && modal->objectName() == QLatin1String(name)) {
            watch.stop();
            act(*modal);
        }
    });
    watch.start(20);
}

// A file dragged from a file manager and dropped on the window.
void drop(QWidget &window, const QString &file)
{
    QMimeData dragged;
    dragged.setUrls({QUrl::fromLocalFile(file)});
    QDragEnterEvent enter(QPoint(300, 300), Qt::CopyAction, &dragged, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &enter);
    QDropEvent dropped(QPointF(300, 300), Qt::CopyAction, &dragged, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &dropped);
    QVERIFY(enter.isAccepted());
}

QStringList column(QTreeWidget *list, int column)
{
    QStringList texts;
    for (int row = 0; row < list->topLevelItemCount(); ++row)
        texts << list->topLevelItem(row)->text(column);
    return texts;
}

// The Alt+letters shown: none twice, one for every menu and push button with a letter; each menu's items likewise.
void checkMnemonics(QWidget &window, const QString &where)
{
    const auto check = [&](const QList<std::pair<QString, bool>> &captions) {
        QHash<QString, QString> owner;
        for (const auto &[text, required] : captions) {
            const QString key = QKeySequence::mnemonic(text).toString();
            QVERIFY2(!key.isEmpty() || !required || !withoutMnemonic(text).contains(QRegularExpression(u"[A-Za-z]"_s)),
                     qPrintable(where + u": no key for "_s + text));
            QVERIFY2(key.isEmpty() || !owner.contains(key), qPrintable(where + u": %1 for %2 and %3"_s.arg(key, text, owner.value(key))));
            if (!key.isEmpty())
                owner.insert(key, text);
        }
    };
    QList<std::pair<QString, bool>> shown;
    for (QMenuBar *bar : window.findChildren<QMenuBar *>()) {
        for (QAction *title : bar->actions()) {
            shown.append({title->text(), true});
            QList<std::pair<QString, bool>> items;
            for (QAction *item : title->menu()->actions())
                items.append({item->text(), !item->isSeparator()});
            check(items);
        }
    }
    for (QWidget *w : window.findChildren<QWidget *>()) {
        auto *label = qobject_cast<QLabel *>(w);
        if (w->window() != &window || !w->isVisibleTo(&window))
            continue;
        if (auto *button = qobject_cast<QPushButton *>(w))
            shown.append({button->text(), button->property("takesMnemonic").toBool() || !button->property("takesMnemonic").isValid()});
        else if (qobject_cast<QAbstractButton *>(w) || (label && label->buddy()))
            shown.append({w->property("text").toString(), false});
    }
    check(shown);
}

// Tab reaches every control that takes it (of option buttons the chosen one) in the order of reading: a panel
// is read through once, and within it each control stands right of the one before on its line or below it.
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
    takers[0]->setFocus(Qt::TabFocusReason);
    QList<QWidget *> visited{takers[0]};
    for (int i = 0; i < 4 * takers.size() && (QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab), QApplication::focusWidget() != takers[0]); ++i)
        visited << QApplication::focusWidget();
    for (QWidget *w : takers)
        QVERIFY2(visited.contains(w), qPrintable(where + u": Tab never reaches "_s + w->objectName()));
    // Read from the top: the chain is a circle, and the first control is wherever the focus started.
    const auto place = [&window](QWidget *w) { return QRect(w->mapTo(&window, QPoint(0, 0)), w->size()); };
    std::rotate(visited.begin(), std::min_element(visited.begin(), visited.end(), [&](QWidget *a, QWidget *b) {
                    return place(a).top() < place(b).top(); }), visited.end());
    const auto panelsOf = [&window](QWidget *w) {
        QList<QWidget *> panels;
        for (QWidget *p = w->parentWidget(); p && p != &window; p = p->parentWidget())
            panels << (qobject_cast<QGroupBox *>(p) ? p : nullptr);
        panels.removeAll(nullptr);
        return panels;
    };
    QSet<QWidget *> left;
    for (qsizetype i = 1; i < visited.size(); ++i) {
        const QString step = where + u": "_s + visited[i - 1]->objectName() + u" -> "_s + visited[i]->objectName();
        const QList<QWidget *> from = panelsOf(visited[i - 1]), to = panelsOf(visited[i]);
        for (QWidget *panel : from)
            left << (to.contains(panel) ? nullptr : panel);
        for (QWidget *panel : to)
            QVERIFY2(!left.contains(panel), qPrintable(step + u" goes back into "_s + panel->objectName()));
        const QRect a = place(visited[i - 1]), b = place(visited[i]);
        const bool sameLine = b.top() <= a.bottom() && b.bottom() >= a.top();
        QVERIFY2(from.value(0) != to.value(0) || (sameLine ? b.left() > a.left() : b.top() > a.top()), qPrintable(step));
    }
}

// With TONMILL_TEST_NO_SOUND set, no sound server runs (windowWithoutSound).
bool withSound() { return qEnvironmentVariableIsEmpty("TONMILL_TEST_NO_SOUND"); }

} // namespace

class TestMainWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }
    void init()
    {
        if (withSound() == (qstrcmp(QTest::currentTestFunction(), "windowWithoutSound") == 0))
            QSKIP(withSound() ? "a sound server runs in this run" : "no sound server in this run");
    }
    void firstStartThenNormalStarts();
    void openAdviseConvertAbortClose();
    void batchFromTheWindow();
    void tagEditorAndEqualizerHoldAtTheNextStart();
    void everyLanguageCaptionsKeysAndTabOrder();
    void playerMarksAndSegmentPreview();
    void waveformMarksAndPreviewOfTheResult();
    void windowWithoutSound();
};

void TestMainWindow::firstStartThenNormalStarts()
{
    Home home(false);
    {
        // The first start asks, and ends in the Setup dialog shown modally over the window.
        Started s(home);
        s.dialogs.answer(DialogAnswer::No).answer(DialogAnswer::Ok).answer(DialogAnswer::Ok);
        QString setupTitle;
        QTimer setupWatch;
        onModal(setupWatch, "Setup", [&](QWidget &modal) {
            setupTitle = modal.windowTitle();
            control<QLineEdit>(modal, "ffmpegPath")->clear();
            QTest::keyClicks(control<QLineEdit>(modal, "ffmpegPath"), u"/usr/bin/ffmpeg"_s);
            click(modal, "btnOk");
        });
        QTRY_VERIFY_WITH_TIMEOUT(s.ready(), 30000);
        const QList<MessageRequest> &asked = s.dialogs.messages();
        QVERIFY(asked.size() == 3 && asked[0].buttons == DialogButtons::YesNo && setupTitle == u"Setup"_s);
        QVERIFY(asked[0].text.startsWith(u"Would you like that Tonmill automatically checks"_s)
                && asked[2].text.startsWith(u"This is the first time you run Tonmill™ or\r\n"_s));
        QCOMPARE(asked[1].text, u"Your Interface, Language files and Configuration, have been updated!"_s);
        // Then the probe runs; a machine without a sound device says so before them.
        QStringList messages = logMessages(s.program.log());
        messages.removeIf([](const QString &m) { return m.startsWith(QLatin1String(" -> Preview player unavailable: ")); });
        QCOMPARE(messages.mid(0, 7), (QStringList{QDate::currentDate().toString(Qt::ISODate), u" -> Version verification: OK"_s,
                                                  u" -> Interface and Language files verification: OK"_s, u" -> Configuration: OK"_s,
                                                  u" -> External Paths: OK"_s, u" -> Startup routines successfully loaded."_s,
                                                  u" -> Process Completed!"_s}));
        QVERIFY(home.setting("General", "FFMPEG") == u"/usr/bin/ffmpeg"_s && home.setting("General", "ChkUpdates") == u"0"_s);
        QVERIFY(home.setting("Options", "Mode") == u"MP3"_s && control<QComboBox>(s.window, "cmbFormat")->currentText() == u"MP3"_s);
        QVERIFY(control(s.window, "frmMP3")->isVisible() && !control(s.window, "frmAAC")->isVisible() && s.window.windowTitle() == mainWindowTitle(true));
        // 7530 twips with the log hidden, 9190 with it, and the rows added to the design.
        const int added = s.window.addedRowsHeight();
        QVERIFY(added > 30 && s.window.height() == 502 + added);
        for (const bool shown : {true, false, true}) {
            control<QAction>(s.window, "mnuLog")->trigger();
            QVERIFY(control<QAction>(s.window, "mnuLog")->isChecked() == shown && s.window.height() == (shown ? 613 : 502) + added);
            QTRY_COMPARE(control<QTextEdit>(s.window, "rtbLog")->visibleRegion().isEmpty(), !shown);
        }
        QVERIFY(s.window.close() && s.dialogs.allAnswersUsed());
        QCOMPARE(logMessages(s.program.log()).constLast(), u" -> Tonmill turned off by user."_s);
    }
    QCOMPARE(home.setting("General", "LogOnOff"), u"True"_s);
    // The next start asks only the declined update question, with the log as
    // it was left; Exit ends without a word in the log. A file handed over
    // opens once start-up is done, more than one in Batch Mode.
    const QString one = home.path(u"one.wav"_s), two = home.path(u"two.wav"_s);
    QVERIFY(makeTone(one, 1) && makeTone(two, 1));
    {
        Started s(home, {one});
        s.dialogs.answer(DialogAnswer::No);
        QTRY_COMPARE_WITH_TIMEOUT(s.form.form.txtPath, one, 30000);
        QVERIFY(s.ready() && !s.form.batch.batchMode && s.dialogs.messages().size() == 1);
        QVERIFY(s.window.height() == 613 + s.window.addedRowsHeight() && control<QAction>(s.window, "mnuLog")->isChecked());
        const QString last = logMessages(s.program.log()).constLast();
        click(s.window, "btnExit");
        QVERIFY(!s.window.isVisible() && logMessages(s.program.log()).constLast() == last);
    }
    Started s(home, {one, two});
    s.dialogs.answer(DialogAnswer::No);
    QTRY_VERIFY_WITH_TIMEOUT(s.form.batch.items.size() == 2, 30000);
    QVERIFY(s.form.batch.batchMode && control(s.window, "fraBatchMode")->isVisible() && s.form.batch.items[1].source == two);
}

void TestMainWindow::openAdviseConvertAbortClose()
{
    Home home;
    const QString tagged = home.path(u"tagged.mp3"_s), longTone = home.path(u"long.wav"_s);
    QVERIFY(generate(tagged, u"sine=duration=120"_s, {u"-ac"_s, u"2"_s, u"-metadata"_s, u"title=Morning Song"_s, u"-metadata"_s, u"artist=The Testers"_s}));
    QVERIFY(makeTone(longTone, 240));
    Started s(home);
    MainWindow &window = s.window;
    QTRY_VERIFY_WITH_TIMEOUT(s.ready(), 30000);
    // Open through the browse button: the report fills the tag editor and File Info.
    s.dialogs.answerFile(tagged);
    click(window, "cmdBrowse");
    QVERIFY(control<QLineEdit>(window, "txtPath")->text() == tagged && control<QLineEdit>(window, "txtTitle")->text() == u"Morning Song"_s
            && control<QLineEdit>(window, "txtArtist")->text() == u"The Testers"_s);
    QString info;
    QTimer infoWatch;
    onModal(infoWatch, "Dialog", [&](QWidget &modal) {
        info = modal.windowTitle() + u'\n' + control(modal, "txtInfo")->property("plainText").toString();
        click(modal, "btnExit");
    });
    click(window, "btnInfo");
    QVERIFY2(info.startsWith(u"File Information\n+++++++++++\n + General +\n"_s) && info.contains(u"Title = Morning Song"_s), qPrintable(info));
    // The tag editor says when the format keeps no tags; AC3 in six channels advises the up-mix.
    QComboBox *format = control<QComboBox>(window, "cmbFormat");
    for (const auto &[name, keeps] : {std::pair{"WAV", false}, {"WMA", true}, {"FLAC", true}, {"MP2/MPA", false}, {"AC3", false}}) {
        choose(format, QLatin1String(name));
        QCOMPARE(control<QLabel>(window, "lblNoTags")->isVisible(), !keeps);
    }
    s.dialogs.answer(DialogAnswer::Ok);
    click(window, "optChannelsAC3_2");
    QVERIFY(control<QCheckBox>(window, "chk51UpMix")->isChecked() && s.dialogs.allAnswersUsed());
    // A loudness target takes the place of peak normalising and opens its ceiling; ReplayGain tags leave both.
    auto *normalize = control<QCheckBox>(window, "chkNormalize");
    auto *ceiling = control<QDoubleSpinBox>(window, "spnTruePeak");
    const LoudnessChoice &chosen = s.form.form.loudness;
    QVERIFY(normalize->isEnabled() && !ceiling->isEnabled());
    choose(control<QComboBox>(window, "cmbLoudness"), u"−23 LUFS"_s);
    ceiling->setValue(-2);
    QVERIFY(!normalize->isEnabled() && ceiling->isEnabled() && chosen.mode == LoudnessChoice::Mode::Normalize && chosen.targetLufs == -23
            && chosen.truePeakDbtp == -2);
    choose(control<QComboBox>(window, "cmbLoudness"), u"ReplayGain tags"_s);
    QVERIFY(chosen.mode == LoudnessChoice::Mode::ReplayGain && normalize->isEnabled() && !ceiling->isEnabled());
    choose(control<QComboBox>(window, "cmbLoudness"), u"Peak level only"_s);
    QVERIFY(chosen.mode == LoudnessChoice::Mode::Off);

    // A real MP3 conversion from the Convert button: busy meanwhile, the bar moving forward over the source's seconds.
    choose(format, u"MP3"_s);
    QVERIFY(control(window, "frmMP3")->isVisible() && !control(window, "lblNoTags")->isVisible());
    choose(control<QComboBox>(window, "Combo5"), u"96"_s);
    auto *bar = control<XP_ProgressBar>(window, "PB1");
    auto *convert = control<QPushButton>(window, "btnConvert"), *abort = control<QPushButton>(window, "btnAbort");
    QList<int> shown;
    bool busySeen = false;
    connect(bar, &XP_ProgressBar::shownValueChanged, bar, [&](int value) { shown << value; busySeen |= !convert->isEnabled() && abort->isVisible(); });
    QTest::mouseClick(convert, Qt::LeftButton);
    QVERIFY2(busySeen && shown.size() >= 2 && std::is_sorted(shown.begin(), shown.end()) && shown.constLast() > shown.constFirst(),
             qPrintable(QString::number(shown.size())));
    QVERIFY(bar->maximum() == 120 && convert->isEnabled() && !abort->isVisible());
    const QString output = home.path(u"tagged_Konverted.mp3"_s);
    QCOMPARE(probeEntries(output, u"stream=codec_name,channels,bit_rate:format_tags=title"_s), u"mp3,2,96000\nMorning Song"_s);
    QVERIFY(qAbs(decodedSeconds(output) - 120) < 0.1 && logMessages(s.program.log()).contains(u" -> Process Completed!"_s));
    // A line typed for the encoder finds none running.
    QTest::keyClicks(control<QLineEdit>(window, "txtSend"), u"q"_s);
    click(window, "btnSend");
    QCOMPARE(logMessages(s.program.log()).constLast(), u" -> The application isn't encoding anything!"_s);

    // The long source is dropped, its waveform let finish; Escape aborts its encode in the middle, closing the
    // window ends the next (Ctrl+Return converts): the encoder ends, nothing is left behind.
    drop(window, longTone);
    QCOMPARE(control<QLineEdit>(window, "txtPath")->text(), longTone);
    QTRY_VERIFY_WITH_TIMEOUT(!s.form.waveform().computing(), 60000);
    for (const bool closing : {false, true}) {
        bool acted = false;
        QTimer midway;
        connect(&midway, &QTimer::timeout, [&] {
            if (!acted && abort->isVisible() && bar->shownValue() >= 5) {
                acted = true;
                closing ? void(window.close()) : QTest::keyClick(&window, Qt::Key_Escape);
            }
        });
        midway.start(5);
        QApplication::setActiveWindow(&window);
        QTest::keyClick(&window, Qt::Key_Return, Qt::ControlModifier);
        const QStringList messages = logMessages(s.program.log());
        QVERIFY(acted && messages.contains(u" -> Canceling program."_s) && messages.contains(u" -> Encoding Aborted!"_s));
        QVERIFY(QDir(home.dir.path()).entryList({u"long_*"_s}).isEmpty() && noProcessMentions(home.dir.path()) && window.isVisible() == !closing);
    }
    QCOMPARE(home.setting("Options", "MP3BitRate"), u"96"_s);
}

// Files from a folder with its subfolders, files and a drop; the naming
// preview as each key is typed; the existing output's question and the trash.
void TestMainWindow::batchFromTheWindow()
{
    Home home;
    const QString folder = home.path(u"album"_s), out = home.path(u"out"_s), dataHome = home.path(u"data"_s);
    QVERIFY(QDir().mkpath(folder + u"/disc 2"_s) && QDir().mkpath(out));
    // Four files that name one output, and one without tags whose output is there already.
    const QStringList named = {u"a.flac"_s, u"b.flac"_s, u"d.flac"_s, u"disc 2/e.flac"_s};
    for (const QString &name : named)
        QVERIFY(generate(folder + u'/' + name, u"sine=d=2"_s, {u"-metadata"_s, u"artist=Bänd"_s, u"-metadata"_s, u"title=Song"_s}));
    const QString loose = home.path(u"loose.wav"_s), broken = home.path(u"broken.wav"_s), existing = out + u"/Unknown Artist - Unknown Title.mp3"_s;
    QVERIFY(generate(folder + u"/c.flac"_s, u"sine=d=2"_s) && makeTone(loose, 1));
    writeBytes(broken, QByteArray(100, '\0'));
    writeBytes(existing, "kept");
    qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome));
    Started s(home);
    MainWindow &window = s.window;
    QTRY_VERIFY_WITH_TIMEOUT(s.ready(), 30000);
    click(window, "optBatchMode");
    QVERIFY(control(window, "fraBatchMode")->isVisible() && !control(window, "fraFileMode")->isVisible());
    // The folder with its subfolders, two files (one of them listed already),
    // and one dropped and taken off again; the outputs go into one folder.
    click(window, "chkSubfolders");
    s.dialogs.answerFile(folder).answerFiles({broken, folder + u"/a.flac"_s}).answerFile(out);
    click(window, "btnAddFolder");
    click(window, "btnAddFiles");
    drop(window, loose);
    auto *list = control<QTreeWidget>(window, "lstBatch");
    QCOMPARE(list->topLevelItemCount(), 7);
    list->topLevelItem(6)->setSelected(true);
    click(window, "btnRemove");
    click(window, "optOutFolder");
    QVERIFY(list->topLevelItemCount() == 6 && control<QLineEdit>(window, "txtOutputDir")->text() == out);
    // The preview follows each key, for the first five files once their tags
    // are read; a pattern that would leave the folder is named as such.
    auto *pattern = control<QLineEdit>(window, "txtNamePattern");
    QTest::keyClicks(pattern, u"../{title}"_s);
    QVERIFY2(column(list, 2).constFirst().contains(u"\"..\""_s), qPrintable(column(list, 2).constFirst()));
    pattern->clear();
    QTest::keyClicks(pattern, u"{artist} - {title}"_s);
    const QString same = u"  [same name as another file]"_s;
    QTRY_COMPARE_WITH_TIMEOUT(column(list, 2), (QStringList{out + u"/Bänd - Song.mp3"_s, out + u"/Bänd - Song (2).mp3"_s + same,
                                                           existing + u"  [exists]"_s, out + u"/Bänd - Song (3).mp3"_s + same,
                                                           out + u"/Bänd - Song (4).mp3"_s + same, QString()}), 10000);
    // Convert: the existing output is kept by answering its question, and
    // the trash is agreed to once for the files that convert.
    QCOMPARE(control<QComboBox>(window, "cmbExisting")->currentText(), u"Ask"_s);
    click(window, "chkTrashSources");
    s.dialogs.answer(DialogAnswer::No).answer(DialogAnswer::Yes);
    bool progressed = false;
    connect(control<XP_ProgressBar>(window, "PB1"), &XP_ProgressBar::shownValueChanged, &window, [&](int value) { progressed |= value > 0; });
    click(window, "btnConvert");
    QVERIFY(progressed && s.dialogs.allAnswersUsed() && s.dialogs.unexpected().isEmpty());
    QCOMPARE(column(list, 1), (QStringList{u"done"_s, u"done"_s, u"skipped"_s, u"done"_s, u"done"_s, u"failed"_s}));
    const QStringList messages = logMessages(s.program.log());
    QVERIFY(messages.contains(u" -> Batch finished: 4 converted, 1 failed, 1 skipped, 0 aborted"_s));
    QCOMPARE(messages.filter(u" -> Error: "_s + broken + u": "_s).size(), 1);
    QVERIFY(near(decodedSeconds(out + u"/Bänd - Song (4).mp3"_s), 2, 0.1) && readBytes(existing) == "kept");
    for (const QString &name : named)
        QVERIFY(!QFileInfo::exists(folder + u'/' + name) && QFileInfo::exists(dataHome + u"/Trash/files/"_s + QFileInfo(name).fileName()));
    QVERIFY(QFileInfo::exists(folder + u"/c.flac"_s) && QFileInfo::exists(broken) && control(window, "btnConvert")->isEnabled());
    qunsetenv("XDG_DATA_HOME");
}

// The Equalizer on its own: French captions, sliders, labels, reset, its place beside a
// window. Beside the real window: glued to it until a conversion stops its timer; a band at -12 dB shapes pink
// noise, alone and in a batch. The tag editor's item hides its frame: the window shorter by its height, nothing
// cut or squeezed, the log switch keeps the difference. Both choices hold at the next start.
void TestMainWindow::tagEditorAndEqualizerHoldAtTheNextStart()
{
    QTemporaryDir dir;
    QWidget main;
    EqualizerState state;
    WriteLanguageFile(u"Francais"_s, dir.filePath(u"Tonmill.LNG"_s));
    EqualizerWindow window(state, dir.filePath(u"Tonmill.LNG"_s), &main);
    main.show();
    window.show();
    QVERIFY(window.windowFlags().testFlag(Qt::Tool) && window.windowTitle() == u"Égaliseur"_s);
    QVERIFY(withoutMnemonic(control<QPushButton>(window, "btnZero")->text()) == u"Réinitialiser"_s
            && withoutMnemonic(control<QCheckBox>(window, "chkApply")->text()) == u"Appliquer à la sortie"_s);
    click(window, "chkApply");
    QVERIFY(state.chkApply);
    std::array<int, kEqualizerBands> values;
    values.fill(-20);
    for (const auto &[band, value] : {std::pair{4, -15}, {17, kEqualizerMinimum}, {0, kEqualizerMaximum}})
        control<QSlider>(window, qPrintable(u"SEq_%1"_s.arg(band)))->setValue(values[band] = value);
    for (const bool reset : {false, true}) {
        if (reset)
            click(window, "btnZero");
        for (int band = 0; band < kEqualizerBands; ++band) {
            const int value = reset ? -20 : values[band];
            QVERIFY(control<QSlider>(window, qPrintable(u"SEq_%1"_s.arg(band)))->value() == value && state.gainsDb()[band] == value + 20);
            QCOMPARE(control<QLabel>(window, qPrintable(u"EQ_%1"_s.arg(band)))->text(), QString::number(value + 20));
        }
    }
    // Main's frame and where the equalizer's goes: right of it; with no room
    // there, left of it, else at the screen's edge.
    const int width = window.frameGeometry().width(), right = main.screen()->availableGeometry().width();
    for (const auto &[frame, docked] : {std::pair{QRect(100, 50, right - width - 200, 480), QRect(right - width - 100, 50, width, 480)},
                                        {QRect(-900, 20, 700, 300), QRect(-200, 20, width, 300)},
                                        {QRect(width + 10, 30, right - width - 10, 400), QRect(10, 30, width, 400)},
                                        {QRect(0, 0, right, 600), QRect(right - width, 0, width, 600)}}) {
        main.move(frame.topLeft());
        main.resize(frame.size() - (main.frameGeometry().size() - main.size()));
        window.dockTo(main);
        QVERIFY(main.frameGeometry() == frame && window.frameGeometry() == docked);
    }

    const auto wholeAndUnsqueezed = [](MainWindow &window, std::initializer_list<const char *> names) {
        QApplication::processEvents(); // the window's layout requests
        for (const char *name : names) {
            auto *w = control(window, name);
            const QRect shown(w->mapTo(window.centralWidget(), QPoint(0, 0)), w->size());
            if (!window.centralWidget()->rect().contains(shown) || w->height() < w->minimumSizeHint().height())
                return u"%1 at %2,%3 %4x%5 min %6"_s.arg(QLatin1String(name)).arg(shown.x()).arg(shown.y()).arg(shown.width())
                    .arg(shown.height()).arg(w->minimumSizeHint().height());
        }
        return QString();
    };
    Home home;
    const QString pink = home.path(u"pink.wav"_s), output = home.path(u"pink_Konverted.wav"_s);
    QVERIFY(generate(pink, u"anoisesrc=d=4:c=pink:a=0.5"_s, {u"-ac"_s, u"2"_s, u"-c:a"_s, u"pcm_s16le"_s}));
    QStringList kept; // flat, shaped, batched
    int frameHeight = 0;
    for (const bool restarted : {false, true}) {
        Started s(home);
        MainWindow &window = s.window;
        QTRY_VERIFY_WITH_TIMEOUT(s.ready(), 30000);
        const int full = 502 + window.addedRowsHeight();
        QAction *item = control<QAction>(window, "mnuTagEditor");
        QWidget *frame = control(window, "fraTagViewer");
        frameHeight = restarted ? frameHeight : frame->height();
        QVERIFY(item->isChecked() != restarted && frame->isVisible() != restarted && frameHeight > 50);
        QCOMPARE(window.height(), full - (restarted ? frameHeight : 0));
        // The fade is chosen for one run only, as Normalize is.
        QVERIFY(!control<QCheckBox>(window, "chkFadeInOut")->isChecked());
        click(window, "chkFadeInOut");
        QVERIFY(s.form.form.chkFadeInOut);
        click(window, "chkFadeInOut");
        item->trigger();
        const int shorter = restarted ? 0 : frameHeight;
        QVERIFY(item->isChecked() == restarted && frame->isVisible() == restarted && window.height() == full - shorter);
        choose(control<QComboBox>(window, "cmbFormat"), u"AAC"_s);
        QCOMPARE(wholeAndUnsqueezed(window, {restarted ? "fraTagViewer" : "frmAAC", "frmAAC", "fraClipEdition", "fraOutVol", "btnConvert", "fraPlayer"}), QString());
        QVERIFY(!restarted || frame->height() == frameHeight);
        control<QAction>(window, "mnuLog")->trigger();
        QCOMPARE(window.height(), 613 + window.addedRowsHeight() - shorter);
        control<QAction>(window, "mnuLog")->trigger();
        click(window, "optBatchMode");
        QVERIFY(restarted || (window.height() == full && wholeAndUnsqueezed(window, {"fraBatchMode", "fraClipEdition", "fraOutVol", "fraPlayer"}).isEmpty()));
        click(window, "optFileMode");
        QCOMPARE(window.height(), full - shorter);
        if (restarted) {
            QVERIFY(s.form.form.equalizer.chkApply && s.form.form.equalizer.gainsDb()[8] == -12 && s.form.form.equalizer.EQ[8] == u"-12"_s);
            QVERIFY(window.close() && home.setting("General", "TagEditor") == u"True"_s);
            break;
        }
        s.form.openDropped(pink);
        choose(control<QComboBox>(window, "cmbFormat"), u"WAV"_s);
        control<QAction>(window, "mnuEqualizer")->trigger();
        auto *equalizer = control<EqualizerWindow>(window, "Equalizer");
        for (const QPoint to : {QPoint(40, 30), QPoint(120, 60)}) {
            window.move(to);
            QTRY_VERIFY(equalizer->isVisible() && equalizer->frameGeometry().topLeft() == window.frameGeometry().topRight() + QPoint(1, 0)
                        && equalizer->frameGeometry().height() == window.frameGeometry().height());
        }
        control<QSlider>(*equalizer, "SEq_8")->setValue(kEqualizerMinimum);
        QCOMPARE(control<QLabel>(*equalizer, "EQ_8")->text(), u"-12"_s);
        // The bands alone change nothing while the switch is off.
        for (int run = 0; run < 3; ++run) {
            if (run == 1)
                click(*equalizer, "chkApply");
            if (run == 2) {
                s.form.setBatchMode(true);
                s.form.addToBatch({pink});
            }
            click(window, "btnConvert");
            QVERIFY(QFile::rename(output, kept.emplace_back(home.path(u"run%1.wav"_s.arg(run)))));
        }
        const QPoint left = equalizer->pos();
        window.move(300, 200);
        QTest::qWait(200);
        QVERIFY(equalizer->pos() == left && window.close() && !equalizer->isVisible());
        QVERIFY(home.setting("General", "TagEditor") == u"False"_s && home.setting("Options", "EqualizerApply") == u"1"_s
                && home.setting("Options", "EqualizerBands") == u"0,0,0,0,0,0,0,0,-12,0,0,0,0,0,0,0,0,0"_s);
    }
    // The bands lie half an octave apart from 55 Hz.
    for (int band = 0; band < kEqualizerBands; ++band) {
        const QString filter = u"bandpass=f=%1:width_type=o:w=0.1"_s.arg(55 * std::pow(2.0, band / 2.0));
        const double before = meanVolume(kept[0], filter + u',' + filter);
        for (const QString &file : kept.mid(1)) {
            const double change = meanVolume(file, filter + u',' + filter) - before;
            QVERIFY2(qAbs(change - (band == 8 ? -12 : 0)) <= 1.5, qPrintable(u"%1 %2: %3 dB"_s.arg(file, filter).arg(change)));
        }
    }
}

// Each language's captions on the controls that take them, none left out;
// the Alt+letters of every view and form; the Tab order of each form.
void TestMainWindow::everyLanguageCaptionsKeysAndTabOrder()
{
    Home home;
    Started s(home);
    MainWindow &window = s.window;
    QTRY_VERIFY_WITH_TIMEOUT(s.ready(), 30000);
    const QString file = s.form.languageFile();
    // The same in every language: numbers, codec and container names, the mute button's words.
    QSet<QString> captioned;
    for (const LanguageCaption &row : languageCaptions())
        captioned << QLatin1String(row.control);
    for (const OwnCaption &row : ownCaptions())
        captioned << QLatin1String(row.control);
    const QStringList neutral = {u"..."_s, u"MPEG-4"_s, u"MPEG-2"_s, u"MP2"_s, u"AVI"_s, u"MPEG"_s, u"16 bit"_s, u"8 bit"_s, u"Off"_s, u"On"_s};
    auto *format = control<QComboBox>(window, "cmbFormat");
    for (const QString &language : builtInLanguageNames()) {
        WriteLanguageFile(language, file);
        window.relabel();
        LanguageLines lines;
        lines.LoadLanguageLines(file);
        for (const LanguageCaption &row : languageCaptions()) {
            if (QObject *target = qstrcmp(row.form, "Main") ? nullptr : window.findChild<QObject *>(QLatin1String(row.control))) {
                const QString shown = target->property(target->property("title").toString().isEmpty() ? "text" : "title").toString();
                QVERIFY2(!captionText(row, lines).isEmpty() && withoutMnemonic(shown) == withoutMnemonic(captionText(row, lines)),
                         qPrintable(language + u' ' + QLatin1String(row.control)));
            }
        }
        for (QObject *o : window.findChildren<QObject *>()) {
            auto *label = qobject_cast<QLabel *>(o);
            auto *action = qobject_cast<QAction *>(o);
            const QString text = qobject_cast<QAbstractButton *>(o) || (label && label->buddy()) ? o->property("text").toString()
                                 : qobject_cast<QGroupBox *>(o)                                  ? o->property("title").toString()
                                 : action && !action->isSeparator()                              ? action->text()
                                                                                                 : QString();
            auto *menu = qobject_cast<QMenu *>(o->parent());
            const QString name = menu && action && menu->menuAction() == action ? menu->objectName() : o->objectName();
            QVERIFY2(!text.contains(QRegularExpression(u"[A-Za-z]"_s)) || neutral.contains(withoutMnemonic(text)) || captioned.contains(name),
                     qPrintable(language + u": no caption for "_s + name + u" \""_s + text + u'"'));
        }
        QCOMPARE(withoutMnemonic(control<QMenu>(window, "mnuArquivo")->title()), withoutMnemonic(lines.text(u"Menus"_s, u"File"_s, QString())));
        QCOMPARE(control<QTreeWidget>(window, "lstBatch")->headerItem()->text(2), ownText("Main", "lstBatch.Output", builtInDisplayName(language)));
        // Every view of the window: each format's options, and batch mode.
        for (int i = 0; i < format->count(); ++i) {
            choose(format, format->itemText(i));
            checkMnemonics(window, language + u' ' + format->itemText(i));
        }
        s.form.setBatchMode(true);
        checkMnemonics(window, language + u" batch"_s);
        s.form.setBatchMode(false);
        SetupDialog setup(home.folder, s.dialogs, s.form.updates(), nullptr);
        AboutDialog about(home.folder, s.dialogs);
        FileInfoDialog info(u"[General]"_s, file);
        EqualizerState bands;
        EqualizerWindow equalizer(bands, file, &window);
        for (QWidget *form : std::initializer_list<QWidget *>{&setup, &about, &info, &equalizer}) {
            form->show();
            checkMnemonics(*form, language + u' ' + form->objectName());
            if (language == QLatin1String("English"))
                checkTabOrder(*form, form->objectName());
        }
        // About: its title, version and notice in the language, and its links.
        if (language == QLatin1String("Deutsch")) {
            const QString notice = lines.text(u"About"_s, u"Notice"_s, QString());
            QVERIFY(about.windowTitle() == u"Über Tonmill"_s && control<QLabel>(about, "lblVersion")->text() == u"Version "_s + versionText() + u" beta"_s);
            QVERIFY(!notice.isEmpty() && control<QLabel>(about, "lblNotice")->text() == notice);
            click(about, "lnkHome");
            click(about, "lnkAuthor");
            click(about, "btnOk");
            QVERIFY(s.dialogs.openedUrls() == (QStringList{homePageUrl(), authorPageUrl()}) && !about.isVisible());
        }
    }
    for (const QString &shown : {u"MP3"_s, u"AAC"_s, u"M4A"_s}) {
        choose(format, shown);
        checkTabOrder(window, shown);
    }
    s.form.setBatchMode(true);
    checkTabOrder(window, u"batch"_s);
}

// The player's transport and the segment marks on a real player: counters, Play, Pause and the steps;
// the end checked as text; the marks from the player's position; the segment's preview; a new source.
void TestMainWindow::playerMarksAndSegmentPreview()
{
    for (const auto &[seconds, time, counter] : {std::tuple{3725.5, "01:02:06", "3725.500"}, {0.0, "00:00:00", "000.000"},
                                                 {7.25, "00:00:07", "007.250"}, {-2.0, "23:59:58", "-002.000"}, {86401.0, "00:00:01", "86401.000"}})
        QVERIFY(counterTime(seconds) == QLatin1String(time) && counterSeconds(seconds) == QLatin1String(counter));
    QVERIFY(near(volumeGain(-600), 0.501, 0.001) && volumeGain(0) == 1.0);
    Home home;
    const QString tone = home.path(u"tone.wav"_s), shorter = home.path(u"short.wav"_s), notes = home.path(u"notes.mp3"_s);
    QVERIFY(makeTone(tone, 20) && makeTone(shorter, 7));
    writeBytes(notes, "milk, eggs, tape\n");
    auto owned = std::make_unique<QtMediaPlayer>(home.folder);
    QtMediaPlayer &player = *owned;
    QVERIFY2(player.unavailableReason().isEmpty(), qPrintable(player.unavailableReason()));
    MainFormState form;
    OptionState options;
    form.txtPath = tone;
    PlayerTransport transport(player, form.txtPath);
    TestDialogs dialogs;
    SegmentMarks marks(form, options, transport, dialogs, home.folder);
    transport.btnPlay_Click();
    QVERIFY(transport.state.Slider1Max == 20 && transport.state.Timer1Enabled && transport.state.txtPlayWhat == u"0"_s);
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0.5 && player.playState() == MediaPlayer::kPlaying, 10000);
    // Pause holds the position; Play resumes from it without loading again; each step pauses and moves by its step.
    transport.btnPause_Click();
    QTRY_VERIFY(player.playState() != MediaPlayer::kPlaying);
    const double held = player.currentPosition();
    QTest::qWait(400);
    QVERIFY(near(player.currentPosition(), held, 0.05));
    transport.btnPlay_Click();
    QTRY_VERIFY(player.currentPosition() > held + 0.2 && player.currentPosition() < held + 5);
    transport.step(0);
    player.setCurrentPosition(10);
    QTRY_VERIFY(near(player.currentPosition(), 10, 0.01));
    for (const double step : {-0.1, -1.0, -5.0, 0.1, 1.0, 5.0}) {
        const double before = player.currentPosition();
        transport.step(step);
        QTRY_VERIFY2(near(player.currentPosition(), before + step, 0.02), qPrintable(QString::number(step)));
        QVERIFY(player.playState() != MediaPlayer::kPlaying && transport.state.txtCounter2 == counterSeconds(player.currentPosition()));
    }
    transport.BtnMute_Click();
    QCOMPARE(transport.state.BtnMute, u"On"_s);

    // The end is checked as text, in two steps; switching off unchecks chkSegment, switching on leaves it.
    const std::tuple<const char *, const char *, int, bool, bool> rows[] = {
        {"010.000", "005.000", 1, true, false}, // reported, yet enabled by the second step
        {"007.500", "007.500", 1, false, false},
        {"100.000", "20", 0, true, true}, // "20" sorts after "100.000"
        {"002.000", "005.000", 0, true, true}};
    for (const auto &[start, end, messages, enabled, checked] : rows) {
        form.txtCutS = QLatin1String(start);
        form.txtCutE = QLatin1String(end);
        form.chkSegment = true;
        const qsizetype before = dialogs.messages().size();
        for (int i = 0; i < messages; ++i)
            dialogs.answer(DialogAnswer::Ok);
        marks.endTimeCheck();
        QCOMPARE(dialogs.messages().size() - before, messages);
        QVERIFY(form.chkSegmentEnabled == enabled && form.btnSegPreviewEnabled == enabled && form.chkSegment == checked);
    }
    QCOMPARE(dialogs.messages().constFirst().text, u"Please, check the end time of your cut!\r\n\r\nIt can't be less or equal than Start time."_s);
    for (const auto &[seconds, set] : {std::pair{4.25, &SegmentMarks::btnSetS_Click}, {9.5, &SegmentMarks::btnSetE_Click}}) {
        player.setCurrentPosition(seconds);
        QTRY_VERIFY(near(player.currentPosition(), seconds, 0.01));
        (marks.*set)();
    }
    QVERIFY(form.txtCutS == u"004.250"_s && form.txtCutE == u"009.500"_s);
    // The preview plays just the segment: frames 106 to 238 of 25 a second (9.5 s rounded up, the end frame
    // included), then 106 to 150; the rendered sound goes when the next replaces it and when the player goes.
    marks.btnSegPreview_Click();
    const QString first = player.renderedFile();
    QVERIFY2(QFileInfo::exists(first) && near(player.duration(), 133 / 25.0, 0.01), qPrintable(player.loadFailure()));
    QCOMPARE(transport.state.Slider1Max, 5);
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0.2, 10000);
    form.txtCutE = u"006.000"_s;
    marks.btnSegPreview_Click();
    const QString second = player.renderedFile();
    QVERIFY(near(player.duration(), 45 / 25.0, 0.01) && !QFileInfo::exists(first) && QFileInfo::exists(second));

    // A new source is loaded by the next Play, from its start; one the player cannot read says so.
    form.txtPath = shorter;
    player.stop();
    transport.newSource();
    QVERIFY(transport.state.txtPlayWhat == u"1"_s && transport.state.txtCounter2 == u"000.000"_s);
    transport.btnPlay_Click();
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0.2, 10000);
    QVERIFY(transport.state.Slider1Max == 7 && player.currentPosition() < 3 && transport.state.loadFailure.isEmpty());
    form.txtPath = notes;
    transport.newSource();
    transport.btnPlay_Click();
    QVERIFY(!transport.state.loadFailure.isEmpty());
    owned.reset();
    QVERIFY(!QFileInfo::exists(second));
}

// The waveform, computed aside, and marks set on it by the mouse; ten seconds of the output from where the source
// stands, encoded aside, then played, with the estimate until a choice changes; its files go with the next
// preview and with the program.
void TestMainWindow::waveformMarksAndPreviewOfTheResult()
{
    Home home;
    // Three seconds of tone, two of silence, three of a level below zero.
    const QString gap = home.path(u"gap.wav"_s), tone = home.path(u"tone.wav"_s);
    QVERIFY(generate(gap, u"sine=f=440:d=3[a];anullsrc=cl=mono:r=44100:d=2[b];aevalsrc=-0.5:d=3:s=44100[c];[a][b][c]concat=n=3:v=0:a=1"_s,
                     {u"-c:a"_s, u"pcm_s16le"_s}));
    QVERIFY(makeTone(tone, 40));
    auto s = std::make_unique<Started>(home);
    QTRY_VERIFY_WITH_TIMEOUT(s->ready(), 30000);
    auto *view = control<WaveformView>(s->window, "picWaveform");
    auto *button = control<QPushButton>(s->window, "cmdPreviewResult");
    QVERIFY(view->isVisible() && view->width() > 200 && !button->isEnabled());
    // The longer source's computation gives way to the next source's.
    s->form.openDropped(tone);
    QVERIFY(s->form.waveform().computing());
    s->form.openDropped(gap);
    QVERIFY(s->form.waveform().computing() && s->form.waveform().waveform().peaks.isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(!s->form.waveform().computing(), 20000);
    const Waveform &waveform = s->form.waveform().waveform();
    QVERIFY2(near(waveform.seconds(), 8, 0.05) && view->seconds() == waveform.seconds(), qPrintable(QString::number(waveform.seconds())));
    qsizetype silentFrom = -1, silentTo = -1;
    for (qsizetype i = 0; i < waveform.peaks.size(); ++i) {
        if (waveform.peaks[i] < 0.01) {
            silentFrom = silentFrom < 0 ? i : silentFrom;
            silentTo = i + 1;
        }
    }
    const double from = double(silentFrom) / waveform.binsPerSecond, to = double(silentTo) / waveform.binsPerSecond;
    QVERIFY2(near(from, 3, 0.05) && near(to, 5, 0.05), qPrintable(u"%1 .. %2"_s.arg(from).arg(to)));
    QVERIFY2(near(waveform.peaks.value(qsizetype(6.5 * waveform.binsPerSecond)), 0.5, 0.02), "the negative half counts");
    // A left click marks the start, a right click the end; a drag, either
    // way, the whole segment, drawn where it is. Every end is checked.
    auto *start = control<QLineEdit>(s->window, "txtCutS");
    auto *end = control<QLineEdit>(s->window, "txtCutE");
    const auto timeAt = [&](double seconds) { return counterSeconds(view->secondsAt(view->xOf(seconds))); };
    const int y = view->height() / 2;
    QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(view->xOf(2), y));
    QVERIFY(start->text() == timeAt(2) && near(start->text().toDouble(), 2, 0.05));
    QTest::mouseClick(view, Qt::RightButton, {}, QPoint(view->xOf(6), y));
    QVERIFY(end->text() == timeAt(6) && control(s->window, "chkSegment")->isEnabled());
    QTest::mousePress(view, Qt::LeftButton, {}, QPoint(view->xOf(7), y));
    QTest::mouseMove(view, QPoint(view->xOf(4), y));
    QTest::mouseRelease(view, Qt::LeftButton, {}, QPoint(view->xOf(1), y));
    QVERIFY(start->text() == timeAt(1) && end->text() == timeAt(7) && s->dialogs.messages().isEmpty());
    const QImage drawn = view->grab().toImage();
    QVERIFY(drawn.pixelColor(view->xOf(1), 2) == QColor(0x20, 0xa0, 0x40) && drawn.pixelColor(view->xOf(7), 2) == QColor(0xd0, 0x40, 0x40));
    // An end on the start is refused as the Set buttons' is.
    s->dialogs.answer(DialogAnswer::Ok);
    QTest::mouseClick(view, Qt::RightButton, {}, QPoint(view->xOf(1), y));
    QVERIFY(end->text() == start->text() && s->dialogs.messages().size() == 1 && !control(s->window, "chkSegment")->isEnabled());
    QVERIFY(s->dialogs.messages()[0].text.startsWith(u"Please, check the end time"_s));
    // The window's Play button plays the source it has opened; Space on it pauses.
    auto *play = control<QPushButton>(s->window, "btnPlay");
    play->click();
    QTRY_VERIFY_WITH_TIMEOUT(control<QLineEdit>(s->window, "txtCounter2")->text() > u"000.100"_s, 10000);
    QApplication::setActiveWindow(&s->window);
    play->setFocus();
    QTest::keyClick(play, Qt::Key_Space);
    MediaPlayer &player = s->form.transport().player();
    QTRY_VERIFY(player.playState() != MediaPlayer::kPlaying);

    auto *estimate = control<QLabel>(s->window, "lblEstimate");
    s->form.openDropped(tone);
    QVERIFY(button->isEnabled());
    click(s->window, "btnPlay");
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0, 10000);
    click(s->window, "btnPause");
    player.setCurrentPosition(12);
    QTRY_VERIFY(near(player.currentPosition(), 12, 0.01));
    button->click();
    QVERIFY(!button->isEnabled() && s->form.preview().running());
    QTRY_VERIFY_WITH_TIMEOUT(button->isEnabled(), 60000);
    const PreviewOutcome first = s->form.preview().outcome();
    QVERIFY2(first.failure.isEmpty() && QFileInfo::exists(first.file) && near(first.window.start, 12, 0.05), qPrintable(first.failure));
    QVERIFY(s->form.transport().loadedFile() == first.file && near(player.duration(), 10, 0.1));
    QTRY_VERIFY_WITH_TIMEOUT(player.currentPosition() > 0.2, 10000);
    QVERIFY2(estimate->isVisible() && estimate->text().startsWith(u"≈ "_s) && estimate->text().endsWith(u", 128 kbit/s"_s), qPrintable(estimate->text()));
    click(s->window, "chkNormalize");
    QVERIFY(estimate->text().isEmpty());
    click(s->window, "btnPause");
    const double at = s->form.sourcePosition();
    QVERIFY(at > 12);
    button->click();
    QVERIFY(!QFileInfo::exists(first.file));
    QTRY_VERIFY_WITH_TIMEOUT(button->isEnabled(), 60000);
    const PreviewOutcome second = s->form.preview().outcome();
    QVERIFY(QFileInfo::exists(second.file) && second.file != first.file && near(second.window.start, at, 0.05));
    const QString folder = QFileInfo(second.file).path();
    s.reset();
    QVERIFY(!QFileInfo::exists(folder));
}

void TestMainWindow::windowWithoutSound()
{
    Home home;
    const QString tone = home.path(u"tone.wav"_s);
    QVERIFY(makeTone(tone, 3));
    Started s(home);
    QTRY_VERIFY_WITH_TIMEOUT(s.ready(), 30000);
    QVERIFY(s.program.log().text().contains(u" -> Preview player unavailable: no sound output device was found\r\n"_s)
            && !control(s.window, "fraPlayer")->isEnabled());
    s.form.openDropped(tone);
    QVERIFY(!control(s.window, "btnSetS")->isEnabled());
    click(s.window, "btnConvert");
    QVERIFY(QFileInfo(home.path(u"tone_Konverted.mp3"_s)).size() > 0);
}

// The sound server starts before the application object: the media framework looks for sound devices once.
int main(int argc, char *argv[])
{
    qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    QTemporaryDir runtime;
    const QString config = runtime.filePath(u"client.conf"_s), socket = runtime.filePath(u"pulse/native"_s);
    qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
    qputenv("PULSE_CLIENTCONFIG", config.toLocal8Bit());
    if (QFile file(config); !file.open(QIODevice::WriteOnly) || file.write("autospawn = no\n") < 0)
        return 1;
    QProcess server;
    if (withSound()) {
        server.start(u"pulseaudio"_s, {u"-n"_s, u"--daemonize=no"_s, u"--exit-idle-time=-1"_s, u"--disallow-exit"_s,
                                        u"--load=module-null-sink"_s, u"--load=module-native-protocol-unix"_s});
        for (int i = 0; i < 100 && !QFileInfo::exists(socket); ++i)
            QThread::msleep(50);
        if (!QFileInfo::exists(socket))
            return std::fprintf(stderr, "the PulseAudio null sink did not start\n"), 1;
    }
    int status = 0;
    {
        QApplication app(argc, argv);
        TestMainWindow test;
        status = QTest::qExec(&test, argc, argv);
    }
    server.terminate();
    server.waitForFinished(5000);
    return status;
}

#include "tst_mainwindow.moc"
