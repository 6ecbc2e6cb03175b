#pragma once

#include "SimNode.h"
#include "SimOptions.h"

class SimNetwork;

// Builds the networks that the simulated target runs: a plausible game mix,
// and four shapes that stress the profiler's layout and walks.
class SimShapeBuilder
{
public:
    // Fills an empty network. `nodes` 0 gives the shape's natural size; the
    // mixer never gets smaller than its base mix.
    static void build(SimNetwork* network, SimShape shape, int nodes);
    // The short-lived units of the mixer (gun shots) alive at `seconds`.
    static QList<SimNode> shotsAt(double seconds, quint64 groupId);

    static quint64 nodeId(int index);
    static quint64 groupId(int index);
};
