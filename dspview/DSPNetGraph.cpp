#include "DSPNetGraph.h"

#include "DSPTree.h"

#include <QAction>
#include <QFontMetricsF>
#include <QImageReader>
#include <QMenu>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QStaticText>
#include <QTextOption>
#include <QTimer>

#include <algorithm>
#include <set>

namespace {

// Grid of the layout, in unscaled units.
const int plateWidth = 120;
const int plateHeight = 45;
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

const float minScale = 0.2f;
const float maxScale = 2.0f;
const int repaintInterval = 10;

// A saved image is as large as the graph, and the graph is as large as the
// target's network makes it. Beyond this many bytes the save is dropped
// silently, like any failed save, instead of asking for gigabytes.
const qint64 maxImageBytes = qint64(1) << 30;

// The raster painter strokes the lines of one drawLines call in groups of
// this many, each group as one outline, so where two lines of a group overlap
// their soft edges are covered once. A partial repaint draws whole groups as
// a full one cuts them, which keeps those overlaps pixel for pixel the same.
const int lineBatchSize = 16;

// How far, in widget pixels, a pen's width, its square caps and antialiasing
// can reach beyond the geometry that a culled item is tested with.
const double devicePadding = 3.0;
// The same reach under the painter's scale: half the widest pen (2) and its cap.
const double graphPadding = 2.0;

const char* const faceplatePath = ":Profiler/node-faceplate.png";
const char* const faceplateHighlightPath = ":Profiler/node-faceplate-highlight.png";

// Nodes are keyed by the low 32 bits of their id, read as a signed number.
int nodeKey(const DSPNode* node)
{
    return static_cast<qint32>(static_cast<quint32>(node->id));
}

// Everything a node draws lies in its plate, except the meters, which run
// past its right side with more than sixteen levels; the node text is cut at
// its box inside the plate.
QRectF nodeBounds(const GraphNode& node)
{
    const double meters = 3.0 + double(node.levels.size()) * (114.0 / 16.0) + 1.0;
    return QRectF(node.position.x(), node.position.y(), std::max<double>(plateWidth, meters),
                  plateHeight);
}

// A horizontal or vertical line has an empty bounding QRectF, which
// QRectF::intersects would always miss; this compares the extents instead.
bool boxMisses(double left, double top, double right, double bottom, const QRectF& area)
{
    return right < area.left() || left > area.right() || bottom < area.top() || top > area.bottom();
}

bool lineMisses(const QLine& line, const QRectF& area)
{
    return boxMisses(std::min(line.x1(), line.x2()), std::min(line.y1(), line.y2()),
                     std::max(line.x1(), line.x2()), std::max(line.y1(), line.y2()), area);
}

bool rectMisses(const QRectF& rect, const QRectF& area)
{
    return boxMisses(rect.left(), rect.top(), rect.right(), rect.bottom(), area);
}

// The area of a whole render: nothing is culled.
const QRectF everywhere(-1e12, -1e12, 2e12, 2e12);

QPen makePen(const QColor& color, int width, Qt::PenStyle style = Qt::SolidLine)
{
    QPen pen(QBrush(color), width);
    pen.setStyle(style);
    return pen;
}

QImage readScaled(const QString& path, const QSize& size)
{
    QImageReader reader(path);
    reader.setScaledSize(size);
    return reader.read();
}

} // namespace

// One node whose inputs are being visited: the explicit stack of the layout
// walk, so that the depth of the network never reaches the call stack.
struct DSPNetGraph::LayoutStep
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

DSPNetGraph::DSPNetGraph(DSPTree* tree, QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags), tree(tree), nodes(new QList<GraphNode>),
      standardLines(new QList<QLine>), sendLines(new QList<QLine>),
      sidechainLines(new QList<QLine>), sendSidechainLines(new QList<QLine>),
      ellipsisPoints(new QList<QPoint>), groups(new QList<GraphGroup>),
      nodePositions(new QHash<int, QPoint>), groupIndexes(new QHash<quint64, qsizetype>),
      selectedId(noSelection), selectedGroupId(noSelection), selectedTreeNode(nullptr), zoom(1.0f),
      currentRow(0), maxX(0), maxY(0), clickPending(false), showInactive(false),
      showExcessive(false), showCPUUsage(false), showVolumeLevels(false), showGroups(false),
      showGuids(false), showSends(false), showLegend(false), minCPU(0.0f), maxCPU(100.0f),
      useInclusiveCPU(false), repaintTimer(nullptr), contextNodeId(0), nodesFingerprint(0),
      layoutFingerprint(0), paintedKey(0), paintedValid(false)
{
    textPen = makePen(QColor(255, 255, 255, 255), 1);
    shadowPen = makePen(QColor(0, 0, 0, 128), 1);
    standardPen = makePen(QColor(200, 200, 200, 255), 2);
    sendPen = makePen(QColor(200, 200, 200, 255), 2, Qt::DotLine);
    sidechainPen = makePen(QColor(50, 150, 50, 255), 2);
    sendSidechainPen = makePen(QColor(50, 150, 50, 255), 2, Qt::DotLine);
    ellipsisPen = makePen(QColor(200, 200, 200, 255), 1);
    groupRectPens[0] = makePen(QColor(100, 100, 50, 255), 1, Qt::DashLine);
    groupRectPens[1] = makePen(QColor(150, 150, 125, 255), 1, Qt::DashLine);
    groupTextPens[0] = makePen(QColor(255, 255, 200, 255), 1);
    groupTextPens[1] = makePen(QColor(255, 255, 200, 255), 1);
    activeColor = QColor(66, 186, 255, 255);
    inactiveColor = QColor(49, 56, 64, 255);
    bypassColor = QColor(Qt::white);
    highlightColor = QColor(Qt::magenta);
    // The active colour lightened by half, written out: Qt releases round
    // lighter(150) differently (6.4 gives a red of 193).
    meterBackgroundColor = QColor(194, 233, 255, 255);
    meterColor = QColor(Qt::darkGreen);
    meterOverColor = QColor(Qt::darkRed);

    repaintTimer = new QTimer(this);
    repaintTimer->setSingleShot(true);
    connect(repaintTimer, SIGNAL(timeout()), this, SLOT(update()));
    connect(tree, SIGNAL(dspNetTreeUpdated()), this, SLOT(slotProcessTree()));

    nodeFont.setPointSize(7);
    nodeFont.setStyleHint(QFont::SansSerif, QFont::PreferOutline);
    nodeFont.setStretch(125);
    ellipsisFont.setPointSize(24);
    loadFaceplates();
}

DSPNetGraph::~DSPNetGraph()
{
    delete nodes;
    delete standardLines;
    delete sendLines;
    delete sidechainLines;
    delete sendSidechainLines;
    delete ellipsisPoints;
    delete groups;
    delete nodePositions;
    delete groupIndexes;
}

void DSPNetGraph::requestRepaint()
{
    if (!repaintTimer->isActive())
        repaintTimer->start(repaintInterval);
}

void DSPNetGraph::setHighlightText(QString text)
{
    // The panel repaints at once after this call.
    highlightText = text;
}

void DSPNetGraph::setInclusiveCPU(bool value)
{
    if (value == useInclusiveCPU)
        return;
    useInclusiveCPU = value;
    requestRepaint();
}

void DSPNetGraph::setMaxCPU(float value)
{
    // A refused value still repaints: the panel's spin boxes never offer one.
    if (value > minCPU && value <= 100.0f)
        maxCPU = value;
    requestRepaint();
}

void DSPNetGraph::setMinCPU(float value)
{
    if (value < maxCPU && value >= 0.0f)
        minCPU = value;
    requestRepaint();
}

void DSPNetGraph::setScale(float value)
{
    const float clamped = std::max(std::min(value, maxScale), minScale);
    if (clamped == zoom)
        return;
    zoom = clamped;
    loadFaceplates();
    nodeTexts.clear(); // laid out for the old scale
    updateWidgetSize(true);
    requestRepaint();
}

void DSPNetGraph::setShowCPUUsage(bool value)
{
    if (value == showCPUUsage)
        return;
    showCPUUsage = value;
    requestRepaint();
}

void DSPNetGraph::setShowExcessive(bool value)
{
    if (value == showExcessive)
        return;
    showExcessive = value;
    slotProcessTree();
}

void DSPNetGraph::setShowGroups(bool value)
{
    if (value == showGroups)
        return;
    showGroups = value;
    requestRepaint();
}

void DSPNetGraph::setShowGuids(bool value)
{
    if (value == showGuids)
        return;
    showGuids = value;
    requestRepaint();
}

void DSPNetGraph::setShowInactive(bool value)
{
    if (value == showInactive)
        return;
    showInactive = value;
    slotProcessTree();
}

void DSPNetGraph::setShowLegend(bool value)
{
    if (value == showLegend)
        return;
    showLegend = value;
    requestRepaint();
}

void DSPNetGraph::setShowSends(bool value)
{
    if (value == showSends)
        return;
    showSends = value;
    requestRepaint();
}

void DSPNetGraph::setShowVolumeLevels(bool value)
{
    if (value == showVolumeLevels)
        return;
    showVolumeLevels = value;
    requestRepaint();
}

bool DSPNetGraph::selectedNodeRect(QRectF* rect) const
{
    if (selectedId == noSelection)
        return false;
    *rect = QRectF(selectedPosition, QSizeF(plateWidth, plateHeight));
    return true;
}

void DSPNetGraph::slotProcessTree()
{
    groups->clear();
    groupIndexes->clear();
    selectedTreeNode = nullptr;
    DSPNode* root = tree->head.inputs.isEmpty() ? nullptr : tree->head.inputs.first().node;
    // Without a root (before the first snapshot) the lists stay as they are;
    // collecting the send lines again would only double them.
    if (root) {
        layoutNetwork(root);
        collectSendLines();
    }
    applyGroups(tree->groups);
    updateWidgetSize(false);
    if (selectedTreeNode && selectedNewPosition != selectedPosition) {
        const QPoint previous = selectedPosition;
        selectedPosition = selectedNewPosition;
        Q_EMIT selectedNodePositionChanged(selectedNewPosition, previous);
    }
    if (!selectedTreeNode) {
        selectedId = noSelection;
        selectedGroupId = noSelection;
    }
    // A steady network sends the same picture many times a second: a pass that
    // leaves the screen as it was last painted costs no repaint.
    layoutFingerprint = listsFingerprint();
    if (!paintedValid || pictureKey() != paintedKey)
        requestRepaint();
}

// Everything a pass of the tree puts into the lists, folded into one number.
// The plates are folded in as they are placed, while their names are still in
// the cache: a second walk over a large network's names would cost more than
// the layout gained. Shares and meters count only while they are shown.
size_t DSPNetGraph::listsFingerprint() const
{
    size_t seed = qHashMulti(nodesFingerprint, maxX, maxY, showCPUUsage, showVolumeLevels);
    for (const QList<QLine>* lines :
         {standardLines, sendLines, sidechainLines, sendSidechainLines}) {
        seed = qHash(lines->size(), seed);
        for (const QLine& line : *lines)
            seed = qHashMulti(seed, line.x1(), line.y1(), line.x2(), line.y2());
    }
    for (const QPoint& point : std::as_const(*ellipsisPoints))
        seed = qHashMulti(seed, point.x(), point.y());
    for (const GraphGroup& group : std::as_const(*groups))
        seed = qHashMulti(seed, group.rect.x(), group.rect.y(), group.rect.width(),
                          group.rect.height(), group.name, group.guid, group.level);
    return seed;
}

// The lists and every setting that decides how they are drawn: two equal keys
// paint the same pixels.
size_t DSPNetGraph::pictureKey() const
{
    const size_t switches =
        qHashMulti(0, showInactive, showExcessive, showCPUUsage, showVolumeLevels, showGroups,
                   showGuids, showSends, showLegend, useInclusiveCPU);
    return qHashMulti(switches, layoutFingerprint, selectedId, selectedGroupId, zoom, minCPU,
                      maxCPU, highlightText);
}

void DSPNetGraph::resetLayout()
{
    currentRow = 0;
    maxX = 0;
    maxY = 0;
    nodes->clear();
    nodesFingerprint = 0;
    standardLines->clear();
    sendLines->clear();
    sidechainLines->clear();
    sendSidechainLines->clear();
    ellipsisPoints->clear();
    nodePositions->clear();
}

// Depth first from the root, a node before its inputs. Each node is expanded
// once: nodePositions holds it from its placement on, so shared nodes and
// loops end there, and the explicit stack keeps deep chains off the call stack.
void DSPNetGraph::layoutNetwork(DSPNode* root)
{
    resetLayout();
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
}

void DSPNetGraph::visitNextInput(LayoutStep& step, std::vector<LayoutStep>& steps)
{
    const int index = step.next++;
    const DSPConnection connection = step.inputs.at(index);
    if (step.collapsed && index == 2) {
        ++currentRow;
        ellipsisPoints->append(QPoint(step.position.x() + columnPitch, currentRow * rowPitch));
    }
    // The first new input stays on its parent's row; each further one opens a
    // row below everything the previous input's sub-tree used.
    if (!nodePositions->contains(nodeKey(connection.node)) && ++step.newInputs > 1)
        ++currentRow;
    // May grow steps: step must not be used after this call.
    enterNode(connection, step.position, index, int(step.inputs.size()), steps);
}

void DSPNetGraph::enterNode(const DSPConnection& connection, QPoint parentPosition, int inputIndex,
                            int inputCount, std::vector<LayoutStep>& steps)
{
    DSPNode* node = connection.node;
    const int key = nodeKey(node);
    const auto placed = nodePositions->constFind(key);
    if (placed != nodePositions->constEnd()) {
        // An input kept on its parent's list but hidden meanwhile by the
        // hiding walk of a removed sibling has no plate to point at. It shows
        // nothing: no line, no row, and it cannot carry the selection; its
        // slot on the parent's edge stays, so the other lines keep their ends.
        const QPoint position = placed.value();
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
    nodePositions->insert(key, step.position);
    placeNode(node, step.position);
    step.inputs = keptInputs(node, &step.collapsed);
    steps.push_back(std::move(step));
}

void DSPNetGraph::placeNode(const DSPNode* node, QPoint position)
{
    GraphNode record;
    record.name = node->name;
    record.name.replace(QLatin1Char(':'), QLatin1String(": "));
    record.position = position;
    record.id = node->id;
    record.groupId = node->groupId;
    record.sendTargetId = node->sendTargetId;
    record.active = node->active;
    record.bypass = node->bypass;
    record.inclusiveCPU = node->inclusiveCPU;
    record.exclusiveCPU = node->exclusiveCPU;
    record.levels.reserve(node->volumeLevels.size());
    for (qint8 decibels : node->volumeLevels)
        record.levels.append(float(decibels) / 80.0f + 1.0f);
    nodesFingerprint = qHashMulti(nodesFingerprint, record.name, position.x(), position.y(),
                                  record.id, record.groupId, record.active, record.bypass);
    if (showCPUUsage)
        nodesFingerprint = qHashMulti(nodesFingerprint, record.inclusiveCPU, record.exclusiveCPU);
    if (showVolumeLevels)
        nodesFingerprint =
            qHashRange(record.levels.cbegin(), record.levels.cend(), nodesFingerprint);
    nodes->append(record);
    addToGroup(node->groupId, position);
}

void DSPNetGraph::addToGroup(quint64 groupId, QPoint position)
{
    if (groupId == 0)
        return;
    const QRectF box(position.x() - groupMargin, position.y() - groupMargin,
                     plateWidth + 2 * groupMargin, plateHeight + 2 * groupMargin);
    const auto found = groupIndexes->constFind(groupId);
    if (found != groupIndexes->constEnd()) {
        GraphGroup& group = (*groups)[found.value()];
        group.rect = group.rect.united(box);
        return;
    }
    GraphGroup group;
    group.rect = box;
    group.id = groupId;
    groupIndexes->insert(groupId, groups->size());
    groups->append(group);
}

// The inputs that the layout visits: hidden ones dropped, inactive ones
// dropped unless shown, and a long list of new inputs cut to its first two
// and last two, with the sub-trees of the cut ones hidden.
QList<DSPConnection> DSPNetGraph::keptInputs(const DSPNode* node, bool* collapsed)
{
    bool allInputsNew = true;
    QList<DSPConnection> kept;
    kept.reserve(node->inputs.size());
    for (const DSPConnection& connection : node->inputs) {
        if (!connection.node)
            continue; // the decoder never makes one; nothing to draw
        const auto placed = nodePositions->constFind(nodeKey(connection.node));
        if (placed != nodePositions->constEnd()) {
            allInputsNew = false;
            if (placed.value() == hiddenMark)
                continue; // a hidden node gets no connection
        }
        if (!showInactive && !connection.node->active)
            continue;
        kept.append(connection);
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
void DSPNetGraph::hideSubTree(DSPNode* start)
{
    std::vector<DSPNode*> pending;
    const auto hide = [&](DSPNode* node) {
        if (!node)
            return;
        QPoint& stored = (*nodePositions)[nodeKey(node)];
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

void DSPNetGraph::finishNode(const LayoutStep& step)
{
    maxX = std::max(maxX, step.position.x());
    maxY = std::max(maxY, step.position.y());
    if (step.parentPosition != rootMark) {
        addLine(DSPConnection{step.node, step.sidechain, step.send}, step.position,
                step.parentPosition, step.inputIndex, step.inputCount);
    }
    followSelection(step.node, step.position);
}

void DSPNetGraph::addLine(const DSPConnection& connection, QPoint position, QPoint parentPosition,
                          int inputIndex, int inputCount)
{
    // n inputs are spread evenly over the parent's right edge, first on top.
    const float anchorY =
        45.0f / (float(inputCount) + 1.0f) * float(inputIndex + 1) + float(parentPosition.y());
    const QLine line(position.x(), position.y() + lineOffsetY, parentPosition.x() + plateWidth,
                     int(anchorY));
    if (connection.sidechain)
        (connection.send ? sendSidechainLines : sidechainLines)->append(line);
    else
        (connection.send ? sendLines : standardLines)->append(line);
}

void DSPNetGraph::followSelection(DSPNode* node, QPoint position)
{
    if (node->id == selectedId && node->groupId == selectedGroupId) {
        selectedTreeNode = node;
        selectedNewPosition = position;
    }
}

void DSPNetGraph::collectSendLines()
{
    QHash<quint64, QPoint> firstById;
    firstById.reserve(nodes->size());
    for (const GraphNode& node : std::as_const(*nodes)) {
        if (!firstById.contains(node.id))
            firstById.insert(node.id, node.position);
    }
    const QPoint centre(sendOffsetX, lineOffsetY);
    for (const GraphNode& node : std::as_const(*nodes)) {
        if (node.sendTargetId == 0)
            continue;
        const auto target = firstById.constFind(node.sendTargetId);
        if (target != firstById.constEnd())
            sendLines->append(QLine(node.position + centre, target.value() + centre));
    }
}

// Names and parents come from the table for groups that hold DSPs; nesting
// groups are then built pass by pass from the groups that exist when their
// record is reached. Instead of rescanning every record in every pass, each
// record is scheduled once, as soon as a child group names it: in the running
// pass if its record lies behind the one just built, else in the next pass.
// The union and the highest level of the children of each parent id are kept
// as they grow, so a table of any size costs O(n log n).
void DSPNetGraph::applyGroups(const QList<DSPGroup*>& records)
{
    struct Children
    {
        QRectF rect;
        int maxLevel = 0;
    };
    std::vector<bool> done(size_t(records.size()), false);
    for (qsizetype i = 0; i < records.size(); ++i) {
        const DSPGroup* record = records.at(i);
        const auto found = record ? groupIndexes->constFind(record->id) : groupIndexes->constEnd();
        if (found == groupIndexes->constEnd())
            continue;
        GraphGroup& group = (*groups)[found.value()];
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
    for (const GraphGroup& group : std::as_const(*groups))
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
            groups->append(group);
            addChild(group, index);
        }
        thisPass.swap(nextPass);
    }
}

// The widget grows with the network but never shrinks at a constant scale,
// so the view does not jump when a unit comes and goes. A network too wide
// for a widget is cut at the largest size Qt allows.
void DSPNetGraph::updateWidgetSize(bool force)
{
    const int width = int(float(maxX + extraWidth) * zoom);
    const int height = int(float(maxY + extraHeight) * zoom);
    if (force || width > widgetSize.width())
        widgetSize.setWidth(std::min(width, QWIDGETSIZE_MAX));
    if (force || height > widgetSize.height())
        widgetSize.setHeight(std::min(height, QWIDGETSIZE_MAX));
    setMinimumSize(widgetSize);
    setMaximumSize(widgetSize);
}

// The plates are scaled once per change of scale, by the reader, so that a
// repaint draws them as they are.
void DSPNetGraph::loadFaceplates()
{
    // Every graph of the process draws the same two plates: decode and scale
    // them once per size, not once per widget or per return to a zoom. Only
    // the last size is kept, as zooming visits any number of them.
    static QSize cachedSize;
    static QImage cachedFaceplate;
    static QImage cachedHighlight;
    const QSize size(int(zoom * float(plateWidth)), int(zoom * float(plateHeight)));
    if (size != cachedSize || cachedFaceplate.isNull()) {
        cachedFaceplate = readScaled(QString::fromLatin1(faceplatePath), size);
        cachedHighlight = readScaled(QString::fromLatin1(faceplateHighlightPath), size);
        cachedSize = size;
    }
    faceplate = cachedFaceplate;
    faceplateHighlight = cachedHighlight;
}

// The widget is as large as the whole graph and sits in a scroll area, so
// most of it is out of view: a repaint draws only what touches its rectangle.
void DSPNetGraph::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    render(&painter, false, event->rect());
    // A paint of part of the view leaves older pixels beside it: the screen is
    // known to show the key only when all that is visible was painted.
    const size_t key = pictureKey();
    if ((visibleRegion() - event->region()).isEmpty()) {
        paintedKey = key;
        paintedValid = true;
    } else if (key != paintedKey) {
        paintedValid = false;
    }
}

void DSPNetGraph::saveImage(QString fileName)
{
    if (qint64(width()) * height() * 4 > maxImageBytes)
        return;
    QImage image(size(), QImage::Format_ARGB32);
    QPainter painter(&image);
    image.fill(Qt::transparent);
    render(&painter, true);
    painter.end();
    image.save(fileName);
}

// Send lines lie under the plates, the other connections over them; plates
// and groups are drawn at device scale, texts and lines under the painter's.
void DSPNetGraph::render(QPainter* painter, bool toImage)
{
    renderArea(painter, toImage, everywhere);
}

void DSPNetGraph::render(QPainter* painter, bool toImage, const QRect& exposed)
{
    const double s = zoom;
    const QRectF device =
        QRectF(exposed).adjusted(-devicePadding, -devicePadding, devicePadding, devicePadding);
    const QRectF area(device.x() / s, device.y() / s, device.width() / s, device.height() / s);
    renderArea(painter, toImage,
               area.adjusted(-graphPadding, -graphPadding, graphPadding, graphPadding));
}

// area is in unscaled graph coordinates, padded by the reach of the pens.
void DSPNetGraph::renderArea(QPainter* painter, bool toImage, const QRectF& area)
{
    painter->setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing, true);
    if (showSends)
        drawSendLines(painter, area);
    drawPlates(painter, area);
    if (showGroups || showGuids)
        drawGroups(painter, toImage, area);
    painter->scale(zoom, zoom);
    drawNodeTexts(painter, area);
    drawEllipses(painter, area);
    drawConnections(painter, area);
    if (showLegend)
        drawLegend(painter);
}

void DSPNetGraph::drawSendLines(QPainter* painter, const QRectF& area)
{
    painter->setPen(sendPen);
    for (const QLine& line : std::as_const(*sendLines)) {
        if (lineMisses(line, area))
            continue;
        painter->drawLine(qRound(float(line.x1()) * zoom), qRound(float(line.y1()) * zoom),
                          qRound(float(line.x2()) * zoom), qRound(float(line.y2()) * zoom));
    }
}

// The state colour is filled first and the translucent glass plate drawn over
// it, so the colour and the meters show through the glass.
void DSPNetGraph::drawPlates(QPainter* painter, const QRectF& area)
{
    const double s = zoom;
    for (const GraphNode& node : std::as_const(*nodes)) {
        if (rectMisses(nodeBounds(node), area))
            continue;
        const double x = node.position.x();
        const double y = node.position.y();
        const QRectF state((x + 3) * s, (y + 3) * s, 114 * s, 39 * s);
        painter->fillRect(state, stateColor(node));
        if (node.active && showVolumeLevels)
            drawMeters(painter, node, state);
        const bool selected = node.id == selectedId && node.groupId == selectedGroupId;
        painter->drawImage(QPointF(x * s, y * s), selected ? faceplateHighlight : faceplate);
    }
}

// Up to 0 dB a bar fills its share of the height in green; above 0 dB it is
// full and red. Sixteen meters fill the plate; more run past its side.
void DSPNetGraph::drawMeters(QPainter* painter, const GraphNode& node, const QRectF& rect)
{
    const float step = float(rect.width()) * 0.0625f;
    const float height = float(rect.height());
    const float left = float(rect.x());
    painter->fillRect(
        QRectF(rect.x(), rect.y(), double(float(node.levels.size()) * step), rect.height()),
        meterBackgroundColor);
    const int bottom = int(height + float(rect.y()));
    const int top = int(rect.top());
    const int lineBottom = int(rect.bottom());
    for (qsizetype i = 0; i < node.levels.size(); ++i) {
        const float level = node.levels.at(i);
        const bool over = level > 1.0f;
        const float barHeight = height * (over ? 1.0f : level);
        const float barX = float(i) * step + left;
        painter->fillRect(int(barX), bottom, int(step), -int(barHeight),
                          over ? meterOverColor : meterColor);
        // Uses whatever pen the painter holds, as the bars' separators always have.
        const int lineX = int(barX + step);
        painter->drawLine(lineX, top, lineX, lineBottom);
    }
}

void DSPNetGraph::drawGroups(QPainter* painter, bool toImage, const QRectF& area)
{
    const double s = zoom;
    // On the screen the texts are pale on the dark backdrop; a saved image has
    // no backdrop, so they take the plates' blue there.
    const QPen imageTextPen(QColor(66, 186, 255, 255));
    // A text starts at its x and runs right from there; no glyph of the font
    // is wider than maxWidth, and none reaches further from its baseline than
    // the line height. Measuring the real width would lay the text out.
    const QFontMetricsF metrics(painter->font());
    const double glyphWidth = std::max(metrics.maxWidth(), metrics.height());
    const double lineHeight = metrics.height();
    const QRectF deviceArea(area.topLeft() * s, area.size() * s);
    const auto textMisses = [&](int x, int y, const QString& text) {
        return boxMisses(x, y - lineHeight, x + glyphWidth * double(text.size()), y + lineHeight,
                         deviceArea);
    };
    for (const GraphGroup& group : std::as_const(*groups)) {
        const QRectF rect(group.rect.topLeft() * s, group.rect.size() * s);
        const int k = group.level == 0 ? 0 : 1;
        if (!rectMisses(group.rect, area)) {
            painter->setPen(groupRectPens[k]);
            painter->drawRects(&rect, 1);
        }
        if (zoom < 0.5f)
            continue;
        const QPen& textPen = toImage ? imageTextPen : groupTextPens[k];
        bool guidWritten = false;
        if (!group.name.isEmpty() && showGroups) {
            QString text = group.name;
            if (!group.guid.isEmpty() && showGuids && group.rect.width() > 240.0) {
                text += QLatin1Char(' ') + group.guid;
                guidWritten = true;
            }
            const int x = int(rect.x());
            const int y = int(rect.height() + double(float(group.level * 5) * zoom) + rect.y());
            if (!textMisses(x, y, text)) {
                painter->setPen(textPen);
                painter->drawText(x, y, text);
            }
        }
        if (!group.guid.isEmpty() && showGuids && !guidWritten) {
            const int x = int(rect.x());
            const int y =
                int(rect.height() + double(float((group.level + 2) * 5) * zoom) + rect.y());
            if (!textMisses(x, y, group.guid)) {
                painter->setPen(textPen);
                painter->drawText(x, y, group.guid);
            }
        }
    }
}

void DSPNetGraph::drawNodeTexts(QPainter* painter, const QRectF& area)
{
    painter->setFont(nodeFont);
    if (nodeTexts.size() > 4 * nodes->size() + 64)
        nodeTexts.clear();
    for (const GraphNode& node : std::as_const(*nodes)) {
        if (rectMisses(nodeBounds(node), area))
            continue;
        QString text = node.name;
        if (showCPUUsage) {
            const float value = useInclusiveCPU ? node.inclusiveCPU : node.exclusiveCPU;
            text = QStringLiteral("[%1%]\n%2")
                       .arg(double(value * 100.0f), 0, 'f', 2, QLatin1Char(' '))
                       .arg(node.name);
        }
        const QStaticText& laidOut = nodeText(text);
        const QRect box(node.position.x() + 5, node.position.y() + 5, 110, 35);
        drawNodeText(painter, laidOut, box.translated(0, 1), shadowPen);
        drawNodeText(painter, laidOut, box, textPen);
    }
}

// A plate's text, centred in its box and cut at the box's edges. Each line
// is already centred across the box's width; a text that does not fit, rare
// and hard to read anyway, is laid out afresh by the painter, which centres
// even a line wider than the box and cuts it on both sides.
void DSPNetGraph::drawNodeText(QPainter* painter, const QStaticText& text, const QRect& box,
                               const QPen& pen)
{
    painter->setPen(pen);
    const QSizeF size = text.size();
    if (size.width() > box.width() || size.height() > box.height()) {
        const int flags = Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextWordWrap;
        painter->drawText(box, flags, text.text().replace(QChar::LineSeparator, QLatin1Char('\n')));
        return;
    }
    // Half a device pixel lower puts the glyphs on the rows where the
    // painter's own layout of the same text puts them.
    const double top = box.y() + (box.height() - size.height()) / 2.0 + 0.5 / double(zoom);
    painter->drawStaticText(QPointF(box.x(), top), text);
}

// Wrapping and shaping a text costs far more than drawing it, and the plates
// are drawn ten times a second with texts that change once a snapshot at
// most: each text is laid out once and kept. The caller empties the cache
// when it holds many more texts than there are plates.
const QStaticText& DSPNetGraph::nodeText(const QString& text)
{
    const auto found = nodeTexts.constFind(text);
    if (found != nodeTexts.constEnd())
        return *found;
    // A unit's name is plain text whatever it looks like; a line break inside
    // it breaks the line as it does in any text the painter writes.
    QString lines = text;
    lines.replace(QLatin1Char('\n'), QChar::LineSeparator);
    QStaticText laidOut(lines);
    laidOut.setTextFormat(Qt::PlainText);
    laidOut.setTextOption(QTextOption(Qt::AlignHCenter));
    laidOut.setTextWidth(110);
    laidOut.prepare(QTransform::fromScale(zoom, zoom), nodeFont);
    return *nodeTexts.insert(text, laidOut);
}

void DSPNetGraph::drawEllipses(QPainter* painter, const QRectF& area)
{
    painter->setFont(ellipsisFont);
    painter->setPen(ellipsisPen);
    const QString dots = QStringLiteral("...");
    for (const QPoint& point : std::as_const(*ellipsisPoints)) {
        const QRect rect(point, QSize(plateWidth, plateHeight));
        if (!rectMisses(rect, area))
            painter->drawText(rect, Qt::AlignHCenter | Qt::AlignVCenter, dots);
    }
}

void DSPNetGraph::drawConnections(QPainter* painter, const QRectF& area)
{
    painter->setPen(standardPen);
    drawLineBatches(painter, *standardLines, area);
    painter->setPen(sidechainPen);
    drawLineBatches(painter, *sidechainLines, area);
    painter->setPen(sendSidechainPen);
    drawLineBatches(painter, *sendSidechainLines, area);
}

// One drawLines call per batch that has a line in the area, batches cut from
// the start of the list as the painter cuts a whole list.
void DSPNetGraph::drawLineBatches(QPainter* painter, const QList<QLine>& lines, const QRectF& area)
{
    if (area == everywhere) {
        painter->drawLines(lines);
        return;
    }
    const qsizetype count = lines.size();
    for (qsizetype first = 0; first < count; first += lineBatchSize) {
        const int size = int(std::min<qsizetype>(lineBatchSize, count - first));
        const QLine* batch = lines.constData() + first;
        if (std::all_of(batch, batch + size,
                        [&area](const QLine& line) { return lineMisses(line, area); }))
            continue;
        painter->drawLines(batch, size);
    }
}

// Stands at the left, around the lowest row of plates.
void DSPNetGraph::drawLegend(QPainter* painter)
{
    const int b = maxY;
    painter->setFont(nodeFont);
    painter->setPen(textPen);
    painter->drawText(10, b - 27, QStringLiteral("Connections:"));
    const struct
    {
        const QPen* pen;
        int y;
        const char* text;
    } rows[] = {{&standardPen, b - 15, "Standard"},
                {&sidechainPen, b, "Sidechain"},
                {&sendPen, b + 15, "Send"},
                {&sendSidechainPen, b + 30, "Send Sidechain"}};
    for (const auto& row : rows) {
        painter->setPen(*row.pen);
        painter->drawLine(10, row.y, 30, row.y);
        painter->setPen(textPen);
        painter->drawText(40, row.y + 3, QString::fromLatin1(row.text));
    }
}

QColor DSPNetGraph::stateColor(const GraphNode& node) const
{
    if (!highlightText.isEmpty() && highlightMatches(node, highlightText))
        return highlightColor;
    if (node.bypass)
        return bypassColor;
    if (!node.active)
        return inactiveColor;
    if (showCPUUsage)
        return cpuColor(node);
    return activeColor;
}

// Green at or below the low end, yellow half way, red at or above the high end.
QColor DSPNetGraph::cpuColor(const GraphNode& node) const
{
    const float value = useInclusiveCPU ? node.inclusiveCPU : node.exclusiveCPU;
    float t = (1.0f / (maxCPU - minCPU)) * (value - minCPU);
    // Written so that a NaN share lands on the high end instead of in an
    // undefined conversion.
    if (!(t >= 0.0f))
        t = t < 0.0f ? 0.0f : 1.0f;
    t = std::min(t, 1.0f);
    const int hue = int((1.0f - t) * 120.0f);
    return QColor::fromHsv(hue, 255, 255, 255);
}

// "0x" followed by digits finds a unit or a group by the last hexadecimal
// digits of its id; any other text is looked for in the names. The prefix is
// case-sensitive, so "0X..." is a name search.
bool DSPNetGraph::highlightMatches(const GraphNode& node, const QString& text)
{
    if (text.startsWith(QLatin1String("0x")) && text.size() > 2) {
        const QString tail = text.mid(2);
        const auto endsWith = [&tail](quint64 id) {
            return QStringLiteral("%1")
                .arg(id, 16, 16, QLatin1Char('0'))
                .endsWith(tail, Qt::CaseInsensitive);
        };
        return endsWith(node.id) || endsWith(node.groupId);
    }
    return node.name.contains(text, Qt::CaseSensitive);
}

void DSPNetGraph::mousePressEvent(QMouseEvent* event)
{
    clickPending = true;
    QWidget::mousePressEvent(event); // ignored, so the panel can drag
}

void DSPNetGraph::mouseMoveEvent(QMouseEvent* event)
{
    clickPending = false;
    QWidget::mouseMoveEvent(event);
}

// A press and a release without a move between is a click: it selects the
// plate under it (and opens its menu for the right button) or, beside the
// plates, ends the selection. Anything else belongs to the panel's drag.
void DSPNetGraph::mouseReleaseEvent(QMouseEvent* event)
{
    const bool button = event->button() == Qt::LeftButton || event->button() == Qt::RightButton;
    if (!clickPending || !button) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    const int hit = hitTest(QPointF(event->pos()));
    if (hit < 0) {
        selectedId = noSelection;
        selectedGroupId = noSelection;
        return;
    }
    // A copy: a snapshot may replace nodes while the menu is open.
    const GraphNode node = nodes->at(hit);
    selectedId = node.id;
    selectedGroupId = node.groupId;
    selectedPosition = node.position;
    requestRepaint();
    if (event->button() == Qt::RightButton)
        openContextMenu(node, event->globalPosition().toPoint());
    QWidget::mouseReleaseEvent(event);
}

int DSPNetGraph::hitTest(const QPointF& position) const
{
    const double s = zoom;
    for (qsizetype i = 0; i < nodes->size(); ++i) {
        const QPoint corner = nodes->at(i).position;
        const QRectF plate(corner.x() * s, corner.y() * s, plateWidth * s, plateHeight * s);
        if (plate.contains(position))
            return int(i);
    }
    return -1;
}

// Each entry is wired, when the menu opens, to the command that reverses the
// state its check mark shows. The commands go to contextNodeId, so a snapshot
// that arrives while the menu is open changes nothing about where they go.
void DSPNetGraph::openContextMenu(const GraphNode& node, const QPoint& globalPosition)
{
    contextNodeId = node.id;
    QMenu menu(this);
    menu.setTitle(node.name);
    QAction* active = menu.addAction(QStringLiteral("Active"));
    active->setCheckable(true);
    active->setChecked(node.active);
    connect(active, SIGNAL(triggered()), this,
            node.active ? SLOT(slotDSPDisable()) : SLOT(slotDSPEnable()));
    QAction* bypass = menu.addAction(QStringLiteral("Bypass"));
    bypass->setCheckable(true);
    bypass->setChecked(node.bypass);
    connect(bypass, SIGNAL(triggered()), this,
            node.bypass ? SLOT(slotDSPUnbypass()) : SLOT(slotDSPBypass()));
    execContextMenu(&menu, globalPosition);
}

void DSPNetGraph::execContextMenu(QMenu* menu, const QPoint& globalPosition)
{
    menu->exec(globalPosition);
}

void DSPNetGraph::slotDSPEnable()
{
    tree->setDSPEnabled(contextNodeId, true);
}

void DSPNetGraph::slotDSPDisable()
{
    tree->setDSPEnabled(contextNodeId, false);
}

void DSPNetGraph::slotDSPBypass()
{
    tree->setDSPBypass(contextNodeId, true);
}

void DSPNetGraph::slotDSPUnbypass()
{
    tree->setDSPBypass(contextNodeId, false);
}
