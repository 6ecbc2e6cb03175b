#pragma once

#include "CaptureFormat.h"
#include "CaptureStreamCutter.h"

#include <QAbstractSocket>
#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QString>

class CaptureWriter;
class QTcpServer;
class QTcpSocket;
class QTimer;

// What `zelto-capture record` was asked to do.
struct RelaySettings
{
    QString targetHost;
    quint16 targetPort = 9264;
    quint16 listenPort = 0; // unused with subscribe
    bool subscribe = false; // the relay subscribes itself; no profiler is served
    QString path;
    bool overwrite = false;
    bool progress = false; // a live line on standard error
};

// Records a session while passing it on: the profiler connects to the relay
// as it would to the target, and every byte goes on unchanged in both
// directions, while each whole frame is written to the capture with the time
// it passed. One profiler at a time; each profiler connection gets a target
// connection of its own, so the target sees what a direct connection shows.
class CaptureRelay : public QObject
{
    Q_OBJECT

public:
    static constexpr int retryIntervalMs = 5000;

    explicit CaptureRelay(const RelaySettings& settings, QObject* parent = nullptr);
    ~CaptureRelay() override;

    // Listens and reaches the target; the file is created once the target has
    // answered. finished() follows, with 1 and a line on standard error, when
    // the target cannot be reached at first. False when it fails at once.
    bool start();

Q_SIGNALS:
    void finished(int exitCode);

public Q_SLOTS:
    void slotStop();

private Q_SLOTS:
    void slotNewConnection();
    void slotTargetConnected();
    void slotTargetReadyRead();
    void slotTargetError(QAbstractSocket::SocketError error);
    void slotProfilerReadyRead();
    void slotProfilerDisconnected();
    void slotTickTimeout();
    void slotRetryTimeout();

private:
    void connectTarget();
    void dropTarget();
    void dropProfiler();
    void subscribeAll();
    void sendToTarget(const QByteArray& bytes);
    void record(CaptureFormat::RecordType type, CaptureStreamCutter* cutter,
                const QByteArray& bytes);
    void recordEvent(CaptureFormat::LinkEvent linkEvent);
    quint64 now() const;
    void say(const QString& line);
    void fail(const QString& line);
    QString progressLine() const;

    RelaySettings settings;
    QTcpServer* server;
    QTimer* tickTimer;
    QTimer* retryTimer;
    CaptureWriter* writer;
    QTcpSocket* target = nullptr;
    QTcpSocket* profiler = nullptr;
    CaptureStreamCutter toProfilerCutter;
    CaptureStreamCutter toTargetCutter;
    QByteArray waitingForTarget;
    QElapsedTimer clock;
    qint64 frameCount = 0;
    bool recording = false;
    bool stopping = false;
};
