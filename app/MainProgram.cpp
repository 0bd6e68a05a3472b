#include "app/MainProgram.h"

#include <QTimer>

namespace tonmill {

MainProgram::MainProgram(const AppFolder &folder, Dialogs &dialogs)
    : m_registry(folder.file(QStringLiteral("Tonmill.pids")))
    , m_updates(m_log, dialogs)
    , m_player(folder)
    , m_form(folder, dialogs, m_log, m_registry, m_updates, m_player)
    , m_window(m_form, m_log)
{
    m_form.setView(&m_window);
}

void MainProgram::start(const QStringList &files)
{
    m_window.show();
    QTimer::singleShot(0, &m_form, [this, files] {
        m_form.Form_Load();
        m_form.openGiven(files);
    });
}

} // namespace tonmill
