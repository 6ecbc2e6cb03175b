#ifndef CUTTERFUZZINPUT_H
#define CUTTERFUZZINPUT_H

#include <QByteArray>
#include <QList>

#include <cstddef>
#include <cstdint>

// The fuzz input of the frame cutter: how the stream arrives, then the stream.
//
//   bytes 0-1   queue cap, 16 bits little-endian: 0 keeps the link's own
//               cap, any other value caps the queue at that many bytes, so
//               that short inputs reach the cap too, exactly or by one byte
//               (below 12 no frame fits at all)
//   byte 2      n, the number of chunk lengths that follow
//   n bytes     chunk lengths, one byte each; 0 is a readyRead that brings
//               nothing new
//   the rest    the byte stream; what the chunks leave is revealed as one
//               last chunk
//
// An input that ends early simply has fewer chunks and an empty stream.
struct CutterFuzzInput
{
    // 0 when the link's own cap applies.
    qint64 maxQueuedBytes = 0;
    QList<qint64> chunks;
    QByteArray stream;

    static CutterFuzzInput parse(const uint8_t* data, size_t size)
    {
        CutterFuzzInput input;
        if (size < 2)
            return input;
        input.maxQueuedBytes = qint64(data[0]) | (qint64(data[1]) << 8);
        size_t at = 2;
        size_t count = at < size ? data[at++] : 0;
        for (; count > 0 && at < size; --count)
            input.chunks.append(data[at++]);
        input.stream = QByteArray(reinterpret_cast<const char*>(data + at), qsizetype(size - at));
        return input;
    }

    // The reverse of parse, for the seed tool: chunk lengths above 255 and
    // caps above 65535 cannot be written.
    QByteArray join() const
    {
        QByteArray bytes;
        bytes.append(char(quint8(maxQueuedBytes & 0xFF)));
        bytes.append(char(quint8((maxQueuedBytes >> 8) & 0xFF)));
        bytes.append(char(quint8(chunks.size())));
        for (qint64 chunk : chunks)
            bytes.append(char(quint8(chunk)));
        return bytes + stream;
    }
};

#endif
