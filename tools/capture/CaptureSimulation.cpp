#include "CaptureSimulation.h"

#include "CaptureWriter.h"
#include "SimFrameWriter.h"
#include "SimTarget.h"

namespace {
constexpr qint64 networkIntervalMs = 100;
constexpr qint64 sampleIntervalMs = 200;

QByteArray subscription(quint8 kind, quint32 rate)
{
    QByteArray frame = SimFrameWriter::frame(0, 0, 0, 6);
    frame[12] = char(kind);
    for (int i = 0; i < 4; ++i)
        frame[14 + i] = char((rate >> (8 * i)) & 0xFF);
    return frame;
}
} // namespace

void CaptureSimulation::write(CaptureWriter* writer, SimTarget* target, qint64 startMs,
                              qint64 endMs)
{
    const quint64 startUs = quint64(startMs) * 1000;
    writer->appendEvent(CaptureFormat::TargetUp, startUs);
    for (quint8 kind : {1, 7})
        writer->appendFrame(CaptureFormat::ToTarget, startUs, subscription(kind, 100));
    for (quint8 kind : {3, 4, 5, 9})
        writer->appendFrame(CaptureFormat::ToTarget, startUs, subscription(kind, 200));
    for (qint64 ms = startMs; ms < endMs; ms += networkIntervalMs) {
        writeStep(writer, target, ms);
        // As often as the relay flushes, so that sizes come out as on disk.
        if ((ms - startMs + networkIntervalMs) % CaptureFormat::flushIntervalMs == 0)
            writer->flush();
    }
}

void CaptureSimulation::writeStep(CaptureWriter* writer, SimTarget* target, qint64 ms)
{
    target->advanceTo(ms);
    const quint64 timeUs = quint64(ms) * 1000;
    writer->appendFrame(CaptureFormat::ToProfiler, timeUs, target->snapshot(6));
    writer->appendFrame(CaptureFormat::ToProfiler, timeUs, target->groupTable());
    if (ms % sampleIntervalMs != 0)
        return;
    const SimSample& sample = target->sample();
    for (const QByteArray& frame :
         {SimFrameWriter::cpu(sample, 1), SimFrameWriter::channels(sample),
          SimFrameWriter::codecs(sample), SimFrameWriter::stats(sample)})
        writer->appendFrame(CaptureFormat::ToProfiler, timeUs, frame);
}
