#pragma once

#include <QProgressBar>

namespace tonmill {

// The encoding's progress bar: whole seconds encoded against the source's
// length. The percentage is shown beside it by the form, so the bar carries
// no text of its own. What it draws follows every step of the encoder; the
// value that screen readers read, and are told of, changes only when the
// window announces it, so that they are not flooded.
class XP_ProgressBar : public QProgressBar {
    Q_OBJECT
public:
    explicit XP_ProgressBar(QWidget *parent = nullptr);

    // A length of 0 seconds (unknown) still gives a bar that can be set.
    void setMax(int max);

    int shownValue() const { return m_shown; }
    void setShownValue(int value);
    // The value screen readers read; they are told of the change.
    void announce(int value) { setValue(value); }

Q_SIGNALS:
    void shownValueChanged(int value);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int m_shown = 0;
};

} // namespace tonmill
