#include "ProfilerNetwork.h"

#include "FrameCutter.h"
#include "PacketHeader.h"
#include "PacketQueue.h"

#include <QTcpSocket>
#include <QTimer>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

const char* const statusAttempting = "Attempting to connect...";
const char* const statusConnected = "Connected.";
const char* const statusDisconnected = "Disconnected.";
const char* const statusRefused = "Connection failed... Disconnected.";
const char* const statusTargetClosed = "Target closed... Attempting reconnection.";
const char* const statusSocketError = "A socket error has occurred... Disconnected.";

const int subscriptionSize = 18;

// The socket reads everything the system holds for it (up to the 32 MB the
// system lets a receive buffer grow to) into a new block of that size, and
// the block goes once its frames are cut. glibc maps every block above 128 KB
// fresh and unmaps it when freed, so each read of a busy link faulted all its
// pages in again: a fifth of the link's processor time in a flood. Blocks up
// to 32 MB now come from the heap, which keeps up to 64 MB free for the next.
void keepReadBlocksInTheHeap()
{
#ifdef __GLIBC__
    static const bool kept = [] {
        const int largestHeapBlock = 32 * 1024 * 1024;
        return mallopt(M_MMAP_THRESHOLD, largestHeapBlock) == 1 &&
               mallopt(M_TRIM_THRESHOLD, 2 * largestHeapBlock) == 1;
    }();
    Q_UNUSED(kept);
#endif
}

} // namespace

ProfilerNetwork::ProfilerNetwork()
    : socket(new QTcpSocket()), packetQueue(new PacketQueue()),
      frameCutter(new FrameCutter(packetQueue, maxQueuedBytes)), reconnectTimer(new QTimer()),
      idleTimer(new QTimer()), connecting(false), reconnecting(false), paused(false),
      targetAddress(QStringLiteral("127.0.0.1")), targetPort(defaultPort)
{
    keepReadBlocksInTheHeap();
    reconnectTimer->setInterval(reconnectInterval);
    reconnectTimer->setSingleShot(false);
    idleTimer->setInterval(idleInterval);
    idleTimer->setSingleShot(true);

    connect(socket, SIGNAL(connected()), this, SLOT(slotSocketConnected()));
    connect(socket, SIGNAL(readyRead()), this, SLOT(slotPacketArrived()));
    connect(socket, SIGNAL(errorOccurred(QAbstractSocket::SocketError)), this,
            SLOT(slotSocketErrorOccurred(QAbstractSocket::SocketError)));
    connect(reconnectTimer, SIGNAL(timeout()), this, SLOT(slotReconnectTimeout()));
    connect(idleTimer, SIGNAL(timeout()), this, SLOT(slotIdleTimeout()));
}

ProfilerNetwork::~ProfilerNetwork()
{
    delete socket;
    delete reconnectTimer;
    delete idleTimer;
    delete frameCutter;
    delete packetQueue;
}

void ProfilerNetwork::connectToTarget(QString address, quint16 port)
{
    if (port == 0)
        port = defaultPort;
    targetAddress = address;
    targetPort = port;
    connecting = true;
    // The stream of a new connection starts at a frame's first byte, whatever
    // the last one left unfinished.
    frameCutter->reset();
    // While retrying, the status line keeps what it showed when the target
    // went away.
    if (!reconnecting)
        Q_EMIT statusChanged(QString::fromLatin1(statusAttempting));
    socket->connectToHost(address, port, QIODevice::ReadWrite, QAbstractSocket::AnyIPProtocol);
}

void ProfilerNetwork::disconnectFromTarget()
{
    dropStream();
    connecting = false;
    reconnecting = false;
    reconnectTimer->stop();
    idleTimer->stop();
    Q_EMIT statusChanged(QString::fromLatin1(statusDisconnected));
}

bool ProfilerNetwork::isConnected() const
{
    return socket->state() == QAbstractSocket::ConnectedState;
}

bool ProfilerNetwork::isConnecting() const
{
    return connecting || reconnecting;
}

int ProfilerNetwork::countPackets(quint8 kind, quint8 subKind) const
{
    return packetQueue->count(kind, subKind);
}

QByteArray ProfilerNetwork::takePacket(quint8 kind, quint8 subKind)
{
    return packetQueue->take(kind, subKind);
}

QList<QByteArray> ProfilerNetwork::takeAllPackets(quint8 kind, quint8 subKind)
{
    return packetQueue->takeAll(kind, subKind);
}

QList<QByteArray> ProfilerNetwork::borrowAllPackets(quint8 kind, quint8 subKind)
{
    return packetQueue->borrowAll(kind, subKind);
}

void ProfilerNetwork::subscribe(quint8 kind, quint8 subKind, quint32 rate)
{
    if (!isConnected())
        return;
    // A target that has been asked for data gets a fresh start before it is
    // timed out for silence.
    idleTimer->stop();
    char frame[subscriptionSize];
    PacketHeader header;
    header.size = subscriptionSize;
    header.kind = PacketKind::Subscription;
    header.subKind = 0;
    header.version = 0;
    header.write(frame);
    Wire::writeU8(frame + 12, kind);
    Wire::writeU8(frame + 13, subKind);
    Wire::writeU32(frame + 14, rate);
    writeFrame(frame, subscriptionSize);
}

void ProfilerNetwork::sendPacket(const char* frame)
{
    if (!isConnected() || frame == nullptr)
        return;
    PacketHeader header = PacketHeader::read(frame, PacketHeader::headerSize);
    if (!header.hasValidSize())
        return;
    writeFrame(frame, header.size);
}

void ProfilerNetwork::sendPacket(const QByteArray& frame)
{
    if (!isConnected())
        return;
    PacketHeader header = PacketHeader::read(frame);
    if (!header.hasValidSize() || header.size > quint32(frame.size()))
        return;
    writeFrame(frame.constData(), header.size);
}

int ProfilerNetwork::queuedPacketCount() const
{
    return packetQueue->size();
}

bool ProfilerNetwork::isReconnectTimerActive() const
{
    return reconnectTimer->isActive();
}

bool ProfilerNetwork::isIdleTimerActive() const
{
    return idleTimer->isActive();
}

void ProfilerNetwork::slotSocketConnected()
{
    connecting = false;
    reconnecting = false;
    reconnectTimer->stop();
    // The idle timer waits for the first bytes: a target that has sent
    // nothing yet is never timed out.
    Q_EMIT statusChanged(QString::fromLatin1(statusConnected));
}

void ProfilerNetwork::slotSocketErrorOccurred(QAbstractSocket::SocketError socketError)
{
    connecting = false;
    if (socketError == QAbstractSocket::ConnectionRefusedError) {
        // A refused retry is silent; the timer's next tick tries again.
        if (!reconnecting)
            Q_EMIT statusChanged(QString::fromLatin1(statusRefused));
        return;
    }
    if (socketError == QAbstractSocket::RemoteHostClosedError) {
        reconnecting = true;
        reconnectTimer->start();
        idleTimer->stop();
        Q_EMIT statusChanged(QString::fromLatin1(statusTargetClosed));
        return;
    }
    reconnecting = false;
    reconnectTimer->stop();
    idleTimer->stop();
    Q_EMIT statusChanged(QString::fromLatin1(statusSocketError));
}

void ProfilerNetwork::slotPacketArrived()
{
    // Every arrival of bytes, whole frame or not, counts as life.
    idleTimer->start();
    // A stream that cannot be framed drops the link; the frames cut before
    // the break stay queued, and no packetReady is sent for this pass.
    if (frameCutter->cutFrames(socket) == FrameCutter::BrokenStream) {
        packetQueue->unshareFrames();
        failLink();
        return;
    }
    deliverQueue();
    packetQueue->unshareFrames();
}

void ProfilerNetwork::slotReconnectTimeout()
{
    connectToTarget(targetAddress, targetPort);
}

void ProfilerNetwork::slotIdleTimeout()
{
    dropStream();
    connecting = false;
    reconnecting = true;
    reconnectTimer->start();
    idleTimer->stop();
    Q_EMIT statusChanged(QString::fromLatin1(statusTargetClosed));
}

// One packetReady stands for the whole batch, and also fires when this pass
// added nothing but older frames still wait.
void ProfilerNetwork::deliverQueue()
{
    if (packetQueue->isEmpty())
        return;
    if (paused) {
        packetQueue->clear();
        return;
    }
    Q_EMIT packetReady();
}

void ProfilerNetwork::writeFrame(const char* data, quint32 size)
{
    if (writeToSocket(data, size) != qint64(size))
        failLink();
}

qint64 ProfilerNetwork::writeToSocket(const char* data, qint64 size)
{
    return socket->write(data, size);
}

// The failure path of the receive loop and of a short write. Frames queued
// before the failure stay queued for the next packetReady.
void ProfilerNetwork::failLink()
{
    dropStream();
    connecting = false;
    reconnecting = false;
    reconnectTimer->stop();
    idleTimer->stop();
    Q_EMIT statusChanged(QString::fromLatin1(statusSocketError));
}

// Aborts the connection, and lets go of the part of a frame that it left
// unfinished at once instead of at the next connection.
void ProfilerNetwork::dropStream()
{
    socket->abort();
    frameCutter->reset();
}
