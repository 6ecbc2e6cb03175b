#include "SimFaultWriter.h"

#include "SimFrameWriter.h"
#include "SimRecordLayout.h"

#include <QRandomGenerator>
#include <QtEndian>
#include <cstring>

namespace {

const SimRecordLayout* layoutOf(const QByteArray& snapshot)
{
    if (snapshot.size() < SimFrameWriter::headerBytes)
        return nullptr;
    return SimRecordLayout::forVersion(quint8(snapshot[10]));
}

int firstRecord(const QByteArray& snapshot)
{
    return SimFrameWriter::headerBytes + SimRecordLayout::headerSize(quint8(snapshot[10]));
}

void setSize(QByteArray* frame)
{
    qToLittleEndian<quint32>(quint32(frame->size()), frame->data());
}

} // namespace

QByteArray SimFaultWriter::brokenHeader(quint32 size, quint8 kind)
{
    QByteArray bytes(SimFrameWriter::headerBytes, '\0');
    SimFrameWriter::writeHeader(bytes.data(), size, kind, 0, 0);
    return bytes;
}

QByteArray SimFaultWriter::lyingCount(const QByteArray& snapshot)
{
    const SimRecordLayout* layout = layoutOf(snapshot);
    if (!layout || snapshot.size() < firstRecord(snapshot) + layout->size)
        return snapshot;
    const int kept = 3;
    QByteArray bytes = snapshot.left(firstRecord(snapshot) + kept * layout->size);
    char* count = bytes.data() + firstRecord(snapshot) + layout->countOffset;
    if (layout->countWidth == 2)
        qToLittleEndian<quint16>(0xFFFF, count);
    else
        qToLittleEndian<qint32>(1000000000, count);
    setSize(&bytes);
    return bytes;
}

QByteArray SimFaultWriter::unterminatedNames(const QByteArray& snapshot)
{
    const SimRecordLayout* layout = layoutOf(snapshot);
    QByteArray bytes = snapshot;
    if (!layout)
        return bytes;
    for (int at = firstRecord(bytes); at + layout->size <= bytes.size(); at += layout->size) {
        char* name = bytes.data() + at + layout->nameOffset;
        const int length = int(qstrnlen(name, 32));
        std::memset(name + length, '~', size_t(32 - length));
    }
    return bytes;
}

QByteArray SimFaultWriter::manyLevels(const QByteArray& snapshot)
{
    const SimRecordLayout* layout = layoutOf(snapshot);
    QByteArray bytes = snapshot;
    if (!layout || layout->levelCountOffset < 0)
        return bytes;
    for (int at = firstRecord(bytes); at + layout->size <= bytes.size(); at += layout->size)
        bytes[at + layout->levelCountOffset] = char(0xFF);
    return bytes;
}

QByteArray SimFaultWriter::shortened(const QByteArray& frame)
{
    QByteArray bytes = frame.left(SimFrameWriter::headerBytes + 2);
    if (bytes.size() >= SimFrameWriter::headerBytes)
        setSize(&bytes);
    return bytes;
}

QByteArray SimFaultWriter::withVersion(const QByteArray& frame, quint8 version)
{
    QByteArray bytes = frame;
    if (bytes.size() >= SimFrameWriter::headerBytes)
        bytes[10] = char(version);
    return bytes;
}

QByteArray SimFaultWriter::noise(QRandomGenerator* random)
{
    // Kinds that the profiler never reads, and sub-kinds of read kinds that
    // it never selects.
    static const quint8 kinds[][2] = {{2, 0}, {6, 0}, {8, 0}, {1, 4}, {3, 1}, {9, 7}, {200, 0}};
    const auto& pick = kinds[random->bounded(int(sizeof kinds / sizeof kinds[0]))];
    QByteArray bytes =
        SimFrameWriter::frame(pick[0], pick[1], quint8(random->bounded(256)), random->bounded(97));
    for (int i = SimFrameWriter::headerBytes; i < bytes.size(); ++i)
        bytes[i] = char(random->bounded(256));
    return bytes;
}

quint8 SimFaultWriter::unknownVersion(quint8 kind)
{
    if (kind == 1)
        return 7;
    return kind == 3 ? 2 : 1;
}
