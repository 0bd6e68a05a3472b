#pragma once

#include "player/Equalizer.h"

#include <QDialog>

#include <array>
#include <memory>

class QLabel;
class QSlider;

namespace Ui {
class EqualizerWindow;
}

namespace tonmill {

// The Equalizer window: a modeless tool window of the main window, which it
// follows along its right edge; a dialog, which screen readers announce as
// one and Escape closes. Its titles come from the language file's language;
// the main window's relabelling reaches it as one of its children.
class EqualizerWindow : public QDialog {
    Q_OBJECT
public:
    // state: the bands and the switch, kept by the main form for conversions
    // and the settings. parent: the main window, whose end closes this one too.
    EqualizerWindow(EqualizerState &state, const QString &languageFile, QWidget *parent);
    ~EqualizerWindow() override;

    const EqualizerState &state() const { return m_state; }

    // Stands against mainWindow's right edge, as high as it; does nothing
    // when already there, as the main window asks on every progress tick.
    void dockTo(const QWidget &mainWindow);

private:
    // Shows the state in the controls.
    void render();

    std::unique_ptr<Ui::EqualizerWindow> m_ui;
    EqualizerState &m_state;
    std::array<QSlider *, kEqualizerBands> m_SEq{};
    std::array<QLabel *, kEqualizerBands> m_EQ{};
};

} // namespace tonmill
