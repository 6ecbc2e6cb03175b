#include "ProfilerHarness.h"
#include "SimProcess.h"

#include <QTcpSocket>
#include <QtEndian>
#include <QtTest>

namespace {

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

class TestSimBadClients : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void badClientIsDropped_data();
    void badClientIsDropped();

private:
    SimProcess* sim = nullptr;
};

void TestSimBadClients::init()
{
    if (SimProcess::program().isEmpty())
        QSKIP("ZELTO_SIM does not name the simulated target");
    sim = new SimProcess();
}

void TestSimBadClients::cleanup()
{
    QCOMPARE(SimProcess::finish(sim, QTest::currentTestFailed()),
             0); // no client ever ends the simulator
}

void TestSimBadClients::badClientIsDropped_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("logged");

    QTest::newRow("text instead of frames")
        << QByteArray("GET / HTTP/1.1\r\n\r\n") << "frame size 542393671 is above";
    QTest::newRow("truncated frame")
        << subscription().left(15) << "middle of a frame (15 of 18 bytes)";
}

// Whatever a client sends, the simulator logs it, lets that client go and
// serves the next one.
void TestSimBadClients::badClientIsDropped()
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

QTEST_GUILESS_MAIN(TestSimBadClients)
#include "tst_SimBadClients.moc"
