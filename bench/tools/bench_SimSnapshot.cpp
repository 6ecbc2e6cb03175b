// The simulated target sends a snapshot of its whole network ten times a
// second; with 100000 units, moving the network one step and writing the
// frame must stay well under those 100 ms.
#include "SimFrameWriter.h"
#include "SimTarget.h"

#include <benchmark/benchmark.h>

namespace {

void BM_SnapshotFrame(benchmark::State& state)
{
    const int version = int(state.range(0));
    SimTarget target(SimShape(state.range(1)), 100000, true);
    qint64 bytes = 0;
    for (auto _ : state) {
        QByteArray frame = target.snapshot(version);
        benchmark::DoNotOptimize(frame.data());
        bytes = frame.size();
    }
    state.SetBytesProcessed(qint64(state.iterations()) * bytes);
}
BENCHMARK(BM_SnapshotFrame)
    ->ArgsProduct({{0, 3, 5, 6}, {int(SimShape::Mixer)}})
    ->Args({6, int(SimShape::Chain)})
    ->Args({6, int(SimShape::Ladder)})
    ->Unit(benchmark::kMillisecond);

void BM_AdvanceStep(benchmark::State& state)
{
    SimTarget target(SimShape::Mixer, 100000, true);
    qint64 milliseconds = 0;
    for (auto _ : state) {
        milliseconds += SimTarget::stepMilliseconds;
        target.advanceTo(milliseconds);
    }
}
BENCHMARK(BM_AdvanceStep)->Unit(benchmark::kMillisecond);

void BM_BuildNetwork(benchmark::State& state)
{
    for (auto _ : state) {
        SimTarget target(SimShape::Mixer, 100000, true);
        benchmark::DoNotOptimize(target.network());
    }
}
BENCHMARK(BM_BuildNetwork)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
