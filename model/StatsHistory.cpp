#include "StatsHistory.h"

#include "ProfilerNetwork.h"
#include "SampleFrame.h"

#include <limits>

namespace {

// 60 bytes of payload behind the header.
constexpr int frameSize = 72;
// The seven codec pairs start here, a count and then a limit of 16 bits each, in the
// order of the codec series (ADPCM, ZADPCM, MPEG, Vorbis, XMA, AT9, PCM).
constexpr int firstCodecOffset = 36;
constexpr int numCodecs = 7;
constexpr float cpuLimit = 100.0f;
constexpr float bytesPerMillion = 1000000.0f;

SampleFrame::Verdict classify(const QByteArray& frame)
{
    return SampleFrame::classifyCurrentOnly(frame, frameSize);
}

float millionsOfBytes(qint32 bytes)
{
    return float(bytes) / bytesPerMillion;
}

} // namespace

StatsHistory::StatsHistory(ProfilerNetwork* network)
    : QObject(nullptr), network(network), snapshotList(new QList<StatsSnapshot>), maxChannels(0),
      maxCodecs(0)
{
    if (network != nullptr) {
        connect(network, SIGNAL(packetReady()), this, SLOT(slotPacketArrived()));
    }
}

StatsHistory::~StatsHistory()
{
    delete snapshotList;
}

void StatsHistory::processPackets(const QList<QByteArray>& frames)
{
    const int accepted = SampleFrame::runPass(
        frames, snapshotList, maxSnapshots, classify,
        [this](const QByteArray& frame) { return decodeAndTakeLimits(frame); },
        [this](const QString& status) { Q_EMIT statusChanged(status); });
    if (accepted != 0) {
        rebuildStatistics();
        Q_EMIT historyUpdated(qMin(accepted, int(snapshotList->size())));
    }
}

float StatsHistory::seriesValue(const StatsSnapshot& snapshot, int index)
{
    switch (index) {
    case SeriesDSP:
        return snapshot.dsp;
    case SeriesStream:
        return snapshot.stream;
    case SeriesUpdate:
        return snapshot.update;
    case SeriesGeometry:
        return snapshot.geometry;
    case SeriesTotal:
        return snapshot.total;
    case SeriesReal:
        return snapshot.realCount;
    case SeriesVirtual:
        return snapshot.virtualCount;
    case SeriesPlaying:
        return snapshot.playingCount;
    case SeriesADPCM:
        return snapshot.adpcmCount;
    case SeriesZADPCM:
        return snapshot.zadpcmCount;
    case SeriesMPEG:
        return snapshot.mpegCount;
    case SeriesVorbis:
        return snapshot.vorbisCount;
    case SeriesXMA:
        return snapshot.xmaCount;
    case SeriesAT9:
        return snapshot.at9Count;
    case SeriesPCM:
        return snapshot.pcmCount;
    case SeriesMemory:
        return snapshot.memory;
    default:
        return 0.0f;
    }
}

// Reads one frame whose length has been checked, and takes its limits into
// seriesStats, maxChannels and maxCodecs. Only the limits of the newest accepted
// frame of a pass survive it; the other statistics wait for the end of the pass.
StatsSnapshot StatsHistory::decodeAndTakeLimits(const QByteArray& frame)
{
    using SampleFrame::readFloat;
    using SampleFrame::readInt16;
    StatsSnapshot snapshot;
    snapshot.dsp = readFloat(frame, 12);
    snapshot.stream = readFloat(frame, 16);
    snapshot.update = readFloat(frame, 20);
    snapshot.geometry = readFloat(frame, 24);
    float total = snapshot.geometry + snapshot.dsp;
    total += snapshot.stream;
    total += snapshot.update;
    snapshot.total = total;
    for (int i = SeriesDSP; i <= SeriesTotal; ++i) {
        seriesStats[i].limit = cpuLimit;
    }

    snapshot.realCount = readInt16(frame, 28);
    snapshot.virtualCount = readInt16(frame, 32);
    snapshot.playingCount = qint16(quint16(snapshot.realCount) + quint16(snapshot.virtualCount));
    seriesStats[SeriesReal].limit = readInt16(frame, 30);
    maxChannels = readInt16(frame, 34);
    seriesStats[SeriesVirtual].limit = maxChannels;
    seriesStats[SeriesPlaying].limit = maxChannels;

    qint16* const counts[numCodecs] = {
        &snapshot.adpcmCount, &snapshot.zadpcmCount, &snapshot.mpegCount, &snapshot.vorbisCount,
        &snapshot.xmaCount,   &snapshot.at9Count,    &snapshot.pcmCount};
    qint16 largestCodecLimit = std::numeric_limits<qint16>::min();
    for (int i = 0; i < numCodecs; ++i) {
        *counts[i] = readInt16(frame, firstCodecOffset + 4 * i);
        const qint16 limit = readInt16(frame, firstCodecOffset + 4 * i + 2);
        seriesStats[SeriesADPCM + i].limit = limit;
        largestCodecLimit = qMax(largestCodecLimit, limit);
    }
    maxCodecs = largestCodecLimit;

    snapshot.memory = millionsOfBytes(SampleFrame::readInt32(frame, 64));
    seriesStats[SeriesMemory].limit = millionsOfBytes(SampleFrame::readInt32(frame, 68));
    return snapshot;
}

// Over the whole list, not just this pass's snapshots. The maximum starts from 0.0, so
// a series that stays below zero reports 0.0; the minimum starts from the largest
// finite float.
void StatsHistory::rebuildStatistics()
{
    for (SeriesStats& stats : seriesStats) {
        stats.minimum = std::numeric_limits<float>::max();
        stats.maximum = 0.0f;
        stats.average = 0.0f;
    }
    for (const StatsSnapshot& snapshot : *snapshotList) {
        for (int i = 0; i < numSeries; ++i) {
            const float value = seriesValue(snapshot, i);
            SeriesStats& stats = seriesStats[i];
            if (value > stats.maximum) {
                stats.maximum = value;
            }
            if (!(value > stats.minimum)) {
                stats.minimum = value;
            }
            stats.average += value;
        }
    }
    const float count = float(snapshotList->size());
    for (SeriesStats& stats : seriesStats) {
        stats.average /= count;
    }
}

void StatsHistory::slotPacketArrived()
{
    processPackets(SampleFrame::takeAll(network, packetKind, packetSubKind));
}
