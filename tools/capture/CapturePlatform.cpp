#include "CapturePlatform.h"

#include <QAbstractSocket>
#include <QSocketNotifier>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// The handler may touch nothing but this: [0] is written by the handler,
// [1] is read by the event loop.
int signalPair[2] = {-1, -1};
} // namespace

CapturePlatform::CapturePlatform(QObject* parent) : QObject(parent), notifier(nullptr)
{
    // A peer that vanishes while a frame is being written must not end us.
    std::signal(SIGPIPE, SIG_IGN);
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPair) != 0)
        return;
    notifier = new QSocketNotifier(signalPair[1], QSocketNotifier::Read, this);
    connect(notifier, SIGNAL(activated(QSocketDescriptor, QSocketNotifier::Type)), this,
            SLOT(slotSignalArrived()));
    struct sigaction action = {};
    action.sa_handler = &CapturePlatform::handleSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

CapturePlatform::~CapturePlatform()
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    delete notifier;
    for (int& fd : signalPair) {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
}

bool CapturePlatform::errorIsTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

void CapturePlatform::resetConnection(QAbstractSocket* socket)
{
    const qintptr descriptor = socket->socketDescriptor();
    if (descriptor >= 0) {
        const struct linger noLinger = {1, 0};
        ::setsockopt(int(descriptor), SOL_SOCKET, SO_LINGER, &noLinger, sizeof noLinger);
    }
    socket->abort();
}

void CapturePlatform::slotSignalArrived()
{
    char byte;
    if (::read(signalPair[1], &byte, 1) == 1)
        Q_EMIT terminationRequested();
}

void CapturePlatform::handleSignal(int)
{
    const char byte = 1;
    // Nothing can be done about a failed write inside a handler.
    [[maybe_unused]] const ssize_t written = ::write(signalPair[0], &byte, 1);
}
