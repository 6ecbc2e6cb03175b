#include "ProfilerSimpleLabel.h"

#include <QFontMetrics>
#include <QPainter>

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
    const QSize textSize = QFontMetrics(font()).size(0, labelText);
    setMinimumSize(textSize);
    setMaximumSize(textSize);
    update();
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
