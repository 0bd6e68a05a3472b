#include "controls/XP_ProgressBar.h"

#include <QStyleOptionProgressBar>
#include <QStylePainter>

namespace tonmill {

XP_ProgressBar::XP_ProgressBar(QWidget *parent)
    : QProgressBar(parent)
{
    setTextVisible(false);
}

void XP_ProgressBar::setMax(int max)
{
    const int shown = qMax(1, max);
    if (maximum() != shown)
        setMaximum(shown);
}

void XP_ProgressBar::setShownValue(int value)
{
    if (value == m_shown)
        return;
    m_shown = value;
    update();
    Q_EMIT shownValueChanged(value);
}

void XP_ProgressBar::paintEvent(QPaintEvent *)
{
    QStylePainter painter(this);
    QStyleOptionProgressBar option;
    initStyleOption(&option);
    option.progress = m_shown;
    painter.drawControl(QStyle::CE_ProgressBar, option);
}

} // namespace tonmill
