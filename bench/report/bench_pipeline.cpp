// The snapshot pipeline: one DSP network snapshot decoded, its CPU shares and
// depths computed, and the view's walk of the new tree into its flat lists,
// against a bare pass that reads every record of the same frame.
#include "DSPNetGraph.h"
#include "DSPTree.h"
#include "ProfilerDSPNetGraph.h"
#include "SimTarget.h"

#include <QHash>
#include <QtEndian>

#include <benchmark/benchmark.h>

#include <limits>

namespace {

// The snapshot and group table that the simulated target sends for a mixer of
// n units, built once per size.
struct Frames
{
    QByteArray snapshot;
    QByteArray groups;
};

const Frames& framesOf(int units)
{
    static QHash<int, Frames> cache;
    if (!cache.contains(units)) {
        const SimTarget target(SimShape::Mixer, units, true);
        cache.insert(units, Frames{target.snapshot(6), target.groupTable()});
    }
    return cache[units];
}

// Time per unit beside time per pass: the figure that must stay flat as the
// network grows. Printed in seconds' place: "250s" means 250 ns per unit.
void setUnitCounters(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["ns_per_unit"] = benchmark::Counter(
        double(state.range(0)) / 1e9,
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// What one snapshot costs between the socket and the screen: the tree's
// decoder, then the graph's walk, which the window runs inside
// dspNetTreeUpdated. The panel gives the graph its start settings. No event
// loop runs, so the repaint that the graph asks for never happens: layout only.
// The window lays a large network out one turn of its event loop after the
// decoding; here both run in one call, so each pass costs them both.
// The snapshot is taken in turn with a copy whose root has another name, so
// every pass is one of a new shape.
void BM_SnapshotPipeline(benchmark::State& state)
{
    const Frames& frames = framesOf(int(state.range(0)));
    QByteArray renamed = frames.snapshot;
    const int rootName = 20 + 62;
    renamed[rootName] = renamed[rootName] == 'X' ? 'Y' : 'X';
    const QByteArray* snapshots[] = {&frames.snapshot, &renamed};
    int next = 0;
    DSPTree tree(nullptr);
    ProfilerDSPNetGraph panel(&tree, nullptr, {});
    DSPNetGraph* graph = panel.graphWidget();
    graph->setDeferredLayoutUnits(std::numeric_limits<qsizetype>::max());
    tree.acceptGroupFrame(frames.groups);
    for (auto _ : state) {
        next ^= 1;
        if (!tree.acceptNetworkFrame(*snapshots[next])) {
            state.SkipWithError("the snapshot was not accepted");
            return;
        }
        graph->slotProcessTree();
    }
    if (graph->graphNodes().size() < state.range(0) / 2) {
        state.SkipWithError("the graph shows fewer than half of the units");
        return;
    }
    setUnitCounters(state);
    state.counters["units_laid_out"] = double(graph->graphNodes().size());
}

// The floor: one pass over the 94-byte records of the same frame that reads
// every fixed field and the first byte of the name, and keeps nothing.
void BM_SnapshotBareRead(benchmark::State& state)
{
    const QByteArray& frame = framesOf(int(state.range(0))).snapshot;
    const int firstRecord = 20;
    const int recordBytes = 94;
    for (auto _ : state) {
        quint64 sum = 0;
        const char* end = frame.constData() + frame.size();
        for (const char* r = frame.constData() + firstRecord; end - r >= recordBytes;
             r += recordBytes) {
            sum += qFromLittleEndian<quint64>(r) ^ qFromLittleEndian<quint64>(r + 8) ^
                   qFromLittleEndian<quint64>(r + 16) ^ qFromLittleEndian<quint16>(r + 24) ^
                   qFromLittleEndian<quint16>(r + 26) ^ quint8(r[28]) ^ quint8(r[29]) ^
                   quint8(r[30]) ^ quint8(r[62]);
        }
        benchmark::DoNotOptimize(sum);
    }
    setUnitCounters(state);
}

} // namespace

// A 100,000-unit network lies in the processor's last cache, which the
// machine's other work shares: one burst of it weighs on a single run of half
// a second. The median of five runs is the figure.
static void networkSizes(benchmark::internal::Benchmark* family)
{
    family->Arg(1000)->Arg(10000)->Arg(100000)->Repetitions(5)->ReportAggregatesOnly(true);
    family->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_SnapshotPipeline)->Apply(networkSizes);
BENCHMARK(BM_SnapshotBareRead)->Apply(networkSizes);
