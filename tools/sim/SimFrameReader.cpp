#include "SimFrameReader.h"

#include <QtEndian>

namespace {
const int headerBytes = 12;
}

void SimFrameReader::append(const QByteArray& bytes)
{
    if (!errorText.isEmpty())
        return;
    // Drop what has been taken before the buffer grows, so that a stream of
    // single bytes costs no more than one of whole frames.
    if (offset > 0) {
        buffer.remove(0, offset);
        offset = 0;
    }
    buffer.append(bytes);
}

SimFrameReader::Result SimFrameReader::next(QByteArray* frame)
{
    if (!errorText.isEmpty())
        return Broken;
    if (pendingBytes() < headerBytes)
        return NeedMore;
    const quint32 size = pendingFrameSize();
    if (size < quint32(headerBytes)) {
        errorText = QStringLiteral("frame size %1 is below the 12-byte header").arg(size);
        return Broken;
    }
    if (size > quint32(maxFrameBytes)) {
        errorText =
            QStringLiteral("frame size %1 is above the %2-byte limit").arg(size).arg(maxFrameBytes);
        return Broken;
    }
    if (quint32(pendingBytes()) < size)
        return NeedMore;
    *frame = buffer.mid(offset, qsizetype(size));
    offset += qsizetype(size);
    return FrameReady;
}

quint32 SimFrameReader::pendingFrameSize() const
{
    if (pendingBytes() < headerBytes)
        return 0;
    return qFromLittleEndian<quint32>(buffer.constData() + offset);
}
