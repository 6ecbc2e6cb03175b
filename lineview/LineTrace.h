#ifndef LINETRACE_H
#define LINETRACE_H

#include <QList>
#include <QPointF>
#include <QSizeF>

// Turns the samples of one series into the polylines that the plot strokes,
// in device pixels. Every sample stays a corner of the line, so the pen joins
// them as one stroked path would. What leaves the plot is cut a few pixels
// beyond its top and bottom edges, where the stroke is out of sight: a wild
// sample then cannot hand the rasteriser a line millions of pixels long, and
// a line that leaves and comes back is drawn as separate runs that meet
// nowhere on screen. The buffers keep their capacity from one repaint to the
// next.
class LineTrace
{
public:
    // How far beyond the plot's top and bottom edges a line is cut: more than
    // the half width of the pen with its caps and joins.
    static constexpr double margin = 4.0;

    // One polyline: `count` points of points(), from `first` on.
    struct Run
    {
        int first;
        int count;
    };

    LineTrace();

    // Maps the samples to a plot of `size`, 0 on the bottom edge and `maximum`
    // on the top edge, the oldest sample on the left edge and the newest on
    // the right edge, and cuts the line into runs. `maximum` must be above 0.
    void trace(const QList<float>& values, QSizeF size, double maximum);

    const QList<QPointF>& points() const { return tracePoints; }
    const QList<Run>& runs() const { return traceRuns; }

private:
    void append(const QPointF& point, bool startsRun);

    QList<QPointF> tracePoints;
    QList<Run> traceRuns;
};

#endif // LINETRACE_H
