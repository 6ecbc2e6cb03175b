#include "IconImage.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>

namespace {

const QColor tileTop(64, 73, 84);
const QColor tileBottom(40, 45, 52);
const QColor plateColor(66, 186, 255);
const QColor lineColor(200, 200, 200);
const QColor graphColor(90, 200, 90);

void drawTile(QPainter& painter, qreal s)
{
    QLinearGradient gradient(0, 0, 0, s);
    gradient.setColorAt(0, tileTop);
    gradient.setColorAt(1, tileBottom);
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawRoundedRect(QRectF(0, 0, s, s), s * 0.18, s * 0.18);
}

void drawNetwork(QPainter& painter, qreal s)
{
    QRectF left1(s * 0.10, s * 0.12, s * 0.32, s * 0.18);
    QRectF left2(s * 0.10, s * 0.40, s * 0.32, s * 0.18);
    QRectF right(s * 0.58, s * 0.26, s * 0.32, s * 0.18);
    painter.setPen(QPen(lineColor, qMax(1.0, s / 24.0)));
    painter.drawLine(left1.center(), right.center());
    painter.drawLine(left2.center(), right.center());
    painter.setPen(Qt::NoPen);
    painter.setBrush(plateColor);
    for (const QRectF& plate : {left1, left2, right})
        painter.drawRoundedRect(plate, s * 0.04, s * 0.04);
}

void drawGraph(QPainter& painter, qreal s)
{
    const qreal heights[] = {0.86, 0.78, 0.82, 0.70, 0.76, 0.66, 0.74};
    QPolygonF line;
    for (int i = 0; i < 7; ++i)
        line << QPointF(s * (0.10 + i * 0.80 / 6.0), s * heights[i]);
    QPen pen(graphColor, qMax(1.0, s / 20.0));
    pen.setJoinStyle(Qt::RoundJoin);
    pen.setCapStyle(Qt::RoundCap);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.drawPolyline(line);
}

} // namespace

QImage IconImage::draw(int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    drawTile(painter, size);
    drawNetwork(painter, size);
    drawGraph(painter, size);
    painter.end();
    return image.convertToFormat(QImage::Format_ARGB32);
}
