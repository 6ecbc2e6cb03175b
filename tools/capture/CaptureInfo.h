#pragma once

#include <QList>
#include <QMap>
#include <QString>

class CaptureReader;
struct CaptureRecord;

// What `zelto-capture info` tells about a file, gathered record by record in
// bounded memory whatever the file holds.
class CaptureInfo
{
public:
    // Distinct kinds, sub-kinds and versions counted one by one; the rest
    // are counted together.
    static constexpr int maxKinds = 1024;
    static constexpr int maxGapsListed = 20;
    static constexpr quint64 gapUs = 1000000;

    void add(const CaptureRecord& record);
    // The report, once the reader has stopped.
    QString text(const QString& path, const CaptureReader& reader) const;

    // Records of one payload kind, sub-kind and version in one direction.
    struct Count
    {
        qint64 frames = 0;
        qint64 bytes = 0;
    };
    // Key: direction << 24 | kind << 16 | subKind << 8 | version.
    QMap<quint32, Count> counts;
    Count otherKinds;
    int fewestUnits = -1;
    int mostUnits = -1;
    QList<QPair<quint64, quint64>> gaps; // start and length, the first maxGapsListed
    int gapCount = 0;
    quint64 lengthUs = 0;
    int targetConnections = 0;

private:
    void addUnits(const QByteArray& frame, int version);

    quint64 lastFrameUs = 0;
    bool sawFrame = false;
};
