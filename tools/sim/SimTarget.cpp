#include "SimTarget.h"

#include "SimFrameWriter.h"
#include "SimLoad.h"
#include "SimShapeBuilder.h"

SimTarget::SimTarget(SimShape shape, int nodes, bool hasGeometry) : geometry(hasGeometry)
{
    SimShapeBuilder::build(&net, shape, nodes);
    clock.start();
    advanceTo(0);
}

void SimTarget::advance()
{
    advanceTo(clock.elapsed());
}

void SimTarget::advanceTo(qint64 milliseconds)
{
    const qint64 now = milliseconds / stepMilliseconds;
    if (now == step)
        return;
    step = now;
    const double seconds = double(now * stepMilliseconds) / 1000.0;
    if (net.transientHost() >= 0)
        net.setTransients(SimShapeBuilder::shotsAt(seconds, net.node(net.transientHost()).groupId));
    net.advance(seconds, SimLoad::loudness(seconds));
    current = SimLoad::sampleAt(seconds, 100.0f * dspShare(), geometry);
}

float SimTarget::dspShare() const
{
    const double budget = double(blockLength) * 1e6 / double(sampleRate);
    return float(double(net.totalTime()) / budget);
}

QByteArray SimTarget::snapshot(int version) const
{
    return SimFrameWriter::snapshot(net, version, dspShare(), sampleRate, blockLength);
}

QByteArray SimTarget::groupTable() const
{
    return SimFrameWriter::groupTable(net.groups());
}
