#pragma once

#include <QString>

namespace tonmill {

// Two names of one file: the same inode on the same device, which also
// catches hard links and names that differ only through symbolic links.
// False when either does not exist.
bool sameFile(const QString &a, const QString &b);

} // namespace tonmill
