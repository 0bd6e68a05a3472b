#pragma once

#include "app/ActivityLog.h"
#include "app/MainForm.h"
#include "app/MainWindow.h"
#include "platform/ProcessRegistry.h"
#include "player/QtMediaPlayer.h"
#include "settings/UpdateCheck.h"

namespace tonmill {

// One run of the windowed program, its parts made in their order: what
// main() starts, and what the window's tests and benchmark start.
class MainProgram {
public:
    MainProgram(const AppFolder &folder, Dialogs &dialogs);

    MainWindow &window() { return m_window; }
    MainForm &form() { return m_form; }
    ActivityLog &log() { return m_log; }

    // Shows the window, then runs the start-up sequence as soon as the
    // event loop turns, so that the window paints while it runs; then opens
    // the files given.
    void start(const QStringList &files = {});

private:
    // The processes it starts are recorded in the application folder, so
    // that the next run can still end what this one left behind.
    ProcessRegistry m_registry;
    ActivityLog m_log;
    UpdateCheck m_updates;
    QtMediaPlayer m_player;
    MainForm m_form;
    MainWindow m_window;
};

} // namespace tonmill
