#include "SimSession.h"

#include "SimFaultWriter.h"
#include "SimFrameWriter.h"
#include "SimLog.h"
#include "SimOutbox.h"
#include "SimRequest.h"
#include "SimTarget.h"

#include <QTcpSocket>
#include <QTimer>
#include <sys/socket.h>

const quint8 SimSession::sentKinds[SimSession::kindCount] = {1, 7, 3, 4, 5, 9};

namespace {

const char* const kindNames[SimSession::kindCount] = {"dsp",      "groups", "cpu",
                                                      "channels", "codecs", "stats"};
// The rate of a subscription is taken as milliseconds between two frames,
// kept between these bounds; 0 stops the kind. The lower bound is one tick,
// so that a soak can ask for twenty times the profiler's own rates.
const int minInterval = 5;
const int maxInterval = 60000;
const int tickMilliseconds = 5;
// A read never takes more than this from the socket at once.
const qint64 readBufferBytes = 64 * 1024;
// Hostile frames that break the stream go out once, in place of this
// snapshot; those that keep it in step replace every fifth from here.
const int firstSpoiled = 3;
const int spoilEvery = 5;
const quint32 hugeSize = 0xFFFFFFF0u;
// --burst: the quiet spell starts this far into a connection and stays below
// the profiler's 3000 ms limit of silence, so the burst meets a live link.
const int burstStartMilliseconds = 1000;
const int burstQuietMilliseconds = 2000;

int slotOf(quint8 kind)
{
    for (int i = 0; i < SimSession::kindCount; ++i) {
        if (SimSession::sentKinds[i] == kind)
            return i;
    }
    return -1;
}

QString seconds(double value)
{
    return QString::number(value, 'f', 1);
}

} // namespace

SimSession::SimSession(QTcpSocket* socket, SimTarget* target, const SimOptions& options,
                       QObject* parent)
    : QObject(parent), socket(socket),
      outbox(new SimOutbox(socket, options.split, options.seed, this)), tickTimer(new QTimer(this)),
      stallTimer(new QTimer(this)), closeTimer(new QTimer(this)), burstTimer(new QTimer(this)),
      target(target), options(options), random(options.seed + 1)
{
    socket->setParent(this);
    socket->setReadBufferSize(readBufferBytes);
    peer = QStringLiteral("%1:%2").arg(socket->peerAddress().toString()).arg(socket->peerPort());
    age.start();
    tickTimer->setInterval(tickMilliseconds);
    tickTimer->setTimerType(Qt::PreciseTimer);
    stallTimer->setSingleShot(true);
    closeTimer->setSingleShot(true);
    burstTimer->setSingleShot(true);
    connect(socket, SIGNAL(readyRead()), this, SLOT(slotReadyRead()));
    connect(socket, SIGNAL(disconnected()), this, SLOT(slotDisconnected()));
    connect(tickTimer, SIGNAL(timeout()), this, SLOT(slotTickTimeout()));
    connect(stallTimer, SIGNAL(timeout()), this, SLOT(slotStallTimeout()));
    connect(closeTimer, SIGNAL(timeout()), this, SLOT(slotCloseTimeout()));
    connect(burstTimer, SIGNAL(timeout()), this, SLOT(slotBurstTimeout()));
    SimLog::write(QStringLiteral("client connected from %1").arg(peer));
    if (options.stallAfter > 0)
        stallTimer->start(int(options.stallAfter * 1000));
    if (options.closeAfter > 0)
        closeTimer->start(int(options.closeAfter * 1000));
    if (options.burst > 0)
        burstTimer->start(burstStartMilliseconds);
    // Bytes may have come with the connection, before the signal was linked.
    if (socket->bytesAvailable() > 0)
        QTimer::singleShot(0, this, SLOT(slotReadyRead()));
}

void SimSession::slotClose()
{
    if (ended)
        return;
    socket->disconnectFromHost();
    finish();
}

void SimSession::slotReadyRead()
{
    while (!ended && socket->bytesAvailable() > 0) {
        reader.append(socket->read(readBufferBytes));
        QByteArray frame;
        SimFrameReader::Result result = SimFrameReader::NeedMore;
        while (!ended && (result = reader.next(&frame)) == SimFrameReader::FrameReady) {
            if (!handle(frame))
                return;
        }
        if (result == SimFrameReader::Broken) {
            drop(reader.error());
            return;
        }
    }
}

void SimSession::slotDisconnected()
{
    finish();
}

void SimSession::slotTickTimeout()
{
    const qint64 now = age.elapsed();
    for (int slot = 0; slot < kindCount && !ended && !stalled && !burstPending; ++slot) {
        Subscription& s = subscriptions[slot];
        if (!s.on || now < s.due)
            continue;
        s.due += s.interval;
        if (s.due <= now)
            s.due = now + s.interval; // fell behind: no burst to catch up
        sendKind(slot);
    }
}

void SimSession::slotStallTimeout()
{
    SimLog::write(QStringLiteral("fault: stalled after %1 s; the connection stays open")
                      .arg(seconds(options.stallAfter)));
    stalled = true;
    tickTimer->stop();
    outbox->halt();
}

void SimSession::slotCloseTimeout()
{
    if (options.closeStyle == SimCloseStyle::Reset) {
        SimLog::write(QStringLiteral("fault: resetting the connection after %1 s")
                          .arg(seconds(options.closeAfter)));
        reset();
        return;
    }
    if (options.closeStyle == SimCloseStyle::MidFrame) {
        const QByteArray snapshot = buildFrame(1);
        const QByteArray half = snapshot.left(snapshot.size() / 2);
        bytesSent += half.size();
        outbox->send(half);
        SimLog::write(
            QStringLiteral("fault: closing the connection after %1 s, %2 of %3 bytes into a "
                           "snapshot")
                .arg(seconds(options.closeAfter))
                .arg(half.size())
                .arg(snapshot.size()));
    } else {
        SimLog::write(QStringLiteral("fault: closing the connection after %1 s")
                          .arg(seconds(options.closeAfter)));
    }
    slotClose();
}

// First the quiet spell, then, on the second timeout, the burst.
void SimSession::slotBurstTimeout()
{
    if (!burstPending) {
        burstPending = true;
        SimLog::write(QStringLiteral("fault: quiet for %1 s before a burst")
                          .arg(seconds(burstQuietMilliseconds / 1000.0)));
        burstTimer->start(burstQuietMilliseconds);
        return;
    }
    burstPending = false;
    sendBurst();
}

bool SimSession::handle(const QByteArray& frame)
{
    SimRequest request;
    QString error;
    if (!SimRequest::parse(frame, &request, &error)) {
        drop(error);
        return false;
    }
    if (request.type == SimRequest::Subscribe)
        subscribe(request);
    else
        command(request);
    return true;
}

void SimSession::subscribe(const SimRequest& request)
{
    const int slot = slotOf(request.kind);
    if (slot < 0 || request.subKind != 0) {
        SimLog::write(request.describe() + QStringLiteral(" ignored: no such packet here"));
        return;
    }
    Subscription& s = subscriptions[slot];
    if (request.rate == 0) {
        s.on = false;
        SimLog::write(request.describe() + QStringLiteral(": stopped"));
        return;
    }
    s.on = true;
    s.interval = int(qBound<quint32>(minInterval, request.rate, maxInterval));
    s.due = age.elapsed(); // the first frame goes out at once
    SimLog::write(
        QStringLiteral("subscription kind %1/0 every %2 ms").arg(request.kind).arg(s.interval));
    if (!stalled && !tickTimer->isActive())
        tickTimer->start();
}

void SimSession::command(const SimRequest& request)
{
    // The text commands ask the target to mark the units and groups whose
    // names match; nothing of that comes back in a packet, so they are only
    // logged.
    if (request.type != SimRequest::Enable && request.type != SimRequest::Bypass) {
        SimLog::write(request.describe());
        return;
    }
    SimNetwork* network = target->network();
    const int index = network->indexOf(request.id);
    if (index < 0) {
        SimLog::write(request.describe() + QStringLiteral(" for an unknown unit: ignored"));
        return;
    }
    if (request.type == SimRequest::Enable)
        network->setActive(request.id, request.on);
    else
        network->setBypass(request.id, request.on);
    SimLog::write(request.describe() +
                  QStringLiteral(" (%1)").arg(QString::fromUtf8(network->node(index).name)));
}

void SimSession::drop(const QString& reason)
{
    SimLog::write(QStringLiteral("bad input from %1: %2; dropping the client").arg(peer, reason));
    dropped = true;
    socket->abort();
    finish();
}

void SimSession::finish()
{
    if (ended)
        return;
    ended = true;
    tickTimer->stop();
    stallTimer->stop();
    closeTimer->stop();
    burstTimer->stop();
    outbox->halt();
    if (!dropped && reader.pendingBytes() > 0) {
        const quint32 size = reader.pendingFrameSize();
        SimLog::write(
            QStringLiteral("client left in the middle of a frame (%1 of %2 bytes)")
                .arg(reader.pendingBytes())
                .arg(size == 0 ? QStringLiteral("the 12 header") : QString::number(size)));
    }
    SimLog::write(QStringLiteral("client left: %1").arg(summary()));
    Q_EMIT finished();
}

// A linger time of zero makes the close a reset (RST) instead of the orderly
// end of the stream, as when a target process dies.
void SimSession::reset()
{
    const qintptr descriptor = socket->socketDescriptor();
    if (descriptor >= 0) {
        const struct linger noLinger = {1, 0};
        ::setsockopt(int(descriptor), SOL_SOCKET, SO_LINGER, &noLinger, sizeof noLinger);
    }
    socket->abort();
    finish();
}

// The four sample kinds in turn, all written at once, as a target that has
// hung and then empties its buffers would send them.
void SimSession::sendBurst()
{
    target->advance();
    QByteArray frames;
    // The sample kinds stand behind the network and the group table in sentKinds.
    const int firstSampleSlot = 2;
    for (int i = 0; i < options.burst; ++i) {
        const int slot = firstSampleSlot + i % (kindCount - firstSampleSlot);
        frames.append(buildFrame(sentKinds[slot]));
        ++subscriptions[slot].sent;
    }
    bytesSent += frames.size();
    outbox->send(frames);
    SimLog::write(QStringLiteral("fault: burst of %1 sample frames (%2 bytes)")
                      .arg(options.burst)
                      .arg(frames.size()));
}

void SimSession::sendKind(int slot)
{
    if (outbox->backlog() > maxBacklogBytes) {
        ++skipped;
        if (!slow)
            SimLog::write(QStringLiteral("client is slow: skipping frames while %1 MB wait")
                              .arg(outbox->backlog() / (1024 * 1024)));
        slow = true;
        return;
    }
    slow = false;
    target->advance();
    const quint8 kind = sentKinds[slot];
    const QByteArray frame = spoil(kind, buildFrame(kind), ++subscriptions[slot].sent);
    bytesSent += frame.size();
    outbox->send(frame);
    if (options.noise && random.bounded(3) == 0)
        outbox->send(SimFaultWriter::noise(&random));
}

QByteArray SimSession::buildFrame(quint8 kind) const
{
    switch (kind) {
    case 1:
        return target->snapshot(options.dspVersion);
    case 7:
        return target->groupTable();
    case 3:
        return SimFrameWriter::cpu(target->sample(), options.cpuVersion);
    case 4:
        return SimFrameWriter::channels(target->sample());
    case 5:
        return SimFrameWriter::codecs(target->sample());
    default:
        return SimFrameWriter::stats(target->sample());
    }
}

QByteArray SimSession::spoil(quint8 kind, const QByteArray& frame, int number)
{
    if (options.badVersionKinds.contains(kind) && number % 2 == 0) {
        const quint8 version = SimFaultWriter::unknownVersion(kind);
        if (!badVersionReported.contains(kind)) {
            badVersionReported.append(kind);
            SimLog::write(QStringLiteral("fault: every second frame of kind %1 has version %2")
                              .arg(kind)
                              .arg(version));
        }
        return SimFaultWriter::withVersion(frame, version);
    }
    if (kind == 1)
        return spoilSnapshot(frame, number);
    const bool due = number >= firstSpoiled && (number - firstSpoiled) % spoilEvery == 0;
    // The group table is left whole: cut short, it is merely an empty one.
    if (options.hostile == SimHostile::Short && kind != 7 && due) {
        if (!spoilReported)
            SimLog::write(
                QStringLiteral("fault: hostile short frames, every fifth of each sample kind"));
        spoilReported = true;
        return SimFaultWriter::shortened(frame);
    }
    return frame;
}

QByteArray SimSession::spoilSnapshot(const QByteArray& frame, int number)
{
    const QString name = SimOptions::hostileName(options.hostile);
    switch (options.hostile) {
    case SimHostile::Size0:
    case SimHostile::Size5:
    case SimHostile::Huge: {
        if (number != firstSpoiled)
            return frame;
        const quint32 size = options.hostile == SimHostile::Size0   ? 0
                             : options.hostile == SimHostile::Size5 ? 5
                                                                    : hugeSize;
        SimLog::write(
            QStringLiteral("fault: hostile %1 header sent in place of a snapshot").arg(name));
        return SimFaultWriter::brokenHeader(size, 1);
    }
    case SimHostile::LyingCount:
    case SimHostile::UnterminatedName:
    case SimHostile::ManyLevels:
        break;
    default:
        return frame;
    }
    if (number < firstSpoiled || (number - firstSpoiled) % spoilEvery != 0)
        return frame;
    if (!spoilReported)
        SimLog::write(QStringLiteral("fault: hostile %1 snapshots, every fifth").arg(name));
    spoilReported = true;
    if (options.hostile == SimHostile::LyingCount)
        return SimFaultWriter::lyingCount(frame);
    if (options.hostile == SimHostile::UnterminatedName)
        return SimFaultWriter::unterminatedNames(frame);
    return SimFaultWriter::manyLevels(frame);
}

QString SimSession::summary() const
{
    QStringList counts;
    for (int i = 0; i < kindCount; ++i)
        counts.append(
            QStringLiteral("%1 %2").arg(QLatin1String(kindNames[i])).arg(subscriptions[i].sent));
    return QStringLiteral("%1 s, frames sent: %2; %3 bytes; %4 skipped")
        .arg(seconds(double(age.elapsed()) / 1000.0), counts.join(QStringLiteral(", ")))
        .arg(bytesSent)
        .arg(skipped);
}
