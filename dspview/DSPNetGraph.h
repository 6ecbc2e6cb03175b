#ifndef DSPNETGRAPH_H
#define DSPNETGRAPH_H

#include <QColor>
#include <QFont>
#include <QHash>
#include <QImage>
#include <QLine>
#include <QList>
#include <QPen>
#include <QPoint>
#include <QRectF>
#include <QSize>
#include <QStaticText>
#include <QString>
#include <QWidget>

#include <vector>

class DSPTree;
class QMenu;
class QPainter;
class QTimer;
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

// The DSP network as a live graph: a plate per unit laid out in columns by
// depth, the connections between them, groups, sends and meters. Each new
// snapshot is walked once into flat lists; painting and hit testing read only
// those lists, so the tree may be rebuilt at any time after a layout.
class DSPNetGraph : public QWidget
{
    Q_OBJECT

public:
    static constexpr quint64 noSelection = ~quint64(0);

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

    float scale() const { return zoom; }
    bool selectedNodeRect(QRectF* rect) const;
    void saveImage(QString fileName);
    // Draws the whole graph.
    void render(QPainter* painter, bool toImage);
    // Draws only what can touch `exposed`, a rectangle in widget pixels (at
    // the current scale): the pixels inside it come out as a whole render
    // leaves them, and nothing is promised outside it.
    void render(QPainter* painter, bool toImage, const QRect& exposed);

    // True when the node's plate is painted magenta for the search text.
    static bool highlightMatches(const GraphNode& node, const QString& text);

    // Read-only views of the last layout and of the settings.
    const QList<GraphNode>& graphNodes() const { return *nodes; }
    const QList<QLine>& graphStandardLines() const { return *standardLines; }
    const QList<QLine>& graphSendLines() const { return *sendLines; }
    const QList<QLine>& graphSidechainLines() const { return *sidechainLines; }
    const QList<QLine>& graphSendSidechainLines() const { return *sendSidechainLines; }
    const QList<QPoint>& graphEllipsisPoints() const { return *ellipsisPoints; }
    const QList<GraphGroup>& graphGroups() const { return *groups; }
    QSize graphSize() const { return widgetSize; }
    quint64 selectedNodeId() const { return selectedId; }
    quint64 selectedNodeGroupId() const { return selectedGroupId; }
    quint64 contextMenuNodeId() const { return contextNodeId; }
    QString highlight() const { return highlightText; }
    float minimumCPU() const { return minCPU; }
    float maximumCPU() const { return maxCPU; }
    bool isInclusiveCPU() const { return useInclusiveCPU; }
    bool isShowingCPUUsage() const { return showCPUUsage; }
    bool isShowingExcessive() const { return showExcessive; }
    bool isShowingGroups() const { return showGroups; }
    bool isShowingGuids() const { return showGuids; }
    bool isShowingInactive() const { return showInactive; }
    bool isShowingLegend() const { return showLegend; }
    bool isShowingSends() const { return showSends; }
    bool isShowingVolumeLevels() const { return showVolumeLevels; }
    const QImage& faceplateImage() const { return faceplate; }
    const QImage& faceplateHighlightImage() const { return faceplateHighlight; }

Q_SIGNALS:
    void selectedNodePositionChanged(QPoint position, QPoint previousPosition);

public Q_SLOTS:
    void slotProcessTree();
    void slotDSPEnable();
    void slotDSPDisable();
    void slotDSPBypass();
    void slotDSPUnbypass();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

    // Runs the plate's menu, which is wired and titled already. Snapshots go
    // on arriving meanwhile. Tests override this to pick an entry without a
    // nested event loop.
    virtual void execContextMenu(QMenu* menu, const QPoint& globalPosition);

private:
    struct LayoutStep;

    void layoutNetwork(DSPNode* root);
    void resetLayout();
    void enterNode(const DSPConnection& connection, QPoint parentPosition, int inputIndex,
                   int inputCount, std::vector<LayoutStep>& steps);
    void placeNode(const DSPNode* node, QPoint position);
    void addToGroup(quint64 groupId, QPoint position);
    QList<DSPConnection> keptInputs(const DSPNode* node, bool* collapsed);
    void hideSubTree(DSPNode* start);
    void visitNextInput(LayoutStep& step, std::vector<LayoutStep>& steps);
    void finishNode(const LayoutStep& step);
    void addLine(const DSPConnection& connection, QPoint position, QPoint parentPosition,
                 int inputIndex, int inputCount);
    void followSelection(DSPNode* node, QPoint position);
    void collectSendLines();
    void applyGroups(const QList<DSPGroup*>& records);
    void updateWidgetSize(bool force);
    void loadFaceplates();

    void renderArea(QPainter* painter, bool toImage, const QRectF& area);
    void drawSendLines(QPainter* painter, const QRectF& area);
    void drawPlates(QPainter* painter, const QRectF& area);
    void drawMeters(QPainter* painter, const GraphNode& node, const QRectF& rect);
    void drawGroups(QPainter* painter, bool toImage, const QRectF& area);
    void drawNodeTexts(QPainter* painter, const QRectF& area);
    void drawNodeText(QPainter* painter, const QStaticText& text, const QRect& box,
                      const QPen& pen);
    const QStaticText& nodeText(const QString& text);
    size_t listsFingerprint() const;
    size_t pictureKey() const;
    void drawEllipses(QPainter* painter, const QRectF& area);
    void drawConnections(QPainter* painter, const QRectF& area);
    void drawLineBatches(QPainter* painter, const QList<QLine>& lines, const QRectF& area);
    void drawLegend(QPainter* painter);
    QColor stateColor(const GraphNode& node) const;
    QColor cpuColor(const GraphNode& node) const;
    int hitTest(const QPointF& position) const;
    void openContextMenu(const GraphNode& node, const QPoint& globalPosition);

    DSPTree* tree;
    QList<GraphNode>* nodes;
    QList<QLine>* standardLines;
    QList<QLine>* sendLines;
    QList<QLine>* sidechainLines;
    QList<QLine>* sendSidechainLines;
    QList<QPoint>* ellipsisPoints;
    QList<GraphGroup>* groups;
    QHash<int, QPoint>* nodePositions;
    // Index of each group id in groups, so that placing a node needs no search.
    QHash<quint64, qsizetype>* groupIndexes;
    QFont nodeFont;
    QFont ellipsisFont;
    QImage faceplate;
    QImage faceplateHighlight;
    QPen textPen;
    QPen shadowPen;
    QPen standardPen;
    QPen sendPen;
    QPen sidechainPen;
    QPen sendSidechainPen;
    QPen ellipsisPen;
    QPen groupRectPens[2];
    QPen groupTextPens[2];
    QColor activeColor;
    QColor inactiveColor;
    QColor bypassColor;
    QColor highlightColor;
    QColor meterBackgroundColor;
    QColor meterColor;
    QColor meterOverColor;
    QString highlightText;
    QSize widgetSize;
    quint64 selectedId;
    quint64 selectedGroupId;
    QPoint selectedPosition;
    DSPNode* selectedTreeNode; // only compared with null, never followed
    QPoint selectedNewPosition;
    float zoom;
    int currentRow;
    int maxX;
    int maxY;
    bool clickPending;
    bool showInactive;
    bool showExcessive;
    bool showCPUUsage;
    bool showVolumeLevels;
    bool showGroups;
    bool showGuids;
    bool showSends;
    bool showLegend;
    float minCPU;
    float maxCPU;
    bool useInclusiveCPU;
    QTimer* repaintTimer;
    quint64 contextNodeId;
    QHash<QString, QStaticText> nodeTexts; // laid-out plate texts by their text
    size_t nodesFingerprint;               // of the plates placed so far in this pass
    size_t layoutFingerprint;              // of the last pass
    size_t paintedKey;                     // of the picture last painted on the screen
    bool paintedValid;                     // false while the screen mixes pictures
};

#endif // DSPNETGRAPH_H
