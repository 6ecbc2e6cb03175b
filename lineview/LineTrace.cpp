#include "LineTrace.h"

#include "LineValues.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {
bool inBand(const QPointF& point, double top, double bottom)
{
    return point.y() >= top && point.y() <= bottom;
}

double cross(const QPointF& first, const QPointF& second)
{
    // Above 0 when `second` points to a larger angle than `first`.
    return first.x() * second.y() - first.y() * second.x();
}

QPointF turned(const QPointF& direction, double sine, double cosine)
{
    // Sine and cosine may share any positive factor; the result grows by it.
    return QPointF(direction.x() * cosine - direction.y() * sine,
                   direction.x() * sine + direction.y() * cosine);
}

bool clipToBand(QLineF& segment, double top, double bottom)
{
    QPointF p1 = segment.p1();
    QPointF p2 = segment.p2();
    if ((p1.y() < top && p2.y() < top) || (p1.y() > bottom && p2.y() > bottom)) {
        return false;
    }
    // Both ends cannot be cut on the same side, so a cut never divides by zero.
    auto cutAt = [](QPointF& end, const QPointF& other, double y) {
        const double t = (y - end.y()) / (other.y() - end.y());
        end = QPointF(end.x() + t * (other.x() - end.x()), y);
    };
    if (p1.y() < top) {
        cutAt(p1, p2, top);
    } else if (p1.y() > bottom) {
        cutAt(p1, p2, bottom);
    }
    if (p2.y() < top) {
        cutAt(p2, p1, top);
    } else if (p2.y() > bottom) {
        cutAt(p2, p1, bottom);
    }
    segment = QLineF(p1, p2);
    return true;
}
} // namespace

LineTrace::LineTrace() : m_xStep(0.0), m_yScale(0.0), m_height(0.0)
{
    m_points.reserve(LineValues::sampleCount);
    m_segments.reserve(LineValues::sampleCount);
}

void LineTrace::trace(const QList<float>& values, QSize size, double maximum)
{
    if (values.size() < 2) {
        m_points.resize(0);
        m_segments.resize(0);
        return;
    }
    // 500 samples have 499 intervals between them.
    m_height = size.height();
    m_xStep = double(size.width()) / double(values.size() - 1);
    m_yScale = m_height / maximum;
    const double top = -margin;
    const double bottom = m_height + margin;
    mapSamples(values);
    thin(top, bottom);
    cut(top, bottom);
}

inline void LineTrace::appendSample(const QList<float>& values, int index)
{
    m_points.append(QPointF(index * m_xStep, m_height - double(values.at(index)) * m_yScale));
}

void LineTrace::mapSamples(const QList<float>& values)
{
    // resize(0) rather than clear(): the capacity stays for the next repaint.
    m_points.resize(0);
    if (m_xStep >= 1.0) {
        // A plot as wide as the buffer or wider: a column for every sample.
        for (int index = 0; index < values.size(); ++index) {
            appendSample(values, index);
        }
        return;
    }
    int first = 0;
    while (first < values.size()) {
        const int column = int(first * m_xStep);
        int end = first + 1;
        while (end < values.size() && int(end * m_xStep) == column) {
            ++end;
        }
        appendColumn(values, first, end);
        first = end;
    }
}

void LineTrace::appendColumn(const QList<float>& values, int first, int end)
{
    if (end - first <= 4) {
        for (int index = first; index < end; ++index) {
            appendSample(values, index);
        }
        return;
    }
    // Within one pixel column the line only goes up and down between the
    // column's lowest and highest sample, and leaves it where its last sample
    // stands: those four, in their order, draw the same ink.
    int lowest = first;
    int highest = first;
    for (int index = first + 1; index < end; ++index) {
        lowest = values.at(index) < values.at(lowest) ? index : lowest;
        highest = values.at(index) > values.at(highest) ? index : highest;
    }
    std::array<int, 4> kept = {first, lowest, highest, end - 1};
    std::sort(kept.begin(), kept.end());
    for (size_t i = 0; i < kept.size(); ++i) {
        if (i == 0 || kept[i] != kept[i - 1]) {
            appendSample(values, kept[i]);
        }
    }
}

void LineTrace::thin(double top, double bottom)
{
    // Greedy: from each kept point, skip as many later points as one straight
    // line passes within the tolerance. Points are written back over the
    // ones already read, so no second buffer is needed.
    const int count = int(m_points.size());
    int kept = 1;
    int anchor = 0;
    while (anchor < count - 1) {
        anchor = farthestEnd(anchor, top, bottom);
        m_points[kept] = m_points.at(anchor);
        ++kept;
    }
    m_points.resize(std::min(kept, count));
}

int LineTrace::farthestEnd(int anchor, double top, double bottom) const
{
    // The directions from the anchor whose line passes every skipped point
    // within the tolerance form a wedge that narrows with each skipped point;
    // the line may go on to the next point while that point lies inside the
    // wedge. The distance of a polyline from a straight line peaks at its
    // corners, so checking the samples bounds the whole drawn line. A point
    // outside the band is never skipped nor used as an anchor: the cut must
    // see it as it is, and that far out the tolerance is lost in rounding.
    const QPointF start = m_points.at(anchor);
    int end = anchor + 1;
    if (!inBand(start, top, bottom)) {
        return end;
    }
    // Straight up and straight down: every later point lies between them.
    QPointF lowest(0.0, -1.0);
    QPointF highest(0.0, 1.0);
    double farthest = 0.0;
    while (end + 1 < m_points.size() && inBand(m_points.at(end), top, bottom)) {
        const QPointF skipped = m_points.at(end) - start;
        const double squared = QPointF::dotProduct(skipped, skipped);
        // A point this close to the anchor would open the wedge to half a
        // turn, where the comparisons below no longer order directions.
        if (!(skipped.x() > 0.0) || squared <= 4.0 * tolerance * tolerance) {
            break;
        }
        // The two tangents from the anchor to the circle of the tolerance
        // around the skipped point, both scaled by the distance to it: only
        // their directions count.
        const double along = std::sqrt(squared - tolerance * tolerance);
        const QPointF low = turned(skipped, -tolerance, along);
        const QPointF high = turned(skipped, tolerance, along);
        lowest = cross(lowest, low) > 0.0 ? low : lowest;
        highest = cross(high, highest) > 0.0 ? high : highest;
        // The line must also reach as far as the skipped point: a line that
        // stops short of it can pass it closely only as a line without end.
        farthest = std::max(farthest, squared);
        const QPointF next = m_points.at(end + 1) - start;
        if (cross(lowest, next) < 0.0 || cross(next, highest) < 0.0 ||
            QPointF::dotProduct(next, next) < farthest) {
            break;
        }
        ++end;
    }
    return end;
}

void LineTrace::cut(double top, double bottom)
{
    m_segments.resize(0);
    for (int index = 1; index < m_points.size(); ++index) {
        QLineF segment(m_points.at(index - 1), m_points.at(index));
        if (clipToBand(segment, top, bottom)) {
            m_segments.append(segment);
        }
    }
}
