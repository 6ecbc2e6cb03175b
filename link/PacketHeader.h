#ifndef PACKETHEADER_H
#define PACKETHEADER_H

#include <QByteArray>
#include <QtGlobal>
#include <cstring>

// Little-endian field access for wire records. Every reader takes the length
// of the buffer and answers 0 for a field that would run past it, so a
// decoder that checks its frame's size once cannot be walked off the end by
// a later offset.
namespace Wire {

inline quint64 readUnsigned(const char* data, qsizetype length, qsizetype offset, int width)
{
    if (data == nullptr || offset < 0 || width <= 0 || width > 8 || length < width ||
        offset > length - width)
        return 0;
    quint64 value = 0;
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    // The wire's byte order is the machine's: one load instead of a byte at a time.
    std::memcpy(&value, data + offset, size_t(width));
#else
    for (int i = width - 1; i >= 0; --i)
        value = (value << 8) | static_cast<quint8>(data[offset + i]);
#endif
    return value;
}

inline quint8 readU8(const QByteArray& frame, qsizetype offset)
{
    return static_cast<quint8>(readUnsigned(frame.constData(), frame.size(), offset, 1));
}

inline quint16 readU16(const QByteArray& frame, qsizetype offset)
{
    return static_cast<quint16>(readUnsigned(frame.constData(), frame.size(), offset, 2));
}

inline quint32 readU32(const QByteArray& frame, qsizetype offset)
{
    return static_cast<quint32>(readUnsigned(frame.constData(), frame.size(), offset, 4));
}

inline quint64 readU64(const QByteArray& frame, qsizetype offset)
{
    return readUnsigned(frame.constData(), frame.size(), offset, 8);
}

inline float readFloat(const QByteArray& frame, qsizetype offset)
{
    quint32 bits = readU32(frame, offset);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Writers store into a buffer that the caller has sized for the whole record.
inline void writeUnsigned(char* data, quint64 value, int width)
{
    for (int i = 0; i < width; ++i)
        data[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

inline void writeU8(char* data, quint8 value)
{
    writeUnsigned(data, value, 1);
}

inline void writeU16(char* data, quint16 value)
{
    writeUnsigned(data, value, 2);
}

inline void writeU32(char* data, quint32 value)
{
    writeUnsigned(data, value, 4);
}

inline void writeU64(char* data, quint64 value)
{
    writeUnsigned(data, value, 8);
}

} // namespace Wire

// Kinds of packet, byte 8 of the header. A kind and a sub-kind together name
// a packet; every received packet has sub-kind 0.
namespace PacketKind {
const quint8 Subscription = 0;
const quint8 DSPNetwork = 1;
const quint8 CPU = 3;
const quint8 Channel = 4;
const quint8 Codec = 5;
const quint8 DSPGroup = 7;
const quint8 Stats = 9;
} // namespace PacketKind

// Sub-kinds, byte 9 of the header.
namespace PacketSubKind {
const quint8 Snapshot = 0;  // every received packet, and the subscription frame
const quint8 Text = 1;      // DSP text command (kind 1), description text command (kind 7)
const quint8 DSPEnable = 2; // kind 1
const quint8 DSPBypass = 3; // kind 1
} // namespace PacketSubKind

// The 12 bytes in front of every frame, in both directions:
//   0  u32 size      length of the whole frame, these 12 bytes included
//   4  u32 reserved  written as 0, never read
//   8  u8  kind
//   9  u8  subKind
//   10 u8  version   format of this payload, counted per kind
//   11 u8  reserved  written as 0, never read
struct PacketHeader
{
    static constexpr int headerSize = 12;
    static constexpr int sizeOffset = 0;
    static constexpr int kindOffset = 8;
    static constexpr int subKindOffset = 9;
    static constexpr int versionOffset = 10;

    // The largest frame the receive loop accepts. The biggest real packet is
    // a DSP network snapshot of a few thousand nodes, well under a megabyte;
    // 64 MiB leaves room for any real target while a hostile size field
    // cannot make the socket buffer grow without end.
    static constexpr quint32 maxFrameSize = 64u * 1024u * 1024u;

    quint32 size = 0;
    quint8 kind = 0;
    quint8 subKind = 0;
    quint8 version = 0;

    // Reads a header from the first 12 bytes of data. With fewer than 12
    // bytes the result is all zeros, which no frame can have (size < 12).
    static PacketHeader read(const char* data, qsizetype length)
    {
        PacketHeader header;
        if (data == nullptr || length < headerSize)
            return header;
        header.size = static_cast<quint32>(Wire::readUnsigned(data, length, sizeOffset, 4));
        header.kind = static_cast<quint8>(data[kindOffset]);
        header.subKind = static_cast<quint8>(data[subKindOffset]);
        header.version = static_cast<quint8>(data[versionOffset]);
        return header;
    }

    static PacketHeader read(const QByteArray& frame)
    {
        return read(frame.constData(), frame.size());
    }

    // A size the receive loop can take as one frame: room for its own header
    // and not above the cap.
    bool hasValidSize() const { return size >= headerSize && size <= maxFrameSize; }

    // Writes the 12 bytes, reserved fields as 0, into a buffer of at least 12.
    void write(char* data) const
    {
        std::memset(data, 0, headerSize);
        Wire::writeU32(data + sizeOffset, size);
        Wire::writeU8(data + kindOffset, kind);
        Wire::writeU8(data + subKindOffset, subKind);
        Wire::writeU8(data + versionOffset, version);
    }
};

#endif
