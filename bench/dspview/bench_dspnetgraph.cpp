#include "DSPNetGraphLayout.h"
#include "DSPNetGraphPainter.h"
#include "DSPNetGraphRepaint.h"
#include "DSPNetGraphSettings.h"
#include "DSPTree.h"
#include "TestNetwork.h"

#include <QApplication>
#include <QPainter>

#include <benchmark/benchmark.h>

namespace {

// A network of n units: a ternary tree in which every seventh unit also feeds
// from the unit five places before it (shared units, and loops where that
// unit is an ancestor), every 16 units form a group, and every 8 groups nest
// in a group of their own. Each unit has two meters.
struct Network
{
    explicit Network(int n)
    {
        TestNetwork net(TestNetwork::sharedTernary(n));
        for (const QString& name : net.names()) {
            TestNode& node = net.node(name);
            const int i = name.mid(1).toInt();
            node.exclusiveTime = quint32(i % 50);
            node.decibels = {-12, -10};
            node.groupId = quint64(i / 16 + 1);
        }
        net.sampleRate = 48000;
        net.blockLength = 1024;
        const QByteArray snapshot = net.snapshot(6);
        const int leafGroups = n / 16 + 1;
        QList<TestGroup> groups;
        for (int id = 1; id <= leafGroups; ++id)
            groups.append(TestGroup{quint64(id), quint64(leafGroups + 1 + (id - 1) / 8), {}, {}});
        for (int id = leafGroups + 1; id <= leafGroups + 1 + leafGroups / 8; ++id)
            groups.append(TestGroup{quint64(id), 0, QUuid::createUuid(), QStringLiteral("Bus")});
        const QByteArray table = TestFrames::groupTable(groups);
        for (DSPTree* each : {&tree, &twin}) {
            each->acceptNetworkFrame(snapshot);
            each->acceptGroupFrame(table);
        }
    }

    DSPTree tree{nullptr};
    // The same network in a tree of its own: a layout that takes the two in
    // turn cannot keep its lists and lays every pass out in full.
    DSPTree twin{nullptr};
};

// Per unit of the network. ns_per_unit is printed in seconds' place: a value
// of 250 reads "250s" and means 250 ns of CPU time per unit.
void setUnitCounters(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["ns_per_unit"] = benchmark::Counter(
        double(state.range(0)) / 1e9,
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

const quint64 none = DSPNetGraphSettings::noSelection;

// One whole pass of a snapshot into the lists: walk, send lines and groups,
// with the panel's start settings (nothing collapsed).
void BM_Layout(benchmark::State& state)
{
    Network network(int(state.range(0)));
    DSPNetGraphLayout layout;
    layout.showInactive = true;
    layout.showExcessive = true;
    const DSPTree* trees[] = {&network.tree, &network.twin};
    int next = 0;
    for (auto _ : state) {
        layout.processTree(*trees[next], none, none);
        benchmark::DoNotOptimize(layout.nodes.size());
        next ^= 1;
    }
    setUnitCounters(state);
}
BENCHMARK(BM_Layout)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// A pass over a tree that kept its shape: the plates' values copied again.
void BM_LayoutSameShape(benchmark::State& state)
{
    Network network(int(state.range(0)));
    DSPNetGraphLayout layout;
    layout.showInactive = true;
    layout.showExcessive = true;
    for (auto _ : state) {
        layout.processTree(network.tree, none, none);
        benchmark::DoNotOptimize(layout.nodes.size());
    }
    setUnitCounters(state);
}
BENCHMARK(BM_LayoutSameShape)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// The panel's start settings with the meters on, and the network laid out.
struct Shown
{
    explicit Shown(int n) : network(n)
    {
        layout.showInactive = true;
        layout.showExcessive = true;
        layout.processTree(network.tree, none, none);
        settings.showGroups = true;
        settings.showSends = true;
        settings.showVolumeLevels = true;
    }

    Network network;
    DSPNetGraphLayout layout;
    DSPNetGraphSettings settings;
    DSPNetGraphPainter painter;
};

// What each snapshot adds to its layout to decide whether to repaint: one
// pass over the lists, names included.
void BM_RepaintDecision(benchmark::State& state)
{
    Shown shown(int(state.range(0)));
    DSPNetGraphRepaint decision;
    for (auto _ : state) {
        decision.layoutDone(shown.layout, shown.settings);
        benchmark::DoNotOptimize(decision.needsRepaint(shown.settings));
    }
    setUnitCounters(state);
}
BENCHMARK(BM_RepaintDecision)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// One repaint at scale 1.0 with the panel's start settings and the meters on,
// into a screen-sized image as a view of the graph is: every unit is drawn,
// the painter clips what lies outside.
void BM_Repaint(benchmark::State& state)
{
    Shown shown(int(state.range(0)));
    QImage image(1920, 1080, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        image.fill(Qt::transparent);
        QPainter painter(&image);
        shown.painter.render(&painter, shown.layout, shown.settings, false,
                             DSPNetGraphPainter::everywhere);
    }
    setUnitCounters(state);
}
BENCHMARK(BM_Repaint)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// One repaint of what the scroll area shows: an 800 by 400 view into the
// middle of the graph, painted as paintEvent does with its exposed rectangle.
void BM_RepaintView(benchmark::State& state)
{
    Shown shown(int(state.range(0)));
    const QSize size = shown.layout.neededSize(1.0f);
    const QRect view(QPoint(size.width() / 2, size.height() / 2), QSize(800, 400));
    QImage image(view.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        QPainter painter(&image);
        painter.translate(-view.topLeft());
        painter.setClipRect(view);
        shown.painter.render(&painter, shown.layout, shown.settings, false,
                             DSPNetGraphPainter::areaOf(view, 1.0f));
    }
    setUnitCounters(state);
}
BENCHMARK(BM_RepaintView)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
