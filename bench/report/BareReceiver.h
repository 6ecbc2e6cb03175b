#ifndef BARERECEIVER_H
#define BARERECEIVER_H

#include <QtGlobal>

// The floor of the link ingest: a plain POSIX socket and a recv() loop that
// only finds where each frame ends, which any correct reader of the stream
// must do at least. It copies nothing out of its buffer and keeps nothing.
class BareReceiver
{
public:
    // Frames of endKind end the stream; they are not counted.
    explicit BareReceiver(quint8 endKind);
    ~BareReceiver();

    // Connects to 127.0.0.1:port and reads until the end frame. False on a
    // socket error, an early end of the stream, or a size field that cannot
    // be a frame. When the length of the whole stream is known, each read
    // waits for a full buffer: the reader then costs the same for each frame
    // whether the sender is ahead of it or not.
    bool receive(quint16 port, qint64 streamBytes = -1);
    // Connects and throws away byteCount bytes without looking at them: the
    // kernel drops them unread, so the sender alone sets the pace. False on
    // a socket error or an early end of the stream.
    bool discard(quint16 port, qint64 byteCount);
    // Finds the frame ends in the next piece of the stream, which may end
    // anywhere, also inside a header. False on a size field below 12.
    bool cut(const char* data, qint64 length);
    qint64 frameCount() const { return frames; }
    bool hasEnded() const { return ended; }

private:
    int connectTo(quint16 port);
    bool readAll(int fd, qint64 streamBytes);
    bool discardAll(int fd, qint64 byteCount);

    static constexpr int headerBytes = 12;
    static constexpr qint64 bufferBytes = 256 * 1024;
    static constexpr qint64 discardWakeBytes = 16 * 1024 * 1024;

    char* buffer;
    quint8 endKind;
    char header[headerBytes];
    int headerFill;
    quint64 skipBytes;
    qint64 frames;
    bool ended;
};

#endif
