#include "ProfilerHarness.h"

#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "DSPTree.h"
#include "ProfilerNetwork.h"
#include "StatsHistory.h"

#include <initializer_list>

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
    for (QObject* decoder : std::initializer_list<QObject*>{tree, cpu, channels, codecs, stats})
        connect(decoder, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
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
    for (quint8 kind : {1, 7, 3, 4, 5, 9})
        network->subscribe(kind, 0, kind == 1 || kind == 7 ? 100 : 200);
}

void ProfilerHarness::slotPacketReady()
{
    snapshots += network->countPackets(1, 0);
}
