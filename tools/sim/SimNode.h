#pragma once

#include <QByteArray>
#include <QList>

// One input of a simulated unit: the unit that feeds it, as an index into the
// network's list, and the kind of connection. The two flags travel in the
// record of the input, whether that record is the input's first or a repeat.
struct SimInput
{
    int node = 0;
    bool send = false;
    bool sidechain = false;
};

// One unit of the simulated DSP network. The first block is what the unit is;
// the last two fields are what it does at the current moment, set by
// SimNetwork::advance (or directly, when a test wants exact bytes).
struct SimNode
{
    quint64 id = 0;
    quint64 groupId = 0;
    quint64 sendTargetId = 0;
    QByteArray name; // UTF-8, at most 31 bytes so that the zero byte always fits
    bool active = true;
    bool bypass = false;
    quint8 channels = 2;    // number of level values, at most 32
    float baseTime = 0;     // microseconds of own work per block, middle of its swing
    float timeDither = 0;   // in [0, 1): keeps the sum over many tiny units right
    float phase = 0;        // radians: every unit swings at its own moment
    float levelOffset = 0;  // decibels relative to the mix level
    float balanceDb = 0;    // odd channels are this much quieter than even ones
    QList<SimInput> inputs; // in the order in which the records travel

    quint32 time = 0;       // microseconds of own work in the current block
    float levelDb = -80.0f; // level of the even channels; -80 or below is silence

    float channelLevel(int channel) const { return channel % 2 ? levelDb - balanceDb : levelDb; }
};
