#pragma once

#include "platform/AppFolder.h"

namespace tonmill {

// The folder of the helper programs that Tools/ names, for an executable in
// executableDir: Tools/ beside it (the build tree, a portable copy), else the
// installed helper folder, found relative to it so that the installed tree
// can move; else Tools/ beside it still, so that what is missing is named
// there.
QString helperFolder(const QString &executableDir);

// The user's own folders, as the XDG base directories name them.
struct UserFolders {
    QString config; // ~/.config
    QString cache;  // ~/.cache
};

// Where one run keeps its files. With --home DIR: in DIR. An executable's
// folder that holds Tools/ and can be written is a portable application
// folder. Otherwise, as for an installed program: the settings and the
// language file in Tonmill/ of the user's config folder, the report, the
// scripts and the record of started processes in Tonmill/ of the cache
// folder. The helpers are always those of helperFolder(). The folders chosen
// are made when missing.
AppFolder chooseAppFolder(const QString &home, const QString &executableDir, const UserFolders &user);

} // namespace tonmill
