#pragma once

#include <QList>
#include <QWidget>

#include <optional>

namespace tonmill {

// The source's waveform across the control's width, with the play position
// and the segment's marks drawn on it. A click reports a time; a drag reports
// the span it covered. It only shows and reports: what a time means is the
// form's business.
class WaveformView : public QWidget {
    Q_OBJECT
public:
    explicit WaveformView(QWidget *parent = nullptr);

    // peaks: levels 0 .. 1, binsPerSecond of them to a second of sound.
    void setPeaks(const QList<float> &peaks, int binsPerSecond);
    void setPosition(double seconds);
    void setMarks(std::optional<double> start, std::optional<double> end);

    double seconds() const;
    // The time under a horizontal position of the control, and back.
    double secondsAt(int x) const;
    int xOf(double seconds) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    void clicked(double seconds, Qt::MouseButton button);
    void spanSelected(double from, double to);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    QList<float> m_peaks;
    int m_binsPerSecond = 0;
    double m_position = 0;
    std::optional<double> m_start;
    std::optional<double> m_end;
    // The press that began a click or a drag, and how far the drag has come.
    std::optional<int> m_pressX;
    std::optional<int> m_dragX;
    Qt::MouseButton m_pressButton = Qt::NoButton;
};

} // namespace tonmill
