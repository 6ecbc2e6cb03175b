#include "CaptureExport.h"

#include "CPUHistory.h"
#include "CaptureCsv.h"
#include "CaptureFormat.h"
#include "CaptureReader.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "DSPTree.h"
#include "StatsHistory.h"

#include <QDir>
#include <algorithm>

const char* const CaptureExport::fileNames[5] = {"network.csv", "cpu.csv", "channels.csv",
                                                 "codecs.csv", "stats.csv"};

namespace {
const char* const headers[5] = {
    "time,id,name,depth,exclusiveCPU,inclusiveCPU,active,bypass",
    "time,dsp,stream,geometry,update,total",
    "time,hardwareCount,hardwareLimit,softwareCount,softwareLimit,realCount,realLimit,"
    "virtualCount,virtualLimit,playingCount,playingLimit",
    "time,mpegCount,mpegLimit,adpcmCount,adpcmLimit,xmaCount,xmaLimit,pcmCount,pcmLimit",
    "time,dsp,stream,update,geometry,total,realCount,virtualCount,playingCount,adpcmCount,"
    "zadpcmCount,mpegCount,vorbisCount,xmaCount,at9Count,pcmCount,memory"};
} // namespace

CaptureExport::CaptureExport()
    : tree(new DSPTree(nullptr)), cpu(new CPUHistory(nullptr)),
      channels(new ChannelHistory(nullptr)), codecs(new CodecHistory(nullptr)),
      stats(new StatsHistory(nullptr)), networkCsv(new CaptureCsv), cpuCsv(new CaptureCsv),
      channelCsv(new CaptureCsv), codecCsv(new CaptureCsv), statsCsv(new CaptureCsv)
{
    connect(cpu, SIGNAL(historyUpdated(int)), this, SLOT(slotHistoryUpdated(int)));
    connect(channels, SIGNAL(historyUpdated(int)), this, SLOT(slotHistoryUpdated(int)));
    connect(codecs, SIGNAL(historyUpdated(int)), this, SLOT(slotHistoryUpdated(int)));
    connect(stats, SIGNAL(historyUpdated(int)), this, SLOT(slotHistoryUpdated(int)));
}

CaptureExport::~CaptureExport()
{
    delete tree;
    delete cpu;
    delete channels;
    delete codecs;
    delete stats;
    delete networkCsv;
    delete cpuCsv;
    delete channelCsv;
    delete codecCsv;
    delete statsCsv;
}

bool CaptureExport::open(const QString& directory, bool overwrite, QString* error)
{
    if (!QDir().mkpath(directory)) {
        *error = QStringLiteral("cannot create the directory %1").arg(directory);
        return false;
    }
    CaptureCsv* files[5] = {networkCsv, cpuCsv, channelCsv, codecCsv, statsCsv};
    const QDir dir(directory);
    for (int i = 0; i < 5; ++i) {
        if (!files[i]->open(dir.filePath(QLatin1String(fileNames[i])), overwrite, error))
            return false;
        for (const QString& name : QString::fromLatin1(headers[i]).split(QLatin1Char(',')))
            files[i]->addText(name);
        files[i]->endRow();
    }
    return true;
}

bool CaptureExport::close(QString* error)
{
    bool ok = true;
    for (CaptureCsv* file : {networkCsv, cpuCsv, channelCsv, codecCsv, statsCsv})
        ok = file->close(error) && ok;
    return ok;
}

void CaptureExport::slotHistoryUpdated(int numNewSnapshots)
{
    accepted = numNewSnapshots;
}

void CaptureExport::add(const CaptureRecord& record)
{
    if (record.type != CaptureFormat::ToProfiler || record.data.size() < PacketHeader::headerSize)
        return;
    const PacketHeader header = PacketHeader::read(record.data);
    if (header.subKind != PacketSubKind::Snapshot)
        return;
    accepted = 0;
    switch (header.kind) {
    case PacketKind::DSPNetwork:
        addNetwork(record);
        break;
    case PacketKind::CPU:
        addCPU(record);
        break;
    case PacketKind::Channel:
        addChannels(record);
        break;
    case PacketKind::Codec:
        addCodecs(record);
        break;
    case PacketKind::Stats:
        addStats(record);
        break;
    default:
        break;
    }
}

void CaptureExport::addNetwork(const CaptureRecord& record)
{
    if (!tree->acceptNetworkFrame(record.data))
        return;
    units.clear();
    for (const DSPNode* node : std::as_const(tree->nodes))
        units.append(node);
    std::sort(units.begin(), units.end(),
              [](const DSPNode* a, const DSPNode* b) { return a->id < b->id; });
    for (const DSPNode* node : std::as_const(units)) {
        networkCsv->addTime(record.timeUs);
        networkCsv->addNumber(quint64(node->id));
        networkCsv->addText(node->name);
        networkCsv->addNumber(node->depth);
        networkCsv->addNumber(node->exclusiveCPU * 100.0f);
        networkCsv->addNumber(node->inclusiveCPU * 100.0f);
        networkCsv->addNumber(int(node->active));
        networkCsv->addNumber(int(node->bypass));
        networkCsv->endRow();
    }
}

void CaptureExport::addCPU(const CaptureRecord& record)
{
    cpu->processPackets({record.data});
    if (accepted == 0)
        return;
    const CPUSnapshot& s = cpu->snapshots()->last();
    cpuCsv->addTime(record.timeUs);
    for (float value : {s.dsp, s.stream, s.geometry, s.update, s.total})
        cpuCsv->addNumber(value);
    cpuCsv->endRow();
}

void CaptureExport::addChannels(const CaptureRecord& record)
{
    channels->processPackets({record.data});
    if (accepted == 0)
        return;
    const ChannelSnapshot& s = channels->snapshots()->last();
    channelCsv->addTime(record.timeUs);
    for (int value :
         {s.hardwareCount, s.hardwareLimit, s.softwareCount, s.softwareLimit, s.realCount,
          s.realLimit, s.virtualCount, s.virtualLimit, s.playingCount, s.playingLimit})
        channelCsv->addNumber(value);
    channelCsv->endRow();
}

void CaptureExport::addCodecs(const CaptureRecord& record)
{
    codecs->processPackets({record.data});
    if (accepted == 0)
        return;
    const CodecSnapshot& s = codecs->snapshots()->last();
    codecCsv->addTime(record.timeUs);
    for (int value : {s.mpegCount, s.mpegLimit, s.adpcmCount, s.adpcmLimit, s.xmaCount, s.xmaLimit,
                      s.pcmCount, s.pcmLimit})
        codecCsv->addNumber(value);
    codecCsv->endRow();
}

void CaptureExport::addStats(const CaptureRecord& record)
{
    stats->processPackets({record.data});
    if (accepted == 0)
        return;
    const StatsSnapshot& s = stats->snapshots()->last();
    statsCsv->addTime(record.timeUs);
    for (int series = 0; series < StatsHistory::numSeries; ++series)
        statsCsv->addNumber(StatsHistory::seriesValue(s, series));
    statsCsv->endRow();
}
