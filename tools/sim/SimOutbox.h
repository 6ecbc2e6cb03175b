#pragma once

#include "SimOptions.h"

#include <QByteArray>
#include <QObject>
#include <QRandomGenerator>

class QTcpSocket;
class QTimer;

// Hands frames to the socket. Whole, as they are; or, to try the profiler's
// framing, in single bytes or random pieces that leave one by one, paced by
// a 1 ms timer, so that the far side sees frames cut anywhere.
class SimOutbox : public QObject
{
    Q_OBJECT

public:
    SimOutbox(QTcpSocket* socket, SimSplit split, quint32 seed, QObject* parent = nullptr);

    void send(const QByteArray& frame);
    // Bytes handed over but not yet taken by the operating system.
    qint64 backlog() const;
    // Stops sending for good; what waits stays unsent.
    void halt();

private Q_SLOTS:
    void slotPaceTimeout();

private:
    void writePiece(qsizetype length);

    QTcpSocket* socket;
    QTimer* paceTimer;
    SimSplit split;
    QRandomGenerator random;
    QByteArray pending;
    qsizetype pendingOffset = 0;
    bool halted = false;
};
