// Shows one of the program's windows on its own, in a language, for the
// screenshot script (docs/screenshots.sh):
//   tonmill-form-show APP_DIR setup|about|main|start|player|waveform|equalizer|batch LANGUAGE [SOURCE]
// writes APP_DIR's language file in LANGUAGE ("English", "Deutsch", ...) and
// shows the window until it is closed or the program is ended. The main
// window starts as after an earlier run (no first-start questions) with its
// log shown ("start": hidden, as it first starts) and opens SOURCE as a file
// dropped on it would be; "player" then previews the result from its middle
// (and plays that), "waveform" marks a segment from 12 to 26 seconds on the
// waveform and plays from 18 seconds, and "equalizer" shows the Equalizer
// window beside it; "batch" lists the files of the folder SOURCE in batch
// mode and converts them.
#include "app/AboutDialog.h"
#include "app/MainProgram.h"
#include "platform/AppVersion.h"
#include "platform/WidgetDialogs.h"
#include "settings/INIManager.h"
#include "settings/SetupDialog.h"
#include "settings/Translations.h"

#include <QApplication>
#include <QTimer>

#include <cstdio>
#include <memory>

using namespace tonmill;

int main(int argc, char *argv[])
{
    qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QStringList forms = QStringLiteral("setup about main start player waveform equalizer batch").split(QLatin1Char(' '));
    if (args.size() < 4 || args.size() > 5 || !forms.contains(args[2])) {
        std::fprintf(stderr, "usage: tonmill-form-show APP_DIR %s LANGUAGE [SOURCE]\n", qPrintable(forms.join(QLatin1Char('|'))));
        return 2;
    }
    const AppFolder folder(args[1]);
    const QString form = args[2], language = args[3], source = args.value(4);
    WidgetDialogs dialogs;
    if (forms.indexOf(form) < 2) {
        WriteLanguageFile(language, folder.file(QStringLiteral("Tonmill.LNG")));
        ActivityLog log;
        UpdateCheck updates(log, dialogs);
        std::unique_ptr<QDialog> shown;
        if (form == QLatin1String("setup"))
            shown = std::make_unique<SetupDialog>(folder, dialogs, updates, nullptr);
        else
            shown = std::make_unique<AboutDialog>(folder, dialogs);
        shown->show();
        return shown->exec();
    }
    const std::pair<const char *, QString> earlierRun[] = {
        {"Version", versionStamp()}, {"Interface", versionStamp()}, {"ChkUpdates", QStringLiteral("0")},
        {"Vista", QStringLiteral("0")}, {"Language", language}, {"FFMPEG", QStringLiteral("/usr/bin/ffmpeg")},
        {"LogOnOff", form == QLatin1String("start") ? QStringLiteral("False") : QStringLiteral("True")}};
    for (const auto &[key, value] : earlierRun)
        WriteIniValue(QStringLiteral("General"), QLatin1String(key), value, folder.file(QStringLiteral("Tonmill.ini")));
    MainProgram program(folder, dialogs);
    dialogs.setParent(&program.window());
    program.start();
    QTimer::singleShot(0, &program.form(), [&program, form, source] {
        MainForm &main = program.form();
        if (form == QLatin1String("batch")) {
            main.setBatchMode(true);
            main.addToBatch({source});
            main.btnConvert_Click();
            return;
        }
        if (!source.isEmpty())
            main.openDropped(source);
        if (form == QLatin1String("player")) {
            main.transport().btnPlay_Click();
            main.transport().player().setCurrentPosition(main.transport().player().duration() / 2);
            main.cmdPreviewResult_Click();
        } else if (form == QLatin1String("waveform")) {
            main.segment().markSpan(12, 26);
            main.transport().btnPlay_Click();
            main.transport().player().setCurrentPosition(18);
            main.playerChanged();
        } else if (form == QLatin1String("equalizer")) {
            main.mnuEqualizer_Click();
        }
    });
    return QApplication::exec();
}
