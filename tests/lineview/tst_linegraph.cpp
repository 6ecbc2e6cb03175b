#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "HistoryFrames.h"
#include "LineGraph.h"
#include "LineGraphControl.h"
#include "LineGraphLegendItem.h"
#include "LineValues.h"
#include "LineValuesGroup.h"
#include "ProfilerLineGraph.h"
#include "ProfilerSimpleLabel.h"
#include "StatsHistory.h"

#include <QCheckBox>
#include <QFontMetrics>
#include <QImage>
#include <QLayout>
#include <QPainter>
#include <QPainterPath>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTabWidget>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

using Texts = QMap<QString, QString>;
using Tails = QMap<QString, QList<float>>;

class TestLineGraph : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runningMaximum_data();
    void runningMaximum();
    void groupMaximum_data();
    void groupMaximum();
    void labelIgnoresRepeats();
    void legendNumbers_data();
    void legendNumbers();
    void legendRow();
    void edgeLabels();
    void plotPixels_data();
    void plotPixels();
    void burstCostsOneRepaint();
    void paintLooksLikeOnePath_data();
    void paintLooksLikeOnePath();
    void tabsRowsAndSpinBoxes();
    void storesFeedRowsAndSeries_data();
    void storesFeedRowsAndSeries();
    void statsHideRows();
    void spinBoxFollowsTheLimit_data();
    void spinBoxFollowsTheLimit();
    void wrongSnapshotCountStaysInTheList();
    void tickingAndWidening();
};

namespace {
// Runs of equal samples: {count, value}, ...
QList<float> runs(std::initializer_list<std::pair<int, float>> parts)
{
    QList<float> samples;
    for (const auto& part : parts) {
        samples += QList<float>(part.first, part.second);
    }
    return samples;
}

const QColor background(49, 56, 64);
const QSize plotSize(400, 200);

class PaintCounter : public QObject
{
public:
    int paints = 0;
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return QObject::eventFilter(watched, event);
    }
};

void showAndSettle(QWidget* widget, PaintCounter* counter)
{
    widget->installEventFilter(counter);
    widget->show();
    QVERIFY(QTest::qWaitForWindowExposed(widget));
    QTRY_VERIFY(counter->paints > 0);
    counter->paints = 0;
}

// Whether any pixel of rows top..bottom, right of the labels, is not background.
bool drawn(const QImage& image, int top, int bottom)
{
    for (int y = top; y <= bottom; ++y) {
        for (int x = image.width() / 2; x < image.width(); ++x) {
            if (QColor(image.pixel(x, y)) != background) {
                return true;
            }
        }
    }
    return false;
}

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
    image.fill(background);
    return image;
}

QByteArray cpuFrame(float dsp, float stream, float update, float geometry)
{
    return HistoryFrames::cpu(1, dsp, stream, update, geometry);
}

QByteArray channelFrame(const QList<qint32>& values)
{
    return HistoryFrames::ints(PacketKind::Channel, 0, values);
}

QByteArray codecFrame(const QList<qint32>& values)
{
    return HistoryFrames::ints(PacketKind::Codec, 0, values);
}

// CPU 12.34, 0.5, 1, 2 (dsp, stream, update, geometry).
QByteArray statsFrame(const QList<qint16>& counts, qint32 memory, qint32 memoryLimit)
{
    return HistoryFrames::stats(0, {12.34f, 0.5f, 1.0f, 2.0f}, counts, memory, memoryLimit);
}

const QList<qint16> someCounts = {10, 32, 20, 64, 1, 4, 0, 0, 2, 8, 0, 0, 0, 0, 0, 0, 3, 16};

struct Panel
{
    CPUHistory cpu{nullptr};
    ChannelHistory channel{nullptr};
    CodecHistory codec{nullptr};
    StatsHistory stats{nullptr};
    ProfilerLineGraph widget{&cpu, &channel, &codec, &stats, nullptr, {}};
    LineGraphControl* control = widget.control();

    LineGraphLegendItem* row(const QString& name) const
    {
        for (LineGraphLegendItem* item : control->findChildren<LineGraphLegendItem*>()) {
            if (item->name() == name) {
                return item;
            }
        }
        return nullptr;
    }
    LineValues* line(const QString& name) const { return control->lineOf(row(name)); }
    LineValuesGroup* group(int tab) const { return widget.lineGraph()->groups().at(tab); }
    QSpinBox* spinBox(int tab) const
    {
        return control->tabWidget()->widget(tab)->findChild<QSpinBox*>();
    }

    // Consecutive frames of one kind arrive in one pass.
    void feed(const QList<QByteArray>& frames)
    {
        for (int first = 0, end = 0; first < frames.size(); first = end) {
            const char kind = frames.at(first).at(8);
            QList<QByteArray> pass;
            for (; end < frames.size() && frames.at(end).at(8) == kind; ++end) {
                pass.append(frames.at(end));
            }
            if (kind == 3) {
                cpu.processPackets(pass);
            } else if (kind == 4) {
                channel.processPackets(pass);
            } else if (kind == 5) {
                codec.processPackets(pass);
            } else {
                stats.processPackets(pass);
            }
        }
    }
};

} // namespace

void TestLineGraph::runningMaximum_data()
{
    QTest::addColumn<QList<float>>("samples");
    const float inf = std::numeric_limits<float>::infinity();

    QTest::newRow("only peak leaves") << runs({{1, 9.0f}, {499, 2.0f}, {1, 3.0f}});
    QTest::newRow("older of two equal peaks leaves") << runs({{2, 9.0f}, {500, 1.0f}});
    QTest::newRow("new sample equals peak as a smaller one leaves")
        << runs({{1, 1.0f}, {1, 5.0f}, {498, 0.0f}, {2, 5.0f}, {1, 0.0f}});
    QTest::newRow("negatives only") << runs({{700, -4.0f}});
    QTest::newRow("non-finite samples count as zero")
        << runs({{1, inf}, {1, 3.0f}, {1, std::nanf("")}, {1, -inf}});
    QList<float> descending;
    QList<float> walk;
    quint32 seed = 12345;
    for (int i = 0; i < 3000; ++i) {
        descending.append(float(3000 - i));
        seed = seed * 1103515245u + 12345u;
        walk.append(float(int((seed >> 16) % 7) - 2)); // many equal samples and peaks
    }
    QTest::newRow("descending ramp rescans each step") << descending;
    QTest::newRow("random walk with repeats") << walk;
}

void TestLineGraph::runningMaximum()
{
    QFETCH(QList<float>, samples);
    LineValues line;
    QSignalSpy spy(&line, SIGNAL(dataChanged()));
    for (float sample : std::as_const(samples)) {
        line.addValue(sample);
        const QList<float>& values = line.values();
        QCOMPARE(values.size(), LineValues::sampleCount);
        QCOMPARE(values.last(), std::isfinite(sample) ? sample : 0.0f);
        // The oracle: the largest sample in the buffer, and at least 0.
        QCOMPARE(line.maximum(), std::max(0.0f, *std::max_element(values.cbegin(), values.cend())));
    }
    QCOMPARE(spy.count(), samples.size());
}

// Series a and b of one group, driven by steps: "a:on" and "a:off" switch a
// series, "a=4" gives it a sample, "auto:0" and "auto:1" set the mode, "max:5"
// the manual maximum. After each step: the group's maximum and the number of
// signals the group sent for it.
void TestLineGraph::groupMaximum_data()
{
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("after");

    QTest::newRow("auto follows the largest active series, down to 0")
        << QStringList{"a:on", "b:on", "a=4", "b=9", "b:off", "a:off"}
        << QStringList{"0/1", "0/1", "4/1", "9/1", "4/1", "0/1"};
    QTest::newRow("auto ignores an inactive series; its samples still reach the plot")
        << QStringList{"a:on", "a=4", "b=9"} << QStringList{"0/1", "4/1", "4/1"};
    QTest::newRow("manual ignores samples and switches")
        << QStringList{"a:on", "b:on", "auto:0", "max:5", "a=4", "b=9", "a:off"}
        << QStringList{"0/1", "0/1", "0/1", "5/1", "5/1", "5/1", "5/1"};
    QTest::newRow("back to auto recomputes at once")
        << QStringList{"a:on", "b:on", "auto:0", "max:5", "a=4", "b=9", "auto:1"}
        << QStringList{"0/1", "0/1", "0/1", "5/1", "5/1", "5/1", "9/1"};
    QTest::newRow("unchanged values send nothing; manual keeps the last automatic value")
        << QStringList{"a:on", "a=3", "a:on", "auto:1", "auto:0", "max:3", "max:6"}
        << QStringList{"0/1", "3/1", "3/0", "3/0", "3/1", "3/0", "6/1"};
}

void TestLineGraph::groupMaximum()
{
    QFETCH(QStringList, steps);
    QFETCH(QStringList, after);

    LineValuesGroup group;
    LineValues* lines[] = {group.addLine(QString("a"), Qt::red),
                           group.addLine(QString("b"), Qt::green)};
    QSignalSpy spy(&group, SIGNAL(dataChanged()));
    for (int i = 0; i < steps.size(); ++i) {
        const QString& step = steps.at(i);
        LineValues* line = lines[step.startsWith('b') ? 1 : 0];
        if (step.startsWith("auto:")) {
            group.setAutoMaximum(step.endsWith('1'));
        } else if (step.startsWith("max:")) {
            group.setMaximum(step.mid(4).toFloat());
        } else if (step.at(1) == '=') {
            line->addValue(step.mid(2).toFloat());
        } else {
            line->setActive(step.endsWith("on"));
        }
        QCOMPARE(QString("%1/%2").arg(group.maximum()).arg(spy.count()), after.at(i));
        spy.clear();
    }
}

// What an unchanged text or colour must not do (sizes and pixels: the window's tests).
void TestLineGraph::labelIgnoresRepeats()
{
    ProfilerSimpleLabel label;
    PaintCounter counter;
    label.setText(QString("abc"));
    showAndSettle(&label, &counter);
    label.setMinimumSize(0, 0);
    label.setText(QString("abc"));
    label.setColor(label.color());
    QCoreApplication::processEvents();
    QCOMPARE(label.minimumSize(), QSize(0, 0));
    QCOMPARE(counter.paints, 0);
    label.setColor(Qt::red);
    QTRY_COMPARE(counter.paints, 1);
}

void TestLineGraph::legendNumbers_data()
{
    QTest::addColumn<int>("precision");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QList<float>>("numbers");
    QTest::addColumn<QString>("expected");

    QTest::newRow("precision 0 rounds 2.6 up")
        << 0 << QString(" channel(s)") << QList<float>{2.6f, -2.0f, 5.0f, 32.0f}
        << QString("3 [-2 - 5] / 32 channel(s)");
    QTest::newRow("precision 2") << 2 << QString("%") << QList<float>{12.345f, 10.0f, 15.0f, 100.0f}
                                 << QString("12.35 [10.00 - 15.00] / 100.00%");
    QTest::newRow("precision 3") << 3 << QString(" MB") << QList<float>{1.234f, 1.0f, 2.0f, 8.0f}
                                 << QString("1.234 [1.000 - 2.000] / 8.000 MB");
    QTest::newRow("placeholder in the suffix stays text")
        << 0 << QString("%1%") << QList<float>{1.0f, 2.0f, 3.0f, 4.0f}
        << QString("1 [2 - 3] / 4%1%");
}

void TestLineGraph::legendNumbers()
{
    QFETCH(int, precision);
    QFETCH(QString, suffix);
    QFETCH(QList<float>, numbers);
    QFETCH(QString, expected);

    LineGraphLegendItem item;
    item.setSuffix(suffix);
    item.setPrecision(precision);
    item.setValues(numbers.at(0), numbers.at(1), numbers.at(2), numbers.at(3));
    QCOMPARE(item.text(), expected);
}

void TestLineGraph::legendRow()
{
    LineGraphLegendItem item;
    // Setters that change nothing leave the row without a text.
    item.setPrecision(0);
    item.setSuffix(QString());
    item.setCurrent(0.0f);
    QCOMPARE(item.text(), QString());
    item.setSuffix(QString("%"));
    QCOMPARE(item.text(), QString("0 [0 - 0] / 0%"));

    item.setColor(QColor("red"));
    QCOMPARE(item.checkBox()->styleSheet(),
             QString("QCheckBox::indicator { border:1px solid black; } "
                     "QCheckBox::indicator:checked { background-color:#ff0000; }"));
}

void TestLineGraph::edgeLabels()
{
    LineGraph graph;
    graph.addGroup(QString("CPU"), QString("%"), 2);
    LineValuesGroup* memory = graph.addGroup(QString("Memory"), QString(" MB"), 3);
    memory->setAutoMaximum(false);
    memory->setMaximum(7.5f);
    // The texts follow the data at the next repaint, not before.
    QCOMPARE(graph.maximumLabel()->text(), QString());
    graph.grab();
    QCOMPARE(graph.maximumLabel()->text(), QString("0.00% / 7.500 MB"));
    QCOMPARE(graph.minimumLabel()->text(), QString("0.00% / 0.000 MB"));
}

void TestLineGraph::plotPixels_data()
{
    // Samples alternate between `even` and `odd`; red is drawn over green.
    QTest::addColumn<float>("even");
    QTest::addColumn<float>("odd");
    QTest::addColumn<bool>("active");
    QTest::addColumn<float>("manualMaximum"); // 0 for automatic mode
    QTest::addColumn<QString>("topMiddleBottom");

    QTest::newRow("auto maximum touches the top edge")
        << 5.0f << 5.0f << true << 0.0f << QString("T--");
    QTest::newRow("inactive series draws nothing")
        << 5.0f << 5.0f << false << 0.0f << QString("---");
    QTest::newRow("zeros draw no bottom line") << 0.0f << 0.0f << true << 0.0f << QString("---");
    QTest::newRow("manual maximum twice the sample")
        << 5.0f << 5.0f << true << 10.0f << QString("-M-");
    QTest::newRow("manual maximum below the samples")
        << 50.0f << 50.0f << true << 10.0f << QString("---");
    QTest::newRow("wild samples cross the whole plot")
        << 3.0e38f << -3.0e38f << true << 10.0f << QString("TMB");
}

void TestLineGraph::plotPixels()
{
    QFETCH(float, even);
    QFETCH(float, odd);
    QFETCH(bool, active);
    QFETCH(float, manualMaximum);
    QFETCH(QString, topMiddleBottom);

    LineGraph graph;
    graph.resize(plotSize);
    LineValuesGroup* greenGroup = graph.addGroup(QString("A"), QString(), 0);
    LineValues* green = greenGroup->addLine(QString(), Qt::green);
    LineValuesGroup* group = graph.addGroup(QString("B"), QString(), 0);
    LineValues* red = group->addLine(QString(), Qt::red);
    red->setActive(active);
    if (manualMaximum > 0.0f) {
        group->setAutoMaximum(false);
        group->setMaximum(manualMaximum);
    }
    for (int i = 0; i < LineValues::sampleCount; ++i) {
        red->addValue(i % 2 == 0 ? even : odd);
        green->addValue(1.0f);
    }
    const QImage image = graph.grab().toImage();
    const int last = plotSize.height() - 1;
    const QString seen = QString(drawn(image, 0, 1) ? "T" : "-") +
                         (drawn(image, 2, last - 2) ? "M" : "-") +
                         (drawn(image, last - 1, last) ? "B" : "-");
    QCOMPARE(seen, topMiddleBottom);
    if (topMiddleBottom == "-M-") {
        // A line at half the scale; the later group is painted over the earlier.
        greenGroup->setAutoMaximum(false);
        greenGroup->setMaximum(2.0f);
        green->setActive(true);
        QCOMPARE(QColor(graph.grab().toImage().pixel(300, plotSize.height() / 2)), QColor(Qt::red));
    }
}

void TestLineGraph::burstCostsOneRepaint()
{
    LineGraph graph;
    graph.resize(plotSize);
    QList<LineValues*> lines;
    for (int g = 0; g < 4; ++g) {
        LineValuesGroup* group = graph.addGroup(QString::number(g), QString(), 0);
        // A fixed scale keeps the labels' sizes: a relayout would expose the plot again.
        group->setAutoMaximum(false);
        group->setMaximum(10.0f);
        for (int s = 0; s < 4; ++s) {
            lines.append(group->addLine(QString(), Qt::white));
            lines.last()->setActive(true);
        }
    }
    PaintCounter counter;
    showAndSettle(&graph, &counter);
    // Each burst after a paint must bring its own repaint, and only one.
    for (int burst = 1; burst <= 2; ++burst) {
        for (int snapshot = 0; snapshot < 10; ++snapshot) {
            for (LineValues* line : std::as_const(lines)) {
                line->addValue(float(snapshot + burst));
            }
        }
        QTRY_COMPARE(counter.paints, burst);
        QCoreApplication::processEvents();
        QCOMPARE(counter.paints, burst);
    }
}

void TestLineGraph::paintLooksLikeOnePath_data()
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

void TestLineGraph::paintLooksLikeOnePath()
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
    // The reference: one path through all samples, stroked once, scaled to the plot.
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

void TestLineGraph::tabsRowsAndSpinBoxes()
{
    Panel p;
    // Per tab: title, then each row from the top as name:colour:text.
    const QStringList expected = {
        "CPU|DSP:red:0.00 [0.00 - 0.00] / "
        "0.00%|Stream:green|Geometry:yellow|Update:blue|Total:orange",
        "Channel|Hardware:cornflowerblue:0 [0 - 0] / 0 channel(s)|Software:plum|Real:indianred|"
        "Virtual:khaki|Playing:linen",
        "Codec|Vorbis:seagreen:0 [0 - 0] / 0 codec(s)|ZADPCM:lightslategray|ADPCM:peru|"
        "MPEG:yellowgreen|XMA:seashell|AT9:mediumorchid|PCM:tomato",
        "Memory|Current:skyblue:0.000 [0.000 - 0.000] / 0.000 MB"};
    // The series of the codec group are created, and painted, in another order.
    const QStringList codecCreation = {"MPEG", "ADPCM", "XMA", "PCM", "ZADPCM", "Vorbis", "AT9"};
    QTabWidget* tabs = p.control->tabWidget();
    QCOMPARE(tabs->count(), expected.size());
    for (int tab = 0; tab < tabs->count(); ++tab) {
        QString seen = tabs->tabText(tab);
        QLayout* layout = tabs->widget(tab)->layout();
        for (int i = 0; qobject_cast<LineGraphLegendItem*>(layout->itemAt(i)->widget()); ++i) {
            auto* item = qobject_cast<LineGraphLegendItem*>(layout->itemAt(i)->widget());
            QVERIFY(!item->isChecked() && !p.line(item->name())->isActive());
            seen += "|" + item->name() + ":" + QColor(p.line(item->name())->pen().color()).name();
            seen += i == 0 ? ":" + item->text() : QString();
        }
        QString wanted = expected.at(tab); // colour names as QColor's "#rrggbb"
        for (const QString& token : wanted.split(QRegularExpression("[|:]"))) {
            if (QColor::isValidColorName(token))
                wanted.replace(":" + token, ":" + QColor(token).name());
        }
        QCOMPARE(seen, wanted);
        QCOMPARE(p.group(tab)->name(), tabs->tabText(tab));

        // "Auto" at the bottom of 0..100, wrapping both ways; the group follows.
        QSpinBox* box = p.spinBox(tab);
        QCOMPARE(box->text(), QString("Auto"));
        QVERIFY(box->isAccelerated());
        box->stepBy(-1);
        QCOMPARE(box->text(), "100" + p.group(tab)->suffix());
        QVERIFY(!p.group(tab)->autoMaximum() && p.group(tab)->maximum() == 100.0f);
        box->stepBy(1);
        QVERIFY(box->text() == "Auto" && p.group(tab)->autoMaximum());
        box->stepBy(1);
        QCOMPARE(box->text(), "1" + p.group(tab)->suffix());
        QVERIFY(!p.group(tab)->autoMaximum() && p.group(tab)->maximum() == 1.0f);
    }
    for (int i = 0; i < codecCreation.size(); ++i) {
        QCOMPARE(p.group(2)->lines().at(i)->name(), codecCreation.at(i));
    }
}

void TestLineGraph::storesFeedRowsAndSeries_data()
{
    QTest::addColumn<QList<QByteArray>>("frames");
    QTest::addColumn<Texts>("texts");
    QTest::addColumn<Tails>("tails"); // the newest samples of a series

    QTest::newRow("cpu batch enters oldest first")
        << QList<QByteArray>{cpuFrame(1, 0.5f, 2, 1), cpuFrame(2, 0.5f, 2, 1),
                             cpuFrame(3, 0.5f, 2, 1)}
        << Texts{{"DSP", "3.00 [0.00 - 0.00] / 100.00%"}, {"Total", "6.50 [0.00 - 0.00] / 100.00%"}}
        << Tails{{"DSP", {1, 2, 3}}, {"Geometry", {1, 1, 1}}};
    QTest::newRow("channel counts and limits")
        << QList<QByteArray>{channelFrame({3, 32, 10, 64, 20, 100})}
        << Texts{{"Real", "13 [0 - 0] / 96 channel(s)"}, {"Playing", "33 [0 - 0] / 100 channel(s)"}}
        << Tails{{"Software", {10}}, {"Playing", {33}}};
    QTest::newRow("codec packet leaves the other three rows alone")
        << QList<QByteArray>{codecFrame({1, 16, 2, 32, 3, 8, -4, 4})}
        << Texts{{"PCM", "-4 [0 - 0] / 4 codec(s)"}, {"Vorbis", "0 [0 - 0] / 0 codec(s)"}}
        << Tails{{"XMA", {0, 3}}, {"AT9", {0, 0}}};
    QTest::newRow("stats give average, minimum and maximum")
        << QList<QByteArray>{statsFrame(someCounts, 1500000, 8000000),
                             statsFrame(QList<qint16>{20} + someCounts.mid(1), 1000000, 8000000)}
        << Texts{{"Geometry", "2.00 [2.00 - 2.00] / 100.00%"},
                 {"Real", "15 [10 - 20] / 32 channel(s)"},
                 {"Playing", "35 [30 - 40] / 64 channel(s)"},
                 {"Current", "1.250 [1.000 - 1.500] / 8.000 MB"}}
        << Tails{{"Update", {1, 1}}, {"Real", {10, 20}}, {"Current", {1.5f, 1}}};
    // Summed in single precision: stream, dsp, geometry, update.
    const float big = 16777216.0f; // 2^24: adding 1 to it is lost
    QTest::newRow("cpu v0 has no geometry, whatever follows it")
        << QList<QByteArray>{HistoryFrames::cpu(0, 1, 2, 3, 0) + HistoryFrames::cpu(1, 9, 9, 9, 9)}
        << Texts{} << Tails{{"Geometry", {0}}, {"Total", {6}}};
    QTest::newRow("cpu total in float order")
        << QList<QByteArray>{HistoryFrames::cpu(1, 1, big, -big, 1)} << Texts{}
        << Tails{{"Geometry", {1}}, {"Total", {0}}};
    // Real and playing are sums in 32 bits that wrap.
    const float wrapped = float(std::numeric_limits<qint32>::min());
    const qint32 top = std::numeric_limits<qint32>::max();
    QTest::newRow("channel sums wrap")
        << QList<QByteArray>{channelFrame({top, top, 1, 1, 0, -7})}
        << Texts{{"Real", "-2147483648 [0 - 0] / -2147483648 channel(s)"},
                 {"Playing", "-2147483648 [0 - 0] / -7 channel(s)"}}
        << Tails{{"Real", {wrapped}}, {"Playing", {wrapped}}, {"Hardware", {float(top)}}};
    QTest::newRow("the later store writes the row")
        << QList<QByteArray>{statsFrame(someCounts, 0, 0), cpuFrame(7, 0, 0, 0)}
        << Texts{{"DSP", "7.00 [12.34 - 12.34] / 100.00%"}} << Tails{{"DSP", {12.34f, 7}}};
}

void TestLineGraph::storesFeedRowsAndSeries()
{
    QFETCH(QList<QByteArray>, frames);
    QFETCH(Texts, texts);
    QFETCH(Tails, tails);
    Panel p;

    p.feed(frames);
    for (auto it = texts.cbegin(); it != texts.cend(); ++it) {
        QCOMPARE(p.row(it.key())->text(), it.value());
    }
    for (auto it = tails.cbegin(); it != tails.cend(); ++it) {
        QCOMPARE(p.line(it.key())->values().mid(LineValues::sampleCount - it.value().size()),
                 it.value());
    }
}

void TestLineGraph::statsHideRows()
{
    Panel p;
    p.row("ZADPCM")->checkBox()->click();
    p.feed({channelFrame({3, 32, 10, 64, 20, 100})});
    QVERIFY(!p.row("Hardware")->isHidden());

    // ZADPCM has a limit of 0 here: hidden, but still ticked and drawn.
    p.feed({statsFrame(someCounts, 1, 2000000)});
    QVERIFY(p.row("Hardware")->isHidden() && p.row("Software")->isHidden());
    QVERIFY(p.row("ZADPCM")->isHidden() && p.row("ZADPCM")->isChecked() &&
            p.line("ZADPCM")->isActive());
    QVERIFY(!p.row("ADPCM")->isHidden());

    QList<qint16> counts = someCounts;
    counts[7] = 6;
    p.feed({statsFrame(counts, 1, 2000000), channelFrame({3, 32, 10, 64, 20, 100})});
    QVERIFY(!p.row("ZADPCM")->isHidden());
    QVERIFY(p.row("Hardware")->isHidden());
}

void TestLineGraph::spinBoxFollowsTheLimit_data()
{
    QTest::addColumn<int>("tab");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<int>("chosen");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<float>("groupMaximum"); // 0 for automatic mode

    const QList<qint16> noCodecs = {0, 0, 0, 0, 0, -3, 0, -3, 0, -3, 0, -3, 0, -3, 0, -3, 0, -3};
    QTest::newRow("channel limit falls below the chosen maximum")
        << 1 << channelFrame({0, 0, 0, 0, 0, 100}) << 40 << channelFrame({0, 0, 0, 0, 0, 32})
        << 32.0f;
    QTest::newRow("channel limit above the chosen maximum keeps it")
        << 1 << channelFrame({0, 0, 0, 0, 0, 100}) << 40 << channelFrame({0, 0, 0, 0, 0, 64})
        << 40.0f;
    QTest::newRow("memory limit below 1 MB gives Auto")
        << 3 << statsFrame(someCounts, 0, 8000000) << 5 << statsFrame(someCounts, 0, 999999)
        << 0.0f;
    QTest::newRow("negative codec limits keep Auto at the bottom")
        << 2 << codecFrame({0, 8, 0, 0, 0, 0, 0, 0}) << 5 << statsFrame(noCodecs, 0, 0) << 0.0f;
}

void TestLineGraph::spinBoxFollowsTheLimit()
{
    QFETCH(int, tab);
    QFETCH(QByteArray, before);
    QFETCH(int, chosen);
    QFETCH(QByteArray, after);
    QFETCH(float, groupMaximum);
    Panel p;

    p.feed({before});
    p.spinBox(tab)->setValue(chosen);
    QCOMPARE(p.group(tab)->maximum(), float(chosen));
    p.feed({after});
    const QString number = QString::number(int(groupMaximum)) + p.group(tab)->suffix();
    QCOMPARE(p.spinBox(tab)->text(), groupMaximum == 0.0f ? QString("Auto") : number);
    QCOMPARE(p.spinBox(tab)->minimum(), 0);
    QCOMPARE(p.group(tab)->autoMaximum(), groupMaximum == 0.0f);
    if (groupMaximum != 0.0f) {
        QCOMPARE(p.group(tab)->maximum(), groupMaximum);
    }
}

void TestLineGraph::wrongSnapshotCountStaysInTheList()
{
    Panel p;
    QObject::disconnect(&p.cpu, nullptr, p.control, nullptr);
    p.feed({cpuFrame(1, 0, 0, 0), cpuFrame(2, 0, 0, 0)});
    p.control->slotProcessCPUHistory(1000);
    p.control->slotProcessCPUHistory(-5);
    QCOMPARE(p.line("DSP")->values().mid(LineValues::sampleCount - 3), (QList<float>{0, 1, 2}));
    QCOMPARE(p.row("DSP")->text(), QString("2.00 [0.00 - 0.00] / 100.00%"));
}

void TestLineGraph::tickingAndWidening()
{
    Panel p;
    p.feed({cpuFrame(4, 9, 0, 0)});
    QCOMPARE(p.group(0)->maximum(), 0.0f);
    p.row("DSP")->checkBox()->click();
    QCOMPARE(p.group(0)->maximum(), 4.0f);
    p.control->tabWidget()->setCurrentIndex(2);
    QVERIFY(p.line("DSP")->isActive());
    p.row("DSP")->checkBox()->click();
    QVERIFY(!p.line("DSP")->isActive() && p.group(0)->maximum() == 0.0f);

    // The plot takes the width; the tabs keep theirs.
    p.widget.resize(800, 250);
    p.widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&p.widget));
    const int controlWidth = p.control->width();
    const int plotWidth = p.widget.lineGraph()->width();
    p.widget.resize(1000, 250);
    QTRY_COMPARE(p.widget.lineGraph()->width(), plotWidth + 200);
    QCOMPARE(p.control->width(), controlWidth);
}

QTEST_MAIN(TestLineGraph)
#include "tst_linegraph.moc"
