#pragma once

#include <QObject>

class QAbstractSocket;
class SimSignalWatcher;

// Every call of zelto-capture that needs the operating system stands here,
// so that a port to another system touches this one file: Ctrl+C and
// SIGTERM become the Qt signal terminationRequested (through the simulated
// target's signal watcher, which the port replaces too), a broken pipe does
// not end the program, a connection can be ended with a reset, and the
// progress line asks whether it writes to a terminal.
class CapturePlatform : public QObject
{
    Q_OBJECT

public:
    explicit CapturePlatform(QObject* parent = nullptr);
    ~CapturePlatform() override;

    // True when standard error is a terminal.
    static bool errorIsTerminal();
    // Ends the connection with a reset instead of an orderly close, as when
    // the process at the other end dies.
    static void resetConnection(QAbstractSocket* socket);

Q_SIGNALS:
    void terminationRequested();

private:
    SimSignalWatcher* watcher;
};
