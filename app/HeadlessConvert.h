#pragma once

#include "convert/LoudnessChoice.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace tonmill {

// What the command line asks of one conversion without a window. Fields left
// unset keep what the settings and the source's report give.
struct HeadlessRequest {
    QString source;          // the first source
    QStringList sources;     // every source and folder given, in order
    bool recursive = false;  // folders are searched in their subfolders too
    QString outputDir;       // empty: each output beside its source
    int jobs = 0;            // encoders at once in a batch; 0: one per core
    QString format;          // a name of the format list, as the list spells it
    QString output;          // empty: beside the source
    std::optional<int> volume;
    bool normalize = false;
    bool upmix = false;
    bool fade = false;       // fade in over the first 2 seconds, out over the last 2
    LoudnessChoice loudness; // --loudness, --true-peak, --replaygain
    bool segment = false;
    QString segmentStart;
    QString segmentEnd;
    std::optional<QString> title;
    std::optional<QString> artist;
    std::optional<QString> album;
    std::optional<QString> year;
    std::optional<QString> notes;
    std::optional<QString> genre;
    std::optional<QString> track;
    QString wmaProfile;      // a profile name or its key
    bool replace = false;    // the answer to the replace question
    bool keep = false;       // No was asked for rather than taken by default

    // More than one source, a folder, or a batch option: a batch.
    bool isBatch() const;
};

struct HeadlessParse {
    bool ok = false;
    QString error;
    HeadlessRequest request;
};

// True when the arguments ask for a conversion without a window.
bool wantsHeadlessConvert(const QStringList &arguments);

// Reads the command line; the first argument is the program's name.
HeadlessParse parseHeadlessArguments(const QStringList &arguments);

QString headlessUsage();
// The usage, what the command does and its exit statuses.
QString headlessHelp();
// True when the arguments ask for the help text.
bool wantsHelp(const QStringList &arguments);

// Runs the conversion the arguments ask for through the same job as the
// window's Convert button, inside the running application object. Log lines
// go to standard output, progress to standard error when that is a terminal,
// and a one-line reason to standard error when the result is not a finished,
// non-empty output file, in the log's words. A source the media tool cannot
// describe is converted all the same, with one line saying so. The exit
// status: 0 done, 1 failed, 2 bad arguments, 3 the existing output was kept,
// 128 + the signal's number when aborted. A batch prints one line per
// finished file and a summary, and exits 0 only when every file converted,
// otherwise with the number of files that did not (at most 125).
int runHeadlessConvert(const QStringList &arguments);

} // namespace tonmill
