#include "platform/TextEncoding.h"

#include <QProcess>
#include <QTest>

using namespace tonmill;

class TestTextEncoding : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void windows1252MatchesPythonCodec();
    void utf8WhenValidElseWindows1252();
};

// Python's cp1252 codec is the reference; it leaves five bytes unassigned,
// which the original platform maps to the control characters of that number.
void TestTextEncoding::windows1252MatchesPythonCodec()
{
    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"),
                 {QStringLiteral("-c"),
                  QStringLiteral("import sys\n"
                                 "out = []\n"
                                 "for b in range(256):\n"
                                 "    try: out.append(ord(bytes([b]).decode('cp1252')))\n"
                                 "    except UnicodeDecodeError: out.append(b)\n"
                                 "print(' '.join(map(str, out)))\n")});
    QVERIFY(python.waitForFinished(30000));
    QCOMPARE(python.exitCode(), 0);
    const QStringList expected = QString::fromLatin1(python.readAllStandardOutput()).trimmed().split(u' ');
    QCOMPARE(expected.size(), 256);

    QByteArray all;
    for (int b = 0; b < 256; ++b)
        all.append(static_cast<char>(b));
    const QString decoded = decodeWindows1252(all);
    QCOMPARE(decoded.size(), 256);
    for (int b = 0; b < 256; ++b)
        QCOMPARE(decoded[b].unicode(), expected[b].toUShort());
}

void TestTextEncoding::utf8WhenValidElseWindows1252()
{
    QCOMPARE(decodeText("Fran\xC3\xA7" "ais \xC2\xBB \xE2\x82\xAC"), QStringLiteral("Français » €"));
    QCOMPARE(decodeText("Fran\xE7" "ais \xBB \x80"), QStringLiteral("Français » €"));
    // A valid start cut off at the end, an overlong form and an encoded
    // surrogate are not UTF-8.
    QCOMPARE(decodeText("abc\xC3"), QStringLiteral("abcÃ"));
    QCOMPARE(decodeText("\xC0\xBB"), QStringLiteral("À»"));
    QCOMPARE(decodeText("\xED\xA0\x80"), QStringLiteral("í\u00A0€"));
    QCOMPARE(decodeText("\xEF\xBB\xBF[General]"), QStringLiteral("\uFEFF[General]"));
    QCOMPARE(decodeText(QByteArray("a\0b", 3)), QString::fromUtf16(u"a\0b", 3));
    QVERIFY(decodeText(QByteArray()).isEmpty());

    const QString text = QStringLiteral("Übersetzt » 日本 \U0001F3B5");
    QCOMPARE(encodeText(text), text.toUtf8());
    QCOMPARE(decodeText(encodeText(text)), text);
}

QTEST_GUILESS_MAIN(TestTextEncoding)
#include "tst_textencoding.moc"
