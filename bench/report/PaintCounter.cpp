#include "PaintCounter.h"

#include <QEvent>
#include <QWidget>

PaintCounter::PaintCounter(QWidget* widget) : paints(0)
{
    if (widget)
        widget->installEventFilter(this);
}

bool PaintCounter::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Paint)
        ++paints;
    return QObject::eventFilter(watched, event);
}
