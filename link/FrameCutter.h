#ifndef FRAMECUTTER_H
#define FRAMECUTTER_H

#include <QByteArray>
#include <QtGlobal>

struct PacketHeader;
class PacketQueue;
class QIODevice;

// Cuts whole frames out of a byte stream and appends them to a queue.
//
// Each call takes all the bytes that the device holds in one read, the queue
// holds the block that the read returned until the end of the pass, and each
// whole frame in it is queued as a view of the block. A socket hands over the
// block that it read the system's bytes into, without a copy, so a frame's
// bytes are not copied at all on their way from the socket to the queue, and
// a busy target's thousands of small sample frames between two passes of the
// event loop cost one read, not a call into the device for each header and
// each frame.
//
// The bytes of a frame that has not wholly arrived are kept by the cutter, in
// an array of their own that the next reads complete, so the cutter holds part
// of the stream between calls. A new connection starts at a frame's first
// byte: whoever hands the cutter a new stream calls reset() first.
//
// The cutter only cuts. It never closes the device and sends no signal: what
// a broken stream means for the link is the owner's business.
//
// A plain class, like the queue it fills.
class FrameCutter
{
public:
    enum Result
    {
        // Every whole frame has been queued and the device is read empty;
        // the start of the next frame, if any, waits in the cutter.
        WholeFramesTaken,
        // The stream cannot be framed from here on. What the cutter held of
        // it is dropped.
        BrokenStream
    };

    // The queue is not owned. maxQueuedBytes caps what the queue may hold: a
    // frame that would take it past the cap breaks the stream.
    FrameCutter(PacketQueue* queue, qint64 maxQueuedBytes);

    // Reads what the device holds and queues every whole frame in it.
    Result cutFrames(QIODevice* device);

    // Forgets the bytes of an unfinished frame, for a stream that starts anew.
    void reset();

    // Bytes read of a frame that has not wholly arrived.
    qint64 pendingBytes() const { return pending.size(); }

private:
    bool cutBlock(const QByteArray& block);
    qint64 finishPending(const QByteArray& block);
    qint64 fillPending(qint64 length, const QByteArray& block, qint64 from);
    bool canFrame(const PacketHeader& header) const;

    PacketQueue* packetQueue;
    qint64 maxQueuedBytes;
    // The first bytes of a frame that has not wholly arrived.
    QByteArray pending;
};

#endif
