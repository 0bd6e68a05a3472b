#pragma once

#include <QProgressBar>

namespace tonmill {

// The encoding's progress bar: whole seconds encoded against the source's
// length. The percentage is shown beside it by the form, so the bar carries
// no text of its own.
class XP_ProgressBar : public QProgressBar {
    Q_OBJECT
public:
    explicit XP_ProgressBar(QWidget *parent = nullptr)
        : QProgressBar(parent)
    {
        setTextVisible(false);
    }

    // A length of 0 seconds (unknown) still gives a bar that can be set.
    void setMax(int max)
    {
        const int shown = qMax(1, max);
        if (maximum() != shown)
            setMaximum(shown);
    }
};

} // namespace tonmill
