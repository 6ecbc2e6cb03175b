#ifndef LINEGRAPH_H
#define LINEGRAPH_H

#include <QList>
#include <QString>
#include <QWidget>

class LineValuesGroup;
class ProfilerSimpleLabel;
class QHBoxLayout;
class QVBoxLayout;

// The plot: the active series of every group drawn over the whole widget, each
// group on its own vertical scale, with the value of the top and of the bottom
// edge of every group in the upper and lower left corners.
class LineGraph : public QWidget
{
    Q_OBJECT

public:
    explicit LineGraph(QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~LineGraph() override;

    LineValuesGroup* addGroup(QString name, QString suffix, int precision);
    void updateLabels();

    const QList<LineValuesGroup*>& groups() const { return groupList; }
    ProfilerSimpleLabel* maximumLabel() const { return upperLabel; }
    ProfilerSimpleLabel* minimumLabel() const { return lowerLabel; }

public Q_SLOTS:
    void slotGroupDataChanged();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QList<LineValuesGroup*> groupList;
    ProfilerSimpleLabel* upperLabel;
    ProfilerSimpleLabel* lowerLabel;
    QVBoxLayout* labelLayout;
    QHBoxLayout* mainLayout;
    // An update() is asked for and its paint has not come yet.
    bool repaintPending;
};

#endif // LINEGRAPH_H
