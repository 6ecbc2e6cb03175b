#include "LineGraphLegendItem.h"

#include "ProfilerSimpleLabel.h"

#include <QBoxLayout>
#include <QCheckBox>

namespace {
QString formatNumber(float value, int precision)
{
    return QString::number(double(value), 'f', precision);
}
} // namespace

LineGraphLegendItem::LineGraphLegendItem(QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags), showBox(new QCheckBox()), valueLabel(new ProfilerSimpleLabel()),
      rowLayout(new QHBoxLayout()), current(0.0f), minimum(0.0f), maximum(0.0f), limit(0.0f),
      precision(0)
{
    connect(showBox, SIGNAL(stateChanged(int)), this, SLOT(slotActiveCheckBoxStatusChanged(int)));

    rowLayout->setContentsMargins(0, 0, 0, 0);
    rowLayout->setSpacing(15);
    rowLayout->addWidget(showBox);
    rowLayout->addStretch(0);
    rowLayout->addWidget(valueLabel);
    setLayout(rowLayout);
}

LineGraphLegendItem::~LineGraphLegendItem() = default;

void LineGraphLegendItem::setColor(const QColor& color)
{
    // Unchecked rows show only a black border; a checked row is filled with
    // the colour of its line.
    showBox->setStyleSheet(QString("QCheckBox::indicator { border:1px solid black; } "
                                   "QCheckBox::indicator:checked { background-color:") +
                           color.name() + QString("; }"));
}

void LineGraphLegendItem::setName(const QString& name)
{
    showBox->setText(name);
}

void LineGraphLegendItem::setSuffix(const QString& value)
{
    if (value == suffix) {
        return;
    }
    suffix = value;
    updateLabel();
}

void LineGraphLegendItem::setPrecision(int value)
{
    if (value == precision) {
        return;
    }
    precision = value;
    updateLabel();
}

void LineGraphLegendItem::setCurrent(float value)
{
    if (value == current) {
        return;
    }
    current = value;
    updateLabel();
}

void LineGraphLegendItem::setLimit(float value)
{
    if (value == limit) {
        return;
    }
    limit = value;
    updateLabel();
}

void LineGraphLegendItem::setValues(float newCurrent, float newMinimum, float newMaximum,
                                    float newLimit)
{
    // The text, once made, is made of these four numbers and nothing else that
    // changes here.
    if (newCurrent == current && newMinimum == minimum && newMaximum == maximum &&
        newLimit == limit && !valueLabel->text().isEmpty()) {
        return;
    }
    current = newCurrent;
    minimum = newMinimum;
    maximum = newMaximum;
    limit = newLimit;
    updateLabel();
}

void LineGraphLegendItem::updateLabel()
{
    valueLabel->setText(QString("%1 [%2 - %3] / %4%5")
                            .arg(formatNumber(current, precision), formatNumber(minimum, precision),
                                 formatNumber(maximum, precision), formatNumber(limit, precision),
                                 suffix));
}

QString LineGraphLegendItem::name() const
{
    return showBox->text();
}

QString LineGraphLegendItem::text() const
{
    return valueLabel->text();
}

bool LineGraphLegendItem::isChecked() const
{
    return showBox->isChecked();
}

void LineGraphLegendItem::slotActiveCheckBoxStatusChanged(int /*state*/)
{
    Q_EMIT checkedStatusChanged(showBox->isChecked());
}
