#pragma once

#include <QString>

namespace tonmill {

// The desktop's trash in the user's home: $XDG_DATA_HOME/Trash, by default
// ~/.local/share/Trash.
QString homeTrashDir();

// Moves the file into the trash as the desktop's file managers do: the file
// under files/ and, written first, its info/NAME.trashinfo with the original
// Path and the DeletionDate, so that it can be restored. The file is never
// deleted: when it cannot be moved (another file system, no rights) it stays
// where it is. Why it could not be moved; empty when it was.
QString moveToTrash(const QString &path, const QString &trashDir);

} // namespace tonmill
