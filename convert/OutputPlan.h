#pragma once

#include "convert/NamePattern.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace tonmill {

// What happens to an output file that exists already.
enum class ExistingPolicy {
    Ask,        // the replace question (a run without a window answers as told, by default No)
    Skip,       // the existing file is kept and the source is not converted
    Overwrite,  // the new output replaces it once complete
    Rename,     // the new output takes the next free "name (2).ext"
};

// "ask", "skip", "overwrite", "rename" and back.
std::optional<ExistingPolicy> existingPolicyNamed(const QString &name);
QString existingPolicyName(ExistingPolicy policy);

// How a batch names its outputs.
struct OutputNaming {
    QString outputDir;   // empty: beside each source (with a pattern: below the folder that was added)
    QString pattern;     // empty: "name_Konverted.ext"
    QString extension;   // without the dot
    ExistingPolicy existing = ExistingPolicy::Ask;
    PatternFallbacks fallbacks;
    // The tags of a source; asked only when the pattern names a tag.
    std::function<SourceTags(const QString &source)> tags;
};

// One source's output and what is decided for it.
struct PlannedOutput {
    enum class Decision {
        New,        // nothing is there
        Ask,        // something is there and the user is to be asked
        Skip,       // something is there and is kept
        Overwrite,  // something is there and is replaced
        Renamed,    // something was there; this is the next free name
    };
    QString source;
    QString output;
    Decision decision = Decision::New;
    // Another source of the batch takes the name first: this one is numbered.
    bool collided = false;
};

// "new", "ask", "skip", "overwrite", "renamed".
QString decisionName(PlannedOutput::Decision decision);

// Where each source's output goes and what becomes of an existing file
// there, in the sources' order: the window's preview, the dry run and the
// real run all plan with this. Two sources that would give one name get
// different ones ("name (2).ext"), so one output never overwrites another.
// An existing empty file counts as nothing, as the single file's question
// treats it.
QList<PlannedOutput> planOutputs(const QStringList &sources, const QStringList &baseDirs, const OutputNaming &naming);

// The path with " (n)" before its extension, the name shortened to fit.
QString numberedPath(const QString &path, int n, int nameMax = 255);

} // namespace tonmill
