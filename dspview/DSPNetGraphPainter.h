#ifndef DSPNETGRAPHPAINTER_H
#define DSPNETGRAPHPAINTER_H

#include <QColor>
#include <QFont>
#include <QHash>
#include <QImage>
#include <QPen>
#include <QRectF>
#include <QStaticText>
#include <QString>

class DSPNetGraphLayout;
class QPainter;
struct DSPNetGraphSettings;
struct GraphNode;

// Draws the lists of a layout: plates with their state colour, meters and
// texts, connections, groups, "..." marks and the legend. A node is drawn in
// three layers: the state colour, the meters over it, and the translucent
// glass plate over both; its text is written on the plate last. Needs no
// widget: the widget paints through it, and so does the saved image.
class DSPNetGraphPainter
{
public:
    DSPNetGraphPainter();

    // Reads the plates for this scale and device pixel ratio; an unchanged
    // pair reads nothing.
    void setScale(float scale, qreal devicePixelRatio);
    qreal devicePixelRatio() const { return pixelRatio; }

    // Draws what can touch `area`, in unscaled graph coordinates; a whole
    // render passes everywhere. The plates are read for the pixel ratio of
    // the painter's device.
    void render(QPainter* painter, const DSPNetGraphLayout& layout,
                const DSPNetGraphSettings& settings, bool toImage, const QRectF& area);
    // The area of graph coordinates that a repaint of `exposed`, a rectangle
    // in widget pixels, must draw.
    static QRectF areaOf(const QRect& exposed, float scale);
    static const QRectF everywhere;

    // True when the node's plate is painted magenta for the search text.
    static bool highlightMatches(const GraphNode& node, const QString& text);

private:
    void loadFaceplates();
    void drawSendLines(QPainter* painter);
    void drawPlates(QPainter* painter);
    void drawMeters(QPainter* painter, const GraphNode& node, const QRectF& rect);
    void drawGroups(QPainter* painter, bool toImage);
    void drawNodeTexts(QPainter* painter);
    void drawNodeText(QPainter* painter, const QStaticText& text, const QRect& box,
                      const QPen& pen);
    const QStaticText& nodeText(const QString& text);
    void drawEllipses(QPainter* painter);
    void drawConnections(QPainter* painter);
    void drawLineBatches(QPainter* painter, const QList<QLine>& lines);
    void drawLegend(QPainter* painter);
    QColor stateColor(const GraphNode& node) const;
    QColor cpuColor(const GraphNode& node) const;

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
    float zoom;
    qreal pixelRatio;
    QHash<QString, QStaticText> nodeTexts; // laid-out plate texts by their text
    // Of the render under way only.
    const DSPNetGraphLayout* layout;
    const DSPNetGraphSettings* settings;
    QRectF area;
};

#endif // DSPNETGRAPHPAINTER_H
