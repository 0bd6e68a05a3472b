#pragma once

#include "tools/avs/AvsBuiltins.h"
#include "tools/avs/AvsSyntax.h"

#include <QHash>
#include <QString>

namespace tonmill::avs {

struct EvalResult {
    Clip clip;     // the script's result; null on failure
    QString error; // one line, without the script's name
    int errorLine = 0;
};

// Runs a parsed script the way the original language does: a bare expression
// that gives a clip becomes `last`, a function whose first parameter is a clip
// takes `last` when called without one, a.f(x) is f(a, x), a name that is no
// variable calls the function of that name, and names ignore case. The
// script's value is its last bare expression, or `last`.
class Evaluator {
public:
    Evaluator(const Script &script, SourceOpener &sources);
    EvalResult run();

private:
    struct Scope {
        QHash<QString, Value> variables; // by lower-case name
        Value last;
    };

    bool failed() const { return !m_error.isEmpty(); }
    Value fail(int line, const QString &message);
    // Runs statements until a return; false when it failed.
    bool execute(const std::vector<Statement> &statements, Scope &scope, Value *result);
    Value evaluate(const Expr &expr, Scope &scope);
    Value name(const Expr &expr, Scope &scope);
    Value call(const Expr &expr, Scope &scope);
    Value callUser(const FunctionDef &function, std::vector<Value> args, int line);
    Value unary(const Expr &expr, Scope &scope);
    Value binary(const Expr &expr, Scope &scope);
    // Matches the arguments to the parameters; an empty list and an error when
    // they do not fit.
    bool bind(const QString &function, const std::vector<Param> &params, std::vector<Value> positional,
              const std::vector<std::pair<QString, Value>> &named, std::vector<Value> *bound, int line);

    const Script &m_script;
    SourceOpener &m_sources;
    QHash<QString, const FunctionDef *> m_functions;
    QString m_error;
    int m_errorLine = 0;
    int m_depth = 0;
};

// Parses and runs script text.
EvalResult evaluateScript(const QString &text, SourceOpener &sources);

} // namespace tonmill::avs
