#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "DSPTree.h"
#include "ProfilerHarness.h"
#include "ProfilerNetwork.h"
#include "SimProcess.h"
#include "StatsHistory.h"

#include <QElapsedTimer>
#include <QtTest>

namespace {

const QString oldVersion =
    QStringLiteral("Connected. (Old version detected, reduced functionality)");
const QString incompatible =
    QStringLiteral("Connected. (Incompatible version detected, reduced functionality)");
const QString socketError = QStringLiteral("A socket error has occurred... Disconnected.");

// The part of a log line behind its time stamp.
QString eventOf(const QString& line)
{
    const QString trimmed = line.trimmed();
    return trimmed.mid(trimmed.indexOf(QLatin1String("  ")) + 2);
}

} // namespace

class TestSimEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void subscriptionsArrive();
    void kindsArriveAtTheirRate_data();
    void kindsArriveAtTheirRate();
    void commandRoundTrip_data();
    void commandRoundTrip();
    void largeNetworkArrives();
    void secondClientWaits();

private:
    SimProcess* sim = nullptr;
};

void TestSimEndToEnd::init()
{
    if (SimProcess::program().isEmpty())
        QSKIP("ZELTO_SIM does not name the simulated target");
    sim = new SimProcess();
}

void TestSimEndToEnd::cleanup()
{
    QCOMPARE(SimProcess::finish(sim, QTest::currentTestFailed()), 0); // SIGTERM ends it cleanly
}

void TestSimEndToEnd::subscriptionsArrive()
{
    QVERIFY(sim->start());
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QVERIFY(sim->waitForLine(QStringLiteral("subscription kind"), 5000, 6));
    QStringList subscriptions;
    for (const QString& line : sim->lines()) {
        if (line.contains(QLatin1String("subscription kind")))
            subscriptions.append(eventOf(line));
    }
    const QStringList expected{
        "subscription kind 1/0 every 100 ms", "subscription kind 7/0 every 100 ms",
        "subscription kind 3/0 every 200 ms", "subscription kind 4/0 every 200 ms",
        "subscription kind 5/0 every 200 ms", "subscription kind 9/0 every 200 ms",
    };
    QCOMPARE(subscriptions, expected);
}

void TestSimEndToEnd::kindsArriveAtTheirRate_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("status");

    QTest::newRow("whole frames") << QStringList() << QString();
    QTest::newRow("single bytes") << QStringList{"--split", "bytes"} << QString();
    QTest::newRow("random pieces") << QStringList{"--split", "random", "--seed", "7"} << QString();
    QTest::newRow("unread kinds between") << QStringList{"--noise"} << QString();
    QTest::newRow("old versions") << QStringList{"--dsp-version", "3", "--cpu-version", "0"}
                                  << oldVersion;
}

// Twenty snapshots at 100 ms take two seconds; in that time every other kind
// must have come at its own rate, and everything must have been decoded.
void TestSimEndToEnd::kindsArriveAtTheirRate()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, status);
    QVERIFY(sim->start(arguments));
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(!profiler.tree->head.inputs.isEmpty(), 5000);

    profiler.resetCounts();
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY_WITH_TIMEOUT(profiler.frames(1) >= 20, 15000);
    const qint64 elapsed = clock.elapsed();
    QVERIFY2(elapsed > 1500 && elapsed < 8000, QByteArray::number(elapsed).constData());
    const QList<QPair<int, int>> rates{{7, 100}, {3, 200}, {4, 200}, {5, 200}, {9, 200}};
    for (const auto& [kind, rate] : rates) {
        const double expected = double(elapsed) / rate;
        const int frames = profiler.frames(quint8(kind));
        QVERIFY2(
            frames >= expected * 0.6 - 1 && frames <= expected * 1.4 + 2,
            qPrintable(
                QStringLiteral("kind %1: %2 frames in %3 ms").arg(kind).arg(frames).arg(elapsed)));
    }

    QVERIFY(profiler.tree->nodes.size() >= 36);
    QCOMPARE(profiler.tree->groups.size(), qsizetype(9));
    QVERIFY(!profiler.cpu->snapshots()->isEmpty());
    QVERIFY(!profiler.channels->snapshots()->isEmpty());
    QVERIFY(!profiler.codecs->snapshots()->isEmpty());
    QVERIFY(!profiler.stats->snapshots()->isEmpty());
    QCOMPARE(profiler.statusCount(incompatible), 0);
    QCOMPARE(profiler.statusCount(socketError), 0);
    if (!status.isEmpty())
        QVERIFY(profiler.statusCount(status) > 0);
}

void TestSimEndToEnd::commandRoundTrip_data()
{
    QTest::addColumn<QString>("unit");
    QTest::addColumn<bool>("bypassCommand");
    QTest::addColumn<bool>("value");
    QTest::addColumn<QString>("logged");

    QTest::newRow("disable") << "Wind Channel" << false << false << " = 0 (Wind Channel)";
    QTest::newRow("enable an inactive unit")
        << "Birds Channel" << false << true << " = 1 (Birds Channel)";
    QTest::newRow("bypass") << "Rifle Channel" << true << true << " = 1 (Rifle Channel)";
    QTest::newRow("unbypass") << "SFX Lowpass" << true << false << " = 0 (SFX Lowpass)";
    QTest::newRow("unknown unit") << QString() << false << false << "for an unknown unit: ignored";
}

void TestSimEndToEnd::commandRoundTrip()
{
    QFETCH(QString, unit);
    QFETCH(bool, bypassCommand);
    QFETCH(bool, value);
    QFETCH(QString, logged);
    QVERIFY(sim->start());
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(profiler.findNode(QStringLiteral("Wind Channel")), 5000);

    const quint64 id = unit.isEmpty() ? Q_UINT64_C(0xDEAD) : profiler.findNode(unit)->id;
    if (bypassCommand)
        profiler.tree->setDSPBypass(id, value);
    else
        profiler.tree->setDSPEnabled(id, value);
    const QString command =
        bypassCommand ? QStringLiteral("command bypass") : QStringLiteral("command enable");
    QVERIFY(sim->waitForLine(command, 5000));
    QVERIFY(sim->count(logged) == 1);
    if (unit.isEmpty())
        return;
    // The state comes back in a later snapshot; the pointer changes with each.
    QTRY_VERIFY_WITH_TIMEOUT(bypassCommand ? profiler.findNode(unit)->bypass == value
                                           : profiler.findNode(unit)->active == value,
                             3000);
}

void TestSimEndToEnd::largeNetworkArrives()
{
    QVERIFY(sim->start({"--nodes", "100000"}));
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(profiler.tree->nodes.size() >= 100000, 30000);
    profiler.resetCounts();
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY_WITH_TIMEOUT(profiler.frames(1) >= 5, 20000);
    qInfo("5 snapshots of 100000 units in %lld ms", clock.elapsed());
    QCOMPARE(profiler.statusCount(socketError), 0);
}

void TestSimEndToEnd::secondClientWaits()
{
    QVERIFY(sim->start());
    ProfilerHarness first;
    ProfilerHarness second;
    first.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(first.frames(1) > 0, 5000);
    second.connectTo(sim->port());
    QVERIFY(sim->waitForLine(QStringLiteral("waits: another client is being served"), 5000));

    first.resetCounts();
    QTRY_VERIFY_WITH_TIMEOUT(first.frames(1) >= 5, 5000);
    QCOMPARE(second.frames(1), 0);
    first.network->disconnectFromTarget();
    QTRY_VERIFY_WITH_TIMEOUT(second.frames(1) > 0, 5000);
    QCOMPARE(sim->count(QStringLiteral("subscription kind 1/0")), 2);
}

QTEST_GUILESS_MAIN(TestSimEndToEnd)
#include "tst_SimEndToEnd.moc"
