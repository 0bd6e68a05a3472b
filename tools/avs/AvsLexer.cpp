#include "tools/avs/AvsLexer.h"

#include <array>

namespace tonmill::avs {

namespace {

bool isNameStart(QChar c)
{
    return c.isLetter() || c == QLatin1Char('_');
}

bool isNameChar(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('_');
}

bool isDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

// Longest first, so that "==" is not read as two "=".
constexpr std::array<const char *, 24> kOperators = {
    "==", "!=", "<>", "<=", ">=", "&&", "||",
    "=", "<", ">", "+", "-", "*", "/", "%", "!", "?", ":", ".", ",", "(", ")", "{", "}",
};

} // namespace

LexResult tokenize(const QString &text)
{
    LexResult result;
    int line = 1;
    qsizetype i = 0;
    const qsizetype n = text.size();
    const auto fail = [&](const QString &message) {
        result.error = message;
        result.errorLine = line;
        result.tokens.clear();
        return result;
    };
    const auto push = [&](Token::Kind kind, const QString &t) {
        Token token;
        token.kind = kind;
        token.text = t;
        token.line = line;
        result.tokens.push_back(token);
        return &result.tokens.back();
    };

    while (i < n) {
        const QChar c = text[i];
        if (c == QLatin1Char('\r') || c == QLatin1Char('\n')) {
            push(Token::Kind::NewLine, {});
            if (c == QLatin1Char('\r') && i + 1 < n && text[i + 1] == QLatin1Char('\n'))
                ++i;
            ++i;
            ++line;
        } else if (c == QLatin1Char('#')) {
            while (i < n && text[i] != QLatin1Char('\r') && text[i] != QLatin1Char('\n'))
                ++i;
        } else if (c.isSpace()) {
            ++i;
        } else if (c == QLatin1Char('"')) {
            // Three quotes open a string that may hold single ones.
            const QString quotes = QStringView(text).mid(i).startsWith(QLatin1String("\"\"\""))
                                       ? QStringLiteral("\"\"\"")
                                       : QStringLiteral("\"");
            const qsizetype open = i + quotes.size() - 1;
            const qsizetype close = text.indexOf(quotes, open + 1);
            const qsizetype lineEnd = [&] {
                for (qsizetype k = i + 1; k < n; ++k) {
                    if (text[k] == QLatin1Char('\r') || text[k] == QLatin1Char('\n'))
                        return k;
                }
                return n;
            }();
            if (close < 0 || close > lineEnd)
                return fail(QStringLiteral("syntax error: the string is not closed with \" on its line"));
            push(Token::Kind::String, text.mid(open + 1, close - open - 1));
            i = close + quotes.size();
        } else if (isDigit(c)) {
            qsizetype end = i;
            while (end < n && isDigit(text[end]))
                ++end;
            bool isFloat = false;
            if (end + 1 < n && text[end] == QLatin1Char('.') && isDigit(text[end + 1])) {
                isFloat = true;
                ++end;
                while (end < n && isDigit(text[end]))
                    ++end;
            }
            const QString digits = text.mid(i, end - i);
            bool ok = false;
            Token *token = push(isFloat ? Token::Kind::Float : Token::Kind::Int, digits);
            if (isFloat)
                token->floatValue = digits.toDouble(&ok);
            else
                token->intValue = digits.toLongLong(&ok);
            if (!ok)
                return fail(QStringLiteral("syntax error: the number %1 is too large").arg(digits));
            i = end;
        } else if (isNameStart(c)) {
            qsizetype end = i + 1;
            while (end < n && isNameChar(text[end]))
                ++end;
            push(Token::Kind::Name, text.mid(i, end - i));
            i = end;
        } else {
            const char *found = nullptr;
            for (const char *op : kOperators) {
                if (QStringView(text).mid(i).startsWith(QLatin1String(op))) {
                    found = op;
                    break;
                }
            }
            if (!found)
                return fail(QStringLiteral("syntax error: unexpected character \"%1\"").arg(c));
            push(Token::Kind::Operator, QString::fromLatin1(found));
            i += static_cast<qsizetype>(qstrlen(found));
        }
    }
    push(Token::Kind::NewLine, {});
    push(Token::Kind::End, {});
    return result;
}

} // namespace tonmill::avs
