#ifndef LINEGRAPHTABWIDGET_H
#define LINEGRAPHTABWIDGET_H

#include <QTabWidget>

// The tabs of the line graph's panel. A legend text that changes its width
// makes the pages ask for a new layout several times a second, and a plain
// tab widget answers each request by placing its tab bar and pages again and
// repainting itself whole, although both nearly always keep their places.
// This one passes the request on to the layouts above it (the size that the
// pages ask for may have changed), and lays out and repaints only when the
// tab bar or the pages would really move. What the legend rows themselves
// change, they repaint themselves.
class LineGraphTabWidget : public QTabWidget
{
public:
    explicit LineGraphTabWidget(QWidget* parent = nullptr);

protected:
    bool event(QEvent* event) override;

private:
    bool keepsItsPlaces() const;
};

#endif // LINEGRAPHTABWIDGET_H
