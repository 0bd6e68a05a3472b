#pragma once

namespace tonmill {

class AppFolder;
class OptionPanel;
struct MainFormState;
struct OptionState;

// Keeps the main form's option choices in the settings file between runs.

// Writes the Options keys, Mode first, then the menu switches LogOnOff,
// SaveLog and TagEditor of General.
void SaveSettings(const OptionState &options, const MainFormState &form, const AppFolder &folder);

// Restores the format (MP3 when the stored one is not in the list), shows its
// panel, then puts each stored choice back through the panel. A stored value
// that a list or button group lacks leaves that choice as it was.
void LoadSettings(OptionState &options, MainFormState &form, OptionPanel &panel, const AppFolder &folder);

} // namespace tonmill
