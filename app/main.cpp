#include "app/HeadlessConvert.h"
#include "app/MainProgram.h"
#include "platform/AppFolder.h"
#include "platform/WidgetDialogs.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    // Help and a conversion from the command line need no window, so they
    // need no display.
    if (tonmill::wantsHelp(arguments)) {
        std::fputs(tonmill::headlessHelp().toLocal8Bit().constData(), stdout);
        return 0;
    }
    if (tonmill::wantsHeadlessConvert(arguments)) {
        QCoreApplication app(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("Tonmill"));
        return tonmill::runHeadlessConvert(QCoreApplication::arguments());
    }

    // Qt Multimedia's GStreamer backend lacks the plug-ins on Debian; the
    // ffmpeg backend plays everything the converter reads.
    qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tonmill"));
    QApplication::setApplicationDisplayName(QStringLiteral("Tonmill"));

    const tonmill::AppFolder folder =
        tonmill::AppFolder::fromArguments(QApplication::arguments(), QApplication::applicationDirPath());
    tonmill::WidgetDialogs dialogs;
    tonmill::MainProgram program(folder, dialogs);
    dialogs.setParent(&program.window());
    program.start();
    return QApplication::exec();
}
