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

    LineGraph* lineGraph() const { return plot; }
    LineGraphControl* control() const { return controlPanel; }

private:
    LineGraph* plot;
    QVBoxLayout* frameLayout;
    QFrame* frame;
    LineGraphControl* controlPanel;
    QHBoxLayout* mainLayout;
};

#endif // PROFILERLINEGRAPH_H
