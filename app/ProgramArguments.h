#pragma once

#include "app/HeadlessRequest.h"

#include <QString>
#include <QStringList>

namespace tonmill {

// What one start of the program is asked to do, read from its command line.
struct ProgramArguments {
    enum class Action {
        Window,      // the window, opening `files`
        Convert,     // a conversion without a window, as `request` says
        Help,
        Version,
        ListFormats,
        Invalid,     // `error` says why, in one line
    };
    Action action = Action::Window;
    QString home;            // --home DIR; empty when not given
    QStringList files;       // what the window opens: the launcher's files
    HeadlessRequest request;
    QString error;
};

// Reads the command line; the first argument is the program's name.
ProgramArguments parseProgramArguments(const QStringList &arguments);

// The usage, every option, what a conversion without a window does, where the
// files are kept and the exit statuses.
QString programHelp();

// "Tonmill 1.2.3".
QString programVersion();

} // namespace tonmill
