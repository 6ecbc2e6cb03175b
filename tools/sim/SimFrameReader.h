#pragma once

#include <QByteArray>
#include <QString>

// Cuts the bytes that the profiler sends into frames, the way the profiler
// cuts what it receives: a 12-byte header whose little-endian `size` counts
// the whole frame. A size that cannot be right ends the reading for good.
class SimFrameReader
{
public:
    enum Result
    {
        NeedMore,
        FrameReady,
        Broken
    };

    // The largest frame that the profiler sends is 140 bytes; anything far
    // beyond is not a frame of this protocol, and is not buffered.
    static constexpr int maxFrameBytes = 4096;

    void append(const QByteArray& bytes);
    // Takes the next whole frame into `frame`. After Broken, stays Broken.
    Result next(QByteArray* frame);
    QString error() const { return errorText; }
    // Bytes of a frame that has begun but is not whole yet.
    int pendingBytes() const { return int(buffer.size() - offset); }
    // The size that the pending frame's header claims, 0 if not known yet.
    quint32 pendingFrameSize() const;

private:
    QByteArray buffer;
    qsizetype offset = 0;
    QString errorText;
};
