#ifndef LINEGRAPHLEGENDITEM_H
#define LINEGRAPHLEGENDITEM_H

#include <QColor>
#include <QString>
#include <QWidget>

class ProfilerSimpleLabel;
class QCheckBox;
class QHBoxLayout;

// One legend row: a check box in the series' colour with the series' name at
// the left, the series' numbers at the right.
class LineGraphLegendItem : public QWidget
{
    Q_OBJECT

public:
    explicit LineGraphLegendItem(QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~LineGraphLegendItem() override;

    void setColor(const QColor& color);
    void setName(const QString& name);
    void setSuffix(const QString& suffix);
    void setPrecision(int precision);
    void setCurrent(float current);
    void setLimit(float limit);
    void setValues(float current, float minimum, float maximum, float limit);
    void updateLabel();

    QString name() const;
    QString text() const;
    bool isChecked() const;
    QCheckBox* checkBox() const { return showBox; }

Q_SIGNALS:
    void checkedStatusChanged(bool checked);

public Q_SLOTS:
    void slotActiveCheckBoxStatusChanged(int state);

private:
    QCheckBox* showBox;
    ProfilerSimpleLabel* valueLabel;
    QHBoxLayout* rowLayout;
    float current;
    float minimum;
    float maximum;
    float limit;
    QString suffix;
    int precision;
};

#endif // LINEGRAPHLEGENDITEM_H
