// How the main window answers while it works, and how soon it shows.
//   tonmill-bench-window APP_DIR SOURCE
// APP_DIR is an application folder with Tools/ and settings of an earlier
// run; SOURCE a long WAV. Prints, one per line:
//   start_ms N      from the process's start to the window's first paint
//   convert_gap_ms N   the longest gap between two turns of the event loop
//                      while SOURCE is converted to MP3 from the Convert button
//   report_gap_ms N    the same while the media report runs on SOURCE
//   waveform_gap_ms N  the same from the report's end until SOURCE's
//                      waveform is shown
// A turn is seen by a 1 ms timer; the window's own work runs in between.
#include "app/MainProgram.h"
#include "platform/ScriptedDialogs.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QPushButton>
#include <QTimer>

#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace {

// Milliseconds since this process started, from the kernel's record of it.
double sinceProcessStart()
{
    QFile stat(QStringLiteral("/proc/self/stat"));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray line = stat.readAll();
    // The fields after the command name, which is in parentheses.
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    const double startTicks = fields.value(19).toDouble();
    timespec now {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const double nowMs = now.tv_sec * 1000.0 + now.tv_nsec / 1e6;
    return nowMs - startTicks * 1000.0 / sysconf(_SC_CLK_TCK);
}

class PaintWatch : public QObject {
public:
    double firstPaintMs = -1;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && firstPaintMs < 0)
            firstPaintMs = sinceProcessStart();
        return QObject::eventFilter(watched, event);
    }
};

// The longest time between two ticks of a 1 ms timer while work runs.
class GapWatch {
public:
    GapWatch()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            m_longest = std::max(m_longest, m_since.nsecsElapsed() / 1e6);
            m_since.restart();
        });
    }
    void start()
    {
        m_longest = 0;
        m_since.start();
        m_timer.start();
    }
    double stop()
    {
        m_timer.stop();
        return m_longest;
    }

private:
    QTimer m_timer;
    QElapsedTimer m_since;
    double m_longest = 0;
};

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    if (app.arguments().size() != 3) {
        std::fprintf(stderr, "usage: tonmill-bench-window APP_DIR SOURCE\n");
        return 2;
    }
    const tonmill::AppFolder folder(app.arguments()[1]);
    const QString source = app.arguments()[2];
    tonmill::ScriptedDialogs dialogs;
    PaintWatch paints;
    tonmill::MainProgram program(folder, dialogs);
    program.window().installEventFilter(&paints);
    program.start();
    while (paints.firstPaintMs < 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    std::printf("start_ms %.0f\n", paints.firstPaintMs);
    std::fflush(stdout);
    // Let the start-up's probe runs end first.
    while (!program.log().text().contains(QStringLiteral("Startup routines successfully loaded.")) || program.form().busy())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);

    GapWatch gaps;
    gaps.start();
    program.form().openDropped(source);
    std::printf("report_gap_ms %.1f\n", gaps.stop());

    gaps.start();
    while (program.form().waveform().computing())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    std::printf("waveform_gap_ms %.1f\n", gaps.stop());
    if (program.form().waveform().waveform().peaks.isEmpty())
        return 1;

    gaps.start();
    program.window().findChild<QPushButton *>(QStringLiteral("btnConvert"))->click();
    std::printf("convert_gap_ms %.1f\n", gaps.stop());
    const bool converted = program.log().text().contains(QStringLiteral(" -> Process Completed!\r\n---"));
    std::fflush(stdout);
    return converted ? 0 : 1;
}
