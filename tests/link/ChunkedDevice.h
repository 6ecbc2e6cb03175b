#ifndef CHUNKEDDEVICE_H
#define CHUNKEDDEVICE_H

#include <QByteArray>
#include <QIODevice>

// A byte stream shown a chunk at a time, the way a socket's buffer fills.
class ChunkedDevice : public QIODevice
{
    Q_OBJECT

public:
    explicit ChunkedDevice(const QByteArray& stream);

    // Always emits readyRead, even with nothing new to show.
    void reveal(qint64 count);

    qint64 revealedBytes() const { return revealed; }
    // Taken for good: a peek keeps bytes in the read buffer.
    qint64 consumedBytes() const { return handedOut - QIODevice::bytesAvailable(); }

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private:
    QByteArray stream;
    qint64 revealed;
    qint64 handedOut;
};

#endif
