#include "app/MainWindow.h"

#include "app/AboutDialog.h"
#include "app/ActivityLog.h"
#include "app/FileInfoDialog.h"
#include "controls/ReadingOrder.h"
#include "options/FormatOptions.h"
#include "platform/Twips.h"
#include "player/EqualizerWindow.h"
#include "settings/FormMnemonics.h"
#include "settings/LanguageBinder.h"
#include "settings/OwnCaptions.h"
#include "settings/SetupDialog.h"
#include "ui_MainWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QHeaderView>
#include <QTreeWidget>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFontDatabase>
#include <QMimeData>
#include <QScreen>
#include <QScrollBar>
#include <QShortcut>
#include <QSignalBlocker>
#include <QTextCursor>

#include <limits>

namespace tonmill {

namespace {

// The choices of cmbExisting, in its order.
constexpr ExistingPolicy kExistingPolicies[] = {ExistingPolicy::Ask, ExistingPolicy::Skip, ExistingPolicy::Overwrite,
                                                ExistingPolicy::Rename};

constexpr int kVolumeMaxPercent = 200;

void showText(QLineEdit *edit, const QString &text)
{
    if (edit->text() != text) {
        const QSignalBlocker quiet(edit);
        edit->setText(text);
    }
}

void showText(QLabel *label, const QString &text)
{
    if (label->text() != text)
        label->setText(text);
}

void showPane(QPlainTextEdit *pane, const QString &text)
{
    const QString shown = QString(text).remove(QLatin1Char('\r'));
    if (pane->toPlainText() == shown)
        return;
    pane->setPlainText(shown);
    pane->moveCursor(QTextCursor::End);
}

// shownItems: the items the box was last given, so that a render compares
// rather than reads the box back.
void showChoice(QComboBox *box, const ChoiceList &list, QStringList &shownItems)
{
    const QSignalBlocker quiet(box);
    if (shownItems != list.items) {
        box->clear();
        box->addItems(list.items);
        shownItems = list.items;
    }
    if (box->isEditable()) {
        if (box->currentText() != list.text)
            box->setEditText(list.text);
    } else {
        box->setCurrentIndex(static_cast<int>(list.index()));
    }
}

void showChecked(QAbstractButton *button, bool checked)
{
    if (button->isChecked() != checked) {
        const QSignalBlocker quiet(button);
        button->setChecked(checked);
    }
}

QStringList localFilesOf(const QMimeData *data)
{
    QStringList paths;
    if (!data || !data->hasUrls())
        return paths;
    for (const QUrl &url : data->urls()) {
        if (url.isLocalFile())
            paths << url.toLocalFile();
    }
    return paths;
}

} // namespace

MainWindow::MainWindow(MainForm &form, ActivityLog &log, QWidget *parent)
    : QMainWindow(parent)
    , m_ui(std::make_unique<Ui::MainWindow>())
    , m_main(form)
{
    m_ui->setupUi(this);
    setObjectName(QStringLiteral("Main"));
    setAcceptDrops(true);
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    m_ui->rtfOutput->setFont(fixed);
    m_ui->rtbOutput->setFont(fixed);
    m_ui->rtbLog->setReadOnly(true);
    // The log and the margin below it fill exactly the room that showing it
    // adds to the window, so that the shorter window hides all of it.
    m_ui->fraBottom->setFixedHeight(twipsToPixels(kLogPanelHeightTwips, dpi())
                                 - m_ui->frmMain->layout()->contentsMargins().bottom());

    // What shows only during a job keeps its room while hidden, so the
    // buttons beside it do not jump when a job starts.
    for (QWidget *busyOnly : {static_cast<QWidget *>(m_ui->btnAbort), static_cast<QWidget *>(m_ui->PB1),
                              static_cast<QWidget *>(m_ui->Encoding), static_cast<QWidget *>(m_ui->lblWMAprogress)}) {
        QSizePolicy policy = busyOnly->sizePolicy();
        policy.setRetainSizeWhenHidden(true);
        busyOnly->setSizePolicy(policy);
    }
    m_ui->Encoding->setMinimumWidth(m_ui->Encoding->fontMetrics().horizontalAdvance(QStringLiteral("000.0%   Size: 99999kB")));

    bindMenus();
    bindSource();
    bindOptions();
    bindTagsAndClip();
    bindJob();
    bindPlayer();
    bindBatch();
    bindKeys();
    declarePanelsShownInTurn();
    setTabOrderByReading(this);
    // A screen too low for the window's height: the content scrolls, and
    // follows the focus.
    m_contentScroll = new QScrollBar(Qt::Vertical, centralWidget());
    m_contentScroll->hide();
    connect(m_contentScroll, &QScrollBar::valueChanged, this, &MainWindow::layOutContent);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) { scrollToFocus(now); });
    m_clock.start();
    m_announceTimer.setInterval(1000);
    connect(&m_announceTimer, &QTimer::timeout, this, &MainWindow::announceProgress);

    showLog(log.text(), log.text().size());
    connect(&log, &ActivityLog::changed, this, &MainWindow::showLog);
    resize(twipsToPixels(kFormWidthTwips, dpi()), height());
    setWantedHeight(pixelHeight(mainWindowHeightTwips(false, false)));
    render();
}

MainWindow::~MainWindow() = default;

double MainWindow::dpi() const
{
    return logicalDpiY();
}

void MainWindow::bindMenus()
{
    connect(m_ui->mnuAbrir, &QAction::triggered, this, [this] { m_main.mnuAbrir_Click(); });
    connect(m_ui->mnuSave, &QAction::triggered, this, [this] { m_main.mnuSave_Click(); });
    connect(m_ui->mnuExit, &QAction::triggered, this, [this] { m_main.mnuExit_Click(); });
    connect(m_ui->mnuSetup, &QAction::triggered, this, [this] { m_main.mnuSetup_Click(); });
    connect(m_ui->mnuAbout, &QAction::triggered, this, [this] { m_main.mnuAbout_Click(); });
    // The items' checked states are the form's: a click toggles them there.
    connect(m_ui->mnuLog, &QAction::triggered, this, [this] { m_main.mnuLog_Click(); });
    connect(m_ui->mnuSaveLog, &QAction::triggered, this, [this] { m_main.mnuSaveLog_Click(); });
    connect(m_ui->mnuTagEditor, &QAction::triggered, this, [this] { m_main.mnuTagEditor_Click(); });
    connect(m_ui->btnAbout, &QPushButton::clicked, this, [this] { m_main.mnuAbout_Click(); });
    connect(m_ui->btnExit, &QPushButton::clicked, this, [this] { m_main.btnExit_Click(); });
}

void MainWindow::bindSource()
{
    connect(m_ui->cmdBrowse, &QPushButton::clicked, this, [this] { m_main.mnuAbrir_Click(); });
    connect(m_ui->btnInfo, &QPushButton::clicked, this, [this] { m_main.btnInfo_Click(); });
    connect(m_ui->btnOutFolder, &QPushButton::clicked, this, [this] { m_main.mnuSave_Click(); });
    connect(m_ui->txtPath, &QLineEdit::textEdited, this, [this](const QString &text) {
        m_main.form.txtPath = text;
        m_main.selection().txtPath_Change();
        render();
    });
    connect(m_ui->chkSameOutput, &QCheckBox::clicked, this, [this](bool checked) {
        m_main.form.chkSameOutput = checked;
        m_main.selection().chkSameOutput_Click(checked);
        render();
    });
}

void MainWindow::bindOptions()
{
    OptionPanel &panel = m_main.panel();
    MainFormState &form = m_main.form;
    OptionState &options = m_main.options;

    connect(m_ui->cmbFormat, &QComboBox::activated, this, [this, &panel, &form](int index) {
        form.cmbFormat.text = m_ui->cmbFormat->itemText(index);
        panel.cmbFormat_Click();
        render();
    });
    connect(m_ui->cmbWMAProfile, &QComboBox::activated, this, [this, &panel, &options](int index) {
        options.cmbWMAProfile.text = m_ui->cmbWMAProfile->itemText(index);
        panel.cmbWMAProfile_Click();
        render();
    });
    m_lists = {{m_ui->cmbFormat, &form.cmbFormat, {}}, {m_ui->cmbWMAProfile, &options.cmbWMAProfile, {}},
               {m_ui->Combo8, &options.Combo8, {}},    {m_ui->Combo1, &options.Combo1, {}},
               {m_ui->Combo2, &options.Combo2, {}},    {m_ui->Combo6, &options.Combo6, {}},
               {m_ui->Combo5, &options.Combo5, {}},    {m_ui->cmbGenre, &form.cmbGenre, {}},
               {m_ui->cmbFLACLevel, &options.cmbFLACLevel, {}},   {m_ui->cmbOpusBitRate, &options.cmbOpusBitRate, {}},
               {m_ui->cmbOggQuality, &options.cmbOggQuality, {}}, {m_ui->cmbM4ABitRate, &options.cmbM4ABitRate, {}},
               {m_ui->cmbM4AQuality, &options.cmbM4AQuality, {}}};
    // The bitrate and quality lists hold no handler of their own: the job
    // reads their text.
    for (const ShownList &shown : m_lists.mid(2, 5) + m_lists.mid(8)) {
        connect(shown.box, &QComboBox::activated, this, [box = shown.box, list = shown.list](int index) {
            list->text = box->itemText(index);
        });
    }

    m_arrays = {
        {QStringLiteral("optSamFreqAAC"), &OptionState::aacSamFreq, &OptionPanel::optSamFreqAAC_Click, {}},
        {QStringLiteral("optSamFreqAC3"), &OptionState::ac3SamFreq, &OptionPanel::optSamFreqAC3_Click, {}},
        {QStringLiteral("optSamFreqMP2"), &OptionState::MP2SamFreq, &OptionPanel::optSamFreqMP2_Click, {}},
        {QStringLiteral("optSamFreq"), &OptionState::mp3SamFreq, &OptionPanel::optSamFreq_Click, {}},
        {QStringLiteral("optSamFreqWAV"), &OptionState::wavSamFreq, &OptionPanel::optSamFreqWAV_Click, {}},
        {QStringLiteral("optChannelsAAC"), &OptionState::aacChannels, &OptionPanel::optChannelsAAC_Click, {}},
        {QStringLiteral("optChannelsAC3"), &OptionState::ac3Channels, &OptionPanel::optChannelsAC3_Click, {}},
        {QStringLiteral("optChannelsMP2"), &OptionState::mp2Channels, &OptionPanel::optChannelsMP2_Click, {}},
        {QStringLiteral("optChannels"), &OptionState::mp3Channels, &OptionPanel::optChannels_Click, {}},
        {QStringLiteral("optChannelsWAV"), &OptionState::wavChannels, &OptionPanel::optChannelsWAV_Click, {}},
        {QStringLiteral("optProfileAAC"), &OptionState::txtAACProfile, &OptionPanel::optProfileAAC_Click, {}},
        {QStringLiteral("optMP2Header"), &OptionState::txtMP2Header, &OptionPanel::optMP2Header_Click, {}},
        {QStringLiteral("optPCM"), &OptionState::wavPCM, &OptionPanel::optPCM_Click, {}},
        {QStringLiteral("optAMRType"), &OptionState::amrType, &OptionPanel::optAMRType_Click, {}},
        {QStringLiteral("optSamFreqFLAC"), &OptionState::flacSamFreq, &OptionPanel::optSamFreqFLAC_Click, {}},
        {QStringLiteral("optFLACBits"), &OptionState::flacBits, &OptionPanel::optFLACBits_Click, {}},
        {QStringLiteral("optOpusMode"), &OptionState::opusMode, &OptionPanel::optOpusMode_Click, {}},
        {QStringLiteral("optOpusApp"), &OptionState::opusApplication, &OptionPanel::optOpusApp_Click, {}},
        {QStringLiteral("optM4AMode"), &OptionState::m4aMode, &OptionPanel::optM4AMode_Click, {}},
        {QStringLiteral("optSamFreqALAC"), &OptionState::alacSamFreq, &OptionPanel::optSamFreqALAC_Click, {}},
        {QStringLiteral("optALACBits"), &OptionState::alacBits, &OptionPanel::optALACBits_Click, {}},
    };
    for (ButtonArray &array : m_arrays) {
        for (int i = 0;; ++i) {
            auto *button = findChild<QRadioButton *>(array.name + QLatin1Char('_') + QString::number(i));
            if (!button)
                break;
            array.buttons << button;
            const auto handler = array.handler;
            connect(button, &QRadioButton::clicked, this, [this, &panel, handler, i] {
                (panel.*handler)(i);
                render();
            });
        }
        Q_ASSERT(!array.buttons.isEmpty());
    }

    m_ui->slVolume->setRange(0, kVolumeMaxPercent);
    m_ui->slVolume->setPageStep(10);
    connect(m_ui->slVolume, &DMSlider::valueChanged, this, [this, &form](int value) {
        form.slVolume = value;
        render();
    });
}

void MainWindow::bindTagsAndClip()
{
    MainFormState &form = m_main.form;
    const std::pair<QLineEdit *, QString *> fields[] = {
        {m_ui->txtTitle, &form.txtTitle}, {m_ui->txtArtist, &form.txtArtist}, {m_ui->txtAlbum, &form.txtAlbum},
        {m_ui->txtYear, &form.txtYear},   {m_ui->txtNotes, &form.txtNotes},   {m_ui->txtTrack, &form.txtTrack},
        {m_ui->txtCutS, &form.txtCutS},   {m_ui->txtCutE, &form.txtCutE},
    };
    // Only the cut fields change what the window shows (the size estimate);
    // a tag typed in needs no redraw per key.
    for (const auto &[edit, field] : fields) {
        const bool shapesOutput = edit == m_ui->txtCutS || edit == m_ui->txtCutE;
        connect(edit, &QLineEdit::textEdited, this, [this, field = field, shapesOutput](const QString &text) {
            *field = text;
            if (shapesOutput)
                render();
        });
    }
    connect(m_ui->cmbGenre, &QComboBox::currentTextChanged, this, [&form](const QString &text) {
        form.cmbGenre.text = text;
    });
    connect(m_ui->chkNormalize, &QCheckBox::clicked, this, [this, &form](bool checked) {
        form.chkNormalize = checked;
        render();
    });
    connect(m_ui->chkFadeInOut, &QCheckBox::clicked, this, [this, &form](bool checked) {
        form.chkFadeInOut = checked;
        render();
    });
    connect(m_ui->cmbLoudness, &QComboBox::activated, this, [this, &form](int index) {
        form.selectLoudness(index);
        render();
    });
    connect(m_ui->spnTruePeak, &QDoubleSpinBox::valueChanged, this, [this, &form](double ceiling) {
        form.loudness.truePeakDbtp = ceiling;
        render();
    });
    connect(m_ui->chk51UpMix, &QCheckBox::clicked, this, [this, &form](bool checked) {
        form.chk51UpMix.checked = checked;
        render();
    });
    connect(m_ui->chkSegment, &QCheckBox::clicked, this, [this, &form](bool checked) {
        form.chkSegment = checked;
        render();
    });
}

void MainWindow::bindJob()
{
    connect(m_ui->btnConvert, &QPushButton::clicked, this, [this] { m_main.btnConvert_Click(); });
    connect(m_ui->btnAbort, &QPushButton::clicked, this, [this] { m_main.btnAbort_Click(); });
    const auto send = [this] {
        m_main.btnSend_Click(m_ui->txtSend->text());
        m_ui->txtSend->clear();
    };
    connect(m_ui->btnSend, &QPushButton::clicked, this, send);
    connect(m_ui->txtSend, &QLineEdit::returnPressed, this, send);
}

void MainWindow::bindPlayer()
{
    PlayerTransport &transport = m_main.transport();
    SegmentMarks &segment = m_main.segment();
    const auto handle = [this](QAbstractButton *button, auto &&handler) {
        connect(button, &QAbstractButton::clicked, this, [this, handler] {
            handler();
            m_main.playerChanged();
        });
    };
    handle(m_ui->btnPlay, [&transport] { transport.btnPlay_Click(); });
    handle(m_ui->btnPause, [&transport] { transport.btnPause_Click(); });
    handle(m_ui->BtnMute, [&transport] { transport.BtnMute_Click(); });
    const std::pair<QAbstractButton *, double> steps[] = {
        {m_ui->btnStepB, -0.1}, {m_ui->btnStepBB, -1.0}, {m_ui->btnStepBBB, -5.0},
        {m_ui->btnStepF, 0.1},  {m_ui->btnStepFF, 1.0},  {m_ui->btnStepFFF, 5.0},
    };
    for (const auto &[button, seconds] : steps)
        handle(button, [&transport, seconds = seconds] { transport.step(seconds); });
    handle(m_ui->btnSetS, [&segment] { segment.btnSetS_Click(); });
    handle(m_ui->btnSetE, [&segment] { segment.btnSetE_Click(); });
    handle(m_ui->btnSegPreview, [&segment] { segment.btnSegPreview_Click(); });
    // The segment's end is checked when segment mode is switched and when an
    // edit of the end time is finished.
    connect(m_ui->txtCutE, &QLineEdit::editingFinished, this, [this, &segment] {
        if (!m_ui->txtCutE->isModified())
            return;
        m_ui->txtCutE->setModified(false);
        segment.endTimeCheck();
        m_main.playerChanged();
    });

    // On the waveform a left click marks the start, a right click the end,
    // and a drag the whole segment.
    connect(m_ui->picWaveform, &WaveformView::clicked, this, [this, &segment](double seconds, Qt::MouseButton button) {
        if (button == Qt::RightButton)
            segment.markEnd(seconds);
        else
            segment.markStart(seconds);
        m_main.playerChanged();
    });
    connect(m_ui->picWaveform, &WaveformView::spanSelected, this, [this, &segment](double from, double to) {
        segment.markSpan(from, to);
        m_main.playerChanged();
    });

    m_ui->Slider1->setShownText(QString());
    connect(m_ui->Slider1, &DMSlider::pressed, this, [this, &transport] {
        transport.Slider1_Press(m_ui->Slider1->value());
        m_main.playerChanged();
    });
    connect(m_ui->Slider1, &DMSlider::released, this, [this, &transport] {
        transport.Slider1_Release(m_ui->Slider1->value());
        m_main.playerChanged();
    });
    m_ui->sldVolume->setRange(0, PlayerState::kVolumeMax);
    connect(m_ui->sldVolume, &DMSlider::valueChanged, this, [this, &transport](int value) {
        transport.sldVolume_Change(value);
        m_main.playerChanged();
    });
    for (DMSlider *slider : {m_ui->sldVolume, m_ui->slVolume}) {
        connect(slider, &DMSlider::pressed, this, [this, &transport] {
            transport.sliderPress();
            m_main.playerChanged();
        });
        connect(slider, &DMSlider::released, this, [this, &transport] {
            transport.sliderRelease();
            m_main.playerChanged();
        });
    }
    connect(m_ui->mnuEqualizer, &QAction::triggered, this, [this] { m_main.mnuEqualizer_Click(); });
    connect(m_ui->cmdPreviewResult, &QPushButton::clicked, this, [this] { m_main.cmdPreviewResult_Click(); });
}

void MainWindow::bindBatch()
{
    QHeaderView *header = m_ui->lstBatch->header();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(0, QHeaderView::Stretch);
    header->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    header->setSectionResizeMode(2, QHeaderView::Stretch);
    connect(m_ui->optFileMode, &QRadioButton::clicked, this, [this] { m_main.setBatchMode(false); });
    connect(m_ui->optBatchMode, &QRadioButton::clicked, this, [this] { m_main.setBatchMode(true); });
    connect(m_ui->btnAddFiles, &QPushButton::clicked, this, [this] { m_main.btnAddFiles_Click(); });
    connect(m_ui->btnAddFolder, &QPushButton::clicked, this, [this] { m_main.btnAddFolder_Click(); });
    connect(m_ui->chkSubfolders, &QCheckBox::clicked, this, [this](bool checked) {
        m_main.batch.chkSubfolders = checked;
    });
    connect(m_ui->btnRemove, &QPushButton::clicked, this, [this] {
        QList<int> rows;
        for (const QModelIndex &index : m_ui->lstBatch->selectionModel()->selectedRows())
            rows << index.row();
        m_main.btnRemove_Click(rows);
    });
    connect(m_ui->btnClear, &QPushButton::clicked, this, [this] { m_main.btnClear_Click(); });
    connect(m_ui->optOutBeside, &QRadioButton::clicked, this, [this] { m_main.setOutputIntoFolder(false); });
    connect(m_ui->optOutFolder, &QRadioButton::clicked, this, [this] { m_main.setOutputIntoFolder(true); });
    connect(m_ui->btnOutputDir, &QPushButton::clicked, this, [this] { m_main.btnOutputDir_Click(); });
    connect(m_ui->txtNamePattern, &QLineEdit::textEdited, this, [this](const QString &text) { m_main.setNamePattern(text); });
    connect(m_ui->cmbExisting, &QComboBox::activated, this, [this](int index) {
        m_main.setExisting(kExistingPolicies[std::clamp(index, 0, int(std::size(kExistingPolicies)) - 1)]);
    });
    connect(m_ui->chkTrashSources, &QCheckBox::clicked, this, [this](bool checked) { m_main.setTrashSources(checked); });
}

QString MainWindow::outputText(const BatchFormState &batch, int row) const
{
    const BatchItem &item = batch.items[row];
    // Before a run the list shows where each file would go, marked when
    // another file takes its name first or a file is there already.
    if (item.status != BatchItem::Status::Waiting || batch.running)
        return item.output;
    if (!batch.patternRefusal.isEmpty())
        return batch.patternRefusal;
    if (row >= batch.preview.size())
        return item.output;
    const PlannedOutput &planned = batch.preview[row];
    QStringList marks;
    if (planned.collided)
        marks << ownText("Main", "preview.collides", m_language);
    if (planned.decision != PlannedOutput::Decision::New)
        marks << ownText("Main", "preview.exists", m_language);
    return planned.output
           + (marks.isEmpty() ? QString() : QStringLiteral("  [") + marks.join(QStringLiteral(", ")) + QLatin1Char(']'));
}

void MainWindow::bindKeys()
{
    m_ui->mnuAbrir->setShortcut(QKeySequence::Open);
    m_ui->mnuSave->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S));
    m_ui->mnuExit->setShortcut(QKeySequence::Quit);
    m_ui->mnuAbout->setShortcut(QKeySequence(Qt::Key_F1));
    // A click, as the mouse gives: a disabled or hidden button does nothing.
    const auto press = [](QAbstractButton *button) {
        if (button->isEnabled() && button->isVisible())
            button->click();
    };
    auto *convert = new QShortcut(this);
    convert->setKeys({QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)});
    connect(convert, &QShortcut::activated, this, [this, press] { press(m_ui->btnConvert); });
    auto *abort = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    connect(abort, &QShortcut::activated, this, [this, press] { press(m_ui->btnAbort); });
    // The step and mute buttons keep Space for their own click.
    for (QWidget *player : {static_cast<QWidget *>(m_ui->btnPlay), static_cast<QWidget *>(m_ui->btnPause),
                            static_cast<QWidget *>(m_ui->Slider1->slider()), static_cast<QWidget *>(m_ui->txtCounter1),
                            static_cast<QWidget *>(m_ui->txtCounter2)}) {
        auto *space = new QShortcut(QKeySequence(Qt::Key_Space), player, nullptr, nullptr, Qt::WidgetShortcut);
        connect(space, &QShortcut::activated, this, [this] {
            m_main.transport().playOrPause();
            m_main.playerChanged();
        });
    }
}

void MainWindow::declarePanelsShownInTurn()
{
    for (QWidget *fileMode : {static_cast<QWidget *>(m_ui->fraFileMode), static_cast<QWidget *>(m_ui->fraTagViewer),
                              static_cast<QWidget *>(m_ui->fraCutSegment)})
        fileMode->setProperty(kShownInTurn, QStringLiteral("mode:file"));
    m_ui->fraBatchMode->setProperty(kShownInTurn, QStringLiteral("mode:batch"));
    for (QWidget *frame : formatFrames())
        frame->setProperty(kShownInTurn, QStringLiteral("format:") + frame->objectName());
    // Its caption changes with every click.
    m_ui->BtnMute->setProperty(kTakesMnemonic, false);
}

QList<QWidget *> MainWindow::formatFrames() const
{
    return {m_ui->frmAAC, m_ui->frmAC3, m_ui->frmAMR,  m_ui->frmMP2, m_ui->frmMP3, m_ui->frmWAV,
            m_ui->frmWMA, m_ui->frmFLAC, m_ui->frmOPUS, m_ui->frmOGG, m_ui->frmM4A, m_ui->frmALAC};
}

void MainWindow::renderBatch()
{
    const BatchFormState &batch = m_main.batch;
    showChecked(m_ui->optFileMode, !batch.batchMode);
    showChecked(m_ui->optBatchMode, batch.batchMode);
    // The batch list takes the place of the single source and its tags.
    m_ui->fraFileMode->setVisible(!batch.batchMode);
    const bool tags = !batch.batchMode && m_main.form.mnuTagEditor;
    m_ui->fraTagViewer->setVisible(tags);
    m_ui->lblNoTags->setVisible(tags && !formatKeepsTags(m_main.options.txtFormat));
    m_ui->fraBatchMode->setVisible(batch.batchMode);
    // A batch converts whole files: the segment marks are a single file's.
    m_ui->fraCutSegment->setVisible(!batch.batchMode);
    // While the batch runs its list stays readable; only what changes it waits.
    for (QWidget *control : {static_cast<QWidget *>(m_ui->btnAddFiles), static_cast<QWidget *>(m_ui->btnAddFolder),
                             static_cast<QWidget *>(m_ui->chkSubfolders), static_cast<QWidget *>(m_ui->btnRemove),
                             static_cast<QWidget *>(m_ui->btnClear), static_cast<QWidget *>(m_ui->optOutBeside),
                             static_cast<QWidget *>(m_ui->optOutFolder), static_cast<QWidget *>(m_ui->btnOutputDir),
                             static_cast<QWidget *>(m_ui->txtNamePattern), static_cast<QWidget *>(m_ui->cmbExisting),
                             static_cast<QWidget *>(m_ui->chkTrashSources)})
        control->setEnabled(!batch.running);
    m_ui->optFileMode->setEnabled(!batch.running);
    m_ui->optBatchMode->setEnabled(!batch.running);
    showChecked(m_ui->chkSubfolders, batch.chkSubfolders);
    showChecked(m_ui->optOutBeside, !batch.optOutFolder);
    showChecked(m_ui->optOutFolder, batch.optOutFolder);
    showText(m_ui->txtOutputDir, batch.txtOutputDir);
    showText(m_ui->txtNamePattern, batch.txtNamePattern);
    showChecked(m_ui->chkTrashSources, batch.chkTrashSources);
    const int policy = int(std::find(std::begin(kExistingPolicies), std::end(kExistingPolicies), batch.cmbExisting)
                           - std::begin(kExistingPolicies));
    if (m_ui->cmbExisting->currentIndex() != policy)
        m_ui->cmbExisting->setCurrentIndex(policy);

    QTreeWidget *list = m_ui->lstBatch;
    while (list->topLevelItemCount() > batch.items.size())
        delete list->takeTopLevelItem(list->topLevelItemCount() - 1);
    while (list->topLevelItemCount() < batch.items.size())
        list->addTopLevelItem(new QTreeWidgetItem(list));
    for (int row = 0; row < batch.items.size(); ++row) {
        const BatchItem &item = batch.items[row];
        QTreeWidgetItem *shown = list->topLevelItem(row);
        QString status = ownText("Main", qPrintable(QStringLiteral("batch.") + batchStatusText(item.status)), m_language);
        if (item.status == BatchItem::Status::Running && item.seconds > 0)
            status += QStringLiteral(" %1 %").arg(qRound(100 * item.encoded / item.seconds));
        const QString texts[] = {QFileInfo(item.source).fileName(), status, outputText(batch, row)};
        for (int column = 0; column < 3; ++column) {
            if (shown->text(column) != texts[column])
                shown->setText(column, texts[column]);
        }
        shown->setToolTip(0, item.source);
        shown->setToolTip(1, item.reason);
    }
}

void MainWindow::renderPlayer()
{
    const PlayerState &player = m_main.transport().state;
    const bool playable = player.unavailable.isEmpty();
    m_ui->fraPlayer->setEnabled(playable);
    m_ui->fraPlayer->setToolTip(player.unavailable);
    m_ui->btnSetS->setEnabled(playable && m_main.form.sourceControlsEnabled);
    m_ui->btnSetE->setEnabled(playable && m_main.form.sourceControlsEnabled);
    m_ui->btnSegPreview->setEnabled(playable && m_main.form.btnSegPreviewEnabled);
    // A preview of the result is a single file's, made while no job runs.
    m_ui->cmdPreviewResult->setEnabled(playable && m_main.form.sourceControlsEnabled && m_main.form.btnConvertEnabled
                                       && !m_main.form.previewing && !m_main.batch.batchMode);
    m_ui->chkSegment->setEnabled(m_main.form.chkSegmentEnabled);
    if (m_ui->Slider1->slider()->maximum() != player.Slider1Max)
        m_ui->Slider1->setRange(0, player.Slider1Max);
    // While the person holds the slider it is theirs, not the player's.
    if (!m_ui->Slider1->slider()->isSliderDown() && m_ui->Slider1->value() != player.Slider1)
        m_ui->Slider1->setValue(player.Slider1);
    m_ui->Slider1->setToolTip(player.Slider1Text);
    const Waveform &waveform = m_main.waveform().waveform();
    m_ui->picWaveform->setPeaks(waveform.peaks, waveform.binsPerSecond);
    m_ui->picWaveform->setPosition(m_main.sourcePosition());
    // A typed time that is no number leaves its mark off.
    const auto mark = [](const QString &text) -> std::optional<double> {
        bool ok = false;
        const double seconds = text.toDouble(&ok);
        return ok ? std::optional(seconds) : std::nullopt;
    };
    m_ui->picWaveform->setMarks(mark(m_main.form.txtCutS), mark(m_main.form.txtCutE));
    showText(m_ui->txtCounter1, player.txtCounter1);
    showText(m_ui->txtCounter2, player.txtCounter2);
    m_ui->BtnMute->setCaption(player.BtnMute);
    // A muted player shows it on the button's face.
    m_ui->BtnMute->setBackColor(player.BtnMute == QLatin1String("On") ? QColor(0xd0, 0x40, 0x40) : QColor());
    const QString muteName =
        ownText("Main", player.BtnMute == QLatin1String("On") ? "BtnMute.unmute" : "BtnMute.mute", m_language);
    if (m_ui->BtnMute->accessibleName() != muteName) {
        m_ui->BtnMute->setAccessibleName(muteName);
        m_ui->BtnMute->setToolTip(muteName);
    }
    if (m_ui->sldVolume->value() != player.sldVolume)
        m_ui->sldVolume->setValue(player.sldVolume);
    m_ui->sldVolume->setShownText(QString::number((player.sldVolume - PlayerState::kVolumeMax) / 100.0, 'f', 1)
                                  + QStringLiteral(" dB"));
    showText(m_ui->lblPlayerStatus, player.Timer2Enabled ? player.status : QString());
}

void MainWindow::render()
{
    const MainFormState &form = m_main.form;
    const OptionState &options = m_main.options;

    showText(m_ui->txtPath, form.txtPath);
    showText(m_ui->lblOutputPath, form.lblOutputPath);
    m_ui->lblOutputPath->setToolTip(form.lblOutputPath);
    showChecked(m_ui->chkSameOutput, form.chkSameOutput);
    m_ui->btnInfo->setEnabled(form.sourceControlsEnabled);

    for (ShownList &shown : m_lists)
        showChoice(shown.box, *shown.list, shown.items);
    for (QWidget *frame : formatFrames())
        frame->setVisible(frame->objectName() == form.visibleFrame);
    // M4A encodes at a bitrate or at a VBR quality: the other list is idle.
    const bool m4aQuality = options.m4aMode == QLatin1String("1");
    m_ui->cmbM4ABitRate->setEnabled(!m4aQuality);
    m_ui->cmbM4AQuality->setEnabled(m4aQuality);
    for (const ButtonArray &array : m_arrays) {
        const int chosen = (options.*array.field).toInt();
        for (int i = 0; i < array.buttons.size(); ++i)
            showChecked(array.buttons[i], i == chosen);
    }
    if (m_ui->slVolume->value() != form.slVolume)
        m_ui->slVolume->setValue(form.slVolume);
    m_ui->slVolume->setShownText(QString::number(form.slVolume) + QStringLiteral(" %"));

    const std::pair<QLineEdit *, const QString *> fields[] = {
        {m_ui->txtTitle, &form.txtTitle}, {m_ui->txtArtist, &form.txtArtist}, {m_ui->txtAlbum, &form.txtAlbum},
        {m_ui->txtYear, &form.txtYear},   {m_ui->txtNotes, &form.txtNotes},   {m_ui->txtTrack, &form.txtTrack},
        {m_ui->txtCutS, &form.txtCutS},   {m_ui->txtCutE, &form.txtCutE},
    };
    for (const auto &[edit, field] : fields)
        showText(edit, *field);
    showChecked(m_ui->chkNormalize, form.chkNormalize);
    showChecked(m_ui->chkFadeInOut, form.chkFadeInOut);
    const bool loudnessTarget = form.loudness.mode == LoudnessChoice::Mode::Normalize;
    m_ui->chkNormalize->setEnabled(!loudnessTarget);
    if (m_ui->cmbLoudness->currentIndex() != form.loudnessIndex())
        m_ui->cmbLoudness->setCurrentIndex(form.loudnessIndex());
    m_ui->spnTruePeak->setEnabled(loudnessTarget);
    if (m_ui->spnTruePeak->value() != form.loudness.truePeakDbtp)
        m_ui->spnTruePeak->setValue(form.loudness.truePeakDbtp);
    showChecked(m_ui->chk51UpMix, form.chk51UpMix.checked);
    m_ui->chk51UpMix->setEnabled(form.chk51UpMix.enabled);
    showChecked(m_ui->chkSegment, form.chkSegment);

    // The job: idle or busy, and its progress; told before the bar hides.
    announceProgress();
    // The focus goes from Convert on to Abort, shown first, and back.
    const bool abortHadFocus = m_ui->btnAbort->hasFocus();
    m_ui->btnAbort->setVisible(form.btnAbortVisible);
    m_ui->btnConvert->setEnabled(form.btnConvertEnabled);
    if (abortHadFocus && !form.btnAbortVisible && form.btnConvertEnabled)
        m_ui->btnConvert->setFocus();
    m_ui->btnExit->setEnabled(form.btnExitEnabled);
    m_ui->mnuArquivo->setEnabled(form.mnuArquivoEnabled);
    m_ui->mnuArquivo->menuAction()->setEnabled(form.mnuArquivoEnabled);
    // Their keys work as long as the menu does.
    for (QAction *item : m_ui->mnuArquivo->actions())
        item->setEnabled(form.mnuArquivoEnabled);
    m_ui->PB1->setVisible(form.PB1Visible);
    m_ui->PB1->setMax(form.PB1Max);
    m_ui->PB1->setShownValue(std::clamp(form.progress.PB1, m_ui->PB1->minimum(), m_ui->PB1->maximum()));
    m_ui->Encoding->setVisible(form.EncodingVisible && !form.lblWMAprogressVisible);
    showText(m_ui->Encoding, form.progress.Encoding);
    m_ui->lblWMAprogress->setVisible(form.lblWMAprogressVisible);
    showText(m_ui->lblWMAprogress, form.progress.lblWMAprogress);
    // While a job runs its progress takes the estimate's room.
    m_ui->lblEstimate->setVisible(form.btnConvertEnabled && !m_main.batch.batchMode);
    showText(m_ui->lblEstimate, m_main.currentEstimate());
    showPane(m_ui->rtbOutput, form.rtbOutput);
    showPane(m_ui->rtfOutput, m_main.console().text());

    m_ui->mnuLog->setChecked(form.mnuLog);
    // While the log is hidden its panel lies below the window's edge; its
    // panes hide too, so that neither Tab nor a screen reader finds them.
    for (QWidget *pane : {static_cast<QWidget *>(m_ui->rtbLog), static_cast<QWidget *>(m_ui->fraConsole),
                          static_cast<QWidget *>(m_ui->fraEncoder)})
        pane->setVisible(form.mnuLog);
    m_ui->mnuSaveLog->setChecked(form.mnuSaveLog);
    m_ui->mnuTagEditor->setChecked(form.mnuTagEditor);
    renderPlayer();
    renderBatch();
    stopTabAtChosenOptions(this);
    // In batch mode the batch list takes the tag editor's room.
    fitTagEditorRoom(form.mnuTagEditor || m_main.batch.batchMode);
}

void MainWindow::fitTagEditorRoom(bool kept)
{
    if (kept == m_tagEditorRoomKept)
        return;
    m_tagEditorRoomKept = kept;
    const int wanted = height() + m_screenShortfall + m_tagEditorRoom;
    // The frame keeps its last height while hidden: that is the room it gives back.
    m_tagEditorRoom = kept ? 0 : m_ui->fraTagViewer->height();
    setWantedHeight(wanted);
}

void MainWindow::setWantedHeight(int pixels)
{
    const int wanted = pixels - m_tagEditorRoom;
    const int shown = std::min(wanted, roomOnScreen());
    m_screenShortfall = wanted - shown;
    resize(width(), shown);
    layOutContent();
}

int MainWindow::roomOnScreen() const
{
    const QScreen *where = screen();
    const int frame = frameGeometry().height() - geometry().height();
    return where ? where->availableGeometry().height() - frame : std::numeric_limits<int>::max();
}

void MainWindow::showLog(const QString &text, qsizetype caret)
{
    // The panel counts a line break as one character where the log's CR LF is two.
    const qsizetype returnsBeforeCaret = QStringView(text).left(caret).count(QLatin1Char('\r'));
    m_ui->rtbLog->setPlainText(QString(text).remove(QLatin1Char('\r')));
    QTextCursor cursor = m_ui->rtbLog->textCursor();
    cursor.setPosition(static_cast<int>(caret - returnsBeforeCaret));
    m_ui->rtbLog->setTextCursor(cursor);
    m_ui->rtbLog->ensureCursorVisible();
}

void MainWindow::setTitle(const QString &title)
{
    setWindowTitle(title);
}

void MainWindow::setWidthTwips(int twips)
{
    resize(twipsToPixels(twips, dpi()), height());
}

int MainWindow::heightTwips() const
{
    return pixelsToTwips(height() + m_screenShortfall + m_tagEditorRoom - addedRowsHeight(), dpi());
}

void MainWindow::setHeightTwips(int twips)
{
    setWantedHeight(pixelHeight(twips));
}

int MainWindow::addedRowsHeight() const
{
    return m_ui->picWaveform->sizeHint().height() + m_ui->layoutPlayer->spacing();
}

int MainWindow::pixelHeight(int twips) const
{
    return twipsToPixels(twips, dpi()) + addedRowsHeight();
}

void MainWindow::relabel()
{
    m_language = ApplyLanguage(this, m_main.languageFile());
    m_ui->lstBatch->setHeaderLabels({ownText("Main", "lstBatch.File", m_language),
                                     ownText("Main", "lstBatch.Status", m_language),
                                     ownText("Main", "lstBatch.Output", m_language)});
    m_ui->cmbExisting->clear();
    for (const ExistingPolicy policy : kExistingPolicies)
        m_ui->cmbExisting->addItem(ownText("Main", qPrintable(QStringLiteral("cmbExisting.") + existingPolicyName(policy)), m_language));
    m_ui->cmbLoudness->clear();
    m_ui->cmbLoudness->addItems({ownText("Main", "cmbLoudness.Off", m_language), QStringLiteral("−16 LUFS"),
                                 QStringLiteral("−23 LUFS"), QStringLiteral("−14 LUFS"),
                                 ownText("Main", "cmbLoudness.ReplayGain", m_language),
                                 ownText("Main", "cmbLoudness.ReplayGainAlbum", m_language)});
    m_ui->cmbLoudness->setToolTip(ownText("Main", "cmbLoudness.Tip", m_language));
    m_ui->spnTruePeak->setToolTip(ownText("Main", "spnTruePeak.Tip", m_language));
    // The status labels carry a name of their own, so that only the paced
    // announcements of a job reach screen readers.
    if (!m_main.form.PB1Visible) {
        for (QLabel *status : {m_ui->Encoding, m_ui->lblWMAprogress})
            status->setAccessibleName(ownText("Main", "PB1.name", m_language));
    }
    m_ui->picWaveform->setToolTip(ownText("Main", "picWaveform.Tip", m_language));
    m_ui->picWaveform->setAccessibleName(ownText("Main", "picWaveform.Tip", m_language));
    m_ui->cmdPreviewResult->setToolTip(ownText("Main", "cmdPreviewResult.Tip", m_language));
    m_ui->lblEstimate->setToolTip(ownText("Main", "lblEstimate.Tip", m_language));
    renderBatch();
    render();
}

void MainWindow::showSetup()
{
    SetupDialog setup(m_main.folder(), m_main.dialogs(), m_main.updates(), &m_main, this);
    setup.exec();
    // A flag clicked in Setup relabels the windows' captions; the texts this
    // window sets itself follow here.
    relabel();
}

void MainWindow::showAbout()
{
    AboutDialog about(m_main.folder(), m_main.dialogs(), this);
    about.exec();
}

void MainWindow::showFileInfo(const QString &text)
{
    FileInfoDialog info(text, m_main.languageFile(), this);
    info.exec();
}

void MainWindow::showEqualizer()
{
    if (!m_equalizer)
        m_equalizer = new EqualizerWindow(m_main.form.equalizer, m_main.languageFile(), this);
    m_equalizer->show();
    m_equalizer->raise();
    dockEqualizer();
}

void MainWindow::dockEqualizer()
{
    if (m_equalizer && m_equalizer->isVisible())
        m_equalizer->dockTo(*this);
}

void MainWindow::end()
{
    m_ended = true;
    close();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (!m_ended && !m_main.Form_QueryUnload()) {
        // The handler that runs ends the window when it returns.
        event->ignore();
        return;
    }
    m_ended = true;
    // The Equalizer window goes with the main window.
    if (m_equalizer)
        m_equalizer->close();
    event->accept();
}

void MainWindow::layOutContent()
{
    // The content is laid out for the window with its log shown; a shorter
    // window shows its top part, the log lying below the bottom edge. A
    // hidden tag editor takes its room out of both. On a screen too low for
    // the window the content scrolls.
    QWidget *central = centralWidget();
    const int full = pixelHeight(mainWindowHeightTwips(false, true)) - menuBar()->height() - m_tagEditorRoom;
    const bool scrolls = m_screenShortfall > 0;
    const int barWidth = scrolls ? m_contentScroll->sizeHint().width() : 0;
    m_contentScroll->setVisible(scrolls);
    m_contentScroll->setGeometry(central->width() - barWidth, 0, barWidth, central->height());
    m_contentScroll->setRange(0, m_screenShortfall);
    m_contentScroll->setPageStep(central->height());
    m_ui->frmMain->setGeometry(0, -m_contentScroll->value(), central->width() - barWidth,
                               std::max(central->height() + m_screenShortfall, full));
}

void MainWindow::scrollToFocus(QWidget *focused)
{
    if (!focused || !m_contentScroll->isVisible() || !m_ui->frmMain->isAncestorOf(focused))
        return;
    const QRect shown = QRect(focused->mapTo(centralWidget(), QPoint(0, 0)), focused->size());
    if (shown.bottom() >= centralWidget()->height())
        m_contentScroll->setValue(m_contentScroll->value() + shown.bottom() - centralWidget()->height() + 1);
    else if (shown.top() < 0)
        m_contentScroll->setValue(m_contentScroll->value() + shown.top());
}

void MainWindow::announceProgress()
{
    const MainFormState &form = m_main.form;
    const bool running = form.PB1Visible;
    if (running != m_announceTimer.isActive()) {
        if (running)
            m_announceTimer.start();
        else
            m_announceTimer.stop();
    }
    const QString status = !running                    ? ownText("Main", m_main.jobOutcome(), m_language)
                         : form.lblWMAprogressVisible ? form.progress.lblWMAprogress
                                                      : form.progress.Encoding;
    const auto told = m_announcer.update(m_clock.elapsed(), running, form.progress.PB1, status);
    if (!told)
        return;
    m_ui->PB1->announce(std::clamp(told->value, m_ui->PB1->minimum(), m_ui->PB1->maximum()));
    // A label with a name of its own keeps quiet when its text changes, so
    // an empty text leaves the name as it was.
    QLabel *shown = running && form.lblWMAprogressVisible ? m_ui->lblWMAprogress : m_ui->Encoding;
    if (!told->text.isEmpty())
        shown->setAccessibleName(told->text);
}

void MainWindow::resizeEvent(QResizeEvent *event)
{
    QMainWindow::resizeEvent(event);
    layOutContent();
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (!localFilesOf(event->mimeData()).isEmpty() && m_main.form.mnuArquivoEnabled)
        event->acceptProposedAction();
}

// In file mode the first file opens; in batch mode every file and folder
// joins the list.
void MainWindow::dropEvent(QDropEvent *event)
{
    const QStringList paths = localFilesOf(event->mimeData());
    if (paths.isEmpty() || !m_main.form.mnuArquivoEnabled)
        return;
    event->acceptProposedAction();
    if (m_main.batch.batchMode)
        m_main.addToBatch(paths);
    else
        m_main.openDropped(paths.constFirst());
}

} // namespace tonmill
