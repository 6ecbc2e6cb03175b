#ifndef CHUNKEDDEVICE_H
#define CHUNKEDDEVICE_H

#include <QByteArray>
#include <QIODevice>

// A sequential, read-only device over a fixed byte stream that shows the
// stream a chunk at a time, the way a socket's buffer fills: bytes that have
// not been revealed cannot be read, and each reveal() emits one readyRead.
class ChunkedDevice : public QIODevice
{
    Q_OBJECT

public:
    explicit ChunkedDevice(const QByteArray& stream);

    // Makes the next count bytes readable (fewer at the end of the stream)
    // and emits readyRead, even when nothing new was left to show.
    void reveal(qint64 count);

    // Bytes that the reader has taken for good: handed out by readData and
    // no longer held in the device's read buffer (a peek keeps them there).
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
