#include "player/Equalizer.h"

#include <limits>

namespace tonmill {

EqualizerState::EqualizerState()
{
    SEq.fill(kEqualizerFlat);
    SEq_Change();
}

void EqualizerState::SEq_Change()
{
    std::array<QString, kEqualizerBands> labels;
    for (int i = 0; i < kEqualizerBands; ++i) {
        const long long sum = static_cast<long long>(SEq[i]) + kEqualizerLabelOffset;
        if (sum < std::numeric_limits<qint16>::min() || sum > std::numeric_limits<qint16>::max())
            return;
        labels[i] = QString::number(sum);
    }
    EQ = labels;
}

void EqualizerState::btnZero_Click()
{
    SEq.fill(kEqualizerFlat);
    SEq_Change();
}

QRect dockedEqualizerGeometry(const QRect &mainFrame, int equalizerWidth, const QRect &screen)
{
    QRect docked(mainFrame.x() + mainFrame.width(), mainFrame.y(), equalizerWidth, mainFrame.height());
    if (docked.right() > screen.right()) {
        if (mainFrame.x() - equalizerWidth >= screen.left())
            docked.moveLeft(mainFrame.x() - equalizerWidth);
        else
            docked.moveRight(screen.right());
    }
    return docked;
}

} // namespace tonmill
