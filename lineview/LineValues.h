#ifndef LINEVALUES_H
#define LINEVALUES_H

#include <QColor>
#include <QList>
#include <QObject>
#include <QPen>
#include <QString>

// One plotted series: its latest samples, the pen that draws it, whether it is
// shown, and the largest sample in the buffer (never below 0.0).
class LineValues : public QObject
{
    Q_OBJECT

public:
    // Number of samples kept; the plot spreads them over the widget's width.
    static constexpr int sampleCount = 500;

    LineValues();
    ~LineValues() override;

    void addValue(float value);
    void setActive(bool active);
    void setName(const QString& name);
    void setColor(const QColor& color);

    const QList<float>& values() const { return samples; }
    QString name() const { return seriesName; }
    const QPen& pen() const { return linePen; }
    bool isActive() const { return active; }
    float maximum() const;

Q_SIGNALS:
    void dataChanged();

private:
    void rescanMaximum() const;

    QList<float> samples;
    QString seriesName;
    QPen linePen;
    bool active;
    // At least every sample in the buffer; the largest of them unless stale.
    mutable float peak;
    mutable bool peakStale;
};

#endif // LINEVALUES_H
