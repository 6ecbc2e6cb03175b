#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "HistoryFrames.h"
#include "StatsHistory.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>

namespace {

// A burst of `count` valid frames of `kind`, as one pass finds them queued.
QList<QByteArray> burst(quint8 kind, quint8 version, int count)
{
    QList<QByteArray> frames;
    frames.reserve(count);
    for (int i = 0; i < count; ++i)
        frames.append(HistoryFrames::marked(kind, version, i));
    return frames;
}

template <typename Store> void runPasses(benchmark::State& state, quint8 kind, quint8 version)
{
    const QList<QByteArray> frames = burst(kind, version, int(state.range(0)));
    Store store(nullptr);
    for (auto _ : state) {
        store.processPackets(frames);
        benchmark::DoNotOptimize(store.snapshots()->constData());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    // Seconds per queued packet, the figure that must stay flat as bursts grow.
    state.counters["per_packet"] =
        benchmark::Counter(double(state.iterations() * state.range(0)),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_StatsBurst(benchmark::State& state)
{
    runPasses<StatsHistory>(state, PacketKind::Stats, 0);
}

void BM_CPUBurstOldVersion(benchmark::State& state)
{
    // Version 0 emits a status line per packet: the worst case of the CPU store.
    runPasses<CPUHistory>(state, PacketKind::CPU, 0);
}

void BM_ChannelBurst(benchmark::State& state)
{
    runPasses<ChannelHistory>(state, PacketKind::Channel, 0);
}

void BM_CodecBurst(benchmark::State& state)
{
    runPasses<CodecHistory>(state, PacketKind::Codec, 0);
}

} // namespace

BENCHMARK(BM_StatsBurst)->Arg(1)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(BM_CPUBurstOldVersion)->Arg(1000)->Arg(10000);
BENCHMARK(BM_ChannelBurst)->Arg(1000)->Arg(10000);
BENCHMARK(BM_CodecBurst)->Arg(1000)->Arg(10000);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
