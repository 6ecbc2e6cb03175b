#include "ChunkedDevice.h"

#include <cstring>

ChunkedDevice::ChunkedDevice(const QByteArray& stream) : stream(stream), revealed(0), handedOut(0)
{
    open(QIODevice::ReadOnly);
}

void ChunkedDevice::reveal(qint64 count)
{
    revealed = qBound(qint64(0), revealed + qMax(qint64(0), count), qint64(stream.size()));
    Q_EMIT readyRead();
}

qint64 ChunkedDevice::bytesAvailable() const
{
    return QIODevice::bytesAvailable() + (revealed - handedOut);
}

qint64 ChunkedDevice::readData(char* data, qint64 maxSize)
{
    const qint64 count = qMin(maxSize, revealed - handedOut);
    if (count <= 0)
        return 0;
    std::memcpy(data, stream.constData() + handedOut, size_t(count));
    handedOut += count;
    return count;
}

qint64 ChunkedDevice::writeData(const char*, qint64)
{
    return -1;
}
