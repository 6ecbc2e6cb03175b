#pragma once

#include "SimNetwork.h"
#include "SimOptions.h"
#include "SimSample.h"

#include <QByteArray>
#include <QElapsedTimer>

// The simulated application: its DSP network and its load, moving with a
// clock of its own. Every frame built between two steps of the clock comes
// from the same moment, so the packets agree with each other.
class SimTarget
{
public:
    // Blocks of 1024 samples at 48 kHz last 21333 microseconds: the budget
    // against which the units' times (in microseconds) are a CPU share.
    static constexpr qint32 sampleRate = 48000;
    static constexpr qint32 blockLength = 1024;
    static constexpr int stepMilliseconds = 50;

    SimTarget(SimShape shape, int nodes, bool hasGeometry);

    // Moves to the current step of the clock; nothing to do within a step.
    void advance();
    // Moves to the step of `milliseconds` since the start.
    void advanceTo(qint64 milliseconds);

    SimNetwork* network() { return &net; }
    // Share of one block's time that the network took, 1.0 being all of it.
    float dspShare() const;
    const SimSample& sample() const { return current; }

    QByteArray snapshot(int version) const;
    QByteArray groupTable() const;

private:
    SimNetwork net;
    QElapsedTimer clock;
    qint64 step = -1;
    bool geometry;
    SimSample current;
};
