#include "options/ChoiceList.h"

namespace tonmill {

void ChoiceList::fill(const QString &pipeText)
{
    items += pipeText.split(QLatin1Char('|'));
}

void ChoiceList::clear()
{
    items.clear();
    text.clear();
}

bool ChoiceList::select(const QString &value)
{
    for (const QString &item : std::as_const(items)) {
        if (item.compare(value, Qt::CaseInsensitive) == 0) {
            text = item;
            return true;
        }
    }
    return false;
}

} // namespace tonmill
