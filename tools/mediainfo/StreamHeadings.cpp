#include "tools/mediainfo/StreamHeadings.h"

#include <QRegularExpression>
#include <QStringList>

namespace tonmill::mediainfo {

QString numberStreamHeadings(const QString &report)
{
    static const QRegularExpression heading(QStringLiteral(R"(^([A-Z][A-Za-z]*)(?: #(\d+))?$)"));
    QStringList lines = report.split(QLatin1Char('\n'));
    bool atSectionStart = true;
    for (QString &line : lines) {
        const QString bare = line.endsWith(QLatin1Char('\r')) ? line.chopped(1) : line;
        if (bare.isEmpty()) {
            atSectionStart = true;
            continue;
        }
        const QRegularExpressionMatch m = heading.match(bare);
        if (atSectionStart && m.hasMatch()) {
            const int number = m.captured(2).isEmpty() ? 0 : m.captured(2).toInt() - 1;
            line = QStringLiteral("%1 #%2").arg(m.captured(1)).arg(number) + line.mid(bare.size());
        }
        atSectionStart = false;
    }
    return lines.join(QLatin1Char('\n'));
}

} // namespace tonmill::mediainfo
