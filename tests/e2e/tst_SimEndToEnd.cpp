#include "DSPTree.h"
#include "ProfilerHarness.h"
#include "ProfilerNetwork.h"
#include "SimProcess.h"

#include <QtTest>

namespace {

const QString socketError = QStringLiteral("A socket error has occurred... Disconnected.");

} // namespace

class TestSimEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void commandRoundTrip_data();
    void commandRoundTrip();
    void largeNetworkArrives();
    void secondClientWaits();

private:
    SimProcess* sim = nullptr;
};

void TestSimEndToEnd::init()
{
    if (SimProcess::program().isEmpty())
        QSKIP("ZELTO_SIM does not name the simulated target");
    sim = new SimProcess();
}

void TestSimEndToEnd::cleanup()
{
    QCOMPARE(SimProcess::finish(sim, QTest::currentTestFailed()), 0); // SIGTERM ends it cleanly
}

void TestSimEndToEnd::commandRoundTrip_data()
{
    QTest::addColumn<QString>("unit");
    QTest::addColumn<bool>("bypassCommand");
    QTest::addColumn<bool>("value");
    QTest::addColumn<QString>("logged");

    QTest::newRow("disable") << "Wind Channel" << false << false << " = 0 (Wind Channel)";
    QTest::newRow("bypass") << "Rifle Channel" << true << true << " = 1 (Rifle Channel)";
    QTest::newRow("unknown unit") << QString() << false << false << "for an unknown unit: ignored";
}

void TestSimEndToEnd::commandRoundTrip()
{
    QFETCH(QString, unit);
    QFETCH(bool, bypassCommand);
    QFETCH(bool, value);
    QFETCH(QString, logged);
    QVERIFY(sim->start());
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(profiler.findNode(QStringLiteral("Wind Channel")), 5000);

    const quint64 id = unit.isEmpty() ? Q_UINT64_C(0xDEAD) : profiler.findNode(unit)->id;
    if (bypassCommand)
        profiler.tree->setDSPBypass(id, value);
    else
        profiler.tree->setDSPEnabled(id, value);
    const QString command =
        bypassCommand ? QStringLiteral("command bypass") : QStringLiteral("command enable");
    QVERIFY(sim->waitForLine(command, 5000));
    QVERIFY(sim->count(logged) == 1);
    if (unit.isEmpty())
        return;
    // The state comes back in a later snapshot; the pointer changes with each.
    QTRY_VERIFY_WITH_TIMEOUT(bypassCommand ? profiler.findNode(unit)->bypass == value
                                           : profiler.findNode(unit)->active == value,
                             3000);
}

void TestSimEndToEnd::largeNetworkArrives()
{
    QVERIFY(sim->start({"--nodes", "100000"}));
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(profiler.tree->nodes.size() >= 100000, 30000);
    profiler.resetCounts();
    QTRY_VERIFY_WITH_TIMEOUT(profiler.frames(1) >= 5, 20000);
    QCOMPARE(profiler.statusCount(socketError), 0);
}

void TestSimEndToEnd::secondClientWaits()
{
    QVERIFY(sim->start());
    ProfilerHarness first;
    ProfilerHarness second;
    first.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(first.frames(1) > 0, 5000);
    second.connectTo(sim->port());
    QVERIFY(sim->waitForLine(QStringLiteral("waits: another client is being served"), 5000));

    first.resetCounts();
    QTRY_VERIFY_WITH_TIMEOUT(first.frames(1) >= 5, 5000);
    QCOMPARE(second.frames(1), 0);
    first.network->disconnectFromTarget();
    QTRY_VERIFY_WITH_TIMEOUT(second.frames(1) > 0, 5000);
    QCOMPARE(sim->count(QStringLiteral("subscription kind 1/0")), 2);
}

QTEST_GUILESS_MAIN(TestSimEndToEnd)
#include "tst_SimEndToEnd.moc"
