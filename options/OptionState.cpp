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
    cmbFLACLevel.fill(kFLACLevels);
    cmbFLACLevel.select(QStringLiteral("5"));
    cmbOpusBitRate.fill(kOpusBitRates);
    cmbOpusBitRate.select(QStringLiteral("128"));
    cmbOggQuality.fill(kOggQualities);
    cmbOggQuality.select(QStringLiteral("5"));
    cmbM4ABitRate.fill(kM4ABitRates);
    cmbM4ABitRate.select(QStringLiteral("192"));
    cmbM4AQuality.fill(kM4AQualities);
    cmbM4AQuality.select(QStringLiteral("1"));
}

} // namespace tonmill
