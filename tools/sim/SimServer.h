#pragma once

#include "SimOptions.h"

#include <QList>
#include <QObject>

class QTcpServer;
class QTcpSocket;
class QTimer;
class SimSession;
class SimTarget;

// Listens for the profiler and serves one client at a time. A client that
// connects while another is served waits, and is served when that one leaves.
class SimServer : public QObject
{
    Q_OBJECT

public:
    // Clients beyond this many waiting are turned away at once.
    static constexpr int maxWaiting = 8;

    SimServer(SimTarget* target, const SimOptions& options, QObject* parent = nullptr);

    // Listens now, or after the refusal time of the options. False when
    // listening failed at once.
    bool start();

Q_SIGNALS:
    // The server is done: 0 after slotStop() and the end of the last session,
    // 1 when listening failed after the refusal time.
    void finished(int exitCode);

public Q_SLOTS:
    void slotStop();

private Q_SLOTS:
    void slotRefusalTimeout();
    void slotNewConnection();
    void slotSessionFinished();

private:
    bool listen();
    void serveNext();

    QTcpServer* server;
    QTimer* refusalTimer;
    SimTarget* target;
    SimOptions options;
    SimSession* session = nullptr;
    QList<QTcpSocket*> waiting;
    bool stopping = false;
};
