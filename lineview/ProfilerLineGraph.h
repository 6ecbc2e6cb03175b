#ifndef PROFILERLINEGRAPH_H
#define PROFILERLINEGRAPH_H

#include <QWidget>

class CPUHistory;
class ChannelHistory;
class CodecHistory;
class LineGraph;
class LineGraphControl;
class StatsHistory;
class QFrame;
class QHBoxLayout;
class QVBoxLayout;

// The lower half of the main window: the plot in a sunken frame, with the tabs
// of legends and maxima beside it.
class ProfilerLineGraph : public QWidget
{
public:
    ProfilerLineGraph(CPUHistory* cpuHistory, ChannelHistory* channelHistory,
                      CodecHistory* codecHistory, StatsHistory* statsHistory,
                      QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~ProfilerLineGraph() override;

    LineGraph* lineGraph() const { return m_lineGraph; }
    LineGraphControl* control() const { return m_control; }

private:
    LineGraph* m_lineGraph;
    QVBoxLayout* m_frameLayout;
    QFrame* m_frame;
    LineGraphControl* m_control;
    QHBoxLayout* m_mainLayout;
};

#endif // PROFILERLINEGRAPH_H
