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
    : QWidget(parent, flags), m_checkBox(new QCheckBox()), m_valueLabel(new ProfilerSimpleLabel()),
      m_rowLayout(new QHBoxLayout()), m_current(0.0f), m_minimum(0.0f), m_maximum(0.0f),
      m_limit(0.0f), m_precision(0)
{
    connect(m_checkBox, SIGNAL(stateChanged(int)), this,
            SLOT(slotActiveCheckBoxStatusChanged(int)));

    m_rowLayout->setContentsMargins(0, 0, 0, 0);
    m_rowLayout->setSpacing(15);
    m_rowLayout->addWidget(m_checkBox);
    m_rowLayout->addStretch(0);
    m_rowLayout->addWidget(m_valueLabel);
    setLayout(m_rowLayout);
}

LineGraphLegendItem::~LineGraphLegendItem() = default;

void LineGraphLegendItem::setColor(const QColor& color)
{
    // Unchecked rows show only a black border; a checked row is filled with
    // the colour of its line.
    m_checkBox->setStyleSheet(QString("QCheckBox::indicator { border:1px solid black; } "
                                      "QCheckBox::indicator:checked { background-color:") +
                              color.name() + QString("; }"));
}

void LineGraphLegendItem::setName(const QString& name)
{
    m_checkBox->setText(name);
}

void LineGraphLegendItem::setSuffix(const QString& suffix)
{
    if (suffix == m_suffix) {
        return;
    }
    m_suffix = suffix;
    updateLabel();
}

void LineGraphLegendItem::setPrecision(int precision)
{
    if (precision == m_precision) {
        return;
    }
    m_precision = precision;
    updateLabel();
}

void LineGraphLegendItem::setCurrent(float current)
{
    if (current == m_current) {
        return;
    }
    m_current = current;
    updateLabel();
}

void LineGraphLegendItem::setLimit(float limit)
{
    if (limit == m_limit) {
        return;
    }
    m_limit = limit;
    updateLabel();
}

void LineGraphLegendItem::setValues(float current, float minimum, float maximum, float limit)
{
    m_current = current;
    m_minimum = minimum;
    m_maximum = maximum;
    m_limit = limit;
    updateLabel();
}

void LineGraphLegendItem::updateLabel()
{
    m_valueLabel->setText(QString("%1 [%2 - %3] / %4%5")
                              .arg(formatNumber(m_current, m_precision),
                                   formatNumber(m_minimum, m_precision),
                                   formatNumber(m_maximum, m_precision),
                                   formatNumber(m_limit, m_precision), m_suffix));
}

QString LineGraphLegendItem::name() const
{
    return m_checkBox->text();
}

QString LineGraphLegendItem::text() const
{
    return m_valueLabel->text();
}

bool LineGraphLegendItem::isChecked() const
{
    return m_checkBox->isChecked();
}

void LineGraphLegendItem::slotActiveCheckBoxStatusChanged(int /*state*/)
{
    Q_EMIT checkedStatusChanged(m_checkBox->isChecked());
}
