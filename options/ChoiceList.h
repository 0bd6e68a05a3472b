#pragma once

#include <QString>
#include <QStringList>

namespace tonmill {

// The state of a drop-down list: its items and the text it shows. A value can
// only be chosen when the list holds it, so a stored value that the list lacks
// leaves the choice as it was.
struct ChoiceList {
    QStringList items;
    QString text;

    bool operator==(const ChoiceList &) const = default;

    // Appends each "|"-separated piece of the text, in order.
    void fill(const QString &pipeText);
    // Empties the list and the text.
    void clear();
    // Chooses the item that equals the value, compared without regard to case
    // as the list finds its items, and shows the item's own spelling. False,
    // with nothing changed, when the list lacks it.
    bool select(const QString &value);
    // Position of the shown text in the list, -1 when it shows none of them.
    qsizetype index() const { return items.indexOf(text); }
};

} // namespace tonmill
