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
    QTabWidget* tabWidget() const { return m_tabWidget; }

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

    LineGraph* m_lineGraph;
    CPUHistory* m_cpuHistory;
    ChannelHistory* m_channelHistory;
    CodecHistory* m_codecHistory;
    StatsHistory* m_statsHistory;
    QHash<LineGraphLegendItem*, LineValues*> m_legendLines;
    QHash<QSpinBox*, LineValuesGroup*> m_spinBoxGroups;

    LineValuesGroup* m_cpuGroup;
    LineGraphLegendItem* m_cpuDSPItem;
    LineGraphLegendItem* m_cpuStreamItem;
    LineGraphLegendItem* m_cpuGeometryItem;
    LineGraphLegendItem* m_cpuUpdateItem;
    LineGraphLegendItem* m_cpuTotalItem;
    QLabel* m_cpuMaxLabel;
    QSpinBox* m_cpuMaxSpinBox;
    QHBoxLayout* m_cpuMaxLayout;
    QVBoxLayout* m_cpuLayout;
    QWidget* m_cpuTab;

    LineValuesGroup* m_channelGroup;
    LineGraphLegendItem* m_channelHardwareItem;
    LineGraphLegendItem* m_channelSoftwareItem;
    LineGraphLegendItem* m_channelRealItem;
    LineGraphLegendItem* m_channelVirtualItem;
    LineGraphLegendItem* m_channelPlayingItem;
    QLabel* m_channelMaxLabel;
    QSpinBox* m_channelMaxSpinBox;
    QHBoxLayout* m_channelMaxLayout;
    QVBoxLayout* m_channelLayout;
    QWidget* m_channelTab;

    LineValuesGroup* m_codecGroup;
    LineGraphLegendItem* m_codecMPEGItem;
    LineGraphLegendItem* m_codecADPCMItem;
    LineGraphLegendItem* m_codecXMAItem;
    LineGraphLegendItem* m_codecPCMItem;
    LineGraphLegendItem* m_codecZADPCMItem;
    LineGraphLegendItem* m_codecVorbisItem;
    LineGraphLegendItem* m_codecAT9Item;
    QLabel* m_codecMaxLabel;
    QSpinBox* m_codecMaxSpinBox;
    QHBoxLayout* m_codecMaxLayout;
    QVBoxLayout* m_codecLayout;
    QWidget* m_codecTab;

    LineValuesGroup* m_memoryGroup;
    LineGraphLegendItem* m_memoryCurrentItem;
    QLabel* m_memoryMaxLabel;
    QSpinBox* m_memoryMaxSpinBox;
    QHBoxLayout* m_memoryMaxLayout;
    QVBoxLayout* m_memoryLayout;
    QWidget* m_memoryTab;

    QTabWidget* m_tabWidget;
    QVBoxLayout* m_mainLayout;
};

#endif // LINEGRAPHCONTROL_H
