#ifndef PACKETQUEUE_H
#define PACKETQUEUE_H

#include <QByteArray>
#include <QHash>
#include <deque>

// The received frames that wait for a decoder, whole frames with their
// headers, oldest first within each packet.
//
// Frames are kept in one FIFO per (kind, subKind) instead of one list for all
// kinds. The only ways to look into the queue are count() and take(), and
// both name a packet: take() returns the oldest frame of that packet, which
// is the front of its FIFO, and the order between frames of different
// packets can never be seen. A single list would make each take() walk past
// and shift every frame of the other kinds, so a batch of N frames of five
// interleaved kinds would cost O(N^2); here a whole batch costs O(N).
//
// A plain value class: it has no signals and is owned by ProfilerNetwork.
class PacketQueue
{
public:
    // Appends a frame; it must hold at least its 12-byte header, which the
    // receive loop guarantees. A shorter array is ignored.
    void append(const QByteArray& frame);

    // How many queued frames have byte 8 == kind and byte 9 == subKind.
    int count(quint8 kind, quint8 subKind) const;

    // Removes and returns the oldest matching frame, or an empty array when
    // none matches (the queue is then left as it was).
    QByteArray take(quint8 kind, quint8 subKind);

    void clear();
    bool isEmpty() const { return frameCount == 0; }
    int size() const { return frameCount; }
    qint64 byteCount() const { return bytes; }

private:
    static quint16 key(quint8 kind, quint8 subKind) { return quint16((kind << 8) | subKind); }

    QHash<quint16, std::deque<QByteArray>> packets;
    int frameCount = 0;
    qint64 bytes = 0;
};

#endif
