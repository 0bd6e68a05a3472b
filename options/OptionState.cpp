#include "options/OptionState.h"

#include "options/FormatOptions.h"

namespace tonmill {

void OptionState::fillLists()
{
    const auto fill = [](ChoiceList &list, const QString &items, const char *shown) {
        list.fill(items);
        list.select(QLatin1String(shown));
    };
    fill(Combo8, kAACBitRates, "128");
    fill(Combo5, kMP3BitRates, "128");
    fill(Combo6, kMP2BitRates, "192");
    fill(Combo1, kAC3BitRates, "384");
    fill(Combo2, amrIsNarrowBand(amrType) ? kAMRNarrowBitRates : kAMRWideBitRates, "13");
    fill(cmbWMAProfile, kWMAProfiles, "CD Quality (64Kbps)");
    fill(cmbFLACLevel, kFLACLevels, "5");
    fill(cmbOpusBitRate, kOpusBitRates, "128");
    fill(cmbOggQuality, kOggQualities, "5");
    fill(cmbM4ABitRate, kM4ABitRates, "192");
    fill(cmbM4AQuality, kM4AQualities, "1");
}

} // namespace tonmill
