#pragma once

#include <QString>
#include <QStringList>

class QProcess;

namespace tonmill {

// One command line with its two faces: the exact text the program builds,
// logs, shows and compares, and the argument list that is executed. Both are
// made together, so a value in the text can never become a second argument, an
// option or shell syntax when it runs.
struct CommandLine {
    QString text;
    QString program;
    QStringList arguments;
    // The name under which ending processes by name finds this run
    // ("ffmpeg", "QuEnc", "Cscript"); by default the program's file name.
    QString imageName;
    // NAME=value pairs the program is started with besides this program's own
    // environment: what the helpers need not find out again.
    QStringList environment;

    bool isEmpty() const { return text.isEmpty() && program.isEmpty(); }
};

// Builds a CommandLine piece by piece, the way the program writes its lines:
// fixed fragments whose blanks separate words, and values wrapped in double
// quotes, each of which is one word whatever it holds.
class CommandLineBuilder {
public:
    // Fixed text: blanks separate words; other characters join the word at hand.
    CommandLineBuilder &text(const QString &fragment);
    // A value written between double quotes: it joins the word at hand whole.
    CommandLineBuilder &quoted(const QString &value);
    // A value written as it stands (numbers, codec names): split like text.
    CommandLineBuilder &value(const QString &value) { return text(value); }

    // The first word is the program, the rest are its arguments.
    CommandLine build() const;

private:
    void flush();

    QString m_text;
    QStringList m_words;
    QString m_word;
    bool m_inWord = false;
};

// Starts the line's program with its arguments and its environment.
void startCommandLine(QProcess &process, const CommandLine &line);

} // namespace tonmill
