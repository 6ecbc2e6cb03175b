#include "FakeTarget.h"
#include "ProfilerNetwork.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

// The link's own timers, run in real time: 3000 ms of silence drops a
// connection, and retries come every 5000 ms. Tolerances are generous since
// the machine may be busy; what matters is the order of events and that
// nothing happens much too early.
class tst_ProfilerNetworkTimers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void idleTimeoutThenRetry();
    void refusedRetriesAreSilent();
};

void tst_ProfilerNetworkTimers::idleTimeoutThenRetry()
{
    FakeTarget target;
    ProfilerNetwork network;
    network.connectToTarget(QStringLiteral("127.0.0.1"), target.port());
    QTRY_VERIFY(network.isConnected() && target.hasClient());

    QSignalSpy status(&network, SIGNAL(statusChanged(QString)));
    QElapsedTimer clock;
    target.send(FakeTarget::frame(3, 0, 1, QByteArray(16, '\0')));
    clock.start();
    QTRY_COMPARE_WITH_TIMEOUT(status.count(), 1, 10000);
    const qint64 silence = clock.restart();
    QCOMPARE(status.at(0).at(0).toString(),
             QStringLiteral("Target closed... Attempting reconnection."));
    QVERIFY2(silence >= 2700, qPrintable(QString::number(silence)));
    QVERIFY(!network.isConnected()); // this side dropped the socket
    QVERIFY(network.isConnecting());

    // The first retry is silent and connects to the target, still listening.
    QTRY_COMPARE_WITH_TIMEOUT(target.connectionCount(), 2, 15000);
    const qint64 wait = clock.elapsed();
    QVERIFY2(wait >= 4500, qPrintable(QString::number(wait)));
    QTRY_COMPARE(status.count(), 2);
    QCOMPARE(status.at(1).at(0).toString(), QStringLiteral("Connected."));
    QVERIFY(!network.isReconnectTimerActive());
    QVERIFY(!network.isConnecting());
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
}

QTEST_GUILESS_MAIN(tst_ProfilerNetworkTimers)
#include "tst_ProfilerNetworkTimers.moc"
