// The language file lookup on arbitrary content. The input is a section name
// and a key, each ended by a NUL byte, then the file's content. Besides not
// crashing, a found text must be the rest of a line of the file after its
// first separator.
#include "settings/LanguageLines.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdlib>

using namespace tonmill;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const qsizetype first = input.indexOf('\0');
    const qsizetype second = first < 0 ? -1 : input.indexOf('\0', first + 1);
    if (second < 0)
        return 0;
    const QString section = QString::fromUtf8(input.left(first));
    const QString key = QString::fromUtf8(input.mid(first + 1, second - first - 1));

    LanguageLines lines;
    lines.loadContent(input.mid(second + 1));
    for (int i = 1; i <= lines.count(); ++i) {
        if (lines.at(i).isEmpty() != (i < lines.count() && lines.at(i + 1).startsWith(u'{')))
            std::abort();
    }

    const QString fallback = QStringLiteral("\x01no text\x01");
    const QString text = lines.text(section, key, fallback);
    if (text != fallback) {
        bool fromALine = false;
        for (int i = 1; i <= lines.count() && !fromALine; ++i) {
            const QString &line = lines.at(i);
            const qsizetype at = line.indexOf(LanguageLines::kSeparator);
            fromALine = at >= 0 && line.mid(at + 1) == text && line.startsWith(key, Qt::CaseInsensitive);
        }
        if (!fromALine)
            std::abort();
    }

    // Each hit lies beyond the last one. (An empty prefix also matches the
    // empty elements, which leave the position where it was.)
    int position = 0;
    int previous = 0;
    while (!key.isEmpty() && lines.FindLanguageLine(position, key, false)) {
        if (position <= previous || position > lines.count() || !lines.at(position).startsWith(key, Qt::CaseInsensitive))
            std::abort();
        previous = position;
    }
    return 0;
}
