#include "LineGraphControl.h"

#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "LineGraph.h"
#include "LineGraphLegendItem.h"
#include "LineValues.h"
#include "LineValuesGroup.h"
#include "StatsHistory.h"

#include <QBoxLayout>
#include <QLabel>
#include <QSpinBox>
#include <QTabWidget>

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
    : QWidget(parent, flags), m_lineGraph(lineGraph), m_cpuHistory(cpuHistory),
      m_channelHistory(channelHistory), m_codecHistory(codecHistory), m_statsHistory(statsHistory)
{
    createCPUTab();
    createChannelTab();
    createCodecTab();
    createMemoryTab();
    m_tabWidget = new QTabWidget();
    m_mainLayout = new QVBoxLayout();

    // Connected before the spin boxes get their start values, so that those
    // reach the groups through the same slot as the user's changes.
    connect(m_cpuHistory, SIGNAL(historyUpdated(int)), this, SLOT(slotProcessCPUHistory(int)));
    connect(m_channelHistory, SIGNAL(historyUpdated(int)), this,
            SLOT(slotProcessChannelHistory(int)));
    connect(m_codecHistory, SIGNAL(historyUpdated(int)), this, SLOT(slotProcessCodecHistory(int)));
    connect(m_statsHistory, SIGNAL(historyUpdated(int)), this, SLOT(slotProcessStatsHistory(int)));
    for (QSpinBox* spinBox :
         {m_cpuMaxSpinBox, m_channelMaxSpinBox, m_codecMaxSpinBox, m_memoryMaxSpinBox}) {
        connect(spinBox, SIGNAL(valueChanged(int)), this, SLOT(slotMaxSpinBoxChanged(int)));
    }

    setUpTab(m_cpuGroup,
             {m_cpuDSPItem, m_cpuStreamItem, m_cpuGeometryItem, m_cpuUpdateItem, m_cpuTotalItem},
             m_cpuMaxLabel, m_cpuMaxSpinBox, m_cpuMaxLayout, m_cpuLayout, m_cpuTab);
    setUpTab(m_channelGroup,
             {m_channelHardwareItem, m_channelSoftwareItem, m_channelRealItem, m_channelVirtualItem,
              m_channelPlayingItem},
             m_channelMaxLabel, m_channelMaxSpinBox, m_channelMaxLayout, m_channelLayout,
             m_channelTab);
    // The codec rows stand in another order than the one of their creation.
    setUpTab(m_codecGroup,
             {m_codecVorbisItem, m_codecZADPCMItem, m_codecADPCMItem, m_codecMPEGItem,
              m_codecXMAItem, m_codecAT9Item, m_codecPCMItem},
             m_codecMaxLabel, m_codecMaxSpinBox, m_codecMaxLayout, m_codecLayout, m_codecTab);
    setUpTab(m_memoryGroup, {m_memoryCurrentItem}, m_memoryMaxLabel, m_memoryMaxSpinBox,
             m_memoryMaxLayout, m_memoryLayout, m_memoryTab);

    m_tabWidget->addTab(m_cpuTab, QString("CPU"));
    m_tabWidget->addTab(m_channelTab, QString("Channel"));
    m_tabWidget->addTab(m_codecTab, QString("Codec"));
    m_tabWidget->addTab(m_memoryTab, QString("Memory"));
    m_mainLayout->addWidget(m_tabWidget);
    m_mainLayout->setContentsMargins(0, 0, 0, 0);

    m_spinBoxGroups.insert(m_cpuMaxSpinBox, m_cpuGroup);
    m_spinBoxGroups.insert(m_channelMaxSpinBox, m_channelGroup);
    m_spinBoxGroups.insert(m_codecMaxSpinBox, m_codecGroup);
    m_spinBoxGroups.insert(m_memoryMaxSpinBox, m_memoryGroup);

    setLayout(m_mainLayout);
}

LineGraphControl::~LineGraphControl() = default;

void LineGraphControl::createCPUTab()
{
    m_cpuGroup = m_lineGraph->addGroup(QString("CPU"), QString("%"), 2);
    m_cpuDSPItem = addLegendItem(m_cpuGroup, QString("DSP"), QColor("red"));
    m_cpuStreamItem = addLegendItem(m_cpuGroup, QString("Stream"), QColor("green"));
    m_cpuGeometryItem = addLegendItem(m_cpuGroup, QString("Geometry"), QColor("yellow"));
    m_cpuUpdateItem = addLegendItem(m_cpuGroup, QString("Update"), QColor("blue"));
    m_cpuTotalItem = addLegendItem(m_cpuGroup, QString("Total"), QColor("orange"));
    m_cpuMaxLabel = new QLabel();
    m_cpuMaxSpinBox = new QSpinBox();
    m_cpuMaxLayout = new QHBoxLayout();
    m_cpuLayout = new QVBoxLayout();
    m_cpuTab = new QWidget();
}

void LineGraphControl::createChannelTab()
{
    m_channelGroup = m_lineGraph->addGroup(QString("Channel"), QString(" channel(s)"), 0);
    m_channelHardwareItem =
        addLegendItem(m_channelGroup, QString("Hardware"), QColor("cornflowerblue"));
    m_channelSoftwareItem = addLegendItem(m_channelGroup, QString("Software"), QColor("plum"));
    m_channelRealItem = addLegendItem(m_channelGroup, QString("Real"), QColor("indianred"));
    m_channelVirtualItem = addLegendItem(m_channelGroup, QString("Virtual"), QColor("khaki"));
    m_channelPlayingItem = addLegendItem(m_channelGroup, QString("Playing"), QColor("linen"));
    m_channelMaxLabel = new QLabel();
    m_channelMaxSpinBox = new QSpinBox();
    m_channelMaxLayout = new QHBoxLayout();
    m_channelLayout = new QVBoxLayout();
    m_channelTab = new QWidget();
}

void LineGraphControl::createCodecTab()
{
    m_codecGroup = m_lineGraph->addGroup(QString("Codec"), QString(" codec(s)"), 0);
    m_codecMPEGItem = addLegendItem(m_codecGroup, QString("MPEG"), QColor("yellowgreen"));
    m_codecADPCMItem = addLegendItem(m_codecGroup, QString("ADPCM"), QColor("peru"));
    m_codecXMAItem = addLegendItem(m_codecGroup, QString("XMA"), QColor("seashell"));
    m_codecPCMItem = addLegendItem(m_codecGroup, QString("PCM"), QColor("tomato"));
    m_codecZADPCMItem = addLegendItem(m_codecGroup, QString("ZADPCM"), QColor("lightslategray"));
    m_codecVorbisItem = addLegendItem(m_codecGroup, QString("Vorbis"), QColor("seagreen"));
    m_codecAT9Item = addLegendItem(m_codecGroup, QString("AT9"), QColor("mediumorchid"));
    m_codecMaxLabel = new QLabel();
    m_codecMaxSpinBox = new QSpinBox();
    m_codecMaxLayout = new QHBoxLayout();
    m_codecLayout = new QVBoxLayout();
    m_codecTab = new QWidget();
}

void LineGraphControl::createMemoryTab()
{
    m_memoryGroup = m_lineGraph->addGroup(QString("Memory"), QString(" MB"), 3);
    m_memoryCurrentItem = addLegendItem(m_memoryGroup, QString("Current"), QColor("skyblue"));
    m_memoryMaxLabel = new QLabel();
    m_memoryMaxSpinBox = new QSpinBox();
    m_memoryMaxLayout = new QHBoxLayout();
    m_memoryLayout = new QVBoxLayout();
    m_memoryTab = new QWidget();
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
    m_legendLines.insert(item, line);
    connect(item, SIGNAL(checkedStatusChanged(bool)), this, SLOT(slotLegendItemClicked(bool)));
    return item;
}

LineValues* LineGraphControl::lineOf(LineGraphLegendItem* item) const
{
    return m_legendLines.value(item, nullptr);
}

void LineGraphControl::slotLegendItemClicked(bool checked)
{
    LineValues* line = m_legendLines.value(qobject_cast<LineGraphLegendItem*>(sender()), nullptr);
    if (line) {
        line->setActive(checked);
    }
}

void LineGraphControl::slotMaxSpinBoxChanged(int maximum)
{
    LineValuesGroup* group = m_spinBoxGroups.value(qobject_cast<QSpinBox*>(sender()), nullptr);
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
    const QList<CPUSnapshot>& list = *m_cpuHistory->snapshots();
    if (list.isEmpty()) {
        return;
    }
    for (int i = firstNewIndex(list.size(), numNewSnapshots); i < list.size(); ++i) {
        const CPUSnapshot& snapshot = list.at(i);
        addSample(m_cpuDSPItem, snapshot.dsp);
        addSample(m_cpuStreamItem, snapshot.stream);
        addSample(m_cpuGeometryItem, snapshot.geometry);
        addSample(m_cpuUpdateItem, snapshot.update);
        addSample(m_cpuTotalItem, snapshot.total);
    }
    const CPUSnapshot& last = list.last();
    setCurrentAndLimit(m_cpuDSPItem, last.dsp, 100.0f);
    setCurrentAndLimit(m_cpuStreamItem, last.stream, 100.0f);
    setCurrentAndLimit(m_cpuGeometryItem, last.geometry, 100.0f);
    setCurrentAndLimit(m_cpuUpdateItem, last.update, 100.0f);
    setCurrentAndLimit(m_cpuTotalItem, last.total, 100.0f);
    setSpinBoxMaximum(m_cpuMaxSpinBox, 100);
}

void LineGraphControl::slotProcessChannelHistory(int numNewSnapshots)
{
    const QList<ChannelSnapshot>& list = *m_channelHistory->snapshots();
    if (list.isEmpty()) {
        return;
    }
    for (int i = firstNewIndex(list.size(), numNewSnapshots); i < list.size(); ++i) {
        const ChannelSnapshot& snapshot = list.at(i);
        addSample(m_channelHardwareItem, float(snapshot.hardwareCount));
        addSample(m_channelSoftwareItem, float(snapshot.softwareCount));
        addSample(m_channelRealItem, float(snapshot.realCount));
        addSample(m_channelVirtualItem, float(snapshot.virtualCount));
        addSample(m_channelPlayingItem, float(snapshot.playingCount));
    }
    const ChannelSnapshot& last = list.last();
    setCurrentAndLimit(m_channelHardwareItem, last.hardwareCount, last.hardwareLimit);
    setCurrentAndLimit(m_channelSoftwareItem, last.softwareCount, last.softwareLimit);
    setCurrentAndLimit(m_channelRealItem, last.realCount, last.realLimit);
    setCurrentAndLimit(m_channelVirtualItem, last.virtualCount, last.virtualLimit);
    setCurrentAndLimit(m_channelPlayingItem, last.playingCount, last.playingLimit);
    setSpinBoxMaximum(m_channelMaxSpinBox, m_channelHistory->maximum());
}

void LineGraphControl::slotProcessCodecHistory(int numNewSnapshots)
{
    const QList<CodecSnapshot>& list = *m_codecHistory->snapshots();
    if (list.isEmpty()) {
        return;
    }
    // ZADPCM, Vorbis and AT9 are not in this packet: their rows stay as they are.
    for (int i = firstNewIndex(list.size(), numNewSnapshots); i < list.size(); ++i) {
        const CodecSnapshot& snapshot = list.at(i);
        addSample(m_codecMPEGItem, float(snapshot.mpegCount));
        addSample(m_codecADPCMItem, float(snapshot.adpcmCount));
        addSample(m_codecXMAItem, float(snapshot.xmaCount));
        addSample(m_codecPCMItem, float(snapshot.pcmCount));
    }
    const CodecSnapshot& last = list.last();
    setCurrentAndLimit(m_codecMPEGItem, last.mpegCount, last.mpegLimit);
    setCurrentAndLimit(m_codecADPCMItem, last.adpcmCount, last.adpcmLimit);
    setCurrentAndLimit(m_codecXMAItem, last.xmaCount, last.xmaLimit);
    setCurrentAndLimit(m_codecPCMItem, last.pcmCount, last.pcmLimit);
    setSpinBoxMaximum(m_codecMaxSpinBox, m_codecHistory->maximum());
}

void LineGraphControl::slotProcessStatsHistory(int numNewSnapshots)
{
    const QList<StatsSnapshot>& list = *m_statsHistory->snapshots();
    if (list.isEmpty()) {
        return;
    }
    // The rows in the order of the store's series, index for index.
    LineGraphLegendItem* const order[StatsHistory::numSeries] = {
        m_cpuDSPItem,     m_cpuStreamItem,   m_cpuUpdateItem,      m_cpuGeometryItem,
        m_cpuTotalItem,   m_channelRealItem, m_channelVirtualItem, m_channelPlayingItem,
        m_codecADPCMItem, m_codecZADPCMItem, m_codecMPEGItem,      m_codecVorbisItem,
        m_codecXMAItem,   m_codecAT9Item,    m_codecPCMItem,       m_memoryCurrentItem};
    for (int i = firstNewIndex(list.size(), numNewSnapshots); i < list.size(); ++i) {
        for (int series = 0; series < StatsHistory::numSeries; ++series) {
            addSample(order[series], StatsHistory::seriesValue(list.at(i), series));
        }
    }
    for (int series = 0; series < StatsHistory::numSeries; ++series) {
        LineGraphLegendItem* item = order[series];
        const SeriesStats& stats = m_statsHistory->seriesStats[series];
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
    m_channelHardwareItem->hide();
    m_channelSoftwareItem->hide();
    setSpinBoxMaximum(m_cpuMaxSpinBox, 100);
    setSpinBoxMaximum(m_channelMaxSpinBox, m_statsHistory->maxChannels);
    setSpinBoxMaximum(m_codecMaxSpinBox, m_statsHistory->maxCodecs);
    setSpinBoxMaximum(
        m_memoryMaxSpinBox,
        spinBoxMaximumFromLimit(m_statsHistory->seriesStats[StatsHistory::SeriesMemory].limit));
}

void LineGraphControl::addSample(LineGraphLegendItem* item, float value)
{
    m_legendLines.value(item)->addValue(value);
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
    // A wrapping QSpinBox sends a value above a lowered maximum to its minimum,
    // which would switch a manual scale to "Auto". The value is brought down to
    // the new top first, so that its valueChanged makes the manual scale follow
    // the range down (and only a top of 0 means "Auto").
    if (spinBox->value() > top) {
        spinBox->setValue(top);
    }
    spinBox->setMaximum(top);
}
