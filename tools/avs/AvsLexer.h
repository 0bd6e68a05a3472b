#pragma once

#include <QString>

#include <vector>

namespace tonmill::avs {

struct Token {
    enum class Kind { Name, Int, Float, String, Operator, NewLine, End };
    Kind kind = Kind::End;
    QString text; // Name and Operator as written; String without its quotes
    qint64 intValue = 0;
    double floatValue = 0;
    int line = 0;
};

struct LexResult {
    std::vector<Token> tokens; // always ends with an End token when ok
    QString error;             // empty when ok
    int errorLine = 0;
};

// Splits script text into tokens. A # starts a comment up to the line end
// (outside strings); CR LF, LF and a lone CR all end a line. Lines count from 1.
LexResult tokenize(const QString &text);

} // namespace tonmill::avs
