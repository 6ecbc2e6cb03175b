#pragma once

#include "SimGroup.h"
#include "SimSample.h"

#include <QByteArray>
#include <QList>

class SimNetwork;

// Builds the frames that the simulated target sends, byte for byte: the
// 12-byte header, then the payload of the kind, little-endian and packed.
class SimFrameWriter
{
public:
    static constexpr int headerBytes = 12;
    static constexpr int groupRecordBytes = 296;
    static constexpr int maxLevels = 32;

    static void writeHeader(char* frame, quint32 size, quint8 kind, quint8 subKind, quint8 version);
    static QByteArray frame(quint8 kind, quint8 subKind, quint8 version, int payloadBytes);

    // The whole network, depth first from the root, in the record layout of
    // `version` (0 to 6). `totalCPU` goes into versions 1 to 5, `sampleRate`
    // and `blockLength` into version 6.
    static QByteArray snapshot(const SimNetwork& network, int version, float totalCPU,
                               qint32 sampleRate, qint32 blockLength);
    static QByteArray groupTable(const QList<SimGroup>& groups);
    static QByteArray cpu(const SimSample& sample, int version);
    static QByteArray channels(const SimSample& sample);
    static QByteArray codecs(const SimSample& sample);
    static QByteArray stats(const SimSample& sample);
};
