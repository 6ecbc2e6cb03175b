#include "ProfilerLineGraph.h"

#include "LineGraph.h"
#include "LineGraphControl.h"

#include <QBoxLayout>
#include <QFrame>

ProfilerLineGraph::ProfilerLineGraph(CPUHistory* cpuHistory, ChannelHistory* channelHistory,
                                     CodecHistory* codecHistory, StatsHistory* statsHistory,
                                     QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags), plot(new LineGraph()), frameLayout(new QVBoxLayout()),
      frame(new QFrame()), controlPanel(new LineGraphControl(plot, cpuHistory, channelHistory,
                                                             codecHistory, statsHistory)),
      mainLayout(new QHBoxLayout())
{
    frameLayout->setContentsMargins(0, 0, 0, 0);
    frameLayout->addWidget(plot);

    // The same sunken panel as the frame around the network graph above.
    frame->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    frame->setLayout(frameLayout);

    // The plot takes all the width that the tabs leave.
    mainLayout->setContentsMargins(0, 0, 0, 0);
    mainLayout->addWidget(frame, 1);
    mainLayout->addWidget(controlPanel, 0);
    setLayout(mainLayout);
}

ProfilerLineGraph::~ProfilerLineGraph() = default;
