#include "tools/avs/SoxEffects.h"

#include <QRegularExpression>

#include <cmath>

namespace tonmill::avs {

namespace {

// "120", "7k", "7.5k" in Hz; NaN when not a positive frequency.
double frequency(QString text)
{
    double scale = 1;
    if (text.endsWith(QLatin1Char('k'), Qt::CaseInsensitive)) {
        scale = 1000;
        text.chop(1);
    }
    bool ok = false;
    const double value = text.toDouble(&ok) * scale;
    return ok && value > 0 && std::isfinite(value) ? value : std::nan("");
}

SoxEffect pass(PassFilter::Kind kind, double hz, int poles)
{
    SoxEffect effect;
    effect.kind = SoxEffect::Kind::Pass;
    effect.filter = {kind, hz, poles};
    return effect;
}

} // namespace

bool parseSoxEffect(const QString &text, std::vector<SoxEffect> *effects, QString *error)
{
    QStringList words = text.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    const auto bad = [&](const QString &why) {
        *error = QStringLiteral("SoxFilter \"%1\": %2").arg(text, why);
        return false;
    };
    if (words.isEmpty())
        return bad(QStringLiteral("no effect given"));
    const QString name = words.takeFirst().toLower();

    if (name == QLatin1String("lowpass") || name == QLatin1String("highpass")) {
        int poles = 2;
        if (!words.isEmpty() && (words.first() == QLatin1String("-1") || words.first() == QLatin1String("-2")))
            poles = words.takeFirst() == QLatin1String("-1") ? 1 : 2;
        if (words.size() != 1)
            return bad(QStringLiteral("expected one frequency"));
        const double hz = frequency(words.first());
        if (std::isnan(hz))
            return bad(QStringLiteral("\"%1\" is not a frequency").arg(words.first()));
        effects->push_back(pass(name == QLatin1String("lowpass") ? PassFilter::Kind::LowPass : PassFilter::Kind::HighPass, hz, poles));
        return true;
    }
    if (name == QLatin1String("filter")) {
        if (words.size() != 1 || !words.first().contains(QLatin1Char('-')))
            return bad(QStringLiteral("expected LOW-HIGH"));
        const QString low = words.first().section(QLatin1Char('-'), 0, 0);
        const QString high = words.first().section(QLatin1Char('-'), 1);
        if (low.isEmpty() && high.isEmpty())
            return bad(QStringLiteral("expected LOW-HIGH"));
        const double lowHz = low.isEmpty() ? 0 : frequency(low);
        const double highHz = high.isEmpty() ? 0 : frequency(high);
        if (std::isnan(lowHz) || std::isnan(highHz) || (lowHz > 0 && highHz > 0 && lowHz >= highHz))
            return bad(QStringLiteral("\"%1\" is not a frequency band").arg(words.first()));
        if (lowHz > 0)
            effects->push_back(pass(PassFilter::Kind::HighPass, lowHz, 2));
        if (highHz > 0)
            effects->push_back(pass(PassFilter::Kind::LowPass, highHz, 2));
        return true;
    }
    if (name == QLatin1String("vol")) {
        if (words.isEmpty() || words.size() > 2)
            return bad(QStringLiteral("expected a gain"));
        QString amount = words.first();
        QString type = words.size() == 2 ? words.last().toLower() : QStringLiteral("amplitude");
        if (words.size() == 1 && amount.endsWith(QLatin1String("db"), Qt::CaseInsensitive)) {
            amount.chop(2);
            type = QStringLiteral("db");
        }
        bool ok = false;
        const double value = amount.toDouble(&ok);
        if (!ok || !std::isfinite(value))
            return bad(QStringLiteral("\"%1\" is not a gain").arg(words.first()));
        SoxEffect effect;
        effect.kind = SoxEffect::Kind::Gain;
        if (type == QLatin1String("amplitude"))
            effect.gain = value;
        else if (type == QLatin1String("db"))
            effect.gain = std::pow(10.0, value / 20.0);
        else
            return bad(QStringLiteral("unknown gain type \"%1\"").arg(words.last()));
        effects->push_back(effect);
        return true;
    }
    return bad(QStringLiteral("the effect \"%1\" is not supported").arg(name));
}

} // namespace tonmill::avs
