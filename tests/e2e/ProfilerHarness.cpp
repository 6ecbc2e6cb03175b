#include "ProfilerHarness.h"

#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "DSPTree.h"
#include "ProfilerNetwork.h"
#include "StatsHistory.h"

ProfilerHarness::ProfilerHarness() : network(new ProfilerNetwork())
{
    // Linked before the decoders are made, so that it sees each batch whole.
    connect(network, SIGNAL(packetReady()), this, SLOT(slotPacketReady()));
    connect(network, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    tree = new DSPTree(network);
    cpu = new CPUHistory(network);
    channels = new ChannelHistory(network);
    codecs = new CodecHistory(network);
    stats = new StatsHistory(network);
    connect(tree, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    connect(cpu, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    connect(channels, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    connect(codecs, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    connect(stats, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
}

ProfilerHarness::~ProfilerHarness()
{
    delete stats;
    delete codecs;
    delete channels;
    delete cpu;
    delete tree;
    delete network;
}

void ProfilerHarness::connectTo(quint16 port)
{
    network->connectToTarget(QStringLiteral("127.0.0.1"), port);
}

DSPNode* ProfilerHarness::findNode(const QString& name) const
{
    for (DSPNode* node : tree->nodes) {
        if (node->name == name)
            return node;
    }
    return nullptr;
}

void ProfilerHarness::slotStatusChanged(QString status)
{
    statuses.append(status);
    if (status != QLatin1String("Connected."))
        return;
    network->subscribe(1, 0, 100);
    network->subscribe(7, 0, 100);
    network->subscribe(3, 0, 200);
    network->subscribe(4, 0, 200);
    network->subscribe(5, 0, 200);
    network->subscribe(9, 0, 200);
}

void ProfilerHarness::slotPacketReady()
{
    snapshots += network->countPackets(1, 0);
}
