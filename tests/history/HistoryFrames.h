#ifndef HISTORYFRAMES_H
#define HISTORYFRAMES_H

#include "PacketHeader.h"

#include <QByteArray>
#include <QList>

#include <cstring>

// Builds sample frames as a target sends them, header included.
namespace HistoryFrames {

inline QByteArray frame(quint8 kind, quint8 version, int payloadSize)
{
    QByteArray bytes(PacketHeader::headerSize + payloadSize, '\0');
    PacketHeader header;
    header.size = quint32(bytes.size());
    header.kind = kind;
    header.version = version;
    header.write(bytes.data());
    return bytes;
}

inline void putFloat(QByteArray& bytes, int offset, float value)
{
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    Wire::writeU32(bytes.data() + offset, bits);
}

// Version 0 has no geometry field and is four bytes shorter.
inline QByteArray cpu(quint8 version, float dsp, float stream, float update, float geometry)
{
    QByteArray bytes = frame(PacketKind::CPU, version, version == 0 ? 12 : 16);
    const float values[] = {dsp, stream, update, geometry};
    for (int i = 0; i < (version == 0 ? 3 : 4); ++i)
        putFloat(bytes, 12 + 4 * i, values[i]);
    return bytes;
}

// Channel (six values) and codec (eight values) frames.
inline QByteArray ints(quint8 kind, quint8 version, const QList<qint32>& values)
{
    QByteArray bytes = frame(kind, version, 4 * int(values.size()));
    for (int i = 0; i < values.size(); ++i)
        Wire::writeU32(bytes.data() + 12 + 4 * i, quint32(values.at(i)));
    return bytes;
}

// dsp, stream, update, geometry; the nine count and limit pairs in wire order (real,
// virtual, ADPCM, ZADPCM, MPEG, Vorbis, XMA, AT9, PCM); memory and its limit in bytes.
inline QByteArray stats(quint8 version, const QList<float>& cpu, const QList<qint16>& pairs,
                        qint32 memory, qint32 memoryLimit)
{
    QByteArray bytes = frame(PacketKind::Stats, version, 60);
    for (int i = 0; i < 4 && i < cpu.size(); ++i)
        putFloat(bytes, 12 + 4 * i, cpu.at(i));
    for (int i = 0; i < 18 && i < pairs.size(); ++i)
        Wire::writeU16(bytes.data() + 28 + 2 * i, quint16(pairs.at(i)));
    Wire::writeU32(bytes.data() + 64, quint32(memory));
    Wire::writeU32(bytes.data() + 68, quint32(memoryLimit));
    return bytes;
}

// A valid frame of `kind` whose first value is `marker`, to follow it through a store.
inline QByteArray marked(quint8 kind, quint8 version, int marker)
{
    if (kind == PacketKind::CPU)
        return cpu(version, float(marker), 0, 0, 0);
    if (kind == PacketKind::Stats)
        return stats(version, {float(marker)}, {}, 0, 0);
    return ints(kind, version, QList<qint32>(kind == PacketKind::Channel ? 6 : 8, marker));
}

} // namespace HistoryFrames

#endif // HISTORYFRAMES_H
