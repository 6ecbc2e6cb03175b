#include "CodecHistory.h"

#include "ProfilerNetwork.h"
#include "SampleFrame.h"

namespace {

// Eight 32-bit values behind the header.
constexpr int frameSize = 44;

SampleFrame::Verdict classify(const QByteArray& frame)
{
    return SampleFrame::classifyCurrentOnly(frame, frameSize);
}

CodecSnapshot decode(const QByteArray& frame)
{
    using SampleFrame::readInt32;
    CodecSnapshot snapshot;
    snapshot.mpegCount = readInt32(frame, 12);
    snapshot.mpegLimit = readInt32(frame, 16);
    snapshot.adpcmCount = readInt32(frame, 20);
    snapshot.adpcmLimit = readInt32(frame, 24);
    snapshot.xmaCount = readInt32(frame, 28);
    snapshot.xmaLimit = readInt32(frame, 32);
    snapshot.pcmCount = readInt32(frame, 36);
    snapshot.pcmLimit = readInt32(frame, 40);
    return snapshot;
}

// The spin box range of the codec tab: never negative, even if every limit is.
int largestLimit(const CodecSnapshot& snapshot)
{
    return qMax(qMax(0, snapshot.mpegLimit),
                qMax(qMax(snapshot.adpcmLimit, snapshot.xmaLimit), snapshot.pcmLimit));
}

} // namespace

CodecHistory::CodecHistory(ProfilerNetwork* network)
    : QObject(nullptr), network(network), snapshotList(new QList<CodecSnapshot>), maximumLimit(0)
{
    if (network != nullptr) {
        connect(network, SIGNAL(packetReady()), this, SLOT(slotPacketArrived()));
    }
}

CodecHistory::~CodecHistory()
{
    delete snapshotList;
}

void CodecHistory::processPackets(const QList<QByteArray>& frames)
{
    // The newest accepted frame of a pass is always decoded, so the limit ends on it
    // rather than on the largest value seen in the pass.
    const auto decodeAndTakeLimit = [this](const QByteArray& frame) {
        const CodecSnapshot snapshot = decode(frame);
        maximumLimit = largestLimit(snapshot);
        return snapshot;
    };
    const int accepted =
        SampleFrame::runPass(frames, snapshotList, maxSnapshots, classify, decodeAndTakeLimit,
                             [this](const QString& status) { Q_EMIT statusChanged(status); });
    if (accepted != 0) {
        Q_EMIT historyUpdated(qMin(accepted, int(snapshotList->size())));
    }
}

void CodecHistory::slotPacketArrived()
{
    processPackets(SampleFrame::takeAll(network, packetKind, packetSubKind));
}
