#include "options/OptionState.h"

#include "options/FormatOptions.h"

namespace tonmill {

void OptionState::fillLists()
{
    Combo8.fill(kAACBitRates);
    Combo8.select(QStringLiteral("128"));
    Combo5.fill(kMP3BitRates);
    Combo5.select(QStringLiteral("128"));
    Combo6.fill(kMP2BitRates);
    Combo6.select(QStringLiteral("192"));
    Combo1.fill(kAC3BitRates);
    Combo1.select(QStringLiteral("384"));
    Combo2.fill(amrIsNarrowBand(amrType) ? kAMRNarrowBitRates : kAMRWideBitRates);
    Combo2.select(QStringLiteral("13"));
    cmbWMAProfile.fill(kWMAProfiles);
    cmbWMAProfile.select(QStringLiteral("CD Quality (64Kbps)"));
}

} // namespace tonmill
