#pragma once

#include <QList>
#include <QObject>
#include <QString>

class CaptureCsv;
class CPUHistory;
class ChannelHistory;
class CodecHistory;
class DSPTree;
class StatsHistory;
struct CaptureRecord;
struct DSPNode;

// Writes the frames of a capture as CSV files: one for each kind of sample
// (cpu.csv, channels.csv, codecs.csv, stats.csv) and network.csv with a row
// per unit and snapshot. Every frame goes through the profiler's own
// decoders, one at a time, so a row holds what the profiler showed when that
// frame arrived; a frame that a decoder refuses makes no row.
class CaptureExport : public QObject
{
    Q_OBJECT

public:
    static const char* const fileNames[5];

    CaptureExport();
    ~CaptureExport() override;

    // Creates the directory if need be and the five files with their header
    // rows. Existing files are refused unless `overwrite`.
    bool open(const QString& directory, bool overwrite, QString* error);
    void add(const CaptureRecord& record);
    bool close(QString* error);

private Q_SLOTS:
    void slotHistoryUpdated(int numNewSnapshots);

private:
    void addNetwork(const CaptureRecord& record);
    void addCPU(const CaptureRecord& record);
    void addChannels(const CaptureRecord& record);
    void addCodecs(const CaptureRecord& record);
    void addStats(const CaptureRecord& record);

    DSPTree* tree;
    CPUHistory* cpu;
    ChannelHistory* channels;
    CodecHistory* codecs;
    StatsHistory* stats;
    CaptureCsv* networkCsv;
    CaptureCsv* cpuCsv;
    CaptureCsv* channelCsv;
    CaptureCsv* codecCsv;
    CaptureCsv* statsCsv;
    int accepted = 0;
    QList<const DSPNode*> units; // of one snapshot, by id; kept for its capacity
};
