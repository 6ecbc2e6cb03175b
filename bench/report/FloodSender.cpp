#include "FloodSender.h"

#include "FloodStream.h"

#include <QSemaphore>

#include <arpa/inet.h>
#include <cerrno>
#include <ctime>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

double threadCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// Waits until fd is readable; false after patienceMs without.
bool waitReadable(int fd)
{
    pollfd entry{fd, POLLIN, 0};
    int ready = 0;
    do {
        ready = ::poll(&entry, 1, FloodSender::patienceMs);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

// A listening socket on 127.0.0.1 with a port of the system's choice; -1 when
// there is none.
int listenLocally(quint16* port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0)
        return -1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd, 1) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ::close(fd);
        return -1;
    }
    *port = ntohs(address.sin_port);
    return fd;
}

// Reads and drops what the client sends until it hangs up.
void waitForHangUp(int fd)
{
    char scrap[4096];
    while (waitReadable(fd)) {
        const ssize_t got = ::recv(fd, scrap, sizeof scrap, 0);
        if (got == 0 || (got < 0 && errno != EINTR))
            return;
    }
}

// Loopback loses nothing, so congestion control only costs the sender. A system
// default that paces every packet (bbr) made the sending thread spend more
// processor time per byte than the reader, so the reader was no longer the
// limit. Reno is the algorithm that every system lets any user choose; where
// even that is refused the default stays, and the sender check says whether the
// reader is still the limit.
void useCheapestCongestionControl(int fd)
{
    static const char reno[] = "reno";
    ::setsockopt(fd, IPPROTO_TCP, TCP_CONGESTION, reno, sizeof reno - 1);
}

} // namespace

FloodSender::FloodSender(const QByteArray& stream, int repeats)
    : listening(new QSemaphore()), stream(stream), repeats(repeats), port(0), sentAll(false),
      sendingCpuSeconds(0.0)
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

qint64 FloodSender::totalBytes() const
{
    return stream.size() * qint64(repeats) + FloodStream::endFrame().size();
}

void FloodSender::run()
{
    const int server = listenLocally(&port);
    listening->release();
    if (server < 0)
        return;
    const int client = waitReadable(server) ? ::accept(server, nullptr, nullptr) : -1;
    ::close(server);
    if (client < 0)
        return;
    // A client that stops reading fails the run instead of hanging it.
    const timeval patience{patienceMs / 1000, 0};
    ::setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    useCheapestCongestionControl(client);
    const double start = threadCpuSeconds();
    sentAll = flood(client);
    sendingCpuSeconds = threadCpuSeconds() - start;
    // The client hangs up when it has seen the end frame; closing first would
    // give it a "target closed" instead.
    if (sentAll)
        waitForHangUp(client);
    ::close(client);
}

bool FloodSender::flood(int fd)
{
    for (int round = 0; round < repeats; ++round) {
        if (!sendAll(fd, stream))
            return false;
    }
    return sendAll(fd, FloodStream::endFrame());
}

// Blocking send() of the whole array; the system takes it in pieces as the
// receiver makes room.
bool FloodSender::sendAll(int fd, const QByteArray& bytes)
{
    const char* data = bytes.constData();
    qint64 left = bytes.size();
    while (left > 0) {
        const ssize_t sent = ::send(fd, data, size_t(left), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        data += sent;
        left -= sent;
    }
    return true;
}
