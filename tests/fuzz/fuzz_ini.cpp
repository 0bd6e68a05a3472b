// The profile file reader and writer on arbitrary content. The input is a
// section name, a key and a value, each ended by a NUL byte, then the file's
// content. Besides not crashing, a write must read back as in an empty file,
// and a second identical write must change nothing.
#include "settings/ProfileText.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>
#include <cstdlib>

using namespace tonmill;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    QList<QByteArray> parts;
    qsizetype from = 0;
    while (parts.size() < 3) {
        const qsizetype nul = input.indexOf('\0', from);
        if (nul < 0)
            return 0;
        parts.append(input.mid(from, nul - from));
        from = nul + 1;
    }
    const QString section = QString::fromUtf8(parts[0]);
    const QString key = QString::fromUtf8(parts[1]);
    const QString value = QString::fromUtf8(parts[2]);
    const QByteArray content = input.mid(from);

    const QString before = profileValue(content, section, key);
    if (before.size() > kMaxValueLength)
        std::abort();

    const std::optional<QByteArray> written = withProfileValue(content, section, key, value);
    const std::optional<QByteArray> alone = withProfileValue(QByteArray(), section, key, value);
    if (written.has_value() != alone.has_value())
        std::abort();
    if (!written)
        return 0;
    if (profileValue(*written, section, key) != profileValue(*alone, section, key))
        std::abort();
    if (withProfileValue(*written, section, key, value) != written)
        std::abort();
    return 0;
}
