#pragma once

#include "tools/avs/AvsValue.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace tonmill::avs {

// An expression of the script language.
struct Expr {
    enum class Kind {
        Literal,     // literal
        Name,        // name: a variable, or a function called without parentheses
        Call,        // name(operands...); a method call a.f(x) has a as its first operand
        Unary,       // name is the operator; one operand
        Binary,      // name is the operator; two operands
        Conditional, // operands: condition, then, else
    };
    Kind kind = Kind::Literal;
    int line = 0;
    Value literal;
    QString name;
    std::vector<Expr> operands;
    QStringList argumentNames; // Call: the name of each named argument, empty for positional ones
    bool method = false;       // Call: written as a.f, so no implicit last
};

struct Statement {
    enum class Kind { Assign, Expression, Return };
    Kind kind = Kind::Expression;
    int line = 0;
    QString name; // Assign: the variable
    Expr expr;
};

struct FunctionParam {
    QString type; // clip, int, float, string, bool, val; empty when not given
    QString name;
};

struct FunctionDef {
    QString name;
    int line = 0;
    std::vector<FunctionParam> params;
    std::vector<Statement> body;
};

struct Script {
    std::vector<Statement> statements;
    std::vector<FunctionDef> functions; // gathered from anywhere at the top level
    int lineCount = 0;
};

} // namespace tonmill::avs
