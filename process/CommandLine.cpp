#include "process/CommandLine.h"

#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

namespace tonmill {

void CommandLineBuilder::flush()
{
    if (m_inWord)
        m_words.append(m_word);
    m_word.clear();
    m_inWord = false;
}

CommandLineBuilder &CommandLineBuilder::text(const QString &fragment)
{
    m_text += fragment;
    for (const QChar c : fragment) {
        if (c == QLatin1Char(' ') || c == QLatin1Char('\t')) {
            flush();
        } else {
            m_word += c;
            m_inWord = true;
        }
    }
    return *this;
}

CommandLineBuilder &CommandLineBuilder::quoted(const QString &value)
{
    m_text += QLatin1Char('"') + value + QLatin1Char('"');
    m_word += value;
    m_inWord = true;
    return *this;
}

CommandLine CommandLineBuilder::build() const
{
    CommandLineBuilder copy = *this;
    copy.flush();
    CommandLine line;
    line.text = m_text;
    if (!copy.m_words.isEmpty()) {
        line.program = copy.m_words.takeFirst();
        line.arguments = copy.m_words;
        line.imageName = QFileInfo(line.program).fileName();
    }
    return line;
}

void startCommandLine(QProcess &process, const CommandLine &line)
{
    if (!line.environment.isEmpty()) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const QString &entry : line.environment) {
            const qsizetype equals = entry.indexOf(QLatin1Char('='));
            if (equals > 0)
                environment.insert(entry.first(equals), entry.sliced(equals + 1));
        }
        process.setProcessEnvironment(environment);
    }
    process.start(line.program, line.arguments);
}

} // namespace tonmill
