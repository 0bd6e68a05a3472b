#pragma once

#include "media/WavHeader.h"
#include "tools/avs/AvsValue.h"

#include <QString>

#include <vector>

namespace tonmill::avs {

// Where the source filters get their audio from.
class SourceOpener {
public:
    virtual ~SourceOpener() = default;
    // The audio of the file (a script file is evaluated); null with a one-line
    // reason when it cannot be had.
    virtual Clip open(const QString &path, double fps, QString *error) = 0;
};

enum class ParamType { Clip, Int, Float, String, Bool, Any };

struct Param {
    QString name;
    ParamType type = ParamType::Any;
    bool optional = false;
    bool repeats = false; // the last parameter may take one or more values
};

struct BuiltinContext {
    SourceOpener &sources;
    QString error; // set by a function that fails
};

// Arguments arrive bound to the parameters in order, nothing for an omitted
// optional one; a repeating last parameter's values all follow at the end.
using BuiltinFunction = Value (*)(const std::vector<Value> &args, BuiltinContext &context);

struct Builtin {
    QString name;
    std::vector<Param> params;
    BuiltinFunction run = nullptr;
};

// The built-in function of that name, compared case-insensitively; null when
// there is none.
const Builtin *findBuiltin(const QString &name);

// The most channels a clip may have: as many as a source may.
constexpr int kMaxChannels = kMaxAudioChannels;

} // namespace tonmill::avs
