#include "LineValuesGroup.h"

#include "LineValues.h"

#include "LineRaster.h"
#include "LineTrace.h"

#include <QPainter>

#include <cmath>

LineValuesGroup::LineValuesGroup()
    : decimals(0), scaleMaximum(0.0f), automatic(true), trace(new LineTrace()),
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
    if (maximum == scaleMaximum) {
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
    automatic = value;
    if (automatic) {
        recomputeMaximum();
    }
    Q_EMIT dataChanged();
}

void LineValuesGroup::slotLineDataChanged()
{
    if (automatic) {
        recomputeMaximum();
    }
    Q_EMIT dataChanged();
}

void LineValuesGroup::recomputeMaximum()
{
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
    if (!(scaleMaximum > 0.0f) || size.isEmpty()) {
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
            trace->trace(line->values(), deviceSize, double(scaleMaximum));
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
