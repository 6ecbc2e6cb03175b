#include "LineGraphControl.h"

#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "LineGraph.h"
#include "LineGraphLegendItem.h"
#include "LineGraphTabWidget.h"
#include "LineValues.h"
#include "LineValuesGroup.h"
#include "StatsHistory.h"

#include <QBoxLayout>
#include <QLabel>
#include <QSpinBox>

#include <climits>

namespace {
// Index of the first snapshot that the reader has not seen. The stores promise
// a count between 1 and the list's size; a count outside that range is
// clamped to it, so a wrong count can neither read outside the list nor feed
// a series more samples than the list holds.
int firstNewIndex(int listSize, int numNewSnapshots)
{
    return qBound(0, listSize - numNewSnapshots, listSize);
}

// The memory limit arrives as a float of millions of bytes. Truncated towards
// zero, a limit below 1.0 gives 0 ("Auto"); anything that is not a number or
// does not fit an int is taken as 0 or INT_MAX, never converted blindly.
int spinBoxMaximumFromLimit(float limit)
{
    if (!(limit >= 1.0f)) {
        return 0;
    }
    if (limit >= float(INT_MAX)) {
        return INT_MAX;
    }
    return int(limit);
}
} // namespace

LineGraphControl::LineGraphControl(LineGraph* lineGraph, CPUHistory* cpuHistory,
                                   ChannelHistory* channelHistory, CodecHistory* codecHistory,
                                   StatsHistory* statsHistory, QWidget* parent,
                                   Qt::WindowFlags flags)
    : QWidget(parent, flags), lineGraph(lineGraph), cpuHistory(cpuHistory),
      channelHistory(channelHistory), codecHistory(codecHistory), statsHistory(statsHistory)
{
    createCPUTab();
    createChannelTab();
    createCodecTab();
    createMemoryTab();
    tabs = new LineGraphTabWidget();
    mainLayout = new QVBoxLayout();

    // Connected before the spin boxes get their start values, so that those
    // reach the groups through the same slot as the user's changes.
    connect(cpuHistory, SIGNAL(historyUpdated(int)), this, SLOT(slotProcessCPUHistory(int)));
    connect(channelHistory, SIGNAL(historyUpdated(int)), this,
            SLOT(slotProcessChannelHistory(int)));
    connect(codecHistory, SIGNAL(historyUpdated(int)), this, SLOT(slotProcessCodecHistory(int)));
    connect(statsHistory, SIGNAL(historyUpdated(int)), this, SLOT(slotProcessStatsHistory(int)));
    for (QSpinBox* spinBox :
         {cpuMaxSpinBox, channelMaxSpinBox, codecMaxSpinBox, memoryMaxSpinBox}) {
        connect(spinBox, SIGNAL(valueChanged(int)), this, SLOT(slotMaxSpinBoxChanged(int)));
    }

    setUpTab(cpuGroup, {cpuDSPItem, cpuStreamItem, cpuGeometryItem, cpuUpdateItem, cpuTotalItem},
             cpuMaxLabel, cpuMaxSpinBox, cpuMaxLayout, cpuLayout, cpuTab);
    setUpTab(channelGroup,
             {channelHardwareItem, channelSoftwareItem, channelRealItem, channelVirtualItem,
              channelPlayingItem},
             channelMaxLabel, channelMaxSpinBox, channelMaxLayout, channelLayout, channelTab);
    // The codec rows stand in another order than the one of their creation.
    setUpTab(codecGroup,
             {codecVorbisItem, codecZADPCMItem, codecADPCMItem, codecMPEGItem, codecXMAItem,
              codecAT9Item, codecPCMItem},
             codecMaxLabel, codecMaxSpinBox, codecMaxLayout, codecLayout, codecTab);
    setUpTab(memoryGroup, {memoryCurrentItem}, memoryMaxLabel, memoryMaxSpinBox, memoryMaxLayout,
             memoryLayout, memoryTab);

    tabs->addTab(cpuTab, QString("CPU"));
    tabs->addTab(channelTab, QString("Channel"));
    tabs->addTab(codecTab, QString("Codec"));
    tabs->addTab(memoryTab, QString("Memory"));
    mainLayout->addWidget(tabs);
    mainLayout->setContentsMargins(0, 0, 0, 0);

    spinBoxGroups.insert(cpuMaxSpinBox, cpuGroup);
    spinBoxGroups.insert(channelMaxSpinBox, channelGroup);
    spinBoxGroups.insert(codecMaxSpinBox, codecGroup);
    spinBoxGroups.insert(memoryMaxSpinBox, memoryGroup);

    setLayout(mainLayout);
}

LineGraphControl::~LineGraphControl() = default;

void LineGraphControl::createCPUTab()
{
    cpuGroup = lineGraph->addGroup(QString("CPU"), QString("%"), 2);
    cpuDSPItem = addLegendItem(cpuGroup, QString("DSP"), QColor("red"));
    cpuStreamItem = addLegendItem(cpuGroup, QString("Stream"), QColor("green"));
    cpuGeometryItem = addLegendItem(cpuGroup, QString("Geometry"), QColor("yellow"));
    cpuUpdateItem = addLegendItem(cpuGroup, QString("Update"), QColor("blue"));
    cpuTotalItem = addLegendItem(cpuGroup, QString("Total"), QColor("orange"));
    cpuMaxLabel = new QLabel();
    cpuMaxSpinBox = new QSpinBox();
    cpuMaxLayout = new QHBoxLayout();
    cpuLayout = new QVBoxLayout();
    cpuTab = new QWidget();
}

void LineGraphControl::createChannelTab()
{
    channelGroup = lineGraph->addGroup(QString("Channel"), QString(" channel(s)"), 0);
    channelHardwareItem =
        addLegendItem(channelGroup, QString("Hardware"), QColor("cornflowerblue"));
    channelSoftwareItem = addLegendItem(channelGroup, QString("Software"), QColor("plum"));
    channelRealItem = addLegendItem(channelGroup, QString("Real"), QColor("indianred"));
    channelVirtualItem = addLegendItem(channelGroup, QString("Virtual"), QColor("khaki"));
    channelPlayingItem = addLegendItem(channelGroup, QString("Playing"), QColor("linen"));
    channelMaxLabel = new QLabel();
    channelMaxSpinBox = new QSpinBox();
    channelMaxLayout = new QHBoxLayout();
    channelLayout = new QVBoxLayout();
    channelTab = new QWidget();
}

void LineGraphControl::createCodecTab()
{
    codecGroup = lineGraph->addGroup(QString("Codec"), QString(" codec(s)"), 0);
    codecMPEGItem = addLegendItem(codecGroup, QString("MPEG"), QColor("yellowgreen"));
    codecADPCMItem = addLegendItem(codecGroup, QString("ADPCM"), QColor("peru"));
    codecXMAItem = addLegendItem(codecGroup, QString("XMA"), QColor("seashell"));
    codecPCMItem = addLegendItem(codecGroup, QString("PCM"), QColor("tomato"));
    codecZADPCMItem = addLegendItem(codecGroup, QString("ZADPCM"), QColor("lightslategray"));
    codecVorbisItem = addLegendItem(codecGroup, QString("Vorbis"), QColor("seagreen"));
    codecAT9Item = addLegendItem(codecGroup, QString("AT9"), QColor("mediumorchid"));
    codecMaxLabel = new QLabel();
    codecMaxSpinBox = new QSpinBox();
    codecMaxLayout = new QHBoxLayout();
    codecLayout = new QVBoxLayout();
    codecTab = new QWidget();
}

void LineGraphControl::createMemoryTab()
{
    memoryGroup = lineGraph->addGroup(QString("Memory"), QString(" MB"), 3);
    memoryCurrentItem = addLegendItem(memoryGroup, QString("Current"), QColor("skyblue"));
    memoryMaxLabel = new QLabel();
    memoryMaxSpinBox = new QSpinBox();
    memoryMaxLayout = new QHBoxLayout();
    memoryLayout = new QVBoxLayout();
    memoryTab = new QWidget();
}

void LineGraphControl::setUpTab(LineValuesGroup* group, const QList<LineGraphLegendItem*>& rows,
                                QLabel* label, QSpinBox* spinBox, QHBoxLayout* maxLayout,
                                QVBoxLayout* layout, QWidget* tab)
{
    label->setText(QString("Maximum:"));

    // The minimum and the value stay 0, which shows "Auto": the group starts in
    // automatic mode. The range of 100 is only a start; the stores set it.
    spinBox->setSpecialValueText(QString("Auto"));
    spinBox->setAccelerated(true);
    spinBox->setWrapping(true);
    spinBox->setMaximum(100);
    spinBox->setSuffix(group->suffix());

    maxLayout->addStretch(0);
    maxLayout->addWidget(label);
    maxLayout->addWidget(spinBox);

    for (LineGraphLegendItem* row : rows) {
        layout->addWidget(row);
    }
    layout->addStretch(0);
    layout->addLayout(maxLayout);
    layout->setContentsMargins(10, 10, 10, 10);
    tab->setLayout(layout);
}

LineGraphLegendItem* LineGraphControl::addLegendItem(LineValuesGroup* group, QString name,
                                                     QColor color)
{
    LineValues* line = group->addLine(name, color);
    LineGraphLegendItem* item = new LineGraphLegendItem();
    item->setColor(color);
    item->setName(name);
    item->setSuffix(group->suffix());
    item->setPrecision(group->precision());
    legendLines.insert(item, line);
    connect(item, SIGNAL(checkedStatusChanged(bool)), this, SLOT(slotLegendItemClicked(bool)));
    return item;
}

LineValues* LineGraphControl::lineOf(LineGraphLegendItem* item) const
{
    return legendLines.value(item, nullptr);
}

void LineGraphControl::slotLegendItemClicked(bool checked)
{
    LineValues* line = legendLines.value(qobject_cast<LineGraphLegendItem*>(sender()), nullptr);
    if (line) {
        line->setActive(checked);
    }
}

void LineGraphControl::slotMaxSpinBoxChanged(int maximum)
{
    LineValuesGroup* group = spinBoxGroups.value(qobject_cast<QSpinBox*>(sender()), nullptr);
    if (!group) {
        return;
    }
    // 0 is the special value "Auto": the group follows its active series again.
    if (maximum == 0) {
        group->setAutoMaximum(true);
        return;
    }
    group->setAutoMaximum(false);
    group->setMaximum(float(maximum));
}

void LineGraphControl::slotProcessCPUHistory(int numNewSnapshots)
{
    const QList<CPUSnapshot>& list = *cpuHistory->snapshots();
    if (list.isEmpty()) {
        return;
    }
    for (int i = firstNewIndex(list.size(), numNewSnapshots); i < list.size(); ++i) {
        const CPUSnapshot& snapshot = list.at(i);
        addSample(cpuDSPItem, snapshot.dsp);
        addSample(cpuStreamItem, snapshot.stream);
        addSample(cpuGeometryItem, snapshot.geometry);
        addSample(cpuUpdateItem, snapshot.update);
        addSample(cpuTotalItem, snapshot.total);
    }
    const CPUSnapshot& last = list.last();
    setCurrentAndLimit(cpuDSPItem, last.dsp, 100.0f);
    setCurrentAndLimit(cpuStreamItem, last.stream, 100.0f);
    setCurrentAndLimit(cpuGeometryItem, last.geometry, 100.0f);
    setCurrentAndLimit(cpuUpdateItem, last.update, 100.0f);
    setCurrentAndLimit(cpuTotalItem, last.total, 100.0f);
    setSpinBoxMaximum(cpuMaxSpinBox, 100);
}

void LineGraphControl::slotProcessChannelHistory(int numNewSnapshots)
{
    const QList<ChannelSnapshot>& list = *channelHistory->snapshots();
    if (list.isEmpty()) {
        return;
    }
    for (int i = firstNewIndex(list.size(), numNewSnapshots); i < list.size(); ++i) {
        const ChannelSnapshot& snapshot = list.at(i);
        addSample(channelHardwareItem, float(snapshot.hardwareCount));
        addSample(channelSoftwareItem, float(snapshot.softwareCount));
        addSample(channelRealItem, float(snapshot.realCount));
        addSample(channelVirtualItem, float(snapshot.virtualCount));
        addSample(channelPlayingItem, float(snapshot.playingCount));
    }
    const ChannelSnapshot& last = list.last();
    setCurrentAndLimit(channelHardwareItem, last.hardwareCount, last.hardwareLimit);
    setCurrentAndLimit(channelSoftwareItem, last.softwareCount, last.softwareLimit);
    setCurrentAndLimit(channelRealItem, last.realCount, last.realLimit);
    setCurrentAndLimit(channelVirtualItem, last.virtualCount, last.virtualLimit);
    setCurrentAndLimit(channelPlayingItem, last.playingCount, last.playingLimit);
    setSpinBoxMaximum(channelMaxSpinBox, channelHistory->maximum());
}

void LineGraphControl::slotProcessCodecHistory(int numNewSnapshots)
{
    const QList<CodecSnapshot>& list = *codecHistory->snapshots();
    if (list.isEmpty()) {
        return;
    }
    // ZADPCM, Vorbis and AT9 are not in this packet: their rows stay as they are.
    for (int i = firstNewIndex(list.size(), numNewSnapshots); i < list.size(); ++i) {
        const CodecSnapshot& snapshot = list.at(i);
        addSample(codecMPEGItem, float(snapshot.mpegCount));
        addSample(codecADPCMItem, float(snapshot.adpcmCount));
        addSample(codecXMAItem, float(snapshot.xmaCount));
        addSample(codecPCMItem, float(snapshot.pcmCount));
    }
    const CodecSnapshot& last = list.last();
    setCurrentAndLimit(codecMPEGItem, last.mpegCount, last.mpegLimit);
    setCurrentAndLimit(codecADPCMItem, last.adpcmCount, last.adpcmLimit);
    setCurrentAndLimit(codecXMAItem, last.xmaCount, last.xmaLimit);
    setCurrentAndLimit(codecPCMItem, last.pcmCount, last.pcmLimit);
    setSpinBoxMaximum(codecMaxSpinBox, codecHistory->maximum());
}

void LineGraphControl::slotProcessStatsHistory(int numNewSnapshots)
{
    const QList<StatsSnapshot>& list = *statsHistory->snapshots();
    if (list.isEmpty()) {
        return;
    }
    // The rows in the order of the store's series, index for index.
    LineGraphLegendItem* const order[StatsHistory::numSeries] = {
        cpuDSPItem,     cpuStreamItem,   cpuUpdateItem,      cpuGeometryItem,
        cpuTotalItem,   channelRealItem, channelVirtualItem, channelPlayingItem,
        codecADPCMItem, codecZADPCMItem, codecMPEGItem,      codecVorbisItem,
        codecXMAItem,   codecAT9Item,    codecPCMItem,       memoryCurrentItem};
    for (int i = firstNewIndex(list.size(), numNewSnapshots); i < list.size(); ++i) {
        for (int series = 0; series < StatsHistory::numSeries; ++series) {
            addSample(order[series], StatsHistory::seriesValue(list.at(i), series));
        }
    }
    for (int series = 0; series < StatsHistory::numSeries; ++series) {
        LineGraphLegendItem* item = order[series];
        const SeriesStats& stats = statsHistory->seriesStats[series];
        // A limit of 0 means the target has no such resource: hide the row
        // and keep its last numbers for the day it comes back.
        if (stats.limit == 0.0f) {
            item->hide();
            continue;
        }
        item->setValues(stats.average, stats.minimum, stats.maximum, stats.limit);
        item->show();
    }
    // This packet has no hardware and software channels.
    channelHardwareItem->hide();
    channelSoftwareItem->hide();
    setSpinBoxMaximum(cpuMaxSpinBox, 100);
    setSpinBoxMaximum(channelMaxSpinBox, statsHistory->maxChannels);
    setSpinBoxMaximum(codecMaxSpinBox, statsHistory->maxCodecs);
    setSpinBoxMaximum(
        memoryMaxSpinBox,
        spinBoxMaximumFromLimit(statsHistory->seriesStats[StatsHistory::SeriesMemory].limit));
}

void LineGraphControl::addSample(LineGraphLegendItem* item, float value)
{
    legendLines.value(item)->addValue(value);
}

void LineGraphControl::setCurrentAndLimit(LineGraphLegendItem* item, float current, float limit)
{
    item->setCurrent(current);
    item->setLimit(limit);
}

void LineGraphControl::setSpinBoxMaximum(QSpinBox* spinBox, int maximum)
{
    // A negative limit from the target would drag the minimum down with it and
    // take "Auto" away from the box; the range never goes below 0.
    const int top = qMax(0, maximum);
    // Most packets bring the range the box already has; setting it again
    // would still ask the whole panel for a new layout.
    if (spinBox->maximum() == top) {
        return;
    }
    // A wrapping QSpinBox sends a value above a lowered maximum to its minimum,
    // which would switch a manual scale to "Auto". The value is brought down to
    // the new top first, so that its valueChanged makes the manual scale follow
    // the range down (and only a top of 0 means "Auto").
    if (spinBox->value() > top) {
        spinBox->setValue(top);
    }
    spinBox->setMaximum(top);
}
