#include "FakeTarget.h"
#include "ProfilerNetwork.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

// The idle and retry timers in real time. Tolerances are generous since the
// machine may be busy, and a coarse timer may fire up to 5 % early; what
// matters is the order of events and that nothing happens much too early.
class tst_ProfilerNetworkTimers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void silentTargetIsRetried();
};

namespace {

const QString targetClosed = QStringLiteral("Target closed... Attempting reconnection.");
const QString connected = QStringLiteral("Connected.");

} // namespace

// Every arrival of bytes gives the target 3000 ms more; once they have passed
// the link is dropped, and 5000 ms later the first retry connects without a
// status line of its own. Then the target closes and refuses: refused retries
// stay silent and the timer keeps going until the target listens again.
void tst_ProfilerNetworkTimers::silentTargetIsRetried()
{
    FakeTarget target;
    ProfilerNetwork network;
    network.connectToTarget(QStringLiteral("127.0.0.1"), target.port());
    QTRY_VERIFY(network.isConnected() && target.hasClient());

    QSignalSpy status(&network, SIGNAL(statusChanged(QString)));
    QElapsedTimer clock;
    clock.start();
    target.send(QByteArray(5, 'x'));
    QTest::qWait(2000);
    target.send(QByteArray(5, 'x')); // still no whole frame
    const qint64 lastBytes = clock.elapsed();
    QTRY_COMPARE_WITH_TIMEOUT(status.count(), 1, 10000);
    const qint64 dropped = clock.elapsed();
    QVERIFY2(dropped - lastBytes >= 2850, qPrintable(QString::number(dropped - lastBytes)));
    QCOMPARE(status.at(0).at(0).toString(), targetClosed);
    QVERIFY(!network.isConnected() && network.isConnecting());

    QTRY_COMPARE_WITH_TIMEOUT(status.count(), 2, 10000);
    QCOMPARE(status.at(1).at(0).toString(), connected);
    QCOMPARE(target.connectionCount(), 2);
    QVERIFY2(clock.elapsed() - dropped >= 4750,
             qPrintable(QString::number(clock.elapsed() - dropped)));

    target.stopListening();
    target.closeClient();
    QTRY_COMPARE(status.count(), 3);
    const qint64 closed = clock.elapsed();
    QTRY_VERIFY_WITH_TIMEOUT(clock.elapsed() - closed > 6500, 10000);
    QCOMPARE(status.count(), 3); // the first retry was refused without a word
    QVERIFY(network.isConnecting() && network.isReconnectTimerActive());
    QVERIFY(target.listen());
    QTRY_COMPARE_WITH_TIMEOUT(status.count(), 4, 15000);
    QCOMPARE(status.at(3).at(0).toString(), connected);
    QVERIFY(clock.elapsed() - closed >= 9000);
    QCOMPARE(target.connectionCount(), 3);
    QVERIFY(!network.isReconnectTimerActive() && !network.isConnecting());
}

QTEST_GUILESS_MAIN(tst_ProfilerNetworkTimers)
#include "tst_ProfilerNetworkTimers.moc"
