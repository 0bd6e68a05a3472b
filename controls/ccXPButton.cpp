#include "controls/ccXPButton.h"

namespace tonmill {

ccXPButton::ccXPButton(QWidget *parent)
    : QPushButton(parent)
{
}

void ccXPButton::setBackColor(const QColor &color)
{
    if (color == m_backColor)
        return;
    m_backColor = color;
    QPalette face = QPalette();
    if (color.isValid()) {
        face.setColor(QPalette::Button, color);
        // Dark faces need light text to stay readable.
        face.setColor(QPalette::ButtonText, color.lightness() < 128 ? Qt::white : Qt::black);
    }
    setPalette(face);
}

} // namespace tonmill
