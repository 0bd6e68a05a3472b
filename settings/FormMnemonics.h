#pragma once

class QWidget;

namespace tonmill {

// A container that its window shows in turn with others carries this
// property as "group:alternative" ("format:MP3"): its controls may share
// Alt+letters with those of the group's other alternatives, never shown with
// them.
inline constexpr char kShownInTurn[] = "shownInTurn";
// A control whose caption the window itself changes while it runs carries
// this property set to false: it takes no Alt+letter, which would be lost.
inline constexpr char kTakesMnemonic[] = "takesMnemonic";

// Gives the window's menus, its buttons and the labels of its fields an
// Alt+letter each, taken from their captions, none twice among the controls
// shown together; each menu's items likewise among themselves. Menus and
// push buttons choose first, then check boxes and option buttons, then
// labels.
void placeMnemonics(QWidget *window);

} // namespace tonmill
