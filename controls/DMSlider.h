#pragma once

#include <QWidget>

class QLabel;
class QSlider;

namespace tonmill {

// A horizontal slider with a text beside it (the value as the form wants it
// read, "100 %"). It reports press, release and every change of value, as
// the player's position and the volume controls use them.
class DMSlider : public QWidget {
    Q_OBJECT
public:
    explicit DMSlider(QWidget *parent = nullptr);

    int value() const;
    // Sets the value without a change signal, as a render does.
    void setValue(int value);
    void setRange(int minimum, int maximum);
    void setPageStep(int step);

    QString shownText() const;
    void setShownText(const QString &text);

    QSlider *slider() const { return m_slider; }

Q_SIGNALS:
    void pressed();
    void released();
    // The person moved the slider, by mouse or keyboard.
    void valueChanged(int value);

private:
    QSlider *m_slider;
    QLabel *m_text;
};

} // namespace tonmill
