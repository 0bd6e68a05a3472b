#pragma once

#include <QObject>

class QSocketNotifier;

namespace tonmill::run {

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal, so that the runner can
// end its encoder and tidy up from the event loop rather than from inside a
// signal handler. One instance per process.
class TerminationSignals : public QObject {
    Q_OBJECT
public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void received(int signalNumber);

private:
    void readSignal();

    QSocketNotifier *m_notifier = nullptr;
};

} // namespace tonmill::run
