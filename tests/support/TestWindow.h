#pragma once

// The windowed program started on a home of its own, for the tests of the
// window and the player: its controls found by name and used as a person does.
#include "app/MainProgram.h"
#include "support/TestDialogs.h"
#include "support/TestHome.h"

#include <QComboBox>
#include <QTest>

namespace tonmill::test {

template <typename T = QWidget>
T *control(QWidget &window, const char *name)
{
    auto *found = window.findChild<T *>(QLatin1String(name));
    if (!found)
        QTest::qFail(qPrintable(QStringLiteral("no control %1").arg(QLatin1String(name))), __FILE__, __LINE__);
    return found;
}

// Chooses an item of a list as a person does: the list reports the choice.
inline void choose(QComboBox *box, const QString &item)
{
    const int index = box->findText(item);
    QVERIFY2(index >= 0, qPrintable(item));
    box->setCurrentIndex(index);
    Q_EMIT box->activated(index);
}

// The log's lines without their times.
inline QStringList logMessages(const ActivityLog &log)
{
    QStringList messages;
    for (const QString &line : log.text().split(QStringLiteral("\r\n"), Qt::SkipEmptyParts))
        messages << (line.size() > 8 && line[2] == QLatin1Char(':') ? line.mid(8) : line);
    return messages;
}

// The program on the home, shown; ready() once its start-up and both probe
// runs have ended.
struct Started {
    TestDialogs dialogs;
    MainProgram program;
    MainWindow &window = program.window();
    MainForm &form = program.form();

    explicit Started(const AppHome &home, const QStringList &files = {})
        : program(home.folder, dialogs)
    {
        program.start(files);
    }
    bool ready()
    {
        const QStringList messages = logMessages(program.log());
        const qsizetype loaded = messages.indexOf(QStringLiteral(" -> Startup routines successfully loaded."));
        return loaded >= 0 && messages.size() >= loaded + 3;
    }
};

} // namespace tonmill::test
