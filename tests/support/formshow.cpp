// Shows one of the program's small windows on its own, in a language, for
// the screenshot script (docs/screenshots.sh):
//   tonmill-form-show APP_DIR setup|about LANGUAGE
// writes APP_DIR's language file in LANGUAGE ("English", "Deutsch", ...) and
// shows the window until it is closed or the program is ended.
#include "app/AboutDialog.h"
#include "app/ActivityLog.h"
#include "platform/AppFolder.h"
#include "platform/WidgetDialogs.h"
#include "settings/SetupDialog.h"
#include "settings/Translations.h"
#include "settings/UpdateCheck.h"

#include <QApplication>

#include <cstdio>
#include <memory>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 4 || (args[2] != QLatin1String("setup") && args[2] != QLatin1String("about"))) {
        std::fprintf(stderr, "usage: tonmill-form-show APP_DIR setup|about LANGUAGE\n");
        return 2;
    }
    const tonmill::AppFolder folder(args[1]);
    tonmill::WriteLanguageFile(args[3], folder.file(QStringLiteral("Tonmill.LNG")));
    tonmill::WidgetDialogs dialogs;
    tonmill::ActivityLog log;
    tonmill::UpdateCheck updates(log, dialogs);
    std::unique_ptr<QDialog> form;
    if (args[2] == QLatin1String("setup"))
        form = std::make_unique<tonmill::SetupDialog>(folder, dialogs, updates, nullptr);
    else
        form = std::make_unique<tonmill::AboutDialog>(folder, dialogs);
    form->show();
    return form->exec();
}
