#pragma once

#include "convert/LoudnessChoice.h"
#include "convert/OutputPlan.h"

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
    QString namePattern;     // a batch's output names; empty: "name_Konverted.ext"
    ExistingPolicy existing = ExistingPolicy::Ask; // a batch's existing outputs; ask: as --replace/--keep answer
    bool trashSources = false; // each source whose output checks out goes to the trash
    bool dryRun = false;     // prints what a batch would do and writes nothing

    // More than one source, a folder, or a batch option: a batch.
    bool isBatch() const;
};

} // namespace tonmill
