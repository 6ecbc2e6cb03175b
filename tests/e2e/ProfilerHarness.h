#ifndef PROFILERHARNESS_H
#define PROFILERHARNESS_H

#include <QObject>
#include <QStringList>

class CPUHistory;
class ChannelHistory;
class CodecHistory;
class DSPTree;
class ProfilerNetwork;
class StatsHistory;
struct DSPNode;

// The profiler without its window: the link and the five decoders, wired as
// the form wires them. It sends the six subscriptions whenever the link comes
// up, keeps every status line, and counts the frames of each kind before the
// decoders take them.
class ProfilerHarness : public QObject
{
    Q_OBJECT

public:
    ProfilerHarness();
    ~ProfilerHarness() override;

    void connectTo(quint16 port);
    // Frames of `kind` (1, 3, 4, 5, 7 or 9) with sub-kind 0 that arrived since
    // the last reset.
    int frames(quint8 kind) const { return counts[kind]; }
    void resetCounts();
    int statusCount(const QString& status) const { return int(statuses.count(status)); }
    // The unit of the current graph with this name; null when there is none.
    DSPNode* findNode(const QString& name) const;

    ProfilerNetwork* network;
    DSPTree* tree;
    CPUHistory* cpu;
    ChannelHistory* channels;
    CodecHistory* codecs;
    StatsHistory* stats;
    QStringList statuses;

public Q_SLOTS:
    void slotStatusChanged(QString status);
    void slotPacketReady();

private:
    int counts[256];
};

#endif
