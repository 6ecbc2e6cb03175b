#include "FrameCutter.h"

#include "PacketHeader.h"
#include "PacketQueue.h"

#include <QByteArray>
#include <QIODevice>

#include <utility>

namespace {

// Makes frames that share a block's memory instead of copies of its bytes.
// Like any QByteArray that shares its data, a frame copies itself before a
// change. Counting each frame into the block's reference count on its own
// would be a locked instruction per frame, a good part of the link's time in
// a flood of small frames: the slicer counts in as many frames as the block
// can hold at once, and gives back the ones it did not make when it goes. The
// count thus never falls below the number of arrays that share the block.
class BlockSlicer
{
public:
    explicit BlockSlicer(QByteArray& block)
    {
        // Bytes that are not the array's own (fromRawData) have no count.
        if (block.data_ptr().d_ptr() == nullptr)
            block.detach();
        header = block.data_ptr().d_ptr();
        bytes = block.data_ptr().data();
        spare = int(block.size() / PacketHeader::headerSize);
        header->ref_.fetchAndAddRelaxed(spare);
    }
    ~BlockSlicer() { header->ref_.fetchAndAddRelaxed(-spare); }
    BlockSlicer(const BlockSlicer&) = delete;
    BlockSlicer& operator=(const BlockSlicer&) = delete;

    // At most one frame for each header's length of the block.
    QByteArray slice(qint64 at, quint32 length)
    {
        --spare;
        return QByteArray(QByteArray::DataPointer(header, bytes + at, qsizetype(length)));
    }

private:
    QTypedArrayData<char>* header;
    char* bytes;
    int spare;
};

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
bool FrameCutter::cutBlock(QByteArray& block)
{
    qint64 at = 0;
    if (!pending.isEmpty()) {
        at = finishPending(block);
        if (at < 0)
            return false;
    }
    const qint64 size = block.size();
    BlockSlicer slicer(block);
    while (size - at >= PacketHeader::headerSize) {
        const PacketHeader header =
            PacketHeader::read(block.constData() + at, PacketHeader::headerSize);
        if (!canFrame(header))
            return false;
        if (qint64(header.size) > size - at)
            break;
        packetQueue->append(slicer.slice(at, header.size));
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
