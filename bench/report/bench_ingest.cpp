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

#include <functional>
#include <initializer_list>

namespace {

// A living network of 200 units, as in the first steady-cost figure, in 50 rounds
// of the subscription mix (400 frames, about 2 MB) that are sent again and
// again. The argument of each benchmark is how many times.
const int floodUnits = 200;
const int floodRounds = 50;

const FloodStream& floodStream()
{
    static const FloodStream stream(floodUnits, floodRounds);
    return stream;
}

// Receives one whole flood from the port; true when every frame came through.
using Receiver = std::function<bool(quint16 port)>;

void runFlood(benchmark::State& state, const Receiver& receive)
{
    const FloodStream& stream = floodStream();
    const int repeats = int(state.range(0));
    double seconds = 0.0;
    for (auto _ : state) {
        FloodSender sender(stream.bytes(), repeats);
        const quint16 port = sender.listen();
        if (port == 0) {
            state.SkipWithError("the flooding sender cannot listen");
            return;
        }
        QElapsedTimer clock;
        clock.start();
        const bool received = receive(port);
        const double elapsed = double(clock.nsecsElapsed()) / 1e9;
        sender.wait();
        if (!received || !sender.hasSentAll()) {
            state.SkipWithError("the flood did not come through whole");
            return;
        }
        state.SetIterationTime(elapsed);
        seconds += elapsed;
    }
    const double frames = double(stream.frameCount()) * repeats * double(state.iterations());
    state.counters["frames_per_second"] = frames / seconds;
    state.counters["MB_per_second"] =
        double(stream.bytes().size()) * repeats * double(state.iterations()) / seconds / 1e6;
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

void BM_IngestBareRecv(benchmark::State& state)
{
    const qint64 expected = qint64(floodStream().frameCount()) * state.range(0);
    runFlood(state, [expected](quint16 port) {
        BareReceiver receiver(FloodStream::endKind);
        return receiver.receive(port) && receiver.frameCount() == expected;
    });
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
    runFlood(state, [](quint16 port) {
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
    runFlood(state, [&](quint16 port) {
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

// 500 repeats are 200000 frames, about 1.1 GB: half a second or more for the
// floor and the link. The window is several times slower, and a fifth of
// that is enough for it to run for seconds.
BENCHMARK(BM_IngestBareRecv)
    ->Arg(500)
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IngestLink)
    ->Arg(500)
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IngestWholeProgram)
    ->Arg(100)
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
