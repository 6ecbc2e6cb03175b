#include "FakeTarget.h"
#include "PacketHeader.h"
#include "ProfilerNetwork.h"
#include "TestFrames.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

namespace {

const char* const socketError = "A socket error has occurred... Disconnected.";
const QString targetClosed = QStringLiteral("Target closed... Attempting reconnection.");
const QString connected = QStringLiteral("Connected.");

QString lastText(const QSignalSpy& spy)
{
    return spy.isEmpty() ? QString() : spy.last().at(0).toString();
}

} // namespace

class tst_ProfilerNetwork : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void framing_data();
    void framing();
    void hostileSize_data();
    void hostileSize();
    void pauseDropsFrames();
    void untakenFramesStayQueued_data();
    void untakenFramesStayQueued();
    void attemptWhileOneRuns();
    void sendPacketBounds_data();
    void sendPacketBounds();
    void silentTargetIsRetried();

private:
    void connectLink();

    FakeTarget* target = nullptr;
    ProfilerNetwork* network = nullptr;
};

void tst_ProfilerNetwork::init()
{
    target = new FakeTarget();
    network = new ProfilerNetwork();
}

void tst_ProfilerNetwork::cleanup()
{
    delete network;
    delete target;
}

void tst_ProfilerNetwork::connectLink()
{
    QSignalSpy status(network, SIGNAL(statusChanged(QString)));
    network->connectToTarget(QStringLiteral("127.0.0.1"), target->port());
    QTRY_VERIFY(network->isConnected() && target->hasClient());
    QCOMPARE(status.count(), 2);
    QCOMPARE(lastText(status), connected);
    QVERIFY(!network->isConnecting());
    QVERIFY(!network->isIdleTimerActive()); // nothing received yet: never timed out
}

// Each row is a list of writes; the test waits until the link has read one
// write before it sends the next.
void tst_ProfilerNetwork::framing_data()
{
    QTest::addColumn<QList<QByteArray>>("writes");
    QTest::addColumn<QList<int>>("queuedAfterWrite");
    QTest::addColumn<int>("packetReadyCount");

    const QByteArray frame = TestFrames::frame(3, 0, 1, QByteArray(16, 'x'));
    QTest::newRow("frame in two halves")
        << QList<QByteArray>{frame.left(10), frame.mid(10)} << QList<int>{0, 1} << 1;
    QTest::newRow("five frames in one write")
        << QList<QByteArray>{frame.repeated(5)} << QList<int>{5} << 1;
    QTest::newRow("whole frame and a half")
        << QList<QByteArray>{frame + frame.left(20), frame.mid(20)} << QList<int>{1, 2} << 2;
}

void tst_ProfilerNetwork::framing()
{
    QFETCH(QList<QByteArray>, writes);
    QFETCH(QList<int>, queuedAfterWrite);
    QFETCH(int, packetReadyCount);

    connectLink();
    QSignalSpy ready(network, SIGNAL(packetReady()));
    for (qsizetype i = 0; i < writes.size(); ++i) {
        target->send(writes.at(i));
        // Every arrival of bytes restarts the idle timer, whole frame or not.
        QTRY_VERIFY(network->isIdleTimerActive());
        QTRY_COMPARE(network->queuedPacketCount(), queuedAfterWrite.at(i));
        if (queuedAfterWrite.at(i) == 0)
            QCOMPARE(ready.count(), 0);
        network->subscribe(1, 0, 100); // stops the idle timer for the next round
        QVERIFY(!network->isIdleTimerActive());
    }
    QTRY_COMPARE(ready.count(), packetReadyCount);
    QVERIFY(network->isConnected());
}

void tst_ProfilerNetwork::hostileSize_data()
{
    QTest::addColumn<quint32>("size");
    QTest::newRow("zero") << quint32(0);
    QTest::newRow("five") << quint32(5);
    QTest::newRow("eleven") << quint32(11);
    QTest::newRow("all ones") << quint32(0xFFFFFFFF);
    QTest::newRow("one past the cap") << PacketHeader::maxFrameSize + 1;
}

// A good frame, then a header that cannot be framed: the link drops at once
// (no waiting for bytes that would never come), the good frame stays queued
// and no packetReady is sent for the broken pass. The first pass of the next
// connection then brings it with its own.
void tst_ProfilerNetwork::hostileSize()
{
    QFETCH(quint32, size);
    connectLink();
    QSignalSpy status(network, SIGNAL(statusChanged(QString)));
    QSignalSpy ready(network, SIGNAL(packetReady()));
    target->send(TestFrames::frame(3, 0, 1, QByteArray(16, 'a')) + FakeTarget::header(size, 4));
    QTRY_COMPARE(lastText(status), QString::fromLatin1(socketError));
    QCOMPARE(status.count(), 1);
    QVERIFY(!network->isConnected() && !network->isConnecting());
    QVERIFY(!network->isIdleTimerActive() && !network->isReconnectTimerActive());
    QCOMPARE(network->queuedPacketCount(), 1);
    QCOMPARE(ready.count(), 0);
    network->connectToTarget(QStringLiteral("127.0.0.1"), target->port());
    QTRY_VERIFY(network->isConnected() && target->connectionCount() == 2);
    target->send(TestFrames::frame(5, 0, 1));
    QTRY_COMPARE(ready.count(), 1);
    QCOMPARE(network->countPackets(3, 0) + network->countPackets(5, 0), 2);
}

void tst_ProfilerNetwork::pauseDropsFrames()
{
    connectLink();
    QSignalSpy ready(network, SIGNAL(packetReady()));
    network->paused = true;
    target->send(TestFrames::frame(3, 0, 1).repeated(3) + TestFrames::frame(3, 0, 1).left(5));
    QTRY_VERIFY(network->isIdleTimerActive()); // still read and timed while paused
    QTRY_COMPARE(network->queuedPacketCount(), 0);
    network->paused = false;
    // The rest of the cut frame, then one new frame: only those two remain.
    target->send(TestFrames::frame(3, 0, 1).mid(5) + TestFrames::frame(5, 0, 0));
    QTRY_COMPARE(ready.count(), 1);
    QCOMPARE(network->countPackets(3, 0), 1);
    QCOMPARE(network->countPackets(5, 0), 1);
}

void tst_ProfilerNetwork::untakenFramesStayQueued_data()
{
    QTest::addColumn<bool>("targetCloses");
    QTest::newRow("the user disconnects") << false;
    QTest::newRow("the target closes") << true;
}

// The queue outlives a connection, but a frame cut short does not: the next
// connection's stream starts at a frame of its own.
void tst_ProfilerNetwork::untakenFramesStayQueued()
{
    QFETCH(bool, targetCloses);
    connectLink();
    QSignalSpy status(network, SIGNAL(statusChanged(QString)));
    QSignalSpy ready(network, SIGNAL(packetReady()));
    target->send(TestFrames::frame(2, 0, 0));
    QTRY_COMPARE(ready.count(), 1);
    // A later pass that adds only part of a frame still announces the old one.
    const QByteArray cut = TestFrames::frame(3, 0, 1, QByteArray(16, 'x'));
    target->send(cut.left(20));
    QTRY_COMPARE(ready.count(), 2);
    if (targetCloses) {
        target->closeClient();
        QTRY_COMPARE(lastText(status), targetClosed);
    } else {
        network->disconnectFromTarget();
    }
    QCOMPARE(network->countPackets(2, 0), 1);
    QCOMPARE(network->takePacket(2, 0), TestFrames::frame(2, 0, 0));
    QCOMPARE(network->queuedPacketCount(), 0);
    network->connectToTarget(QStringLiteral("127.0.0.1"), target->port());
    QTRY_VERIFY(network->isConnected() && target->connectionCount() == 2);
    target->send(cut);
    QTRY_COMPARE(ready.count(), 3);
    QCOMPARE(network->takePacket(3, 0), cut);
    QCOMPARE(network->queuedPacketCount(), 0);
}

// The socket refuses a second connectToHost while one runs; that goes through
// the error table like any other error. (Refusals and closes are run through
// the whole form.)
void tst_ProfilerNetwork::attemptWhileOneRuns()
{
    QSignalSpy status(network, SIGNAL(statusChanged(QString)));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("connectToHost")));
    network->connectToTarget(QStringLiteral("127.0.0.1"), target->port());
    network->connectToTarget(QStringLiteral("127.0.0.1"), target->port());
    QTRY_COMPARE(lastText(status), QString::fromLatin1(socketError));
    QVERIFY(!network->isConnecting() && !network->isReconnectTimerActive());
    QVERIFY(!network->isIdleTimerActive());
}

void tst_ProfilerNetwork::sendPacketBounds_data()
{
    QTest::addColumn<QByteArray>("buffer");
    QTest::addColumn<QByteArray>("sent");

    const QByteArray command = QByteArray::fromHex("150000000000000001030600050000000000000001");
    QTest::newRow("whole frame") << command << command;
    QTest::newRow("only size bytes of a longer buffer") << command + "junk" << command;
    QTest::newRow("size below a header is no frame") << FakeTarget::header(4, 1) << QByteArray();
}

void tst_ProfilerNetwork::sendPacketBounds()
{
    QFETCH(QByteArray, buffer);
    QFETCH(QByteArray, sent);

    connectLink();
    network->sendPacket(buffer.constData());
    // A marker frame behind shows that everything before it has arrived.
    const QByteArray marker = TestFrames::frame(0, 0, 0, "end!!!");
    network->sendPacket(marker.constData());
    QTRY_COMPARE(target->received(), sent + marker);
    QVERIFY(network->isConnected());
}

// The idle and retry timers in real time. Tolerances are generous since the
// machine may be busy, and a coarse timer may fire up to 5 % early; what
// matters is the order of events and that nothing happens much too early.
// Every arrival of bytes gives the target 3000 ms more; once they have passed
// the link is dropped, and 5000 ms later the first retry connects without a
// status line of its own. Then the target closes and refuses: refused retries
// stay silent and the timer keeps going until the target listens again.
void tst_ProfilerNetwork::silentTargetIsRetried()
{
    network->connectToTarget(QStringLiteral("127.0.0.1"), target->port());
    QTRY_VERIFY(network->isConnected() && target->hasClient());

    QSignalSpy status(network, SIGNAL(statusChanged(QString)));
    QElapsedTimer clock;
    clock.start();
    // When each status line came: read after a QTRY, the clock runs late on a
    // busy machine. The connection ends with `scope`, before `when` goes.
    QList<qint64> when;
    QObject scope;
    connect(network, &ProfilerNetwork::statusChanged, &scope,
            [&] { when.append(clock.elapsed()); });
    target->send(QByteArray(5, 'x'));
    QTest::qWait(2000);
    target->send(QByteArray(5, 'x')); // still no whole frame
    const qint64 lastBytes = clock.elapsed();
    QTRY_COMPARE_WITH_TIMEOUT(status.count(), 1, 10000);
    QVERIFY2(when[0] - lastBytes >= 2850, qPrintable(QString::number(when[0] - lastBytes)));
    QCOMPARE(status.at(0).at(0).toString(), targetClosed);
    QVERIFY(!network->isConnected() && network->isConnecting());

    QTRY_COMPARE_WITH_TIMEOUT(status.count(), 2, 10000);
    QCOMPARE(status.at(1).at(0).toString(), connected);
    QCOMPARE(target->connectionCount(), 2);
    QVERIFY2(when[1] - when[0] >= 4750, qPrintable(QString::number(when[1] - when[0])));

    target->stopListening();
    target->closeClient();
    QTRY_COMPARE(status.count(), 3);
    QTRY_VERIFY_WITH_TIMEOUT(clock.elapsed() - when[2] > 6500, 10000);
    QCOMPARE(status.count(), 3); // the first retry was refused without a word
    QVERIFY(network->isConnecting() && network->isReconnectTimerActive());
    QVERIFY(target->listen());
    QTRY_COMPARE_WITH_TIMEOUT(status.count(), 4, 15000);
    QCOMPARE(status.at(3).at(0).toString(), connected);
    QVERIFY2(when[3] - when[2] >= 9000, qPrintable(QString::number(when[3] - when[2])));
    QCOMPARE(target->connectionCount(), 3);
    QVERIFY(!network->isReconnectTimerActive() && !network->isConnecting());
}

QTEST_GUILESS_MAIN(tst_ProfilerNetwork)
#include "tst_ProfilerNetwork.moc"
