#pragma once

#include <QString>

namespace tonmill {

// "Tonmill™ by Quorell (v.1.0.0 beta)"; with leadingBlank, the form the title
// takes once the interface language has been applied.
QString mainWindowTitle(bool leadingBlank = false);

} // namespace tonmill
