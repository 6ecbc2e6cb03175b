#include "../app/FormProbe.h"
#include "DSPNetGraph.h"
#include "LineGraph.h"
#include "LineValues.h"
#include "LineValuesGroup.h"
#include "ProfilerForm.h"
#include "SimProcess.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

const QString connected = QStringLiteral("Connected.");
const QString refused = QStringLiteral("Connection failed... Disconnected.");
const QString targetClosed = QStringLiteral("Target closed... Attempting reconnection.");
const QString socketError = QStringLiteral("A socket error has occurred... Disconnected.");
const QString incompatible =
    QStringLiteral("Connected. (Incompatible version detected, reduced functionality)");

// How the profiler gets its data back after the fault.
enum Recovery
{
    StaysLive,   // the link survives the fault; data keep coming
    Retries,     // the link retries by itself; the target is restarted clean
    ClickConnect // the link gave up; the user connects again to a clean target
};

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

Q_DECLARE_METATYPE(Recovery)

// The whole form against the simulated target: a plate's menu as a user uses it,
// and one target fault per row, after which all views must be fed again.
class TestFaultMatrix : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void fault_data();
    void fault();
    void menuCommandShowsOnScreen_data();
    void menuCommandShowsOnScreen();

private:
    void startTarget(const QStringList& arguments);
    void restartCleanTarget();
    void clickConnect();
    void expectDecoding(int minimumSamples);
    QString look() const { return form->look(); }
    QString status() const { return child<QLabel>("statusLabel")->text(); }
    double graphFingerprint() const;

    template <typename T> T* child(const char* name) const { return form->child<T>(name); }

    SimProcess* sim = nullptr;
    CountingForm* form = nullptr;
    quint16 port = 0;
    std::vector<std::unique_ptr<QSignalSpy>> sampleSpies;
};

void TestFaultMatrix::init()
{
    if (SimProcess::program().isEmpty())
        QSKIP("ZELTO_SIM does not name the simulated target");
    port = SimProcess::freePort();
    QVERIFY(port != 0);
    form = new CountingForm();
    form->resize(800, 600);
    form->show(); // painted offscreen all along, faults included
    child<QLineEdit>("portEdit")->setText(QString::number(port));
    const LineGraph* lineGraph = form->findChild<LineGraph*>();
    QVERIFY(lineGraph);
    QCOMPARE(lineGraph->groups().size(), 4);
    for (LineValuesGroup* group : lineGraph->groups())
        sampleSpies.emplace_back(new QSignalSpy(group->lines().first(), SIGNAL(dataChanged())));
}

void TestFaultMatrix::cleanup()
{
    sampleSpies.clear();
    delete form;
    form = nullptr;
    QCOMPARE(SimProcess::finish(sim, QTest::currentTestFailed()), 0); // no fault ends the simulator
}

void TestFaultMatrix::fault_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("faultLine"); // the target's log line that shows the fault played
    QTest::addColumn<QString>("statusAfter");
    QTest::addColumn<QString>("lookAfter");
    QTest::addColumn<int>("errorBoxes");
    QTest::addColumn<Recovery>("recovery");
    QTest::addColumn<int>("minimumSamples"); // per tab, after the fault

    const QString streaming = QStringLiteral("subscription kind 9/0");
    const QString hostile = QStringLiteral("fault: hostile");

    QTest::newRow("refused at the first attempt")
        << QStringList{"--refuse-for", "1.5"} << "fault: refusing connections" << refused << "Idle"
        << 1 << ClickConnect << 1;
    // The socket still reports its connection when the close is signalled:
    // the bar shows an attempt while the link retries.
    QTest::newRow("closed in the middle of a frame")
        << QStringList{"--close-after", "1", "--close-style", "mid-frame"}
        << "bytes into a snapshot" << targetClosed << "Attempt" << 0 << Retries << 1;
    QTest::newRow("connection reset")
        << QStringList{"--close-after", "1", "--close-style", "reset"}
        << "fault: resetting the connection" << targetClosed << "Attempt" << 0 << Retries << 1;
    // Dropped by the idle timer, the socket is gone already: the bar is Idle
    // although the link retries.
    QTest::newRow("silent with the socket open")
        << QStringList{"--stall-after", "1"} << "fault: stalled" << targetClosed << "Idle" << 0
        << Retries << 1;
    QTest::newRow("frames split into single bytes") << QStringList{"--split", "bytes"} << streaming
                                                    << connected << "Live" << 0 << StaysLive << 1;
    QTest::newRow("unknown kinds interleaved")
        << QStringList{"--noise"} << streaming << connected << "Live" << 0 << StaysLive << 1;
    for (const char* size : {"size0", "size5", "huge"}) { // huge: above the cap
        QTest::addRow("hostile %s", size) << QStringList{"--hostile", size} << hostile
                                          << socketError << "Idle" << 0 << ClickConnect << 1;
    }
    // A snapshot whose input counts claim more records than it holds is
    // dropped, names are read up to their field's end: neither has a status
    // line of its own.
    for (const char* lie : {"lying-count", "unterminated-name"}) {
        QTest::addRow("hostile %s", lie) << QStringList{"--hostile", lie} << hostile << connected
                                         << "Live" << 0 << StaysLive << 1;
    }
    for (const char* kind : {"1", "7", "3", "4", "5", "9"}) {
        QTest::addRow("incompatible version of kind %s", kind)
            << QStringList{"--bad-version", kind}
            << QStringLiteral("fault: every second frame of kind %1").arg(QLatin1String(kind))
            << incompatible << "Live" << 0 << StaysLive << 1;
    }
    // 25,000 frames of each sample kind after 2 s of silence: every tab must
    // take its 100 newest at least, and the link must not time out.
    QTest::newRow("burst of 100,000 frames after a pause")
        << QStringList{"--burst", "100000"} << "fault: quiet for" << connected << "Live" << 0
        << StaysLive << 100;
}

void TestFaultMatrix::fault()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, faultLine);
    QFETCH(QString, statusAfter);
    QFETCH(QString, lookAfter);
    QFETCH(int, errorBoxes);
    QFETCH(Recovery, recovery);
    QFETCH(int, minimumSamples);

    startTarget(arguments);
    clickConnect();
    QVERIFY2(sim->waitForLine(faultLine, 15000), qPrintable(faultLine));

    if (recovery != StaysLive) {
        // The silent target is found out by the 3000 ms idle timer.
        QTRY_COMPARE_WITH_TIMEOUT(status(), statusAfter, 6000);
        QCOMPARE(look(), lookAfter);
        QCOMPARE(form->errorBoxes, errorBoxes);
        // The target comes back; the link finds it by its retry timer or at the
        // next click on "Connect".
        if (arguments.contains(QStringLiteral("--refuse-for")))
            QVERIFY(sim->waitForLine(QStringLiteral("listening on"), 5000));
        else
            restartCleanTarget();
        if (QTest::currentTestFailed())
            return;
        if (recovery == ClickConnect)
            clickConnect();
        statusAfter = connected;
        lookAfter = QStringLiteral("Live");
    }
    expectDecoding(minimumSamples);
    if (QTest::currentTestFailed())
        return;
    // A spoiled frame that shares a batch with a newer snapshot is never read;
    // the next one (every fifth or every second) brings the line. After a
    // reconnection, no stale half frame or broken header of the old connection
    // spoils the new one.
    QTRY_COMPARE_WITH_TIMEOUT(status(), statusAfter, 5000);
    QCOMPARE(look(), lookAfter);
    QCOMPARE(form->errorBoxes, errorBoxes);
}

// A right click on a plate and an entry of its real menu: the target logs the
// command and the plate comes back in its new state.
void TestFaultMatrix::menuCommandShowsOnScreen_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QString>("logged");

    QTest::newRow("Active disables") << "Active" << QString("command enable id");
    QTest::newRow("Bypass bypasses") << "Bypass" << QString("command bypass id");
}

void TestFaultMatrix::menuCommandShowsOnScreen()
{
    QFETCH(QString, entry);
    QFETCH(QString, logged);
    startTarget({});
    QVERIFY(sim->waitForLine(QStringLiteral("listening on"), 10000));
    clickConnect();
    DSPNetGraph* graph = form->findChild<DSPNetGraph*>();
    const QString name = QStringLiteral("Music Stream A");
    const bool bypass = entry == QLatin1String("Bypass");
    const auto shows = [&](bool changed) {
        const GraphNode* plate = findPlate(graph, name);
        return plate && (bypass ? plate->bypass : !plate->active) == changed;
    };
    QTRY_VERIFY_WITH_TIMEOUT(shows(false), 5000);

    const GraphNode* plate = findPlate(graph, name);
    const QPoint click = QPointF(plate->position + QPoint(60, 22)).toPoint() * graph->scale();
    QTimer::singleShot(200, graph, [entry] { chooseFromOpenMenu(entry); });
    QTest::mouseClick(graph, Qt::RightButton, {}, click);

    QTRY_VERIFY_WITH_TIMEOUT(sim->count(logged) > 0, 5000);
    const QString command = sim->lines().filter(logged).first();
    QVERIFY2(command.endsWith(QStringLiteral("= %1 (%2)").arg(int(bypass)).arg(name)),
             qPrintable(command));
    QTRY_VERIFY_WITH_TIMEOUT(shows(true), 5000);
}

// A target that refuses at first prints its fault before it listens: any first line will do.
void TestFaultMatrix::startTarget(const QStringList& arguments)
{
    sim = new SimProcess();
    sim->launch(arguments + QStringList{"--port", QString::number(port)});
    QVERIFY(sim->waitForLine(QString(), 10000));
}

void TestFaultMatrix::restartCleanTarget()
{
    QCOMPARE(SimProcess::finish(sim, false), 0);
    startTarget(QStringList());
    QVERIFY(sim->waitForLine(QStringLiteral("listening on"), 10000));
}

void TestFaultMatrix::clickConnect()
{
    QTest::mouseClick(child<QPushButton>("connectButton"), Qt::LeftButton);
}

void TestFaultMatrix::expectDecoding(int minimumSamples)
{
    for (const auto& spy : sampleSpies)
        spy->clear();
    const auto fewer = [](const auto& a, const auto& b) { return a->count() < b->count(); };
    const double before = graphFingerprint();
    QTRY_VERIFY_WITH_TIMEOUT(
        (*std::min_element(sampleSpies.cbegin(), sampleSpies.cend(), fewer))->count() >=
            minimumSamples,
        15000);
    QTRY_VERIFY_WITH_TIMEOUT(graphFingerprint() != before, 5000);
    QVERIFY(!form->findChild<DSPNetGraph*>()->graphNodes().isEmpty());
}

// The simulated loads and levels move with every snapshot.
double TestFaultMatrix::graphFingerprint() const
{
    const QList<GraphNode>& nodes = form->findChild<DSPNetGraph*>()->graphNodes();
    double sum = nodes.size();
    for (const GraphNode& node : nodes) {
        sum += double(node.inclusiveCPU) + double(node.exclusiveCPU);
        for (float level : node.levels)
            sum += double(level);
    }
    return sum;
}

QTEST_MAIN(TestFaultMatrix)
#include "tst_FaultMatrix.moc"
