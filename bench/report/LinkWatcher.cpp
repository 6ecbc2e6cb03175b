#include "LinkWatcher.h"

#include "FloodStream.h"
#include "ProfilerNetwork.h"

LinkWatcher::LinkWatcher(ProfilerNetwork* network)
    : network(network), passCount(0), ended(false), onlyEndLeft(false)
{
    connect(network, SIGNAL(packetReady()), this, SLOT(slotPacketReady()));
    connect(network, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
}

void LinkWatcher::watchStatus(QObject* source)
{
    connect(source, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
}

void LinkWatcher::reset()
{
    passCount = 0;
    ended = false;
    onlyEndLeft = false;
    failure.clear();
}

void LinkWatcher::slotPacketReady()
{
    ++passCount;
    if (ended || network->countPackets(FloodStream::endKind, 0) == 0)
        return;
    ended = true;
    onlyEndLeft = network->queuedPacketCount() == 1;
    Q_EMIT finished();
}

// Only the two lines of a link that comes up are harmless here; every other
// line ends the wait with the text as the reason.
void LinkWatcher::slotStatusChanged(QString status)
{
    if (status == QLatin1String("Attempting to connect...") ||
        status == QLatin1String("Connected."))
        return;
    if (ended && status == QLatin1String("Disconnected."))
        return;
    if (failure.isEmpty())
        failure = status;
    Q_EMIT finished();
}
