#include "CaptureRelay.h"

#include "CapturePlatform.h"
#include "CaptureWriter.h"
#include "PacketHeader.h"

#include <QDateTime>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <cstdio>

namespace {
// The six subscriptions that the profiler sends when its link comes up.
struct Subscription
{
    quint8 kind;
    quint32 rate;
};
const Subscription standardSubscriptions[] = {
    {PacketKind::DSPNetwork, 100}, {PacketKind::DSPGroup, 100}, {PacketKind::CPU, 200},
    {PacketKind::Channel, 200},    {PacketKind::Codec, 200},    {PacketKind::Stats, 200}};

QByteArray subscriptionFrame(const Subscription& subscription)
{
    char frame[18];
    PacketHeader header;
    header.size = sizeof frame;
    header.write(frame);
    Wire::writeU8(frame + 12, subscription.kind);
    Wire::writeU8(frame + 13, 0);
    Wire::writeU32(frame + 14, subscription.rate);
    return QByteArray(frame, sizeof frame);
}
} // namespace

CaptureRelay::CaptureRelay(const RelaySettings& settings, QObject* parent)
    : QObject(parent), settings(settings), server(new QTcpServer(this)),
      tickTimer(new QTimer(this)), retryTimer(new QTimer(this)), writer(new CaptureWriter)
{
    tickTimer->setInterval(CaptureFormat::flushIntervalMs);
    retryTimer->setSingleShot(true);
    retryTimer->setInterval(retryIntervalMs);
    connect(server, SIGNAL(newConnection()), this, SLOT(slotNewConnection()));
    connect(tickTimer, SIGNAL(timeout()), this, SLOT(slotTickTimeout()));
    connect(retryTimer, SIGNAL(timeout()), this, SLOT(slotRetryTimeout()));
}

CaptureRelay::~CaptureRelay()
{
    delete writer;
}

bool CaptureRelay::start()
{
    if (!settings.overwrite && QFile::exists(settings.path)) {
        fail(QStringLiteral("%1 exists (use --force to overwrite it)").arg(settings.path));
        return false;
    }
    if (!settings.subscribe && !server->listen(QHostAddress::Any, settings.listenPort)) {
        fail(QStringLiteral("cannot listen on port %1: %2")
                 .arg(settings.listenPort)
                 .arg(server->errorString()));
        return false;
    }
    connectTarget();
    return true;
}

void CaptureRelay::slotStop()
{
    if (stopping)
        return;
    stopping = true;
    tickTimer->stop();
    retryTimer->stop();
    server->close();
    if (profiler)
        profiler->abort();
    if (target)
        target->abort();
    if (recording && !writer->finish(now()))
        std::fprintf(stderr, "zelto-capture: %s\n", qPrintable(writer->error()));
    if (settings.progress)
        std::fputs("\n", stderr);
    if (recording)
        say(QStringLiteral("stopped: %1").arg(progressLine()));
    Q_EMIT finished(0);
}

void CaptureRelay::connectTarget()
{
    target = new QTcpSocket(this);
    connect(target, SIGNAL(connected()), this, SLOT(slotTargetConnected()));
    connect(target, SIGNAL(readyRead()), this, SLOT(slotTargetReadyRead()));
    connect(target, SIGNAL(errorOccurred(QAbstractSocket::SocketError)), this,
            SLOT(slotTargetError(QAbstractSocket::SocketError)));
    toProfilerCutter.reset();
    target->connectToHost(settings.targetHost, settings.targetPort);
}

void CaptureRelay::slotTargetConnected()
{
    if (!recording) {
        QString error;
        if (!writer->open(settings.path, settings.overwrite, QDateTime::currentMSecsSinceEpoch(),
                          &error)) {
            fail(error);
            return;
        }
        clock.start();
        recording = true;
        tickTimer->start();
        say(QStringLiteral("recording %1:%2 to %3%4")
                .arg(settings.targetHost)
                .arg(settings.targetPort)
                .arg(settings.path)
                .arg(settings.subscribe
                         ? QString()
                         : QStringLiteral(", profiler port %1").arg(server->serverPort())));
    }
    recordEvent(CaptureFormat::TargetUp);
    if (settings.subscribe)
        subscribeAll();
    sendToTarget(waitingForTarget);
    waitingForTarget.clear();
}

void CaptureRelay::slotTargetReadyRead()
{
    const QByteArray bytes = target->readAll();
    if (profiler)
        profiler->write(bytes);
    record(CaptureFormat::ToProfiler, &toProfilerCutter, bytes);
}

void CaptureRelay::slotTargetError(QAbstractSocket::SocketError error)
{
    if (stopping || !target)
        return;
    if (!recording) {
        fail(QStringLiteral("cannot reach the target at %1:%2: %3")
                 .arg(settings.targetHost)
                 .arg(settings.targetPort)
                 .arg(target->errorString()));
        return;
    }
    const bool wasUp = target->state() == QAbstractSocket::ConnectedState ||
                       error == QAbstractSocket::RemoteHostClosedError ||
                       error == QAbstractSocket::NetworkError;
    if (target->bytesAvailable() > 0)
        slotTargetReadyRead();
    const bool orderly = error == QAbstractSocket::RemoteHostClosedError;
    if (wasUp)
        recordEvent(orderly ? CaptureFormat::TargetClosed : CaptureFormat::TargetReset);
    say(QStringLiteral("target: %1").arg(target->errorString()));
    dropTarget();
    // The profiler sees the target's end as it happened, and reconnects
    // through us when it wants to.
    if (profiler) {
        if (orderly)
            profiler->disconnectFromHost();
        else
            CapturePlatform::resetConnection(profiler);
    }
    if (settings.subscribe)
        retryTimer->start();
}

void CaptureRelay::slotNewConnection()
{
    while (QTcpSocket* socket = server->nextPendingConnection()) {
        if (profiler || stopping || !recording) {
            say(QStringLiteral("profiler from %1 turned away: another is connected")
                    .arg(socket->peerAddress().toString()));
            delete socket;
            continue;
        }
        profiler = socket;
        connect(profiler, SIGNAL(readyRead()), this, SLOT(slotProfilerReadyRead()));
        connect(profiler, SIGNAL(disconnected()), this, SLOT(slotProfilerDisconnected()));
        toTargetCutter.reset();
        recordEvent(CaptureFormat::ProfilerUp);
        say(QStringLiteral("profiler connected from %1").arg(profiler->peerAddress().toString()));
        if (!target)
            connectTarget();
    }
}

void CaptureRelay::slotProfilerReadyRead()
{
    const QByteArray bytes = profiler->readAll();
    sendToTarget(bytes);
    record(CaptureFormat::ToTarget, &toTargetCutter, bytes);
}

void CaptureRelay::slotProfilerDisconnected()
{
    if (!profiler)
        return;
    if (profiler->bytesAvailable() > 0)
        slotProfilerReadyRead();
    recordEvent(CaptureFormat::ProfilerGone);
    say(QStringLiteral("profiler left"));
    dropProfiler();
    // A direct connection would have ended here as well.
    if (target) {
        target->disconnectFromHost();
        dropTarget();
    }
}

void CaptureRelay::slotTickTimeout()
{
    if (!writer->flush()) {
        fail(writer->error());
        return;
    }
    if (settings.progress)
        std::fprintf(stderr, "\r%s   ", qPrintable(progressLine()));
}

void CaptureRelay::slotRetryTimeout()
{
    if (!target && !stopping)
        connectTarget();
}

void CaptureRelay::dropTarget()
{
    target->disconnect(this);
    target->deleteLater();
    target = nullptr;
}

void CaptureRelay::dropProfiler()
{
    profiler->disconnect(this);
    profiler->deleteLater();
    profiler = nullptr;
}

void CaptureRelay::subscribeAll()
{
    for (const Subscription& subscription : standardSubscriptions) {
        const QByteArray frame = subscriptionFrame(subscription);
        target->write(frame);
        writer->appendFrame(CaptureFormat::ToTarget, now(), frame);
        ++frameCount;
    }
}

void CaptureRelay::sendToTarget(const QByteArray& bytes)
{
    if (bytes.isEmpty())
        return;
    if (target && target->state() == QAbstractSocket::ConnectedState)
        target->write(bytes);
    else
        waitingForTarget.append(bytes);
}

void CaptureRelay::record(CaptureFormat::RecordType type, CaptureStreamCutter* cutter,
                          const QByteArray& bytes)
{
    if (!recording)
        return;
    const bool wasBroken = cutter->broken();
    cutter->append(bytes);
    QByteArray frame;
    const quint64 time = now();
    while (cutter->next(&frame)) {
        writer->appendFrame(type, time, frame);
        ++frameCount;
    }
    if (cutter->broken() && !wasBroken)
        say(QStringLiteral("the stream to the %1 cannot be cut into frames; it is passed on "
                           "but no longer recorded on this connection")
                .arg(type == CaptureFormat::ToProfiler ? QStringLiteral("profiler")
                                                       : QStringLiteral("target")));
}

void CaptureRelay::recordEvent(CaptureFormat::LinkEvent linkEvent)
{
    if (recording)
        writer->appendEvent(linkEvent, now());
}

quint64 CaptureRelay::now() const
{
    return quint64(clock.nsecsElapsed() / 1000);
}

void CaptureRelay::say(const QString& line)
{
    if (settings.progress)
        std::fputs("\r", stderr);
    std::fprintf(stdout, "%s\n", qPrintable(line));
    std::fflush(stdout);
}

void CaptureRelay::fail(const QString& line)
{
    std::fprintf(stderr, "zelto-capture: %s\n", qPrintable(line));
    stopping = true;
    if (recording)
        writer->finish(now());
    QMetaObject::invokeMethod(this, "finished", Qt::QueuedConnection, Q_ARG(int, 1));
}

QString CaptureRelay::progressLine() const
{
    const double ratio =
        writer->fileBytes() > 0 ? double(writer->recordBytes()) / double(writer->fileBytes()) : 0.0;
    return QStringLiteral("%1 s, %2 frames, %3 MB, compressed %4:1")
        .arg(double(clock.elapsed()) / 1000.0, 0, 'f', 1)
        .arg(frameCount)
        .arg(double(writer->fileBytes()) / 1e6, 0, 'f', 2)
        .arg(ratio, 0, 'f', 1);
}
