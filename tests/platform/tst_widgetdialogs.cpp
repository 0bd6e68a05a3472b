#include "platform/WidgetDialogs.h"

#include <QTest>

using namespace tonmill;

class TestWidgetDialogs : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void filtersInQtForm();
};

void TestWidgetDialogs::filtersInQtForm()
{
    QCOMPARE(WidgetDialogs::qtFilter(QStringLiteral("MP3 Files|*.mp3")), QStringLiteral("MP3 Files (*.mp3)"));
    QCOMPARE(WidgetDialogs::qtFilter(QStringLiteral("Audio Files|*.aac;*.ac3;*.wav;*.wav|All Files|*.*")),
             QStringLiteral("Audio Files (*.aac *.ac3 *.wav *.wav);;All Files (*.*)"));
    QCOMPARE(WidgetDialogs::qtFilter(QStringLiteral("FFMPEG Executable|ffmpeg.exe")),
             QStringLiteral("FFMPEG Executable (ffmpeg.exe)"));
    QCOMPARE(WidgetDialogs::qtFilter(QString()), QString());
}

QTEST_MAIN(TestWidgetDialogs)
#include "tst_widgetdialogs.moc"
