#include "settings/FormMnemonics.h"

#include "settings/Mnemonics.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QRadioButton>

namespace tonmill {

namespace {

enum Rank { MenusAndPushButtons, Switches, Labels };

// The captions of one window with the objects that show them.
class CaptionSet {
public:
    explicit CaptionSet(QWidget *window)
        : m_window(window)
    {
    }

    void add(QObject *target, const QString &text, Rank rank, const QWidget *control)
    {
        int layer = 0;
        int alternative = 0;
        const QString scope = scopeOf(control);
        if (!scope.isEmpty()) {
            const QString group = scope.section(QLatin1Char(':'), 0, 0);
            if (!m_groups.contains(group))
                m_groups << group;
            layer = static_cast<int>(m_groups.indexOf(group)) + 1;
            QStringList &alternatives = m_alternatives[group];
            const QString name = scope.section(QLatin1Char(':'), 1);
            if (!alternatives.contains(name))
                alternatives << name;
            alternative = static_cast<int>(alternatives.indexOf(name));
        }
        m_targets << target;
        m_captions << MnemonicCaption{text, rank, layer, alternative};
    }

    void apply() const
    {
        const QStringList texts = withMnemonics(m_captions);
        for (qsizetype i = 0; i < m_targets.size(); ++i) {
            if (m_captions[i].text != texts[i])
                m_targets[i]->setProperty("text", texts[i]);
        }
    }

private:
    QString scopeOf(const QWidget *control) const
    {
        for (const QWidget *w = control ? control->parentWidget() : nullptr; w && w != m_window; w = w->parentWidget()) {
            const QString scope = w->property(kShownInTurn).toString();
            if (!scope.isEmpty())
                return scope;
        }
        return {};
    }

    QWidget *m_window;
    QList<QObject *> m_targets;
    QList<MnemonicCaption> m_captions;
    QStringList m_groups;
    QHash<QString, QStringList> m_alternatives;
};

void placeInMenu(QMenu *menu)
{
    CaptionSet items(menu);
    for (QAction *action : menu->actions()) {
        if (!action->isSeparator() && !action->text().isEmpty())
            items.add(action, action->text(), MenusAndPushButtons, nullptr);
    }
    items.apply();
}

bool takesMnemonic(const QWidget *control)
{
    const QVariant wanted = control->property(kTakesMnemonic);
    return !wanted.isValid() || wanted.toBool();
}

} // namespace

void placeMnemonics(QWidget *window)
{
    CaptionSet captions(window);
    for (QMenuBar *bar : window->findChildren<QMenuBar *>()) {
        if (bar->window() != window)
            continue;
        for (QAction *action : bar->actions()) {
            if (!action->text().isEmpty())
                captions.add(action, action->text(), MenusAndPushButtons, nullptr);
            if (action->menu())
                placeInMenu(action->menu());
        }
    }
    for (QWidget *control : window->findChildren<QWidget *>()) {
        if (control->window() != window || !takesMnemonic(control))
            continue;
        if (auto *button = qobject_cast<QAbstractButton *>(control)) {
            const bool isSwitch = qobject_cast<QCheckBox *>(button) || qobject_cast<QRadioButton *>(button);
            captions.add(button, button->text(), isSwitch ? Switches : MenusAndPushButtons, button);
        } else if (auto *label = qobject_cast<QLabel *>(control); label && label->buddy()) {
            captions.add(label, label->text(), Labels, label);
        }
    }
    captions.apply();
}

} // namespace tonmill
