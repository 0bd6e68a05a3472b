#include "tools/avs/AvsParser.h"

#include "tools/avs/AvsLexer.h"

#include <array>

namespace tonmill::avs {

namespace {

// Nesting of brackets and operators beyond any real script; it keeps a
// hostile text from exhausting the stack.
constexpr int kMaxNesting = 200;

const std::array<const char *, 6> kParamTypes = {"clip", "int", "float", "string", "bool", "val"};

class Parser {
public:
    explicit Parser(const std::vector<Token> &tokens) : m_tokens(tokens) {}

    ParseResult run()
    {
        ParseResult result;
        while (!failed() && !at(Token::Kind::End)) {
            if (at(Token::Kind::NewLine)) {
                ++m_pos;
            } else if (isKeyword("function")) {
                result.script.functions.push_back(function());
            } else {
                result.script.statements.push_back(statement());
                endOfStatement();
            }
        }
        result.script.lineCount = m_tokens.empty() ? 0 : m_tokens.back().line;
        result.error = m_error;
        result.errorLine = m_errorLine;
        return result;
    }

private:
    const Token &peek(size_t ahead = 0) const
    {
        return m_tokens[std::min(m_pos + ahead, m_tokens.size() - 1)];
    }
    bool at(Token::Kind kind, size_t ahead = 0) const { return peek(ahead).kind == kind; }
    bool atOperator(const char *op, size_t ahead = 0) const
    {
        return at(Token::Kind::Operator, ahead) && peek(ahead).text == QLatin1String(op);
    }
    bool isKeyword(const char *word) const
    {
        return at(Token::Kind::Name) && peek().text.compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
    }
    bool failed() const { return !m_error.isEmpty(); }

    static QString describe(const Token &token)
    {
        switch (token.kind) {
        case Token::Kind::NewLine: return QStringLiteral("the end of the line");
        case Token::Kind::End: return QStringLiteral("the end of the script");
        case Token::Kind::String: return QStringLiteral("the string \"%1\"").arg(token.text);
        default: return QStringLiteral("\"%1\"").arg(token.text);
        }
    }

    void fail(const QString &expected)
    {
        if (failed())
            return;
        m_error = QStringLiteral("syntax error: expected %1 but found %2").arg(expected, describe(peek()));
        m_errorLine = peek().line;
    }

    bool expectOperator(const char *op, const QString &what)
    {
        if (atOperator(op)) {
            ++m_pos;
            return true;
        }
        fail(what);
        return false;
    }

    void skipNewLines()
    {
        while (at(Token::Kind::NewLine))
            ++m_pos;
    }

    void endOfStatement()
    {
        if (failed())
            return;
        if (at(Token::Kind::NewLine) || at(Token::Kind::End))
            ++m_pos;
        else
            fail(QStringLiteral("the end of the line"));
    }

    FunctionDef function()
    {
        FunctionDef def;
        def.line = peek().line;
        ++m_pos;
        if (!at(Token::Kind::Name)) {
            fail(QStringLiteral("a function name"));
            return def;
        }
        def.name = peek().text;
        ++m_pos;
        if (!expectOperator("(", QStringLiteral("\"(\" after the function name")))
            return def;
        while (!failed() && !atOperator(")")) {
            if (!def.params.empty() && !expectOperator(",", QStringLiteral("\",\" or \")\" in the parameters")))
                return def;
            if (!at(Token::Kind::Name)) {
                fail(QStringLiteral("a parameter name"));
                return def;
            }
            FunctionParam param;
            if (at(Token::Kind::Name, 1)) {
                param.type = peek().text.toLower();
                if (std::none_of(kParamTypes.begin(), kParamTypes.end(),
                                 [&](const char *t) { return param.type == QLatin1String(t); })) {
                    fail(QStringLiteral("a parameter type (clip, int, float, string, bool or val)"));
                    return def;
                }
                ++m_pos;
            }
            param.name = peek().text;
            ++m_pos;
            def.params.push_back(param);
        }
        if (failed())
            return def;
        ++m_pos;
        skipNewLines();
        if (!expectOperator("{", QStringLiteral("\"{\" to open the function body")))
            return def;
        for (;;) {
            skipNewLines();
            if (failed())
                return def;
            if (atOperator("}")) {
                ++m_pos;
                break;
            }
            if (at(Token::Kind::End)) {
                fail(QStringLiteral("\"}\" to close the function %1").arg(def.name));
                return def;
            }
            if (isKeyword("function")) {
                fail(QStringLiteral("a statement (functions are defined only at the top level)"));
                return def;
            }
            def.body.push_back(statement());
            // The body may close right after its last statement: "return x}".
            if (!atOperator("}"))
                endOfStatement();
        }
        endOfStatement();
        return def;
    }

    Statement statement()
    {
        Statement s;
        s.line = peek().line;
        if (isKeyword("return")) {
            ++m_pos;
            s.kind = Statement::Kind::Return;
        } else if (at(Token::Kind::Name) && atOperator("=", 1)) {
            s.kind = Statement::Kind::Assign;
            s.name = peek().text;
            m_pos += 2;
        }
        s.expr = expression();
        return s;
    }

    Expr expression()
    {
        Depth depth(*this);
        if (!depth.deeper())
            return node(Expr::Kind::Literal, {});
        Expr condition = binary(0);
        if (failed() || !atOperator("?"))
            return condition;
        Expr e = node(Expr::Kind::Conditional, {});
        ++m_pos;
        Expr whenTrue = expression();
        if (!expectOperator(":", QStringLiteral("\":\" in the ?: expression")))
            return e;
        Expr whenFalse = expression();
        e.operands = {std::move(condition), std::move(whenTrue), std::move(whenFalse)};
        return e;
    }

    // Binary operators by precedence level, loosest first.
    static const std::vector<std::vector<const char *>> &levels()
    {
        static const std::vector<std::vector<const char *>> table = {
            {"||"}, {"&&"}, {"==", "!=", "<>", "<", ">", "<=", ">="}, {"+", "-"}, {"*", "/", "%"},
        };
        return table;
    }

    Expr binary(size_t level)
    {
        if (level == levels().size())
            return unary();
        Expr left = binary(level + 1);
        Depth depth(*this);
        for (;;) {
            if (failed())
                return left;
            const char *op = nullptr;
            for (const char *candidate : levels()[level]) {
                if (atOperator(candidate))
                    op = candidate;
            }
            if (!op)
                return left;
            if (!depth.deeper())
                return left;
            Expr e = node(Expr::Kind::Binary, QString::fromLatin1(op));
            ++m_pos;
            Expr right = binary(level + 1);
            e.operands = {std::move(left), std::move(right)};
            left = std::move(e);
        }
    }

    Expr unary()
    {
        if (atOperator("-") || atOperator("+") || atOperator("!")) {
            Depth depth(*this);
            if (!depth.deeper())
                return node(Expr::Kind::Literal, {});
            Expr e = node(Expr::Kind::Unary, peek().text);
            ++m_pos;
            e.operands = {unary()};
            return e;
        }
        return postfix();
    }

    Expr postfix()
    {
        Expr object = primary();
        Depth depth(*this);
        while (!failed() && atOperator(".")) {
            if (!depth.deeper())
                return object;
            ++m_pos;
            if (!at(Token::Kind::Name)) {
                fail(QStringLiteral("a function name after \".\""));
                return object;
            }
            Expr call = node(Expr::Kind::Call, peek().text);
            call.method = true;
            ++m_pos;
            call.operands.push_back(std::move(object));
            call.argumentNames << QString();
            if (atOperator("("))
                arguments(call);
            object = std::move(call);
        }
        return object;
    }

    Expr primary()
    {
        const Token &token = peek();
        switch (token.kind) {
        case Token::Kind::Int: {
            Expr e = node(Expr::Kind::Literal, {});
            e.literal = token.intValue;
            ++m_pos;
            return e;
        }
        case Token::Kind::Float: {
            Expr e = node(Expr::Kind::Literal, {});
            e.literal = token.floatValue;
            ++m_pos;
            return e;
        }
        case Token::Kind::String: {
            Expr e = node(Expr::Kind::Literal, {});
            e.literal = token.text;
            ++m_pos;
            return e;
        }
        case Token::Kind::Name: {
            if (isKeyword("true") || isKeyword("false")) {
                Expr e = node(Expr::Kind::Literal, {});
                e.literal = isKeyword("true");
                ++m_pos;
                return e;
            }
            Expr e = node(Expr::Kind::Name, token.text);
            ++m_pos;
            if (atOperator("(")) {
                e.kind = Expr::Kind::Call;
                arguments(e);
            }
            return e;
        }
        default:
            break;
        }
        if (atOperator("(")) {
            ++m_pos;
            Expr inner = expression();
            expectOperator(")", QStringLiteral("\")\""));
            return inner;
        }
        fail(QStringLiteral("a value"));
        return node(Expr::Kind::Literal, {});
    }

    // Reads "(a, name = b, ...)" into the call's operands.
    void arguments(Expr &call)
    {
        ++m_pos;
        bool first = true;
        while (!failed() && !atOperator(")")) {
            if (!first && !expectOperator(",", QStringLiteral("\",\" or \")\" in the arguments of %1").arg(call.name)))
                return;
            first = false;
            QString name;
            if (at(Token::Kind::Name) && atOperator("=", 1)) {
                name = peek().text;
                m_pos += 2;
            }
            call.operands.push_back(expression());
            call.argumentNames << name;
        }
        if (!failed())
            ++m_pos;
    }

    Expr node(Expr::Kind kind, const QString &name) const
    {
        Expr e;
        e.kind = kind;
        e.name = name;
        e.line = peek().line;
        return e;
    }

    // Counts how deep the expression tree being built is. Every bracket,
    // operator and method adds a level, so that evaluating and freeing the
    // tree cannot exhaust the stack either.
    class Depth {
    public:
        explicit Depth(Parser &parser) : m_parser(parser) {}
        ~Depth() { m_parser.m_nesting -= m_added; }
        bool deeper()
        {
            ++m_added;
            if (++m_parser.m_nesting <= kMaxNesting)
                return true;
            m_parser.fail(QStringLiteral("a simpler expression (this one nests too deeply)"));
            return false;
        }

    private:
        Parser &m_parser;
        int m_added = 0;
    };

    const std::vector<Token> &m_tokens;
    size_t m_pos = 0;
    int m_nesting = 0;
    QString m_error;
    int m_errorLine = 0;
};

} // namespace

ParseResult parseScript(const QString &text)
{
    const LexResult lexed = tokenize(text);
    if (!lexed.error.isEmpty()) {
        ParseResult result;
        result.error = lexed.error;
        result.errorLine = lexed.errorLine;
        return result;
    }
    return Parser(lexed.tokens).run();
}

} // namespace tonmill::avs
