#include "DSPNetGraph.h"
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
    explicit Network(int n) : tree(nullptr)
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
        tree.acceptNetworkFrame(net.snapshot(6));
        const int leafGroups = n / 16 + 1;
        QList<TestGroup> groups;
        for (int id = 1; id <= leafGroups; ++id)
            groups.append(TestGroup{quint64(id), quint64(leafGroups + 1 + (id - 1) / 8), {}, {}});
        for (int id = leafGroups + 1; id <= leafGroups + 1 + leafGroups / 8; ++id)
            groups.append(TestGroup{quint64(id), 0, QUuid::createUuid(), QStringLiteral("Bus")});
        tree.acceptGroupFrame(TestFrames::groupTable(groups));
    }

    DSPTree tree;
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

// One whole pass of a snapshot into the lists: walk, send lines, groups and
// the widget's size, with the panel's start settings (nothing collapsed).
void BM_Layout(benchmark::State& state)
{
    Network network(int(state.range(0)));
    DSPNetGraph graph(&network.tree);
    graph.setShowInactive(true);
    graph.setShowExcessive(true);
    for (auto _ : state) {
        graph.slotProcessTree();
        benchmark::DoNotOptimize(graph.graphNodes().size());
    }
    setUnitCounters(state);
}
BENCHMARK(BM_Layout)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// The panel's start settings with the meters on, and the network laid out.
void showEverything(DSPNetGraph& graph)
{
    graph.setShowInactive(true);
    graph.setShowExcessive(true);
    graph.setShowGroups(true);
    graph.setShowSends(true);
    graph.setShowVolumeLevels(true);
    graph.slotProcessTree();
}

// One repaint at scale 1.0 with the panel's start settings and the meters on,
// into a screen-sized image as a view of the graph is: every unit is drawn,
// the painter clips what lies outside.
void BM_Repaint(benchmark::State& state)
{
    Network network(int(state.range(0)));
    DSPNetGraph graph(&network.tree);
    showEverything(graph);
    QImage image(1920, 1080, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        image.fill(Qt::transparent);
        QPainter painter(&image);
        graph.render(&painter, false);
    }
    setUnitCounters(state);
}
BENCHMARK(BM_Repaint)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// One repaint of what the scroll area shows: an 800 by 400 view into the
// middle of the graph, painted as paintEvent does with its exposed rectangle.
void BM_RepaintView(benchmark::State& state)
{
    Network network(int(state.range(0)));
    DSPNetGraph graph(&network.tree);
    showEverything(graph);
    const QRect view(QPoint(graph.width() / 2, graph.height() / 2), QSize(800, 400));
    QImage image(view.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        QPainter painter(&image);
        painter.translate(-view.topLeft());
        painter.setClipRect(view);
        graph.render(&painter, false, view);
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
