#include "TestFrames.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace {

template <typename T> void put(QByteArray& bytes, int offset, T value)
{
    qToLittleEndian<T>(value, bytes.data() + offset);
}

void putText(QByteArray& bytes, int offset, int width, const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    std::memcpy(bytes.data() + offset, utf8.constData(), std::min<size_t>(utf8.size(), width));
}

int levelCountOf(const TestNode& node, int listLength)
{
    return node.levelCount >= 0 ? node.levelCount : listLength;
}

void putAmplitudes(QByteArray& bytes, int countOffset, int valuesOffset, const TestNode& node)
{
    bytes[countOffset] = static_cast<char>(levelCountOf(node, node.amplitudes.size()));
    const int n = std::min<int>(node.amplitudes.size(), 32);
    for (int i = 0; i < n; ++i) {
        quint32 bits;
        std::memcpy(&bits, &node.amplitudes.at(i), sizeof bits);
        qToBigEndian<quint32>(bits, bytes.data() + valuesOffset + 4 * i);
    }
}

void putVersion0(QByteArray& r, int version, const TestNode& node, qint64 inputCount)
{
    put<quint32>(r, 0, static_cast<quint32>(node.id));
    putText(r, 4, 32, node.name);
    put<qint32>(r, 36, static_cast<qint32>(inputCount));
    r[40] = node.active ? 1 : 0;
    if (version == 1)
        put<quint32>(r, 45, node.exclusiveTime);
}

void putVersion2(QByteArray& r, int version, const TestNode& node, qint64 inputCount)
{
    put<quint64>(r, 0, node.id);
    putText(r, 8, 32, node.name);
    put<qint32>(r, 40, static_cast<qint32>(inputCount));
    r[44] = node.active ? 1 : 0;
    r[45] = node.bypass ? 1 : 0;
    put<quint16>(r, 48, static_cast<quint16>(node.exclusiveTime));
    if (version == 3)
        putAmplitudes(r, 50, 51, node);
    else
        r[50] = static_cast<char>(levelCountOf(node, node.amplitudes.size()));
}

void putVersion4(QByteArray& r, int version, const TestNode& node, qint64 inputCount)
{
    put<quint64>(r, 0, node.id);
    put<quint64>(r, 8, node.groupId);
    putText(r, 16, 32, node.name);
    put<qint32>(r, 48, static_cast<qint32>(inputCount));
    r[52] = node.active ? 1 : 0;
    r[53] = node.bypass ? 1 : 0;
    put<quint16>(r, 56, static_cast<quint16>(node.exclusiveTime));
    putAmplitudes(r, 58, 59, node);
    if (version == 5)
        put<quint64>(r, 187, node.sendTargetId);
}

void putVersion6(QByteArray& r, const TestNode& node, qint64 inputCount, bool send, bool sidechain)
{
    put<quint64>(r, 0, node.id);
    put<quint64>(r, 8, node.groupId);
    put<quint64>(r, 16, node.sendTargetId);
    put<quint16>(r, 24, static_cast<quint16>(inputCount));
    put<quint16>(r, 26, static_cast<quint16>(node.exclusiveTime));
    r[28] = static_cast<char>((node.active ? 0x01 : 0) | (node.bypass ? 0x02 : 0) |
                              (send ? 0x04 : 0) | (sidechain ? 0x08 : 0));
    r[29] = static_cast<char>(levelCountOf(node, node.decibels.size()));
    const int n = std::min<int>(node.decibels.size(), 32);
    for (int i = 0; i < n; ++i)
        r[30 + i] = static_cast<char>(node.decibels.at(i));
    putText(r, 62, 32, node.name);
}

} // namespace

int TestFrames::recordSize(int version)
{
    static const int sizes[] = {45, 49, 61, 179, 187, 195, 94};
    return sizes[version];
}

QByteArray TestFrames::frame(quint8 kind, quint8 subKind, quint8 version, const QByteArray& payload)
{
    QByteArray bytes(12, '\0');
    put<quint32>(bytes, 0, static_cast<quint32>(12 + payload.size()));
    bytes[8] = static_cast<char>(kind);
    bytes[9] = static_cast<char>(subKind);
    bytes[10] = static_cast<char>(version);
    return bytes + payload;
}

QByteArray TestFrames::nodeRecord(int version, const TestNode& node, qint64 inputCount, bool send,
                                  bool sidechain)
{
    QByteArray r(recordSize(version), '\0');
    if (version <= 1)
        putVersion0(r, version, node, inputCount);
    else if (version <= 3)
        putVersion2(r, version, node, inputCount);
    else if (version <= 5)
        putVersion4(r, version, node, inputCount);
    else
        putVersion6(r, node, inputCount, send, sidechain);
    return r;
}

QByteArray TestFrames::snapshot(int version, const QByteArray& records, float totalCPU,
                                qint32 sampleRate, qint32 blockLength)
{
    // Bytes between the frame header and the first record.
    static const int headerBytes[] = {0, 4, 5, 5, 5, 5, 8};
    QByteArray head(headerBytes[version], '\0');
    quint32 bits;
    std::memcpy(&bits, &totalCPU, sizeof bits);
    if (version >= 1 && version <= 5)
        put<quint32>(head, 0, bits);
    if (version == 6) {
        put<qint32>(head, 0, sampleRate);
        put<qint32>(head, 4, blockLength);
    }
    return frame(1, 0, static_cast<quint8>(version), head + records);
}

QByteArray TestFrames::groupTable(const QList<TestGroup>& groups)
{
    QByteArray records;
    for (const TestGroup& group : groups) {
        QByteArray r(296, '\0');
        put<quint64>(r, 0, group.id);
        put<quint64>(r, 8, group.parentId);
        put<quint32>(r, 16, group.guid.data1);
        put<quint16>(r, 20, group.guid.data2);
        put<quint16>(r, 22, group.guid.data3);
        std::memcpy(r.data() + 24, group.guid.data4, 8);
        putText(r, 36, 260, group.name);
        records += r;
    }
    return frame(7, 0, 0, records);
}
