#pragma once

#include "platform/AppFolder.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace tonmill::test {

// A 44.1 kHz 16-bit WAV made by sox's synth (a 440 Hz sine unless told
// otherwise, with any further effects); false when sox fails.
bool makeTone(const QString &path, double seconds, int channels = 2,
              const QStringList &sound = {QStringLiteral("sine"), QStringLiteral("440")});
// What ffmpeg makes of one of its own generators ("sine=d=2"), with further
// arguments (codec, tags) before the path; false when ffmpeg fails.
bool generate(const QString &path, const QString &lavfi, const QStringList &more = {});

// A temporary application folder ("app" in a temporary folder) with the
// build's tools, and room beside it for sources.
struct AppHome {
    QTemporaryDir dir;
    QString app = dir.filePath(QStringLiteral("app"));
    AppFolder folder{app};

    AppHome();
    QString path(const QString &name) const { return dir.filePath(name); }
    QString settings() const { return folder.file(QStringLiteral("Tonmill.ini")); }
    QString setting(const char *section, const char *key) const;
    // The settings of an earlier run of this version: no first-start questions.
    void settled() const;
};

} // namespace tonmill::test
