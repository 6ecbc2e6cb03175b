// Plot repaint: the line graph with all eighteen series shown and full,
// against the same samples drawn by Qt Charts into an image of the same size.
#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "LineGraph.h"
#include "LineValues.h"
#include "LineValuesGroup.h"
#include "ProfilerLineGraph.h"
#include "StatsHistory.h"

#include <QApplication>
#include <QImage>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

// The lower panel with every series shown and its buffer full of a wave of
// its own, so that no two series and no two segments coincide.
struct FullPanel
{
    CPUHistory cpu{nullptr};
    ChannelHistory channels{nullptr};
    CodecHistory codecs{nullptr};
    StatsHistory stats{nullptr};
    ProfilerLineGraph panel{&cpu, &channels, &codecs, &stats, nullptr, {}};

    FullPanel()
    {
        int seriesIndex = 0;
        for (LineValuesGroup* group : panel.lineGraph()->groups()) {
            for (LineValues* line : group->lines()) {
                line->setActive(true);
                for (int i = 0; i < LineValues::sampleCount; ++i)
                    line->addValue(float(10.0 + 8.0 * std::sin(0.05 * i + seriesIndex)));
                ++seriesIndex;
            }
        }
    }

    int seriesCount() const
    {
        int count = 0;
        for (const LineValuesGroup* group : panel.lineGraph()->groups())
            count += int(group->lines().size());
        return count;
    }
};

// The same samples as a chart: one series per line with the line's pen, each
// group on a vertical axis of its own from 0 to the group's maximum, as the
// plot scales it. The chart is given its cheapest look, lines only: no
// legend, no axes, no grid, no margins, no animation. Antialiasing is on, as
// in the plot.
QChart* chartOf(const FullPanel& full)
{
    QChart* chart = new QChart();
    chart->legend()->hide();
    chart->setAnimationOptions(QChart::NoAnimation);
    chart->setMargins(QMargins());
    chart->setBackgroundRoundness(0);
    QValueAxis* xAxis = new QValueAxis();
    xAxis->setRange(0, LineValues::sampleCount - 1);
    xAxis->setVisible(false);
    chart->addAxis(xAxis, Qt::AlignBottom);
    for (const LineValuesGroup* group : full.panel.lineGraph()->groups()) {
        QValueAxis* yAxis = new QValueAxis();
        yAxis->setRange(0.0, double(group->maximum()));
        yAxis->setVisible(false);
        chart->addAxis(yAxis, Qt::AlignLeft);
        for (const LineValues* line : group->lines()) {
            QLineSeries* series = new QLineSeries();
            QList<QPointF> points;
            for (int i = 0; i < line->values().size(); ++i)
                points.append(QPointF(i, double(line->values().at(i))));
            series->replace(points);
            series->setPen(line->pen());
            chart->addSeries(series);
            series->attachAxis(xAxis);
            series->attachAxis(yAxis);
        }
    }
    return chart;
}

void BM_PlotLineGraph(benchmark::State& state)
{
    FullPanel full;
    LineGraph* plot = full.panel.lineGraph();
    const QSize size(int(state.range(0)), int(state.range(1)));
    // The plot sits in the panel's layout, which would give it a size of its
    // own at the first render; a fixed size holds against the layout.
    plot->setFixedSize(size);
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        plot->render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
    if (plot->size() != size) {
        state.SkipWithError("the plot did not keep the size asked for");
        return;
    }
    state.counters["series"] = full.seriesCount();
}

void BM_PlotQtCharts(benchmark::State& state)
{
    FullPanel full;
    QChartView view(chartOf(full));
    view.setRenderHint(QPainter::Antialiasing, true);
    const QSize size(int(state.range(0)), int(state.range(1)));
    view.resize(size);
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        // As a widget, the way the plot is rendered; QGraphicsView::render
        // would draw the scene without the view.
        view.QWidget::render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
    state.counters["series"] = double(view.chart()->series().size());
}

} // namespace

// Width and height of the plot in the 800 by 600 window.
BENCHMARK(BM_PlotLineGraph)->Args({600, 200})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PlotQtCharts)->Args({600, 200})->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
