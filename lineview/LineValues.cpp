#include "LineValues.h"

#include <cmath>

LineValues::LineValues()
    : m_values(sampleCount, 0.0f), m_pen(Qt::white, 2), m_active(false), m_maximum(0.0f)
{
    m_pen.setCosmetic(true);
}

LineValues::~LineValues() = default;

void LineValues::addValue(float value)
{
    // Samples come straight from the target. A NaN or an infinity would make
    // the group's scale meaningless (and every later peak unreachable), so a
    // non-finite sample is taken in as 0.0: the series still moves on by one.
    if (!std::isfinite(value)) {
        value = 0.0f;
    }
    // QList appends at the end and drops at the front by moving its start, so
    // the buffer shifts without copying its 500 samples.
    m_values.append(value);
    const float dropped = m_values.takeFirst();
    if (value > m_maximum) {
        m_maximum = value;
    } else if (dropped == m_maximum) {
        // The sample that left may have been the only peak.
        rescanMaximum();
    }
    Q_EMIT dataChanged();
}

void LineValues::setActive(bool active)
{
    if (active == m_active) {
        return;
    }
    m_active = active;
    Q_EMIT dataChanged();
}

void LineValues::setName(const QString& name)
{
    m_name = name;
}

void LineValues::setColor(const QColor& color)
{
    m_pen.setColor(color);
}

void LineValues::rescanMaximum()
{
    m_maximum = 0.0f;
    for (float sample : std::as_const(m_values)) {
        if (sample > m_maximum) {
            m_maximum = sample;
        }
    }
}
