#include "CaptureInfo.h"

#include "CaptureFormat.h"
#include "CaptureReader.h"
#include "PacketHeader.h"

#include <QDateTime>

namespace {
// Node record sizes and the offset of the first record of the snapshot
// versions 0 to 6; records are fixed in size, so a snapshot's length tells
// how many units it holds without decoding it.
const int recordSizes[] = {45, 49, 61, 179, 187, 195, 94};
const int firstRecordOffsets[] = {12, 16, 17, 17, 17, 17, 20};

QString seconds(quint64 us)
{
    return QString::number(double(us) / 1e6, 'f', 3) + QStringLiteral(" s");
}

QString direction(quint32 key)
{
    return (key >> 24) == CaptureFormat::ToProfiler ? QStringLiteral("to the profiler")
                                                    : QStringLiteral("to the target");
}
} // namespace

void CaptureInfo::add(const CaptureRecord& record)
{
    lengthUs = record.timeUs;
    if (record.type == CaptureFormat::Event) {
        if (record.event == CaptureFormat::TargetUp)
            ++targetConnections;
        return;
    }
    if (record.type != CaptureFormat::ToProfiler && record.type != CaptureFormat::ToTarget)
        return;
    const PacketHeader header = PacketHeader::read(record.data);
    const quint32 key = quint32(record.type) << 24 | quint32(header.kind) << 16 |
                        quint32(header.subKind) << 8 | header.version;
    auto found = counts.find(key);
    if (found == counts.end() && counts.size() < maxKinds)
        found = counts.insert(key, Count());
    Count& count = found == counts.end() ? otherKinds : found.value();
    ++count.frames;
    count.bytes += record.data.size();
    if (record.type != CaptureFormat::ToProfiler)
        return;
    if (header.kind == PacketKind::DSPNetwork && header.subKind == PacketSubKind::Snapshot)
        addUnits(record.data, header.version);
    if (sawFrame && record.timeUs - lastFrameUs > gapUs) {
        if (gaps.size() < maxGapsListed)
            gaps.append(qMakePair(lastFrameUs, record.timeUs - lastFrameUs));
        ++gapCount;
    }
    sawFrame = true;
    lastFrameUs = record.timeUs;
}

void CaptureInfo::addUnits(const QByteArray& frame, int version)
{
    if (version < 0 || version > 6 || frame.size() < firstRecordOffsets[version])
        return;
    const int units = int((frame.size() - firstRecordOffsets[version]) / recordSizes[version]);
    fewestUnits = fewestUnits < 0 ? units : qMin(fewestUnits, units);
    mostUnits = qMax(mostUnits, units);
}

QString CaptureInfo::text(const QString& path, const CaptureReader& reader) const
{
    QStringList lines;
    lines << QStringLiteral("file: %1").arg(path);
    lines << QStringLiteral("format %1.%2, recorded from %3")
                 .arg(reader.major())
                 .arg(reader.minor())
                 .arg(QDateTime::fromMSecsSinceEpoch(reader.startMs(), Qt::UTC)
                          .toString(QStringLiteral("yyyy-MM-dd hh:mm:ss 'UTC'")));
    lines << QStringLiteral("length: %1, %2 bytes of records in %3 bytes of file")
                 .arg(seconds(lengthUs))
                 .arg(reader.recordBytesRead())
                 .arg(reader.fileBytesRead());
    for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
        lines << QStringLiteral("kind %1/%2 version %3 %4: %5 frames, %6 bytes")
                     .arg((it.key() >> 16) & 0xFF)
                     .arg((it.key() >> 8) & 0xFF)
                     .arg(it.key() & 0xFF)
                     .arg(direction(it.key()))
                     .arg(it.value().frames)
                     .arg(it.value().bytes);
    }
    if (otherKinds.frames > 0)
        lines << QStringLiteral("other kinds: %1 frames, %2 bytes")
                     .arg(otherKinds.frames)
                     .arg(otherKinds.bytes);
    lines << (mostUnits < 0 ? QStringLiteral("units per snapshot: no snapshot")
                            : QStringLiteral("units per snapshot: smallest %1, largest %2")
                                  .arg(fewestUnits)
                                  .arg(mostUnits));
    lines << QStringLiteral("target connections: %1").arg(targetConnections);
    lines << QStringLiteral("gaps longer than 1 s: %1").arg(gapCount);
    for (const auto& gap : gaps)
        lines << QStringLiteral("  at %1: %2").arg(seconds(gap.first), seconds(gap.second));
    if (gapCount > gaps.size())
        lines << QStringLiteral("  and %1 more").arg(gapCount - gaps.size());
    switch (reader.status()) {
    case CaptureReader::Clean:
        lines << QStringLiteral("end: clean");
        break;
    case CaptureReader::Damaged:
        lines << QStringLiteral("end: damaged (%1); the rest of the file was skipped")
                     .arg(reader.problem());
        break;
    default:
        lines << QStringLiteral("end: cut off (%1); everything before was read")
                     .arg(reader.problem());
    }
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}
