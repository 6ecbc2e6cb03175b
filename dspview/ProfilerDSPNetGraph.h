#ifndef PROFILERDSPNETGRAPH_H
#define PROFILERDSPNETGRAPH_H

#include <QPoint>
#include <QString>
#include <QWidget>

class DSPNetGraph;
class DSPTree;
class QCheckBox;
class QGroupBox;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QScrollArea;
class QSpinBox;
class QVBoxLayout;

// The upper half of the window: the network graph in a scroll area, and a bar
// of controls below it. Every control becomes one setter call on the graph.
// The panel zooms with the wheel, scrolls by dragging, keeps the selected
// plate in view when a snapshot moves it, saves the graph as an image, and
// passes texts that begin with "Show" from the Highlight field to the target.
class ProfilerDSPNetGraph : public QWidget
{
    Q_OBJECT

public:
    ProfilerDSPNetGraph(DSPTree* tree, QWidget* parent, Qt::WindowFlags flags);
    ~ProfilerDSPNetGraph() override;

    bool eventFilter(QObject* object, QEvent* event) override;

    DSPNetGraph* graphWidget() const { return graph; }
    QScrollArea* graphScrollArea() const { return scrollArea; }

public Q_SLOTS:
    void slotShowExcessiveStateChanged(int state);
    void slotShowInactiveStateChanged(int state);
    void slotShowCPUUsageStateChanged(int state);
    void slotShowVolumeLevelsStateChanged(int state);
    void slotShowGroupsStateChanged(int state);
    void slotShowGuidsStateChanged(int state);
    void slotShowSendsStateChanged(int state);
    void slotShowLegendStateChanged(int state);
    void slotMinCPUValueChanged(int value);
    void slotMaxCPUValueChanged(int value);
    void slotInclusiveCPUStateChanged(int state);
    void slotSaveImage();
    void slotHighlightChanged(QString value);
    void slotSelectedNodePositionChanged(QPoint position, QPoint previousPosition);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

    // Asks where to save the image; a null string means cancelled. Tests
    // override this instead of driving the modal dialog.
    virtual QString askSaveFileName();

private:
    void makeConnections();
    void setUpScrollArea();
    void setUpShowGroup();
    void setUpCPUGroup();
    void setUpLayouts();
    void zoomBy(int steps);

    DSPTree* tree;
    QPoint dragPosition;
    DSPNetGraph* graph;
    QWidget* cornerWidget;
    QScrollArea* scrollArea;
    QCheckBox* showExcessiveCheck;
    QCheckBox* showInactiveCheck;
    QCheckBox* showCPUUsageCheck;
    QCheckBox* showVolumeCheck;
    QCheckBox* showGroupsCheck;
    QCheckBox* showGuidsCheck;
    QCheckBox* showSendsCheck;
    QCheckBox* showLegendCheck;
    QHBoxLayout* showLayout;
    QGroupBox* showGroup;
    QLabel* lowLabel;
    QSpinBox* lowSpinBox;
    QLabel* highLabel;
    QSpinBox* highSpinBox;
    QCheckBox* inclusiveCheck;
    QHBoxLayout* cpuLayout;
    QGroupBox* cpuGroup;
    QPushButton* captureButton;
    QHBoxLayout* bottomLayout;
    QVBoxLayout* mainLayout;
    QLabel* highlightLabel;
    QLineEdit* highlightEdit;
};

#endif // PROFILERDSPNETGRAPH_H
