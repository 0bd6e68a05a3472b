#pragma once

#include <QString>

#include <memory>
#include <variant>

namespace tonmill::avs {

struct ClipNode;
using Clip = std::shared_ptr<const ClipNode>;

// A value of the script language. monostate is "nothing": the result of a
// function such as LoadPlugin, and of a variable never assigned.
using Value = std::variant<std::monostate, bool, qint64, double, QString, Clip>;

// The language's name of the value's type, for error texts.
QString typeName(const Value &value);

inline bool isClip(const Value &v) { return std::holds_alternative<Clip>(v); }
inline bool isNumber(const Value &v) { return std::holds_alternative<qint64>(v) || std::holds_alternative<double>(v); }
// The number of an int or float value.
double toNumber(const Value &v);

} // namespace tonmill::avs
