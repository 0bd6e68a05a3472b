#pragma once

#include "tools/avs/AvsSyntax.h"

#include <QString>

namespace tonmill::avs {

struct ParseResult {
    Script script;
    QString error; // empty when the text parsed
    int errorLine = 0;
};

// Parses the script language: one statement per line (an assignment, a bare
// expression, or return), function definitions with a braced body, calls with
// positional and named arguments, methods (a.f(x), a.f), ?:, the usual
// operators, and # comments. Names are not resolved here.
ParseResult parseScript(const QString &text);

} // namespace tonmill::avs
