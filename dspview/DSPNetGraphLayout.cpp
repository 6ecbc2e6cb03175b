#include "DSPNetGraphLayout.h"

#include "DSPTree.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <set>

namespace {

// Grid of the layout, in unscaled units.
const int columnPitch = 200;
const int rowPitch = 75;
const int margin = 10;
const int lineOffsetY = 22;
const int sendOffsetX = 60;
const int groupMargin = 4;
const int extraWidth = 270;
const int extraHeight = 95;
const QPoint rootMark(-1, -1);
const QPoint hiddenMark(-1, -1);

// Not placed yet: no plate and not hidden.
const QPoint unplacedMark(INT_MIN, INT_MIN);

quint64 nextListsVersion()
{
    static std::atomic<quint64> next{1};
    return next++;
}

} // namespace

// One node whose inputs are being visited: the explicit stack of the layout
// walk, so that the depth of the network never reaches the call stack.
struct DSPNetGraphLayout::LayoutStep
{
    DSPNode* node = nullptr;
    QPoint position;
    QPoint parentPosition;
    int inputIndex = 0;
    int inputCount = 1;
    bool sidechain = false;
    bool send = false;
    QList<DSPConnection> inputs; // what is left after hiding, filtering and collapsing
    int next = 0;
    int newInputs = 0;
    bool collapsed = false;
};

void DSPNetGraphLayout::processTree(const DSPTree& tree, quint64 selectedId,
                                    quint64 selectedGroupId)
{
    const LayoutInputs inputs = inputsOf(tree, selectedId, selectedGroupId);
    if (inputs == laidOut) {
        refreshValues();
        return;
    }
    laidOut = inputs;
    listsVersion = nextListsVersion();
    groups.clear();
    groupIndexes.clear();
    selectedTreeNode = nullptr;
    followedId = selectedId;
    followedGroupId = selectedGroupId;
    DSPNode* root = tree.head.inputs.isEmpty() ? nullptr : tree.head.inputs.first().node;
    // Without a root (before the first snapshot) the lists stay as they are;
    // collecting the send lines again would only double them.
    if (root) {
        layoutNetwork(root, tree.nodes.size());
        collectSendLines(tree);
    }
    applyGroups(tree.groups);
}

bool DSPNetGraphLayout::canRefresh(const DSPTree& tree, quint64 selectedId,
                                   quint64 selectedGroupId) const
{
    return inputsOf(tree, selectedId, selectedGroupId) == laidOut;
}

DSPNetGraphLayout::LayoutInputs DSPNetGraphLayout::inputsOf(const DSPTree& tree, quint64 selectedId,
                                                            quint64 selectedGroupId) const
{
    return LayoutInputs{tree.shapeGeneration, selectedId, selectedGroupId, showInactive,
                        showExcessive};
}

QSize DSPNetGraphLayout::neededSize(float scale) const
{
    return QSize(int(float(maxX + extraWidth) * scale), int(float(maxY + extraHeight) * scale));
}

void DSPNetGraphLayout::resetLayout()
{
    currentRow = 0;
    maxX = 0;
    maxY = 0;
    placedCount = 0;
    standardLines.clear();
    sendLines.clear();
    sidechainLines.clear();
    sendSidechainLines.clear();
    ellipsisPoints.clear();
    placedFrom.clear();
    sendingPlates.clear();
    platesKey = 0;
}

// The tree kept its shape and its nodes: only the shares and the meters of
// the plates change, written over the lists in place.
void DSPNetGraphLayout::refreshValues()
{
    for (size_t i = 0; i < placedFrom.size(); ++i) {
        const DSPNode* from = placedFrom[i];
        GraphNode& node = nodes[qsizetype(i)];
        node.inclusiveCPU = from->inclusiveCPU;
        node.exclusiveCPU = from->exclusiveCPU;
        copyLevels(from, &node);
    }
}

void DSPNetGraphLayout::copyLevels(const DSPNode* from, GraphNode* to)
{
    const qsizetype count = from->volumeLevels.size();
    to->levels.resize(count);
    float* levels = to->levels.data();
    for (qsizetype i = 0; i < count; ++i)
        levels[i] = float(from->volumeLevels.at(i)) / 80.0f + 1.0f;
}

// Depth first from the root, a node before its inputs. Each node is expanded
// once: nodePositions holds it from its placement on, so shared nodes and
// loops end there, and the explicit stack keeps deep chains off the call stack.
void DSPNetGraphLayout::layoutNetwork(DSPNode* root, qsizetype unitCount)
{
    resetLayout();
    nodePositions.assign(size_t(unitCount), unplacedMark);
    plateAt.assign(size_t(unitCount), -1);
    nodes.reserve(unitCount);
    placedFrom.reserve(size_t(unitCount));
    std::vector<LayoutStep> steps;
    enterNode(DSPConnection{root, false, false}, rootMark, 0, 1, steps);
    while (!steps.empty()) {
        LayoutStep& step = steps.back();
        if (step.next < step.inputs.size()) {
            visitNextInput(step, steps);
            continue;
        }
        finishNode(step);
        steps.pop_back();
    }
    nodes.resize(placedCount);
}

void DSPNetGraphLayout::visitNextInput(LayoutStep& step, std::vector<LayoutStep>& steps)
{
    const int index = step.next++;
    const DSPConnection connection = step.inputs.at(index);
    if (step.collapsed && index == 2) {
        ++currentRow;
        ellipsisPoints.append(QPoint(step.position.x() + columnPitch, currentRow * rowPitch));
    }
    // The first new input stays on its parent's row; each further one opens a
    // row below everything the previous input's sub-tree used.
    if (positionOf(connection.node) == unplacedMark && ++step.newInputs > 1)
        ++currentRow;
    // May grow steps: step must not be used after this call.
    enterNode(connection, step.position, index, int(step.inputs.size()), steps);
}

void DSPNetGraphLayout::enterNode(const DSPConnection& connection, QPoint parentPosition,
                                  int inputIndex, int inputCount, std::vector<LayoutStep>& steps)
{
    DSPNode* node = connection.node;
    QPoint& stored = positionOf(node);
    if (stored != unplacedMark) {
        // An input kept on its parent's list but hidden meanwhile by the
        // hiding walk of a removed sibling has no plate to point at. It shows
        // nothing: no line, no row, and it cannot carry the selection; its
        // slot on the parent's edge stays, so the other lines keep their ends.
        const QPoint position = stored;
        if (position == hiddenMark)
            return;
        if (parentPosition != rootMark)
            addLine(connection, position, parentPosition, inputIndex, inputCount);
        followSelection(node, position);
        return;
    }
    LayoutStep step;
    step.node = node;
    step.position = QPoint(node->depth * columnPitch + margin, currentRow * rowPitch + margin);
    step.parentPosition = parentPosition;
    step.inputIndex = inputIndex;
    step.inputCount = inputCount;
    step.sidechain = connection.sidechain;
    step.send = connection.send;
    stored = step.position;
    placeNode(node, step.position);
    step.inputs = keptInputs(node, &step.collapsed);
    steps.push_back(std::move(step));
}

void DSPNetGraphLayout::placeNode(const DSPNode* node, QPoint position)
{
    const qsizetype index = placedCount++;
    plateAt[size_t(node->keyPlace)] = index;
    // The plates of the last pass are written over, every field, instead of
    // being freed and made again: their level lists keep their storage.
    GraphNode& record = index < nodes.size() ? nodes[index] : nodes.emplaceBack();
    copyPlateName(node->name, &record.name);
    record.position = position;
    record.id = node->id;
    record.groupId = node->groupId;
    record.sendTargetId = node->sendTargetId;
    record.active = node->active;
    record.bypass = node->bypass;
    record.inclusiveCPU = node->inclusiveCPU;
    record.exclusiveCPU = node->exclusiveCPU;
    copyLevels(node, &record);
    platesKey = qHashMulti(platesKey, record.name, position.x(), position.y(), record.id,
                           record.groupId, record.active, record.bypass);
    if (record.sendTargetId != 0)
        sendingPlates.push_back(index);
    placedFrom.push_back(node);
    addToGroup(node->groupId, position);
}

// The plate keeps its own copy of the name, written over its text of the last
// pass, rather than sharing the unit's: sharing costs a locked instruction on
// the unit's text and another on the plate's old one, and at 100,000 units
// both come from memory while nothing else can go on.
void DSPNetGraphLayout::copyPlateName(const QString& name, QString* into)
{
    const qsizetype length = name.size();
    into->resize(length);
    const QChar* from = name.constData();
    QChar* to = into->data();
    bool colon = false;
    for (qsizetype i = 0; i < length; ++i) {
        to[i] = from[i];
        colon |= from[i] == QLatin1Char(':');
    }
    if (colon)
        into->replace(QLatin1Char(':'), QLatin1String(": "));
}

void DSPNetGraphLayout::addToGroup(quint64 groupId, QPoint position)
{
    if (groupId == 0)
        return;
    const QRectF box(position.x() - groupMargin, position.y() - groupMargin,
                     plateWidth + 2 * groupMargin, plateHeight + 2 * groupMargin);
    const auto found = groupIndexes.constFind(groupId);
    if (found != groupIndexes.constEnd()) {
        GraphGroup& group = groups[found.value()];
        group.rect = group.rect.united(box);
        return;
    }
    GraphGroup group;
    group.rect = box;
    group.id = groupId;
    groupIndexes.insert(groupId, groups.size());
    groups.append(group);
}

// The inputs that the layout visits: hidden ones dropped, inactive ones
// dropped unless shown, and a long list of new inputs cut to its first two
// and last two, with the sub-trees of the cut ones hidden.
QList<DSPConnection> DSPNetGraphLayout::keptInputs(const DSPNode* node, bool* collapsed)
{
    bool allInputsNew = true;
    bool allKept = true;
    for (const DSPConnection& connection : node->inputs) {
        if (!connection.node) {
            allKept = false; // the decoder never makes one; nothing to draw
            continue;
        }
        const QPoint placed = positionOf(connection.node);
        if (placed != unplacedMark) {
            allInputsNew = false;
            allKept &= placed != hiddenMark; // a hidden node gets no connection
        }
        allKept &= showInactive || connection.node->active;
    }
    // Usually every input is kept: the unit's own list is then shared, not copied.
    QList<DSPConnection> kept = allKept ? node->inputs : QList<DSPConnection>();
    if (!allKept) {
        for (const DSPConnection& connection : node->inputs) {
            if (!connection.node)
                continue;
            if (positionOf(connection.node) == hiddenMark)
                continue;
            if (!showInactive && !connection.node->active)
                continue;
            kept.append(connection);
        }
    }
    const qsizetype keptCount = kept.size();
    *collapsed = !showExcessive && allInputsNew && keptCount >= 5;
    if (!*collapsed)
        return kept;
    for (qsizetype i = 2; i < keptCount - 2; ++i)
        hideSubTree(kept.at(i).node);
    return QList<DSPConnection>{kept.at(0), kept.at(1), kept.at(keptCount - 2),
                                kept.at(keptCount - 1)};
}

// Marks a removed input and everything behind it, active or not, as hidden.
// A node already hidden had its whole sub-tree hidden with it, so the walk
// stops there: every node is pushed at most once per layout, which ends the
// walk on loops and keeps it linear on shared nodes.
void DSPNetGraphLayout::hideSubTree(DSPNode* start)
{
    std::vector<DSPNode*> pending;
    const auto hide = [&](DSPNode* node) {
        if (!node)
            return;
        QPoint& stored = positionOf(node);
        if (stored == hiddenMark)
            return;
        stored = hiddenMark;
        pending.push_back(node);
    };
    hide(start);
    while (!pending.empty()) {
        DSPNode* node = pending.back();
        pending.pop_back();
        for (const DSPConnection& connection : node->inputs)
            hide(connection.node);
    }
}

void DSPNetGraphLayout::finishNode(const LayoutStep& step)
{
    maxX = std::max(maxX, step.position.x());
    maxY = std::max(maxY, step.position.y());
    if (step.parentPosition != rootMark) {
        addLine(DSPConnection{step.node, step.sidechain, step.send}, step.position,
                step.parentPosition, step.inputIndex, step.inputCount);
    }
    followSelection(step.node, step.position);
}

void DSPNetGraphLayout::addLine(const DSPConnection& connection, QPoint position,
                                QPoint parentPosition, int inputIndex, int inputCount)
{
    // n inputs are spread evenly over the parent's right edge, first on top.
    const float anchorY =
        45.0f / (float(inputCount) + 1.0f) * float(inputIndex + 1) + float(parentPosition.y());
    const QLine line(position.x(), position.y() + lineOffsetY, parentPosition.x() + plateWidth,
                     int(anchorY));
    if (connection.sidechain)
        (connection.send ? sendSidechainLines : sidechainLines).append(line);
    else
        (connection.send ? sendLines : standardLines).append(line);
}

void DSPNetGraphLayout::followSelection(const DSPNode* node, QPoint position)
{
    if (node->id == followedId && node->groupId == followedGroupId) {
        selectedTreeNode = node;
        selectedNewPosition = position;
    }
}

// The place of a node in nodePositions. Every node that the layout meets is a
// unit of the tree it lays out, and so has a place.
QPoint& DSPNetGraphLayout::positionOf(const DSPNode* node)
{
    return nodePositions[size_t(node->keyPlace)];
}

// A target has a plate only if the plate of its key is its own: a unit whose
// key another plate took first stands nowhere.
void DSPNetGraphLayout::collectSendLines(const DSPTree& tree)
{
    const QPoint centre(sendOffsetX, lineOffsetY);
    for (const qsizetype sending : sendingPlates) {
        const GraphNode& node = nodes.at(sending);
        const DSPNode* target = tree.nodes.value(node.sendTargetId);
        const qsizetype plate = target ? plateAt[size_t(target->keyPlace)] : -1;
        if (plate >= 0 && nodes.at(plate).id == node.sendTargetId)
            sendLines.append(QLine(node.position + centre, nodes.at(plate).position + centre));
    }
}

// Names and parents come from the table for groups that hold DSPs; nesting
// groups are then built pass by pass from the groups that exist when their
// record is reached. Instead of rescanning every record in every pass, each
// record is scheduled once, as soon as a child group names it: in the running
// pass if its record lies behind the one just built, else in the next pass.
// The union and the highest level of the children of each parent id are kept
// as they grow, so a table of any size costs O(n log n).
void DSPNetGraphLayout::applyGroups(const QList<DSPGroup*>& records)
{
    struct Children
    {
        QRectF rect;
        int maxLevel = 0;
    };
    std::vector<bool> done(size_t(records.size()), false);
    for (qsizetype i = 0; i < records.size(); ++i) {
        const DSPGroup* record = records.at(i);
        const auto found = record ? groupIndexes.constFind(record->id) : groupIndexes.constEnd();
        if (found == groupIndexes.constEnd())
            continue;
        GraphGroup& group = groups[found.value()];
        group.name = record->name;
        group.parentId = record->parentId;
        done[size_t(i)] = true;
    }
    QHash<quint64, QList<qsizetype>> waiting; // unbuilt records by id, in list order
    for (qsizetype i = 0; i < records.size(); ++i) {
        if (records.at(i) && !done[size_t(i)])
            waiting[records.at(i)->id].append(i);
    }
    QHash<quint64, Children> children;
    std::set<qsizetype> thisPass;
    std::set<qsizetype> nextPass;
    const auto addChild = [&](const GraphGroup& group, qsizetype cursor) {
        const QRectF grown =
            group.rect.adjusted(-groupMargin, -groupMargin, groupMargin, groupMargin);
        const auto known = children.find(group.parentId);
        if (known != children.end()) {
            known->rect = known->rect.united(grown);
            known->maxLevel = std::max(known->maxLevel, group.level);
            return;
        }
        children.insert(group.parentId, Children{grown, group.level});
        for (qsizetype index : waiting.take(group.parentId))
            (index > cursor ? thisPass : nextPass).insert(index);
    };
    for (const GraphGroup& group : std::as_const(groups))
        addChild(group, -1);
    while (!thisPass.empty()) {
        while (!thisPass.empty()) {
            const qsizetype index = *thisPass.begin();
            thisPass.erase(thisPass.begin());
            const DSPGroup* record = records.at(index);
            const Children& members = children[record->id];
            GraphGroup group;
            group.rect = members.rect;
            group.id = record->id;
            group.parentId = record->parentId;
            group.name = record->name;
            if (!record->guid.isNull())
                group.guid = record->guid.toString(QUuid::WithBraces);
            group.level = members.maxLevel + 1;
            groups.append(group);
            addChild(group, index);
        }
        thisPass.swap(nextPass);
    }
}
