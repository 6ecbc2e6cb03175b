#include "FloodSender.h"

#include "FloodStream.h"

#include <QSemaphore>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

// Bytes kept in the socket's own buffer ahead of the system: enough that the
// kernel never runs dry between two writes, little enough not to grow memory.
const qint64 aheadBytes = 4 * 1024 * 1024;

} // namespace

FloodSender::FloodSender(const QByteArray& stream, int repeats)
    : listening(new QSemaphore()), stream(stream), repeats(repeats), port(0), sentAll(false)
{
}

FloodSender::~FloodSender()
{
    wait();
    delete listening;
}

quint16 FloodSender::listen()
{
    start();
    listening->acquire();
    return port;
}

// The server and the socket are made here, in the thread that uses them, and
// used in their blocking form: this thread has no event loop.
void FloodSender::run()
{
    QTcpServer server;
    if (server.listen(QHostAddress::LocalHost, 0))
        port = server.serverPort();
    listening->release();
    if (port == 0 || !server.waitForNewConnection(patienceMs))
        return;
    QTcpSocket* socket = server.nextPendingConnection();
    sentAll = flood(socket);
    // The client hangs up when it has seen the end frame; closing first would
    // give it a "target closed" instead.
    if (socket->state() == QAbstractSocket::ConnectedState)
        socket->waitForDisconnected(patienceMs);
    delete socket;
}

bool FloodSender::flood(QTcpSocket* socket)
{
    for (int round = 0; round < repeats; ++round) {
        if (!drainTo(socket, aheadBytes) || socket->write(stream) != stream.size())
            return false;
    }
    const QByteArray end = FloodStream::endFrame();
    return socket->write(end) == end.size() && drainTo(socket, 0);
}

// Waits until at most pendingBytes are left in the socket's buffer.
bool FloodSender::drainTo(QTcpSocket* socket, qint64 pendingBytes)
{
    while (socket->bytesToWrite() > pendingBytes) {
        if (!socket->waitForBytesWritten(patienceMs))
            return false;
    }
    return true;
}
