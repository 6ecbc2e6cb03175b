#ifndef FLOODSENDER_H
#define FLOODSENDER_H

#include <QByteArray>
#include <QThread>

class QSemaphore;
class QTcpSocket;

// A target that sends as fast as the socket takes it: a QTcpServer on
// 127.0.0.1 in a thread of its own, so that sending never waits for the
// receiver's event loop and the receiver never pays for the sending. It
// serves one client: the stream `repeats` times, then the end frame, then it
// waits for the client to hang up. What the client sends is read and ignored.
class FloodSender : public QThread
{
    Q_OBJECT

public:
    // Longest wait for the client, for room in the socket or for the hang-up.
    static constexpr int patienceMs = 60000;

    FloodSender(const QByteArray& stream, int repeats);
    ~FloodSender() override;

    // Starts the thread and returns the port that it listens on; 0 when it
    // could not listen.
    quint16 listen();
    // After the thread has ended: true when every byte, the end frame
    // included, was handed to the system.
    bool hasSentAll() const { return sentAll; }

protected:
    void run() override;

private:
    bool flood(QTcpSocket* socket);
    bool drainTo(QTcpSocket* socket, qint64 pendingBytes);

    QSemaphore* listening;
    QByteArray stream;
    int repeats;
    quint16 port;
    bool sentAll;
};

#endif
