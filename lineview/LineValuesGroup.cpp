#include "LineValuesGroup.h"

#include "LineValues.h"

#include "LineTrace.h"

#include <QPainter>

LineValuesGroup::LineValuesGroup()
    : m_precision(0), m_maximum(0.0f), m_autoMaximum(true), m_trace(new LineTrace())
{
}

LineValuesGroup::~LineValuesGroup()
{
    qDeleteAll(m_lines);
    m_lines.clear();
    delete m_trace;
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
    // rather than an upside-down plot. A plot without area shows nothing.
    if (!(m_maximum > 0.0f) || size.isEmpty()) {
        return;
    }
    // The trace maps the samples to pixels itself, so the painter keeps its
    // transform and strokes plain segments with the cosmetic pen.
    painter->save();
    for (const LineValues* line : std::as_const(m_lines)) {
        if (line->isActive()) {
            m_trace->trace(line->values(), size, double(m_maximum));
            const QList<QLineF>& segments = m_trace->segments();
            painter->setPen(line->pen());
            painter->drawLines(segments.constData(), int(segments.size()));
        }
    }
    painter->restore();
}
