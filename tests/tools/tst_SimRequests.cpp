#include "SimFaultWriter.h"
#include "SimFrameReader.h"
#include "SimFrameWriter.h"
#include "SimNetwork.h"
#include "SimRequest.h"

#include <QtEndian>
#include <QtTest>

namespace {

QByteArray header(quint32 size, quint8 kind, quint8 subKind, quint8 version)
{
    QByteArray bytes(12, '\0');
    qToLittleEndian<quint32>(size, bytes.data());
    bytes[8] = char(kind);
    bytes[9] = char(subKind);
    bytes[10] = char(version);
    return bytes;
}

QByteArray subscription(quint8 kind, quint32 rate)
{
    QByteArray bytes = header(18, 0, 0, 0) + QByteArray(6, '\0');
    bytes[12] = char(kind);
    qToLittleEndian<quint32>(rate, bytes.data() + 14);
    return bytes;
}

QByteArray switchCommand(quint8 subKind, quint64 id, bool on)
{
    QByteArray bytes = header(21, 1, subKind, 6) + QByteArray(9, '\0');
    qToLittleEndian<quint64>(id, bytes.data() + 12);
    bytes[20] = on ? 1 : 0;
    return bytes;
}

QByteArray textCommand(quint8 kind, quint8 version, const QByteArray& text)
{
    QByteArray field = text.left(128);
    field.append(QByteArray(128 - field.size(), '\0'));
    return header(140, kind, 1, version) + field;
}

// Piece lengths cycle through `pieces`; one line per request.
QStringList readAll(const QByteArray& stream, const QList<int>& pieces, QString* error)
{
    SimFrameReader reader;
    QStringList lines;
    qsizetype at = 0;
    for (int i = 0; at < stream.size(); ++i) {
        const int length = pieces[i % pieces.size()];
        reader.append(stream.mid(at, length));
        at += length;
        QByteArray frame;
        SimFrameReader::Result result;
        while ((result = reader.next(&frame)) == SimFrameReader::FrameReady) {
            SimRequest request;
            if (!SimRequest::parse(frame, &request, error))
                return lines;
            lines.append(request.describe());
        }
        if (result == SimFrameReader::Broken) {
            *error = reader.error();
            return lines;
        }
    }
    if (reader.pendingBytes() > 0)
        *error = QStringLiteral("%1 of %2 bytes pending")
                     .arg(reader.pendingBytes())
                     .arg(reader.pendingFrameSize());
    return lines;
}

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

} // namespace

class TestSimRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exactBytes_data();
    void exactBytes();
    void splitAnywhere_data();
    void splitAnywhere();
    void badInput_data();
    void badInput();
};

void TestSimRequests::splitAnywhere_data()
{
    QTest::addColumn<QList<int>>("pieces");

    QTest::newRow("whole") << QList<int>{100000};
    QTest::newRow("single bytes") << QList<int>{1};
    QTest::newRow("uneven pieces") << QList<int>{3, 11, 2, 29, 7, 140, 1};
}

void TestSimRequests::splitAnywhere()
{
    QFETCH(QList<int>, pieces);
    QString error;
    // Subscriptions as the profiler sends them on connecting, then one command of each kind.
    const QByteArray session = subscription(1, 100) + subscription(7, 100) + subscription(9, 200) +
                               switchCommand(2, Q_UINT64_C(0x00007F3A80001040), false) +
                               switchCommand(3, 5, true) + textCommand(1, 6, "Show") +
                               textCommand(7, 0, "Weapons");
    const QStringList lines = readAll(session, pieces, &error);
    QCOMPARE(error, QString());
    const QStringList expected{
        "subscription kind 1/0 rate 100",           "subscription kind 7/0 rate 100",
        "subscription kind 9/0 rate 200",           "command enable id 0x00007f3a80001040 = 0",
        "command bypass id 0x0000000000000005 = 1", "command dsp-text \"Show\"",
        "command group-text \"Weapons\"",
    };
    QCOMPARE(lines, expected);
}

void TestSimRequests::badInput_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<int>("goodLines");
    QTest::addColumn<QString>("error");

    const QByteArray good = subscription(1, 100);
    QTest::newRow("size 0 never loops")
        << good + header(0, 0, 0, 0) + good << 1 << "frame size 0 is below the 12-byte header";
    QTest::newRow("sub-kind not taken")
        << header(18, 1, 0, 6) + QByteArray(6, '\0') << 0 << "unknown frame kind 1/0 (18 bytes)";
    QTest::newRow("command shorter than its layout")
        << header(20, 1, 2, 6) + QByteArray(8, '\0') << 0
        << "frame 1/2 of 20 bytes is shorter than its 21";
}

void TestSimRequests::badInput()
{
    QFETCH(QByteArray, stream);
    QFETCH(int, goodLines);
    QFETCH(QString, error);
    QString actual;
    QCOMPARE(readAll(stream, {1}, &actual).size(), goodLines);
    QCOMPARE(actual, error);
}

// The simulator's frames are decoded end to end by the profiler; these few
// exact-byte rows pin the fields where a wrong writer and a wrong decoder
// could agree with each other, and one hostile frame.
void TestSimRequests::exactBytes_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("offset");
    QTest::addColumn<QByteArray>("expected");

    const SimNetwork n = fixture();
    const auto hex = &QByteArray::fromHex;
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

void TestSimRequests::exactBytes()
{
    QFETCH(QByteArray, frame);
    QFETCH(int, offset);
    QFETCH(QByteArray, expected);
    QCOMPARE(qFromLittleEndian<quint32>(frame.constData()), quint32(frame.size()));
    QVERIFY(offset + expected.size() <= frame.size());
    QCOMPARE(frame.mid(offset, expected.size()).toHex(' '), expected.toHex(' '));
}

QTEST_GUILESS_MAIN(TestSimRequests)
#include "tst_SimRequests.moc"
