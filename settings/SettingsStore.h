#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace tonmill {

// The keys of the settings file, read and written one at a time; every read
// goes to the file afresh. Readers apply what an empty or missing value means.
class SettingsStore {
public:
    explicit SettingsStore(QString file);

    const QString &file() const { return m_file; }

    // [General]
    QString version() const;
    void setVersion(const QString &stamp);
    // The stored Version differs from the running program's stamp, either way.
    bool versionChanged() const;

    // "1": look for a new version at every start; anything else: do not.
    bool checkUpdates() const;
    void setCheckUpdates(bool check);

    QString interfaceStamp() const;
    void setInterfaceStamp(const QString &stamp);
    bool interfaceChanged() const;

    QString language() const;
    void setLanguage(const QString &language);
    // The language; an empty one is first stored as "English". The value is
    // read back, so a file that cannot be written gives "".
    QString ensureLanguage();

    QString ffmpegPath() const;
    void setFfmpegPath(const QString &path);
    QString quencPath() const;
    void setQuencPath(const QString &path);
    // No ffmpeg path: the file is new or damaged.
    bool isFirstRun() const;

    // "1": compact window heights, "0": normal ones; any other value: none,
    // the window keeps its designed height.
    std::optional<bool> vista() const;
    void setVista(bool compact);
    // The value as the Setup dialog loads it: an empty one is stored as "0".
    QString ensureVista();

    // Menu states saved at exit as "True"/"False"; either spelling, in any
    // letter case, reads back. Empty: the log hidden, the log saved.
    bool logOnOff() const;
    void setLogOnOff(bool shown);
    bool saveLog() const;
    void setSaveLog(bool save);
    // Saved at exit in the same way; empty: the tag editor shown.
    bool tagEditor() const;

    // [Options]: the main window's format choices, as text.
    QString mode() const;
    void setMode(const QString &format);
    QString option(const QString &key) const;
    void setOption(const QString &key, const QString &value);
    // The option keys in the order the settings save writes them, Mode first.
    static QStringList optionKeys();

private:
    QString read(const char *section, const QString &key) const;
    void write(const char *section, const QString &key, const QString &value);

    QString m_file;
};

// A stored flag as a boolean: "True"/"False" in any letter case, or a number
// (non-zero is true); none for anything else.
std::optional<bool> flagValue(const QString &text);

} // namespace tonmill
