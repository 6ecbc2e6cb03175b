#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "LineGraph.h"
#include "LineGraphControl.h"
#include "LineGraphLegendItem.h"
#include "LineRaster.h"
#include "LineTrace.h"
#include "LineValues.h"
#include "LineValuesGroup.h"
#include "ProfilerLineGraph.h"
#include "StatsHistory.h"

#include <QApplication>
#include <QImage>
#include <QPainter>

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

namespace {
// The whole lower panel with every series ticked and its buffer full of a
// wavy signal, so that no path segment is degenerate.
struct FullPanel
{
    enum Shape
    {
        Wave,
        Zigzag
    };

    CPUHistory cpu{nullptr};
    ChannelHistory channel{nullptr};
    CodecHistory codec{nullptr};
    StatsHistory stats{nullptr};
    ProfilerLineGraph panel{&cpu, &channel, &codec, &stats, nullptr, {}};

    explicit FullPanel(Shape shape = Wave)
    {
        const QList<LineGraphLegendItem*> rows = panel.findChildren<LineGraphLegendItem*>();
        int seriesIndex = 0;
        for (LineGraphLegendItem* row : rows) {
            LineValues* line = panel.control()->lineOf(row);
            line->setActive(true);
            for (int i = 0; i < LineValues::sampleCount; ++i) {
                const double wave = 10.0 + 8.0 * std::sin(0.05 * i + seriesIndex);
                line->addValue(shape == Wave ? float(wave) : float(i % 2) * 18.0f);
            }
            ++seriesIndex;
        }
    }
};

void BM_RepaintFullPlot(benchmark::State& state)
{
    FullPanel full(FullPanel::Shape(state.range(2)));
    LineGraph* plot = full.panel.lineGraph();
    const QSize size(int(state.range(0)), int(state.range(1)));
    plot->resize(size);
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        plot->render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
    state.SetLabel(state.range(2) == FullPanel::Wave ? "18 full series, wave"
                                                     : "18 full series, zigzag 0 to peak");
}
// Width, height, shape of the samples.
BENCHMARK(BM_RepaintFullPlot)
    ->Args({600, 200, FullPanel::Wave})
    ->Args({1600, 400, FullPanel::Wave})
    ->Args({600, 200, FullPanel::Zigzag})
    ->Args({300, 200, FullPanel::Wave})
    ->Unit(benchmark::kMicrosecond);

// The plot's own share of a repaint: one series mapped to pixels and stroked
// into the layer, without Qt's drawing of the layer.
void BM_StrokeSeries(benchmark::State& state)
{
    QList<float> values;
    for (int i = 0; i < LineValues::sampleCount; ++i) {
        const double wave = 10.0 + 8.0 * std::sin(0.05 * i);
        values.append(state.range(2) == FullPanel::Wave ? float(wave) : float(i % 2) * 18.0f);
    }
    LineTrace trace;
    LineRaster raster;
    const QSize size(int(state.range(0)), int(state.range(1)));
    for (auto _ : state) {
        raster.begin(size, 1.0);
        trace.trace(values, QSizeF(size), 18.0);
        for (const LineTrace::Run& run : trace.runs()) {
            raster.addPolyline(trace.points().constData() + run.first, run.count, 2.0);
        }
        raster.fill(QColor(Qt::red));
        benchmark::DoNotOptimize(raster.layer().constBits());
    }
}
// Width, height, shape of the samples.
BENCHMARK(BM_StrokeSeries)
    ->Args({600, 200, FullPanel::Wave})
    ->Args({600, 200, FullPanel::Zigzag})
    ->Args({300, 200, FullPanel::Zigzag})
    ->Unit(benchmark::kMicrosecond);

// The cost of one sample through the whole chain: series, group, plot's update().
void BM_AddValueChain(benchmark::State& state)
{
    FullPanel full;
    LineValues* line = full.panel.lineGraph()->groups().first()->lines().first();
    float value = 0.0f;
    for (auto _ : state) {
        line->addValue(value);
        value = value > 50.0f ? 0.0f : value + 0.5f;
    }
}
BENCHMARK(BM_AddValueChain);

// The worst case of the running maximum: a falling ramp, so that every sample
// that leaves is the peak and the buffer is scanned each time.
void BM_AddValueRescanEveryTime(benchmark::State& state)
{
    LineValues line;
    float value = 1.0e6f;
    for (auto _ : state) {
        line.addValue(value);
        // Restart the ramp well above zero, so that the peak keeps leaving.
        value = value < 1000.0f ? 1.0e6f : value - 1.0f;
    }
}
BENCHMARK(BM_AddValueRescanEveryTime);
} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
