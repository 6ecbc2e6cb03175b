#pragma once

#include "SimFrameReader.h"
#include "SimOptions.h"

#include <QElapsedTimer>
#include <QObject>
#include <QRandomGenerator>

class QTcpSocket;
class QTimer;
class SimOutbox;
class SimTarget;
struct SimRequest;

// One profiler connected to the simulated target: reads its subscriptions
// and commands, sends each subscribed kind at its rate, and injects the
// faults that the options ask for. Emits finished() once, when the client
// has gone or has been dropped.
class SimSession : public QObject
{
    Q_OBJECT

public:
    // The kinds that the target sends, in the order in which it serves them.
    static constexpr int kindCount = 6;
    static const quint8 sentKinds[kindCount];
    // Frames are not built while this much waits to be sent.
    static constexpr qint64 maxBacklogBytes = 16 * 1024 * 1024;

    // Takes over `socket`, which must be connected.
    SimSession(QTcpSocket* socket, SimTarget* target, const SimOptions& options,
               QObject* parent = nullptr);

Q_SIGNALS:
    void finished();

public Q_SLOTS:
    // Ends the session from this side, as at the end of the program.
    void slotClose();

private Q_SLOTS:
    void slotReadyRead();
    void slotDisconnected();
    void slotTickTimeout();
    void slotStallTimeout();
    void slotCloseTimeout();
    void slotBurstTimeout();

private:
    struct Subscription
    {
        bool on = false;
        int interval = 0;
        qint64 due = 0;
        int sent = 0;
    };

    bool handle(const QByteArray& frame);
    void subscribe(const SimRequest& request);
    void command(const SimRequest& request);
    void drop(const QString& reason);
    void finish();
    void reset();
    void sendBurst();
    void sendKind(int slot);
    QByteArray buildFrame(quint8 kind) const;
    QByteArray spoil(quint8 kind, const QByteArray& frame, int number);
    QByteArray spoilSnapshot(const QByteArray& frame, int number);
    QString summary() const;

    QTcpSocket* socket;
    SimOutbox* outbox;
    QTimer* tickTimer;
    QTimer* stallTimer;
    QTimer* closeTimer;
    QTimer* burstTimer;
    SimTarget* target;
    SimOptions options;
    SimFrameReader reader;
    QElapsedTimer age;
    QRandomGenerator random;
    QString peer;
    Subscription subscriptions[kindCount];
    qint64 bytesSent = 0;
    int skipped = 0;
    bool slow = false;
    bool stalled = false;
    bool burstPending = false;
    bool dropped = false;
    bool ended = false;
    QList<quint8> badVersionReported;
    bool spoilReported = false;
};
