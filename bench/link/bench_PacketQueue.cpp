#include "PacketHeader.h"
#include "PacketQueue.h"

#include <QByteArray>
#include <QList>
#include <benchmark/benchmark.h>

// One receive pass as the decoders see it: N frames of the six received
// kinds, interleaved as a target sends them, then each decoder in turn asks
// countPackets and takes every frame of its kinds. The time per frame must
// stay flat as N grows.

namespace {

const quint8 receivedKinds[] = {1, 7, 3, 4, 5, 9};

QList<QByteArray> interleavedFrames(int n)
{
    QList<QByteArray> frames;
    frames.reserve(n);
    for (int i = 0; i < n; ++i) {
        QByteArray frame(PacketHeader::headerSize + 16, '\0');
        PacketHeader header;
        header.size = quint32(frame.size());
        header.kind = receivedKinds[i % 6];
        header.write(frame.data());
        frames.append(frame);
    }
    return frames;
}

void takeAllOfKind(PacketQueue& queue, quint8 kind)
{
    for (int count = queue.count(kind, 0); count > 0; --count)
        benchmark::DoNotOptimize(queue.take(kind, 0));
}

void BM_DecoderPass(benchmark::State& state)
{
    const QList<QByteArray> frames = interleavedFrames(int(state.range(0)));
    PacketQueue queue;
    for (auto _ : state) {
        for (const QByteArray& frame : frames)
            queue.append(frame);
        // DSPTree takes its two kinds, then the four histories in the order
        // of their creation.
        for (quint8 kind : receivedKinds)
            takeAllOfKind(queue, kind);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["ns_per_frame"] =
        benchmark::Counter(double(state.iterations() * state.range(0)),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace

BENCHMARK(BM_DecoderPass)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
