#include "ProfilerSimpleLabel.h"

#include <QFontMetrics>
#include <QPainter>
#include <QTextLine>

#include <algorithm>

namespace {
// Enough for the texts that a row shows over a while; when full, the sizes
// are measured afresh.
const int maxMeasuredSizes = 64;
} // namespace

ProfilerSimpleLabel::ProfilerSimpleLabel(QWidget* parent, Qt::WindowFlags flags)
    : QFrame(parent, flags), textColor(palette().text().color()),
      textAlignment(Qt::AlignHCenter | Qt::AlignVCenter), textElideMode(Qt::ElideNone),
      shapedDirection(Qt::LeftToRight)
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
    if (canDrawShaped()) {
        drawShaped(&painter);
    } else {
        painter.drawText(rect(), textAlignment, labelText);
    }
    painter.end();
    QFrame::paintEvent(event);
}

// Texts that the painter would break into lines, or change before laying
// them out, go the painter's own way.
bool ProfilerSimpleLabel::canDrawShaped() const
{
    return std::none_of(labelText.cbegin(), labelText.cend(), [](QChar c) {
        return c.unicode() < 0x20 || c == QChar::LineSeparator || c == QChar::ParagraphSeparator;
    });
}

// One line, laid out as the painter lays out a text that it draws into a
// rectangle without wrapping.
void ProfilerSimpleLabel::shapeText()
{
    QTextOption option;
    option.setTextDirection(layoutDirection());
    option.setAlignment(Qt::AlignLeft);
    shapedFont = font();
    shapedDirection = layoutDirection();
    shapedText.setFont(QFont(shapedFont, this));
    shapedText.setText(labelText);
    shapedText.setTextOption(option);
    shapedText.setCacheEnabled(true);
    shapedText.beginLayout();
    QTextLine line = shapedText.createLine();
    line.setLineWidth(0x01000000);
    line.setPosition(QPointF(0.0, 0.0));
    shapedText.endLayout();
}

// Centred in the widget both ways, from the same figures as the painter's
// drawText; the widget clips what its text overhangs.
void ProfilerSimpleLabel::drawShaped(QPainter* painter)
{
    if (labelText.isEmpty()) {
        return;
    }
    if (shapedText.text() != labelText || shapedFont != font() ||
        shapedDirection != layoutDirection()) {
        shapeText();
    }
    const QTextLine line = shapedText.lineAt(0);
    const QRectF area(rect());
    const qreal xOffset = (area.width() - line.horizontalAdvance()) / 2;
    const qreal yOffset = (area.height() - line.ascent() - line.descent()) / 2;
    line.draw(painter, QPointF(area.x() + xOffset, area.y() + yOffset));
}
