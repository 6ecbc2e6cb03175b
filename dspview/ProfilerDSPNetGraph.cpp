#include "ProfilerDSPNetGraph.h"

#include "DSPNetGraph.h"
#include "DSPTree.h"

#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSpinBox>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <algorithm>

namespace {

const QColor backdropColor(49, 56, 64, 255);
const int wheelNotch = 120;
const int dragFactor = 2;

// A check box's partly checked state leaves the option as it is.
void applyState(int state, DSPNetGraph* graph, void (DSPNetGraph::*setter)(bool))
{
    if (state == Qt::Unchecked)
        (graph->*setter)(false);
    else if (state == Qt::Checked)
        (graph->*setter)(true);
}

int roundHalfAway(float value)
{
    return int(value >= 0.0f ? value + 0.5f : value - 0.5f);
}

} // namespace

ProfilerDSPNetGraph::ProfilerDSPNetGraph(DSPTree* tree, QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags), tree(tree), graph(new DSPNetGraph(tree, nullptr, {})),
      cornerWidget(new QWidget), scrollArea(new QScrollArea), showExcessiveCheck(new QCheckBox),
      showInactiveCheck(new QCheckBox), showCPUUsageCheck(new QCheckBox),
      showVolumeCheck(new QCheckBox), showGroupsCheck(new QCheckBox), showGuidsCheck(new QCheckBox),
      showSendsCheck(new QCheckBox), showLegendCheck(new QCheckBox), showLayout(new QHBoxLayout),
      showGroup(new QGroupBox), lowLabel(new QLabel), lowSpinBox(new QSpinBox),
      highLabel(new QLabel), highSpinBox(new QSpinBox), inclusiveCheck(new QCheckBox),
      cpuLayout(new QHBoxLayout), cpuGroup(new QGroupBox), captureButton(new QPushButton),
      bottomLayout(new QHBoxLayout), mainLayout(new QVBoxLayout), highlightLabel(new QLabel),
      highlightEdit(new QLineEdit)
{
    lowSpinBox->setObjectName(QStringLiteral("lowSpinBox"));
    highSpinBox->setObjectName(QStringLiteral("highSpinBox"));
    cpuGroup->setObjectName(QStringLiteral("cpuGroup"));
    highlightEdit->setObjectName(QStringLiteral("highlightEdit"));
    // Connected before the controls get their values, so that the start
    // values reach the graph through the same slots as the user's changes.
    makeConnections();
    graph->setCursor(Qt::OpenHandCursor);
    graph->installEventFilter(this);
    setUpScrollArea();
    setUpShowGroup();
    setUpCPUGroup();
    setUpLayouts();
}

ProfilerDSPNetGraph::~ProfilerDSPNetGraph() = default;

void ProfilerDSPNetGraph::makeConnections()
{
    connect(showExcessiveCheck, SIGNAL(stateChanged(int)), this,
            SLOT(slotShowExcessiveStateChanged(int)));
    connect(showInactiveCheck, SIGNAL(stateChanged(int)), this,
            SLOT(slotShowInactiveStateChanged(int)));
    connect(showCPUUsageCheck, SIGNAL(stateChanged(int)), this,
            SLOT(slotShowCPUUsageStateChanged(int)));
    connect(showVolumeCheck, SIGNAL(stateChanged(int)), this,
            SLOT(slotShowVolumeLevelsStateChanged(int)));
    connect(showGroupsCheck, SIGNAL(stateChanged(int)), this,
            SLOT(slotShowGroupsStateChanged(int)));
    connect(showGuidsCheck, SIGNAL(stateChanged(int)), this, SLOT(slotShowGuidsStateChanged(int)));
    connect(showSendsCheck, SIGNAL(stateChanged(int)), this, SLOT(slotShowSendsStateChanged(int)));
    connect(showLegendCheck, SIGNAL(stateChanged(int)), this,
            SLOT(slotShowLegendStateChanged(int)));
    connect(lowSpinBox, SIGNAL(valueChanged(int)), this, SLOT(slotMinCPUValueChanged(int)));
    connect(highSpinBox, SIGNAL(valueChanged(int)), this, SLOT(slotMaxCPUValueChanged(int)));
    connect(inclusiveCheck, SIGNAL(stateChanged(int)), this,
            SLOT(slotInclusiveCPUStateChanged(int)));
    connect(captureButton, SIGNAL(clicked()), this, SLOT(slotSaveImage()));
    connect(highlightEdit, SIGNAL(textChanged(QString)), this, SLOT(slotHighlightChanged(QString)));
    connect(graph, SIGNAL(selectedNodePositionChanged(QPoint, QPoint)), this,
            SLOT(slotSelectedNodePositionChanged(QPoint, QPoint)));
}

// The dark backdrop belongs to the scroll area, not to the graph, so a saved
// image stays transparent around the plates.
void ProfilerDSPNetGraph::setUpScrollArea()
{
    QPalette palette;
    palette.setBrush(QPalette::Window, scrollArea->verticalScrollBar()->palette().button());
    cornerWidget->setPalette(palette);
    cornerWidget->setAutoFillBackground(true);
    palette.setBrush(QPalette::Window, QBrush(backdropColor));
    scrollArea->setPalette(palette);
    scrollArea->setAutoFillBackground(true);
    scrollArea->installEventFilter(this);
    scrollArea->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    scrollArea->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    scrollArea->setCornerWidget(cornerWidget);
    scrollArea->setWidget(graph);
}

void ProfilerDSPNetGraph::setUpShowGroup()
{
    const struct
    {
        QCheckBox* check;
        const char* text;
        bool checked;
    } boxes[] = {{showExcessiveCheck, "Excessive Inputs", true},
                 {showInactiveCheck, "Inactive Inputs", true},
                 {showCPUUsageCheck, "CPU Usage", false},
                 {showVolumeCheck, "Volume", false},
                 {showGroupsCheck, "Groups", true},
                 {showGuidsCheck, "Guids", false},
                 {showSendsCheck, "Sends", true},
                 {showLegendCheck, "Legend", false}};
    for (const auto& box : boxes) {
        box.check->setText(QString::fromLatin1(box.text));
        box.check->setChecked(box.checked);
    }
    showLayout->setContentsMargins(5, 5, 5, 5);
    for (const auto& box : boxes)
        showLayout->addWidget(box.check);
    showGroup->setTitle(QStringLiteral("Show"));
    showGroup->setLayout(showLayout);
}

// Setting High to 20 already tells the graph its high end and limits Low;
// from then on each spin box keeps the other's range on its own side.
void ProfilerDSPNetGraph::setUpCPUGroup()
{
    lowLabel->setText(QStringLiteral("Low:"));
    lowSpinBox->setSuffix(QStringLiteral("%"));
    lowSpinBox->setValue(0);
    lowSpinBox->setRange(0, 19);
    highLabel->setText(QStringLiteral("High:"));
    highSpinBox->setSuffix(QStringLiteral("%"));
    highSpinBox->setValue(20);
    highSpinBox->setRange(1, 100);
    inclusiveCheck->setText(QStringLiteral("Inclusive"));
    inclusiveCheck->setChecked(false);
    cpuLayout->setContentsMargins(5, 5, 5, 5);
    cpuLayout->addWidget(lowLabel);
    cpuLayout->addWidget(lowSpinBox);
    cpuLayout->addWidget(highLabel);
    cpuLayout->addWidget(highSpinBox);
    cpuLayout->addWidget(inclusiveCheck);
    cpuGroup->setTitle(QStringLiteral("CPU Usage"));
    cpuGroup->setLayout(cpuLayout);
    cpuGroup->setEnabled(false);
}

void ProfilerDSPNetGraph::setUpLayouts()
{
    captureButton->setText(QStringLiteral("Screen Capture"));
    highlightLabel->setText(QStringLiteral("Hightlight:"));
    bottomLayout->addWidget(showGroup);
    bottomLayout->addWidget(cpuGroup);
    bottomLayout->addStretch(0);
    bottomLayout->addWidget(highlightLabel);
    bottomLayout->addWidget(highlightEdit);
    bottomLayout->addWidget(captureButton);
    bottomLayout->setSpacing(6);
    mainLayout->setContentsMargins(0, 0, 0, 0);
    mainLayout->addWidget(scrollArea);
    mainLayout->addLayout(bottomLayout);
    mainLayout->setSpacing(4);
    setLayout(mainLayout);
}

void ProfilerDSPNetGraph::slotShowExcessiveStateChanged(int state)
{
    applyState(state, graph, &DSPNetGraph::setShowExcessive);
}

void ProfilerDSPNetGraph::slotShowInactiveStateChanged(int state)
{
    applyState(state, graph, &DSPNetGraph::setShowInactive);
}

void ProfilerDSPNetGraph::slotShowCPUUsageStateChanged(int state)
{
    if (state == Qt::PartiallyChecked)
        return;
    const bool on = state == Qt::Checked;
    graph->setShowCPUUsage(on);
    cpuGroup->setEnabled(on);
}

void ProfilerDSPNetGraph::slotShowVolumeLevelsStateChanged(int state)
{
    applyState(state, graph, &DSPNetGraph::setShowVolumeLevels);
}

void ProfilerDSPNetGraph::slotShowGroupsStateChanged(int state)
{
    applyState(state, graph, &DSPNetGraph::setShowGroups);
}

void ProfilerDSPNetGraph::slotShowGuidsStateChanged(int state)
{
    applyState(state, graph, &DSPNetGraph::setShowGuids);
}

void ProfilerDSPNetGraph::slotShowSendsStateChanged(int state)
{
    applyState(state, graph, &DSPNetGraph::setShowSends);
}

void ProfilerDSPNetGraph::slotShowLegendStateChanged(int state)
{
    applyState(state, graph, &DSPNetGraph::setShowLegend);
}

void ProfilerDSPNetGraph::slotMinCPUValueChanged(int value)
{
    highSpinBox->setRange(value + 1, 100);
    graph->setMinCPU(float(value) / 100.0f);
}

void ProfilerDSPNetGraph::slotMaxCPUValueChanged(int value)
{
    lowSpinBox->setRange(0, value - 1);
    graph->setMaxCPU(float(value) / 100.0f);
}

void ProfilerDSPNetGraph::slotInclusiveCPUStateChanged(int state)
{
    applyState(state, graph, &DSPNetGraph::setInclusiveCPU);
}

// The image is always made at scale 1.0, whatever the zoom on the screen.
void ProfilerDSPNetGraph::slotSaveImage()
{
    const QString fileName = askSaveFileName();
    if (fileName.isNull())
        return;
    const float kept = graph->scale();
    graph->setScale(1.0f);
    graph->saveImage(fileName);
    graph->setScale(kept);
}

QString ProfilerDSPNetGraph::askSaveFileName()
{
    return QFileDialog::getSaveFileName(this, QStringLiteral("Save Image"),
                                        QDir::homePath() + QStringLiteral("/dspnet_capture.png"),
                                        QStringLiteral("Image Files (*.png *.jpg *.bmp)"));
}

// A text that begins with the word "Show", in any case, is also a command to
// the target; every keystroke in such a text sends it again.
void ProfilerDSPNetGraph::slotHighlightChanged(QString value)
{
    if (value.startsWith(QLatin1String("Show"), Qt::CaseInsensitive)) {
        tree->sendDSPText(value);
        tree->sendGroupText(value);
    }
    graph->setHighlightText(value);
    graph->repaint();
}

// Keeps the selected plate under the user's eye when a snapshot moves it.
void ProfilerDSPNetGraph::slotSelectedNodePositionChanged(QPoint position, QPoint previousPosition)
{
    const float s = graph->scale();
    const int dx = roundHalfAway(float(position.x() - previousPosition.x()) * s);
    const int dy = roundHalfAway(float(position.y() - previousPosition.y()) * s);
    QScrollBar* horizontal = scrollArea->horizontalScrollBar();
    QScrollBar* vertical = scrollArea->verticalScrollBar();
    horizontal->setValue(horizontal->value() + dx);
    vertical->setValue(vertical->value() + dy);
}

void ProfilerDSPNetGraph::mousePressEvent(QMouseEvent* event)
{
    dragPosition = event->pos();
    graph->setCursor(Qt::ClosedHandCursor);
}

// The view moves twice as far as the mouse.
void ProfilerDSPNetGraph::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint old = dragPosition;
    dragPosition = event->pos();
    QScrollBar* horizontal = scrollArea->horizontalScrollBar();
    QScrollBar* vertical = scrollArea->verticalScrollBar();
    horizontal->setValue(horizontal->value() + (old.x() - dragPosition.x()) * dragFactor);
    vertical->setValue(vertical->value() + (old.y() - dragPosition.y()) * dragFactor);
}

void ProfilerDSPNetGraph::mouseReleaseEvent(QMouseEvent*)
{
    graph->setCursor(Qt::OpenHandCursor);
}

// The wheel zooms, one notch a tenth of scale, and never scrolls: every wheel
// event on the graph or the scroll area is eaten.
bool ProfilerDSPNetGraph::eventFilter(QObject* object, QEvent* event)
{
    if (event->type() != QEvent::Wheel)
        return QObject::eventFilter(object, event);
    const int steps = static_cast<QWheelEvent*>(event)->angleDelta().y() / wheelNotch;
    if (steps != 0)
        zoomBy(steps);
    return true;
}

// The selected plate stays where it stands on the screen; without a selection
// the centre of the view does.
void ProfilerDSPNetGraph::zoomBy(int steps)
{
    QScrollBar* horizontal = scrollArea->horizontalScrollBar();
    QScrollBar* vertical = scrollArea->verticalScrollBar();
    const int viewWidth = scrollArea->width();
    const int viewHeight = scrollArea->height();
    const int oldX = horizontal->value();
    const int oldY = vertical->value();
    const QSize oldSize = graph->size();
    const float oldScale = graph->scale();
    graph->setScale(oldScale + float(steps) / 10.0f);
    const float newScale = graph->scale();
    const QSize newSize = graph->size();
    if (newSize.width() <= 0 || newSize.height() <= 0)
        return;
    int x = 0;
    int y = 0;
    QRectF selected;
    if (graph->selectedNodeRect(&selected)) {
        const QPointF c = selected.center();
        x = int(double(newScale) * c.x() - double(oldScale) * c.x()) + horizontal->value();
        y = int(double(newScale) * c.y() - double(oldScale) * c.y()) + vertical->value();
    } else {
        // A graph that never had a size (no layout yet) has no centre to keep.
        const int halfWidth = viewWidth / 2;
        const int halfHeight = viewHeight / 2;
        if (oldSize.width() > 0)
            x = int(float(newSize.width()) * float(halfWidth + oldX) / float(oldSize.width())) -
                halfWidth;
        if (oldSize.height() > 0)
            y = int(float(newSize.height()) * float(halfHeight + oldY) / float(oldSize.height())) -
                halfHeight;
    }
    horizontal->setValue(std::clamp(x, 0, newSize.width()));
    vertical->setValue(std::clamp(y, 0, newSize.height()));
}
