#pragma once

#include "SimGroup.h"
#include "SimNode.h"

#include <QHash>
#include <QList>
#include <vector>

// The simulated DSP network: units, their inputs and the group table. Node 0
// is the root. A few units can be short-lived ("transient"): they are the last
// ones in the list, all feed one host unit, and are replaced as a set.
class SimNetwork
{
public:
    // The widest fan-in that every snapshot version can carry: version 6 has
    // a 16-bit input count.
    static constexpr int maxInputs = 65535;

    int addNode(const SimNode& node);
    // Connects `from` as the next input of `to`. Refused (false) past maxInputs.
    bool addInput(int to, int from, bool send = false, bool sidechain = false);
    void addGroup(const SimGroup& group) { groupList.append(group); }

    int nodeCount() const { return int(nodes.size()); }
    const SimNode& node(int index) const { return nodes[size_t(index)]; }
    SimNode& node(int index) { return nodes[size_t(index)]; }
    int indexOf(quint64 id) const { return idIndex.value(id, -1); }
    const QList<SimGroup>& groups() const { return groupList; }
    // Records of a snapshot: one per reachable unit and one per repeated input.
    int recordUpperBound() const;

    // The unit that transient units feed; must be set before they are added.
    void setTransientHost(int host);
    int transientHost() const { return host; }
    // Replaces the transient units by `transients`, unless their ids are the
    // same as now: then the present ones stay, with any command applied to them.
    void setTransients(const QList<SimNode>& transients);
    int transientCount() const { return nodeCount() - transientStart; }

    // Commands of the profiler. False when no unit has this id.
    bool setActive(quint64 id, bool active);
    bool setBypass(quint64 id, bool bypass);

    // Moves every unit's time and levels to the moment `seconds`, with
    // `loudness` from 0 (the quiet moment) to 1 (the loud moment).
    void advance(double seconds, float loudness);
    quint64 totalTime() const { return total; }

private:
    std::vector<SimNode> nodes;
    QHash<quint64, int> idIndex;
    QList<SimGroup> groupList;
    int host = -1;
    int hostStaticInputs = 0;
    int transientStart = 0;
    quint64 total = 0;
};
