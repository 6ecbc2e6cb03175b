#include "LineValues.h"
#include "LineValuesGroup.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QtTest>

#include <cmath>

// A painted group against the one stroked path through all its samples.
class TestLineTrace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void paintLooksLikeOnePath_data();
    void paintLooksLikeOnePath();
};

namespace {
enum Shape
{
    Wave,
    Zigzag,
    Noise,
    Spikes
};

QList<float> samples(Shape shape, float peak)
{
    QList<float> values;
    quint32 seed = 99;
    for (int i = 0; i < LineValues::sampleCount; ++i) {
        seed = seed * 1103515245u + 12345u;
        const float wave = peak * float(0.5 + 0.45 * std::sin(0.05 * i));
        const float noise = peak * float((seed >> 16) % 1000) / 1000.0f;
        const float spike = i % 25 == 12 ? peak : 0.1f * peak;
        const float shapes[] = {wave, float(i % 2) * peak, noise, spike};
        values.append(shapes[shape]);
    }
    return values;
}

QImage plotImage(QSize size, qreal ratio)
{
    QImage image(size * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(QColor(49, 56, 64));
    return image;
}
} // namespace

void TestLineTrace::paintLooksLikeOnePath_data()
{
    QTest::addColumn<int>("shape");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<qreal>("ratio");
    QTest::addColumn<float>("peak"); // of the samples; the scale is 10

    const QSize full(600, 200);
    for (qreal ratio : {1.0, 2.0}) {
        const QString at = ratio == 1.0 ? " at ratio 1" : " at ratio 2";
        QTest::newRow(qPrintable("wave" + at)) << int(Wave) << full << ratio << 10.0f;
        QTest::newRow(qPrintable("sharp zigzag" + at)) << int(Zigzag) << full << ratio << 10.0f;
        QTest::newRow(qPrintable("noise" + at)) << int(Noise) << full << ratio << 10.0f;
        QTest::newRow(qPrintable("spikes" + at)) << int(Spikes) << full << ratio << 10.0f;
        QTest::newRow(qPrintable("wave leaving at the top" + at))
            << int(Wave) << full << ratio << 25.0f;
        QTest::newRow(qPrintable("noise in a narrow plot" + at))
            << int(Noise) << QSize(120, 90) << ratio << 10.0f;
    }
}

void TestLineTrace::paintLooksLikeOnePath()
{
    QFETCH(int, shape);
    QFETCH(QSize, size);
    QFETCH(qreal, ratio);
    QFETCH(float, peak);

    LineValuesGroup group;
    group.setAutoMaximum(false);
    group.setMaximum(10.0f);
    LineValues* line = group.addLine(QString(), QColor(255, 200, 0));
    line->setActive(true);
    // A repaint before, of other samples, must leave nothing behind.
    for (float value : samples(Shape((shape + 1) % 4), 10.0f)) {
        line->addValue(value);
    }
    QImage plot = plotImage(size, ratio);
    QPainter painter(&plot);
    group.paint(&painter, size);
    painter.end();
    const QList<float> values = samples(Shape(shape), peak);
    for (float value : values) {
        line->addValue(value);
    }

    plot = plotImage(size, ratio);
    painter.begin(&plot);
    painter.setRenderHint(QPainter::Antialiasing, true);
    group.paint(&painter, size);
    painter.end();
    // The reference: one path through all samples, stroked once by Qt under
    // a painter scaled to the plot.
    QImage reference = plotImage(size, ratio);
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

    // Antialiasing may differ by a few levels of 255; a cap on a corner, a
    // missing join or an edge blended twice changes a pixel by far more.
    int worst = 0;
    QPoint where;
    for (int y = 0; y < reference.height(); ++y) {
        for (int x = 0; x < reference.width(); ++x) {
            const QRgb expected = reference.pixel(x, y);
            const QRgb seen = plot.pixel(x, y);
            const int change = std::max({std::abs(qRed(expected) - qRed(seen)),
                                         std::abs(qGreen(expected) - qGreen(seen)),
                                         std::abs(qBlue(expected) - qBlue(seen))});
            if (change > worst) {
                worst = change;
                where = QPoint(x, y);
            }
        }
    }
    QVERIFY2(worst <= 8,
             qPrintable(QString("%1 levels at %2,%3").arg(worst).arg(where.x()).arg(where.y())));
}

QTEST_MAIN(TestLineTrace)
#include "tst_linetrace.moc"
