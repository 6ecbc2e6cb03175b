#ifndef PACKETQUEUE_H
#define PACKETQUEUE_H

#include <QByteArray>
#include <QList>

#include <array>
#include <memory>
#include <vector>

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
// A packet finds its FIFO through a table indexed by kind and then by
// sub-kind, not through a hash: a flood of small sample frames does an append
// and a take per frame, and these are two loads each. A FIFO is a list read
// from a head index, so that taking does not shift the frames behind it; it
// is emptied, keeping its memory, when its last frame is taken.
//
// A plain value class: it has no signals and is owned by ProfilerNetwork.
class PacketQueue
{
public:
    // Appends a frame; it must hold at least its 12-byte header, which the
    // receive loop guarantees. A shorter array is ignored.
    void append(const QByteArray& frame);
    void append(QByteArray&& frame);

    // How many queued frames have byte 8 == kind and byte 9 == subKind.
    int count(quint8 kind, quint8 subKind) const;

    // Removes and returns the oldest matching frame, or an empty array when
    // none matches (the queue is then left as it was).
    QByteArray take(quint8 kind, quint8 subKind);
    // Removes and returns every matching frame, oldest first: what take()
    // until empty returns, without a lookup for each frame.
    QList<QByteArray> takeAll(quint8 kind, quint8 subKind);
    // The same frames, but those that are views of a held block stay views:
    // their bytes go at the next unshareFrames(). For a reader that is done
    // with them before the receive pass ends and copies whatever it keeps.
    QList<QByteArray> borrowAll(quint8 kind, quint8 subKind);

    // The receive loop's frames are views of the blocks it read, which the
    // queue holds until the end of the pass. A view costs no reference count
    // to make or to drop, where a counted slice costs a locked instruction
    // for each, a good part of the work in a flood of small frames; take()
    // and takeAll() hand out counted slices, so a frame that is kept keeps
    // its bytes.
    void holdBlock(const QByteArray& block);
    // Appends a view of `size` bytes of a held block.
    void appendView(const char* data, qsizetype size);

    // Ends a receive pass: each frame appended since the last call that is
    // still queued gets a copy of its own bytes, and the held blocks are let
    // go. A frame that no decoder takes must not keep a whole block alive,
    // and a view must not outlive its block, so the link calls this at the
    // end of each pass.
    void unshareFrames();

    void clear();
    bool isEmpty() const { return frameCount == 0; }
    int size() const { return frameCount; }
    qint64 byteCount() const { return bytes; }

private:
    struct Fifo
    {
        std::vector<QByteArray> frames;
        size_t head = 0;
        // Index of the first frame appended since the last unshareFrames(),
        // -1 when there is none.
        qint64 firstFresh = -1;
    };
    // The FIFO of each sub-kind of one kind, null where there is none.
    using SubKindSlots = std::array<Fifo*, 256>;

    Fifo* find(quint8 kind, quint8 subKind) const;
    void empty(Fifo* fifo);
    Fifo& findOrAdd(quint8 kind, quint8 subKind);
    Fifo& add(quint8 kind, quint8 subKind);
    Fifo& freshFifoFor(const char* frame);
    void own(QByteArray& frame);

    std::array<std::unique_ptr<SubKindSlots>, 256> slots;
    // One for each packet seen since the last clear(); at most 65536.
    std::vector<std::unique_ptr<Fifo>> fifos;
    // The FIFOs that got a frame since the last unshareFrames().
    std::vector<Fifo*> freshFifos;
    // The blocks that views point into, until the next unshareFrames().
    std::vector<QByteArray> heldBlocks;
    int frameCount = 0;
    qint64 bytes = 0;
};

#endif
