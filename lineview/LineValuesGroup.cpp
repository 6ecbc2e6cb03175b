#include "LineValuesGroup.h"

#include "LineValues.h"

#include "LineRaster.h"
#include "LineTrace.h"

#include <QPainter>

#include <cmath>

LineValuesGroup::LineValuesGroup()
    : m_precision(0), m_maximum(0.0f), m_autoMaximum(true), m_trace(new LineTrace()),
      m_raster(new LineRaster())
{
}

LineValuesGroup::~LineValuesGroup()
{
    qDeleteAll(m_lines);
    m_lines.clear();
    delete m_trace;
    delete m_raster;
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
    // The series are stroked in device pixels into one layer, in their
    // order, and the layer goes over the plot in one call. The pen is
    // cosmetic: its width is in device pixels at any ratio.
    const qreal ratio = painter->device()->devicePixelRatioF();
    const QSizeF deviceSize = QSizeF(size) * ratio;
    m_raster->begin(deviceSize.toSize(), ratio);
    for (const LineValues* line : std::as_const(m_lines)) {
        if (line->isActive()) {
            m_trace->trace(line->values(), deviceSize, double(m_maximum));
            const QPointF* points = m_trace->points().constData();
            for (const LineTrace::Run& run : m_trace->runs()) {
                m_raster->addPolyline(points + run.first, run.count, line->pen().widthF());
            }
            m_raster->fill(line->pen().color());
        }
    }
    // Only the rows with ink, widened to whole logical rows so that the
    // layer lands on the device pixels it was drawn for.
    const int top = int(std::floor(m_raster->firstRow() / ratio));
    const int bottom = int(std::ceil((m_raster->lastRow() + 1) / ratio));
    if (bottom > top) {
        const QImage& layer = m_raster->layer();
        const QRectF target(0.0, top, layer.width() / ratio, bottom - top);
        painter->drawImage(target, layer,
                           QRectF(0.0, top * ratio, layer.width(), (bottom - top) * ratio));
    }
}
