#include "controls/ReadingOrder.h"

#include <QBoxLayout>
#include <QGridLayout>
#include <QRadioButton>
#include <QWidget>

#include <algorithm>

namespace tonmill {

namespace {

class Reader {
public:
    explicit Reader(QWidget *window)
        : m_window(window)
    {
    }

    QList<QWidget *> read()
    {
        visitChildren(m_window);
        return m_stops;
    }

private:
    // Option buttons that are not the chosen one of their group take no Tab
    // focus, yet keep their place for when they are.
    static bool isStop(const QWidget *widget)
    {
        return (widget->focusPolicy() & Qt::TabFocus) || widget->focusProxy()
            || (qobject_cast<const QRadioButton *>(widget) && widget->focusPolicy() != Qt::NoFocus);
    }

    void visit(QWidget *widget)
    {
        if (m_seen.contains(widget) || widget->isWindow())
            return;
        m_seen << widget;
        if (isStop(widget)) {
            m_stops << widget;
            return;
        }
        visitChildren(widget);
    }

    void visitChildren(QWidget *widget)
    {
        if (QLayout *layout = widget->layout())
            visitLayout(layout);
        // Children that no layout places, such as a panel that the window
        // sizes itself.
        for (QObject *child : widget->children()) {
            if (auto *childWidget = qobject_cast<QWidget *>(child))
                visit(childWidget);
        }
    }

    void visitItem(QLayoutItem *item)
    {
        if (QWidget *widget = item->widget())
            visit(widget);
        else if (QLayout *layout = item->layout())
            visitLayout(layout);
    }

    void visitLayout(QLayout *layout)
    {
        QList<int> order;
        for (int i = 0; i < layout->count(); ++i)
            order << i;
        if (auto *grid = qobject_cast<QGridLayout *>(layout)) {
            const auto key = [grid](int index) {
                int row = 0;
                int column = 0;
                int rows = 0;
                int columns = 0;
                grid->getItemPosition(index, &row, &column, &rows, &columns);
                const bool onTopLine = grid->itemAt(index)->alignment() & Qt::AlignTop;
                return std::tuple(row, column, !onTopLine, index);
            };
            std::sort(order.begin(), order.end(), [&key](int a, int b) { return key(a) < key(b); });
        } else if (auto *box = qobject_cast<QBoxLayout *>(layout)) {
            if (box->direction() == QBoxLayout::RightToLeft || box->direction() == QBoxLayout::BottomToTop)
                std::reverse(order.begin(), order.end());
        }
        for (const int index : order)
            visitItem(layout->itemAt(index));
    }

    QWidget *m_window;
    QList<QWidget *> m_stops;
    QList<QWidget *> m_seen;
};

} // namespace

void setTabOrderByReading(QWidget *window)
{
    const QList<QWidget *> stops = Reader(window).read();
    for (qsizetype i = 1; i < stops.size(); ++i)
        QWidget::setTabOrder(stops[i - 1], stops[i]);
}

void stopTabAtChosenOptions(QWidget *window)
{
    QHash<QWidget *, QList<QRadioButton *>> groups;
    for (QRadioButton *option : window->findChildren<QRadioButton *>()) {
        if (option->autoExclusive() && !option->group())
            groups[option->parentWidget()] << option;
    }
    for (const QList<QRadioButton *> &options : std::as_const(groups)) {
        const bool anyChosen = std::any_of(options.begin(), options.end(), [](QRadioButton *o) { return o->isChecked(); });
        for (QRadioButton *option : options) {
            const bool stop = !anyChosen || option->isChecked();
            const Qt::FocusPolicy policy = stop ? Qt::FocusPolicy(option->focusPolicy() | Qt::TabFocus)
                                                : Qt::FocusPolicy(option->focusPolicy() & ~Qt::TabFocus);
            if (policy != option->focusPolicy())
                option->setFocusPolicy(policy);
        }
    }
}

} // namespace tonmill
