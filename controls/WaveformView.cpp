#include "controls/WaveformView.h"

#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace tonmill {

namespace {
// A press that moves less than this is a click.
constexpr int kDragThreshold = 3;
} // namespace

WaveformView::WaveformView(QWidget *parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setCursor(Qt::IBeamCursor);
}

QSize WaveformView::sizeHint() const
{
    return {400, 28};
}

QSize WaveformView::minimumSizeHint() const
{
    return {100, 28};
}

void WaveformView::setPeaks(const QList<float> &peaks, int binsPerSecond)
{
    if (peaks == m_peaks && binsPerSecond == m_binsPerSecond)
        return;
    m_peaks = peaks;
    m_binsPerSecond = binsPerSecond;
    update();
}

void WaveformView::setPosition(double seconds)
{
    if (seconds == m_position)
        return;
    m_position = seconds;
    update();
}

void WaveformView::setMarks(std::optional<double> start, std::optional<double> end)
{
    if (start == m_start && end == m_end)
        return;
    m_start = start;
    m_end = end;
    update();
}

double WaveformView::seconds() const
{
    return m_binsPerSecond > 0 ? double(m_peaks.size()) / m_binsPerSecond : 0.0;
}

double WaveformView::secondsAt(int x) const
{
    if (width() <= 0)
        return 0.0;
    return std::clamp(double(x) / width(), 0.0, 1.0) * seconds();
}

int WaveformView::xOf(double at) const
{
    const double length = seconds();
    return length > 0 ? int(std::lround(at / length * width())) : 0;
}

void WaveformView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QPalette &colours = palette();
    painter.fillRect(rect(), colours.color(QPalette::Base));
    const int middle = height() / 2;
    if (!m_peaks.isEmpty()) {
        // The selected span lies under the waveform.
        const std::optional<double> spanFrom = m_dragX ? std::optional(secondsAt(std::min(*m_pressX, *m_dragX))) : m_start;
        const std::optional<double> spanTo = m_dragX ? std::optional(secondsAt(std::max(*m_pressX, *m_dragX))) : m_end;
        if (spanFrom && spanTo && *spanTo > *spanFrom) {
            QColor shade = colours.color(QPalette::Highlight);
            shade.setAlpha(60);
            painter.fillRect(QRect(QPoint(xOf(*spanFrom), 0), QPoint(xOf(*spanTo), height() - 1)), shade);
        }
        // Each column shows the loudest bin that falls into it.
        painter.setPen(colours.color(QPalette::Text));
        const qsizetype bins = m_peaks.size();
        for (int x = 0; x < width(); ++x) {
            const qsizetype first = qsizetype(double(x) / width() * bins);
            const qsizetype last = std::max(first + 1, qsizetype(double(x + 1) / width() * bins));
            float peak = 0;
            for (qsizetype i = first; i < std::min(last, bins); ++i)
                peak = std::max(peak, m_peaks[i]);
            const int half = int(std::lround(peak * (middle - 1)));
            painter.drawLine(x, middle - half, x, middle + half);
        }
        const auto mark = [&](std::optional<double> at, const QColor &colour) {
            if (!at)
                return;
            painter.setPen(QPen(colour, 2));
            painter.drawLine(xOf(*at), 0, xOf(*at), height());
        };
        mark(m_start, QColor(0x20, 0xa0, 0x40));
        mark(m_end, QColor(0xd0, 0x40, 0x40));
        painter.setPen(QPen(colours.color(QPalette::Highlight), 1));
        painter.drawLine(xOf(m_position), 0, xOf(m_position), height());
    }
    painter.setPen(colours.color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void WaveformView::mousePressEvent(QMouseEvent *event)
{
    if (m_peaks.isEmpty() || (event->button() != Qt::LeftButton && event->button() != Qt::RightButton))
        return;
    m_pressX = event->position().toPoint().x();
    m_pressButton = event->button();
    m_dragX.reset();
}

void WaveformView::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_pressX || m_pressButton != Qt::LeftButton)
        return;
    const int x = event->position().toPoint().x();
    if (m_dragX || std::abs(x - *m_pressX) >= kDragThreshold) {
        m_dragX = x;
        update();
    }
}

void WaveformView::mouseReleaseEvent(QMouseEvent *event)
{
    if (!m_pressX || event->button() != m_pressButton)
        return;
    const int from = *m_pressX;
    const std::optional<int> dragged = m_dragX;
    m_pressX.reset();
    m_dragX.reset();
    update();
    if (dragged) {
        const int to = event->position().toPoint().x();
        Q_EMIT spanSelected(secondsAt(std::min(from, to)), secondsAt(std::max(from, to)));
    } else {
        Q_EMIT clicked(secondsAt(from), m_pressButton);
    }
}

} // namespace tonmill
