#pragma once

#include <QByteArray>

// Cuts one direction of a relayed byte stream into whole frames, for the
// record only: the bytes themselves are passed on as they come. A size field
// that cannot be a frame ends the cutting for the rest of the connection.
class CaptureStreamCutter
{
public:
    void append(const QByteArray& bytes);
    // Takes the next whole frame; false when none is whole yet or the stream is broken.
    bool next(QByteArray* frame);
    bool broken() const { return isBroken; }
    void reset();

private:
    QByteArray buffer;
    qsizetype offset = 0;
    bool isBroken = false;
};
