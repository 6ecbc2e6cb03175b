#ifndef CHANNELHISTORY_H
#define CHANNELHISTORY_H

#include "PacketHeader.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class ProfilerNetwork;

// One sample of the target's channel use: five pairs of a count and a limit.
struct ChannelSnapshot
{
    int hardwareCount = 0;
    int hardwareLimit = 0;
    int softwareCount = 0;
    int softwareLimit = 0;
    int realCount = 0; // hardwareCount + softwareCount
    int realLimit = 0; // hardwareLimit + softwareLimit
    int virtualCount = 0;
    int virtualLimit = 0;
    int playingCount = 0; // realCount + virtualCount
    int playingLimit = 0; // a copy of virtualLimit: every playing channel is a virtual one
};
Q_DECLARE_TYPEINFO(ChannelSnapshot, Q_RELOCATABLE_TYPE);

// Keeps the latest channel samples (packet kind 4, sub-kind 0) of the target.
class ChannelHistory : public QObject
{
    Q_OBJECT

public:
    static constexpr int maxSnapshots = 100;
    static constexpr quint8 packetKind = PacketKind::Channel;
    static constexpr quint8 packetSubKind = PacketSubKind::Snapshot;

    // A null network is allowed: the store is then fed through processPackets() alone.
    explicit ChannelHistory(ProfilerNetwork* network);
    ~ChannelHistory() override;

    const QList<ChannelSnapshot>* snapshots() const { return snapshotList; }
    // virtualLimit of the newest accepted packet, 0 before the first.
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
    QList<ChannelSnapshot>* snapshotList;
    int maximumLimit;
};

#endif // CHANNELHISTORY_H
