#ifndef LINEGRAPHCONTROL_H
#define LINEGRAPHCONTROL_H

#include <QColor>
#include <QHash>
#include <QString>
#include <QWidget>

class CPUHistory;
class ChannelHistory;
class CodecHistory;
class LineGraph;
class LineGraphLegendItem;
class LineValues;
class LineValuesGroup;
class StatsHistory;
class QHBoxLayout;
class QLabel;
class QSpinBox;
class QTabWidget;
class QVBoxLayout;

// The panel beside the plot: one tab per group with a legend row for each of
// its series and a spin box for the group's maximum. It turns the samples of
// the four stores into series samples, legend numbers and spin box ranges.
class LineGraphControl : public QWidget
{
    Q_OBJECT

public:
    LineGraphControl(LineGraph* lineGraph, CPUHistory* cpuHistory, ChannelHistory* channelHistory,
                     CodecHistory* codecHistory, StatsHistory* statsHistory,
                     QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~LineGraphControl() override;

    LineGraphLegendItem* addLegendItem(LineValuesGroup* group, QString name, QColor color);

    // The series shown by a legend row, or null for a widget that is none.
    LineValues* lineOf(LineGraphLegendItem* item) const;
    QTabWidget* tabWidget() const { return tabs; }

public Q_SLOTS:
    void slotLegendItemClicked(bool checked);
    void slotMaxSpinBoxChanged(int maximum);
    void slotProcessCPUHistory(int numNewSnapshots);
    void slotProcessChannelHistory(int numNewSnapshots);
    void slotProcessCodecHistory(int numNewSnapshots);
    void slotProcessStatsHistory(int numNewSnapshots);

private:
    void createCPUTab();
    void createChannelTab();
    void createCodecTab();
    void createMemoryTab();
    void setUpTab(LineValuesGroup* group, const QList<LineGraphLegendItem*>& rows, QLabel* label,
                  QSpinBox* spinBox, QHBoxLayout* maxLayout, QVBoxLayout* layout, QWidget* tab);
    void addSample(LineGraphLegendItem* item, float value);
    static void setCurrentAndLimit(LineGraphLegendItem* item, float current, float limit);
    static void setSpinBoxMaximum(QSpinBox* spinBox, int maximum);

    LineGraph* lineGraph;
    CPUHistory* cpuHistory;
    ChannelHistory* channelHistory;
    CodecHistory* codecHistory;
    StatsHistory* statsHistory;
    QHash<LineGraphLegendItem*, LineValues*> legendLines;
    QHash<QSpinBox*, LineValuesGroup*> spinBoxGroups;

    LineValuesGroup* cpuGroup;
    LineGraphLegendItem* cpuDSPItem;
    LineGraphLegendItem* cpuStreamItem;
    LineGraphLegendItem* cpuGeometryItem;
    LineGraphLegendItem* cpuUpdateItem;
    LineGraphLegendItem* cpuTotalItem;
    QLabel* cpuMaxLabel;
    QSpinBox* cpuMaxSpinBox;
    QHBoxLayout* cpuMaxLayout;
    QVBoxLayout* cpuLayout;
    QWidget* cpuTab;

    LineValuesGroup* channelGroup;
    LineGraphLegendItem* channelHardwareItem;
    LineGraphLegendItem* channelSoftwareItem;
    LineGraphLegendItem* channelRealItem;
    LineGraphLegendItem* channelVirtualItem;
    LineGraphLegendItem* channelPlayingItem;
    QLabel* channelMaxLabel;
    QSpinBox* channelMaxSpinBox;
    QHBoxLayout* channelMaxLayout;
    QVBoxLayout* channelLayout;
    QWidget* channelTab;

    LineValuesGroup* codecGroup;
    LineGraphLegendItem* codecMPEGItem;
    LineGraphLegendItem* codecADPCMItem;
    LineGraphLegendItem* codecXMAItem;
    LineGraphLegendItem* codecPCMItem;
    LineGraphLegendItem* codecZADPCMItem;
    LineGraphLegendItem* codecVorbisItem;
    LineGraphLegendItem* codecAT9Item;
    QLabel* codecMaxLabel;
    QSpinBox* codecMaxSpinBox;
    QHBoxLayout* codecMaxLayout;
    QVBoxLayout* codecLayout;
    QWidget* codecTab;

    LineValuesGroup* memoryGroup;
    LineGraphLegendItem* memoryCurrentItem;
    QLabel* memoryMaxLabel;
    QSpinBox* memoryMaxSpinBox;
    QHBoxLayout* memoryMaxLayout;
    QVBoxLayout* memoryLayout;
    QWidget* memoryTab;

    QTabWidget* tabs;
    QVBoxLayout* mainLayout;
};

#endif // LINEGRAPHCONTROL_H
