#include "DSPTree.h"
#include "TestNetwork.h"

#include <QtEndian>

#include <benchmark/benchmark.h>

namespace {

// A version 6 snapshot of n units: a ternary tree in which every seventh
// unit also feeds from the unit five places before it, which gives shared
// units and, where that unit is an ancestor, loops.
QByteArray snapshotOf(int n)
{
    TestNetwork net(TestNetwork::sharedTernary(n));
    for (const QString& name : net.names()) {
        TestNode& node = net.node(name);
        node.exclusiveTime = quint32(name.mid(1).toInt() % 50);
        node.decibels = {-12, -10};
    }
    net.sampleRate = 48000;
    net.blockLength = 1024;
    return net.snapshot(6);
}

const QByteArray& cachedSnapshot(int n)
{
    static QHash<int, QByteArray> cache;
    if (!cache.contains(n))
        cache.insert(n, snapshotOf(n));
    return cache[n];
}

// Per unit of the network; the frame holds about one repeated record for
// every seven units on top. ns_per_unit is printed in seconds' place: a value
// of 250 reads "250s" and means 250 ns of CPU time per unit.
void setUnitCounters(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["ns_per_unit"] = benchmark::Counter(
        double(state.range(0)) / 1e9,
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// The same snapshot with the root renamed: a network of another shape, so
// that taking the two in turn decodes every one of them in full.
QByteArray renamedRoot(const QByteArray& frame)
{
    QByteArray renamed = frame;
    const int rootName = 20 + 62;
    renamed[rootName] = renamed[rootName] == 'X' ? 'Y' : 'X';
    return renamed;
}

// Decode, CPU shares and depths: what one accepted snapshot of a new shape
// costs, including freeing the graph it replaces.
void BM_AcceptSnapshot(benchmark::State& state)
{
    const QByteArray frames[] = {cachedSnapshot(int(state.range(0))),
                                 renamedRoot(cachedSnapshot(int(state.range(0))))};
    DSPTree tree(nullptr);
    int next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tree.acceptNetworkFrame(frames[next]));
        next ^= 1;
    }
    setUnitCounters(state);
}

// A snapshot of the shape already shown: compared with the last one and
// only its values read.
void BM_AcceptSameShape(benchmark::State& state)
{
    const QByteArray& frame = cachedSnapshot(int(state.range(0)));
    DSPTree tree(nullptr);
    tree.acceptNetworkFrame(frame);
    for (auto _ : state) {
        benchmark::DoNotOptimize(tree.acceptNetworkFrame(frame));
    }
    setUnitCounters(state);
}

// The floor: one pass that reads the fixed fields of every record of the same
// frame and keeps nothing.
void BM_ReadRecordsOnly(benchmark::State& state)
{
    const QByteArray& frame = cachedSnapshot(int(state.range(0)));
    for (auto _ : state) {
        quint64 sum = 0;
        for (const char* r = frame.constData() + 20; r + 94 <= frame.constData() + frame.size();
             r += 94) {
            sum += qFromLittleEndian<quint64>(r) ^ qFromLittleEndian<quint64>(r + 8) ^
                   qFromLittleEndian<quint64>(r + 16) ^ qFromLittleEndian<quint16>(r + 24) ^
                   qFromLittleEndian<quint16>(r + 26) ^ quint8(r[28]) ^ quint8(r[29]) ^
                   quint8(r[62]);
        }
        benchmark::DoNotOptimize(sum);
    }
    setUnitCounters(state);
}

} // namespace

BENCHMARK(BM_AcceptSnapshot)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_AcceptSameShape)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ReadRecordsOnly)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
