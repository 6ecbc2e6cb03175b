#include "DSPTree.h"
#include "ProfilerHarness.h"
#include "ProfilerNetwork.h"
#include "SimProcess.h"

#include <QTcpSocket>
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
    void largeNetworkArrives();
    void secondClientWaits();
    void badClientIsDropped_data();
    void badClientIsDropped();
    void everyVersionDecodes_data();
    void everyVersionDecodes();

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
    // SIGTERM ends it cleanly; no client, however bad, ends it before.
    QCOMPARE(SimProcess::finish(sim, QTest::currentTestFailed()), 0);
}

void TestSimEndToEnd::largeNetworkArrives()
{
    QVERIFY(sim->start({"--nodes", "100000"}));
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(profiler.tree->nodes.size() >= 100000, 30000);
    profiler.snapshots = 0;
    QTRY_VERIFY_WITH_TIMEOUT(profiler.snapshots >= 5, 20000);
    QCOMPARE(profiler.statusCount(socketError), 0);
}

void TestSimEndToEnd::secondClientWaits()
{
    QVERIFY(sim->start());
    ProfilerHarness first;
    ProfilerHarness second;
    first.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(first.snapshots > 0, 5000);
    second.connectTo(sim->port());
    QVERIFY(sim->waitForLine(QStringLiteral("waits: another client is being served"), 5000));

    first.snapshots = 0;
    QTRY_VERIFY_WITH_TIMEOUT(first.snapshots >= 5, 5000);
    QCOMPARE(second.snapshots, 0);
    first.network->disconnectFromTarget();
    QTRY_VERIFY_WITH_TIMEOUT(second.snapshots > 0, 5000);
    QCOMPARE(sim->count(QStringLiteral("subscription kind 1/0")), 2);
}

void TestSimEndToEnd::badClientIsDropped_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("logged");

    QTest::newRow("text instead of frames")
        << QByteArray("GET / HTTP/1.1\r\n\r\n") << "frame size 542393671 is above";
    QTest::newRow("truncated frame")
        << QByteArray::fromHex("120000000000000000000000010064") // 15 of a subscription's 18
        << "middle of a frame (15 of 18 bytes)";
}

void TestSimEndToEnd::badClientIsDropped()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, logged);
    QVERIFY(sim->start());
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, sim->port());
    QVERIFY(client.waitForConnected(3000));
    client.write(bytes);
    client.flush();
    client.disconnectFromHost();
    QVERIFY(sim->waitForLine(logged, 5000));
    QVERIFY(sim->waitForLine(QStringLiteral("client left"), 5000));

    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(profiler.snapshots > 0, 5000);
}

void TestSimEndToEnd::everyVersionDecodes_data()
{
    QTest::addColumn<int>("version");
    // What the version carries: 64-bit ids (not sign-extended 32-bit ones), group ids,
    // volume levels, send and sidechain flags, sample rate and block length.
    QTest::addColumn<QString>("carries");

    QTest::newRow("v0") << 0 << "";
    QTest::newRow("v1") << 1 << "";
    QTest::newRow("v2") << 2 << "ids levels";
    QTest::newRow("v3") << 3 << "ids levels";
    QTest::newRow("v4") << 4 << "ids groups levels";
    QTest::newRow("v5") << 5 << "ids groups levels";
    QTest::newRow("v6") << 6 << "ids groups levels flags timing";
}

void TestSimEndToEnd::everyVersionDecodes()
{
    QFETCH(int, version);
    QFETCH(QString, carries);
    QVERIFY(sim->start({QStringLiteral("--dsp-version"), QString::number(version)}));
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QTRY_COMPARE_WITH_TIMEOUT(profiler.tree->networkVersion, version, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(profiler.findNode(QStringLiteral("Music Ducker")), 5000);
    const DSPTree* tree = profiler.tree;

    // The shape: the root under head, and the ducker fed by its fader and, as a
    // repeated record, by the dialogue fader that the mixer also takes.
    QCOMPARE(tree->head.inputs.size(), qsizetype(1));
    QCOMPARE(tree->head.inputs[0].node->name, QStringLiteral("Master Fader"));
    const DSPNode* ducker = profiler.findNode(QStringLiteral("Music Ducker"));
    const DSPNode* dialogue = profiler.findNode(QStringLiteral("Dialogue Fader"));
    const DSPNode* mixer = profiler.findNode(QStringLiteral("Master Mixer"));
    QVERIFY(dialogue && mixer);
    QCOMPARE(ducker->inputs.size(), qsizetype(2));
    QCOMPARE(ducker->inputs[1].node, dialogue);
    bool mixerTakesDialogue = false;
    for (const DSPConnection& input : mixer->inputs)
        mixerTakesDialogue |= input.node == dialogue;
    QVERIFY(mixerTakesDialogue);
    QCOMPARE(ducker->depth, 3); // fader, limiter, mixer, ducker
    QTRY_COMPARE_WITH_TIMEOUT(tree->groups.size(), qsizetype(9), 5000);

    // The simulator's ids have bit 31 set: versions 0 and 1 widen them with the sign.
    QCOMPARE(ducker->id >> 32 != 0xFFFFFFFFu, carries.contains("ids"));
    QCOMPARE(ducker->groupId != 0, carries.contains("groups"));
    QCOMPARE(!ducker->volumeLevels.isEmpty(), carries.contains("levels"));
    QCOMPARE(ducker->inputs[1].sidechain, carries.contains("flags"));
    QCOMPARE(tree->sampleRate != 0, carries.contains("timing"));
    QCOMPARE(profiler.statusCount(
                 QStringLiteral("Connected. (Old version detected, reduced functionality)")) > 0,
             version < 6);
}

QTEST_GUILESS_MAIN(TestSimEndToEnd)
#include "tst_SimEndToEnd.moc"
