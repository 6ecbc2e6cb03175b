#include "SimSignalWatcher.h"

#include <QSocketNotifier>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// The handler may touch nothing but this: [0] is written by the handler,
// [1] is read by the event loop.
int signalPair[2] = {-1, -1};
} // namespace

SimSignalWatcher::SimSignalWatcher(QObject* parent) : QObject(parent), notifier(nullptr)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPair) != 0)
        return;
    notifier = new QSocketNotifier(signalPair[1], QSocketNotifier::Read, this);
    connect(notifier, SIGNAL(activated(QSocketDescriptor, QSocketNotifier::Type)), this,
            SLOT(slotSignalArrived()));
    struct sigaction action = {};
    action.sa_handler = &SimSignalWatcher::handleSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

SimSignalWatcher::~SimSignalWatcher()
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

void SimSignalWatcher::slotSignalArrived()
{
    char byte;
    if (::read(signalPair[1], &byte, 1) == 1)
        Q_EMIT terminationRequested();
}

void SimSignalWatcher::handleSignal(int)
{
    const char byte = 1;
    // Nothing can be done about a failed write inside a handler.
    [[maybe_unused]] const ssize_t written = ::write(signalPair[0], &byte, 1);
}
