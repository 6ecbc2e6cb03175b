// The whole window against the simulated target, driven as a user drives it:
// "Connect", a right click on a plate and "Active" in its menu, ticking legend
// rows.
#include "DSPNetGraph.h"
#include "LineGraphControl.h"
#include "LineGraphLegendItem.h"
#include "LineValues.h"
#include "MainForm.h"
#include "SimProcess.h"

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTabWidget>
#include <QtTest>

namespace {

const GraphNode* findPlate(const DSPNetGraph* graph, const QString& name)
{
    for (const GraphNode& node : graph->graphNodes()) {
        if (node.name == name)
            return &node;
    }
    return nullptr;
}

// Picks the action named `text` of the menu that is open at the time.
void chooseFromOpenMenu(const QString& text)
{
    QMenu* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    if (!menu)
        return;
    for (QAction* action : menu->actions()) {
        if (action->text() == text) {
            menu->setActiveAction(action);
            action->trigger();
        }
    }
    menu->close();
}

} // namespace

class TestWindowEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void disabledUnitTurnsInactiveOnScreen();
    void tickedRowsMove();

private:
    void connectWindow();

    SimProcess* sim = nullptr;
    MainForm* window = nullptr;
};

void TestWindowEndToEnd::init()
{
    if (SimProcess::program().isEmpty())
        QSKIP("ZELTO_SIM does not name the simulated target");
    sim = new SimProcess();
    QVERIFY(sim->start());
    window = new MainForm(nullptr, {});
    window->resize(1000, 720);
    window->show();
}

void TestWindowEndToEnd::cleanup()
{
    delete window;
    window = nullptr;
    if (sim)
        QCOMPARE(sim->stop(), 0);
    delete sim;
    sim = nullptr;
}

void TestWindowEndToEnd::connectWindow()
{
    window->findChild<QLineEdit*>(QStringLiteral("portEdit"))
        ->setText(QString::number(sim->port()));
    window->findChild<QPushButton*>(QStringLiteral("connectButton"))->click();
}

void TestWindowEndToEnd::disabledUnitTurnsInactiveOnScreen()
{
    connectWindow();
    DSPNetGraph* graph = window->findChild<DSPNetGraph*>();
    QVERIFY(graph);
    const QString name = QStringLiteral("Music Stream A");
    QTRY_VERIFY_WITH_TIMEOUT(findPlate(graph, name) && findPlate(graph, name)->active, 5000);

    // The plate's middle, in widget pixels.
    const GraphNode* plate = findPlate(graph, name);
    const QPoint click = QPointF(plate->position + QPoint(60, 22)).toPoint() * graph->scale();
    QTimer::singleShot(200, graph, [] { chooseFromOpenMenu(QStringLiteral("Active")); });
    QTest::mouseClick(graph, Qt::RightButton, {}, click);

    QTRY_VERIFY_WITH_TIMEOUT(sim->count(QStringLiteral("command enable id")) > 0, 5000);
    const QString command = sim->lines().filter(QStringLiteral("command enable id")).first();
    QVERIFY2(command.endsWith(QStringLiteral("= 0 (%1)").arg(name)), qPrintable(command));
    QTRY_VERIFY_WITH_TIMEOUT(findPlate(graph, name) && !findPlate(graph, name)->active, 5000);
}

void TestWindowEndToEnd::tickedRowsMove()
{
    connectWindow();
    LineGraphControl* control = window->findChild<LineGraphControl*>();
    QVERIFY(control);
    QTabWidget* tabs = control->tabWidget();
    QList<LineValues*> lines;
    QList<LineGraphLegendItem*> rows;
    for (int page = 0; page < tabs->count(); ++page) {
        LineGraphLegendItem* row = tabs->widget(page)->findChild<LineGraphLegendItem*>();
        QVERIFY(row);
        row->checkBox()->setChecked(true);
        rows.append(row);
        lines.append(control->lineOf(row));
        QVERIFY(lines.last());
    }

    // Live: every ticked series takes new samples and its row shows numbers.
    QTRY_VERIFY_WITH_TIMEOUT(!rows.first()->text().isEmpty(), 5000);
    QList<QList<float>> before;
    for (LineValues* line : lines)
        before.append(line->values());
    QTest::qWait(1000);
    for (int i = 0; i < lines.size(); ++i)
        QVERIFY2(lines[i]->values() != before[i], qPrintable(rows[i]->name()));
}

QTEST_MAIN(TestWindowEndToEnd)
#include "tst_WindowEndToEnd.moc"
