#include "CaptureStreamCutter.h"

#include "PacketHeader.h"

void CaptureStreamCutter::append(const QByteArray& bytes)
{
    if (!isBroken)
        buffer.append(bytes);
}

bool CaptureStreamCutter::next(QByteArray* frame)
{
    const qsizetype available = buffer.size() - offset;
    const PacketHeader header = PacketHeader::read(buffer.constData() + offset, available);
    if (isBroken || available < PacketHeader::headerSize)
        return false;
    if (!header.hasValidSize()) {
        isBroken = true;
        buffer.clear();
        offset = 0;
        return false;
    }
    if (available < qsizetype(header.size))
        return false;
    *frame = buffer.mid(offset, header.size);
    offset += header.size;
    if (offset == buffer.size()) {
        buffer.truncate(0);
        offset = 0;
    } else if (offset > 1024 * 1024) {
        buffer.remove(0, offset);
        offset = 0;
    }
    return true;
}

void CaptureStreamCutter::reset()
{
    buffer.clear();
    offset = 0;
    isBroken = false;
}
