#include "SimShapeBuilder.h"

#include "SimNetwork.h"

#include <QUuid>
#include <cmath>

namespace {

// Ids look like the addresses that a real target would send. Their low 32
// bits have the top bit set, so that versions 0 and 1, which carry 32-bit
// ids, show how the profiler widens them.
const quint64 nodeIdBase = Q_UINT64_C(0x00007F3A80001000);
const quint64 groupIdBase = Q_UINT64_C(0x00007F3A90000000);
const quint64 shotIdBase = Q_UINT64_C(0x00007F3AC0000000);
// CPU work of the extra units of a large network, microseconds per block in
// all: whatever the size, the DSP load stays near that of the base mix.
const float extraWorkMicroseconds = 6000.0f;
const double shotSpacingSeconds = 1.3;
const double shotLifeSeconds = 3.1;
const int busWidth = 16;

enum MixerGroup
{
    Master,
    Music,
    Sfx,
    Weapons,
    Ambience,
    Dialogue,
    Reverb,
    Ui,
    Crowd,
    GroupCount
};

struct GroupInfo
{
    const char* name;
    int parent; // -1: top level
    bool hasGuid;
};

const GroupInfo mixerGroups[GroupCount] = {
    {"Master", -1, true},      {"Music", Master, true}, {"SFX", Master, true},
    {"Weapons", Sfx, true},    {"Ambience", Sfx, true}, {"Dialogue", Master, true},
    {"Reverb", Master, false}, {"UI", Master, true},    {"Crowd", Sfx, true},
};

struct MixerUnit
{
    const char* name;
    MixerGroup group;
    float time;
    int channels;
    float levelOffset;
    bool active;
    bool bypass;
};

const MixerUnit mixerUnits[] = {
    {"Master Fader", Master, 25, 6, 0, true, false},
    {"Master Limiter", Master, 160, 6, 0, true, false},
    {"Master Mixer", Master, 40, 6, 0, true, false},
    {"Music Ducker", Music, 220, 2, -6, true, false},
    {"Music Fader", Music, 20, 2, -6, true, false},
    {"Music Stream A", Music, 140, 2, -9, true, false},
    {"Music Stream B", Music, 140, 2, -12, true, false},
    {"Music Stinger", Music, 90, 2, -8, false, false},
    {"SFX Fader", Sfx, 20, 2, -3, true, false},
    {"SFX Lowpass", Sfx, 70, 2, -3, true, true},
    {"Weapons Fader", Weapons, 20, 2, -4, true, false},
    {"Rifle Channel", Weapons, 60, 2, -8, true, false},
    {"Pistol Channel", Weapons, 60, 1, -10, true, false},
    {"Footsteps Fader", Sfx, 20, 2, -10, true, false},
    {"Footsteps Send", Sfx, 15, 2, -10, true, false},
    {"Footsteps Channel", Sfx, 45, 1, -12, true, false},
    {"Ambience Fader", Ambience, 20, 2, -14, true, false},
    {"Ambience Send", Ambience, 15, 2, -14, true, false},
    {"Ambience Mixer", Ambience, 30, 2, -14, true, false},
    {"Wind Channel", Ambience, 50, 2, -16, true, false},
    {"Birds Channel", Ambience, 50, 2, -20, false, false},
    {"River Channel", Ambience, 50, 2, -18, true, false},
    {"Rain Channel", Ambience, 50, 2, -18, true, false},
    {"Crickets Channel", Ambience, 50, 2, -24, true, false},
    {"Dialogue Fader", Dialogue, 20, 1, -4, true, false},
    {"Dialogue EQ", Dialogue, 80, 1, -4, true, false},
    {"Dialogue Line 1", Dialogue, 60, 1, -6, true, false},
    {"Dialogue Line 2", Dialogue, 60, 1, -9, true, false},
    {"Reverb", Reverb, 900, 2, -16, true, false},
    {"Reverb Return", Reverb, 30, 2, -16, true, false},
    {"Echo Delay", Reverb, 300, 2, -20, true, false},
    {"Echo Feedback", Reverb, 35, 2, -26, true, false},
    {"UI Fader", Ui, 20, 2, -12, true, false},
    {"UI Click", Ui, 60, 2, -14, true, false},
    {"UI Hover", Ui, 60, 2, -14, false, false},
};

enum Flag
{
    Plain,
    Send,
    Sidechain
};

struct MixerLink
{
    const char* to;
    const char* from;
    Flag flag;
};

// The input order is the order of the records: the dialogue fader is first
// met as the ducker's sidechain and later repeated as an input of the mixer;
// the sends are first met in their channels and repeated, flagged, at the
// reverb's return; the echo feeds itself back.
const MixerLink mixerLinks[] = {
    {"Master Fader", "Master Limiter", Plain},
    {"Master Limiter", "Master Mixer", Plain},
    {"Master Mixer", "Music Ducker", Plain},
    {"Master Mixer", "SFX Fader", Plain},
    {"Master Mixer", "Dialogue Fader", Plain},
    {"Master Mixer", "Reverb", Plain},
    {"Master Mixer", "Echo Delay", Plain},
    {"Master Mixer", "UI Fader", Plain},
    {"Music Ducker", "Music Fader", Plain},
    {"Music Ducker", "Dialogue Fader", Sidechain},
    {"Music Fader", "Music Stream A", Plain},
    {"Music Fader", "Music Stream B", Plain},
    {"Music Fader", "Music Stinger", Plain},
    {"Dialogue Fader", "Dialogue EQ", Plain},
    {"Dialogue EQ", "Dialogue Line 1", Plain},
    {"Dialogue EQ", "Dialogue Line 2", Plain},
    {"SFX Fader", "SFX Lowpass", Plain},
    {"SFX Lowpass", "Weapons Fader", Plain},
    {"SFX Lowpass", "Footsteps Fader", Plain},
    {"SFX Lowpass", "Ambience Fader", Plain},
    {"Weapons Fader", "Rifle Channel", Plain},
    {"Weapons Fader", "Pistol Channel", Plain},
    {"Footsteps Fader", "Footsteps Send", Plain},
    {"Footsteps Send", "Footsteps Channel", Plain},
    {"Ambience Fader", "Ambience Send", Plain},
    {"Ambience Send", "Ambience Mixer", Plain},
    {"Ambience Mixer", "Wind Channel", Plain},
    {"Ambience Mixer", "Birds Channel", Plain},
    {"Ambience Mixer", "River Channel", Plain},
    {"Ambience Mixer", "Rain Channel", Plain},
    {"Ambience Mixer", "Crickets Channel", Plain},
    {"Reverb", "Reverb Return", Plain},
    {"Reverb Return", "Footsteps Send", Send},
    {"Reverb Return", "Ambience Send", Send},
    {"Echo Delay", "Echo Feedback", Plain},
    {"Echo Delay", "Pistol Channel", Plain},
    {"Echo Feedback", "Echo Delay", Plain},
    {"UI Fader", "UI Click", Plain},
    {"UI Fader", "UI Hover", Plain},
};

// A fixed pseudo-random number in [0, 1) for every unit, so that a network is
// the same on every run.
float unitNoise(quint64 index, quint64 salt)
{
    quint64 z = index * Q_UINT64_C(0x9E3779B97F4A7C15) + salt;
    z = (z ^ (z >> 30)) * Q_UINT64_C(0xBF58476D1CE4E5B9);
    z = (z ^ (z >> 27)) * Q_UINT64_C(0x94D049BB133111EB);
    z ^= z >> 31;
    return float(z >> 40) / float(1 << 24);
}

SimNode makeUnit(int index, const QByteArray& name, quint64 group, float time, int channels,
                 float levelOffset)
{
    SimNode node;
    node.id = SimShapeBuilder::nodeId(index);
    node.groupId = group;
    node.name = name;
    node.baseTime = time;
    node.timeDither = unitNoise(quint64(index), 1);
    node.phase = float(2.0 * M_PI) * unitNoise(quint64(index), 2);
    node.channels = quint8(channels);
    node.levelOffset = levelOffset;
    node.balanceDb = channels > 1 ? 3.0f * unitNoise(quint64(index), 3) : 0.0f;
    return node;
}

int addUnit(SimNetwork* network, const QByteArray& name, quint64 group, float time, int channels,
            float levelOffset)
{
    return network->addNode(
        makeUnit(network->nodeCount(), name, group, time, channels, levelOffset));
}

void addMixerGroups(SimNetwork* network)
{
    // A fixed namespace keeps the GUIDs the same from run to run.
    const QUuid space(QStringLiteral("{3c1d7e52-5a0b-4c7e-9d55-2f6f1b0e8a41}"));
    for (int g = 0; g < GroupCount; ++g) {
        SimGroup group;
        group.id = SimShapeBuilder::groupId(g);
        group.parentId =
            mixerGroups[g].parent < 0 ? 0 : SimShapeBuilder::groupId(mixerGroups[g].parent);
        group.name = mixerGroups[g].name;
        if (mixerGroups[g].hasGuid)
            group.guid = QUuid::createUuidV5(space, group.name);
        network->addGroup(group);
    }
}

int mixerIndex(const SimNetwork& network, const char* name)
{
    for (int i = 0; i < network.nodeCount(); ++i) {
        if (network.node(i).name == name)
            return i;
    }
    return -1;
}

// Units needed above `voices` leaves to mix them down in buses of busWidth.
int busesFor(int voices)
{
    int buses = 0;
    for (int level = voices; level > busWidth; level = (level + busWidth - 1) / busWidth)
        buses += (level + busWidth - 1) / busWidth;
    return buses;
}

// Adds a crowd of voices, mixed down in buses of busWidth, under one fader
// that feeds `parent`, so that the mixer grows to `total` units.
void addCrowd(SimNetwork* network, int parent, int total)
{
    const int room = total - network->nodeCount() - 1;
    if (room < 1)
        return;
    int voices = room - busesFor(room);
    while (voices + 1 + busesFor(voices + 1) <= room)
        ++voices;
    const quint64 group = SimShapeBuilder::groupId(Crowd);
    const int fader = addUnit(network, "Crowd Fader", group, 20, 2, -18);
    network->addInput(parent, fader);
    QList<int> level;
    const float voiceTime = extraWorkMicroseconds / float(voices);
    for (int v = 0; v < voices; ++v)
        level.append(
            addUnit(network, "Crowd Voice " + QByteArray::number(v + 1), group, voiceTime, 1, -30));
    int busNumber = 0;
    while (level.size() > busWidth) {
        QList<int> next;
        for (int first = 0; first < level.size(); first += busWidth) {
            const int bus =
                addUnit(network, "Crowd Bus " + QByteArray::number(++busNumber), group, 2, 2, -24);
            for (int i = first; i < qMin(first + busWidth, int(level.size())); ++i)
                network->addInput(bus, level[i]);
            next.append(bus);
        }
        level = next;
    }
    for (int input : level)
        network->addInput(fader, input);
}

void buildMixer(SimNetwork* network, int nodes)
{
    addMixerGroups(network);
    for (const MixerUnit& unit : mixerUnits) {
        const int index = addUnit(network, unit.name, SimShapeBuilder::groupId(unit.group),
                                  unit.time, unit.channels, unit.levelOffset);
        network->node(index).active = unit.active;
        network->node(index).bypass = unit.bypass;
    }
    const quint64 returnId = network->node(mixerIndex(*network, "Reverb Return")).id;
    network->node(mixerIndex(*network, "Footsteps Send")).sendTargetId = returnId;
    network->node(mixerIndex(*network, "Ambience Send")).sendTargetId = returnId;
    for (const MixerLink& link : mixerLinks)
        network->addInput(mixerIndex(*network, link.to), mixerIndex(*network, link.from),
                          link.flag == Send, link.flag == Sidechain);
    addCrowd(network, mixerIndex(*network, "SFX Lowpass"), nodes);
    network->setTransientHost(mixerIndex(*network, "Weapons Fader"));
}

// Groups of the stress shapes: one top group and a nested group for every
// thousand units, each inside the one before, as deep as the chain is long.
void addBlockGroups(SimNetwork* network, int nodes)
{
    const QUuid space(QStringLiteral("{8f0c2b1e-7d44-4b8a-a6f1-0c9e5d3b2a77}"));
    const int blocks = (nodes + 999) / 1000;
    for (int b = 0; b <= blocks; ++b) {
        SimGroup group;
        group.id = SimShapeBuilder::groupId(b);
        group.parentId = b == 0 ? 0 : SimShapeBuilder::groupId(b == 1 ? 0 : b - 1);
        group.name = b == 0 ? QByteArray("Stress") : "Block " + QByteArray::number(b);
        group.guid = QUuid::createUuidV5(space, group.name);
        network->addGroup(group);
    }
}

int addStressUnit(SimNetwork* network, const char* prefix, int total)
{
    const int index = network->nodeCount();
    return addUnit(network, prefix + QByteArray::number(index),
                   SimShapeBuilder::groupId(1 + index / 1000), extraWorkMicroseconds / float(total),
                   2, -6.0f - float(index % 24));
}

void buildChain(SimNetwork* network, int nodes, const char* prefix)
{
    int previous = addStressUnit(network, prefix, nodes);
    for (int i = 1; i < nodes; ++i) {
        const int unit = addStressUnit(network, prefix, nodes);
        network->addInput(previous, unit);
        previous = unit;
    }
}

// One mixer with every other unit as its input; past the widest fan-in that
// a record can carry, the sources go to hubs that feed the mixer.
void buildFanIn(SimNetwork* network, int nodes)
{
    const int root = addStressUnit(network, "Fan-in Mixer ", nodes);
    const int sources = nodes - 1;
    if (sources <= SimNetwork::maxInputs) {
        for (int i = 0; i < sources; ++i)
            network->addInput(root, addStressUnit(network, "Source ", nodes));
        return;
    }
    const int hubs = (sources + SimNetwork::maxInputs - 1) / SimNetwork::maxInputs;
    int left = sources - hubs;
    for (int h = 0; h < hubs; ++h) {
        const int hub = addStressUnit(network, "Hub ", nodes);
        network->addInput(root, hub);
        const int share = qMin(left, SimNetwork::maxInputs);
        for (int i = 0; i < share; ++i)
            network->addInput(hub, addStressUnit(network, "Source ", nodes));
        left -= share;
    }
}

// Diamonds one below the other: top <- a, b; a <- c; b <- d; d <- c; and c is
// the top of the next diamond. The bottom is first met by the short way, so
// that a walk that goes deeper when it meets a unit again has to go again.
void buildLadder(SimNetwork* network, int nodes)
{
    int top = addStressUnit(network, "Ladder ", nodes);
    while (network->nodeCount() + 4 <= nodes) {
        const int a = addStressUnit(network, "Ladder ", nodes);
        const int b = addStressUnit(network, "Ladder ", nodes);
        const int d = addStressUnit(network, "Ladder ", nodes);
        const int c = addStressUnit(network, "Ladder ", nodes);
        network->addInput(top, a);
        network->addInput(top, b);
        network->addInput(a, c);
        network->addInput(b, d);
        network->addInput(d, c);
        top = c;
    }
}

// A ring that closes on the root, with a shorter loop back every eighth unit
// and a unit that feeds itself in the middle.
void buildCycle(SimNetwork* network, int nodes)
{
    buildChain(network, nodes, "Cycle ");
    for (int i = 8; i < nodes; i += 8)
        network->addInput(i, i - 4, false, true);
    network->addInput(nodes - 1, 0);
    network->addInput(nodes / 2, nodes / 2);
}

} // namespace

void SimShapeBuilder::build(SimNetwork* network, SimShape shape, int nodes)
{
    // The natural sizes show each shape whole on one screen.
    static const int naturalSize[] = {0, 64, 12, 33, 16};
    const int count = nodes > 0 ? nodes : naturalSize[int(shape)];
    switch (shape) {
    case SimShape::Mixer:
        buildMixer(network, count);
        return;
    case SimShape::Chain:
        addBlockGroups(network, count);
        buildChain(network, count, "Chain ");
        return;
    case SimShape::FanIn:
        addBlockGroups(network, count);
        buildFanIn(network, count);
        return;
    case SimShape::Ladder:
        addBlockGroups(network, count);
        buildLadder(network, count);
        return;
    case SimShape::Cycle:
        addBlockGroups(network, count);
        buildCycle(network, count);
        return;
    }
}

QList<SimNode> SimShapeBuilder::shotsAt(double seconds, quint64 groupId)
{
    QList<SimNode> shots;
    if (seconds < 0)
        return shots;
    const qint64 last = qint64(std::floor(seconds / shotSpacingSeconds));
    const qint64 first =
        qMax<qint64>(0, qint64(std::floor((seconds - shotLifeSeconds) / shotSpacingSeconds)) + 1);
    for (qint64 k = first; k <= last; ++k) {
        SimNode shot =
            makeUnit(int(k % 1000000), "Shot " + QByteArray::number(k + 1), groupId, 70, 2, -8);
        shot.id = shotIdBase + quint64(k) * 0x40;
        shots.append(shot);
    }
    return shots;
}

quint64 SimShapeBuilder::nodeId(int index)
{
    return nodeIdBase + quint64(index) * 0x40;
}

quint64 SimShapeBuilder::groupId(int index)
{
    return groupIdBase + quint64(index) * 0x100;
}
