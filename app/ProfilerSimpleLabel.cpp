#include "ProfilerSimpleLabel.h"

#include <QFontMetrics>
#include <QPainter>

namespace {
// Enough for the texts that a row shows over a while; when full, the sizes
// are measured afresh.
const int maxMeasuredSizes = 64;
} // namespace

ProfilerSimpleLabel::ProfilerSimpleLabel(QWidget* parent, Qt::WindowFlags flags)
    : QFrame(parent, flags), textColor(palette().text().color()),
      textAlignment(Qt::AlignHCenter | Qt::AlignVCenter), textElideMode(Qt::ElideNone)
{
    setFrameShape(QFrame::NoFrame);
    setFrameShadow(QFrame::Plain);
}

ProfilerSimpleLabel::~ProfilerSimpleLabel() = default;

void ProfilerSimpleLabel::setText(const QString& text)
{
    // The numbers of the line graphs are re-set on every snapshot; an unchanged
    // text must cost neither a relayout nor a repaint.
    if (text == labelText) {
        return;
    }
    labelText = text;
    const QSize textSize = measuredSize(labelText);
    setMinimumSize(textSize);
    setMaximumSize(textSize);
    update();
}

QSize ProfilerSimpleLabel::measuredSize(const QString& text)
{
    if (font() != measuredFont) {
        measuredFont = font();
        measuredSizes.clear();
    }
    const auto known = measuredSizes.constFind(text);
    if (known != measuredSizes.cend()) {
        return *known;
    }
    if (measuredSizes.size() >= maxMeasuredSizes) {
        measuredSizes.clear();
    }
    const QSize size = QFontMetrics(measuredFont).size(0, text);
    measuredSizes.insert(text, size);
    return size;
}

void ProfilerSimpleLabel::setColor(const QColor& color)
{
    if (color == textColor) {
        return;
    }
    textColor = color;
    update();
}

void ProfilerSimpleLabel::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    painter.setPen(textColor);
    painter.drawText(rect(), textAlignment, labelText);
    painter.end();
    QFrame::paintEvent(event);
}
