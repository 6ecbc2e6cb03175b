#ifndef FLOODSENDER_H
#define FLOODSENDER_H

#include <QByteArray>
#include <QThread>

class QSemaphore;

// A target that sends as fast as the system takes it: a plain socket on
// 127.0.0.1 in a thread of its own, writing the pre-built stream with send()
// and nothing else, so that sending never waits for the receiver's event loop
// and costs the sender as little as a sender can cost. It serves one client:
// the stream `repeats` times, then the end frame, then it waits for the client
// to hang up. What the client sends is read and ignored.
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
    // After the thread has ended: the processor time that the sending thread
    // spent from the client's arrival to its last byte.
    double cpuSeconds() const { return sendingCpuSeconds; }
    // Every byte that the client receives, the end frame included.
    qint64 totalBytes() const;

protected:
    void run() override;

private:
    bool flood(int fd);
    bool sendAll(int fd, const QByteArray& bytes);

    QSemaphore* listening;
    QByteArray stream;
    int repeats;
    quint16 port;
    bool sentAll;
    double sendingCpuSeconds;
};

#endif
