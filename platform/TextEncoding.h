#pragma once

#include <QByteArray>
#include <QString>

namespace tonmill {

// Text files of the program are UTF-8. Files made on the program's original
// platform are Windows-1252; a text that is not valid UTF-8 is read as that.
// Every character is kept, a byte order mark too: readers of whole files skip
// the one at the start.
QString decodeText(const QByteArray &bytes);

// UTF-8.
QByteArray encodeText(const QString &text);

// Windows-1252 alone, for bytes known to be in it. The five bytes that the
// code page leaves unassigned map to the control characters of the same
// number, as the original platform maps them.
QString decodeWindows1252(const QByteArray &bytes);

} // namespace tonmill
