#pragma once

#include "SimSample.h"

// The load of the simulated application over time: how loud the mix is, and
// the channel, codec, CPU and memory figures that go with it.
class SimLoad
{
public:
    // From 0 at the quiet moment to 1 at the loud moment; one round takes
    // 30 seconds, and the start lies between the two.
    static float loudness(double seconds);
    // Everything that the sample packets carry at `seconds`. `dspPercent`
    // comes from the DSP network, so that the CPU figures agree with the
    // snapshots; a target without geometry (CPU version 0) reports 0 for it.
    static SimSample sampleAt(double seconds, float dspPercent, bool hasGeometry);
};
