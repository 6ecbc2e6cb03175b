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
    void refusedRetriesAreSilent();
};

// Every arrival of bytes gives the target 3000 ms more; once they have passed
// the link is dropped, and 5000 ms later the first retry connects without a
// status line of its own.
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
    QCOMPARE(status.at(0).at(0).toString(),
             QStringLiteral("Target closed... Attempting reconnection."));
    QVERIFY(!network.isConnected() && network.isConnecting());

    QTRY_COMPARE_WITH_TIMEOUT(status.count(), 2, 10000);
    QCOMPARE(status.at(1).at(0).toString(), QStringLiteral("Connected."));
    QCOMPARE(target.connectionCount(), 2);
    QVERIFY2(clock.elapsed() - dropped >= 4750,
             qPrintable(QString::number(clock.elapsed() - dropped)));
}

void tst_ProfilerNetworkTimers::refusedRetriesAreSilent()
{
    FakeTarget target;
    ProfilerNetwork network;
    network.connectToTarget(QStringLiteral("127.0.0.1"), target.port());
    QTRY_VERIFY(network.isConnected() && target.hasClient());

    QSignalSpy status(&network, SIGNAL(statusChanged(QString)));
    target.stopListening();
    target.closeClient();
    QTRY_COMPARE(status.count(), 1);

    // The first retry tick, at 5000 ms, is refused without a word; the timer
    // keeps going.
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY_WITH_TIMEOUT(clock.elapsed() > 6500, 10000);
    QCOMPARE(status.count(), 1);
    QVERIFY(network.isConnecting());
    QVERIFY(network.isReconnectTimerActive());

    // The target comes back on the same port and the next tick finds it.
    QVERIFY(target.listen());
    QTRY_COMPARE_WITH_TIMEOUT(status.count(), 2, 15000);
    QCOMPARE(status.at(1).at(0).toString(), QStringLiteral("Connected."));
    QVERIFY2(clock.elapsed() >= 9000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(target.connectionCount(), 2);
    QVERIFY(!network.isReconnectTimerActive() && !network.isConnecting());
}

QTEST_GUILESS_MAIN(tst_ProfilerNetworkTimers)
#include "tst_ProfilerNetworkTimers.moc"
