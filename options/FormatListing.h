#pragma once

#include <QString>

namespace tonmill {

// Every output format with its extension, whether it keeps tags, and the
// keys of the settings file's [Options] section that hold its options, each
// with the values it takes: what --list-formats prints.
QString formatListing();

} // namespace tonmill
