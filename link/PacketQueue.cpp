#include "PacketQueue.h"

#include "PacketHeader.h"

#include <utility>

namespace {

// A FIFO whose head has moved this far, and past half of its frames, drops
// the empty places in front; a packet that is taken only now and then thus
// never holds more than twice its frames.
const size_t compactHead = 1024;

} // namespace

void PacketQueue::append(const QByteArray& frame)
{
    append(QByteArray(frame));
}

void PacketQueue::append(QByteArray&& frame)
{
    if (frame.size() < PacketHeader::headerSize)
        return;
    const qsizetype length = frame.size();
    Fifo& fifo = findOrAdd(quint8(frame.at(PacketHeader::kindOffset)),
                           quint8(frame.at(PacketHeader::subKindOffset)));
    if (fifo.firstFresh < 0) {
        fifo.firstFresh = qint64(fifo.frames.size());
        freshFifos.push_back(&fifo);
    }
    fifo.frames.push_back(std::move(frame));
    ++frameCount;
    bytes += length;
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
        fifo->frames.clear();
        fifo->head = 0;
        fifo->firstFresh = -1;
    } else if (fifo->head >= compactHead && fifo->head * 2 >= fifo->frames.size()) {
        fifo->frames.erase(fifo->frames.begin(), fifo->frames.begin() + qint64(fifo->head));
        if (fifo->firstFresh >= 0)
            fifo->firstFresh = qMax(qint64(0), fifo->firstFresh - qint64(fifo->head));
        fifo->head = 0;
    }
    --frameCount;
    bytes -= frame.size();
    return frame;
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
}

void PacketQueue::clear()
{
    freshFifos.clear();
    for (std::unique_ptr<SubKindSlots>& subKinds : slots)
        subKinds.reset();
    fifos.clear();
    frameCount = 0;
    bytes = 0;
}

PacketQueue::Fifo* PacketQueue::find(quint8 kind, quint8 subKind) const
{
    const SubKindSlots* subKinds = slots[kind].get();
    if (subKinds == nullptr)
        return nullptr;
    const int slot = (*subKinds)[subKind];
    return slot < 0 ? nullptr : fifos[size_t(slot)].get();
}

PacketQueue::Fifo& PacketQueue::findOrAdd(quint8 kind, quint8 subKind)
{
    std::unique_ptr<SubKindSlots>& subKinds = slots[kind];
    if (subKinds == nullptr) {
        subKinds = std::make_unique<SubKindSlots>();
        subKinds->fill(-1);
    }
    int& slot = (*subKinds)[subKind];
    if (slot < 0) {
        slot = int(fifos.size());
        fifos.push_back(std::make_unique<Fifo>());
    }
    return *fifos[size_t(slot)];
}
