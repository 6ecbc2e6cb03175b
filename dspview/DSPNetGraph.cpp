#include "DSPNetGraph.h"

#include "DSPTree.h"

#include <QAction>
#include <QMenu>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QTimer>

#include <algorithm>

namespace {

const float minScale = 0.2f;
const float maxScale = 2.0f;
const int repaintInterval = 10;
// From this size on, a new shape costs a decoding and a layout of some tens
// of milliseconds each; in one turn of the event loop together they would
// keep a click waiting too long.
const qsizetype deferredLayoutFrom = 10000;

// A saved image is as large as the graph, and the graph is as large as the
// target's network makes it. Beyond this many bytes the save is dropped
// silently, like any failed save, instead of asking for gigabytes.
const qint64 maxImageBytes = qint64(1) << 30;

} // namespace

DSPNetGraph::DSPNetGraph(DSPTree* tree, QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags), tree(tree), netLayout(new DSPNetGraphLayout),
      netPainter(new DSPNetGraphPainter), repaintDecision(new DSPNetGraphRepaint),
      repaintTimer(new QTimer(this)), layoutTimer(new QTimer(this)), contextNodeId(0),
      clickPending(false), deferredLayoutUnits(deferredLayoutFrom)
{
    repaintTimer->setSingleShot(true);
    connect(repaintTimer, SIGNAL(timeout()), this, SLOT(update()));
    layoutTimer->setSingleShot(true);
    layoutTimer->setInterval(0);
    connect(layoutTimer, SIGNAL(timeout()), this, SLOT(slotLayoutDue()));
    connect(tree, SIGNAL(dspNetTreeUpdated()), this, SLOT(slotProcessTree()));
}

DSPNetGraph::~DSPNetGraph()
{
    delete netLayout;
    delete netPainter;
    delete repaintDecision;
}

void DSPNetGraph::requestRepaint()
{
    if (!repaintTimer->isActive())
        repaintTimer->start(repaintInterval);
}

void DSPNetGraph::setHighlightText(QString text)
{
    // The panel repaints at once after this call.
    settings.highlightText = text;
}

void DSPNetGraph::setInclusiveCPU(bool value)
{
    setSwitch(&settings.useInclusiveCPU, value);
}

void DSPNetGraph::setMaxCPU(float value)
{
    // A refused value still repaints: the panel's spin boxes never offer one.
    if (value > settings.minCPU && value <= 100.0f)
        settings.maxCPU = value;
    requestRepaint();
}

void DSPNetGraph::setMinCPU(float value)
{
    if (value < settings.maxCPU && value >= 0.0f)
        settings.minCPU = value;
    requestRepaint();
}

void DSPNetGraph::setScale(float value)
{
    const float clamped = std::max(std::min(value, maxScale), minScale);
    if (clamped == settings.scale)
        return;
    settings.scale = clamped;
    netPainter->setScale(clamped, netPainter->devicePixelRatio());
    updateWidgetSize(true);
    requestRepaint();
}

void DSPNetGraph::setShowCPUUsage(bool value)
{
    setSwitch(&settings.showCPUUsage, value);
}

void DSPNetGraph::setShowExcessive(bool value)
{
    if (value == netLayout->showExcessive)
        return;
    netLayout->showExcessive = value;
    slotProcessTree();
}

void DSPNetGraph::setShowGroups(bool value)
{
    setSwitch(&settings.showGroups, value);
}

void DSPNetGraph::setShowGuids(bool value)
{
    setSwitch(&settings.showGuids, value);
}

void DSPNetGraph::setShowInactive(bool value)
{
    if (value == netLayout->showInactive)
        return;
    netLayout->showInactive = value;
    slotProcessTree();
}

void DSPNetGraph::setShowLegend(bool value)
{
    setSwitch(&settings.showLegend, value);
}

void DSPNetGraph::setShowSends(bool value)
{
    setSwitch(&settings.showSends, value);
}

void DSPNetGraph::setShowVolumeLevels(bool value)
{
    setSwitch(&settings.showVolumeLevels, value);
}

void DSPNetGraph::setSwitch(bool* field, bool value)
{
    if (value == *field)
        return;
    *field = value;
    requestRepaint();
}

bool DSPNetGraph::selectedNodeRect(QRectF* rect) const
{
    if (settings.selectedId == noSelection)
        return false;
    *rect = QRectF(selectedPosition,
                   QSizeF(DSPNetGraphLayout::plateWidth, DSPNetGraphLayout::plateHeight));
    return true;
}

// A large network that needs a whole new layout is laid out in the next turn
// of the event loop, after the one that decoded it: the lists hold no pointer
// into the tree, so until then the graph shows and answers for the previous
// snapshot, whole, and a newer snapshot that arrives first is simply the one
// laid out. A snapshot that keeps the shape updates the plates at once.
void DSPNetGraph::slotProcessTree()
{
    const bool refresh =
        netLayout->canRefresh(*tree, settings.selectedId, settings.selectedGroupId);
    if (!refresh && tree->nodes.size() >= deferredLayoutUnits) {
        if (!layoutTimer->isActive())
            layoutTimer->start();
        return;
    }
    layoutTimer->stop();
    processTreeNow();
}

void DSPNetGraph::slotLayoutDue()
{
    processTreeNow();
}

// The layout follows the selected node: when a snapshot moves it the panel
// scrolls after it, and when it is gone the selection ends.
void DSPNetGraph::processTreeNow()
{
    netLayout->processTree(*tree, settings.selectedId, settings.selectedGroupId);
    updateWidgetSize(false);
    const QPoint newPosition = netLayout->selectedNewPosition;
    if (netLayout->selectedTreeNode && newPosition != selectedPosition) {
        const QPoint previous = selectedPosition;
        selectedPosition = newPosition;
        Q_EMIT selectedNodePositionChanged(newPosition, previous);
    }
    if (!netLayout->selectedTreeNode) {
        settings.selectedId = noSelection;
        settings.selectedGroupId = noSelection;
    }
    repaintDecision->layoutDone(*netLayout, settings);
    if (repaintDecision->needsRepaint(settings))
        requestRepaint();
}

// The widget grows with the network but never shrinks at a constant scale,
// so the view does not jump when a unit comes and goes. A network too wide
// for a widget is cut at the largest size Qt allows.
void DSPNetGraph::updateWidgetSize(bool force)
{
    const QSize needed = netLayout->neededSize(settings.scale);
    if (force || needed.width() > widgetSize.width())
        widgetSize.setWidth(std::min(needed.width(), QWIDGETSIZE_MAX));
    if (force || needed.height() > widgetSize.height())
        widgetSize.setHeight(std::min(needed.height(), QWIDGETSIZE_MAX));
    setMinimumSize(widgetSize);
    setMaximumSize(widgetSize);
}

// The widget is as large as the whole graph and sits in a scroll area, so
// most of it is out of view: a repaint draws only what touches its rectangle.
void DSPNetGraph::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    render(&painter, false, event->rect());
    repaintDecision->painted(settings, (visibleRegion() - event->region()).isEmpty());
}

// The image has one pixel per logical pixel, whatever the screen.
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

void DSPNetGraph::render(QPainter* painter, bool toImage)
{
    netPainter->render(painter, *netLayout, settings, toImage, DSPNetGraphPainter::everywhere);
}

void DSPNetGraph::render(QPainter* painter, bool toImage, const QRect& exposed)
{
    netPainter->render(painter, *netLayout, settings, toImage,
                       DSPNetGraphPainter::areaOf(exposed, settings.scale));
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
        settings.selectedId = noSelection;
        settings.selectedGroupId = noSelection;
        return;
    }
    // A copy: a snapshot may replace nodes while the menu is open.
    const GraphNode node = netLayout->nodes.at(hit);
    settings.selectedId = node.id;
    settings.selectedGroupId = node.groupId;
    selectedPosition = node.position;
    requestRepaint();
    if (event->button() == Qt::RightButton)
        openContextMenu(node, event->globalPosition().toPoint());
    QWidget::mouseReleaseEvent(event);
}

int DSPNetGraph::hitTest(const QPointF& position) const
{
    const double s = settings.scale;
    const QList<GraphNode>& nodes = netLayout->nodes;
    for (qsizetype i = 0; i < nodes.size(); ++i) {
        const QPoint corner = nodes.at(i).position;
        const QRectF plate(corner.x() * s, corner.y() * s, DSPNetGraphLayout::plateWidth * s,
                           DSPNetGraphLayout::plateHeight * s);
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
