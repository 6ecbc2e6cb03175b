#include "DSPTree.h"
#include "IdTable.h"
#include "TestNetwork.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QtEndian>

#include <algorithm>
#include <cstring>

// Snapshots and group tables fed straight into the tree, and frames and
// networks shaped to make a careless decoder or walk fail: reads past the
// frame, unbounded allocation, deep recursion, exponential re-walks.
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
    void damagedSnapshot_data();
    void damagedSnapshot();
    void groupTable_data();
    void groupTable();
    void largeNetwork_data();
    void largeNetwork();
    void hostileIds_data();
    void hostileIds();
};

namespace {

// Whole graphs written as sorted text ("A=1 B=2"), so that one QCOMPARE checks them all.
template <typename T> QString each(const DSPTree& tree, T DSPNode::*field)
{
    QStringList items;
    for (const DSPNode* node : tree.nodes)
        items.append(node->name + QLatin1Char('=') + QString::number(node->*field));
    items.sort();
    return items.join(QLatin1Char(' '));
}

// The inputs of a unit in order, with their flags: "A B+send C+sidechain".
QString inputsOf(const DSPNode* node)
{
    QStringList items;
    for (const DSPConnection& c : node->inputs) {
        items.append(c.node->name + QLatin1String(c.send ? "+send" : "") +
                     QLatin1String(c.sidechain ? "+sidechain" : ""));
    }
    return items.join(QLatin1Char(' '));
}

// Unit `id`, named "U<id>" unless a name is given.
TestNode unit(quint64 id, quint32 time = 0, const QString& name = QString())
{
    TestNode node;
    node.id = id;
    node.name = name.isEmpty() ? QStringLiteral("U%1").arg(id) : name;
    node.exclusiveTime = time;
    return node;
}

QByteArray bigEndian(float value)
{
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    QByteArray bytes(4, '\0');
    qToBigEndian<quint32>(bits, bytes.data());
    return bytes;
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
    return inputsOf(root) +
           QString::asprintf(
               " id=%llu group=%llu to=%llu active=%d bypass=%d time=%u levels=", a->id, a->groupId,
               a->sendTargetId, a->active, a->bypass, a->exclusiveTime) +
           levels.join(QLatin1Char(',')) +
           QStringLiteral(" | cpu=%1 rate=%2/%3")
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
// from up to three random units anywhere, in random order.
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

// Records of units 1, 2, ... with the input counts given.
QByteArray records(int version, const QList<qint64>& counts)
{
    QByteArray bytes;
    for (int i = 0; i < counts.size(); ++i)
        bytes += TestFrames::nodeRecord(version, unit(quint64(i + 1)), counts.at(i));
    return bytes;
}

QByteArray withSize(QByteArray frame, quint32 size)
{
    qToLittleEndian<quint32>(size, frame.data());
    return frame;
}

// n units of time 1: a chain (unit i feeds from i + 1) or a fan of n - 1 inputs.
QByteArray chainOrFan(int n, bool chain)
{
    QByteArray bytes = TestFrames::nodeRecord(1, unit(1, 1), chain ? 1 : n - 1);
    bytes.reserve(qsizetype(n) * TestFrames::recordSize(1));
    for (int i = 2; i <= n; ++i)
        bytes += TestFrames::nodeRecord(1, unit(quint64(i), 1), chain && i < n ? 1 : 0);
    return TestFrames::snapshot(1, bytes);
}

// n diamonds: top k feeds from left k and right k, both from top k + 1. A walk
// that re-walks each longer path visits the bottom 2^n times.
QByteArray ladder(int n)
{
    QStringList clauses;
    for (int k = 0; k < n; ++k)
        clauses.append(QStringLiteral("T%1<-L%1,R%1; L%1<-T%2; R%1<-T%2").arg(k).arg(k + 1));
    return TestNetwork(clauses.join(QLatin1Char(';'))).snapshot(6);
}

// Stairs S1 to Sn, the root being S1, each feeding first from the top of a
// chain C1 to Cn, then from the next stair: each stair reaches C1 by a path
// one longer than the last. Ids: S1 1, C1 to Cn 2 to n + 1, S2 n + 2, ...
QByteArray staircase(int n)
{
    QByteArray bytes;
    bytes.reserve(qsizetype(2 * n) * TestFrames::recordSize(6));
    for (int s = 1; s <= n; ++s) {
        const quint64 id = s == 1 ? 1 : quint64(n + s);
        bytes += TestFrames::nodeRecord(6, unit(id), s < n ? 2 : 1);
        for (int c = 1; c <= (s == 1 ? n : 1); ++c)
            bytes += TestFrames::nodeRecord(6, unit(quint64(c + 1)), s == 1 && c < n ? 1 : 0);
    }
    return TestFrames::snapshot(6, bytes);
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
    // Read over the units of two older shapes, with every field set otherwise
    // and longer texts and lists: nothing of them may show through.
    TestNetwork older("R<-A+send,B; A<-C");
    older.node("A") = TestNode{5, "Longer name", 6, 7, true, false, 9, {}, {1, 2, 3, 4, 5}, -1};
    for (const char* rootName : {"Reverb Return", "Reverb Return 2"}) {
        older.node("R").name = QString::fromLatin1(rootName);
        QVERIFY(tree.acceptNetworkFrame(older.snapshot(6)));
    }
    QSignalSpy status(&tree, SIGNAL(statusChanged(QString)));
    QVERIFY(tree.acceptNetworkFrame(net.snapshot(version)));
    QCOMPARE(tree.head.inputs.first().node->name, QStringLiteral("R"));

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
    QCOMPARE(each(tree, &DSPNode::inclusiveTime), inclusive);
    QCOMPARE(each(tree, &DSPNode::depth), depths);
    QCOMPARE(inputsOf(tree.head.inputs.first().node), rootInputs);
}

// The root's two inputs are both id 7; the second record claims five inputs
// that do not follow: only its connection flags count.
void TestDSPTreeDecode::repeatedRecordClaimingInputs()
{
    const QByteArray records = TestFrames::nodeRecord(6, unit(1), 2) +
                               TestFrames::nodeRecord(6, unit(7, 4), 1) +
                               TestFrames::nodeRecord(6, unit(9), 0) +
                               TestFrames::nodeRecord(6, unit(7, 100, "renamed"), 5, true, true);
    DSPTree tree(nullptr);
    QVERIFY(tree.acceptNetworkFrame(TestFrames::snapshot(6, records)));

    QCOMPARE(tree.nodes.size(), 3);
    QCOMPARE(inputsOf(tree.head.inputs.first().node), QStringLiteral("U7 U7+send+sidechain"));
    QCOMPARE(each(tree, &DSPNode::inclusiveTime), QStringLiteral("U1=4 U7=4 U9=0"));
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

// Over a previous graph P<-Q of version 5. A damaged snapshot (depths empty)
// is dropped whole: the previous graph, its version and header values stay.
// Only an old version has a status line.
void TestDSPTreeDecode::damagedSnapshot_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("depths");
    QTest::addColumn<int>("rootLevels");

    const QByteArray good = TestNetwork("R<-A,B").snapshot(6);
    QTest::newRow("shorter than its header") << good.left(11) << "" << 0;
    QTest::newRow("v3 cut inside the snapshot header")
        << TestNetwork("R").snapshot(3).left(16) << "" << 0;
    QTest::newRow("no record, v0") << TestFrames::snapshot(0, QByteArray()) << "" << 0;
    QTest::newRow("cut inside the last record") << good.chopped(1) << "" << 0;
    QTest::newRow("count above the records present")
        << TestFrames::snapshot(2, records(2, {3, 0, 0})) << "" << 0;
    QTest::newRow("count of 2^31 - 1")
        << TestFrames::snapshot(4, records(4, {0x7FFFFFFF, 0})) << "" << 0;
    QTest::newRow("records missing deep inside")
        << TestFrames::snapshot(5, records(5, {2, 1, 2, 0})) << "" << 0;
    QTest::newRow("negative count reads no input, the rest is ignored")
        << TestFrames::snapshot(1, records(1, {-5, 0})) << "U1=0" << 0;
    QTest::newRow("bytes behind the last record are ignored")
        << TestFrames::snapshot(6, records(6, {1, 0}) + QByteArray(93, 'x')) << "U1=0 U2=1" << 0;
    TestNode root = unit(9);
    root.levelCount = 255;
    root.amplitudes = QList<float>(32, 1.0f);
    root.decibels = QList<qint8>(32, -1);
    for (int version : {2, 3, 5, 6}) {
        QTest::addRow("v%d level count 255 gives 32 levels", version)
            << TestFrames::snapshot(version, TestFrames::nodeRecord(version, root, 0)) << "U9=0"
            << 32;
    }
    root.levelCount = 0;
    QTest::newRow("level count 0 keeps the record's size")
        << TestFrames::snapshot(4, TestFrames::nodeRecord(4, root, 1) + records(4, {0}))
        << "U1=1 U9=0" << 0;
    root = unit(3);
    root.name = QString(40, QLatin1Char('n'));
    for (int version : {0, 2, 4, 6}) {
        QTest::addRow("v%d name without a zero byte stops at 32 bytes", version)
            << TestFrames::snapshot(version, TestFrames::nodeRecord(version, root, 1) +
                                                 records(version, {0}))
            << "U1=1 " + QString(32, QLatin1Char('n')) + "=0" << 0;
    }
}

void TestDSPTreeDecode::damagedSnapshot()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, depths);
    QFETCH(int, rootLevels);

    TestNetwork previous("P<-Q");
    previous.totalCPU = 0.5f;
    DSPTree tree(nullptr);
    QVERIFY(tree.acceptNetworkFrame(previous.snapshot(5)));
    QSignalSpy status(&tree, SIGNAL(statusChanged(QString)));

    QCOMPARE(tree.acceptNetworkFrame(frame), !depths.isEmpty());
    QStringList texts;
    for (const QList<QVariant>& args : std::as_const(status))
        texts.append(args.first().toString());
    QStringList expected;
    if (frame.size() >= 12 && frame.at(10) < 6)
        expected.append(QStringLiteral("Connected. (Old version detected, reduced functionality)"));
    QCOMPARE(texts, expected);
    QCOMPARE(each(tree, &DSPNode::depth), depths.isEmpty() ? QStringLiteral("P=0 Q=1") : depths);
    QCOMPARE(tree.head.inputs.first().node->volumeLevels.size(), rootLevels);
    if (depths.isEmpty()) {
        QCOMPARE(tree.networkVersion, 5);
        QCOMPARE(tree.totalCPU, 0.5f);
        QCOMPARE(tree.head.inputs.first().node->name, QStringLiteral("P"));
    }
}

void TestDSPTreeDecode::groupTable_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QStringList>("groups");

    const QUuid guid(0x12345678, 0x9abc, 0xdef0, 1, 2, 3, 4, 5, 6, 7, 8);
    const QByteArray two = TestFrames::groupTable(
        {{1, 0, guid, "Alpha"}, {2, 1, QUuid(), QString(300, QLatin1Char('b'))}});
    const QStringList both{"1/0/{12345678-9abc-def0-0102-030405060708}/Alpha",
                           "2/1//" + QString(260, QLatin1Char('b'))};
    QTest::newRow("two records, name cut at its field") << two << true << both;
    QTest::newRow("size 12 empties the table")
        << TestFrames::groupTable({}) << true << QStringList{};
    QTest::newRow("partial record behind the last is ignored")
        << withSize(two + QByteArray(100, 'x'), 12 + 2 * 296 + 100) << true << both;
    QTest::newRow("a lone partial record") << two.left(12 + 295) << true << QStringList{};
    QTest::newRow("size beyond the frame reads what is there")
        << withSize(two, 100000) << true << both;
    QTest::newRow("size ends the table before the frame")
        << withSize(two, 12 + 296) << true << both.mid(0, 1);
    QTest::newRow("size below 12 holds no record") << withSize(two, 3) << true << QStringList{};
    QTest::newRow("shorter than its header") << two.left(11) << false << QStringList{"9/0//Old"};
    QByteArray version1 = two;
    version1[10] = 1;
    QTest::newRow("version 1 is refused") << version1 << false << QStringList{"9/0//Old"};
}

void TestDSPTreeDecode::groupTable()
{
    QFETCH(QByteArray, frame);
    QFETCH(bool, accepted);
    QFETCH(QStringList, groups);

    DSPTree tree(nullptr);
    QVERIFY(tree.acceptGroupFrame(TestFrames::groupTable({{9, 0, QUuid(), "Old"}})));
    QCOMPARE(tree.acceptGroupFrame(frame), accepted);
    QStringList actual;
    for (const DSPGroup* g : std::as_const(tree.groups)) {
        const QString guid = g->guid.isNull() ? QString() : g->guid.toString();
        actual.append(QStringLiteral("%1/%2/%3/%4").arg(g->id).arg(g->parentId).arg(guid, g->name));
    }
    QCOMPARE(actual, groups);
}

void TestDSPTreeDecode::largeNetwork_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("nodeCount");
    QTest::addColumn<quint64>("probeId");
    QTest::addColumn<int>("probeDepth");
    QTest::addColumn<quint32>("rootInclusive");

    QTest::newRow("chain 1,000,000 deep")
        << chainOrFan(1000000, true) << 1000000 << quint64(1000000) << 999999 << 1000000u;
    QTest::newRow("unit with 999,999 inputs")
        << chainOrFan(1000000, false) << 1000000 << quint64(777777) << 1 << 1000000u;
    QByteArray ring = records(0, QList<qint64>(100000, 1)) + records(0, {1});
    QTest::newRow("ring of 100,000 back to the root")
        << TestFrames::snapshot(0, ring) << 100000 << quint64(100000) << 99999 << 0u;
    // T0 is id 1, then L0, R0, T1, ...: the bottom, T64, is id 193.
    QTest::newRow("ladder of 64 diamonds") << ladder(64) << 193 << quint64(193) << 128 << 0u;
    // A re-walk would walk the chain below the stairs once per stair.
    QTest::newRow("20,000 stairs above a chain of 20,000")
        << staircase(20000) << 40000 << quint64(20001) << 39999 << 0u;
}

void TestDSPTreeDecode::largeNetwork()
{
    QFETCH(QByteArray, frame);
    QFETCH(int, nodeCount);
    QFETCH(quint64, probeId);
    QFETCH(int, probeDepth);
    QFETCH(quint32, rootInclusive);

    DSPTree tree(nullptr);
    QVERIFY(tree.acceptNetworkFrame(frame));
    QCOMPARE(tree.nodes.size(), nodeCount);
    QCOMPARE(tree.nodes.value(probeId)->depth, probeDepth);
    QCOMPARE(tree.head.inputs.first().node->inclusiveTime, rootInclusive);
    QVERIFY(std::all_of(tree.nodes.cbegin(), tree.nodes.cend(),
                        [](const DSPNode* node) { return node->depth >= 0; }));
}

// Ids chosen so that the sample that sets the table's alignment agrees in
// all but the top bit, and the rest differ only below it: each lookup must
// still walk a short run of slots, not one chain through every unit.
void TestDSPTreeDecode::hostileIds_data()
{
    QTest::addColumn<int>("alignment");
    QTest::addColumn<quint64>("step");
    QTest::newRow("below the alignment") << 63 << quint64(1);
    QTest::newRow("strided below it") << 40 << (quint64(1) << 20);
    QTest::newRow("above the ordered bits") << 0 << (quint64(1) << 6);
}

void TestDSPTreeDecode::hostileIds()
{
    QFETCH(int, alignment);
    QFETCH(quint64, step);
    const int count = 20000;
    IdTable<int> table;
    table.reset(count, alignment);
    bool added = false;
    for (int i = 0; i < count; ++i)
        table.insert(quint64(i) * step, i, &added);
    qsizetype longest = 0;
    for (int i = 0; i < count; ++i)
        longest = std::max(longest, table.probeLength(quint64(i) * step));
    QVERIFY2(longest < 1024, qPrintable(QString::number(longest)));
}

QTEST_GUILESS_MAIN(TestDSPTreeDecode)
#include "tst_dsptree_decode.moc"
