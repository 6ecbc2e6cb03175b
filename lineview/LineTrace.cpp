#include "LineTrace.h"

#include "LineValues.h"

#include <algorithm>

namespace {
bool inBand(const QPointF& point, double top, double bottom)
{
    return point.y() >= top && point.y() <= bottom;
}

QPointF cutAt(const QPointF& end, const QPointF& other, double y)
{
    const double t = (y - end.y()) / (other.y() - end.y());
    return QPointF(end.x() + t * (other.x() - end.x()), y);
}

// The part of the segment from `from` to `to` inside the band, if any; an end
// outside is moved onto the band's edge along the segment.
bool clipToBand(QPointF& from, QPointF& to, double top, double bottom)
{
    // A sample that is not a number has no place on the plot; neither have
    // the lines to it.
    if (from.y() != from.y() || to.y() != to.y()) {
        return false;
    }
    if ((from.y() < top && to.y() < top) || (from.y() > bottom && to.y() > bottom)) {
        return false;
    }
    // Both ends cannot be cut on the same side, so a cut never divides by zero.
    const QPointF start = from;
    if (from.y() < top || from.y() > bottom) {
        from = cutAt(from, to, from.y() < top ? top : bottom);
    }
    if (to.y() < top || to.y() > bottom) {
        to = cutAt(to, start, to.y() < top ? top : bottom);
    }
    return true;
}
} // namespace

LineTrace::LineTrace()
{
    tracePoints.reserve(LineValues::sampleCount);
    traceRuns.reserve(LineValues::sampleCount / 2);
}

void LineTrace::trace(const QList<float>& values, QSizeF size, double maximum)
{
    // resize(0) rather than clear(): the capacity stays for the next repaint.
    tracePoints.resize(0);
    traceRuns.resize(0);
    if (values.size() < 2) {
        return;
    }
    // 500 samples have 499 intervals between them. Samples far beyond any
    // screen are held at a distance that keeps the cut's arithmetic finite.
    const double height = size.height();
    const double xStep = double(size.width()) / double(values.size() - 1);
    const double yScale = height / maximum;
    const double limit = 1.0e12;
    auto mapped = [&](int index) {
        const double y = height - double(values.at(index)) * yScale;
        return QPointF(index * xStep, y != y ? y : std::clamp(y, -limit, limit));
    };
    const double top = -margin;
    const double bottom = height + margin;
    QPointF previous = mapped(0);
    bool open = false;
    for (int index = 1; index < values.size(); ++index) {
        const QPointF current = mapped(index);
        QPointF from = previous;
        QPointF to = current;
        if (clipToBand(from, to, top, bottom)) {
            if (!open) {
                append(from, true);
            }
            append(to, false);
            open = inBand(current, top, bottom);
        } else {
            open = false;
        }
        previous = current;
    }
}

void LineTrace::append(const QPointF& point, bool startsRun)
{
    if (startsRun) {
        traceRuns.append(Run{int(tracePoints.size()), 0});
    }
    tracePoints.append(point);
    ++traceRuns.last().count;
}
