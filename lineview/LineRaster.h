#ifndef LINERASTER_H
#define LINERASTER_H

#include <QColor>
#include <QImage>
#include <QList>
#include <QPointF>
#include <QSize>

#include <vector>

// Strokes the series of one group into a transparent layer of device pixels,
// each series as one path: the outline of the whole polyline, with bevel
// joins at its corners and square caps at its two ends only, filled with the
// non-zero rule and exact antialiased coverage, so that no pixel is blended
// twice where two pieces of the line overlap. The plot then puts the layer
// over its background in one call.
//
// Qt's own antialiased fill of such an outline is correct but slow on this
// shape: its rasteriser renders a long outline band by band with a small
// fixed pool, walking the whole outline again for each band, so a full
// series costs about a millisecond and a jagged one hundreds. Here every
// edge adds its signed area to a buffer of the touched rows, and one sweep per
// row turns the running sum into coverage: the cost is the ink, not the
// outline times the bands.
class LineRaster
{
public:
    LineRaster();

    // Starts an empty layer of the given device size, shown at `ratio`.
    void begin(QSize deviceSize, qreal ratio);
    // Adds the outline of one polyline, in device pixels, stroked with a pen
    // of the given width. Fewer than two distinct points add nothing.
    void addPolyline(const QPointF* points, int count, double penWidth);
    // Blends what the polylines since the last fill cover, in `color`, over
    // the layer.
    void fill(const QColor& color);

    const QImage& layer() const { return image; }
    // The rows of the layer that hold ink, for drawing only those.
    int firstRow() const { return inkTop; }
    int lastRow() const { return inkBottom; }

private:
    void addSide(const QPointF* points, int count, int direction, double half);
    void addEdge(QPointF from, QPointF to);
    void touch(int row, int first, int last);

    QImage image;
    uchar* bits;
    size_t bytesPerLine;
    int width;
    int height;
    int stride;
    std::vector<float> area;
    // A bit for each block of 16 cells that an edge touched, row by row.
    std::vector<quint64> touched;
    int words;
    int sweepTop;
    int sweepBottom;
    int inkTop;
    int inkBottom;
    QList<QPointF> outline;
    QPointF lastDirection;
};

#endif // LINERASTER_H
