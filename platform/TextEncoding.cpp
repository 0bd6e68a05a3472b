#include "platform/TextEncoding.h"

#include <QStringDecoder>

#include <array>

namespace tonmill {

namespace {

// 0x80..0x9F of Windows-1252; the rest of the code page equals Latin-1.
constexpr std::array<char16_t, 32> kHighControls = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, //
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F, //
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, //
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

} // namespace

QString decodeWindows1252(const QByteArray &bytes)
{
    QString text(bytes.size(), Qt::Uninitialized);
    QChar *out = text.data();
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        *out++ = (b >= 0x80 && b <= 0x9F) ? QChar(kHighControls[b - 0x80]) : QChar(b);
    }
    return text;
}

QString decodeText(const QByteArray &bytes)
{
    // Stateless, so that a sequence cut off at the end counts as an error.
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString text = utf8.decode(bytes);
    if (!utf8.hasError())
        return text;
    return decodeWindows1252(bytes);
}

QByteArray encodeText(const QString &text)
{
    return text.toUtf8();
}

} // namespace tonmill
