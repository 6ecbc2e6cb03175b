#ifndef TESTFRAMES_H
#define TESTFRAMES_H

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUuid>

// Attributes of one DSP unit as a target would send them in a node record.
// Fields that a record version does not carry are simply not written.
struct TestNode
{
    quint64 id = 0; // versions 0 and 1 carry only the low 32 bits
    QString name;   // UTF-8; cut to the 32-byte field, zero byte only if it fits
    quint64 groupId = 0;
    quint64 sendTargetId = 0;
    bool active = true;
    bool bypass = false;
    quint32 exclusiveTime = 0; // 32 bits in version 1, 16 bits from version 2 on
    QList<float> amplitudes;   // big-endian floats in versions 3 to 5; version 2 only counts them
    QList<qint8> decibels;     // version 6
    // The level count byte; -1 writes the length of the version's list. At
    // most 32 values are ever written.
    int levelCount = -1;
};

// One record of the group table.
struct TestGroup
{
    quint64 id = 0;
    quint64 parentId = 0;
    QUuid guid;
    QString name; // cut to the 260-byte field
};

// Byte builders of the frames a target sends (kind 1 snapshots of versions 0
// to 6, kind 7 group tables), for tests, fuzz seeds and benchmarks. Every
// result is little-endian and packed exactly as on the wire.
class TestFrames
{
public:
    // Size of one node record of the version (45, 49, 61, 179, 187, 195, 94).
    static int recordSize(int version);

    // The 12-byte header (size = 12 + payload length) and the payload.
    static QByteArray frame(quint8 kind, quint8 subKind, quint8 version,
                            const QByteArray& payload = QByteArray());

    // One node record. inputCount is written as it stands, cut to the field's
    // width (signed 32 bits up to version 5, unsigned 16 bits in version 6), so
    // negative or too large counts can be written. send and sidechain exist in
    // version 6 only.
    static QByteArray nodeRecord(int version, const TestNode& node, qint64 inputCount,
                                 bool send = false, bool sidechain = false);

    // A snapshot frame around built records; totalCPU is written by versions
    // 1 to 5, sampleRate and blockLength by version 6.
    static QByteArray snapshot(int version, const QByteArray& records, float totalCPU = 0.0f,
                               qint32 sampleRate = 0, qint32 blockLength = 0);

    // A group table frame (kind 7, version 0) of 296-byte records.
    static QByteArray groupTable(const QList<TestGroup>& groups);
};

#endif // TESTFRAMES_H
