#include "BareReceiver.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

BareReceiver::BareReceiver(quint8 endKind)
    : buffer(new char[bufferBytes]), endKind(endKind), header(), headerFill(0), skipBytes(0),
      frames(0), ended(false)
{
}

BareReceiver::~BareReceiver()
{
    delete[] buffer;
}

bool BareReceiver::receive(quint16 port, qint64 streamBytes)
{
    const int fd = connectTo(port);
    if (fd < 0)
        return false;
    const bool ok = readAll(fd, streamBytes);
    ::close(fd);
    return ok;
}

bool BareReceiver::discard(quint16 port, qint64 byteCount)
{
    const int fd = connectTo(port);
    if (fd < 0)
        return false;
    const bool ok = discardAll(fd, byteCount);
    ::close(fd);
    return ok;
}

// A socket connected to 127.0.0.1:port, or -1.
int BareReceiver::connectTo(quint16 port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0)
        return -1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// MSG_TRUNC on a TCP socket drops the bytes in the kernel instead of copying
// them into the buffer. The reader asks to be woken only when many megabytes
// wait, and as usual again for the last ones: each wake-up costs the sender
// too, since on loopback the sending thread queues the bytes for the reader.
bool BareReceiver::discardAll(int fd, qint64 byteCount)
{
    int wakeBytes = byteCount > 2 * discardWakeBytes ? int(discardWakeBytes) : 1;
    ::setsockopt(fd, SOL_SOCKET, SO_RCVLOWAT, &wakeBytes, sizeof wakeBytes);
    while (byteCount > 0) {
        if (wakeBytes > 1 && byteCount <= 2 * discardWakeBytes) {
            wakeBytes = 1;
            ::setsockopt(fd, SOL_SOCKET, SO_RCVLOWAT, &wakeBytes, sizeof wakeBytes);
        }
        const size_t step = size_t(qMin(byteCount, bufferBytes));
        const ssize_t got = ::recv(fd, buffer, step, MSG_TRUNC | MSG_WAITALL);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        byteCount -= got;
    }
    return true;
}

bool BareReceiver::readAll(int fd, qint64 streamBytes)
{
    const bool known = streamBytes > 0;
    qint64 left = streamBytes;
    while (!ended) {
        const qint64 wanted = known ? qMin(left, bufferBytes) : bufferBytes;
        if (wanted <= 0)
            return false;
        const ssize_t got = ::recv(fd, buffer, size_t(wanted), known ? MSG_WAITALL : 0);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0 || !cut(buffer, got))
            return false;
        left -= got;
    }
    return true;
}

// A frame may stand across any number of reads: the header is gathered first,
// then the rest of the frame is skipped byte count by byte count.
bool BareReceiver::cut(const char* data, qint64 length)
{
    while (length > 0 && !ended) {
        if (skipBytes > 0) {
            const qint64 step = qMin<quint64>(skipBytes, quint64(length));
            skipBytes -= quint64(step);
            data += step;
            length -= step;
            continue;
        }
        const int step = int(qMin<qint64>(headerBytes - headerFill, length));
        std::memcpy(header + headerFill, data, size_t(step));
        headerFill += step;
        data += step;
        length -= step;
        if (headerFill < headerBytes)
            return true;
        headerFill = 0;
        quint32 size = 0;
        for (int i = 3; i >= 0; --i)
            size = (size << 8) | quint8(header[i]);
        if (size < quint32(headerBytes))
            return false;
        if (quint8(header[8]) == endKind) {
            ended = true;
            return true;
        }
        ++frames;
        skipBytes = size - headerBytes;
    }
    return true;
}
