#include "DSPTree.h"
#include "ProfilerHarness.h"
#include "ProfilerNetwork.h"
#include "SimProcess.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QtEndian>
#include <QtTest>

namespace {

const QString targetClosed = QStringLiteral("Target closed... Attempting reconnection.");
const QString socketError = QStringLiteral("A socket error has occurred... Disconnected.");
const QString oldVersion =
    QStringLiteral("Connected. (Old version detected, reduced functionality)");
const QString incompatible =
    QStringLiteral("Connected. (Incompatible version detected, reduced functionality)");

QByteArray header(quint32 size, quint8 kind, quint8 subKind = 0)
{
    QByteArray bytes(12, '\0');
    qToLittleEndian<quint32>(size, bytes.data());
    bytes[8] = char(kind);
    bytes[9] = char(subKind);
    return bytes;
}

QByteArray subscription()
{
    QByteArray bytes = header(18, 0) + QByteArray(6, '\0');
    bytes[12] = 1;
    bytes[14] = 100;
    return bytes;
}

} // namespace

class TestSimFaultsEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void lostTargetIsRetried_data();
    void lostTargetIsRetried();
    void badClientIsDropped_data();
    void badClientIsDropped();
    void hostileFrames_data();
    void hostileFrames();
    void versionStatus_data();
    void versionStatus();
    void refusedAtFirst();

private:
    SimProcess* sim = nullptr;
};

void TestSimFaultsEndToEnd::init()
{
    if (SimProcess::program().isEmpty())
        QSKIP("ZELTO_SIM does not name the simulated target");
    sim = new SimProcess();
}

void TestSimFaultsEndToEnd::cleanup()
{
    if (!sim)
        return;
    if (QTest::currentTestFailed())
        sim->dump();
    const int exitCode = sim->stop();
    delete sim;
    sim = nullptr;
    QCOMPARE(exitCode, 0); // no fault of any row ever ends the simulator
}

void TestSimFaultsEndToEnd::lostTargetIsRetried_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("fault");
    QTest::addColumn<int>("earliestMs");
    QTest::addColumn<int>("latestMs");

    // A stalled target is noticed by the 3000 ms idle timer, a closed one at once.
    QTest::newRow("stall") << QStringList{"--stall-after", "1"} << "fault: stalled" << 2500 << 6000;
    QTest::newRow("close") << QStringList{"--close-after", "1"} << "fault: closing" << 0 << 1500;
}

void TestSimFaultsEndToEnd::lostTargetIsRetried()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, fault);
    QFETCH(int, earliestMs);
    QFETCH(int, latestMs);
    QVERIFY(sim->start(arguments));
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QVERIFY(sim->waitForLine(fault, 5000));
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY_WITH_TIMEOUT(profiler.statusCount(targetClosed) == 1, latestMs + 2000);
    QVERIFY2(clock.elapsed() >= earliestMs && clock.elapsed() <= latestMs,
             QByteArray::number(clock.elapsed()).constData());
    QVERIFY(sim->waitForLine(QStringLiteral("client left"), 3000));

    // The retry comes with the 5000 ms timer and subscribes again.
    clock.restart();
    QTRY_COMPARE_WITH_TIMEOUT(profiler.statusCount(QStringLiteral("Connected.")), 2, 9000);
    QVERIFY(clock.elapsed() > 4000);
    QVERIFY(sim->waitForLine(QStringLiteral("subscription kind 9/0"), 3000, 2));
    profiler.resetCounts();
    QTRY_VERIFY_WITH_TIMEOUT(profiler.frames(3) > 0, 3000);
}

void TestSimFaultsEndToEnd::badClientIsDropped_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("logged");

    QTest::newRow("unknown kind") << header(12, 2) << "unknown frame kind 2/0 (12 bytes)";
    QTest::newRow("text instead of frames")
        << QByteArray("GET / HTTP/1.1\r\n\r\n") << "frame size 542393671 is above";
    QTest::newRow("truncated frame")
        << subscription().left(15) << "middle of a frame (15 of 18 bytes)";
}

// Whatever a client sends, the simulator logs it, lets that client go and
// serves the next one.
void TestSimFaultsEndToEnd::badClientIsDropped()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, logged);
    QVERIFY(sim->start());
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, sim->port());
    QVERIFY(client.waitForConnected(3000));
    client.write(bytes);
    client.flush();
    client.disconnectFromHost();
    QVERIFY(sim->waitForLine(logged, 5000));
    QVERIFY(sim->waitForLine(QStringLiteral("client left"), 5000));

    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(profiler.frames(1) > 0, 5000);
}

void TestSimFaultsEndToEnd::hostileFrames_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<bool>("linkSurvives");

    QTest::newRow("size 0") << "size0" << false;
    QTest::newRow("size 5") << "size5" << false;
    QTest::newRow("huge size") << "huge" << false;
    QTest::newRow("lying input count") << "lying-count" << true;
    QTest::newRow("unterminated names") << "unterminated-name" << true;
    QTest::newRow("too many levels") << "many-levels" << true;
    QTest::newRow("short sample frames") << "short" << true;
}

// A header that cannot be right ends the link; a broken payload inside a
// well-framed frame must not: the stream goes on.
void TestSimFaultsEndToEnd::hostileFrames()
{
    QFETCH(QString, mode);
    QFETCH(bool, linkSurvives);
    QVERIFY(sim->start({"--hostile", mode}));
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QVERIFY(sim->waitForLine(QStringLiteral("fault: hostile"), 5000));
    if (!linkSurvives) {
        QTRY_COMPARE_WITH_TIMEOUT(profiler.statusCount(socketError), 1, 5000);
        return;
    }
    profiler.resetCounts();
    QTRY_VERIFY_WITH_TIMEOUT(profiler.frames(1) >= 10 && profiler.frames(3) >= 5, 5000);
    QCOMPARE(profiler.statusCount(socketError), 0);
    QVERIFY(!profiler.tree->nodes.isEmpty());
}

void TestSimFaultsEndToEnd::versionStatus_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("status");

    QTest::newRow("old DSP version") << QStringList{"--dsp-version", "2"} << oldVersion;
    QTest::newRow("unknown DSP version") << QStringList{"--bad-version", "1"} << incompatible;
    QTest::newRow("unknown CPU version") << QStringList{"--bad-version", "3"} << incompatible;
    QTest::newRow("unknown stats version") << QStringList{"--bad-version", "9"} << incompatible;
}

// Every second frame of a bad version is refused; the others still build the
// graph, and the link stays up.
void TestSimFaultsEndToEnd::versionStatus()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, status);
    QVERIFY(sim->start(arguments));
    ProfilerHarness profiler;
    profiler.connectTo(sim->port());
    QTRY_VERIFY_WITH_TIMEOUT(profiler.statusCount(status) > 0, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(!profiler.tree->nodes.isEmpty(), 5000);
    QCOMPARE(profiler.statusCount(socketError), 0);
}

void TestSimFaultsEndToEnd::refusedAtFirst()
{
    const quint16 port = SimProcess::freePort();
    QVERIFY(port != 0);
    sim->launch({"--port", QString::number(port), "--refuse-for", "1.5"});
    QVERIFY(sim->waitForLine(QStringLiteral("fault: refusing connections"), 5000));
    ProfilerHarness profiler;
    profiler.connectTo(port);
    QTRY_COMPARE_WITH_TIMEOUT(
        profiler.statusCount(QStringLiteral("Connection failed... Disconnected.")), 1, 3000);
    QVERIFY(sim->waitForLine(QStringLiteral("listening on"), 5000));
    profiler.connectTo(port);
    QTRY_VERIFY_WITH_TIMEOUT(profiler.frames(1) > 0, 5000);
}

QTEST_GUILESS_MAIN(TestSimFaultsEndToEnd)
#include "tst_SimFaultsEndToEnd.moc"
