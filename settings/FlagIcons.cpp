#include "settings/FlagIcons.h"

#include <QPainter>

namespace tonmill {

namespace {

// Bands of colour side by side, each as wide as its share of the whole.
void bands(QPainter &p, const QRectF &r, Qt::Orientation across, std::initializer_list<std::pair<QColor, qreal>> shares)
{
    qreal total = 0;
    for (const auto &band : shares)
        total += band.second;
    qreal at = 0;
    for (const auto &[colour, share] : shares) {
        const qreal part = share / total;
        if (across == Qt::Horizontal)
            p.fillRect(QRectF(r.left() + at * r.width(), r.top(), part * r.width(), r.height()), colour);
        else
            p.fillRect(QRectF(r.left(), r.top() + at * r.height(), r.width(), part * r.height()), colour);
        at += part;
    }
}

} // namespace

QPixmap flagPixmap(int index, QSize size, qreal devicePixelRatio)
{
    QPixmap pixmap(size * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r(0, 0, size.width(), size.height());
    switch (index) {
    case 1: { // a red cross on white
        p.fillRect(r, Qt::white);
        const qreal bar = r.height() / 5;
        const QColor red(0xCE, 0x11, 0x24);
        p.fillRect(QRectF(r.center().x() - bar / 2, r.top(), bar, r.height()), red);
        p.fillRect(QRectF(r.left(), r.center().y() - bar / 2, r.width(), bar), red);
        break;
    }
    case 2: { // green and red, a gold disc where they meet
        bands(p, r, Qt::Horizontal, {{QColor(0x04, 0x6A, 0x38), 2}, {QColor(0xDA, 0x29, 0x1C), 3}});
        const qreal radius = r.height() / 4;
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(0xFF, 0xE9, 0x00));
        p.drawEllipse(QPointF(r.left() + r.width() * 2 / 5, r.center().y()), radius, radius);
        break;
    }
    case 3: // red, gold twice as wide, red
        bands(p, r, Qt::Vertical, {{QColor(0xAA, 0x15, 0x1B), 1}, {QColor(0xF1, 0xBF, 0x00), 2}, {QColor(0xAA, 0x15, 0x1B), 1}});
        break;
    case 4: // blue, white, red
        bands(p, r, Qt::Horizontal, {{QColor(0x00, 0x23, 0x95), 1}, {Qt::white, 1}, {QColor(0xED, 0x29, 0x39), 1}});
        break;
    case 5: // black, red, gold
        bands(p, r, Qt::Vertical, {{Qt::black, 1}, {QColor(0xDD, 0x00, 0x00), 1}, {QColor(0xFF, 0xCE, 0x00), 1}});
        break;
    default:
        break;
    }
    p.setPen(QPen(QColor(0, 0, 0, 90), 1));
    p.setBrush(Qt::NoBrush);
    p.drawRect(r.adjusted(0.5, 0.5, -0.5, -0.5));
    return pixmap;
}

} // namespace tonmill
