#include "LineValuesGroup.h"

#include "LineValues.h"

#include "LineRaster.h"
#include "LineTrace.h"

#include <QPainter>

#include <cmath>

LineValuesGroup::LineValuesGroup()
    : decimals(0), scaleMaximum(0.0f), scaleStale(false), automatic(true), trace(new LineTrace()),
      raster(new LineRaster())
{
}

LineValuesGroup::~LineValuesGroup()
{
    qDeleteAll(lineList);
    lineList.clear();
    delete trace;
    delete raster;
}

LineValues* LineValuesGroup::addLine(QString name, const QColor& color)
{
    LineValues* line = new LineValues();
    line->setName(name);
    line->setColor(color);
    connect(line, SIGNAL(dataChanged()), this, SLOT(slotLineDataChanged()));
    lineList.append(line);
    return line;
}

void LineValuesGroup::setName(const QString& name)
{
    groupName = name;
}

void LineValuesGroup::setSuffix(const QString& suffix)
{
    unitSuffix = suffix;
}

void LineValuesGroup::setPrecision(int precision)
{
    decimals = precision;
}

void LineValuesGroup::setMaximum(float maximum)
{
    // Does not look at the mode: the caller leaves automatic mode first.
    if (maximum == this->maximum()) {
        return;
    }
    scaleMaximum = maximum;
    Q_EMIT dataChanged();
}

void LineValuesGroup::setAutoMaximum(bool value)
{
    if (value == automatic) {
        return;
    }
    // Leaving automatic mode keeps the last automatic scale, samples up to
    // now included.
    maximum();
    automatic = value;
    if (automatic) {
        recomputeMaximum();
    }
    Q_EMIT dataChanged();
}

// A pass adds many samples to each series; the scale is made again once when
// it is next asked for, at most once for a paint.
void LineValuesGroup::slotLineDataChanged()
{
    if (automatic) {
        scaleStale = true;
    }
    Q_EMIT dataChanged();
}

float LineValuesGroup::maximum() const
{
    if (automatic && scaleStale) {
        recomputeMaximum();
    }
    return scaleMaximum;
}

void LineValuesGroup::recomputeMaximum() const
{
    scaleStale = false;
    // Hidden series do not count, however large their samples.
    scaleMaximum = 0.0f;
    for (const LineValues* line : std::as_const(lineList)) {
        if (line->isActive() && line->maximum() > scaleMaximum) {
            scaleMaximum = line->maximum();
        }
    }
}

void LineValuesGroup::paint(QPainter* painter, QSize size)
{
    // A zero scale means nothing to show, not even a line on the bottom edge.
    // A negative one can only come from a caller's mistake; draw nothing then
    // rather than an upside-down plot. A plot without area shows nothing.
    const float scale = maximum();
    if (!(scale > 0.0f) || size.isEmpty()) {
        return;
    }
    // The series are stroked in device pixels into one layer, in their
    // order, and the layer goes over the plot in one call. The pen is
    // cosmetic: its width is in device pixels at any ratio.
    const qreal ratio = painter->device()->devicePixelRatioF();
    const QSizeF deviceSize = QSizeF(size) * ratio;
    raster->begin(deviceSize.toSize(), ratio);
    for (const LineValues* line : std::as_const(lineList)) {
        if (line->isActive()) {
            trace->trace(line->values(), deviceSize, double(scale));
            const QPointF* points = trace->points().constData();
            for (const LineTrace::Run& run : trace->runs()) {
                raster->addPolyline(points + run.first, run.count, line->pen().widthF());
            }
            raster->fill(line->pen().color());
        }
    }
    // Only the rows with ink, widened to whole logical rows so that the
    // layer lands on the device pixels it was drawn for.
    const int top = int(std::floor(raster->firstRow() / ratio));
    const int bottom = int(std::ceil((raster->lastRow() + 1) / ratio));
    if (bottom > top) {
        const QImage& layer = raster->layer();
        const QRectF target(0.0, top, layer.width() / ratio, bottom - top);
        painter->drawImage(target, layer,
                           QRectF(0.0, top * ratio, layer.width(), (bottom - top) * ratio));
    }
}
