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
    void pauseDropsFrames();
    void queueOutlivesTheConnection_data();
    void queueOutlivesTheConnection();
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

void tst_ProfilerNetwork::pauseDropsFrames()
{
    connectLink();
    QSignalSpy ready(network, SIGNAL(packetReady()));
    network->paused = true;
    target->send(TestFrames::frame(3, 0, 1).repeated(3) + TestFrames::frame(3, 0, 1).left(5));
    QTRY_VERIFY(network->isIdleTimerActive()); // still read and timed while paused
    QTRY_COMPARE(network->queuedPacketCount(), 0);
    QCOMPARE(ready.count(), 0); // nothing queued, nothing announced
    network->subscribe(1, 0, 100);
    QVERIFY(!network->isIdleTimerActive());
    network->paused = false;
    // More of the cut frame: a pass with no whole frame and nothing queued is silent.
    target->send(TestFrames::frame(3, 0, 1).mid(5, 3));
    QTRY_VERIFY(network->isIdleTimerActive());
    QCOMPARE(ready.count(), 0);
    // The rest of it, then one new frame: only those two remain.
    target->send(TestFrames::frame(3, 0, 1).mid(8) + TestFrames::frame(5, 0, 0));
    QTRY_COMPARE(ready.count(), 1);
    QCOMPARE(network->countPackets(3, 0), 1);
    QCOMPARE(network->countPackets(5, 0), 1);
}

void tst_ProfilerNetwork::queueOutlivesTheConnection_data()
{
    QTest::addColumn<QString>("ending");
    QTest::addColumn<quint32>("size"); // of the header that cannot be framed
    QTest::newRow("the user disconnects") << "disconnect" << quint32(0);
    QTest::newRow("the target closes") << "close" << quint32(0);
    QTest::newRow("size zero") << "broken" << quint32(0);
    QTest::newRow("size five") << "broken" << quint32(5);
    QTest::newRow("size eleven") << "broken" << quint32(11);
    QTest::newRow("size all ones") << "broken" << quint32(0xFFFFFFFF);
    QTest::newRow("size one past the cap") << "broken" << PacketHeader::maxFrameSize + 1;
}

// What is queued outlives the connection and meets the next one's first pass; a
// frame cut short does not: the next stream starts at a frame of its own.
void tst_ProfilerNetwork::queueOutlivesTheConnection()
{
    QFETCH(QString, ending);
    QFETCH(quint32, size);
    connectLink();
    QSignalSpy status(network, SIGNAL(statusChanged(QString)));
    QSignalSpy ready(network, SIGNAL(packetReady()));
    const QByteArray untaken = TestFrames::frame(2, 0, 0);
    const QByteArray cut = TestFrames::frame(3, 0, 1, QByteArray(16, 'x'));
    target->send(untaken);
    QTRY_COMPARE(ready.count(), 1);
    if (ending == QLatin1String("broken")) {
        // Dropped at once, not waiting for bytes that never come; the good frame
        // of that pass stays queued, unannounced.
        target->send(cut + FakeTarget::header(size, 4));
        QTRY_COMPARE(lastText(status), QString::fromLatin1(socketError));
        QCOMPARE(status.count(), 1);
        QVERIFY(!network->isConnected() && !network->isConnecting());
        QVERIFY(!network->isIdleTimerActive() && !network->isReconnectTimerActive());
        QCOMPARE(ready.count(), 1);
    } else {
        // A pass that adds only part of a frame still announces the old one.
        target->send(cut.left(20));
        QTRY_COMPARE(ready.count(), 2);
        if (ending == QLatin1String("close")) {
            target->closeClient();
            QTRY_COMPARE(lastText(status), targetClosed);
        } else {
            network->disconnectFromTarget();
        }
    }
    const qsizetype passes = ready.count();
    network->connectToTarget(QStringLiteral("127.0.0.1"), target->port());
    QTRY_VERIFY(network->isConnected() && target->connectionCount() == 2);
    target->send(TestFrames::frame(5, 0, 1));
    QTRY_COMPARE(ready.count(), passes + 1);
    QCOMPARE(network->takePacket(2, 0), untaken);
    QCOMPARE(network->countPackets(3, 0), ending == QLatin1String("broken") ? 1 : 0);
    QCOMPARE(network->countPackets(5, 0), 1);
    QCOMPARE(network->queuedPacketCount(), ending == QLatin1String("broken") ? 2 : 1);
}

// The socket refuses a second connectToHost while one runs: the error table applies.
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

// The idle and retry timers in real time; a coarse timer may fire 5 % early. Each
// arrival of bytes gives the target 3000 ms more, the retry comes 5000 ms after the
// drop, and refused retries stay silent until the target listens again.
void tst_ProfilerNetwork::silentTargetIsRetried()
{
    network->connectToTarget(QStringLiteral("127.0.0.1"), target->port());
    QTRY_VERIFY(network->isConnected() && target->hasClient());

    QSignalSpy status(network, SIGNAL(statusChanged(QString)));
    QElapsedTimer clock;
    clock.start();
    // Stamped as each line comes: read after a QTRY, the clock runs late.
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
