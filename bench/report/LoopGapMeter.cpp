#include "LoopGapMeter.h"

#include <QTimer>

#include <algorithm>

LoopGapMeter::LoopGapMeter() : timer(new QTimer(this)), lastTick(0), longest(0)
{
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, SIGNAL(timeout()), this, SLOT(slotTick()));
    timer->start(tickMs);
    clock.start();
}

void LoopGapMeter::reset()
{
    longest = 0;
    lastTick = clock.nsecsElapsed();
}

void LoopGapMeter::slotTick()
{
    const qint64 now = clock.nsecsElapsed();
    longest = std::max(longest, now - lastTick - qint64(tickMs) * 1000000);
    lastTick = now;
}
