#pragma once

#include <QByteArray>
#include <QString>

namespace tonmill {

// False when the file may not be replaced: a folder or other non-file in its
// place, or a file without any write permission bit. The bits are tested, not
// the user's access, so that a read-only file stays read-only even for root,
// as the original platform's read-only attribute does. A missing file may be
// created.
bool canReplaceFile(const QString &file);

// Replaces the file's whole content in one step, so that a failed write leaves
// the old content; does nothing when canReplaceFile is false or the folder is
// missing.
void replaceFile(const QString &file, const QByteArray &content);

} // namespace tonmill
