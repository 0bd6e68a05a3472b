#pragma once

#include <cmath>

namespace tonmill {

// Sizes on the forms are kept in twips, 1440 to the inch: 15 twips are one
// pixel at 96 dots per inch. dpi is the screen's logical resolution, so the
// sizes grow with the screen's scale.
inline int twipsToPixels(int twips, double dpi = 96.0)
{
    return static_cast<int>(std::lround(twips * dpi / 1440.0));
}

inline int pixelsToTwips(int pixels, double dpi = 96.0)
{
    return static_cast<int>(std::lround(pixels * 1440.0 / dpi));
}

} // namespace tonmill
