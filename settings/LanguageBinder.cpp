#include "settings/LanguageBinder.h"

#include "settings/FormMnemonics.h"
#include "settings/LanguageCaptions.h"
#include "settings/LanguageLines.h"
#include "settings/Mnemonics.h"
#include "settings/OwnCaptions.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMetaProperty>
#include <QRegularExpression>
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

// A screen reader reads the control that takes the focus: for a compound
// control of this program that is its focus proxy. Qt's own inner widgets
// ("qt_spinbox_lineedit") are hidden from screen readers, which read the
// outer control.
QWidget *readControl(QWidget *control)
{
    QWidget *proxy = control->focusProxy();
    return proxy && !proxy->objectName().startsWith(QLatin1String("qt_")) ? proxy : control;
}

// Rows "control.name" and "control.description" give what a screen reader
// says for controls whose objectName matches (a "*" matches any letters): a
// name where the caption says too little or nothing ("▶"), which an icon
// button also shows as its tooltip; a description of what a field takes.
// Returns false for the rows of other texts.
bool setAccessibleText(QWidget *form, const QString &row, const QString &text)
{
    const qsizetype dot = row.lastIndexOf(QLatin1Char('.'));
    const QString kind = row.mid(dot + 1);
    if (dot < 0 || (kind != QLatin1String("name") && kind != QLatin1String("description")))
        return false;
    const QRegularExpression pattern(QRegularExpression::wildcardToRegularExpression(row.left(dot)));
    for (QWidget *control : form->findChildren<QWidget *>()) {
        if (control->window() != form || !pattern.match(control->objectName()).hasMatch())
            continue;
        if (kind == QLatin1String("description")) {
            readControl(control)->setAccessibleDescription(text);
            continue;
        }
        readControl(control)->setAccessibleName(text);
        if (qobject_cast<QAbstractButton *>(control))
            control->setToolTip(text);
    }
    return true;
}

// Qt names a field after the label whose buddy it is, but neither the focus
// proxy of a compound field (the slider inside a slider with its read-out)
// nor the line where an editable list box is typed into.
void nameInnerFields(QWidget *form)
{
    for (QLabel *label : form->findChildren<QLabel *>()) {
        QWidget *buddy = label->buddy();
        if (!buddy)
            continue;
        QWidget *inner = readControl(buddy);
        if (auto *list = qobject_cast<QComboBox *>(buddy); list && list->lineEdit())
            inner = list->lineEdit();
        if (inner != buddy)
            inner->setAccessibleName(withoutMnemonic(label->text()));
    }
}

QString apply(QWidget *root, const QString &file, bool relabelOnly)
{
    if (!root)
        return {};
    LanguageLines lines;
    lines.LoadLanguageLines(file);
    QList<QWidget *> relabelled;
    const auto relabelling = [&relabelled](QWidget *form) {
        if (!relabelled.contains(form))
            relabelled << form;
    };
    for (const LanguageCaption &caption : languageCaptions()) {
        if (relabelOnly ? !caption.relabel : root->objectName() != QLatin1String(caption.form))
            continue;
        QWidget *form = findForm(root, QString::fromLatin1(caption.form));
        if (!form)
            continue;
        relabelling(form);
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
        relabelling(form);
        const QString text = ownCaptionText(caption, displayName);
        if (setAccessibleText(form, QString::fromLatin1(caption.control), text))
            continue;
        if (form->objectName() == QLatin1String(caption.control))
            form->setWindowTitle(text);
        else if (QObject *target = form->findChild<QObject *>(QString::fromLatin1(caption.control)))
            setCaption(target, text);
    }
    // The letters follow the captions of the language.
    for (QWidget *form : relabelled) {
        placeMnemonics(form);
        nameInnerFields(form);
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
