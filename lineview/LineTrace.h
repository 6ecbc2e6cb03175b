#ifndef LINETRACE_H
#define LINETRACE_H

#include <QLineF>
#include <QList>
#include <QPointF>
#include <QSize>

// Turns the samples of one series into the few straight segments that the plot
// strokes. The painter stays untransformed and gets separate segments: under a
// scale, or as one joined polyline, Qt fills a single outline of all the
// segments with its general rasteriser, which is several times slower for a
// smooth series and hundreds of times slower for a jagged one. Separate
// segments under no transform take Qt's line rasteriser, whose cost is mostly
// per segment, so the trace hands over as few segments as keep the look:
//  - samples that share one pixel column (a plot narrower than the buffer)
//    shrink to the first, lowest, highest and last of that column;
//  - runs of samples that a single straight line passes within a quarter of
//    a pixel (measured across the line) are drawn as that one line;
//  - what leaves the plot is cut a few pixels beyond its top and bottom edges.
// The buffers keep their capacity from one repaint to the next.
class LineTrace
{
public:
    // How far, in device pixels, a skipped sample may lie from the line drawn
    // in its place. A quarter of a pixel moves the antialiased edge of a
    // 2-pixel line by at most a quarter of one pixel's coverage, and lets a
    // smooth series go with about a fifth of its segments.
    static constexpr double tolerance = 0.25;
    // How far beyond the plot's top and bottom edges a line is cut: enough
    // for the pen's width and its square caps, and short enough that a wild
    // sample cannot hand the rasteriser a line millions of pixels long.
    static constexpr double margin = 4.0;

    LineTrace();

    // Maps the samples to a plot of `size`, 0 on the bottom edge and `maximum`
    // on the top edge, the oldest sample on the left edge and the newest on
    // the right edge, and builds the segments. `maximum` must be above 0.
    void trace(const QList<float>& values, QSize size, double maximum);

    // The points that the segments join, before the cut at the band.
    const QList<QPointF>& points() const { return m_points; }
    const QList<QLineF>& segments() const { return m_segments; }

private:
    void mapSamples(const QList<float>& values);
    void appendColumn(const QList<float>& values, int first, int end);
    void appendSample(const QList<float>& values, int index);
    void thin(double top, double bottom);
    int farthestEnd(int anchor, double top, double bottom) const;
    void cut(double top, double bottom);

    double m_xStep;
    double m_yScale;
    double m_height;
    QList<QPointF> m_points;
    QList<QLineF> m_segments;
};

#endif // LINETRACE_H
