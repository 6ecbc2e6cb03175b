#include "LoopGapMeter.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

#include <algorithm>

LoopGapMeter::LoopGapMeter() : busySince(-1), longest(0)
{
    clock.start();
    connect(QAbstractEventDispatcher::instance(), SIGNAL(aboutToBlock()), this,
            SLOT(slotAboutToBlock()));
    QCoreApplication::instance()->installEventFilter(this);
}

LoopGapMeter::~LoopGapMeter()
{
    QCoreApplication::instance()->removeEventFilter(this);
}

void LoopGapMeter::reset()
{
    longest = 0;
    busySince = -1;
}

void LoopGapMeter::slotAboutToBlock()
{
    if (busySince >= 0)
        longest = std::max(longest, clock.nsecsElapsed() - busySince);
    busySince = -1;
}

bool LoopGapMeter::eventFilter(QObject* watched, QEvent* event)
{
    // Every piece of work of the loop (input, timers, sockets, posted events
    // and repaints) begins with the delivery of an event.
    if (busySince < 0)
        busySince = clock.nsecsElapsed();
    return QObject::eventFilter(watched, event);
}
