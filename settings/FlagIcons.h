#pragma once

#include <QPixmap>
#include <QSize>

namespace tonmill {

// The flag of a built-in language, 1 to 5 as the Setup dialog orders them
// (English, Portugues, Espanol, Francais, Deutsch), drawn in simple shapes
// at the given size in device-independent pixels and the screen's scale.
QPixmap flagPixmap(int index, QSize size, qreal devicePixelRatio);

} // namespace tonmill
