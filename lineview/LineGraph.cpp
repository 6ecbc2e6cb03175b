#include "LineGraph.h"

#include "LineValuesGroup.h"
#include "ProfilerSimpleLabel.h"

#include <QBoxLayout>
#include <QPainter>
#include <QPalette>

LineGraph::LineGraph(QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags), upperLabel(new ProfilerSimpleLabel()),
      lowerLabel(new ProfilerSimpleLabel()), labelLayout(new QVBoxLayout()),
      mainLayout(new QHBoxLayout()), repaintPending(false)
{
    upperLabel->setColor(Qt::white);
    lowerLabel->setColor(Qt::white);

    labelLayout->addWidget(upperLabel);
    labelLayout->addStretch(0);
    labelLayout->addWidget(lowerLabel);
    labelLayout->setContentsMargins(3, 1, 3, 1);

    // The labels stand in a column at the left edge; the rest stays free.
    mainLayout->addLayout(labelLayout);
    mainLayout->addStretch(0);
    mainLayout->setContentsMargins(0, 0, 0, 0);

    QPalette background;
    background.setBrush(QPalette::Window, QBrush(QColor(49, 56, 64, 255)));
    setPalette(background);
    setAutoFillBackground(true);

    setLayout(mainLayout);
}

LineGraph::~LineGraph()
{
    qDeleteAll(groupList);
    groupList.clear();
}

LineValuesGroup* LineGraph::addGroup(QString name, QString suffix, int precision)
{
    LineValuesGroup* group = new LineValuesGroup();
    group->setName(name);
    group->setSuffix(suffix);
    group->setPrecision(precision);
    connect(group, SIGNAL(dataChanged()), this, SLOT(slotGroupDataChanged()));
    groupList.append(group);
    return group;
}

void LineGraph::slotGroupDataChanged()
{
    // A snapshot reaches up to sixteen series, and a burst of snapshots many
    // times that; one update() stands for all of them until the paint comes.
    if (repaintPending) {
        return;
    }
    repaintPending = true;
    update();
}

void LineGraph::paintEvent(QPaintEvent* /*event*/)
{
    repaintPending = false;
    QPainter painter(this);
    // The texts follow the scales at the moment of drawing, not every sample.
    updateLabels();
    painter.setRenderHint(QPainter::Antialiasing, true);
    for (LineValuesGroup* group : std::as_const(groupList)) {
        group->paint(&painter, size());
    }
}

void LineGraph::updateLabels()
{
    QString upperText;
    QString lowerText;
    for (int i = 0; i < groupList.size(); ++i) {
        const LineValuesGroup* group = groupList.at(i);
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
    upperLabel->setText(upperText);
    lowerLabel->setText(lowerText);
}
