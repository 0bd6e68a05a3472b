#pragma once

#include <QString>
#include <QStringList>

namespace tonmill {

enum class DialogButtons { Ok, YesNo };
enum class DialogIcon { None, Information, Question, Exclamation, Critical };
enum class DialogAnswer { Ok, Yes, No, Cancel };

struct MessageRequest {
    QString text;
    QString title; // empty: the application's own title
    DialogButtons buttons = DialogButtons::Ok;
    DialogIcon icon = DialogIcon::None;
};

struct FileRequest {
    // OpenMany chooses several files, Folder one folder.
    enum class Mode { Open, Save, OpenMany, Folder };
    Mode mode = Mode::Open;
    QString title;
    QString filter;   // "Name|pattern;pattern|Name|pattern" as the program writes it
    QString fileName; // the name the dialog starts from
};

// The one seam through which the program asks the person anything. The window
// uses real message boxes and file dialogs; tests and the headless command line
// answer from a script and read the exact texts.
class Dialogs {
public:
    virtual ~Dialogs() = default;
    virtual DialogAnswer message(const MessageRequest &request) = 0;
    // The file name the dialog reports after it closes; on cancel that is the
    // name it started from.
    virtual QString fileName(const FileRequest &request) = 0;
    // The files chosen in an OpenMany dialog; none when it is cancelled.
    virtual QStringList fileNames(const FileRequest &request) = 0;
    // Opens a web page in the person's browser.
    virtual void openUrl(const QString &url) = 0;
};

} // namespace tonmill
