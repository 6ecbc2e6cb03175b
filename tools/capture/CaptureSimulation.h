#pragma once

#include <QtGlobal>

class CaptureWriter;
class SimTarget;

// Writes what the relay would record from the simulated target at the
// profiler's own rates (the network and the group table every 100 ms, the
// four samples every 200 ms), without sockets or waiting: for benchmarks that
// need an hour of session in seconds, and for fuzz seeds.
class CaptureSimulation
{
public:
    // The six subscriptions at `startMs`, then every frame due before `endMs`.
    static void write(CaptureWriter* writer, SimTarget* target, qint64 startMs, qint64 endMs);
    // The frames of one step of 100 ms, beginning at `ms`.
    static void writeStep(CaptureWriter* writer, SimTarget* target, qint64 ms);
};
