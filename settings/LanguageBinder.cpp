#include "settings/LanguageBinder.h"

#include "settings/LanguageCaptions.h"
#include "settings/LanguageLines.h"
#include "settings/OwnCaptions.h"

#include <QMetaProperty>
#include <QWidget>

namespace tonmill {

namespace {

QWidget *findForm(QWidget *root, const QString &name)
{
    if (root->objectName() == name)
        return root;
    return root->findChild<QWidget *>(name);
}

// Widgets, menus, actions and the drawn controls name their caption
// differently; the first of these writable properties is it.
void setCaption(QObject *control, const QString &text)
{
    const QMetaObject *meta = control->metaObject();
    for (const char *name : {"caption", "title", "text", "plainText"}) {
        const int index = meta->indexOfProperty(name);
        if (index >= 0 && meta->property(index).isWritable()) {
            control->setProperty(name, text);
            return;
        }
    }
}

QString apply(QWidget *root, const QString &file, bool relabelOnly)
{
    if (!root)
        return {};
    LanguageLines lines;
    lines.LoadLanguageLines(file);
    for (const LanguageCaption &caption : languageCaptions()) {
        if (relabelOnly ? !caption.relabel : root->objectName() != QLatin1String(caption.form))
            continue;
        QWidget *form = findForm(root, QString::fromLatin1(caption.form));
        if (!form)
            continue;
        const QString control = QString::fromLatin1(caption.control);
        if (control == form->objectName()) {
            form->setWindowTitle(captionText(caption, lines));
            continue;
        }
        if (QObject *target = form->findChild<QObject *>(control))
            setCaption(target, captionText(caption, lines));
    }
    // Controls the file does not name follow the language it is written in.
    const QString displayName = lines.count() > 0 ? lines.at(1).trimmed() : QString();
    for (const OwnCaption &caption : ownCaptions()) {
        QWidget *form = relabelOnly ? findForm(root, QString::fromLatin1(caption.form))
                                    : (root->objectName() == QLatin1String(caption.form) ? root : nullptr);
        if (!form)
            continue;
        const QString text = ownCaptionText(caption, displayName);
        if (form->objectName() == QLatin1String(caption.control))
            form->setWindowTitle(text);
        else if (QObject *target = form->findChild<QObject *>(QString::fromLatin1(caption.control)))
            setCaption(target, text);
    }
    return displayName;
}

} // namespace

QString ApplyLanguage(QWidget *root, const QString &file)
{
    return apply(root, file, true);
}

void ApplyFormLanguage(QWidget *form, const QString &file)
{
    apply(form, file, false);
}

} // namespace tonmill
