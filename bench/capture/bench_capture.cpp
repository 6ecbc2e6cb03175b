// What keeping a session costs: disk per hour of the simulated target's
// 200-unit network at the profiler's rates (limit 150 MB), the CPU of the
// relay that records it (limit 2 % of a core), how late replay sends each
// frame (limit 2 ms at the 99th percentile), and how fast `info` and
// `export` read (at least 200 MB/s of frames).
#include "CaptureExport.h"
#include "CaptureFormat.h"
#include "CaptureInfo.h"
#include "CaptureReader.h"
#include "CaptureSimulation.h"
#include "CaptureWriter.h"
#include "PacketHeader.h"
#include "SimTarget.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <unistd.h>

namespace {

constexpr int units = 200;

QByteArray session(qint64 ms)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    CaptureWriter writer;
    QString error;
    writer.open(&buffer, 0, &error);
    SimTarget target(SimShape::Mixer, units, true);
    CaptureSimulation::write(&writer, &target, 0, ms);
    writer.finish(quint64(ms) * 1000);
    return buffer.data();
}

quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

// User and system time of a process in seconds, from /proc.
double cpuSeconds(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    return double(fields.value(11).toLongLong() + fields.value(12).toLongLong()) /
           double(sysconf(_SC_CLK_TCK));
}

bool waitForOutput(QProcess* process, const char* fragment)
{
    QByteArray output;
    while (process->waitForReadyRead(10000)) {
        output += process->readAllStandardOutput();
        if (output.contains(fragment))
            return true;
    }
    return false;
}

// An hour of session written through the compressor, one step of 100 ms at a
// time: the file size is exact, not extrapolated.
void BM_MegabytesPerHour(benchmark::State& state)
{
    for (auto _ : state) {
        QFile sink(QStringLiteral("/dev/null"));
        sink.open(QIODevice::WriteOnly);
        CaptureWriter writer;
        QString error;
        writer.open(&sink, 0, &error);
        SimTarget target(SimShape::Mixer, units, true);
        const qint64 hourMs = 3600 * 1000;
        CaptureSimulation::write(&writer, &target, 0, hourMs);
        writer.finish(quint64(hourMs) * 1000);
        state.counters["MB_per_hour"] = double(writer.fileBytes()) / 1e6;
        state.counters["raw_MB_per_hour"] = double(writer.recordBytes()) / 1e6;
        state.counters["limit_MB"] = 150;
    }
}
BENCHMARK(BM_MegabytesPerHour)->Iterations(1)->Unit(benchmark::kSecond);

// One second of session as the relay writes it: ten snapshots and group
// tables, five of each sample, one flush. The time per iteration is the share
// of a core that the file costs.
void BM_WriteOneSecond(benchmark::State& state)
{
    SimTarget target(SimShape::Mixer, units, true);
    QList<QByteArray> frames;
    for (qint64 ms = 0; ms < 1000; ms += 100) {
        target.advanceTo(ms);
        frames << target.snapshot(6) << target.groupTable();
    }
    QFile sink(QStringLiteral("/dev/null"));
    sink.open(QIODevice::WriteOnly);
    CaptureWriter writer;
    QString error;
    writer.open(&sink, 0, &error);
    quint64 timeUs = 0;
    QElapsedTimer clock;
    clock.start();
    for (auto _ : state) {
        for (const QByteArray& frame : std::as_const(frames))
            writer.appendFrame(CaptureFormat::ToProfiler, timeUs += 50000, frame);
        writer.flush();
    }
    // Wall time per simulated second, in percent of that second.
    state.counters["core_percent"] =
        double(clock.nsecsElapsed()) / 1e9 / double(state.iterations()) * 100.0;
    state.counters["limit_percent"] = 2;
}
BENCHMARK(BM_WriteOneSecond)->Unit(benchmark::kMillisecond);

// The relay program itself, recording the simulated target for 20 s with no
// profiler attached: its CPU time over the wall time.
void BM_RelayCost(benchmark::State& state)
{
    for (auto _ : state) {
        QTemporaryDir dir;
        QProcess sim;
        sim.start(QStringLiteral(ZELTO_SIM_PATH),
                  {QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--nodes"),
                   QString::number(units)});
        QByteArray line;
        while (!line.contains("listening on") && sim.waitForReadyRead(10000))
            line += sim.readAllStandardOutput();
        const QByteArray port = line.mid(line.indexOf("127.0.0.1:") + 10).split(' ').first();
        QProcess relay;
        relay.start(QStringLiteral(ZELTO_CAPTURE_PATH),
                    {QStringLiteral("record"), QStringLiteral("--target"),
                     QStringLiteral("127.0.0.1:") + QString::fromLatin1(port),
                     QStringLiteral("--subscribe"), QStringLiteral("-o"),
                     dir.filePath(QStringLiteral("relay.zcap"))});
        if (!waitForOutput(&relay, "recording")) {
            state.SkipWithError("the relay did not start");
            return;
        }
        const double before = cpuSeconds(relay.processId());
        QThread::sleep(20);
        const double used = cpuSeconds(relay.processId()) - before;
        relay.terminate();
        relay.waitForFinished();
        sim.terminate();
        sim.waitForFinished();
        state.counters["core_percent"] = used / 20.0 * 100.0;
        state.counters["limit_percent"] = 2;
    }
}
BENCHMARK(BM_RelayCost)->Iterations(1)->Unit(benchmark::kSecond);

// Replay at speed 1 of 20 s of session: each frame's arrival against its
// recorded time, both counted from the first frame.
void BM_ReplayTiming(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("session.zcap"));
    {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(session(20000));
    }
    QList<quint64> recorded;
    CaptureReader reader;
    QString error;
    reader.open(path, &error);
    CaptureRecord record;
    while (reader.next(&record)) {
        if (record.type == CaptureFormat::ToProfiler)
            recorded << record.timeUs;
    }
    for (auto _ : state) {
        const quint16 port = freePort();
        QProcess replay;
        replay.start(
            QStringLiteral(ZELTO_CAPTURE_PATH),
            {QStringLiteral("replay"), path, QStringLiteral("--port"), QString::number(port)});
        waitForOutput(&replay, "replaying");
        QTcpSocket client;
        client.connectToHost(QHostAddress::LocalHost, port);
        client.waitForConnected();
        for (quint8 kind : {1, 7, 3, 4, 5, 9}) {
            QByteArray frame(18, '\0');
            frame[0] = 18;
            frame[12] = char(kind);
            client.write(frame);
        }
        QByteArray pending;
        QList<double> lateMs;
        QElapsedTimer clock;
        while (lateMs.size() < recorded.size() && client.waitForReadyRead(5000)) {
            const qint64 arrivedUs = clock.isValid() ? clock.nsecsElapsed() / 1000 : 0;
            if (!clock.isValid())
                clock.start();
            pending += client.readAll();
            while (pending.size() >= 12) {
                const PacketHeader header = PacketHeader::read(pending);
                if (pending.size() < qsizetype(header.size))
                    break;
                pending.remove(0, header.size);
                const qint64 dueUs = qint64(recorded[lateMs.size()] - recorded.first());
                lateMs << double(arrivedUs - dueUs) / 1000.0;
            }
        }
        replay.terminate();
        replay.waitForFinished();
        std::sort(lateMs.begin(), lateMs.end(),
                  [](double a, double b) { return std::abs(a) < std::abs(b); });
        state.counters["frames"] = double(lateMs.size());
        state.counters["p99_ms"] = std::abs(lateMs.value(qsizetype(lateMs.size() * 0.99)));
        state.counters["max_ms"] = lateMs.isEmpty() ? 0.0 : std::abs(lateMs.last());
        state.counters["median_ms"] = std::abs(lateMs.value(lateMs.size() / 2));
        state.counters["limit_ms"] = 2;
    }
}
BENCHMARK(BM_ReplayTiming)->Iterations(1)->Unit(benchmark::kSecond);

// Reads every record of `bytes` into `sink` (anything with add(record));
// returns the bytes of records read.
template <class Sink> qint64 readAll(QByteArray& bytes, Sink& sink)
{
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);
    CaptureReader reader;
    QString error;
    reader.open(&device, &error);
    CaptureRecord record;
    while (reader.next(&record))
        sink.add(record);
    return reader.recordBytesRead();
}

// `info` over a minute of session held in memory.
void BM_InfoRead(benchmark::State& state)
{
    QByteArray bytes = session(60000);
    qint64 recordBytes = 0;
    for (auto _ : state) {
        CaptureInfo info;
        recordBytes = readAll(bytes, info);
    }
    state.SetBytesProcessed(state.iterations() * recordBytes);
}
BENCHMARK(BM_InfoRead)->Unit(benchmark::kMillisecond);

// `export` of the same minute to CSV files on disk.
void BM_ExportRead(benchmark::State& state)
{
    QByteArray bytes = session(60000);
    QTemporaryDir dir;
    qint64 recordBytes = 0;
    for (auto _ : state) {
        CaptureExport csv;
        QString error;
        csv.open(dir.path(), true, &error);
        recordBytes = readAll(bytes, csv);
        csv.close(&error);
    }
    state.SetBytesProcessed(state.iterations() * recordBytes);
}
BENCHMARK(BM_ExportRead)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
