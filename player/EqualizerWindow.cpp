#include "player/EqualizerWindow.h"

#include "controls/ReadingOrder.h"
#include "settings/FormMnemonics.h"
#include "settings/LanguageBinder.h"
#include "ui_EqualizerWindow.h"

#include <QScreen>
#include <QSignalBlocker>

namespace tonmill {

EqualizerWindow::EqualizerWindow(EqualizerState &state, const QString &languageFile, QWidget *parent)
    : QDialog(parent, Qt::Tool)
    , m_ui(std::make_unique<Ui::EqualizerWindow>())
    , m_state(state)
{
    m_ui->setupUi(this);
    for (int i = 0; i < kEqualizerBands; ++i) {
        m_SEq[i] = findChild<QSlider *>(QStringLiteral("SEq_%1").arg(i));
        m_EQ[i] = findChild<QLabel *>(QStringLiteral("EQ_%1").arg(i));
        // Each slider is named after the frequency of its band; the
        // frequencies are figures, not words to take Alt+letters from.
        auto *band = findChild<QLabel *>(QStringLiteral("lblBand_%1").arg(i));
        band->setBuddy(m_SEq[i]);
        band->setProperty(kTakesMnemonic, false);
        m_SEq[i]->setRange(kEqualizerMinimum, kEqualizerMaximum);
        connect(m_SEq[i], &QSlider::valueChanged, this, [this, i](int value) {
            m_state.SEq[i] = value;
            m_state.SEq_Change();
            render();
        });
    }
    // Enter on a slider resets nothing.
    m_ui->btnZero->setAutoDefault(false);
    connect(m_ui->chkApply, &QCheckBox::clicked, this, [this](bool checked) { m_state.chkApply = checked; });
    connect(m_ui->btnZero, &QPushButton::clicked, this, [this] {
        m_state.btnZero_Click();
        render();
    });
    ApplyFormLanguage(this, languageFile);
    setTabOrderByReading(this);
    render();
}

EqualizerWindow::~EqualizerWindow() = default;

void EqualizerWindow::dockTo(const QWidget &mainWindow)
{
    const QRect frame = frameGeometry();
    const QRect docked =
        dockedEqualizerGeometry(mainWindow.frameGeometry(), frame.width(), mainWindow.screen()->availableGeometry());
    if (frame == docked)
        return;
    // move() places the frame, resize() the inside: the frame's height less
    // the title bar and borders.
    move(docked.topLeft());
    resize(width(), docked.height() - (frame.height() - height()));
}

void EqualizerWindow::render()
{
    for (int i = 0; i < kEqualizerBands; ++i) {
        // The state is shown, not changed again.
        const QSignalBlocker blocker(m_SEq[i]);
        m_SEq[i]->setValue(m_state.SEq[i]);
        m_EQ[i]->setText(m_state.EQ[i]);
    }
    m_ui->chkApply->setChecked(m_state.chkApply);
}

} // namespace tonmill
