#include "SimFaultWriter.h"
#include "SimFrameWriter.h"
#include "SimNetwork.h"

#include <QtEndian>
#include <QtTest>

namespace {

// Root (0 dB left, silent right) with one inactive input reached by a send
// sidechain connection, whose name is too long for its field and whose time
// is too large for 16 bits.
SimNetwork fixture()
{
    SimNetwork network;
    SimNode root;
    root.id = Q_UINT64_C(0x1122334455667788);
    root.levelDb = 0;
    root.balanceDb = 80;
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

} // namespace

// The simulator's frames are decoded end to end by the profiler; these few
// exact-byte rows pin the fields where a wrong writer and a wrong decoder
// could agree with each other, and one hostile frame.
class TestSimFrames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exactBytes_data();
    void exactBytes();
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
    QTest::newRow("v6 repeated flags, clamped time, cut name")
        << v6 << 114
        << hex("aa00000000000000 0000000000000000 8877665544332211 0000 ffff 0c 00") +
               QByteArray(32, '\0') + "A name much longer than its fie" + QByteArray(1, '\0');
    QTest::newRow("v3 levels are big-endian amplitudes")
        << SimFrameWriter::snapshot(n, 3, 0.25f, 48000, 1024) << 17 + 50
        << hex("02 3f800000 00000000 00000000");

    SimSample s;
    s.dsp = 1.5f;
    s.stream = 0.5f;
    s.update = 2.0f;
    s.geometry = 1.0f;
    QTest::newRow("cpu v1: update before geometry")
        << SimFrameWriter::cpu(s, 1) << 0
        << hex("1c000000 00000000 03000100 0000c03f 0000003f 00000040 0000803f");
    QTest::newRow("hostile: lying count")
        << SimFaultWriter::lyingCount(v6) << 20 + 24 << hex("ffff");
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

QTEST_GUILESS_MAIN(TestSimFrames)
#include "tst_SimFrames.moc"
