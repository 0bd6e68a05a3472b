#pragma once

#include "media/SourceTags.h"

#include <QString>

namespace tonmill {

// What a naming pattern reads of one source: its tags and where it lies.
struct PatternSource {
    QString path;     // the source file
    QString baseDir;  // the folder that was added; {relpath} is the source's folder below it
    SourceTags tags;
};

// The texts that stand in for empty tags, in the window's language.
struct PatternFallbacks {
    QString artist = QStringLiteral("Unknown Artist");
    QString album = QStringLiteral("Unknown Album");
    QString title = QStringLiteral("Unknown Title");
    QString genre = QStringLiteral("Unknown Genre");
    QString year = QStringLiteral("Unknown Year");
};

// The fallbacks in the language whose display name is given.
PatternFallbacks patternFallbacks(const QString &languageName);

// Why a naming pattern cannot be used, in one sentence; empty when it can.
// Placeholders: {artist} {albumartist} {album} {title} {track} {disc} {year}
// {genre} {filename} {folder} {relpath}, {track} and {disc} with a width
// ({track:02}). A pattern is a relative path whose parts are neither empty
// nor "." or "..", and whose file name part holds more than {relpath}.
QString patternRefusal(const QString &pattern);

// Whether the pattern names any tag, so that the source must be probed.
bool patternUsesTags(const QString &pattern);

// The output path the pattern gives for the source, below outputRoot, with
// the extension (no dot); empty when the pattern is refused. Every value is
// made safe as a file name part ("/", control characters and the characters
// other systems forbid become "_", leading dots and edge blanks go), an empty
// tag takes its fallback, and each part is shortened to nameMax bytes
// without splitting a UTF-8 character, the file name keeping its extension.
QString expandPattern(const QString &pattern, const PatternSource &source, const PatternFallbacks &fallbacks,
                      const QString &outputRoot, const QString &extension, int nameMax = 255);

// A file name part made safe as expandPattern makes each value.
QString safeNamePart(const QString &value);

// The name "stem.extension" shortened to maxBytes of UTF-8 by cutting the
// stem at a character boundary.
QString fitName(const QString &stem, const QString &extension, int maxBytes);

// The longest file name the file system of the folder (or of its nearest
// existing parent) allows, in bytes.
int nameMaxFor(const QString &folder);

} // namespace tonmill
