#ifndef PROFILERNETWORK_H
#define PROFILERNETWORK_H

#include <QAbstractSocket>
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class FrameCutter;
class PacketQueue;
class QTcpSocket;
class QTimer;

// The one owner of the TCP link to the target: connects and reconnects, has
// the received stream cut into frames, queues them for the decoders and writes
// outbound frames. Every change of the link is reported by statusChanged.
class ProfilerNetwork : public QObject
{
    Q_OBJECT

public:
    static constexpr quint16 defaultPort = 9264;
    static constexpr int reconnectInterval = 5000;
    static constexpr int idleInterval = 3000;

    // Frames that no decoder takes stay queued until a pass while paused.
    // A target that sends only such frames would make the queue grow without
    // end, so the queue holds at most this many bytes; a frame that would go
    // past it ends the connection like any other broken frame. No real target
    // comes near it: the decoders empty their kinds on every pass.
    static constexpr qint64 maxQueuedBytes = 256 * 1024 * 1024;

    ProfilerNetwork();
    ~ProfilerNetwork() override;

    void connectToTarget(QString address, quint16 port);
    void disconnectFromTarget();
    bool isConnected() const;
    bool isConnecting() const;

    int countPackets(quint8 kind, quint8 subKind) const;
    QByteArray takePacket(quint8 kind, quint8 subKind);
    // Every queued frame of the packet, oldest first.
    QList<QByteArray> takeAllPackets(quint8 kind, quint8 subKind);
    // The same, for a decoder that reads the frames inside packetReady and
    // keeps none of them: their bytes may go when the receive pass ends.
    QList<QByteArray> borrowAllPackets(quint8 kind, quint8 subKind);

    void subscribe(quint8 kind, quint8 subKind, quint32 rate);
    // Writes a ready-made frame of as many bytes as its own size field says.
    // The pointer must reach at least 12 bytes and at least that size; a
    // shorter buffer is the caller's bug. A size below 12 or above
    // PacketHeader::maxFrameSize cannot be a frame and is dropped unsent.
    void sendPacket(const char* frame);
    // Same, but bounded by the array: a frame whose size field is below 12 or
    // larger than the array is dropped unsent.
    void sendPacket(const QByteArray& frame);

    // Read-only views of the link's state, for tests and diagnostics.
    int queuedPacketCount() const;
    bool isReconnectTimerActive() const;
    bool isIdleTimerActive() const;
    QString lastTargetAddress() const { return targetAddress; }
    quint16 lastTargetPort() const { return targetPort; }

Q_SIGNALS:
    void statusChanged(QString status);
    void packetReady();

protected:
    // The one write to the socket. A buffered TCP socket takes every byte it
    // is given, so a short write never happens on a healthy link; virtual so
    // that a test can make one happen.
    virtual qint64 writeToSocket(const char* data, qint64 size);

private Q_SLOTS:
    void slotSocketConnected();
    void slotSocketErrorOccurred(QAbstractSocket::SocketError socketError);
    void slotPacketArrived();
    void slotReconnectTimeout();
    void slotIdleTimeout();

private:
    void deliverQueue();
    void writeFrame(const char* data, quint32 size);
    void failLink();
    void dropStream();

    QTcpSocket* socket;
    PacketQueue* packetQueue;
    FrameCutter* frameCutter;
    QTimer* reconnectTimer;
    QTimer* idleTimer;
    bool connecting;
    bool reconnecting;

public:
    // Frames are dropped instead of delivered; ProfilerForm flips it directly.
    bool paused;

private:
    QString targetAddress;
    quint16 targetPort;
};

#endif
