#include "CPUHistory.h"

#include "ProfilerNetwork.h"
#include "SampleFrame.h"

namespace {

// Version 0 carries dsp, stream and update; version 1 adds geometry behind them.
constexpr int version0FrameSize = 24;
constexpr int version1FrameSize = 28;

SampleFrame::Verdict classify(const QByteArray& frame)
{
    using SampleFrame::Verdict;
    if (frame.size() <= SampleFrame::versionOffset) {
        return Verdict::Drop;
    }
    switch (quint8(frame.at(SampleFrame::versionOffset))) {
    case 0:
        return frame.size() >= version0FrameSize ? Verdict::AcceptOld : Verdict::Drop;
    case 1:
        return frame.size() >= version1FrameSize ? Verdict::Accept : Verdict::Drop;
    default:
        return Verdict::Refuse;
    }
}

CPUSnapshot decode(const QByteArray& frame)
{
    CPUSnapshot snapshot;
    snapshot.dsp = SampleFrame::readFloat(frame, 12);
    snapshot.stream = SampleFrame::readFloat(frame, 16);
    snapshot.update = SampleFrame::readFloat(frame, 20);
    if (quint8(frame.at(SampleFrame::versionOffset)) >= 1) {
        snapshot.geometry = SampleFrame::readFloat(frame, 24);
    }
    // Step by step, so that every partial sum is rounded to single precision.
    float total = snapshot.stream + snapshot.dsp;
    total += snapshot.geometry;
    total += snapshot.update;
    snapshot.total = total;
    return snapshot;
}

} // namespace

CPUHistory::CPUHistory(ProfilerNetwork* network)
    : QObject(nullptr), network(network), snapshotList(new QList<CPUSnapshot>)
{
    if (network != nullptr) {
        connect(network, SIGNAL(packetReady()), this, SLOT(slotPacketArrived()));
    }
}

CPUHistory::~CPUHistory()
{
    delete snapshotList;
}

void CPUHistory::processPackets(const QList<QByteArray>& frames)
{
    const int accepted =
        SampleFrame::runPass(frames, snapshotList, maxSnapshots, classify, decode,
                             [this](const QString& status) { Q_EMIT statusChanged(status); });
    if (accepted != 0) {
        Q_EMIT historyUpdated(qMin(accepted, int(snapshotList->size())));
    }
}

void CPUHistory::slotPacketArrived()
{
    processPackets(SampleFrame::takeAll(network, packetKind, packetSubKind));
}
