#pragma once

#include <QString>

namespace tonmill::mediainfo {

// Numbers every stream heading of a MediaInfo text report from 0: "General"
// becomes "General #0", a lone "Audio" becomes "Audio #0", and "Audio #1",
// "Audio #2" (the tool counts from 1 when a kind has several streams) become
// "Audio #0", "Audio #1". The 'Label : Value' lines stay as they are.
QString numberStreamHeadings(const QString &report);

} // namespace tonmill::mediainfo
