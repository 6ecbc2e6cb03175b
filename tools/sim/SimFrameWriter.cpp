#include "SimFrameWriter.h"

#include "SimNetwork.h"
#include "SimRecordLayout.h"

#include <QtEndian>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

// The level at or below which a unit is silent; sent as amplitude 0.
const float silenceDb = -80.0f;

void putFloat(char* at, float value)
{
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    qToLittleEndian<quint32>(bits, at);
}

// Bytes of `text` that fit in a field of `width` together with the zero
// byte, cut before a UTF-8 sequence rather than inside it.
int fittingLength(const QByteArray& text, int width)
{
    int length = int(qMin<qsizetype>(text.size(), width - 1));
    if (length < text.size()) {
        while (length > 0 && (quint8(text[length]) & 0xC0) == 0x80)
            --length;
    }
    return length;
}

void writeLevels(char* at, const SimRecordLayout& layout, const SimNode& node, int count)
{
    for (int c = 0; c < count; ++c) {
        const float db = node.channelLevel(c);
        if (layout.levelWidth == 1) {
            const float rounded = std::round(qBound(silenceDb, db, 127.0f));
            at[c] = char(qint8(rounded));
            continue;
        }
        const float amplitude = db <= silenceDb ? 0.0f : std::pow(10.0f, db / 20.0f);
        quint32 bits;
        std::memcpy(&bits, &amplitude, sizeof bits);
        qToBigEndian<quint32>(bits, at + 4 * c);
    }
}

void writeRecord(char* record, const SimRecordLayout& layout, const SimNode& node,
                 const SimInput& via)
{
    if (layout.idWidth == 4)
        qToLittleEndian<quint32>(quint32(node.id), record);
    else
        qToLittleEndian<quint64>(node.id, record);
    if (layout.groupOffset >= 0)
        qToLittleEndian<quint64>(node.groupId, record + layout.groupOffset);
    if (layout.sendTargetOffset >= 0)
        qToLittleEndian<quint64>(node.sendTargetId, record + layout.sendTargetOffset);
    std::memcpy(record + layout.nameOffset, node.name.constData(), fittingLength(node.name, 32));
    const auto inputs = quint32(node.inputs.size());
    if (layout.countWidth == 2)
        qToLittleEndian<quint16>(quint16(qMin<quint32>(inputs, 0xFFFF)),
                                 record + layout.countOffset);
    else
        qToLittleEndian<quint32>(inputs, record + layout.countOffset);
    if (layout.activeOffset >= 0)
        record[layout.activeOffset] = node.active ? 1 : 0;
    if (layout.bypassOffset >= 0)
        record[layout.bypassOffset] = node.bypass ? 1 : 0;
    if (layout.flagsOffset >= 0)
        record[layout.flagsOffset] = char((node.active ? 0x01 : 0) | (node.bypass ? 0x02 : 0) |
                                          (via.send ? 0x04 : 0) | (via.sidechain ? 0x08 : 0));
    if (layout.timeWidth == 2)
        qToLittleEndian<quint16>(quint16(qMin<quint32>(node.time, 0xFFFF)),
                                 record + layout.timeOffset);
    else if (layout.timeWidth == 4)
        qToLittleEndian<quint32>(node.time, record + layout.timeOffset);
    if (layout.levelCountOffset < 0)
        return;
    const int levels = qMin<int>(node.channels, SimFrameWriter::maxLevels);
    record[layout.levelCountOffset] = char(levels);
    if (layout.levelsOffset >= 0)
        writeLevels(record + layout.levelsOffset, layout, node, levels);
}

void writeSnapshotHeader(char* at, int version, float totalCPU, qint32 sampleRate,
                         qint32 blockLength)
{
    if (version >= 1 && version <= 5)
        putFloat(at, totalCPU);
    if (version == 6) {
        qToLittleEndian<qint32>(sampleRate, at);
        qToLittleEndian<qint32>(blockLength, at + 4);
    }
}

} // namespace

void SimFrameWriter::writeHeader(char* frame, quint32 size, quint8 kind, quint8 subKind,
                                 quint8 version)
{
    qToLittleEndian<quint32>(size, frame);
    qToLittleEndian<quint32>(0, frame + 4);
    frame[8] = char(kind);
    frame[9] = char(subKind);
    frame[10] = char(version);
    frame[11] = 0;
}

QByteArray SimFrameWriter::frame(quint8 kind, quint8 subKind, quint8 version, int payloadBytes)
{
    QByteArray bytes(headerBytes + payloadBytes, '\0');
    writeHeader(bytes.data(), quint32(bytes.size()), kind, subKind, version);
    return bytes;
}

QByteArray SimFrameWriter::snapshot(const SimNetwork& network, int version, float totalCPU,
                                    qint32 sampleRate, qint32 blockLength)
{
    const SimRecordLayout* layout = SimRecordLayout::forVersion(version);
    if (!layout || network.nodeCount() == 0)
        return QByteArray();
    const int start = headerBytes + SimRecordLayout::headerSize(version);
    QByteArray bytes(start + qsizetype(network.recordUpperBound()) * layout->size, '\0');
    char* const base = bytes.data();
    writeSnapshotHeader(base + headerBytes, version, totalCPU, sampleRate, blockLength);

    // Depth first without recursion: the chain shape is as deep as it is long.
    // A unit's inputs follow its first record only; later records are bare.
    std::vector<quint8> written(size_t(network.nodeCount()), 0);
    struct Step
    {
        int node;
        int next;
    };
    std::vector<Step> path;
    char* record = base + start;
    writeRecord(record, *layout, network.node(0), SimInput());
    record += layout->size;
    written[0] = 1;
    path.push_back(Step{0, 0});
    while (!path.empty()) {
        const SimNode& node = network.node(path.back().node);
        if (path.back().next == node.inputs.size()) {
            path.pop_back();
            continue;
        }
        const SimInput& input = node.inputs[path.back().next++];
        writeRecord(record, *layout, network.node(input.node), input);
        record += layout->size;
        if (!written[size_t(input.node)]) {
            written[size_t(input.node)] = 1;
            path.push_back(Step{input.node, 0});
        }
    }
    bytes.truncate(record - base);
    writeHeader(bytes.data(), quint32(bytes.size()), 1, 0, quint8(version));
    return bytes;
}

QByteArray SimFrameWriter::groupTable(const QList<SimGroup>& groups)
{
    QByteArray bytes = frame(7, 0, 0, int(groups.size()) * groupRecordBytes);
    char* record = bytes.data() + headerBytes;
    for (const SimGroup& group : groups) {
        qToLittleEndian<quint64>(group.id, record);
        qToLittleEndian<quint64>(group.parentId, record + 8);
        qToLittleEndian<quint32>(group.guid.data1, record + 16);
        qToLittleEndian<quint16>(group.guid.data2, record + 20);
        qToLittleEndian<quint16>(group.guid.data3, record + 22);
        std::memcpy(record + 24, group.guid.data4, 8);
        std::memcpy(record + 36, group.name.constData(), fittingLength(group.name, 260));
        record += groupRecordBytes;
    }
    return bytes;
}

QByteArray SimFrameWriter::cpu(const SimSample& sample, int version)
{
    QByteArray bytes = frame(3, 0, quint8(version), version == 0 ? 12 : 16);
    char* p = bytes.data() + headerBytes;
    putFloat(p, sample.dsp);
    putFloat(p + 4, sample.stream);
    putFloat(p + 8, sample.update);
    if (version != 0)
        putFloat(p + 12, sample.geometry);
    return bytes;
}

QByteArray SimFrameWriter::channels(const SimSample& sample)
{
    const qint32 values[] = {sample.hardwareCount, sample.hardwareLimit, sample.softwareCount,
                             sample.softwareLimit, sample.virtualCount,  sample.virtualLimit};
    QByteArray bytes = frame(4, 0, 0, int(sizeof values));
    for (int i = 0; i < 6; ++i)
        qToLittleEndian<qint32>(values[i], bytes.data() + headerBytes + 4 * i);
    return bytes;
}

QByteArray SimFrameWriter::codecs(const SimSample& sample)
{
    const qint32 values[] = {sample.mpegCount,  sample.mpegLimit, sample.adpcmCount,
                             sample.adpcmLimit, sample.xmaCount,  sample.xmaLimit,
                             sample.pcmCount,   sample.pcmLimit};
    QByteArray bytes = frame(5, 0, 0, int(sizeof values));
    for (int i = 0; i < 8; ++i)
        qToLittleEndian<qint32>(values[i], bytes.data() + headerBytes + 4 * i);
    return bytes;
}

QByteArray SimFrameWriter::stats(const SimSample& sample)
{
    QByteArray bytes = frame(9, 0, 0, 60);
    char* p = bytes.data() + headerBytes;
    putFloat(p, sample.dsp);
    putFloat(p + 4, sample.stream);
    putFloat(p + 8, sample.update);
    putFloat(p + 12, sample.geometry);
    // The combined packet has no hardware and software split: the real
    // channels are both together.
    const qint32 pairs[] = {sample.hardwareCount + sample.softwareCount,
                            sample.hardwareLimit + sample.softwareLimit,
                            sample.virtualCount,
                            sample.virtualLimit,
                            sample.adpcmCount,
                            sample.adpcmLimit,
                            sample.zadpcmCount,
                            sample.zadpcmLimit,
                            sample.mpegCount,
                            sample.mpegLimit,
                            sample.vorbisCount,
                            sample.vorbisLimit,
                            sample.xmaCount,
                            sample.xmaLimit,
                            sample.at9Count,
                            sample.at9Limit,
                            sample.pcmCount,
                            sample.pcmLimit};
    for (int i = 0; i < 18; ++i)
        qToLittleEndian<qint16>(qint16(qBound(-32768, pairs[i], 32767)), p + 16 + 2 * i);
    qToLittleEndian<qint32>(sample.memoryBytes, p + 52);
    qToLittleEndian<qint32>(sample.memoryLimitBytes, p + 56);
    return bytes;
}
