#ifndef LOOPGAPMETER_H
#define LOOPGAPMETER_H

#include <QElapsedTimer>
#include <QObject>

// How long the event loop of the main thread can be kept from its input: the
// longest busy stretch of the loop, from the first event it delivers after it
// last went to wait until it goes to wait again. A click that arrives when
// such a stretch begins waits as long. The meter only watches: it adds no
// timer and no wake-up of its own, just a look at each delivered event.
class LoopGapMeter : public QObject
{
    Q_OBJECT

public:
    LoopGapMeter();
    ~LoopGapMeter() override;

    void reset();
    double longestSeconds() const { return double(longest) / 1e9; }

public Q_SLOTS:
    void slotAboutToBlock();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QElapsedTimer clock;
    // When the current busy stretch began; -1 while the loop waits.
    qint64 busySince;
    qint64 longest;
};

#endif
