#include "CapturePlatform.h"

#include "SimSignalWatcher.h"

#include <QAbstractSocket>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

CapturePlatform::CapturePlatform(QObject* parent)
    : QObject(parent), watcher(new SimSignalWatcher(this))
{
    // A peer that vanishes while a frame is being written must not end us.
    std::signal(SIGPIPE, SIG_IGN);
    connect(watcher, SIGNAL(terminationRequested()), this, SIGNAL(terminationRequested()));
}

CapturePlatform::~CapturePlatform() = default;

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
