#ifndef STATSHISTORY_H
#define STATSHISTORY_H

#include "PacketHeader.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class ProfilerNetwork;

// Summary of one series over the retained snapshots.
struct SeriesStats
{
    float minimum = 0.0f;
    float maximum = 0.0f; // never below 0.0
    float average = 0.0f;
    float limit = 0.0f; // from the newest accepted packet; 0.0 hides the series' legend row
};

// One combined sample: CPU in percent, channel and codec counts, memory in
// millions of bytes. The limits live on in StatsHistory::seriesStats only.
struct StatsSnapshot
{
    float dsp = 0.0f;
    float stream = 0.0f;
    float update = 0.0f;
    float geometry = 0.0f;
    float total = 0.0f; // geometry + dsp + stream + update, added in this order
    qint16 realCount = 0;
    qint16 virtualCount = 0;
    qint16 playingCount = 0; // realCount + virtualCount, wrapping in 16 bits
    qint16 adpcmCount = 0;
    qint16 zadpcmCount = 0;
    qint16 mpegCount = 0;
    qint16 vorbisCount = 0;
    qint16 xmaCount = 0;
    qint16 at9Count = 0;
    qint16 pcmCount = 0;
    float memory = 0.0f;
};
Q_DECLARE_TYPEINFO(StatsSnapshot, Q_RELOCATABLE_TYPE);

// Keeps the latest combined samples (packet kind 9, sub-kind 0) of the target and the
// minimum, maximum, average and limit of each of its sixteen series.
class StatsHistory : public QObject
{
    Q_OBJECT

public:
    static constexpr int maxSnapshots = 100;
    static constexpr quint8 packetKind = PacketKind::Stats;
    static constexpr quint8 packetSubKind = PacketSubKind::Snapshot;
    static constexpr int numSeries = 16;

    // Index of each series in seriesStats.
    enum Series
    {
        SeriesDSP = 0,
        SeriesStream,
        SeriesUpdate,
        SeriesGeometry,
        SeriesTotal,
        SeriesReal,
        SeriesVirtual,
        SeriesPlaying,
        SeriesADPCM,
        SeriesZADPCM,
        SeriesMPEG,
        SeriesVorbis,
        SeriesXMA,
        SeriesAT9,
        SeriesPCM,
        SeriesMemory
    };

    // A null network is allowed: the store is then fed through processPackets() alone.
    explicit StatsHistory(ProfilerNetwork* network);
    ~StatsHistory() override;

    const QList<StatsSnapshot>* snapshots() const { return snapshotList; }

    // One pass over whole frames of this kind (header included), in arrival order.
    // The statistics are rebuilt once, at the end of a pass that accepted a packet.
    void processPackets(const QList<QByteArray>& frames);

    // The value of series `index` (0 to 15) in one snapshot, as the statistics see it.
    static float seriesValue(const StatsSnapshot& snapshot, int index);

Q_SIGNALS:
    void statusChanged(QString status);
    void historyUpdated(int numNewSnapshots);

private Q_SLOTS:
    void slotPacketArrived();

private:
    StatsSnapshot decodeAndTakeLimits(const QByteArray& frame);
    void rebuildStatistics();

    ProfilerNetwork* network;
    QList<StatsSnapshot>* snapshotList;

public:
    // Read in place by the line graphs; valid from the first historyUpdated on.
    SeriesStats seriesStats[numSeries];
    qint16 maxChannels; // virtual channel limit of the newest accepted packet
    qint16 maxCodecs;   // largest of its seven codec limits, with no floor of 0
};

#endif // STATSHISTORY_H
