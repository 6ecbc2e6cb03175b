#include "ChunkedDevice.h"
#include "CutterFuzzInput.h"
#include "FrameCutter.h"
#include "PacketHeader.h"
#include "PacketQueue.h"
#include "ProfilerNetwork.h"

#include <QObject>

#include <cstdio>
#include <cstdlib>

namespace {

void check(bool condition, const char* fault)
{
    if (!condition) {
        std::fprintf(stderr, "frame cutter fault: %s\n", fault);
        std::abort();
    }
}

// What the cutter has to do next with the stream from `at` on, of which
// `available` bytes have arrived, while `queued` bytes wait in the queue.
enum class Step
{
    Wait,
    Cut,
    Break
};

Step nextStep(const QByteArray& stream, qint64 at, qint64 available, qint64 queued, qint64 cap)
{
    if (available < PacketHeader::headerSize)
        return Step::Wait;
    const PacketHeader header = PacketHeader::read(stream.constData() + at, stream.size() - at);
    if (!header.hasValidSize() || queued + qint64(header.size) > cap)
        return Step::Break;
    return available < qint64(header.size) ? Step::Wait : Step::Cut;
}

} // namespace

// Stands in for the link's receive slot: one cut for every readyRead.
class CutterDriver : public QObject
{
    Q_OBJECT

public:
    CutterDriver(FrameCutter* cutter, ChunkedDevice* device) : cutter(cutter), device(device)
    {
        connect(device, SIGNAL(readyRead()), this, SLOT(slotReadyRead()));
    }

    FrameCutter::Result lastResult = FrameCutter::WholeFramesTaken;
    int passes = 0;

private Q_SLOTS:
    void slotReadyRead()
    {
        lastResult = cutter->cutFrames(device);
        ++passes;
    }

private:
    FrameCutter* cutter;
    ChunkedDevice* device;
};

namespace {

// After each pass: every consumed byte is queued or waits in the cutter,
// nothing unrevealed was touched, and the cutter stopped exactly where it had
// to. The queued bytes are the stream's first ones, as no decoder takes any.
void checkPass(const CutterDriver& driver, const ChunkedDevice& device, const PacketQueue& queue,
               const FrameCutter& cutter, const QByteArray& stream, qint64 cap)
{
    const qint64 consumed = device.consumedBytes();
    const qint64 queued = queue.byteCount();
    check(consumed <= device.revealedBytes(), "read past the revealed bytes");
    const Step step = nextStep(stream, queued, device.revealedBytes() - queued, queued, cap);
    if (driver.lastResult == FrameCutter::BrokenStream) {
        check(step == Step::Break, "broken stream reported on a frame that can be cut");
        check(cutter.pendingBytes() == 0, "bytes of a broken stream kept");
        return;
    }
    check(consumed == device.revealedBytes(), "revealed bytes left unread");
    check(consumed == queued + cutter.pendingBytes(), "consumed bytes neither queued nor kept");
    check(step != Step::Cut, "whole frame left uncut");
    check(step != Step::Break, "unframeable header not reported");
}

// The queue, taken per packet, must give back the stream's own frames, in
// the stream's order, up to the last queued byte, and nothing else.
void checkQueuedFrames(PacketQueue& queue, const QByteArray& stream, qint64 queued)
{
    qint64 at = 0;
    while (at < queued) {
        const PacketHeader header = PacketHeader::read(stream.constData() + at, stream.size() - at);
        check(header.hasValidSize(), "a frame was cut at a header that cannot be framed");
        check(at + qint64(header.size) <= queued, "the queued bytes end inside a frame");
        const QByteArray frame = queue.take(header.kind, header.subKind);
        const PacketHeader own = PacketHeader::read(frame);
        check(own.hasValidSize() && frame.size() == qsizetype(own.size),
              "a queued frame's length is not its own size field in [12, cap]");
        check(frame == stream.mid(at, header.size), "queued frames are not a prefix of the stream");
        at += header.size;
    }
    check(queue.isEmpty(), "the queue holds bytes that are not in the stream");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const CutterFuzzInput input = CutterFuzzInput::parse(data, size);
    const qint64 cap =
        input.maxQueuedBytes > 0 ? input.maxQueuedBytes : ProfilerNetwork::maxQueuedBytes;
    PacketQueue queue;
    FrameCutter cutter(&queue, cap);
    ChunkedDevice device(input.stream);
    CutterDriver driver(&cutter, &device);
    QList<qint64> chunks = input.chunks;
    chunks.append(input.stream.size()); // whatever is left
    for (qint64 chunk : chunks) {
        const int passes = driver.passes;
        device.reveal(chunk);
        check(driver.passes == passes + 1, "a readyRead did not reach the cutter");
        checkPass(driver, device, queue, cutter, input.stream, cap);
        // The link is dropped on a broken stream: nothing more is read.
        if (driver.lastResult == FrameCutter::BrokenStream)
            break;
    }
    checkQueuedFrames(queue, input.stream, queue.byteCount());
    return 0;
}

#include "fuzz_framecutter.moc"
