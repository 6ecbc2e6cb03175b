#include "DSPTreeProbe.h"
#include "TestNetwork.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QtEndian>

#include <cstring>

// Snapshots fed straight into the tree: the fields of every record version,
// levels, shared units, loops, depths and CPU shares.
class TestDSPTreeDecode : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void versionFields_data();
    void versionFields();
    void decibels_data();
    void decibels();
    void graphShape_data();
    void graphShape();
    void repeatedRecordClaimingInputs();
    void depthMatchesRewalk();
    void cpuShares_data();
    void cpuShares();
};

namespace {

QByteArray bigEndian(float value)
{
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    QByteArray bytes(4, '\0');
    qToBigEndian<quint32>(bits, bytes.data());
    return bytes;
}

TestNode unit(quint64 id, const QString& name, quint32 time = 0)
{
    TestNode node;
    node.id = id;
    node.name = name;
    node.exclusiveTime = time;
    return node;
}

// Sets times written as "R=10 A=5".
void setTimes(TestNetwork& net, const QString& times)
{
    for (const QString& item : times.split(QLatin1Char(' '), Qt::SkipEmptyParts))
        net.node(item.section(QLatin1Char('='), 0, 0)).exclusiveTime =
            item.section(QLatin1Char('='), 1).toUInt();
}

// The root's inputs, every field of its first input and the header values.
QString summary(const DSPTree& tree)
{
    const DSPNode* root = tree.head.inputs.first().node;
    const DSPNode* a = root->inputs.first().node;
    QStringList levels;
    for (qint8 level : a->volumeLevels)
        levels.append(QString::number(level));
    return QStringLiteral("%1 id=%2 group=%3 to=%4 active=%5 bypass=%6 time=%7 levels=%8 | "
                          "cpu=%9 rate=%10/%11")
        .arg(DSPTreeProbe::inputs(root))
        .arg(a->id)
        .arg(a->groupId)
        .arg(a->sendTargetId)
        .arg(a->active)
        .arg(a->bypass)
        .arg(a->exclusiveTime)
        .arg(levels.join(QLatin1Char(',')))
        .arg(tree.totalCPU)
        .arg(tree.sampleRate)
        .arg(tree.blockLength);
}

// The depth walk word for word: re-walk a unit whenever a longer path reaches
// it, never enter a unit on the current path.
void rewalk(DSPNode* node, QHash<DSPNode*, int>& depth, QHash<DSPNode*, bool>& onPath)
{
    onPath[node] = true;
    for (const DSPConnection& c : node->inputs) {
        const int next = depth.value(node) + 1;
        if (next <= depth.value(c.node, -1) || onPath.value(c.node))
            continue;
        depth[c.node] = next;
        rewalk(c.node, depth, onPath);
    }
    onPath[node] = false;
}

// 2 to 12 units; unit i feeds from i + 1, so that every unit is reached, and
// from up to three random units anywhere, itself and the root included, the
// inputs in random order.
QString randomNetwork(QRandomGenerator& random)
{
    const int n = random.bounded(2, 13);
    QStringList clauses;
    for (int i = 0; i < n; ++i) {
        QStringList inputs;
        for (int k = random.bounded(4); k > 0; --k)
            inputs.append(QStringLiteral("N%1").arg(random.bounded(n)));
        if (i + 1 < n)
            inputs.insert(random.bounded(inputs.size() + 1), QStringLiteral("N%1").arg(i + 1));
        if (!inputs.isEmpty())
            clauses.append(QStringLiteral("N%1<-%2").arg(i).arg(inputs.join(QLatin1Char(','))));
    }
    return clauses.isEmpty() ? QStringLiteral("N0") : clauses.join(QLatin1Char(';'));
}

} // namespace

void TestDSPTreeDecode::versionFields_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<quint64>("id");
    QTest::addColumn<QString>("expected");

    const quint64 big = Q_UINT64_C(0x1122334455667788);
    QTest::newRow("v0 sign-extends a 32-bit id, carries no time")
        << 0 << Q_UINT64_C(0xFFFFFFF0)
        << "Éa:1 id=18446744073709551600 group=0 to=0 active=0 bypass=0 time=0 levels= | "
           "cpu=0 rate=0/0";
    QTest::newRow("v1 reads a 32-bit time and the total")
        << 1 << Q_UINT64_C(0xFFFFFFF0)
        << "Éa:1 id=18446744073709551600 group=0 to=0 active=0 bypass=0 time=70000 levels= | "
           "cpu=0.5 rate=0/0";
    QTest::newRow("v2 gives -80 per announced level, 16-bit time")
        << 2 << big
        << "Éa:1 id=1234605616436508552 group=0 to=0 active=0 bypass=1 time=4464 "
           "levels=-80,-80 | cpu=0.5 rate=0/0";
    QTest::newRow("v3 converts big-endian amplitudes")
        << 3 << big
        << "Éa:1 id=1234605616436508552 group=0 to=0 active=0 bypass=1 time=4464 levels=0,-6 | "
           "cpu=0.5 rate=0/0";
    QTest::newRow("v4 reads the group, no send target")
        << 4 << big
        << "Éa:1 id=1234605616436508552 group=77 to=0 active=0 bypass=1 time=4464 levels=0,-6 | "
           "cpu=0.5 rate=0/0";
    QTest::newRow("v5 reads the send target")
        << 5 << big
        << "Éa:1 id=1234605616436508552 group=77 to=88 active=0 bypass=1 time=4464 levels=0,-6 "
           "| cpu=0.5 rate=0/0";
    QTest::newRow("v6 reads levels as they stand, flags and rate")
        << 6 << big
        << "Éa:1+send+sidechain id=1234605616436508552 group=77 to=88 active=0 bypass=1 "
           "time=4464 levels=-3,7,100 | cpu=0 rate=48000/512";
}

void TestDSPTreeDecode::versionFields()
{
    QFETCH(int, version);
    QFETCH(quint64, id);
    QFETCH(QString, expected);

    TestNetwork net("R<-A+send+sidechain");
    net.totalCPU = 0.5f;
    net.sampleRate = 48000;
    net.blockLength = 512;
    TestNode& a = net.node("A");
    a = TestNode{id, "Éa:1", 77, 88, false, true, 70000, {1.0f, 0.5f}, {-3, 7, 100}, -1};
    DSPTree tree(nullptr);
    QSignalSpy status(&tree, SIGNAL(statusChanged(QString)));
    QVERIFY(tree.acceptNetworkFrame(net.snapshot(version)));

    QCOMPARE(summary(tree), expected);
    QCOMPARE(tree.networkVersion, version);
    QCOMPARE(tree.nodes.size(), 2);
    QCOMPARE(tree.head.inputs.first().node->active, true);
    QCOMPARE(status.size(), version < 6 ? 1 : 0);
    if (version < 6) {
        QCOMPARE(status.first().first().toString(),
                 QStringLiteral("Connected. (Old version detected, reduced functionality)"));
    }
}

void TestDSPTreeDecode::decibels_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("expected");

    QTest::newRow("bytes 3F 80 00 00 are 1.0") << QByteArray::fromHex("3f800000") << 0;
    QTest::newRow("half is -6") << bigEndian(0.5f) << -6;
    QTest::newRow("truncates toward zero, not down") << bigEndian(0.99f) << 0;
    QTest::newRow("10.6 dB is limited to 10") << bigEndian(3.4f) << 10;
    QTest::newRow("zero is -80") << bigEndian(0.0f) << -80;
    QTest::newRow("-100 dB is limited to -80") << bigEndian(0.00001f) << -80;
    QTest::newRow("-79.9 dB is -79") << bigEndian(0.000101f) << -79;
    QTest::newRow("negative is -80") << bigEndian(-1.0f) << -80;
    QTest::newRow("NaN is -80") << QByteArray::fromHex("7fc00000") << -80;
    QTest::newRow("infinity is 10") << QByteArray::fromHex("7f800000") << 10;
}

void TestDSPTreeDecode::decibels()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, expected);
    quint32 raw;
    std::memcpy(&raw, bytes.constData(), sizeof raw);
    QCOMPARE(int(DSPTree::levelToDecibels(raw)), expected);
}

void TestDSPTreeDecode::graphShape_data()
{
    QTest::addColumn<QString>("description");
    QTest::addColumn<QString>("times");
    QTest::addColumn<QString>("inclusive");
    QTest::addColumn<QString>("depths");
    QTest::addColumn<QString>("rootInputs");

    // clang-format off
    QTest::newRow("two connections to one input count its time once")
        << "R<-A,A" << "R=10 A=5" << "A=5 R=15" << "A=1 R=0" << "A A";
    QTest::newRow("shared unit counts at its first place only")
        << "R<-A,B; A<-C; B<-C" << "R=1 A=2 B=4 C=8" << "A=10 B=4 C=8 R=15" << "A=1 B=1 C=2 R=0"
        << "A B";
    QTest::newRow("diamond moves the shared unit to its longest path")
        << "R<-A,B; A<-C; B<-D; D<-C" << "" << "A=0 B=0 C=0 D=0 R=0" << "A=1 B=1 C=3 D=2 R=0"
        << "A B";
    QTest::newRow("longest path found first stays")
        << "R<-B,A; B<-C; C<-D; A<-D" << "" << "A=0 B=0 C=0 D=0 R=0" << "A=1 B=1 C=2 D=3 R=0"
        << "B A";
    QTest::newRow("two-unit loop") << "A<-B; B<-A" << "A=3 B=4" << "A=7 B=4" << "A=0 B=1" << "B";
    QTest::newRow("self loop") << "A<-A,B" << "A=1 B=2" << "A=3 B=2" << "A=0 B=1" << "A B";
    QTest::newRow("loop inside a branch")
        << "R<-A,D; A<-B; B<-C; C<-A" << "" << "A=0 B=0 C=0 D=0 R=0" << "A=1 B=2 C=3 D=1 R=0"
        << "A D";
    // The longer path R-P-Q reaches X again, and X then moves Y behind it,
    // through the connection that closed the loop on the first visit.
    QTest::newRow("a longer path re-walks a loop")
        << "R<-Y,P; Y<-X; X<-Y; P<-Q; Q<-X" << "" << "P=0 Q=0 R=0 X=0 Y=0" << "P=1 Q=2 R=0 X=3 Y=4"
        << "Y P";
    QTest::newRow("flags belong to the connection")
        << "R<-A+send,B+sidechain,A+send+sidechain" << "" << "A=0 B=0 R=0" << "A=1 B=1 R=0"
        << "A+send B+sidechain A+send+sidechain";
    // clang-format on
}

void TestDSPTreeDecode::graphShape()
{
    QFETCH(QString, description);
    QFETCH(QString, times);
    QFETCH(QString, inclusive);
    QFETCH(QString, depths);
    QFETCH(QString, rootInputs);

    TestNetwork net(description);
    setTimes(net, times);
    DSPTree tree(nullptr);
    QVERIFY(tree.acceptNetworkFrame(net.snapshot(6)));
    QCOMPARE(tree.nodes.size(), net.names().size());
    QCOMPARE(DSPTreeProbe::inclusiveTimes(tree), inclusive);
    QCOMPARE(DSPTreeProbe::depths(tree), depths);
    QCOMPARE(DSPTreeProbe::inputs(tree.head.inputs.first().node), rootInputs);
}

// The root has two inputs, both id 7: the first with one input behind it,
// the second claiming five inputs that do not follow. Of the second record
// only its connection flags count.
void TestDSPTreeDecode::repeatedRecordClaimingInputs()
{
    const QByteArray records = TestFrames::nodeRecord(6, unit(1, "root"), 2) +
                               TestFrames::nodeRecord(6, unit(7, "seven", 4), 1) +
                               TestFrames::nodeRecord(6, unit(9, "leaf"), 0) +
                               TestFrames::nodeRecord(6, unit(7, "renamed", 100), 5, true, true);
    DSPTree tree(nullptr);
    QVERIFY(tree.acceptNetworkFrame(TestFrames::snapshot(6, records)));

    QCOMPARE(tree.nodes.size(), 3);
    QCOMPARE(DSPTreeProbe::inputs(tree.head.inputs.first().node),
             QStringLiteral("seven seven+send+sidechain"));
    QCOMPARE(DSPTreeProbe::inclusiveTimes(tree), QStringLiteral("leaf=0 root=4 seven=4"));
}

// Small networks with loops anywhere, against the walk itself.
void TestDSPTreeDecode::depthMatchesRewalk()
{
    QRandomGenerator random(15);
    for (int i = 0; i < 3000; ++i) {
        const QString description = randomNetwork(random);
        DSPTree tree(nullptr);
        QVERIFY(tree.acceptNetworkFrame(TestNetwork(description).snapshot(6)));
        QHash<DSPNode*, int> expected{{&tree.head, -1}};
        QHash<DSPNode*, bool> onPath;
        rewalk(&tree.head, expected, onPath);
        for (DSPNode* node : std::as_const(tree.nodes))
            QVERIFY2(node->depth == expected.value(node, -2), qPrintable(description));
    }
}

void TestDSPTreeDecode::cpuShares_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<float>("totalCPU");
    QTest::addColumn<int>("sampleRate");
    QTest::addColumn<int>("blockLength");
    QTest::addColumn<QString>("times");
    QTest::addColumn<QString>("shares");

    // Network R<-A; A<-L. Shares are inclusive/exclusive per unit, in percent.
    const QString times = "R=400 L=100";
    const QString none = "A=0/0 L=0/0 R=0/0";
    QTest::newRow("v3 shares the total by the root's time")
        << 3 << 0.25f << 0 << 0 << times << "A=5/0 L=5/5 R=25/20";
    QTest::newRow("v3 root time 0 gives no shares") << 3 << 0.25f << 0 << 0 << "" << none;
    QTest::newRow("v1 total 0 gives no shares") << 1 << 0.0f << 0 << 0 << times << none;
    QTest::newRow("v6 divides by the block's microseconds")
        << 6 << 0.0f << 100 << 1 << times << "A=1/0 L=1/1 R=5/4";
    QTest::newRow("v6 sample rate 0 gives no shares") << 6 << 0.0f << 0 << 1 << times << none;
    QTest::newRow("v6 block length 0 gives no shares") << 6 << 0.0f << 48000 << 0 << times << none;
}

void TestDSPTreeDecode::cpuShares()
{
    QFETCH(int, version);
    QFETCH(float, totalCPU);
    QFETCH(int, sampleRate);
    QFETCH(int, blockLength);
    QFETCH(QString, times);
    QFETCH(QString, shares);

    TestNetwork net("R<-A; A<-L");
    net.totalCPU = totalCPU;
    net.sampleRate = sampleRate;
    net.blockLength = blockLength;
    setTimes(net, times);
    DSPTree tree(nullptr);
    QVERIFY(tree.acceptNetworkFrame(net.snapshot(version)));
    QStringList actual;
    for (const DSPNode* n : std::as_const(tree.nodes))
        actual.append(QStringLiteral("%1=%2/%3")
                          .arg(n->name)
                          .arg(qRound(n->inclusiveCPU * 100.0f))
                          .arg(qRound(n->exclusiveCPU * 100.0f)));
    actual.sort();
    QCOMPARE(actual.join(QLatin1Char(' ')), shares);
}

QTEST_GUILESS_MAIN(TestDSPTreeDecode)
#include "tst_dsptree_decode.moc"
