#include "FrameCutter.h"

#include "PacketHeader.h"
#include "PacketQueue.h"

#include <QByteArray>
#include <QIODevice>

#include <utility>

namespace {

// A frame that shares the block's memory instead of a copy of its bytes. Like
// any QByteArray that shares its data, it copies itself before a change.
QByteArray sliceOf(QByteArray& block, qint64 at, quint32 length)
{
    QByteArray::DataPointer shared = block.data_ptr();
    shared.ptr += at;
    shared.size = qsizetype(length);
    return QByteArray(std::move(shared));
}

} // namespace

// Frames that no decoder takes stay queued, so without this bound a peer that
// sends only such frames could make the queue grow until memory runs out.
inline bool FrameCutter::canQueue(quint32 frameSize) const
{
    return packetQueue->byteCount() + qint64(frameSize) <= maxQueuedBytes;
}

FrameCutter::FrameCutter(PacketQueue* queue, qint64 maxQueuedBytes)
    : packetQueue(queue), maxQueuedBytes(maxQueuedBytes)
{
}

FrameCutter::Result FrameCutter::cutFrames(QIODevice* device)
{
    if (device == nullptr)
        return WholeFramesTaken;
    for (;;) {
        switch (cutChunk(device)) {
        case TookFrames:
            continue;
        case NeedMoreBytes:
            return WholeFramesTaken;
        case Broken:
            return BrokenStream;
        }
    }
}

// Peeks what the device holds, up to a chunk, queues the whole frames found
// in it and consumes exactly those.
FrameCutter::Step FrameCutter::cutChunk(QIODevice* device)
{
    const qint64 available = device->bytesAvailable();
    if (available < PacketHeader::headerSize)
        return NeedMoreBytes;
    QByteArray& chunk = blockFor(qMin(available, chunkBytes));
    const qint64 peeked = device->peek(chunk.data(), chunk.size());
    if (peeked < PacketHeader::headerSize)
        return Broken;
    qint64 taken = 0;
    Step step = TookFrames;
    while (peeked - taken >= PacketHeader::headerSize) {
        const PacketHeader header =
            PacketHeader::read(chunk.constData() + taken, PacketHeader::headerSize);
        // A size below 12 would not even hold its own header (and 0 would
        // consume nothing, forever); a size above the cap would have the
        // device buffer whatever the peer chose to announce. Neither can be
        // framed, and nothing after it can be trusted.
        if (!header.hasValidSize() || !canQueue(header.size)) {
            step = Broken;
            break;
        }
        if (qint64(header.size) > peeked - taken) {
            // The first frame is larger than a chunk: it comes on its own.
            if (taken == 0)
                return takeLargeFrame(device, header.size);
            break;
        }
        packetQueue->append(sliceOf(chunk, taken, header.size));
        taken += header.size;
    }
    if (taken > 0 && device->skip(taken) != taken)
        return Broken;
    if (step == Broken)
        return Broken;
    // What is left of the peek is less than a frame: either the device holds
    // more than the chunk, and the next round goes on, or it holds no more.
    return taken > 0 && peeked < available ? TookFrames : NeedMoreBytes;
}

// The frames cut from a block share it. When every one of them is gone, as
// after a pass in which the decoders took their frames, the block is used
// again; while one still lives, a new block is made and the old one goes with
// its last frame.
QByteArray& FrameCutter::blockFor(qint64 length)
{
    if (!block.isDetached() || block.capacity() < length) {
        block = QByteArray();
        block.reserve(chunkBytes);
    }
    block.resize(length);
    return block;
}

FrameCutter::Step FrameCutter::takeLargeFrame(QIODevice* device, quint32 frameSize)
{
    if (device->bytesAvailable() < qint64(frameSize))
        return NeedMoreBytes;
    QByteArray frame = device->read(frameSize);
    if (frame.size() != qsizetype(frameSize))
        return Broken;
    packetQueue->append(std::move(frame));
    return TookFrames;
}
