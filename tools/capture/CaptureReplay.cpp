#include "CaptureReplay.h"

#include "CaptureFormat.h"
#include "PacketHeader.h"
#include "SimRequest.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <cstdio>

namespace {
// Between the end of a looped session and its start again.
constexpr int loopPauseMs = 10;
// From the first subscription of a profiler to its first frame: the rest of
// its subscriptions come within this time.
constexpr int settleMs = 50;

void say(const QString& line)
{
    std::fprintf(stdout, "%s\n", qPrintable(line));
    std::fflush(stdout);
}
} // namespace

CaptureReplay::CaptureReplay(const ReplaySettings& settings, QObject* parent)
    : QObject(parent), settings(settings), server(new QTcpServer(this)), playTimer(new QTimer(this))
{
    playTimer->setSingleShot(true);
    playTimer->setTimerType(Qt::PreciseTimer);
    connect(server, SIGNAL(newConnection()), this, SLOT(slotNewConnection()));
    connect(playTimer, SIGNAL(timeout()), this, SLOT(slotPlayTimeout()));
}

CaptureReplay::~CaptureReplay()
{
    delete reader;
}

bool CaptureReplay::start()
{
    QString error;
    if (!rewind(&error)) {
        std::fprintf(stderr, "zelto-capture: %s\n", qPrintable(error));
        return false;
    }
    if (!server->listen(QHostAddress::Any, settings.port)) {
        std::fprintf(stderr, "zelto-capture: cannot listen on port %d: %s\n", int(settings.port),
                     qPrintable(server->errorString()));
        return false;
    }
    say(QStringLiteral("replaying %1 on port %2").arg(settings.path).arg(server->serverPort()));
    return true;
}

void CaptureReplay::slotStop()
{
    playTimer->stop();
    server->close();
    if (client)
        client->abort();
    Q_EMIT finished(0);
}

// Opens the file anew and skips to the first frame to the profiler at or
// after the start point.
bool CaptureReplay::rewind(QString* error)
{
    delete reader;
    reader = new CaptureReader;
    if (!reader->open(settings.path, error))
        return false;
    const quint64 fromUs = quint64(settings.fromSeconds * 1e6);
    while (readNext()) {
        if (upcoming.type == CaptureFormat::ToProfiler && upcoming.timeUs >= fromUs) {
            baseUs = upcoming.timeUs;
            return true;
        }
    }
    return true;
}

bool CaptureReplay::readNext()
{
    haveUpcoming = reader->next(&upcoming);
    if (haveUpcoming && settings.toSeconds >= 0 &&
        upcoming.timeUs > quint64(settings.toSeconds * 1e6))
        haveUpcoming = false;
    return haveUpcoming;
}

void CaptureReplay::slotNewConnection()
{
    while (QTcpSocket* socket = server->nextPendingConnection()) {
        if (client || ending) {
            say(QStringLiteral("profiler from %1 turned away: another is connected")
                    .arg(socket->peerAddress().toString()));
            delete socket;
            continue;
        }
        client = socket;
        // Small sample frames must not wait behind a snapshot for an
        // acknowledgement: each goes out at its own time.
        client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(client, SIGNAL(readyRead()), this, SLOT(slotClientReadyRead()));
        connect(client, SIGNAL(disconnected()), this, SLOT(slotClientDisconnected()));
        requests = SimFrameReader();
        subscribed.clear();
        playing = false;
        say(QStringLiteral("profiler connected from %1").arg(client->peerAddress().toString()));
    }
}

void CaptureReplay::slotClientReadyRead()
{
    requests.append(client->readAll());
    QByteArray frame;
    SimFrameReader::Result result;
    while ((result = requests.next(&frame)) == SimFrameReader::FrameReady) {
        SimRequest request;
        QString error;
        if (!SimRequest::parse(frame, &request, &error)) {
            say(QStringLiteral("ignored from the profiler: %1").arg(error));
            continue;
        }
        if (request.type != SimRequest::Subscribe) {
            say(QStringLiteral("command from the profiler, not acted on: %1")
                    .arg(request.describe()));
            continue;
        }
        say(QStringLiteral("profiler subscribes: %1").arg(request.describe()));
        subscribed.insert(quint16(request.kind << 8 | request.subKind));
        if (!playing && !playTimer->isActive())
            playTimer->start(settleMs);
    }
    if (result == SimFrameReader::Broken) {
        say(QStringLiteral("profiler dropped: %1").arg(requests.error()));
        client->abort();
    }
}

// The clock starts shortly after the first subscription, so that the first
// frames are not lost to a profiler that has not yet said all it wants.
void CaptureReplay::beginPlaying()
{
    QString error;
    if (!rewind(&error)) {
        say(error);
        return;
    }
    playing = true;
    pauseUs = 0;
    clock.start();
    slotPlayTimeout();
}

void CaptureReplay::slotPlayTimeout()
{
    if (!client)
        return;
    if (!playing) {
        beginPlaying();
        return;
    }
    while (haveUpcoming) {
        const qint64 dueUs = qint64(double(upcoming.timeUs - baseUs) / settings.speed) + pauseUs;
        const qint64 nowUs = clock.nsecsElapsed() / 1000;
        if (dueUs > nowUs) {
            playTimer->start(int((dueUs - nowUs) / 1000));
            return;
        }
        if (upcoming.type == CaptureFormat::ToProfiler) {
            const PacketHeader header = PacketHeader::read(upcoming.data);
            if (subscribed.contains(quint16(header.kind << 8 | header.subKind)))
                client->write(upcoming.data);
        }
        readNext();
    }
    endOfSession();
}

void CaptureReplay::endOfSession()
{
    if (reader->status() == CaptureReader::Damaged || reader->status() == CaptureReader::CutOff)
        say(QStringLiteral("the recording ends early: %1").arg(reader->problem()));
    QString error;
    if (settings.loop && rewind(&error) && haveUpcoming) {
        // Queued, not called: a session that takes no time must not recurse.
        clock.start();
        pauseUs = loopPauseMs * 1000;
        playTimer->start(loopPauseMs);
        return;
    }
    say(QStringLiteral("replay finished"));
    playing = false;
    ending = true;
    server->close();
    client->disconnectFromHost();
}

void CaptureReplay::slotClientDisconnected()
{
    say(QStringLiteral("profiler left"));
    playTimer->stop();
    playing = false;
    dropClient();
    if (ending)
        Q_EMIT finished(0);
}

void CaptureReplay::dropClient()
{
    client->disconnect(this);
    client->deleteLater();
    client = nullptr;
}
