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

// The link and the five decoders wired as the form wires them, without the window.
class ProfilerHarness : public QObject
{
    Q_OBJECT

public:
    ProfilerHarness();
    ~ProfilerHarness() override;

    void connectTo(quint16 port);
    int statusCount(const QString& status) const { return int(statuses.count(status)); }
    DSPNode* findNode(const QString& name) const;

    ProfilerNetwork* network;
    DSPTree* tree;
    CPUHistory* cpu;
    ChannelHistory* channels;
    CodecHistory* codecs;
    StatsHistory* stats;
    QStringList statuses;
    int snapshots = 0; // kind 1 frames that arrived since the test last set it to 0

public Q_SLOTS:
    void slotStatusChanged(QString status);
    void slotPacketReady();
};

#endif
