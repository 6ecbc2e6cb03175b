#include "LineValuesGroup.h"

#include "LineValues.h"

#include <QLineF>
#include <QPainter>
#include <QVarLengthArray>

LineValuesGroup::LineValuesGroup() : m_precision(0), m_maximum(0.0f), m_autoMaximum(true) {}

LineValuesGroup::~LineValuesGroup()
{
    qDeleteAll(m_lines);
    m_lines.clear();
}

LineValues* LineValuesGroup::addLine(QString name, const QColor& color)
{
    LineValues* line = new LineValues();
    line->setName(name);
    line->setColor(color);
    connect(line, SIGNAL(dataChanged()), this, SLOT(slotLineDataChanged()));
    m_lines.append(line);
    return line;
}

void LineValuesGroup::setName(const QString& name)
{
    m_name = name;
}

void LineValuesGroup::setSuffix(const QString& suffix)
{
    m_suffix = suffix;
}

void LineValuesGroup::setPrecision(int precision)
{
    m_precision = precision;
}

void LineValuesGroup::setMaximum(float maximum)
{
    // Does not look at the mode: the caller leaves automatic mode first.
    if (maximum == m_maximum) {
        return;
    }
    m_maximum = maximum;
    Q_EMIT dataChanged();
}

void LineValuesGroup::setAutoMaximum(bool automatic)
{
    if (automatic == m_autoMaximum) {
        return;
    }
    m_autoMaximum = automatic;
    if (m_autoMaximum) {
        recomputeMaximum();
    }
    Q_EMIT dataChanged();
}

void LineValuesGroup::slotLineDataChanged()
{
    if (m_autoMaximum) {
        recomputeMaximum();
    }
    Q_EMIT dataChanged();
}

void LineValuesGroup::recomputeMaximum()
{
    // Hidden series do not count, however large their samples.
    m_maximum = 0.0f;
    for (const LineValues* line : std::as_const(m_lines)) {
        if (line->isActive() && line->maximum() > m_maximum) {
            m_maximum = line->maximum();
        }
    }
}

void LineValuesGroup::paint(QPainter* painter, QSize size)
{
    // A zero scale means nothing to show, not even a line on the bottom edge.
    // A negative one can only come from a caller's mistake; draw nothing then
    // rather than an upside-down plot.
    if (!(m_maximum > 0.0f)) {
        return;
    }
    // 500 samples have 499 intervals: the oldest stands on the left edge and
    // the newest on the right edge; 0 on the bottom edge and maximum() on the
    // top edge.
    const double height = size.height();
    const double xStep = double(size.width()) / (LineValues::sampleCount - 1);
    const double yScale = height / double(m_maximum);
    painter->save();
    for (const LineValues* line : std::as_const(m_lines)) {
        if (line->isActive()) {
            painter->setPen(line->pen());
            drawSegments(painter, line->values(), xStep, yScale, height);
        }
    }
    painter->restore();
}

void LineValuesGroup::drawSegments(QPainter* painter, const QList<float>& values, double xStep,
                                   double yScale, double height)
{
    // The samples are mapped to pixels here and drawn as separate segments
    // with no transform on the painter. Stroking one joined path under a
    // scaled painter makes Qt fill a single outline of all 499 segments, which
    // for a jagged series (counts that flip between 0 and their peak) costs
    // hundreds of milliseconds per repaint. Segments that leave the plot are
    // cut a few pixels beyond its edges, so that a sample far off the scale
    // (a manual maximum, or a wild value from the target) cannot hand the
    // rasteriser a line millions of pixels long.
    const double margin = 4.0;
    QVarLengthArray<QLineF, LineValues::sampleCount> segments;
    QPointF previous(0.0, height - double(values.first()) * yScale);
    for (int index = 1; index < values.size(); ++index) {
        const QPointF current(index * xStep, height - double(values.at(index)) * yScale);
        QLineF segment(previous, current);
        if (clipToBand(segment, -margin, height + margin)) {
            segments.append(segment);
        }
        previous = current;
    }
    painter->drawLines(segments.constData(), int(segments.size()));
}

bool LineValuesGroup::clipToBand(QLineF& segment, double top, double bottom)
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
