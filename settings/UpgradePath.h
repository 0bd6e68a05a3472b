#pragma once

#include <functional>

namespace tonmill {

class Dialogs;
class SettingsStore;

// The settings checks of the start-up, each a step that the start-up calls in
// its order. Questions and notices go through the dialog seam.
class UpgradePath {
public:
    UpgradePath(SettingsStore &settings, Dialogs &dialogs);

    // When the stored Version differs from the running stamp: asks whether to
    // look for new versions automatically. Yes stores ChkUpdates "1" and the
    // stamp; No stores "0" and leaves Version, so the question returns at the
    // next start until it is answered Yes. True when the question was asked.
    bool checkVersion();

    // When the stored Interface differs from the stamp: stores the stamp, has
    // the language file rewritten, resets the format to MP3 and tells the user.
    // True when the reset was made.
    bool checkInterface(const std::function<void()> &rewriteLanguage);

    // No ffmpeg path means a first run or a damaged file: tells the user, has
    // the language file rewritten and the Setup dialog shown. Nothing else is
    // reset. True when it happened.
    bool checkFirstRun(const std::function<void()> &rewriteLanguage, const std::function<void()> &openSetup);

private:
    SettingsStore &m_settings;
    Dialogs &m_dialogs;
};

} // namespace tonmill
