#include "DSPNetGraphPainter.h"

#include "DSPNetGraphLayout.h"
#include "DSPNetGraphSettings.h"

#include <QFontMetricsF>
#include <QImageReader>
#include <QPainter>
#include <QTextOption>

#include <algorithm>

namespace {

const int plateWidth = DSPNetGraphLayout::plateWidth;
const int plateHeight = DSPNetGraphLayout::plateHeight;

// The raster painter strokes the lines of one drawLines call in groups of
// this many, each group as one outline, so where two lines of a group overlap
// their soft edges are covered once. A partial repaint draws whole groups as
// a full one cuts them, which keeps those overlaps pixel for pixel the same.
const int lineBatchSize = 16;

// How far, in widget pixels, a pen's width, its square caps and antialiasing
// can reach beyond the geometry that a culled item is tested with.
const double devicePadding = 3.0;
// The same reach under the painter's scale: half the widest pen (2) and its cap.
const double graphPadding = 2.0;

// The plates at 240 by 90, and at 480 by 180 for screens of more than one
// device pixel per logical pixel, under the names Qt gives such images.
const char* const faceplatePath = ":Profiler/node-faceplate.png";
const char* const faceplateHighlightPath = ":Profiler/node-faceplate-highlight.png";
const char* const faceplatePath2x = ":Profiler/node-faceplate@2x.png";
const char* const faceplateHighlightPath2x = ":Profiler/node-faceplate-highlight@2x.png";

// Everything a node draws lies in its plate, except the meters, which run
// past its right side with more than sixteen levels; the node text is cut at
// its box inside the plate.
QRectF nodeBounds(const GraphNode& node)
{
    const double meters = 3.0 + double(node.levels.size()) * (114.0 / 16.0) + 1.0;
    return QRectF(node.position.x(), node.position.y(), std::max<double>(plateWidth, meters),
                  plateHeight);
}

// A horizontal or vertical line has an empty bounding QRectF, which
// QRectF::intersects would always miss; this compares the extents instead.
bool boxMisses(double left, double top, double right, double bottom, const QRectF& area)
{
    return right < area.left() || left > area.right() || bottom < area.top() || top > area.bottom();
}

bool lineMisses(const QLine& line, const QRectF& area)
{
    return boxMisses(std::min(line.x1(), line.x2()), std::min(line.y1(), line.y2()),
                     std::max(line.x1(), line.x2()), std::max(line.y1(), line.y2()), area);
}

bool rectMisses(const QRectF& rect, const QRectF& area)
{
    return boxMisses(rect.left(), rect.top(), rect.right(), rect.bottom(), area);
}

QPen makePen(const QColor& color, int width, Qt::PenStyle style = Qt::SolidLine)
{
    QPen pen(QBrush(color), width);
    pen.setStyle(style);
    return pen;
}

QImage readScaled(const char* path, const QSize& size, qreal devicePixelRatio)
{
    QImageReader reader(QString::fromLatin1(path));
    reader.setScaledSize(size);
    QImage image = reader.read();
    image.setDevicePixelRatio(devicePixelRatio);
    return image;
}

} // namespace

const QRectF DSPNetGraphPainter::everywhere(-1e12, -1e12, 2e12, 2e12);

DSPNetGraphPainter::DSPNetGraphPainter()
    : zoom(0.0f), pixelRatio(0.0), layout(nullptr), settings(nullptr), area(everywhere)
{
    textPen = makePen(QColor(255, 255, 255, 255), 1);
    shadowPen = makePen(QColor(0, 0, 0, 128), 1);
    standardPen = makePen(QColor(200, 200, 200, 255), 2);
    sendPen = makePen(QColor(200, 200, 200, 255), 2, Qt::DotLine);
    sidechainPen = makePen(QColor(50, 150, 50, 255), 2);
    sendSidechainPen = makePen(QColor(50, 150, 50, 255), 2, Qt::DotLine);
    ellipsisPen = makePen(QColor(200, 200, 200, 255), 1);
    groupRectPens[0] = makePen(QColor(100, 100, 50, 255), 1, Qt::DashLine);
    groupRectPens[1] = makePen(QColor(150, 150, 125, 255), 1, Qt::DashLine);
    groupTextPens[0] = makePen(QColor(255, 255, 200, 255), 1);
    groupTextPens[1] = makePen(QColor(255, 255, 200, 255), 1);
    activeColor = QColor(66, 186, 255, 255);
    inactiveColor = QColor(49, 56, 64, 255);
    bypassColor = QColor(Qt::white);
    highlightColor = QColor(Qt::magenta);
    // The active colour lightened by half, written out: Qt releases round
    // lighter(150) differently (6.4 gives a red of 193).
    meterBackgroundColor = QColor(194, 233, 255, 255);
    meterColor = QColor(Qt::darkGreen);
    meterOverColor = QColor(Qt::darkRed);
    nodeFont.setPointSize(7);
    nodeFont.setStyleHint(QFont::SansSerif, QFont::PreferOutline);
    nodeFont.setStretch(125);
    ellipsisFont.setPointSize(24);
    setScale(1.0f, 1.0);
}

void DSPNetGraphPainter::setScale(float scale, qreal devicePixelRatio)
{
    if (scale == zoom && devicePixelRatio == pixelRatio)
        return;
    zoom = scale;
    pixelRatio = devicePixelRatio;
    loadFaceplates();
    nodeTexts.clear(); // laid out for the old scale
}

// The plates are scaled once per change of scale, by the reader, so that a
// repaint draws them as they are. On a screen of two device pixels per
// logical pixel they are read at twice the size, from the larger images where
// that is larger than the smaller ones, and drawn at the logical size, so
// that they are as sharp as the texts.
void DSPNetGraphPainter::loadFaceplates()
{
    // Every graph of the process draws the same two plates: decode and scale
    // them once per size, not once per widget or per return to a zoom. Only
    // the last size is kept, as zooming visits any number of them.
    static QSize cachedSize;
    static qreal cachedRatio = 0.0;
    static QImage cachedFaceplate;
    static QImage cachedHighlight;
    const float pixels = zoom * float(pixelRatio);
    const QSize size(int(pixels * float(plateWidth)), int(pixels * float(plateHeight)));
    if (size != cachedSize || pixelRatio != cachedRatio || cachedFaceplate.isNull()) {
        // The larger images serve only sizes beyond the smaller ones, so that
        // at one device pixel per logical pixel nothing changes.
        const bool large = size.width() > 2 * plateWidth;
        cachedFaceplate = readScaled(large ? faceplatePath2x : faceplatePath, size, pixelRatio);
        cachedHighlight =
            readScaled(large ? faceplateHighlightPath2x : faceplateHighlightPath, size, pixelRatio);
        cachedSize = size;
        cachedRatio = pixelRatio;
    }
    faceplate = cachedFaceplate;
    faceplateHighlight = cachedHighlight;
}

QRectF DSPNetGraphPainter::areaOf(const QRect& exposed, float scale)
{
    const double s = scale;
    const QRectF device =
        QRectF(exposed).adjusted(-devicePadding, -devicePadding, devicePadding, devicePadding);
    const QRectF area(device.x() / s, device.y() / s, device.width() / s, device.height() / s);
    return area.adjusted(-graphPadding, -graphPadding, graphPadding, graphPadding);
}

// Send lines lie under the plates, the other connections over them; plates
// and groups are drawn at device scale, texts and lines under the painter's.
void DSPNetGraphPainter::render(QPainter* painter, const DSPNetGraphLayout& layout,
                                const DSPNetGraphSettings& settings, bool toImage,
                                const QRectF& area)
{
    // The plates for the device's pixel ratio: the screen's, or 1 for an image.
    setScale(zoom, painter->device()->devicePixelRatio());
    this->layout = &layout;
    this->settings = &settings;
    this->area = area;
    painter->setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing, true);
    if (settings.showSends)
        drawSendLines(painter);
    drawPlates(painter);
    if (settings.showGroups || settings.showGuids)
        drawGroups(painter, toImage);
    painter->scale(zoom, zoom);
    drawNodeTexts(painter);
    drawEllipses(painter);
    drawConnections(painter);
    if (settings.showLegend)
        drawLegend(painter);
    this->layout = nullptr;
    this->settings = nullptr;
}

void DSPNetGraphPainter::drawSendLines(QPainter* painter)
{
    painter->setPen(sendPen);
    for (const QLine& line : layout->sendLines) {
        if (lineMisses(line, area))
            continue;
        painter->drawLine(qRound(float(line.x1()) * zoom), qRound(float(line.y1()) * zoom),
                          qRound(float(line.x2()) * zoom), qRound(float(line.y2()) * zoom));
    }
}

// The state colour is filled first and the translucent glass plate drawn over
// it, so the colour and the meters show through the glass.
void DSPNetGraphPainter::drawPlates(QPainter* painter)
{
    const double s = zoom;
    for (const GraphNode& node : layout->nodes) {
        if (rectMisses(nodeBounds(node), area))
            continue;
        const double x = node.position.x();
        const double y = node.position.y();
        const QRectF state((x + 3) * s, (y + 3) * s, 114 * s, 39 * s);
        painter->fillRect(state, stateColor(node));
        if (node.active && settings->showVolumeLevels)
            drawMeters(painter, node, state);
        const bool selected =
            node.id == settings->selectedId && node.groupId == settings->selectedGroupId;
        painter->drawImage(QPointF(x * s, y * s), selected ? faceplateHighlight : faceplate);
    }
}

// Up to 0 dB a bar fills its share of the height in green; above 0 dB it is
// full and red. Sixteen meters fill the plate; more run past its side.
void DSPNetGraphPainter::drawMeters(QPainter* painter, const GraphNode& node, const QRectF& rect)
{
    const float step = float(rect.width()) * 0.0625f;
    const float height = float(rect.height());
    const float left = float(rect.x());
    painter->fillRect(
        QRectF(rect.x(), rect.y(), double(float(node.levels.size()) * step), rect.height()),
        meterBackgroundColor);
    const int bottom = int(height + float(rect.y()));
    const int top = int(rect.top());
    const int lineBottom = int(rect.bottom());
    for (qsizetype i = 0; i < node.levels.size(); ++i) {
        const float level = node.levels.at(i);
        const bool over = level > 1.0f;
        const float barHeight = height * (over ? 1.0f : level);
        const float barX = float(i) * step + left;
        painter->fillRect(int(barX), bottom, int(step), -int(barHeight),
                          over ? meterOverColor : meterColor);
        // Uses whatever pen the painter holds, as the bars' separators always have.
        const int lineX = int(barX + step);
        painter->drawLine(lineX, top, lineX, lineBottom);
    }
}

void DSPNetGraphPainter::drawGroups(QPainter* painter, bool toImage)
{
    const double s = zoom;
    // On the screen the texts are pale on the dark backdrop; a saved image has
    // no backdrop, so they take the plates' blue there.
    const QPen imageTextPen(QColor(66, 186, 255, 255));
    // A text starts at its x and runs right from there; no glyph of the font
    // is wider than maxWidth, and none reaches further from its baseline than
    // the line height. Measuring the real width would lay the text out.
    const QFontMetricsF metrics(painter->font());
    const double glyphWidth = std::max(metrics.maxWidth(), metrics.height());
    const double lineHeight = metrics.height();
    const QRectF deviceArea(area.topLeft() * s, area.size() * s);
    const auto textMisses = [&](int x, int y, const QString& text) {
        return boxMisses(x, y - lineHeight, x + glyphWidth * double(text.size()), y + lineHeight,
                         deviceArea);
    };
    for (const GraphGroup& group : layout->groups) {
        const QRectF rect(group.rect.topLeft() * s, group.rect.size() * s);
        const int k = group.level == 0 ? 0 : 1;
        if (!rectMisses(group.rect, area)) {
            painter->setPen(groupRectPens[k]);
            painter->drawRects(&rect, 1);
        }
        if (zoom < 0.5f)
            continue;
        const QPen& textPen = toImage ? imageTextPen : groupTextPens[k];
        bool guidWritten = false;
        if (!group.name.isEmpty() && settings->showGroups) {
            QString text = group.name;
            if (!group.guid.isEmpty() && settings->showGuids && group.rect.width() > 240.0) {
                text += QLatin1Char(' ') + group.guid;
                guidWritten = true;
            }
            const int x = int(rect.x());
            const int y = int(rect.height() + double(float(group.level * 5) * zoom) + rect.y());
            if (!textMisses(x, y, text)) {
                painter->setPen(textPen);
                painter->drawText(x, y, text);
            }
        }
        if (!group.guid.isEmpty() && settings->showGuids && !guidWritten) {
            const int x = int(rect.x());
            const int y =
                int(rect.height() + double(float((group.level + 2) * 5) * zoom) + rect.y());
            if (!textMisses(x, y, group.guid)) {
                painter->setPen(textPen);
                painter->drawText(x, y, group.guid);
            }
        }
    }
}

void DSPNetGraphPainter::drawNodeTexts(QPainter* painter)
{
    painter->setFont(nodeFont);
    if (nodeTexts.size() > 4 * layout->nodes.size() + 64)
        nodeTexts.clear();
    for (const GraphNode& node : layout->nodes) {
        if (rectMisses(nodeBounds(node), area))
            continue;
        QString text = node.name;
        if (settings->showCPUUsage) {
            const float value = settings->useInclusiveCPU ? node.inclusiveCPU : node.exclusiveCPU;
            text = QStringLiteral("[%1%]\n%2")
                       .arg(double(value * 100.0f), 0, 'f', 2, QLatin1Char(' '))
                       .arg(node.name);
        }
        const QStaticText& laidOut = nodeText(text);
        const QRect box(node.position.x() + 5, node.position.y() + 5, 110, 35);
        drawNodeText(painter, laidOut, box.translated(0, 1), shadowPen);
        drawNodeText(painter, laidOut, box, textPen);
    }
}

// A plate's text, centred in its box and cut at the box's edges. Each line
// is already centred across the box's width; a text that does not fit, rare
// and hard to read anyway, is laid out afresh by the painter, which centres
// even a line wider than the box and cuts it on both sides.
void DSPNetGraphPainter::drawNodeText(QPainter* painter, const QStaticText& text, const QRect& box,
                                      const QPen& pen)
{
    painter->setPen(pen);
    const QSizeF size = text.size();
    if (size.width() > box.width() || size.height() > box.height()) {
        const int flags = Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextWordWrap;
        painter->drawText(box, flags, text.text().replace(QChar::LineSeparator, QLatin1Char('\n')));
        return;
    }
    // Half a device pixel lower puts the glyphs on the rows where the
    // painter's own layout of the same text puts them.
    const double top = box.y() + (box.height() - size.height()) / 2.0 + 0.5 / double(zoom);
    painter->drawStaticText(QPointF(box.x(), top), text);
}

// Wrapping and shaping a text costs far more than drawing it, and the plates
// are drawn ten times a second with texts that change once a snapshot at
// most: each text is laid out once and kept. The caller empties the cache
// when it holds many more texts than there are plates.
const QStaticText& DSPNetGraphPainter::nodeText(const QString& text)
{
    const auto found = nodeTexts.constFind(text);
    if (found != nodeTexts.constEnd())
        return *found;
    // A unit's name is plain text whatever it looks like; a line break inside
    // it breaks the line as it does in any text the painter writes.
    QString lines = text;
    lines.replace(QLatin1Char('\n'), QChar::LineSeparator);
    QStaticText laidOut(lines);
    laidOut.setTextFormat(Qt::PlainText);
    laidOut.setTextOption(QTextOption(Qt::AlignHCenter));
    laidOut.setTextWidth(110);
    laidOut.prepare(QTransform::fromScale(zoom, zoom), nodeFont);
    return *nodeTexts.insert(text, laidOut);
}

void DSPNetGraphPainter::drawEllipses(QPainter* painter)
{
    painter->setFont(ellipsisFont);
    painter->setPen(ellipsisPen);
    const QString dots = QStringLiteral("...");
    for (const QPoint& point : layout->ellipsisPoints) {
        const QRect rect(point, QSize(plateWidth, plateHeight));
        if (!rectMisses(rect, area))
            painter->drawText(rect, Qt::AlignHCenter | Qt::AlignVCenter, dots);
    }
}

void DSPNetGraphPainter::drawConnections(QPainter* painter)
{
    painter->setPen(standardPen);
    drawLineBatches(painter, layout->standardLines);
    painter->setPen(sidechainPen);
    drawLineBatches(painter, layout->sidechainLines);
    painter->setPen(sendSidechainPen);
    drawLineBatches(painter, layout->sendSidechainLines);
}

// One drawLines call per batch that has a line in the area, batches cut from
// the start of the list as the painter cuts a whole list.
void DSPNetGraphPainter::drawLineBatches(QPainter* painter, const QList<QLine>& lines)
{
    if (area == everywhere) {
        painter->drawLines(lines);
        return;
    }
    const qsizetype count = lines.size();
    for (qsizetype first = 0; first < count; first += lineBatchSize) {
        const int size = int(std::min<qsizetype>(lineBatchSize, count - first));
        const QLine* batch = lines.constData() + first;
        if (std::all_of(batch, batch + size,
                        [this](const QLine& line) { return lineMisses(line, area); }))
            continue;
        painter->drawLines(batch, size);
    }
}

// Stands at the left, around the lowest row of plates.
void DSPNetGraphPainter::drawLegend(QPainter* painter)
{
    const int b = layout->maxY;
    painter->setFont(nodeFont);
    painter->setPen(textPen);
    painter->drawText(10, b - 27, QStringLiteral("Connections:"));
    const struct
    {
        const QPen* pen;
        int y;
        const char* text;
    } rows[] = {{&standardPen, b - 15, "Standard"},
                {&sidechainPen, b, "Sidechain"},
                {&sendPen, b + 15, "Send"},
                {&sendSidechainPen, b + 30, "Send Sidechain"}};
    for (const auto& row : rows) {
        painter->setPen(*row.pen);
        painter->drawLine(10, row.y, 30, row.y);
        painter->setPen(textPen);
        painter->drawText(40, row.y + 3, QString::fromLatin1(row.text));
    }
}

QColor DSPNetGraphPainter::stateColor(const GraphNode& node) const
{
    if (!settings->highlightText.isEmpty() && highlightMatches(node, settings->highlightText))
        return highlightColor;
    if (node.bypass)
        return bypassColor;
    if (!node.active)
        return inactiveColor;
    if (settings->showCPUUsage)
        return cpuColor(node);
    return activeColor;
}

// Green at or below the low end, yellow half way, red at or above the high end.
QColor DSPNetGraphPainter::cpuColor(const GraphNode& node) const
{
    const float value = settings->useInclusiveCPU ? node.inclusiveCPU : node.exclusiveCPU;
    float t = (1.0f / (settings->maxCPU - settings->minCPU)) * (value - settings->minCPU);
    // Written so that a NaN share lands on the high end instead of in an
    // undefined conversion.
    if (!(t >= 0.0f))
        t = t < 0.0f ? 0.0f : 1.0f;
    t = std::min(t, 1.0f);
    const int hue = int((1.0f - t) * 120.0f);
    return QColor::fromHsv(hue, 255, 255, 255);
}

// "0x" followed by digits finds a unit or a group by the last hexadecimal
// digits of its id; any other text is looked for in the names. The prefix is
// case-sensitive, so "0X..." is a name search.
bool DSPNetGraphPainter::highlightMatches(const GraphNode& node, const QString& text)
{
    if (text.startsWith(QLatin1String("0x")) && text.size() > 2) {
        const QString tail = text.mid(2);
        const auto endsWith = [&tail](quint64 id) {
            return QStringLiteral("%1")
                .arg(id, 16, 16, QLatin1Char('0'))
                .endsWith(tail, Qt::CaseInsensitive);
        };
        return endsWith(node.id) || endsWith(node.groupId);
    }
    return node.name.contains(text, Qt::CaseSensitive);
}
