// Steady cost: the CPU time that the whole profiler takes, window and all,
// while it follows a living network of the simulated target at the normal
// rates of its subscriptions, as a share of one core, and the longest time the
// window's event loop was busy without looking for input. The second argument
// ticks the five series of the CPU tab.
#include "DSPNetGraph.h"
#include "LineGraph.h"
#include "LineGraphControl.h"
#include "LineGraphLegendItem.h"
#include "LinkWatcher.h"
#include "LoopGapMeter.h"
#include "MainForm.h"
#include "PaintCounter.h"
#include "ProfilerForm.h"
#include "ProfilerNetwork.h"
#include "ReportSettings.h"
#include "SimLauncher.h"

#include <QApplication>
#include <QCheckBox>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <sys/resource.h>

namespace {

// Start-up is left out: the window appears, the link comes up, the first
// snapshot is laid out, and the views settle for this long before the window
// of measurement opens.
const int settleMs = 2000;
// A network of 100000 units takes the simulated target many seconds to build.
const int simStartMs = 120000;
const int firstSnapshotMs = 60000;

// User and system time of this process, all threads, in seconds.
double processCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void runEventLoopFor(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, SLOT(quit()));
    loop.exec();
}

// The window of measurement, in a function of its own so that a profiler can
// collect exactly this stretch (callgrind --toggle-collect=*measuredWindow*).
[[gnu::noinline]] void measuredWindow(int milliseconds)
{
    runEventLoopFor(milliseconds);
}

// Runs the event loop until the graph shows units or the time is up.
bool waitForGraph(const DSPNetGraph* graph, int milliseconds)
{
    QDeadlineTimer deadline(milliseconds);
    while (graph->graphNodes().isEmpty() && !deadline.hasExpired())
        runEventLoopFor(50);
    return !graph->graphNodes().isEmpty();
}

// The first tab of the line graph's control is the CPU tab.
void tickCPUSeries(ProfilerForm* form)
{
    QTabWidget* tabs = form->findChild<LineGraphControl*>()->tabWidget();
    for (LineGraphLegendItem* row : tabs->widget(0)->findChildren<LineGraphLegendItem*>())
        row->checkBox()->setChecked(true);
}

void BM_SteadyCost(benchmark::State& state)
{
    const QString program = ReportSettings::simProgram();
    if (program.isEmpty()) {
        state.SkipWithError("no simulated target: pass --sim=PATH");
        return;
    }
    SimLauncher sim;
    if (!sim.start(program, {QStringLiteral("--nodes"), QString::number(state.range(0))},
                   simStartMs)) {
        state.SkipWithError(qPrintable(sim.error()));
        return;
    }
    MainForm window(nullptr, {});
    window.resize(800, 600);
    window.show();
    ProfilerForm* form = window.form();
    ProfilerNetwork* network = form->targetNetwork();
    DSPNetGraph* graph = form->findChild<DSPNetGraph*>();
    LinkWatcher watcher(network);
    PaintCounter graphPaints(graph);
    PaintCounter plotPaints(form->findChild<LineGraph*>());
    LoopGapMeter loopGap;
    if (state.range(1) != 0)
        tickCPUSeries(form);
    form->findChild<QLineEdit*>(QStringLiteral("portEdit"))->setText(QString::number(sim.port()));
    form->findChild<QPushButton*>(QStringLiteral("connectButton"))->click();
    if (!waitForGraph(graph, firstSnapshotMs)) {
        state.SkipWithError("no snapshot reached the graph");
        return;
    }
    runEventLoopFor(settleMs);
    const int windowMs = int(ReportSettings::steadySeconds() * 1000.0);
    double share = 0.0;
    double seconds = 0.0;
    for (auto _ : state) {
        watcher.reset();
        graphPaints.reset();
        plotPaints.reset();
        loopGap.reset();
        sim.takeLog();
        QElapsedTimer wall;
        const double cpuBefore = processCpuSeconds();
        wall.start();
        measuredWindow(windowMs);
        seconds = double(wall.nsecsElapsed()) / 1e9;
        share = (processCpuSeconds() - cpuBefore) / seconds;
        state.SetIterationTime(seconds);
    }
    if (watcher.hasFailed() || !network->isConnected()) {
        state.SkipWithError("the link broke during the window");
        return;
    }
    state.counters["cpu_share"] = share;
    state.counters["longest_loop_gap_s"] = loopGap.longestSeconds();
    // The target skips frames, and says so, while the profiler falls behind.
    state.counters["target_skipped"] = sim.takeLog().contains(QStringLiteral("client is slow"));
    state.counters["units_shown"] = double(graph->graphNodes().size());
    state.counters["passes_per_second"] = double(watcher.passes()) / seconds;
    state.counters["graph_paints_per_second"] = double(graphPaints.count()) / seconds;
    state.counters["plot_paints_per_second"] = double(plotPaints.count()) / seconds;
}

} // namespace

BENCHMARK(BM_SteadyCost)
    ->Args({200, 0})
    ->Args({200, 1})
    ->Args({10000, 0})
    ->Args({100000, 0})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kSecond);
