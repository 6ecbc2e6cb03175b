#pragma once

#include <QByteArray>

class QRandomGenerator;

// Spoils frames on purpose, to show how the profiler copes with a target
// that breaks the format.
class SimFaultWriter
{
public:
    // A lone header that claims `size` bytes for its frame (0, 5, or more
    // than any profiler will hold). The stream is out of step behind it.
    static QByteArray brokenHeader(quint32 size, quint8 kind);
    // A snapshot whose root claims far more inputs than the frame holds: the
    // frame ends after its first few records. The stream stays in step.
    static QByteArray lyingCount(const QByteArray& snapshot);
    // Every name field filled to its last byte, without a zero byte.
    static QByteArray unterminatedNames(const QByteArray& snapshot);
    // Every level count set to 255, far beyond the 32 slots of a record.
    // Versions 0 and 1 carry no levels and come back as they were.
    static QByteArray manyLevels(const QByteArray& snapshot);
    // The frame cut behind two bytes of payload, with `size` telling so.
    static QByteArray shortened(const QByteArray& frame);
    // The same frame with another version byte.
    static QByteArray withVersion(const QByteArray& frame, quint8 version);
    // A frame of a kind or sub-kind that the profiler never reads.
    static QByteArray noise(QRandomGenerator* random);
    // The version after the newest one that the profiler knows for `kind`.
    static quint8 unknownVersion(quint8 kind);
};
