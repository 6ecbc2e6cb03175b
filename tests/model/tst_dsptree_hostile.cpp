#include "DSPTreeProbe.h"
#include "TestNetwork.h"

#include <QSignalSpy>
#include <QTest>
#include <QtEndian>

#include <algorithm>

// Frames that break the format, and networks shaped to make a careless
// decoder or walk fail: reads past a field or the frame, allocation without
// end, recursion as deep as the target likes, exponential re-walks.
class TestDSPTreeHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void damagedSnapshot_data();
    void damagedSnapshot();
    void toleratedSnapshot_data();
    void toleratedSnapshot();
    void groupTable_data();
    void groupTable();
    void largeNetwork_data();
    void largeNetwork();
};

namespace {

TestNode unit(quint64 id, quint32 time = 0)
{
    TestNode node;
    node.id = id;
    node.name = QStringLiteral("U%1").arg(id);
    node.exclusiveTime = time;
    return node;
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

// n units of time 1 in version 1: a chain (unit i feeds from i + 1) or one
// unit with n - 1 leaf inputs.
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

void TestDSPTreeHostile::damagedSnapshot_data()
{
    QTest::addColumn<QByteArray>("frame");

    const QByteArray good = TestNetwork("R<-A,B").snapshot(6);
    QTest::newRow("shorter than its header") << good.left(11);
    QTest::newRow("v3 cut inside the snapshot header") << TestNetwork("R").snapshot(3).left(16);
    QTest::newRow("no record, v0") << TestFrames::snapshot(0, QByteArray());
    QTest::newRow("cut inside the last record") << good.chopped(1);
    QTest::newRow("count above the records present")
        << TestFrames::snapshot(2, records(2, {3, 0, 0}));
    QTest::newRow("count of 2^31 - 1") << TestFrames::snapshot(4, records(4, {0x7FFFFFFF, 0}));
    QTest::newRow("records missing deep inside")
        << TestFrames::snapshot(5, records(5, {2, 1, 2, 0}));
}

// A damaged snapshot is dropped whole: the previous graph, its version and
// its header values stay. Only an old version has a status line.
void TestDSPTreeHostile::damagedSnapshot()
{
    QFETCH(QByteArray, frame);

    TestNetwork previous("P<-Q");
    previous.totalCPU = 0.5f;
    DSPTree tree(nullptr);
    QVERIFY(tree.acceptNetworkFrame(previous.snapshot(5)));
    QSignalSpy status(&tree, SIGNAL(statusChanged(QString)));

    QVERIFY(!tree.acceptNetworkFrame(frame));
    QStringList texts;
    for (const QList<QVariant>& args : std::as_const(status))
        texts.append(args.first().toString());
    QStringList expected;
    if (frame.size() >= 12 && frame.at(10) < 6)
        expected.append(QStringLiteral("Connected. (Old version detected, reduced functionality)"));
    QCOMPARE(texts, expected);
    QCOMPARE(tree.networkVersion, 5);
    QCOMPARE(tree.totalCPU, 0.5f);
    QCOMPARE(DSPTreeProbe::depths(tree), QStringLiteral("P=0 Q=1"));
    QCOMPARE(DSPTreeProbe::rootName(tree), QStringLiteral("P"));
}

void TestDSPTreeHostile::toleratedSnapshot_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("depths");
    QTest::addColumn<int>("rootLevels");

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

void TestDSPTreeHostile::toleratedSnapshot()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, depths);
    QFETCH(int, rootLevels);

    DSPTree tree(nullptr);
    QVERIFY(tree.acceptNetworkFrame(frame));
    QCOMPARE(DSPTreeProbe::depths(tree), depths);
    QCOMPARE(tree.head.inputs.first().node->volumeLevels.size(), rootLevels);
}

void TestDSPTreeHostile::groupTable_data()
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

void TestDSPTreeHostile::groupTable()
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

void TestDSPTreeHostile::largeNetwork_data()
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

void TestDSPTreeHostile::largeNetwork()
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

QTEST_GUILESS_MAIN(TestDSPTreeHostile)
#include "tst_dsptree_hostile.moc"
