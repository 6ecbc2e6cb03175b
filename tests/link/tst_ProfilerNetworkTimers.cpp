#include "FakeTarget.h"
#include "ProfilerNetwork.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

// The retry timer in real time, while the target refuses: refused retries
// stay silent and the timer keeps going. (A silent target dropped after
// 3000 ms and retried after 5000 ms is run end to end against the simulated
// target.) Tolerances are generous since the machine may be busy; what
// matters is the order of events and that nothing happens much too early.
class tst_ProfilerNetworkTimers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusedRetriesAreSilent();
};

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
