#include "settings/SettingsStore.h"

#include "platform/AppVersion.h"
#include "settings/INIManager.h"

#include <utility>

namespace tonmill {

namespace {
constexpr const char *kGeneral = "General";
constexpr const char *kOptions = "Options";

QString flagText(bool value)
{
    return value ? QStringLiteral("True") : QStringLiteral("False");
}
} // namespace

std::optional<bool> flagValue(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return true;
    if (trimmed.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
        return false;
    bool isNumber = false;
    const double number = trimmed.toDouble(&isNumber);
    if (isNumber)
        return number != 0;
    return std::nullopt;
}

SettingsStore::SettingsStore(QString file)
    : m_file(std::move(file))
{
}

QString SettingsStore::read(const char *section, const QString &key) const
{
    return ReadIniValue(QLatin1String(section), key, m_file);
}

void SettingsStore::write(const char *section, const QString &key, const QString &value)
{
    WriteIniValue(QLatin1String(section), key, value, m_file);
}

QString SettingsStore::version() const
{
    return read(kGeneral, QStringLiteral("Version"));
}

void SettingsStore::setVersion(const QString &stamp)
{
    write(kGeneral, QStringLiteral("Version"), stamp);
}

bool SettingsStore::versionChanged() const
{
    return version() != versionStamp();
}

bool SettingsStore::checkUpdates() const
{
    return read(kGeneral, QStringLiteral("ChkUpdates")) == QLatin1String("1");
}

void SettingsStore::setCheckUpdates(bool check)
{
    write(kGeneral, QStringLiteral("ChkUpdates"), check ? QStringLiteral("1") : QStringLiteral("0"));
}

QString SettingsStore::interfaceStamp() const
{
    return read(kGeneral, QStringLiteral("Interface"));
}

void SettingsStore::setInterfaceStamp(const QString &stamp)
{
    write(kGeneral, QStringLiteral("Interface"), stamp);
}

bool SettingsStore::interfaceChanged() const
{
    return interfaceStamp() != versionStamp();
}

QString SettingsStore::language() const
{
    return read(kGeneral, QStringLiteral("Language"));
}

void SettingsStore::setLanguage(const QString &language)
{
    write(kGeneral, QStringLiteral("Language"), language);
}

QString SettingsStore::ensureLanguage()
{
    if (language().isEmpty())
        setLanguage(QStringLiteral("English"));
    return language();
}

QString SettingsStore::ffmpegPath() const
{
    return read(kGeneral, QStringLiteral("FFMPEG"));
}

void SettingsStore::setFfmpegPath(const QString &path)
{
    write(kGeneral, QStringLiteral("FFMPEG"), path);
}

QString SettingsStore::quencPath() const
{
    return read(kGeneral, QStringLiteral("QUENC"));
}

void SettingsStore::setQuencPath(const QString &path)
{
    write(kGeneral, QStringLiteral("QUENC"), path);
}

bool SettingsStore::isFirstRun() const
{
    return ffmpegPath().isEmpty();
}

std::optional<bool> SettingsStore::vista() const
{
    const QString value = read(kGeneral, QStringLiteral("Vista"));
    if (value == QLatin1String("1"))
        return true;
    if (value == QLatin1String("0"))
        return false;
    return std::nullopt;
}

void SettingsStore::setVista(bool compact)
{
    write(kGeneral, QStringLiteral("Vista"), compact ? QStringLiteral("1") : QStringLiteral("0"));
}

QString SettingsStore::ensureVista()
{
    const QString value = read(kGeneral, QStringLiteral("Vista"));
    if (!value.isEmpty())
        return value;
    setVista(false);
    return QStringLiteral("0");
}

bool SettingsStore::logOnOff() const
{
    return flagValue(read(kGeneral, QStringLiteral("LogOnOff"))).value_or(false);
}

void SettingsStore::setLogOnOff(bool shown)
{
    write(kGeneral, QStringLiteral("LogOnOff"), flagText(shown));
}

bool SettingsStore::saveLog() const
{
    return flagValue(read(kGeneral, QStringLiteral("SaveLog"))).value_or(true);
}

void SettingsStore::setSaveLog(bool save)
{
    write(kGeneral, QStringLiteral("SaveLog"), flagText(save));
}

bool SettingsStore::tagEditor() const
{
    return flagValue(read(kGeneral, QStringLiteral("TagEditor"))).value_or(true);
}

QString SettingsStore::mode() const
{
    return option(QStringLiteral("Mode"));
}

void SettingsStore::setMode(const QString &format)
{
    setOption(QStringLiteral("Mode"), format);
}

QString SettingsStore::option(const QString &key) const
{
    return read(kOptions, key);
}

void SettingsStore::setOption(const QString &key, const QString &value)
{
    write(kOptions, key, value);
}

QStringList SettingsStore::optionKeys()
{
    return {
        QStringLiteral("Mode"),
        QStringLiteral("MP3SamFreq"), QStringLiteral("MP3Channels"), QStringLiteral("MP3BitRate"),
        QStringLiteral("AmrType"),    QStringLiteral("AmrBitRate"),
        QStringLiteral("AC3SamFreq"), QStringLiteral("AC3Channels"), QStringLiteral("AC3BitRate"),
        QStringLiteral("MP2SamFreq"), QStringLiteral("MP2Channels"), QStringLiteral("MP2BitRate"),
        QStringLiteral("MP2Header"),
        QStringLiteral("WAVSamFreq"), QStringLiteral("WAVChannels"), QStringLiteral("WAVCodec"),
        QStringLiteral("AACSamFreq"), QStringLiteral("AACChannels"), QStringLiteral("AACBitRate"),
        QStringLiteral("AACProfile"),
    };
}

} // namespace tonmill
