#include "SimFaultWriter.h"
#include "SimFrameWriter.h"
#include "SimLoad.h"
#include "SimNetwork.h"
#include "SimShapeBuilder.h"
#include "SimTarget.h"

#include <QHash>
#include <QtEndian>
#include <QtTest>

namespace {

// Root "Master" (active, bypassed, 0 dB left and silent right) with one
// input "Send", reached by a send sidechain connection, whose name is too long
// for its field and whose time is too large for 16 bits.
SimNetwork fixture()
{
    SimNetwork network;
    SimNode root;
    root.id = Q_UINT64_C(0x1122334455667788);
    root.groupId = Q_UINT64_C(0x0102030405060708);
    root.name = "Master";
    root.bypass = true;
    root.channels = 2;
    root.levelDb = 0;
    root.balanceDb = 80;
    root.time = 0x1234;
    SimNode send;
    send.id = 0xAA;
    send.sendTargetId = root.id;
    send.name = "A name much longer than its field!!";
    send.active = false;
    send.channels = 0;
    send.time = 70000;
    network.addNode(root);
    network.addNode(send);
    network.addInput(0, 1, true, true);
    return network;
}

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

QByteArray zeros(int count)
{
    return QByteArray(count, '\0');
}

SimSample fixtureSample()
{
    SimSample s;
    s.dsp = 1.5f;
    s.stream = 0.5f;
    s.update = 2.0f;
    s.geometry = 1.0f;
    s.hardwareCount = 3;
    s.hardwareLimit = 32;
    s.softwareCount = 10;
    s.softwareLimit = 64;
    s.virtualCount = 20;
    s.virtualLimit = 100;
    s.mpegCount = 1;
    s.adpcmLimit = 0x0102;
    s.at9Count = -2;
    s.pcmLimit = 4;
    s.memoryBytes = 1500000;
    s.memoryLimitBytes = 8000000;
    return s;
}

// Reads a version 6 snapshot back into each unit's list of inputs: id and the
// send and sidechain flags of each record. Written apart from the simulator,
// without recursion, to check that repeated units travel as bare records.
struct ReadBack
{
    QHash<quint64, QList<QPair<quint64, int>>> inputs;
    quint64 root = 0;
    bool complete = false;
};

ReadBack readBack(const QByteArray& frame)
{
    ReadBack result;
    const int recordBytes = 94;
    qsizetype at = 20;
    auto next = [&](quint64* id, int* count, int* flags) {
        if (at + recordBytes > frame.size())
            return false;
        const char* r = frame.constData() + at;
        *id = qFromLittleEndian<quint64>(r);
        *count = qFromLittleEndian<quint16>(r + 24);
        *flags = quint8(r[28]) & 0x0C;
        at += recordBytes;
        return true;
    };
    quint64 id;
    int count, flags;
    if (!next(&id, &count, &flags))
        return result;
    result.root = id;
    result.inputs[id];
    QList<QPair<quint64, int>> open{{id, count}};
    while (!open.isEmpty()) {
        if (open.last().second == 0) {
            open.removeLast();
            continue;
        }
        --open.last().second;
        const quint64 parent = open.last().first;
        if (!next(&id, &count, &flags))
            return result;
        result.inputs[parent].append({id, flags});
        if (!result.inputs.contains(id)) {
            result.inputs[id];
            open.append({id, count});
        }
    }
    result.complete = at == frame.size();
    return result;
}

} // namespace

class TestSimFrames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exactBytes_data();
    void exactBytes();
    void treeTravelsDepthFirst_data();
    void treeTravelsDepthFirst();
    void samplesAgree_data();
    void samplesAgree();
    void mixLives_data();
    void mixLives();
};

void TestSimFrames::exactBytes_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("offset");
    QTest::addColumn<QByteArray>("expected");

    const SimNetwork n = fixture();
    const QByteArray v6 = SimFrameWriter::snapshot(n, 6, 0.25f, 48000, 1024);
    QTest::newRow("v6 header and snapshot header")
        << v6 << 0 << hex("d0000000 00000000 01000600 80bb0000 00040000");
    QTest::newRow("v6 root record")
        << v6 << 20
        << hex("8877665544332211 0807060504030201 0000000000000000 0100 3412 03 02 00b0") +
               zeros(30) + "Master" + zeros(26);
    QTest::newRow("v6 repeated flags, clamped time, cut name")
        << v6 << 114
        << hex("aa00000000000000 0000000000000000 8877665544332211 0000 ffff 0c 00") + zeros(32) +
               "A name much longer than its fie" + zeros(1);

    const QByteArray v3 = SimFrameWriter::snapshot(n, 3, 0.25f, 48000, 1024);
    QTest::newRow("v3 size and total CPU")
        << v3 << 0 << hex("77010000 00000000 01000300 0000803e 00");
    QTest::newRow("v3 fields up to the levels")
        << v3 << 17 + 40 << hex("01000000 01 01 0000 3412 02");
    QTest::newRow("v3 levels are big-endian amplitudes")
        << v3 << 17 + 51 << hex("3f800000 00000000 00000000");

    const QByteArray v0 = SimFrameWriter::snapshot(n, 0, 0.25f, 48000, 1024);
    QTest::newRow("v0 32-bit id, count and active")
        << v0 << 0
        << hex("66000000 00000000 01000000 88776655") + "Master" + zeros(26) +
               hex("01000000 01 00000000");
    QTest::newRow("v1 32-bit time is not clamped")
        << SimFrameWriter::snapshot(n, 1, 0.25f, 48000, 1024) << 16 + 49 + 45 << hex("70110100");
    QTest::newRow("v2 has a level count but no levels")
        << SimFrameWriter::snapshot(n, 2, 0.25f, 48000, 1024) << 0 << hex("8b000000");
    const QByteArray v5 = SimFrameWriter::snapshot(n, 5, 0.25f, 48000, 1024);
    QTest::newRow("v5 group id and name of the root")
        << v5 << 17 + 8 << hex("0807060504030201") + "Master";
    QTest::newRow("v5 send target behind the levels")
        << v5 << 17 + 195 + 187 << hex("8877665544332211");
    QTest::newRow("v4 has no send target")
        << SimFrameWriter::snapshot(n, 4, 0.25f, 48000, 1024) << 0 << hex("87010000");

    SimGroup group;
    group.id = 3;
    group.parentId = 2;
    group.guid = QUuid(QStringLiteral("{01234567-89ab-cdef-0123-456789abcdef}"));
    group.name = "Weapons";
    QTest::newRow("group record")
        << SimFrameWriter::groupTable({group}) << 0
        << hex("34010000 00000000 07000000 0300000000000000 0200000000000000"
               "67452301 ab89 efcd 0123456789abcdef 00000000") +
               "Weapons" + zeros(1);

    const SimSample s = fixtureSample();
    QTest::newRow("cpu v1: update before geometry")
        << SimFrameWriter::cpu(s, 1) << 0
        << hex("1c000000 00000000 03000100 0000c03f 0000003f 00000040 0000803f");
    QTest::newRow("cpu v0 has no geometry") << SimFrameWriter::cpu(s, 0) << 0 << hex("18000000");
    QTest::newRow("channels") << SimFrameWriter::channels(s) << 12
                              << hex("03000000 20000000 0a000000 40000000 14000000 64000000");
    QTest::newRow("codecs") << SimFrameWriter::codecs(s) << 12
                            << hex("01000000 00000000 00000000 02010000") + zeros(12) +
                                   hex("04000000");
    QTest::newRow("stats real channels are hardware plus software")
        << SimFrameWriter::stats(s) << 28 << hex("0d00 6000 1400 6400 0000 0201");
    QTest::newRow("stats codecs, memory, size")
        << SimFrameWriter::stats(s) << 44
        << hex("0100 0000") + zeros(8) + hex("feff 0000 0000 0400 60e31600 00127a00");

    QTest::newRow("hostile: lying count")
        << SimFaultWriter::lyingCount(v6) << 20 + 24 << hex("ffff");
    QTest::newRow("hostile: unterminated name") << SimFaultWriter::unterminatedNames(v6) << 20 + 62
                                                << QByteArray("Master") + QByteArray(26, '~');
    QTest::newRow("hostile: many levels")
        << SimFaultWriter::manyLevels(v6) << 114 + 29 << hex("ff");
    QTest::newRow("hostile: short frame")
        << SimFaultWriter::shortened(SimFrameWriter::stats(s)) << 0 << hex("0e000000 00000000 09");
}

void TestSimFrames::exactBytes()
{
    QFETCH(QByteArray, frame);
    QFETCH(int, offset);
    QFETCH(QByteArray, expected);
    QCOMPARE(qFromLittleEndian<quint32>(frame.constData()), quint32(frame.size()));
    QVERIFY(offset + expected.size() <= frame.size());
    QCOMPARE(frame.mid(offset, expected.size()).toHex(' '), expected.toHex(' '));
}

void TestSimFrames::treeTravelsDepthFirst_data()
{
    QTest::addColumn<int>("shape");
    QTest::addColumn<int>("nodes");
    QTest::addColumn<qint64>("milliseconds");

    QTest::newRow("mixer with shots") << int(SimShape::Mixer) << 0 << qint64(4000);
    QTest::newRow("mixer with a crowd") << int(SimShape::Mixer) << 3000 << qint64(0);
    QTest::newRow("chain") << int(SimShape::Chain) << 500 << qint64(0);
    QTest::newRow("fan-in wider than a count") << int(SimShape::FanIn) << 70000 << qint64(0);
    QTest::newRow("ladder of diamonds") << int(SimShape::Ladder) << 41 << qint64(0);
    QTest::newRow("cycles") << int(SimShape::Cycle) << 40 << qint64(0);
}

void TestSimFrames::treeTravelsDepthFirst()
{
    QFETCH(int, shape);
    QFETCH(int, nodes);
    QFETCH(qint64, milliseconds);
    SimTarget target(SimShape(shape), nodes, true);
    target.advanceTo(milliseconds);
    const SimNetwork& network = *target.network();
    const int permanent = network.nodeCount() - network.transientCount();
    if (nodes > 0)
        QVERIFY2(permanent <= nodes && permanent > nodes - 16,
                 QByteArray::number(permanent).constData());

    const ReadBack back = readBack(target.snapshot(6));
    QVERIFY(back.complete);
    QCOMPARE(back.root, network.node(0).id);
    QCOMPARE(back.inputs.size(), qsizetype(network.nodeCount()));
    for (int i = 0; i < network.nodeCount(); ++i) {
        const SimNode& node = network.node(i);
        QList<QPair<quint64, int>> expected;
        for (const SimInput& in : node.inputs)
            expected.append({network.node(in.node).id, (in.send ? 4 : 0) | (in.sidechain ? 8 : 0)});
        QCOMPARE(back.inputs.value(node.id), expected);
    }
}

void TestSimFrames::samplesAgree_data()
{
    QTest::addColumn<qint64>("milliseconds");
    QTest::addColumn<bool>("geometry");

    QTest::newRow("start") << qint64(0) << true;
    QTest::newRow("quiet moment") << qint64(25000) << true;
    QTest::newRow("loud moment") << qint64(10000) << true;
    QTest::newRow("no geometry in CPU version 0") << qint64(10000) << false;
}

// The combined stats packet must tell what the three single-kind packets of
// the same moment tell, and the DSP share must be the network's.
void TestSimFrames::samplesAgree()
{
    QFETCH(qint64, milliseconds);
    QFETCH(bool, geometry);
    SimTarget target(SimShape::Mixer, 0, geometry);
    target.advanceTo(milliseconds);
    const QByteArray cpu = SimFrameWriter::cpu(target.sample(), geometry ? 1 : 0);
    const QByteArray channels = SimFrameWriter::channels(target.sample());
    const QByteArray codecs = SimFrameWriter::codecs(target.sample());
    const QByteArray stats = SimFrameWriter::stats(target.sample());
    const char* c = cpu.constData();
    const char* s = stats.constData();
    const auto f = [](const char* p) { return qFromLittleEndian<float>(p); };
    const auto i32 = [](const QByteArray& b, int at) {
        return qFromLittleEndian<qint32>(b.constData() + at);
    };
    const auto i16 = [&](int at) { return int(qFromLittleEndian<qint16>(s + at)); };

    QCOMPARE(f(s + 12), f(c + 12));
    QCOMPARE(f(s + 16), f(c + 16));
    QCOMPARE(f(s + 20), f(c + 20));
    QCOMPARE(f(s + 24), geometry ? f(c + 24) : 0.0f);
    const double budget = 1024 * 1e6 / 48000;
    QCOMPARE(f(c + 12), float(100.0 * double(target.network()->totalTime()) / budget));
    QCOMPARE(i16(28), i32(channels, 12) + i32(channels, 20));
    QCOMPARE(i16(30), i32(channels, 16) + i32(channels, 24));
    QCOMPARE(i16(32), i32(channels, 28));
    QCOMPARE(i16(34), i32(channels, 32));
    QCOMPARE(i16(44), i32(codecs, 12)); // MPEG
    QCOMPARE(i16(36), i32(codecs, 20)); // ADPCM
    QCOMPARE(i16(52), i32(codecs, 28)); // XMA
    QCOMPARE(i16(60), i32(codecs, 36)); // PCM
    int decoders = 0;
    for (int at = 36; at < 64; at += 4) {
        QVERIFY(i16(at) <= i16(at + 2));
        decoders += i16(at);
    }
    QCOMPARE(decoders, i16(28));
    QVERIFY(i32(stats, 64) < i32(stats, 68));
}

void TestSimFrames::mixLives_data()
{
    QTest::addColumn<qint64>("milliseconds");
    QTest::addColumn<int>("lowestMasterDb");
    QTest::addColumn<int>("highestMasterDb");

    QTest::newRow("quiet moment") << qint64(25000) << -80 << -40;
    QTest::newRow("loud moment over full scale") << qint64(10000) << 1 << 10;
}

void TestSimFrames::mixLives()
{
    QFETCH(qint64, milliseconds);
    QFETCH(int, lowestMasterDb);
    QFETCH(int, highestMasterDb);
    SimTarget target(SimShape::Mixer, 0, true);
    target.advanceTo(milliseconds);
    const QByteArray frame = target.snapshot(6);
    const qint8 master = qint8(frame[20 + 30]);
    QVERIFY2(master >= lowestMasterDb && master <= highestMasterDb,
             QByteArray::number(master).constData());

    // Shots come and go: the network a few seconds later has other ones.
    QList<quint64> before;
    SimNetwork* network = target.network();
    for (int i = network->nodeCount() - network->transientCount(); i < network->nodeCount(); ++i)
        before.append(network->node(i).id);
    QVERIFY(!before.isEmpty());
    target.advanceTo(milliseconds + 5000);
    for (quint64 id : before)
        QCOMPARE(network->indexOf(id), -1);
}

QTEST_GUILESS_MAIN(TestSimFrames)
#include "tst_SimFrames.moc"
