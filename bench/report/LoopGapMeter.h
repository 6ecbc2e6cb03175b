#ifndef LOOPGAPMETER_H
#define LOOPGAPMETER_H

#include <QElapsedTimer>
#include <QObject>

class QTimer;

// How long the event loop of this thread can be kept from its events: a
// timer asks to run every tick, and the longest time between two of its runs
// beyond the tick is how long some work held the loop. A click that arrives
// when that work begins waits as long. The ticks cost the loop about 50
// short wake-ups a second.
class LoopGapMeter : public QObject
{
    Q_OBJECT

public:
    static constexpr int tickMs = 20;

    LoopGapMeter();

    void reset();
    double longestSeconds() const { return double(longest) / 1e9; }

public Q_SLOTS:
    void slotTick();

private:
    QTimer* timer;
    QElapsedTimer clock;
    qint64 lastTick;
    qint64 longest;
};

#endif
