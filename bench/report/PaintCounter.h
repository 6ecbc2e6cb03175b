#ifndef PAINTCOUNTER_H
#define PAINTCOUNTER_H

#include <QObject>

class QWidget;

// Counts the paint events that one widget receives, to show that a figure
// measured with the window open did include its repaints.
class PaintCounter : public QObject
{
    Q_OBJECT

public:
    // A null widget is allowed and counts nothing.
    explicit PaintCounter(QWidget* widget);

    void reset() { paints = 0; }
    int count() const { return paints; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    int paints;
};

#endif
