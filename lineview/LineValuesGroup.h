#ifndef LINEVALUESGROUP_H
#define LINEVALUESGROUP_H

#include <QColor>
#include <QList>
#include <QObject>
#include <QSize>
#include <QString>

class LineRaster;
class LineTrace;
class LineValues;
class QPainter;

// Series that share one vertical scale, one unit text and one number of
// decimals. In automatic mode the scale follows the largest sample of the
// active series; in manual mode it holds the value the user chose.
class LineValuesGroup : public QObject
{
    Q_OBJECT

public:
    LineValuesGroup();
    ~LineValuesGroup() override;

    LineValues* addLine(QString name, const QColor& color);

    void setName(const QString& name);
    void setSuffix(const QString& suffix);
    void setPrecision(int precision);
    void setMaximum(float maximum);
    void setAutoMaximum(bool automatic);

    const QList<LineValues*>& lines() const { return lineList; }
    QString name() const { return groupName; }
    QString suffix() const { return unitSuffix; }
    int precision() const { return decimals; }
    float maximum() const;
    bool autoMaximum() const { return automatic; }

    // Draws the active series over a plot of the given size, the value 0 on the
    // bottom edge and maximum() on the top edge.
    void paint(QPainter* painter, QSize size);

Q_SIGNALS:
    void dataChanged();

public Q_SLOTS:
    void slotLineDataChanged();

private:
    void recomputeMaximum() const;

    QList<LineValues*> lineList;
    QString groupName;
    QString unitSuffix;
    int decimals;
    // In automatic mode the largest maximum of the active series, made again
    // when asked for after a sample came (stale); set by hand otherwise.
    mutable float scaleMaximum;
    mutable bool scaleStale;
    bool automatic;
    // Scratch space of paint(), kept between repaints so that its buffers are
    // reused; what it holds is only what the last repaint drew.
    LineTrace* trace;
    LineRaster* raster;
};

#endif // LINEVALUESGROUP_H
