#include "app/MainWindow.h"
#include "platform/AppFolder.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    // Qt Multimedia's GStreamer backend lacks the plug-ins on Debian; the
    // ffmpeg backend plays everything the converter reads.
    qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tonmill"));
    QApplication::setApplicationDisplayName(QStringLiteral("Tonmill"));

    const tonmill::AppFolder folder =
        tonmill::AppFolder::fromArguments(QApplication::arguments(), QApplication::applicationDirPath());
    tonmill::MainWindow window(folder);
    window.show();
    return QApplication::exec();
}
