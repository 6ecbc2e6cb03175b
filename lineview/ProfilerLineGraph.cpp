#include "ProfilerLineGraph.h"

#include "LineGraph.h"
#include "LineGraphControl.h"

#include <QBoxLayout>
#include <QFrame>

ProfilerLineGraph::ProfilerLineGraph(CPUHistory* cpuHistory, ChannelHistory* channelHistory,
                                     CodecHistory* codecHistory, StatsHistory* statsHistory,
                                     QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags), m_lineGraph(new LineGraph()), m_frameLayout(new QVBoxLayout()),
      m_frame(new QFrame()), m_control(new LineGraphControl(m_lineGraph, cpuHistory, channelHistory,
                                                            codecHistory, statsHistory)),
      m_mainLayout(new QHBoxLayout())
{
    m_frameLayout->setContentsMargins(0, 0, 0, 0);
    m_frameLayout->addWidget(m_lineGraph);

    // The same sunken panel as the frame around the network graph above.
    m_frame->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    m_frame->setLayout(m_frameLayout);

    // The plot takes all the width that the tabs leave.
    m_mainLayout->setContentsMargins(0, 0, 0, 0);
    m_mainLayout->addWidget(m_frame, 1);
    m_mainLayout->addWidget(m_control, 0);
    setLayout(m_mainLayout);
}

ProfilerLineGraph::~ProfilerLineGraph() = default;
