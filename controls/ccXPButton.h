#pragma once

#include <QColor>
#include <QPushButton>

namespace tonmill {

// A push button whose caption and face colour the forms change while the
// program runs (Convert while busy, for one). Without a colour of its own it
// follows the desktop theme.
class ccXPButton : public QPushButton {
    Q_OBJECT
public:
    explicit ccXPButton(QWidget *parent = nullptr);

    QString caption() const { return text(); }
    void setCaption(const QString &caption) { setText(caption); }

    // An invalid colour returns the button to the theme's own face.
    void setBackColor(const QColor &color);
    QColor backColor() const { return m_backColor; }

private:
    QColor m_backColor;
};

} // namespace tonmill
