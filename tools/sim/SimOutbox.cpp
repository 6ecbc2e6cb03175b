#include "SimOutbox.h"

#include <QTcpSocket>
#include <QTimer>

namespace {
// Each tick sends this share of what waits, so that a backlog drains within a
// few dozen milliseconds however it is cut.
const int drainDivisor = 20;
// Single bytes cost one system call each: this many per tick at most, so
// that the event loop still reads commands while a large snapshot trickles.
const qsizetype maxBytesPerTick = 2048;
} // namespace

SimOutbox::SimOutbox(QTcpSocket* socket, SimSplit split, quint32 seed, QObject* parent)
    : QObject(parent), socket(socket), paceTimer(new QTimer(this)), split(split), random(seed)
{
    paceTimer->setInterval(1);
    paceTimer->setTimerType(Qt::PreciseTimer);
    connect(paceTimer, SIGNAL(timeout()), this, SLOT(slotPaceTimeout()));
    if (split != SimSplit::None)
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
}

void SimOutbox::send(const QByteArray& frame)
{
    if (halted)
        return;
    if (split == SimSplit::None) {
        socket->write(frame);
        return;
    }
    pending.append(frame);
    if (!paceTimer->isActive())
        paceTimer->start();
}

qint64 SimOutbox::backlog() const
{
    return socket->bytesToWrite() + (pending.size() - pendingOffset);
}

void SimOutbox::halt()
{
    halted = true;
    paceTimer->stop();
}

void SimOutbox::slotPaceTimeout()
{
    const qsizetype waiting = pending.size() - pendingOffset;
    const qsizetype quota = qMax<qsizetype>(1, waiting / drainDivisor);
    if (split == SimSplit::Bytes) {
        for (qsizetype i = 0; i < qMin(quota, maxBytesPerTick); ++i)
            writePiece(1);
    } else {
        writePiece(1 + qsizetype(random.bounded(quint64(2 * quota))));
    }
    if (pendingOffset >= pending.size()) {
        pending.clear();
        pendingOffset = 0;
        paceTimer->stop();
    } else if (pendingOffset > pending.size() / 2) {
        pending.remove(0, pendingOffset);
        pendingOffset = 0;
    }
}

void SimOutbox::writePiece(qsizetype length)
{
    length = qMin(length, pending.size() - pendingOffset);
    if (length <= 0)
        return;
    // Each piece goes to the operating system on its own.
    socket->write(pending.constData() + pendingOffset, length);
    socket->flush();
    pendingOffset += length;
}
