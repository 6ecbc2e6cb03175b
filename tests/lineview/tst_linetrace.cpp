#include "LineTrace.h"
#include "LineValues.h"
#include "LineValuesGroup.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QtTest>

#include <algorithm>
#include <cmath>

// The segments the plot strokes for a series, checked against the samples
// themselves, and a painted group against one path through all samples.
class TestLineTrace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void traceFollowsSamples_data();
    void traceFollowsSamples();
    void paintLooksLikeOnePath_data();
    void paintLooksLikeOnePath();
};

namespace {
enum Shape
{
    Wave,
    Zigzag,
    Ramp,
    Noise,
    Wild
};

QList<float> samples(Shape shape, float peak)
{
    QList<float> values;
    quint32 seed = 99;
    for (int i = 0; i < LineValues::sampleCount; ++i) {
        seed = seed * 1103515245u + 12345u;
        const float wave = peak * float(0.5 + 0.45 * std::sin(0.05 * i));
        const float noise = peak * float((seed >> 16) % 1000) / 1000.0f;
        const float wild = i % 40 == 20 ? 3.0e38f : (i % 40 == 21 ? -3.0e38f : wave);
        const float shapes[] = {wave, float(i % 2) * peak, peak * float(i) / 499.0f, noise, wild};
        values.append(shapes[shape]);
    }
    return values;
}

QPointF mapped(const QList<float>& values, int index, QSize size, double maximum)
{
    return QPointF(index * size.width() / 499.0,
                   size.height() - double(values.at(index)) * size.height() / maximum);
}

double distanceToSegment(const QPointF& point, const QPointF& a, const QPointF& b)
{
    const QPointF along = b - a;
    const double length = QPointF::dotProduct(along, along);
    const double t =
        length > 0.0 ? std::clamp(QPointF::dotProduct(point - a, along) / length, 0.0, 1.0) : 0.0;
    const QPointF offset = a + t * along - point;
    return std::sqrt(QPointF::dotProduct(offset, offset));
}

double distanceToPolyline(const QPointF& point, const QList<QPointF>& polyline)
{
    double nearest = std::numeric_limits<double>::infinity();
    for (int i = 1; i < polyline.size(); ++i) {
        nearest = std::min(nearest, distanceToSegment(point, polyline.at(i - 1), polyline.at(i)));
    }
    return polyline.size() == 1
               ? std::hypot(point.x() - polyline.first().x(), point.y() - polyline.first().y())
               : nearest;
}

const QColor background(49, 56, 64);
} // namespace

void TestLineTrace::traceFollowsSamples_data()
{
    QTest::addColumn<int>("shape");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<double>("maximum");
    QTest::addColumn<int>("fewestSegments");
    QTest::addColumn<int>("mostSegments");

    QTest::newRow("smooth wave thins out") << int(Wave) << QSize(600, 200) << 10.0 << 20 << 150;
    QTest::newRow("zigzag keeps every corner")
        << int(Zigzag) << QSize(600, 200) << 10.0 << 499 << 499;
    QTest::newRow("straight ramp is one segment")
        << int(Ramp) << QSize(1600, 400) << 10.0 << 1 << 1;
    QTest::newRow("noise in a narrow plot folds into columns")
        << int(Noise) << QSize(100, 200) << 10.0 << 100 << 400;
    QTest::newRow("zigzag four pixels wide") << int(Zigzag) << QSize(4, 100) << 10.0 << 1 << 16;
    QTest::newRow("manual maximum cuts the peaks")
        << int(Wave) << QSize(600, 200) << 4.0 << 10 << 200;
    QTest::newRow("wild samples stay in the band")
        << int(Wild) << QSize(600, 200) << 10.0 << 20 << 250;
    QTest::newRow("tiny maximum throws everything off the plot")
        << int(Wave) << QSize(600, 200) << 1.0e-30 << 0 << 0;
}

void TestLineTrace::traceFollowsSamples()
{
    QFETCH(int, shape);
    QFETCH(QSize, size);
    QFETCH(double, maximum);
    QFETCH(int, fewestSegments);
    QFETCH(int, mostSegments);

    const QList<float> values = samples(Shape(shape), 10.0f);
    LineTrace trace;
    // Twice, so that the second run starts from the buffers of the first.
    trace.trace(samples(Zigzag, 10.0f), size, maximum);
    trace.trace(values, size, maximum);

    const double top = -LineTrace::margin;
    const double bottom = size.height() + LineTrace::margin;
    // In a plot narrower than the buffer a sample may be folded into the line
    // of its pixel column, less than a column's width away.
    const double allowed =
        LineTrace::tolerance + (size.width() < LineValues::sampleCount - 1 ? 1.0 : 0.0) + 1e-9;
    for (int i = 0; i < values.size(); ++i) {
        const QPointF point = mapped(values, i, size, maximum);
        if (point.y() >= top && point.y() <= bottom) {
            QVERIFY2(distanceToPolyline(point, trace.points()) <= allowed,
                     qPrintable(QString("sample %1 left behind").arg(i)));
        }
    }
    for (const QLineF& segment : trace.segments()) {
        for (const QPointF& end : {segment.p1(), segment.p2()}) {
            QVERIFY(end.y() >= top - 1e-9 && end.y() <= bottom + 1e-9);
            QVERIFY(end.x() >= 0.0 && end.x() <= size.width());
        }
    }
    QVERIFY2(trace.segments().size() >= fewestSegments && trace.segments().size() <= mostSegments,
             qPrintable(QString::number(trace.segments().size())));
}

void TestLineTrace::paintLooksLikeOnePath_data()
{
    QTest::addColumn<int>("shape");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<float>("peak"); // of the samples; the scale is 10

    QTest::newRow("wave") << int(Wave) << QSize(600, 200) << 10.0f;
    QTest::newRow("wave squeezed") << int(Wave) << QSize(150, 60) << 10.0f;
    QTest::newRow("noise") << int(Noise) << QSize(600, 200) << 10.0f;
    QTest::newRow("noise in a narrow plot") << int(Noise) << QSize(120, 200) << 10.0f;
    QTest::newRow("zigzag in a narrow plot") << int(Zigzag) << QSize(200, 100) << 10.0f;
    QTest::newRow("wave leaving at the top") << int(Wave) << QSize(600, 200) << 25.0f;
}

void TestLineTrace::paintLooksLikeOnePath()
{
    QFETCH(int, shape);
    QFETCH(QSize, size);
    QFETCH(float, peak);

    LineValuesGroup group;
    group.setAutoMaximum(false);
    group.setMaximum(10.0f);
    LineValues* line = group.addLine(QString(), QColor(255, 200, 0));
    line->setActive(true);
    const QList<float> values = samples(Shape(shape), peak);
    for (float value : values) {
        line->addValue(value);
    }

    QImage plot(size, QImage::Format_ARGB32_Premultiplied);
    plot.fill(background);
    QImage reference = plot;
    QPainter painter(&plot);
    painter.setRenderHint(QPainter::Antialiasing, true);
    group.paint(&painter, size);
    painter.end();
    // The reference: one path through all samples, stroked once under a
    // painter scaled to the plot. Slow for a jagged series, but the look the
    // plot keeps: a 2-pixel line, without the overlaps of separate segments.
    painter.begin(&reference);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.scale(size.width() / 499.0, -size.height() / 10.0);
    painter.translate(0.0, -10.0);
    QPainterPath path(QPointF(0.0, double(values.first())));
    for (int i = 1; i < values.size(); ++i) {
        path.lineTo(QPointF(i, double(values.at(i))));
    }
    painter.setPen(line->pen());
    painter.drawPath(path);
    painter.end();

    int ink = 0;
    int differing = 0;
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const QColor expected = reference.pixelColor(x, y);
            const QColor seen = plot.pixelColor(x, y);
            ink += expected != background ? 1 : 0;
            const int change = std::max({std::abs(expected.red() - seen.red()),
                                         std::abs(expected.green() - seen.green()),
                                         std::abs(expected.blue() - seen.blue())});
            differing += change > 96 ? 1 : 0;
        }
    }
    // A shifted, dropped or misplaced stretch of line changes whole runs of
    // its pixels; thinning only moves antialiased edges a little.
    QVERIFY2(ink > 0, "nothing drawn");
    QVERIFY2(differing * 50 <= ink, qPrintable(QString("%1 of %2").arg(differing).arg(ink)));
}

QTEST_MAIN(TestLineTrace)
#include "tst_linetrace.moc"
