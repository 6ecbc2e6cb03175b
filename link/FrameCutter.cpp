#include "FrameCutter.h"

#include "PacketHeader.h"
#include "PacketQueue.h"

#include <QByteArray>
#include <QIODevice>

#include <utility>

namespace {

// The most taken in one read. A socket holds at most what the system lets a
// receive buffer grow to, far less; a device that holds more is read in turns.
const qint64 maxReadBytes = PacketHeader::maxFrameSize;

} // namespace

// A size below 12 would not even hold its own header (and 0 would consume
// nothing, forever); a size above the cap would have the cutter hold whatever
// the peer chose to announce. And frames that no decoder takes stay queued, so
// without the queue's bound a peer that sends only such frames could make it
// grow until memory runs out. Nothing after such a header can be trusted.
inline bool FrameCutter::canFrame(const PacketHeader& header) const
{
    return header.hasValidSize() &&
           packetQueue->byteCount() + qint64(header.size) <= maxQueuedBytes;
}

FrameCutter::FrameCutter(PacketQueue* queue, qint64 maxQueuedBytes)
    : packetQueue(queue), maxQueuedBytes(maxQueuedBytes)
{
}

// Reading exactly what a socket holds is what lets it hand over its own block
// instead of copying it.
FrameCutter::Result FrameCutter::cutFrames(QIODevice* device)
{
    if (device == nullptr)
        return WholeFramesTaken;
    for (;;) {
        const qint64 available = qMin(device->bytesAvailable(), maxReadBytes);
        if (available <= 0)
            return WholeFramesTaken;
        QByteArray block = device->read(available);
        if (block.isEmpty())
            return WholeFramesTaken;
        if (!cutBlock(block)) {
            reset();
            return BrokenStream;
        }
    }
}

void FrameCutter::reset()
{
    pending = QByteArray();
}

// Queues every whole frame of the stream that the block completes, and keeps
// the start of the last one if it is not whole; false when a header cannot be
// framed.
bool FrameCutter::cutBlock(const QByteArray& block)
{
    qint64 at = 0;
    if (!pending.isEmpty()) {
        at = finishPending(block);
        if (at < 0)
            return false;
    }
    const qint64 size = block.size();
    packetQueue->holdBlock(block);
    while (size - at >= PacketHeader::headerSize) {
        const PacketHeader header =
            PacketHeader::read(block.constData() + at, PacketHeader::headerSize);
        if (!canFrame(header))
            return false;
        if (qint64(header.size) > size - at)
            break;
        packetQueue->appendView(block.constData() + at, qsizetype(header.size));
        at += header.size;
    }
    if (at == size)
        return true;
    // A header that has come whole has been checked above; room for the
    // whole frame spares growing it piece by piece.
    const qint64 tail = size - at;
    const qint64 frameSize =
        tail >= PacketHeader::headerSize
            ? qint64(PacketHeader::read(block.constData() + at, PacketHeader::headerSize).size)
            : PacketHeader::headerSize;
    pending.reserve(qsizetype(frameSize));
    pending.append(block.constData() + at, qsizetype(tail));
    return true;
}

// Completes the unfinished frame from the head of the block, as far as the
// block goes, and queues it once it is whole. Returns how many bytes of the
// block it took, or -1 when its header cannot be framed.
qint64 FrameCutter::finishPending(const QByteArray& block)
{
    qint64 used = fillPending(PacketHeader::headerSize, block, 0);
    if (pending.size() < PacketHeader::headerSize)
        return used;
    const PacketHeader header = PacketHeader::read(pending);
    if (!canFrame(header))
        return -1;
    pending.reserve(header.size);
    used += fillPending(header.size, block, used);
    if (pending.size() == qsizetype(header.size)) {
        packetQueue->append(std::move(pending));
        pending = QByteArray();
    }
    return used;
}

// Appends bytes of the block from `from` on until the unfinished frame holds
// `length` bytes or the block ends; returns how many it appended.
qint64 FrameCutter::fillPending(qint64 length, const QByteArray& block, qint64 from)
{
    const qint64 count = qMin(length - pending.size(), block.size() - from);
    if (count <= 0)
        return 0;
    pending.append(block.constData() + from, qsizetype(count));
    return count;
}
