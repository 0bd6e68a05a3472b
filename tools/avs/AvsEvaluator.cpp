#include "tools/avs/AvsEvaluator.h"

#include "tools/avs/AvsClip.h"
#include "tools/avs/AvsParser.h"

#include <cmath>
#include <limits>

namespace tonmill::avs {

namespace {

// Deep enough for any sensible script, shallow enough for the stack.
constexpr int kMaxCallDepth = 100;

ParamType paramType(const QString &type)
{
    if (type == QLatin1String("clip"))
        return ParamType::Clip;
    if (type == QLatin1String("int"))
        return ParamType::Int;
    if (type == QLatin1String("float"))
        return ParamType::Float;
    if (type == QLatin1String("string"))
        return ParamType::String;
    if (type == QLatin1String("bool"))
        return ParamType::Bool;
    return ParamType::Any;
}

QString paramTypeName(ParamType type)
{
    switch (type) {
    case ParamType::Clip: return QStringLiteral("clip");
    case ParamType::Int: return QStringLiteral("int");
    case ParamType::Float: return QStringLiteral("float");
    case ParamType::String: return QStringLiteral("string");
    case ParamType::Bool: return QStringLiteral("bool");
    case ParamType::Any: break;
    }
    return QStringLiteral("a value");
}

// The value as the parameter takes it (an int becomes a float); nothing when
// it does not fit.
std::optional<Value> accept(const Value &value, ParamType type)
{
    switch (type) {
    case ParamType::Clip:
        return isClip(value) ? std::optional<Value>(value) : std::nullopt;
    case ParamType::Int:
        return std::holds_alternative<qint64>(value) ? std::optional<Value>(value) : std::nullopt;
    case ParamType::Float:
        return isNumber(value) ? std::optional<Value>(Value(toNumber(value))) : std::nullopt;
    case ParamType::String:
        return std::holds_alternative<QString>(value) ? std::optional<Value>(value) : std::nullopt;
    case ParamType::Bool:
        return std::holds_alternative<bool>(value) ? std::optional<Value>(value) : std::nullopt;
    case ParamType::Any:
        break;
    }
    return value.index() == 0 ? std::nullopt : std::optional<Value>(value);
}

} // namespace

Evaluator::Evaluator(const Script &script, SourceOpener &sources)
    : m_script(script)
    , m_sources(sources)
{
}

EvalResult Evaluator::run()
{
    EvalResult result;
    for (const FunctionDef &f : m_script.functions) {
        if (m_functions.contains(f.name.toLower())) {
            fail(f.line, QStringLiteral("the function %1 is defined twice").arg(f.name));
            break;
        }
        m_functions.insert(f.name.toLower(), &f);
    }
    Scope scope;
    Value value;
    if (!failed() && execute(m_script.statements, scope, &value)) {
        if (isClip(value))
            result.clip = std::get<Clip>(value);
        else if (value.index() == 0)
            fail(m_script.lineCount, QStringLiteral("the script gives no clip"));
        else
            fail(m_script.lineCount, QStringLiteral("the script gives %1, not a clip").arg(typeName(value)));
    }
    result.error = m_error;
    result.errorLine = m_errorLine;
    if (failed())
        result.clip.reset();
    return result;
}

Value Evaluator::fail(int line, const QString &message)
{
    if (!failed()) {
        m_error = message;
        m_errorLine = line;
    }
    return {};
}

bool Evaluator::execute(const std::vector<Statement> &statements, Scope &scope, Value *result)
{
    // The value of the last bare expression, unless an assignment came after it.
    Value lastExpression;
    for (const Statement &s : statements) {
        const Value value = evaluate(s.expr, scope);
        if (failed())
            return false;
        switch (s.kind) {
        case Statement::Kind::Return:
            *result = value;
            return true;
        case Statement::Kind::Assign:
            if (s.name.compare(QLatin1String("last"), Qt::CaseInsensitive) == 0) {
                if (!isClip(value)) {
                    fail(s.line, QStringLiteral("last can only hold a clip, not %1").arg(typeName(value)));
                    return false;
                }
                scope.last = value;
            } else {
                scope.variables.insert(s.name.toLower(), value);
            }
            lastExpression = Value();
            break;
        case Statement::Kind::Expression:
            if (isClip(value))
                scope.last = value;
            lastExpression = value;
            break;
        }
    }
    *result = lastExpression.index() != 0 ? lastExpression : scope.last;
    return true;
}

Value Evaluator::evaluate(const Expr &expr, Scope &scope)
{
    if (failed())
        return {};
    switch (expr.kind) {
    case Expr::Kind::Literal:
        return expr.literal;
    case Expr::Kind::Name:
        return name(expr, scope);
    case Expr::Kind::Call:
        return call(expr, scope);
    case Expr::Kind::Unary:
        return unary(expr, scope);
    case Expr::Kind::Binary:
        return binary(expr, scope);
    case Expr::Kind::Conditional: {
        const Value condition = evaluate(expr.operands[0], scope);
        if (failed())
            return {};
        if (!std::holds_alternative<bool>(condition))
            return fail(expr.line, QStringLiteral("the condition before ? must be bool, not %1").arg(typeName(condition)));
        return evaluate(expr.operands[std::get<bool>(condition) ? 1 : 2], scope);
    }
    }
    return {};
}

Value Evaluator::name(const Expr &expr, Scope &scope)
{
    const QString key = expr.name.toLower();
    if (key == QLatin1String("last")) {
        if (!isClip(scope.last))
            return fail(expr.line, QStringLiteral("last has no clip yet"));
        return scope.last;
    }
    const auto it = scope.variables.constFind(key);
    if (it != scope.variables.constEnd())
        return it.value();
    if (!m_functions.contains(key) && !findBuiltin(key))
        return fail(expr.line, QStringLiteral("unknown function or variable \"%1\"").arg(expr.name));
    // A function named without parentheses is called with no arguments.
    Expr asCall = expr;
    asCall.kind = Expr::Kind::Call;
    return call(asCall, scope);
}

Value Evaluator::call(const Expr &expr, Scope &scope)
{
    const QString key = expr.name.toLower();
    const FunctionDef *user = m_functions.value(key);
    const Builtin *builtin = user ? nullptr : findBuiltin(key);
    if (!user && !builtin)
        return fail(expr.line, QStringLiteral("unknown function \"%1\"").arg(expr.name));

    std::vector<Param> params;
    if (user) {
        for (const FunctionParam &p : user->params)
            params.push_back({p.name, paramType(p.type), false, false});
    } else {
        params = builtin->params;
    }
    const QString shownName = user ? user->name : builtin->name;

    std::vector<Value> positional;
    std::vector<std::pair<QString, Value>> named;
    for (size_t i = 0; i < expr.operands.size(); ++i) {
        Value v = evaluate(expr.operands[i], scope);
        if (failed())
            return {};
        if (expr.argumentNames[static_cast<qsizetype>(i)].isEmpty())
            positional.push_back(std::move(v));
        else
            named.emplace_back(expr.argumentNames[static_cast<qsizetype>(i)], std::move(v));
    }
    if (!expr.method && !params.empty() && params.front().type == ParamType::Clip
        && (positional.empty() || !isClip(positional.front()))) {
        if (!isClip(scope.last))
            return fail(expr.line, QStringLiteral("%1 needs a clip, and last has none yet").arg(shownName));
        positional.insert(positional.begin(), scope.last);
    }

    std::vector<Value> bound;
    if (!bind(shownName, params, std::move(positional), named, &bound, expr.line))
        return {};
    if (user)
        return callUser(*user, std::move(bound), expr.line);
    BuiltinContext context{m_sources, {}};
    Value result = builtin->run(bound, context);
    if (!context.error.isEmpty())
        return fail(expr.line, context.error);
    if (isClip(result) && std::get<Clip>(result)->depth > kMaxClipDepth)
        return fail(expr.line, QStringLiteral("%1: the script chains more than %2 filters").arg(shownName).arg(kMaxClipDepth));
    return result;
}

Value Evaluator::callUser(const FunctionDef &function, std::vector<Value> args, int line)
{
    if (m_depth >= kMaxCallDepth)
        return fail(line, QStringLiteral("%1: functions call each other too deeply").arg(function.name));
    Scope scope;
    for (size_t i = 0; i < function.params.size(); ++i)
        scope.variables.insert(function.params[i].name.toLower(), args[i]);
    ++m_depth;
    Value result;
    execute(function.body, scope, &result);
    --m_depth;
    return failed() ? Value() : result;
}

bool Evaluator::bind(const QString &function, const std::vector<Param> &params, std::vector<Value> positional,
                     const std::vector<std::pair<QString, Value>> &named, std::vector<Value> *bound, int line)
{
    const auto wrong = [&](const QString &message) {
        fail(line, QStringLiteral("%1: %2").arg(function, message));
        return false;
    };
    const bool repeats = !params.empty() && params.back().repeats;
    if (positional.size() > params.size() && !repeats)
        return wrong(QStringLiteral("too many arguments (%1 given, at most %2)").arg(positional.size()).arg(params.size()));

    std::vector<Value> values(params.size());
    std::vector<bool> given(params.size(), false);
    for (size_t i = 0; i < positional.size() && i < params.size(); ++i) {
        values[i] = positional[i];
        given[i] = true;
    }
    for (const auto &[argName, value] : named) {
        const QString &wanted = argName; // clang 14 cannot capture a structured binding
        const auto p = std::find_if(params.begin(), params.end(), [&](const Param &param) {
            return param.name.compare(wanted, Qt::CaseInsensitive) == 0;
        });
        if (p == params.end())
            return wrong(QStringLiteral("there is no argument named \"%1\"").arg(argName));
        const size_t i = static_cast<size_t>(p - params.begin());
        if (given[i])
            return wrong(QStringLiteral("the argument \"%1\" is given twice").arg(p->name));
        values[i] = value;
        given[i] = true;
    }
    for (size_t i = 0; i < params.size(); ++i) {
        if (!given[i]) {
            if (params[i].optional)
                continue;
            return wrong(QStringLiteral("the argument \"%1\" is missing").arg(params[i].name));
        }
        const std::optional<Value> v = accept(values[i], params[i].type);
        if (!v)
            return wrong(QStringLiteral("the argument \"%1\" must be %2, not %3").arg(params[i].name, paramTypeName(params[i].type), typeName(values[i])));
        values[i] = *v;
    }
    for (size_t i = params.size(); i < positional.size(); ++i) {
        const std::optional<Value> v = accept(positional[i], params.back().type);
        if (!v)
            return wrong(QStringLiteral("the argument \"%1\" must be %2, not %3").arg(params.back().name, paramTypeName(params.back().type), typeName(positional[i])));
        values.push_back(*v);
    }
    *bound = std::move(values);
    return true;
}

Value Evaluator::unary(const Expr &expr, Scope &scope)
{
    const Value v = evaluate(expr.operands[0], scope);
    if (failed())
        return {};
    if (expr.name == QLatin1String("!")) {
        if (!std::holds_alternative<bool>(v))
            return fail(expr.line, QStringLiteral("! needs a bool, not %1").arg(typeName(v)));
        return !std::get<bool>(v);
    }
    if (!isNumber(v))
        return fail(expr.line, QStringLiteral("%1 needs a number, not %2").arg(expr.name, typeName(v)));
    if (expr.name == QLatin1String("+"))
        return v;
    if (const qint64 *i = std::get_if<qint64>(&v))
        return -*i;
    return -std::get<double>(v);
}

Value Evaluator::binary(const Expr &expr, Scope &scope)
{
    const QString &op = expr.name;
    const Value a = evaluate(expr.operands[0], scope);
    if (failed())
        return {};
    if (op == QLatin1String("&&") || op == QLatin1String("||")) {
        if (!std::holds_alternative<bool>(a))
            return fail(expr.line, QStringLiteral("%1 needs bools, not %2").arg(op, typeName(a)));
        // Evaluated from the left, stopping as soon as the answer is known.
        if (std::get<bool>(a) == (op == QLatin1String("||")))
            return a;
        const Value b = evaluate(expr.operands[1], scope);
        if (failed())
            return {};
        if (!std::holds_alternative<bool>(b))
            return fail(expr.line, QStringLiteral("%1 needs bools, not %2").arg(op, typeName(b)));
        return b;
    }
    const Value b = evaluate(expr.operands[1], scope);
    if (failed())
        return {};
    const auto mismatch = [&] {
        return fail(expr.line, QStringLiteral("%1 cannot combine %2 and %3").arg(op, typeName(a), typeName(b)));
    };

    const bool equality = op == QLatin1String("==") || op == QLatin1String("!=") || op == QLatin1String("<>");
    const bool ordering = op == QLatin1String("<") || op == QLatin1String(">") || op == QLatin1String("<=") || op == QLatin1String(">=");
    if (equality || ordering) {
        int order = 0;
        if (isNumber(a) && isNumber(b)) {
            if (std::holds_alternative<qint64>(a) && std::holds_alternative<qint64>(b))
                order = std::get<qint64>(a) < std::get<qint64>(b) ? -1 : std::get<qint64>(a) > std::get<qint64>(b) ? 1 : 0;
            else
                order = toNumber(a) < toNumber(b) ? -1 : toNumber(a) > toNumber(b) ? 1 : 0;
        } else if (std::holds_alternative<QString>(a) && std::holds_alternative<QString>(b)) {
            // The original language compares strings without regard to case.
            order = std::get<QString>(a).compare(std::get<QString>(b), Qt::CaseInsensitive);
        } else if (equality && std::holds_alternative<bool>(a) && std::holds_alternative<bool>(b)) {
            order = std::get<bool>(a) == std::get<bool>(b) ? 0 : 1;
        } else {
            return mismatch();
        }
        if (op == QLatin1String("=="))
            return order == 0;
        if (equality)
            return order != 0;
        if (op == QLatin1String("<"))
            return order < 0;
        if (op == QLatin1String(">"))
            return order > 0;
        if (op == QLatin1String("<="))
            return order <= 0;
        return order >= 0;
    }

    if (op == QLatin1String("+") && std::holds_alternative<QString>(a) && std::holds_alternative<QString>(b))
        return std::get<QString>(a) + std::get<QString>(b);
    if (!isNumber(a) || !isNumber(b))
        return mismatch();
    if (std::holds_alternative<qint64>(a) && std::holds_alternative<qint64>(b)) {
        const qint64 x = std::get<qint64>(a);
        const qint64 y = std::get<qint64>(b);
        if ((op == QLatin1String("/") || op == QLatin1String("%")) && y == 0)
            return fail(expr.line, QStringLiteral("division by zero"));
        qint64 r = 0;
        bool overflow = false;
        if (op == QLatin1String("+"))
            overflow = __builtin_add_overflow(x, y, &r);
        else if (op == QLatin1String("-"))
            overflow = __builtin_sub_overflow(x, y, &r);
        else if (op == QLatin1String("*"))
            overflow = __builtin_mul_overflow(x, y, &r);
        else if (x == std::numeric_limits<qint64>::min() && y == -1)
            overflow = true;
        else
            r = op == QLatin1String("/") ? x / y : x % y;
        if (overflow)
            return fail(expr.line, QStringLiteral("the result of %1 is too large").arg(op));
        return r;
    }
    const double x = toNumber(a);
    const double y = toNumber(b);
    if ((op == QLatin1String("/") || op == QLatin1String("%")) && y == 0)
        return fail(expr.line, QStringLiteral("division by zero"));
    const double r = op == QLatin1String("+")   ? x + y
                     : op == QLatin1String("-") ? x - y
                     : op == QLatin1String("*") ? x * y
                     : op == QLatin1String("/") ? x / y
                                                : std::fmod(x, y);
    if (!std::isfinite(r))
        return fail(expr.line, QStringLiteral("the result of %1 is too large").arg(op));
    return r;
}

EvalResult evaluateScript(const QString &text, SourceOpener &sources)
{
    const ParseResult parsed = parseScript(text);
    if (!parsed.error.isEmpty()) {
        EvalResult result;
        result.error = parsed.error;
        result.errorLine = parsed.errorLine;
        return result;
    }
    return Evaluator(parsed.script, sources).run();
}

} // namespace tonmill::avs
