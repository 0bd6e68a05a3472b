#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace tonmill {

// The content of a profile file ("[Section]" headers and "Key=Value" lines),
// read and edited the way the original platform's profile-string calls do it:
// - section and key names are compared without regard to case and without the
//   blanks around them; the first matching section and the first matching key
//   in it count; lines beginning with ";" are comments;
// - a value loses the blanks around it and one pair of enclosing quotes, and
//   is cut to kMaxValueLength characters;
// - lines may end in CR LF, LF or CR; each line is decoded on its own, since a
//   file of the original platform (Windows-1252) holds UTF-8 lines once edited.

inline constexpr qsizetype kMaxValueLength = 254;

// The value of the key in the section; "" when either is missing.
QString profileValue(const QByteArray &content, const QString &section, const QString &key);

// The content with the key set to the value. Only the bytes of the key's own
// line change: the old value is replaced in place, a missing key is added as
// the section's last entry, a missing section is added at the end. New lines
// end as the content's first line does (CR LF in a new file). A value is kept
// up to its first line break, without the blanks around it. No result when the section or key cannot be
// written as a name that reads back (empty, with a line break, a key with "="
// or starting with "[" or ";").
std::optional<QByteArray> withProfileValue(const QByteArray &content, const QString &section,
                                           const QString &key, const QString &value);

} // namespace tonmill
