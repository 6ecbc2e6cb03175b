#ifndef CPUHISTORY_H
#define CPUHISTORY_H

#include "PacketHeader.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class ProfilerNetwork;

// One CPU sample of the target, in percent of its CPU.
struct CPUSnapshot
{
    float dsp = 0.0f;
    float stream = 0.0f;
    float geometry = 0.0f; // 0.0 when the target sends the older three-value packet
    float update = 0.0f;
    float total = 0.0f; // stream + dsp + geometry + update, added in this order
};
Q_DECLARE_TYPEINFO(CPUSnapshot, Q_RELOCATABLE_TYPE);

// Keeps the latest CPU samples (packet kind 3, sub-kind 0) of the target.
class CPUHistory : public QObject
{
    Q_OBJECT

public:
    static constexpr int maxSnapshots = 100;
    static constexpr quint8 packetKind = PacketKind::CPU;
    static constexpr quint8 packetSubKind = PacketSubKind::Snapshot;

    // A null network is allowed: the store is then fed through processPackets() alone.
    explicit CPUHistory(ProfilerNetwork* network);
    ~CPUHistory() override;

    // Oldest first, at most maxSnapshots entries. The pointer stays valid for the
    // lifetime of the store.
    const QList<CPUSnapshot>* snapshots() const { return snapshotList; }

    // One pass over whole frames of this kind (header included), in arrival order.
    // Emits statusChanged for each old or refused version and historyUpdated once if
    // anything was accepted.
    void processPackets(const QList<QByteArray>& frames);

Q_SIGNALS:
    void statusChanged(QString status);
    void historyUpdated(int numNewSnapshots);

private Q_SLOTS:
    void slotPacketArrived();

private:
    ProfilerNetwork* network;
    QList<CPUSnapshot>* snapshotList;
};

#endif // CPUHISTORY_H
