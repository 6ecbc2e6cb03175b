#include "SimNetwork.h"

#include <algorithm>
#include <cmath>

namespace {

// Every unit swings around its base time with this period and depth.
const double timePeriodSeconds = 7.0;
const float timeSwing = 0.35f;
// Below this a level is silence, and so it is sent.
const float silenceDb = -80.0f;

} // namespace

int SimNetwork::addNode(const SimNode& node)
{
    const int index = nodeCount();
    nodes.push_back(node);
    idIndex.insert(node.id, index);
    if (host < 0)
        transientStart = nodeCount();
    return index;
}

bool SimNetwork::addInput(int to, int from, bool send, bool sidechain)
{
    SimNode& target = node(to);
    if (target.inputs.size() >= maxInputs)
        return false;
    target.inputs.append(SimInput{from, send, sidechain});
    return true;
}

int SimNetwork::recordUpperBound() const
{
    qint64 records = nodes.empty() ? 0 : 1;
    for (const SimNode& n : nodes)
        records += n.inputs.size();
    return int(records);
}

void SimNetwork::setTransientHost(int index)
{
    host = index;
    hostStaticInputs = int(node(index).inputs.size());
    transientStart = nodeCount();
}

void SimNetwork::setTransients(const QList<SimNode>& transients)
{
    if (host < 0)
        return;
    bool same = transients.size() == transientCount();
    for (int i = 0; same && i < transients.size(); ++i)
        same = transients[i].id == node(transientStart + i).id;
    if (same)
        return;
    for (int i = transientStart; i < nodeCount(); ++i)
        idIndex.remove(node(i).id);
    nodes.resize(size_t(transientStart));
    node(host).inputs.resize(hostStaticInputs);
    for (const SimNode& transient : transients) {
        const int index = nodeCount();
        nodes.push_back(transient);
        idIndex.insert(transient.id, index);
        addInput(host, index);
    }
}

bool SimNetwork::setActive(quint64 id, bool active)
{
    const int index = indexOf(id);
    if (index < 0)
        return false;
    node(index).active = active;
    return true;
}

bool SimNetwork::setBypass(quint64 id, bool bypass)
{
    const int index = indexOf(id);
    if (index < 0)
        return false;
    node(index).bypass = bypass;
    return true;
}

void SimNetwork::advance(double seconds, float loudness)
{
    const double omega = 2.0 * M_PI / timePeriodSeconds;
    // The mix level runs from -48 dB at the quiet moment to +4 dB, over full
    // scale, at the loud moment.
    const float mixDb = -48.0f + 52.0f * std::sqrt(loudness);
    const float load = 0.8f + 0.4f * loudness;
    total = 0;
    for (SimNode& n : nodes) {
        if (!n.active) {
            n.time = 0;
            n.levelDb = silenceDb;
            continue;
        }
        const float wave = float(std::sin(omega * seconds + n.phase));
        if (n.bypass) {
            // A bypassed unit passes its input through and costs next to nothing.
            n.time = quint32(n.timeDither + 0.5f);
            n.levelDb = mixDb + n.levelOffset;
        } else {
            const float time = n.baseTime * (1.0f + timeSwing * wave) * load + n.timeDither;
            n.time = quint32(std::max(0.0f, time));
            n.levelDb = mixDb + n.levelOffset + 1.5f * wave;
        }
        if (n.levelDb < silenceDb)
            n.levelDb = silenceDb;
        total += n.time;
    }
}
