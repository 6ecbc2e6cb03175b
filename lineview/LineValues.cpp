#include "LineValues.h"

#include <cmath>

LineValues::LineValues()
    : samples(sampleCount, 0.0f), linePen(Qt::white, 2), active(false), peak(0.0f), peakStale(false)
{
    linePen.setCosmetic(true);
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
    samples.append(value);
    const float dropped = samples.takeFirst();
    if (value >= peak) {
        // No sample left in the buffer is above the old peak, stale or not.
        peak = value;
        peakStale = false;
    } else if (dropped == peak) {
        // The sample that left may have been the only peak. The buffer is
        // looked over again when the maximum is asked for, at most once for
        // a paint, not for each of the many samples that a pass adds.
        peakStale = true;
    }
    Q_EMIT dataChanged();
}

void LineValues::setActive(bool value)
{
    if (value == active) {
        return;
    }
    active = value;
    Q_EMIT dataChanged();
}

void LineValues::setName(const QString& name)
{
    seriesName = name;
}

void LineValues::setColor(const QColor& color)
{
    linePen.setColor(color);
}

float LineValues::maximum() const
{
    if (peakStale) {
        rescanMaximum();
    }
    return peak;
}

void LineValues::rescanMaximum() const
{
    peakStale = false;
    peak = 0.0f;
    for (float sample : std::as_const(samples)) {
        if (sample > peak) {
            peak = sample;
        }
    }
}
