#include "controls/DMSlider.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

namespace tonmill {

DMSlider::DMSlider(QWidget *parent)
    : QWidget(parent)
    , m_slider(new QSlider(Qt::Horizontal, this))
    , m_text(new QLabel(this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_slider, 1);
    layout->addWidget(m_text);
    m_text->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    // The slider takes the keyboard focus for the whole control.
    setFocusProxy(m_slider);
    connect(m_slider, &QSlider::sliderPressed, this, &DMSlider::pressed);
    connect(m_slider, &QSlider::sliderReleased, this, &DMSlider::released);
    connect(m_slider, &QSlider::valueChanged, this, &DMSlider::valueChanged);
}

int DMSlider::value() const
{
    return m_slider->value();
}

void DMSlider::setValue(int value)
{
    const QSignalBlocker quiet(m_slider);
    m_slider->setValue(value);
}

void DMSlider::setRange(int minimum, int maximum)
{
    const QSignalBlocker quiet(m_slider);
    m_slider->setRange(minimum, maximum);
}

void DMSlider::setPageStep(int step)
{
    m_slider->setPageStep(step);
}

QString DMSlider::shownText() const
{
    return m_text->text();
}

void DMSlider::setShownText(const QString &text)
{
    m_text->setText(text);
}

} // namespace tonmill
