#include "app/HeadlessConvert.h"
#include "app/MainProgram.h"
#include "app/ProgramArguments.h"
#include "options/FormatListing.h"
#include "platform/AppFolderChoice.h"
#include "platform/WidgetDialogs.h"

#include <QApplication>
#include <QIcon>
#include <QStandardPaths>

#include <cstdio>

namespace {

void print(FILE *stream, const QString &text)
{
    std::fputs(text.toLocal8Bit().constData(), stream);
}

tonmill::AppFolder appFolder(const QString &home)
{
    return tonmill::chooseAppFolder(home, QCoreApplication::applicationDirPath(),
                                    {QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation),
                                     QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)});
}

} // namespace

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    // Everything but the window is answered before a display is needed.
    using Action = tonmill::ProgramArguments::Action;
    const tonmill::ProgramArguments parsed = tonmill::parseProgramArguments(arguments);
    switch (parsed.action) {
    case Action::Help:
        print(stdout, tonmill::programHelp());
        return 0;
    case Action::Version:
        print(stdout, tonmill::programVersion() + QLatin1Char('\n'));
        return 0;
    case Action::ListFormats:
        print(stdout, tonmill::formatListing());
        return 0;
    case Action::Invalid:
        print(stderr, QStringLiteral("tonmill: %1; tonmill --help lists the options\n").arg(parsed.error));
        return 2;
    case Action::Convert: {
        QCoreApplication app(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("Tonmill"));
        return tonmill::runHeadlessConvert(parsed.request, appFolder(parsed.home));
    }
    case Action::Window:
        break;
    }

    // Qt Multimedia's GStreamer backend lacks the plug-ins on Debian; the
    // ffmpeg backend plays everything the converter reads.
    qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tonmill"));
    QApplication::setApplicationDisplayName(QStringLiteral("Tonmill"));
    // The desktop finds the launcher, and with it the icon, by this name.
    QGuiApplication::setDesktopFileName(QStringLiteral("org.example.tonmill"));
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("tonmill")));

    tonmill::WidgetDialogs dialogs;
    tonmill::MainProgram program(appFolder(parsed.home), dialogs);
    dialogs.setParent(&program.window());
    program.start(parsed.files);
    return QApplication::exec();
}
