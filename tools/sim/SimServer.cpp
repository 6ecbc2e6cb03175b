#include "SimServer.h"

#include "SimLog.h"
#include "SimSession.h"
#include "SimTarget.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

SimServer::SimServer(SimTarget* target, const SimOptions& options, QObject* parent)
    : QObject(parent), server(new QTcpServer(this)), refusalTimer(new QTimer(this)), target(target),
      options(options)
{
    refusalTimer->setSingleShot(true);
    connect(server, SIGNAL(newConnection()), this, SLOT(slotNewConnection()));
    connect(refusalTimer, SIGNAL(timeout()), this, SLOT(slotRefusalTimeout()));
}

bool SimServer::start()
{
    if (options.refuseFor <= 0)
        return listen();
    SimLog::write(QStringLiteral("fault: refusing connections for %1 s")
                      .arg(QString::number(options.refuseFor, 'f', 1)));
    refusalTimer->start(int(options.refuseFor * 1000));
    return true;
}

void SimServer::slotStop()
{
    if (stopping)
        return;
    SimLog::write(QStringLiteral("stopping"));
    stopping = true;
    refusalTimer->stop();
    server->close();
    for (QTcpSocket* socket : waiting)
        delete socket;
    waiting.clear();
    if (session)
        session->slotClose(); // reports finished, which ends the program
    else
        Q_EMIT finished(0);
}

void SimServer::slotRefusalTimeout()
{
    if (!listen())
        Q_EMIT finished(1);
}

void SimServer::slotNewConnection()
{
    while (QTcpSocket* socket = server->nextPendingConnection()) {
        if (stopping || waiting.size() >= maxWaiting) {
            SimLog::write(
                QStringLiteral("client from %1 turned away").arg(socket->peerAddress().toString()));
            delete socket;
            continue;
        }
        socket->setParent(this);
        // Until it is served, a waiting client's bytes stay mostly in the
        // operating system's buffers.
        socket->setReadBufferSize(64 * 1024);
        waiting.append(socket);
        if (session)
            SimLog::write(QStringLiteral("client from %1:%2 waits: another client is being served")
                              .arg(socket->peerAddress().toString())
                              .arg(socket->peerPort()));
    }
    serveNext();
}

void SimServer::slotSessionFinished()
{
    session->deleteLater();
    session = nullptr;
    if (stopping) {
        Q_EMIT finished(0);
        return;
    }
    serveNext();
}

bool SimServer::listen()
{
    if (!server->listen(options.address, options.port)) {
        SimLog::write(QStringLiteral("cannot listen on %1:%2: %3")
                          .arg(options.address.toString())
                          .arg(options.port)
                          .arg(server->errorString()));
        return false;
    }
    const SimNetwork* network = target->network();
    SimLog::write(
        QStringLiteral("listening on %1:%2 (shape %3, %4 units, DSP version %5, CPU version %6)")
            .arg(server->serverAddress().toString())
            .arg(server->serverPort())
            .arg(SimOptions::shapeName(options.shape))
            .arg(network->nodeCount())
            .arg(options.dspVersion)
            .arg(options.cpuVersion));
    return true;
}

void SimServer::serveNext()
{
    while (!session && !waiting.isEmpty()) {
        QTcpSocket* socket = waiting.takeFirst();
        if (socket->state() != QAbstractSocket::ConnectedState) {
            SimLog::write(QStringLiteral("waiting client from %1 gave up")
                              .arg(socket->peerAddress().toString()));
            delete socket;
            continue;
        }
        session = new SimSession(socket, target, options, this);
        connect(session, SIGNAL(finished()), this, SLOT(slotSessionFinished()));
    }
}
