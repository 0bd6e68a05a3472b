#pragma once

class QWidget;

namespace tonmill {

// Makes the Tab key stop at the window's controls in the order a person reads
// the window: its layouts as they are laid out (a box's items in their
// direction, a grid row by row and cell by cell), where an item aligned to
// the top of a cell that it shares with another comes first, as it stands on
// the cell's top line. A compound control (a list box, a slider with its
// read-out) is one stop; child windows are left to themselves.
void setTabOrderByReading(QWidget *window);

// In each group of option buttons of the window the Tab key stops at the
// chosen one, from which the arrow keys choose another; Qt's own stop is the
// first button of the group, or the one last focused.
void stopTabAtChosenOptions(QWidget *window);

} // namespace tonmill
