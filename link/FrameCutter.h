#ifndef FRAMECUTTER_H
#define FRAMECUTTER_H

#include <QByteArray>
#include <QtGlobal>

class PacketQueue;
class QIODevice;

// Cuts whole frames out of a byte stream and appends them to a queue. A frame
// is taken only when all of it is in the device: the bytes are peeked first,
// without consuming anything, and only the whole frames among them are then
// consumed, so a partial frame stays where it is and the next call starts
// again from the same header.
//
// The peek takes up to a chunk of the device's bytes at once, not one header
// at a time: a busy target sends thousands of small sample frames between two
// passes of the event loop, and a call into the device for each header and
// each frame would cost more than the frames themselves. The frames are
// slices of the peeked block, so each byte is copied once, out of the device.
//
// The cutter only cuts. It never closes the device and sends no signal: what
// a broken stream means for the link is the owner's business.
//
// A plain class, like the queue it fills. It keeps no part of the stream
// between calls, so one cutter serves every connection of a socket in turn.
class FrameCutter
{
public:
    enum Result
    {
        // Every whole frame has been queued; fewer bytes than the next frame
        // needs are left in the device.
        WholeFramesTaken,
        // The stream cannot be framed from here on; nothing behind the last
        // queued frame was consumed.
        BrokenStream
    };

    // The queue is not owned. maxQueuedBytes caps what the queue may hold: a
    // frame that would take it past the cap breaks the stream.
    FrameCutter(PacketQueue* queue, qint64 maxQueuedBytes);

    // Moves every whole frame that the device holds into the queue.
    Result cutFrames(QIODevice* device);

    // Bytes looked at in one peek; a frame larger than this is read on its own.
    static constexpr qint64 chunkBytes = 256 * 1024;

private:
    enum Step
    {
        TookFrames,
        NeedMoreBytes,
        Broken
    };

    Step cutChunk(QIODevice* device);
    Step takeLargeFrame(QIODevice* device, quint32 frameSize);
    QByteArray& blockFor(qint64 length);
    bool canQueue(quint32 frameSize) const;

    PacketQueue* packetQueue;
    qint64 maxQueuedBytes;
    // The block of the last peek, shared with the frames cut from it.
    QByteArray block;
};

#endif
