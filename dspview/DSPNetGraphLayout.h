#ifndef DSPNETGRAPHLAYOUT_H
#define DSPNETGRAPHLAYOUT_H

#include <QHash>
#include <QLine>
#include <QList>
#include <QPoint>
#include <QRectF>
#include <QSize>
#include <QString>

#include <vector>

class DSPTree;
struct DSPConnection;
struct DSPGroup;
struct DSPNode;

// One placed DSP: what painting and hit testing need, copied out of the tree.
struct GraphNode
{
    QString name;    // the unit's name with a blank behind every ':'
    QPoint position; // top-left corner of the plate, unscaled
    quint64 id = 0;
    quint64 groupId = 0;
    quint64 sendTargetId = 0;
    bool active = false;
    bool bypass = false;
    float inclusiveCPU = 0.0f;
    float exclusiveCPU = 0.0f;
    QList<float> levels; // meter heights, 1.0 is 0 dB
};

// One group rectangle, unscaled.
struct GraphGroup
{
    QRectF rect;
    quint64 id = 0;
    quint64 parentId = 0;
    QString name;
    QString guid;  // with braces; only nesting groups carry it
    int level = 0; // 0 holds DSPs directly, else 1 + the highest child level
};

// The walk of a DSPTree into flat lists of plates, connections, "..." marks
// and group rectangles, in unscaled coordinates. Painting and hit testing
// read only these lists, so the tree may be rebuilt at any time after a
// layout. Needs no widget.
class DSPNetGraphLayout
{
public:
    static constexpr int plateWidth = 120;
    static constexpr int plateHeight = 45;

    // Lays the tree out afresh, following the node that (selectedId,
    // selectedGroupId) names. A tree without a root leaves the lists as they
    // are and only rebuilds the groups. When the tree kept its shape since the
    // last pass, and the selection and switches are the same, the lists stay
    // and only the plates' shares and meters are copied again: the result is
    // the same, at the cost of the values alone.
    void processTree(const DSPTree& tree, quint64 selectedId, quint64 selectedGroupId);
    // Whether processTree would only copy the values again.
    bool canRefresh(const DSPTree& tree, quint64 selectedId, quint64 selectedGroupId) const;
    // The widget's size that shows the whole graph at `scale`.
    QSize neededSize(float scale) const;

    bool showInactive = false;
    bool showExcessive = false;

    QList<GraphNode> nodes;
    QList<QLine> standardLines;
    QList<QLine> sendLines;
    QList<QLine> sidechainLines;
    QList<QLine> sendSidechainLines;
    QList<QPoint> ellipsisPoints;
    QList<GraphGroup> groups;
    int maxX = 0;
    int maxY = 0;
    // A hash of every plate's name, position, id, group and flags, in the
    // order of nodes, made as each plate is placed: the plates' names lie
    // scattered over the heap, and a large network's are out of the caches
    // again by the time a second pass over the plates would read them.
    size_t platesKey = 0;
    // Changes with every pass that rebuilt the lists rather than refreshing
    // the plates' values; no two layouts share a value, 0 is none.
    quint64 listsVersion = 0;
    // Where the last pass found the followed node; null when it is gone.
    const DSPNode* selectedTreeNode = nullptr; // only compared with null, never followed
    QPoint selectedNewPosition;

private:
    struct LayoutStep;

    // What a pass depends on besides the values of the units.
    struct LayoutInputs
    {
        quint64 shapeGeneration = 0; // 0: no pass yet
        quint64 selectedId = 0;
        quint64 selectedGroupId = 0;
        bool showInactive = false;
        bool showExcessive = false;

        bool operator==(const LayoutInputs& other) const
        {
            return shapeGeneration == other.shapeGeneration && selectedId == other.selectedId &&
                   selectedGroupId == other.selectedGroupId && showInactive == other.showInactive &&
                   showExcessive == other.showExcessive;
        }
    };

    LayoutInputs inputsOf(const DSPTree& tree, quint64 selectedId, quint64 selectedGroupId) const;
    void layoutNetwork(DSPNode* root, qsizetype unitCount);
    void resetLayout();
    void refreshValues();
    static void copyLevels(const DSPNode* from, GraphNode* to);
    void enterNode(const DSPConnection& connection, QPoint parentPosition, int inputIndex,
                   int inputCount, std::vector<LayoutStep>& steps);
    void placeNode(const DSPNode* node, QPoint position);
    static void copyPlateName(const QString& name, QString* into);
    void addToGroup(quint64 groupId, QPoint position);
    QList<DSPConnection> keptInputs(const DSPNode* node, bool* collapsed);
    void hideSubTree(DSPNode* start);
    void visitNextInput(LayoutStep& step, std::vector<LayoutStep>& steps);
    void finishNode(const LayoutStep& step);
    void addLine(const DSPConnection& connection, QPoint position, QPoint parentPosition,
                 int inputIndex, int inputCount);
    void followSelection(const DSPNode* node, QPoint position);
    QPoint& positionOf(const DSPNode* node);
    void collectSendLines(const DSPTree& tree);
    void applyGroups(const QList<DSPGroup*>& records);

    // Where each node stands, by the low 32 bits of its id: indexed by the
    // place of the first unit with those bits (DSPNode::keyPlace).
    std::vector<QPoint> nodePositions;
    // The index in nodes of the plate made for each such place; -1 for none.
    std::vector<qsizetype> plateAt;
    // The unit each entry of nodes was made from; valid while the tree keeps
    // the shape of laidOut.
    std::vector<const DSPNode*> placedFrom;
    // The index in nodes of each plate that sends somewhere, in order.
    std::vector<qsizetype> sendingPlates;
    // The plates placed so far in this pass; those of nodes behind them are
    // the last pass's, to be written over.
    qsizetype placedCount = 0;
    LayoutInputs laidOut;
    // Index of each group id in groups, so that placing a node needs no search.
    QHash<quint64, qsizetype> groupIndexes;
    int currentRow = 0;
    quint64 followedId = 0;
    quint64 followedGroupId = 0;
};

#endif // DSPNETGRAPHLAYOUT_H
