#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGINT and SIGTERM into a Qt signal. The handler only writes a byte
// into a socket pair; the event loop reads it and emits terminationRequested.
class SimSignalWatcher : public QObject
{
    Q_OBJECT

public:
    explicit SimSignalWatcher(QObject* parent = nullptr);
    ~SimSignalWatcher() override;

Q_SIGNALS:
    void terminationRequested();

private Q_SLOTS:
    void slotSignalArrived();

private:
    static void handleSignal(int signalNumber);

    QSocketNotifier* notifier;
};
