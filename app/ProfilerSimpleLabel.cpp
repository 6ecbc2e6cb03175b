#include "ProfilerSimpleLabel.h"

#include <QFontMetrics>
#include <QPainter>

ProfilerSimpleLabel::ProfilerSimpleLabel(QWidget* parent, Qt::WindowFlags flags)
    : QFrame(parent, flags), m_color(palette().text().color()),
      m_alignment(Qt::AlignHCenter | Qt::AlignVCenter), m_elideMode(Qt::ElideNone)
{
    setFrameShape(QFrame::NoFrame);
    setFrameShadow(QFrame::Plain);
}

ProfilerSimpleLabel::~ProfilerSimpleLabel() = default;

void ProfilerSimpleLabel::setText(const QString& text)
{
    // The numbers of the line graphs are re-set on every snapshot; an unchanged
    // text must cost neither a relayout nor a repaint.
    if (text == m_text) {
        return;
    }
    m_text = text;
    const QSize textSize = QFontMetrics(font()).size(0, m_text);
    setMinimumSize(textSize);
    setMaximumSize(textSize);
    update();
}

void ProfilerSimpleLabel::setColor(const QColor& color)
{
    if (color == m_color) {
        return;
    }
    m_color = color;
    update();
}

void ProfilerSimpleLabel::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    painter.setPen(m_color);
    painter.drawText(rect(), m_alignment, m_text);
    painter.end();
    QFrame::paintEvent(event);
}
