#include "FloodStream.h"

#include "SimFrameWriter.h"
#include "SimTarget.h"

#include <QList>

namespace {

// The order in which the simulated target serves its subscriptions when all
// of them are due at once, then the two that are due again 100 ms later.
const QList<quint8> subscriptionKinds = {1, 7, 3, 4, 5, 9, 1, 7};
const QList<quint8> sampleKinds = {3, 4, 5, 9};

QByteArray frameOf(const SimTarget& target, quint8 kind)
{
    switch (kind) {
    case 1:
        return target.snapshot(6);
    case 7:
        return target.groupTable();
    case 3:
        return SimFrameWriter::cpu(target.sample(), 1);
    case 4:
        return SimFrameWriter::channels(target.sample());
    case 5:
        return SimFrameWriter::codecs(target.sample());
    default:
        return SimFrameWriter::stats(target.sample());
    }
}

} // namespace

FloodStream::FloodStream(int units, int rounds, Mix mix) : frames(0)
{
    SimTarget target(SimShape::Mixer, units, true);
    const QList<quint8>& roundKinds = mix == Subscriptions ? subscriptionKinds : sampleKinds;
    for (int round = 0; round < rounds; ++round) {
        target.advanceTo(qint64(round) * SimTarget::stepMilliseconds);
        for (quint8 kind : roundKinds) {
            stream += frameOf(target, kind);
            ++frames;
        }
    }
}

QByteArray FloodStream::endFrame()
{
    return SimFrameWriter::frame(endKind, 0, 0, 0);
}
