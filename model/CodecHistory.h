#ifndef CODECHISTORY_H
#define CODECHISTORY_H

#include "PacketHeader.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class ProfilerNetwork;

// One sample of the target's codec use: four pairs of a count and a limit, as sent.
struct CodecSnapshot
{
    int mpegCount = 0;
    int mpegLimit = 0;
    int adpcmCount = 0;
    int adpcmLimit = 0;
    int xmaCount = 0;
    int xmaLimit = 0;
    int pcmCount = 0;
    int pcmLimit = 0;
};
Q_DECLARE_TYPEINFO(CodecSnapshot, Q_RELOCATABLE_TYPE);

// Keeps the latest codec samples (packet kind 5, sub-kind 0) of the target.
class CodecHistory : public QObject
{
    Q_OBJECT

public:
    static constexpr int maxSnapshots = 100;
    static constexpr quint8 packetKind = PacketKind::Codec;
    static constexpr quint8 packetSubKind = PacketSubKind::Snapshot;

    // A null network is allowed: the store is then fed through processPackets() alone.
    explicit CodecHistory(ProfilerNetwork* network);
    ~CodecHistory() override;

    const QList<CodecSnapshot>* snapshots() const { return snapshotList; }
    // Largest of 0 and the four limits of the newest accepted packet.
    int maximum() const { return maximumLimit; }

    // One pass over whole frames of this kind (header included), in arrival order.
    void processPackets(const QList<QByteArray>& frames);

Q_SIGNALS:
    void statusChanged(QString status);
    void historyUpdated(int numNewSnapshots);

private Q_SLOTS:
    void slotPacketArrived();

private:
    ProfilerNetwork* network;
    QList<CodecSnapshot>* snapshotList;
    int maximumLimit;
};

#endif // CODECHISTORY_H
