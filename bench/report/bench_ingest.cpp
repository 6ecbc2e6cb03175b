// Link ingest: frames per second from a target that floods a loopback socket,
// through the bare floor, through the link and its five decoders, and through
// the whole window with its views painting.
#include "BareReceiver.h"
#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "DSPNetGraph.h"
#include "DSPTree.h"
#include "FloodSender.h"
#include "FloodStream.h"
#include "LineGraph.h"
#include "LinkWatcher.h"
#include "MainForm.h"
#include "PaintCounter.h"
#include "ProfilerForm.h"
#include "ProfilerNetwork.h"
#include "StatsHistory.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <ctime>
#include <functional>
#include <initializer_list>

namespace {

// A living network of 200 units, as in the first steady-cost figure, in 50 rounds
// of the subscription mix (400 frames, about 2 MB), or in 10000 rounds of the
// samples alone (40000 frames, about 2 MB), sent again and again. The first
// argument of each benchmark is how many times, the second the mix.
const int floodUnits = 200;
const int subscriptionRounds = 50;
const int sampleRounds = 10000;

const FloodStream& floodStream(int mix)
{
    static const FloodStream subscriptions(floodUnits, subscriptionRounds,
                                           FloodStream::Subscriptions);
    static const FloodStream samples(floodUnits, sampleRounds, FloodStream::SamplesOnly);
    return mix == FloodStream::SamplesOnly ? samples : subscriptions;
}

const FloodStream& floodStream(const benchmark::State& state)
{
    return floodStream(int(state.range(1)));
}

// Receives one whole flood from the port; true when every frame came through.
using Receiver = std::function<bool(quint16 port, const FloodSender& sender)>;

double threadCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// Wall time and the processor time of each side, summed over the floods.
struct FloodTimes
{
    double seconds = 0.0;
    double readerCpu = 0.0;
    double senderCpu = 0.0;
    qint64 frames = 0;
};

// One whole flood into `receive`, which runs on this thread. False, with the
// reason in `error`, when the flood did not come through whole.
bool floodOnce(const Receiver& receive, const FloodStream& stream, int repeats, FloodTimes* times,
               const char** error)
{
    FloodSender sender(stream.bytes(), repeats);
    const quint16 port = sender.listen();
    if (port == 0) {
        *error = "the flooding sender cannot listen";
        return false;
    }
    QElapsedTimer clock;
    clock.start();
    const double cpuStart = threadCpuSeconds();
    const bool received = receive(port, sender);
    const double cpu = threadCpuSeconds() - cpuStart;
    const double elapsed = double(clock.nsecsElapsed()) / 1e9;
    sender.wait();
    if (!received || !sender.hasSentAll()) {
        *error = "the flood did not come through whole";
        return false;
    }
    times->seconds += elapsed;
    times->readerCpu += cpu;
    times->senderCpu += sender.cpuSeconds();
    times->frames += qint64(stream.frameCount()) * repeats;
    return true;
}

// Frames a second of wall time, and frames a second of the reading thread's
// own processor time: the second is what the reader costs, whatever else the
// machine is doing, and is the figure that the ratios are taken of.
void reportRates(benchmark::State& state, const FloodTimes& times)
{
    const FloodStream& stream = floodStream(state);
    const double frames = double(times.frames);
    state.counters["frames_per_second"] = frames / times.seconds;
    state.counters["frames_per_cpu_second"] = frames / times.readerCpu;
    state.counters["sender_frames_per_cpu_second"] = frames / times.senderCpu;
    state.counters["MB_per_second"] =
        double(stream.bytes().size()) * frames / stream.frameCount() / times.seconds / 1e6;
}

void runFlood(benchmark::State& state, const Receiver& receive)
{
    FloodTimes times;
    for (auto _ : state) {
        const double before = times.seconds;
        const char* error = nullptr;
        if (!floodOnce(receive, floodStream(state), int(state.range(0)), &times, &error)) {
            state.SkipWithError(error);
            return;
        }
        state.SetIterationTime(times.seconds - before);
    }
    reportRates(state, times);
}

// Runs the event loop until the watcher reports the end or the link's failure.
bool waitForEnd(LinkWatcher* watcher)
{
    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(watcher, SIGNAL(finished()), &loop, SLOT(quit()));
    QObject::connect(&deadline, SIGNAL(timeout()), &loop, SLOT(quit()));
    deadline.start(FloodSender::patienceMs);
    while (!watcher->hasEnded() && !watcher->hasFailed() && deadline.isActive())
        loop.exec();
    return watcher->endedCleanly() && !watcher->hasFailed();
}

bool bareReceive(quint16 port, const FloodSender& sender, qint64 expectedFrames)
{
    BareReceiver receiver(FloodStream::endKind);
    return receiver.receive(port, sender.totalBytes()) && receiver.frameCount() == expectedFrames;
}

bool discardReceive(quint16 port, const FloodSender& sender)
{
    BareReceiver receiver(FloodStream::endKind);
    return receiver.discard(port, sender.totalBytes());
}

// The floor, and the proof that it is the floor: each round floods a reader
// that throws the bytes away unread (the sender alone) and then the bare
// reader. The bare reader is the limit when the sender alone, in wall time,
// is at least twice as fast as the most the reader could take in: its frames
// per second of its own processor time, the rate that the ratios are taken of.
void BM_IngestBareRecv(benchmark::State& state)
{
    const FloodStream& stream = floodStream(state);
    const qint64 expected = qint64(stream.frameCount()) * state.range(0);
    const Receiver bare = [expected](quint16 port, const FloodSender& sender) {
        return bareReceive(port, sender, expected);
    };
    FloodTimes alone;
    FloodTimes times;
    for (auto _ : state) {
        const double before = times.seconds;
        const char* error = nullptr;
        if (!floodOnce(discardReceive, stream, int(state.range(0)), &alone, &error) ||
            !floodOnce(bare, stream, int(state.range(0)), &times, &error)) {
            state.SkipWithError(error);
            return;
        }
        state.SetIterationTime(times.seconds - before);
    }
    reportRates(state, times);
    const double aloneRate = double(alone.frames) / alone.seconds;
    const double readerLimit = double(times.frames) / times.readerCpu;
    state.counters["sender_alone_frames_per_second"] = aloneRate;
    state.counters["sender_headroom"] = aloneRate / readerLimit;
    state.counters["sender_cpu_headroom"] = times.readerCpu / times.senderCpu;
}

// The link and the five decoders as the form makes them, in the same order,
// with no window. A decoder that refuses a frame fails the run.
struct LinkAndDecoders
{
    ProfilerNetwork network;
    DSPTree tree{&network};
    CPUHistory cpu{&network};
    ChannelHistory channels{&network};
    CodecHistory codecs{&network};
    StatsHistory stats{&network};
    LinkWatcher watcher{&network};

    LinkAndDecoders()
    {
        for (QObject* decoder :
             std::initializer_list<QObject*>{&tree, &cpu, &channels, &codecs, &stats})
            watcher.watchStatus(decoder);
    }
};

void BM_IngestLink(benchmark::State& state)
{
    runFlood(state, [](quint16 port, const FloodSender&) {
        LinkAndDecoders link;
        link.network.connectToTarget(QStringLiteral("127.0.0.1"), port);
        const bool ok = waitForEnd(&link.watcher);
        link.network.disconnectFromTarget();
        return ok;
    });
}

// The whole program: the window at its start size, shown on the offscreen
// platform, connected with its own button, so that the views paint while the
// frames pour in. The decoders are the form's own and cannot be watched; a
// frame that one of them refused would leave its line in the status label.
void BM_IngestWholeProgram(benchmark::State& state)
{
    MainForm window(nullptr, {});
    window.resize(800, 600);
    window.show();
    QCoreApplication::processEvents();
    ProfilerForm* form = window.form();
    LinkWatcher watcher(form->targetNetwork());
    PaintCounter graphPaints(form->findChild<DSPNetGraph*>());
    PaintCounter plotPaints(form->findChild<LineGraph*>());
    QLineEdit* portEdit = form->findChild<QLineEdit*>(QStringLiteral("portEdit"));
    QPushButton* connectButton = form->findChild<QPushButton*>(QStringLiteral("connectButton"));
    QLabel* statusLabel = form->findChild<QLabel*>(QStringLiteral("statusLabel"));
    runFlood(state, [&](quint16 port, const FloodSender&) {
        watcher.reset();
        portEdit->setText(QString::number(port));
        connectButton->click();
        const bool ok = waitForEnd(&watcher) && statusLabel->text() == QLatin1String("Connected.");
        ProfilerNetwork* network = form->targetNetwork();
        // A click on an idle bar would connect again.
        if (network->isConnected() || network->isConnecting())
            connectButton->click();
        return ok;
    });
    const double runs = double(state.iterations());
    state.counters["graph_paints"] = double(graphPaints.count()) / runs;
    state.counters["plot_paints"] = double(plotPaints.count()) / runs;
}

} // namespace

// The subscription mix: 500 repeats are 200000 frames, about 1.1 GB, half a
// second or more for the floor and the link; the window is several times
// slower, and a fifth of that is enough for it to run for seconds. The
// samples alone: 200 repeats are 8 million frames, about 400 MB, for the
// floor; the link and the window take longer for each frame, and a tenth and
// a fifth of that keep each of their floods near a tenth of a second, long
// beside what a connection costs to open and the window's first paint.
BENCHMARK(BM_IngestBareRecv)
    ->Args({500, FloodStream::Subscriptions})
    ->Args({200, FloodStream::SamplesOnly})
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IngestLink)
    ->Args({500, FloodStream::Subscriptions})
    ->Args({80, FloodStream::SamplesOnly})
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IngestWholeProgram)
    ->Args({100, FloodStream::Subscriptions})
    ->Args({40, FloodStream::SamplesOnly})
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
