#include "ChannelHistory.h"

#include "ProfilerNetwork.h"
#include "SampleFrame.h"

namespace {

// Six 32-bit values behind the header.
constexpr int frameSize = 36;

SampleFrame::Verdict classify(const QByteArray& frame)
{
    return SampleFrame::classifyCurrentOnly(frame, frameSize);
}

ChannelSnapshot decode(const QByteArray& frame)
{
    using SampleFrame::readInt32;
    using SampleFrame::wrappingAdd;
    ChannelSnapshot snapshot;
    snapshot.hardwareCount = readInt32(frame, 12);
    snapshot.hardwareLimit = readInt32(frame, 16);
    snapshot.softwareCount = readInt32(frame, 20);
    snapshot.softwareLimit = readInt32(frame, 24);
    snapshot.virtualCount = readInt32(frame, 28);
    snapshot.virtualLimit = readInt32(frame, 32);
    snapshot.realCount = wrappingAdd(snapshot.hardwareCount, snapshot.softwareCount);
    snapshot.realLimit = wrappingAdd(snapshot.hardwareLimit, snapshot.softwareLimit);
    snapshot.playingCount = wrappingAdd(snapshot.realCount, snapshot.virtualCount);
    snapshot.playingLimit = snapshot.virtualLimit;
    return snapshot;
}

} // namespace

ChannelHistory::ChannelHistory(ProfilerNetwork* network)
    : QObject(nullptr), network(network), snapshotList(new QList<ChannelSnapshot>), maximumLimit(0)
{
    if (network != nullptr) {
        connect(network, SIGNAL(packetReady()), this, SLOT(slotPacketArrived()));
    }
}

ChannelHistory::~ChannelHistory()
{
    delete snapshotList;
}

void ChannelHistory::processPackets(const QList<QByteArray>& frames)
{
    // The newest accepted frame of a pass is always decoded, so the limit ends on it.
    const auto decodeAndTakeLimit = [this](const QByteArray& frame) {
        const ChannelSnapshot snapshot = decode(frame);
        maximumLimit = snapshot.virtualLimit;
        return snapshot;
    };
    const int accepted =
        SampleFrame::runPass(frames, snapshotList, maxSnapshots, classify, decodeAndTakeLimit,
                             [this](const QString& status) { Q_EMIT statusChanged(status); });
    if (accepted != 0) {
        Q_EMIT historyUpdated(qMin(accepted, int(snapshotList->size())));
    }
}

void ChannelHistory::slotPacketArrived()
{
    processPackets(SampleFrame::takeAll(network, packetKind, packetSubKind));
}
