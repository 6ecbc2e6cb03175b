#include "FrameCutter.h"

#include "PacketHeader.h"
#include "PacketQueue.h"

#include <QByteArray>
#include <QIODevice>

FrameCutter::FrameCutter(PacketQueue* queue, qint64 maxQueuedBytes)
    : packetQueue(queue), maxQueuedBytes(maxQueuedBytes)
{
}

FrameCutter::Result FrameCutter::cutFrames(QIODevice* device)
{
    if (device == nullptr)
        return WholeFramesTaken;
    while (device->bytesAvailable() >= PacketHeader::headerSize) {
        char buffer[PacketHeader::headerSize];
        if (device->peek(buffer, PacketHeader::headerSize) != PacketHeader::headerSize)
            return BrokenStream;
        const PacketHeader header = PacketHeader::read(buffer, PacketHeader::headerSize);
        // A size below 12 would not even hold its own header (and 0 would
        // consume nothing, forever); a size above the cap would have the
        // device buffer whatever the peer chose to announce. Neither can be
        // framed, and nothing after it can be trusted.
        if (!header.hasValidSize() || !canQueue(header.size))
            return BrokenStream;
        if (device->bytesAvailable() < qint64(header.size))
            return WholeFramesTaken;
        const QByteArray frame = device->read(header.size);
        if (frame.size() != qsizetype(header.size))
            return BrokenStream;
        packetQueue->append(frame);
    }
    return WholeFramesTaken;
}

// Frames that no decoder takes stay queued, so without this bound a peer that
// sends only such frames could make the queue grow until memory runs out.
bool FrameCutter::canQueue(quint32 frameSize) const
{
    return packetQueue->byteCount() + qint64(frameSize) <= maxQueuedBytes;
}
