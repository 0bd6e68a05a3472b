#include "player/Equalizer.h"

#include <algorithm>
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

std::array<int, kEqualizerBands> EqualizerState::gainsDb() const
{
    std::array<int, kEqualizerBands> gains{};
    for (int i = 0; i < kEqualizerBands; ++i)
        gains[i] = SEq[i] + kEqualizerLabelOffset;
    return gains;
}

void EqualizerState::setGainsDb(const std::array<int, kEqualizerBands> &gains)
{
    for (int i = 0; i < kEqualizerBands; ++i)
        SEq[i] = std::clamp(gains[i] - kEqualizerLabelOffset, kEqualizerMinimum, kEqualizerMaximum);
    SEq_Change();
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
