#include "PacketQueue.h"

#include "PacketHeader.h"

#include <iterator>
#include <utility>

namespace {

// A FIFO whose head has moved this far, and past half of its frames, drops
// the empty places in front; a packet that is taken only now and then thus
// never holds more than twice its frames.
const size_t compactHead = 1024;

} // namespace

inline PacketQueue::Fifo* PacketQueue::find(quint8 kind, quint8 subKind) const
{
    const SubKindSlots* subKinds = slots[kind].get();
    return subKinds == nullptr ? nullptr : (*subKinds)[subKind];
}

inline PacketQueue::Fifo& PacketQueue::findOrAdd(quint8 kind, quint8 subKind)
{
    Fifo* fifo = find(kind, subKind);
    return fifo != nullptr ? *fifo : add(kind, subKind);
}

// The FIFO of the frame whose header starts at `frame`, marked as having got
// a frame since the last unshareFrames().
inline PacketQueue::Fifo& PacketQueue::freshFifoFor(const char* frame)
{
    Fifo& fifo = findOrAdd(quint8(frame[PacketHeader::kindOffset]),
                           quint8(frame[PacketHeader::subKindOffset]));
    if (fifo.firstFresh < 0) {
        fifo.firstFresh = qint64(fifo.frames.size());
        freshFifos.push_back(&fifo);
    }
    return fifo;
}

void PacketQueue::append(const QByteArray& frame)
{
    append(QByteArray(frame));
}

void PacketQueue::append(QByteArray&& frame)
{
    if (frame.size() < PacketHeader::headerSize)
        return;
    const qsizetype length = frame.size();
    freshFifoFor(frame.constData()).frames.push_back(std::move(frame));
    ++frameCount;
    bytes += length;
}

// The link's path for every frame of a flood, kept apart from append() so that
// the view is made in its place in the list.
void PacketQueue::appendView(const char* data, qsizetype size)
{
    freshFifoFor(data).frames.push_back(QByteArray::fromRawData(data, size));
    ++frameCount;
    bytes += size;
}

int PacketQueue::count(quint8 kind, quint8 subKind) const
{
    const Fifo* fifo = find(kind, subKind);
    return fifo == nullptr ? 0 : int(fifo->frames.size() - fifo->head);
}

QByteArray PacketQueue::take(quint8 kind, quint8 subKind)
{
    Fifo* fifo = find(kind, subKind);
    if (fifo == nullptr || fifo->head == fifo->frames.size())
        return QByteArray();
    QByteArray frame = std::move(fifo->frames[fifo->head]);
    ++fifo->head;
    if (fifo->head == fifo->frames.size()) {
        empty(fifo);
    } else if (fifo->head >= compactHead && fifo->head * 2 >= fifo->frames.size()) {
        fifo->frames.erase(fifo->frames.begin(), fifo->frames.begin() + qint64(fifo->head));
        if (fifo->firstFresh >= 0)
            fifo->firstFresh = qMax(qint64(0), fifo->firstFresh - qint64(fifo->head));
        fifo->head = 0;
    }
    --frameCount;
    bytes -= frame.size();
    own(frame);
    return frame;
}

QList<QByteArray> PacketQueue::takeAll(quint8 kind, quint8 subKind)
{
    QList<QByteArray> taken = borrowAll(kind, subKind);
    for (QByteArray& frame : taken)
        own(frame);
    return taken;
}

QList<QByteArray> PacketQueue::borrowAll(quint8 kind, quint8 subKind)
{
    Fifo* fifo = find(kind, subKind);
    if (fifo == nullptr)
        return QList<QByteArray>();
    const auto first = fifo->frames.begin() + qint64(fifo->head);
    QList<QByteArray> taken(std::make_move_iterator(first),
                            std::make_move_iterator(fifo->frames.end()));
    for (const QByteArray& frame : taken)
        bytes -= frame.size();
    frameCount -= int(taken.size());
    empty(fifo);
    return taken;
}

void PacketQueue::holdBlock(const QByteArray& block)
{
    heldBlocks.push_back(block);
}

// A view becomes a counted slice of the held block that it points into. Bytes
// that no held block holds are copied: they are nobody's to count.
void PacketQueue::own(QByteArray& frame)
{
    if (frame.data_ptr().d_ptr() != nullptr)
        return;
    for (QByteArray& block : heldBlocks) {
        const qint64 at = frame.constData() - block.constData();
        if (at >= 0 && at + frame.size() <= block.size()) {
            QByteArray::DataPointer shared = block.data_ptr();
            shared.ptr += at;
            shared.size = frame.size();
            frame = QByteArray(std::move(shared));
            return;
        }
    }
    frame = QByteArray(frame.constData(), frame.size());
}

// Keeps the memory of the list for the frames to come.
void PacketQueue::empty(Fifo* fifo)
{
    fifo->frames.clear();
    fifo->head = 0;
    fifo->firstFresh = -1;
}

void PacketQueue::unshareFrames()
{
    for (Fifo* fifo : freshFifos) {
        if (fifo->firstFresh < 0)
            continue;
        for (size_t i = qMax(fifo->head, size_t(fifo->firstFresh)); i < fifo->frames.size(); ++i) {
            QByteArray& frame = fifo->frames[i];
            frame = QByteArray(frame.constData(), frame.size());
        }
        fifo->firstFresh = -1;
    }
    freshFifos.clear();
    heldBlocks.clear();
}

void PacketQueue::clear()
{
    freshFifos.clear();
    for (std::unique_ptr<SubKindSlots>& subKinds : slots)
        subKinds.reset();
    fifos.clear();
    heldBlocks.clear();
    frameCount = 0;
    bytes = 0;
}

// Apart from findOrAdd, which runs for every frame, so that the rare first
// frame of a packet does not make every other one pay for its registers.
Q_NEVER_INLINE PacketQueue::Fifo& PacketQueue::add(quint8 kind, quint8 subKind)
{
    std::unique_ptr<SubKindSlots>& subKinds = slots[kind];
    if (subKinds == nullptr) {
        subKinds = std::make_unique<SubKindSlots>();
        subKinds->fill(nullptr);
    }
    fifos.push_back(std::make_unique<Fifo>());
    (*subKinds)[subKind] = fifos.back().get();
    return *fifos.back();
}
