#ifndef DSPNETGRAPH_H
#define DSPNETGRAPH_H

#include "DSPNetGraphLayout.h"
#include "DSPNetGraphPainter.h"
#include "DSPNetGraphRepaint.h"
#include "DSPNetGraphSettings.h"

#include <QPoint>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QWidget>

class DSPTree;
class QMenu;
class QPainter;
class QTimer;

// The DSP network as a live graph. The widget owns the layout of each
// snapshot (DSPNetGraphLayout), the painting (DSPNetGraphPainter) and the
// decision to skip a repaint (DSPNetGraphRepaint); what it does itself is to
// hold the settings and to answer the mouse: a click selects a plate, a right
// click opens the plate's menu, whose four commands go to the target.
class DSPNetGraph : public QWidget
{
    Q_OBJECT

public:
    static constexpr quint64 noSelection = DSPNetGraphSettings::noSelection;

    explicit DSPNetGraph(DSPTree* tree, QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~DSPNetGraph() override;

    // Merges every request within 10 ms into one update().
    void requestRepaint();

    void setHighlightText(QString text);
    void setInclusiveCPU(bool value);
    void setMaxCPU(float value);
    void setMinCPU(float value);
    void setScale(float value);
    void setShowCPUUsage(bool value);
    void setShowExcessive(bool value);
    void setShowGroups(bool value);
    void setShowGuids(bool value);
    void setShowInactive(bool value);
    void setShowLegend(bool value);
    void setShowSends(bool value);
    void setShowVolumeLevels(bool value);

    float scale() const { return settings.scale; }
    const DSPNetGraphSettings& viewSettings() const { return settings; }
    const DSPNetGraphLayout& graphLayout() const { return *netLayout; }
    bool selectedNodeRect(QRectF* rect) const;
    void saveImage(QString fileName);
    // Draws the whole graph.
    void render(QPainter* painter, bool toImage);
    // Draws only what can touch `exposed`, a rectangle in widget pixels (at
    // the current scale): the pixels inside it come out as a whole render
    // leaves them, and nothing is promised outside it.
    void render(QPainter* painter, bool toImage, const QRect& exposed);

    // --- Test hooks. ---
    // The plates of the last layout, for tests that hold only the window.
    const QList<GraphNode>& graphNodes() const { return netLayout->nodes; }
    // Runs the plate's menu, which is wired and titled already; snapshots go
    // on arriving meanwhile. Tests override it to pick an entry without a
    // nested event loop.
    virtual void execContextMenu(QMenu* menu, const QPoint& globalPosition);
    // Networks of at least this many units are laid out in a later turn of
    // the event loop than their decoding (see slotProcessTree).
    void setDeferredLayoutUnits(qsizetype units) { deferredLayoutUnits = units; }
    // --- End of test hooks. ---

Q_SIGNALS:
    void selectedNodePositionChanged(QPoint position, QPoint previousPosition);

public Q_SLOTS:
    void slotProcessTree();
    void slotDSPEnable();
    void slotDSPDisable();
    void slotDSPBypass();
    void slotDSPUnbypass();

private Q_SLOTS:
    void slotLayoutDue();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void processTreeNow();
    void setSwitch(bool* field, bool value);
    void updateWidgetSize(bool force);
    int hitTest(const QPointF& position) const;
    void openContextMenu(const GraphNode& node, const QPoint& globalPosition);

    DSPTree* tree;
    DSPNetGraphLayout* netLayout;
    DSPNetGraphPainter* netPainter;
    DSPNetGraphRepaint* repaintDecision;
    QTimer* repaintTimer;
    QTimer* layoutTimer;
    DSPNetGraphSettings settings;
    QSize widgetSize;
    QPoint selectedPosition;
    quint64 contextNodeId;
    bool clickPending;
    qsizetype deferredLayoutUnits;
};

#endif // DSPNETGRAPH_H
