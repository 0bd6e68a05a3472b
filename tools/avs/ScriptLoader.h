#pragma once

#include "tools/avs/AvsBuiltins.h"
#include "tools/avs/SourceProbe.h"

#include <QString>
#include <QStringList>

namespace tonmill::avs {

// Reads and runs script files, and opens the sources they name: media files
// through the probe, script files (.avs) by running them in turn. Relative
// paths count from the folder of the script that names them.
class ScriptLoader : public SourceOpener {
public:
    explicit ScriptLoader(const SourceProbe &probe);

    // The script's clip; null with one line "NAME, line N: what is wrong".
    Clip load(const QString &scriptPath, QString *error);

    Clip open(const QString &path, double fps, QString *error) override;

private:
    const SourceProbe &m_probe;
    QStringList m_running; // the scripts being run, outermost first
};

} // namespace tonmill::avs
