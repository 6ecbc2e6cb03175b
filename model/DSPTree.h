#ifndef DSPTREE_H
#define DSPTREE_H

#include "DSPNodeTable.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

#include <memory>
#include <vector>

class ProfilerNetwork;
struct DSPNode;

// One input of a unit: the unit that feeds it and the kind of the connection.
struct DSPConnection
{
    DSPNode* node = nullptr; // not owned; the DSPTree owns it
    bool sidechain = false;
    bool send = false;
};

// One unit of the target's DSP network, as the latest snapshot described it.
struct DSPNode
{
    quint64 id = 0;
    quint64 groupId = 0;      // 0: the unit belongs to no group
    quint64 sendTargetId = 0; // 0: the unit sends nowhere; not an entry of inputs
    QString name;
    bool active = false;
    bool bypass = false;
    quint32 inclusiveTime = 0; // own time plus that of every input first reached here
    float inclusiveCPU = 0.0f; // fraction, 1.0 is 100 %
    quint32 exclusiveTime = 0;
    float exclusiveCPU = 0.0f;
    QList<qint8> volumeLevels; // decibels, one per channel
    QList<DSPConnection> inputs;
    int depth = -1; // longest path from the root, in connections; the root has 0
    // The place in DSPTree::nodes of the first unit whose id has the same low
    // 32 bits as this one's: the network view keys its plates by those bits,
    // and indexes an array by this place instead of hashing them. -1 for head.
    int keyPlace = -1;
};

// One record of the group table.
struct DSPGroup
{
    quint64 id = 0;
    quint64 parentId = 0;
    QUuid guid;
    QString name;
};

// The model of the target's DSP network: the graph of the newest snapshot under
// the synthetic node head, the newest group table, and the commands about DSPs.
//
// Readers (the network view) use head.inputs, nodes and groups directly from
// inside their slot for dspNetTreeUpdated(); pointers die at the next accepted
// packet of their kind. The graph can hold shared nodes and cycles.
class DSPTree : public QObject
{
    Q_OBJECT

public:
    // network may be null: the tree is then fed frames through acceptNetworkFrame()
    // and acceptGroupFrame() only, and every command is dropped.
    explicit DSPTree(ProfilerNetwork* network);
    ~DSPTree() override;

    void setDSPEnabled(quint64 id, bool enabled);
    void setDSPBypass(quint64 id, bool bypass);
    void sendDSPText(QString text);
    void sendGroupText(QString text);

    // Decode one whole snapshot frame (kind 1, sub-kind 0, header included), as
    // slotPacketArrived does for the newest queued one. True when the graph was
    // replaced. Emits statusChanged for version problems only.
    bool acceptNetworkFrame(const QByteArray& frame);
    // Decode one whole group table frame (kind 7, sub-kind 0). True when the
    // table was replaced.
    bool acceptGroupFrame(const QByteArray& frame);

    // One level value of versions 3 to 5 in whole decibels, -80 to 10. rawLevel
    // holds the four bytes copied from the frame as they stand (a big-endian
    // float amplitude), not a number read from them.
    static qint8 levelToDecibels(quint32 rawLevel);

    QList<DSPGroup*> groups;  // owns the groups
    DSPNodeTable nodes;       // the nodes by id and in reading order; head is not among them
    DSPNode head;             // parent of the root; one input after a snapshot
    ProfilerNetwork* network; // not owned
    int networkVersion;
    int groupVersion;
    float totalCPU;
    int sampleRate;
    int blockLength;
    // Changes whenever units, connections, flags, names or groups may have
    // changed; while it stays, a snapshot changed only times, CPU shares and
    // levels, in the same nodes. No two trees ever share a value.
    quint64 shapeGeneration;

Q_SIGNALS:
    void dspNetTreeUpdated();
    void statusChanged(QString status);

public Q_SLOTS:
    void slotPacketArrived();

private:
    // How the records of the accepted snapshot were read: for each record
    // whether it made a unit, and for each unit (in nodes' order) the place
    // of the unit it was first reached from, -1 for head. It also holds the
    // units themselves.
    struct ReadOrder
    {
        struct Block
        {
            std::unique_ptr<DSPNode[]> nodes;
            qint64 size;
            bool recycled; // its units are a retired shape's, to be read over
        };

        // A new unit in the store; capacity is the most units the snapshot
        // can still make, this one included.
        DSPNode* allocate(qint64 capacity);
        // Hands every block over to `into`, whose units are then read over
        // these instead of new ones, and empties this order.
        void giveBlocksTo(ReadOrder& into);
        // Frees the spare blocks beyond those that `units` units fill.
        void trimSpare(qint64 units);

        std::vector<bool> isNew;
        std::vector<int> parent;
        // Each record as a connection: the place of the unit it is an input
        // of (-1 for head) and the place of the unit it names.
        std::vector<std::pair<int, int>> links;
        std::vector<Block> blocks;
        qint64 usedInLast = 0;
        // Blocks of a retired shape, taken in order from nextSpare on.
        std::vector<Block> spare;
        size_t nextSpare = 0;
        bool highBitsShared = true; // all unit ids agree in their high 32 bits
    };

    bool decodeNetworkPacket();
    bool decodeGroupPacket();
    bool readSnapshot(const QByteArray& frame, int version);
    bool readNode(const char*& cursor, const char* end, int version, DSPNode* parent,
                  DSPNodeTable& table, ReadOrder& order, float budget);
    bool sameShape(const QByteArray& frame, int version) const;
    void refreshValues(const QByteArray& frame, int version);
    void readHeader(const QByteArray& frame, int version);
    void computeCPU();
    static float cpuBudget(qint32 sampleRate, qint32 blockLength);
    static float frameBudget(const QByteArray& frame, int version);
    void computeDepth();
    void computeKeyPlaces();
    bool rewalkDepths(qint64 budget);
    void fallbackDepths();
    void deleteNodes();
    void sendCommand(quint8 subKind, quint64 id, bool value);
    void sendText(quint8 kind, quint8 version, const QString& text);

    ReadOrder readOrder;
    // The units of the shape before, not referred to any more: the next new
    // shape is read over them.
    ReadOrder retiredOrder;
    // The table of the shape before, not referred to any more.
    DSPNodeTable retiredNodes;
    QByteArray acceptedFrame;
    QByteArray acceptedGroupFrame;
};

#endif // DSPTREE_H
