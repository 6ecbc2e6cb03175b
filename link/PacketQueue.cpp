#include "PacketQueue.h"

#include "PacketHeader.h"

void PacketQueue::append(const QByteArray& frame)
{
    if (frame.size() < PacketHeader::headerSize)
        return;
    PacketHeader header = PacketHeader::read(frame);
    packets[key(header.kind, header.subKind)].push_back(frame);
    ++frameCount;
    bytes += frame.size();
}

int PacketQueue::count(quint8 kind, quint8 subKind) const
{
    auto it = packets.constFind(key(kind, subKind));
    if (it == packets.constEnd())
        return 0;
    return int(it->size());
}

QByteArray PacketQueue::take(quint8 kind, quint8 subKind)
{
    auto it = packets.find(key(kind, subKind));
    if (it == packets.end() || it->empty())
        return QByteArray();
    QByteArray frame = std::move(it->front());
    it->pop_front();
    if (it->empty())
        packets.erase(it);
    --frameCount;
    bytes -= frame.size();
    return frame;
}

void PacketQueue::clear()
{
    packets.clear();
    frameCount = 0;
    bytes = 0;
}
