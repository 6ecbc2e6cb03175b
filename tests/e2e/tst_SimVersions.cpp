// Every snapshot version that the simulated target can write must decode into
// the same mixer network, with exactly the fields that version carries.
#include "DSPTree.h"
#include "ProfilerHarness.h"
#include "SimProcess.h"

#include <QtTest>

class TestSimVersions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyVersionDecodes_data();
    void everyVersionDecodes();
};

void TestSimVersions::everyVersionDecodes_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<bool>("wideIds"); // 64-bit ids rather than sign-extended 32-bit ones
    QTest::addColumn<bool>("groups");  // groupId carried
    QTest::addColumn<bool>("levels");  // volume levels carried
    QTest::addColumn<bool>("flags");   // send and sidechain flags carried
    QTest::addColumn<bool>("timing");  // sample rate and block length carried

    QTest::newRow("v0") << 0 << false << false << false << false << false;
    QTest::newRow("v1") << 1 << false << false << false << false << false;
    QTest::newRow("v2") << 2 << true << false << true << false << false;
    QTest::newRow("v3") << 3 << true << false << true << false << false;
    QTest::newRow("v4") << 4 << true << true << true << false << false;
    QTest::newRow("v5") << 5 << true << true << true << false << false;
    QTest::newRow("v6") << 6 << true << true << true << true << true;
}

void TestSimVersions::everyVersionDecodes()
{
    QFETCH(int, version);
    QFETCH(bool, wideIds);
    QFETCH(bool, groups);
    QFETCH(bool, levels);
    QFETCH(bool, flags);
    QFETCH(bool, timing);
    if (SimProcess::program().isEmpty())
        QSKIP("ZELTO_SIM does not name the simulated target");

    SimProcess sim;
    QVERIFY(sim.start({QStringLiteral("--dsp-version"), QString::number(version)}));
    ProfilerHarness profiler;
    profiler.connectTo(sim.port());
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

    // The simulator's ids have bit 31 set: versions 0 and 1 widen them with
    // the sign.
    QCOMPARE(ducker->id >> 32 == 0xFFFFFFFFu, !wideIds);
    QCOMPARE(ducker->groupId != 0, groups);
    QCOMPARE(!ducker->volumeLevels.isEmpty(), levels);
    QCOMPARE(ducker->inputs[1].sidechain, flags);
    QCOMPARE(tree->sampleRate != 0, timing);
    QCOMPARE(profiler.statusCount(
                 QStringLiteral("Connected. (Old version detected, reduced functionality)")) > 0,
             version < 6);
    QVERIFY(sim.stop() == 0);
}

QTEST_GUILESS_MAIN(TestSimVersions)
#include "tst_SimVersions.moc"
