#include "LineGraph.h"

#include "LineValuesGroup.h"
#include "ProfilerSimpleLabel.h"

#include <QBoxLayout>
#include <QPainter>
#include <QPalette>

LineGraph::LineGraph(QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags), m_maximumLabel(new ProfilerSimpleLabel()),
      m_minimumLabel(new ProfilerSimpleLabel()), m_labelLayout(new QVBoxLayout()),
      m_mainLayout(new QHBoxLayout())
{
    m_maximumLabel->setColor(Qt::white);
    m_minimumLabel->setColor(Qt::white);

    m_labelLayout->addWidget(m_maximumLabel);
    m_labelLayout->addStretch(0);
    m_labelLayout->addWidget(m_minimumLabel);
    m_labelLayout->setContentsMargins(3, 1, 3, 1);

    // The labels stand in a column at the left edge; the rest stays free.
    m_mainLayout->addLayout(m_labelLayout);
    m_mainLayout->addStretch(0);
    m_mainLayout->setContentsMargins(0, 0, 0, 0);

    QPalette background;
    background.setBrush(QPalette::Window, QBrush(QColor(49, 56, 64, 255)));
    setPalette(background);
    setAutoFillBackground(true);

    setLayout(m_mainLayout);
}

LineGraph::~LineGraph()
{
    qDeleteAll(m_groups);
    m_groups.clear();
}

LineValuesGroup* LineGraph::addGroup(QString name, QString suffix, int precision)
{
    LineValuesGroup* group = new LineValuesGroup();
    group->setName(name);
    group->setSuffix(suffix);
    group->setPrecision(precision);
    connect(group, SIGNAL(dataChanged()), this, SLOT(slotGroupDataChanged()));
    m_groups.append(group);
    return group;
}

void LineGraph::slotGroupDataChanged()
{
    // A snapshot reaches up to sixteen series; update() merges their signals
    // into one repaint.
    update();
}

void LineGraph::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    // The texts follow the scales at the moment of drawing, not every sample.
    updateLabels();
    painter.setRenderHint(QPainter::Antialiasing, true);
    for (LineValuesGroup* group : std::as_const(m_groups)) {
        group->paint(&painter, size());
    }
}

void LineGraph::updateLabels()
{
    QString upperText;
    QString lowerText;
    for (int i = 0; i < m_groups.size(); ++i) {
        const LineValuesGroup* group = m_groups.at(i);
        const QString upper =
            QString("%1").arg(double(group->maximum()), 0, 'f', group->precision(), QChar(' '));
        // The bottom edge is always zero; no series can move it.
        const QString lower = QString("%1").arg(0.0, 0, 'f', group->precision(), QChar(' '));
        if (i > 0) {
            upperText += " / ";
            lowerText += " / ";
        }
        upperText += upper + group->suffix();
        lowerText += lower + group->suffix();
    }
    m_maximumLabel->setText(upperText);
    m_minimumLabel->setText(lowerText);
}
