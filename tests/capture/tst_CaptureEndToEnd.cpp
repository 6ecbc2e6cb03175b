#include "CaptureFormat.h"
#include "CaptureReader.h"
#include "CaptureWriter.h"
#include "DSPNetGraph.h"
#include "FakeTarget.h"
#include "LineGraphLegendItem.h"
#include "ProfilerForm.h"
#include "SimProcess.h"
#include "TestFrames.h"

#include <QCheckBox>
#include <QDir>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

namespace {

class Capture
{
public:
    explicit Capture(const QStringList& arguments)
    {
        process.start(qEnvironmentVariable("ZELTO_CAPTURE"), arguments);
    }
    ~Capture()
    {
        process.kill();
        process.waitForFinished();
    }
    bool waitFor(const char* fragment, int timeoutMs = 10000)
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < timeoutMs) {
            output += process.readAllStandardOutput();
            if (output.contains(fragment))
                return true;
            if (process.state() == QProcess::NotRunning)
                return false;
            QTest::qWait(10);
        }
        return false;
    }
    int stop()
    {
        process.terminate();
        return process.waitForFinished(5000) ? process.exitCode() : -1;
    }

    QProcess process;
    QByteArray output;
};

// Split at blanks before %1, %2, ... are filled in: a path may hold blanks.
QStringList words(const QString& line, const QStringList& fill = {})
{
    QStringList result = line.split(QLatin1Char(' '));
    for (QString& word : result) {
        for (qsizetype i = fill.size(); i > 0; --i)
            word.replace(QLatin1Char('%') + QString::number(i), fill.at(i - 1));
    }
    return result;
}

QList<CaptureRecord> readAll(const QString& path, CaptureReader::Status* status)
{
    CaptureReader reader;
    QString error;
    QList<CaptureRecord> records;
    if (!reader.open(path, &error))
        return records;
    CaptureRecord record;
    while (reader.next(&record))
        records.append(record);
    *status = reader.status();
    return records;
}

// What the window shows: every plate, and every legend row with its numbers.
QStringList shownBy(ProfilerForm* form)
{
    QStringList lines;
    for (const GraphNode& n : form->findChild<DSPNetGraph*>()->graphNodes()) {
        lines.append(QString());
        QDebug(&lines.last()) << n.name << n.id << n.active << n.bypass << n.inclusiveCPU
                              << n.exclusiveCPU << n.position;
    }
    for (LineGraphLegendItem* row : form->findChildren<LineGraphLegendItem*>())
        lines << row->name() + QStringLiteral(": ") + row->text();
    return lines;
}

void connectForm(ProfilerForm* form, quint16 port)
{
    form->resize(1000, 720);
    form->show();
    for (LineGraphLegendItem* row : form->findChildren<LineGraphLegendItem*>())
        row->checkBox()->setChecked(true);
    form->findChild<QLineEdit*>(QStringLiteral("portEdit"))->setText(QString::number(port));
    form->findChild<QPushButton*>(QStringLiteral("connectButton"))->click();
}

} // namespace

class TestCaptureEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void relayPassesEveryByteBothWays();
    void killedRecorderLosesAtMostASecond_data();
    void killedRecorderLosesAtMostASecond();
    void replayShowsWhatTheDirectRunShowed();
    void badUseGetsOneLineAndAnError_data();
    void badUseGetsOneLineAndAnError();

private:
    QString file(const QString& name) const { return QDir(dir.path()).filePath(name); }

    QTemporaryDir dir;
    QTcpServer portInUse;
};

void TestCaptureEndToEnd::initTestCase()
{
    if (qEnvironmentVariableIsEmpty("ZELTO_CAPTURE") || SimProcess::program().isEmpty())
        QSKIP("ZELTO_CAPTURE and ZELTO_SIM must name the programs");
    QVERIFY(portInUse.listen(QHostAddress::Any, 0));
}

void TestCaptureEndToEnd::relayPassesEveryByteBothWays()
{
    FakeTarget target;
    const quint16 relayPort = SimProcess::freePort();
    const QString path = file(QStringLiteral("relay.zcap"));
    Capture relay(words("record --target 127.0.0.1:%1 --listen %2 -o %3",
                        {QString::number(target.port()), QString::number(relayPort), path}));
    QVERIFY(relay.waitFor("recording"));
    QTcpSocket profiler;
    profiler.connectToHost(QHostAddress::LocalHost, relayPort);
    QVERIFY(profiler.waitForConnected(5000));

    // Two subscriptions and two commands to the target, in pieces that cut them anywhere.
    const QList<QByteArray> toTarget = {
        QByteArray::fromHex("120000000000000000000000010064000000"),
        QByteArray::fromHex("1200000000000000000000000900c8000000"),
        TestFrames::frame(1, 3, 6, QByteArray(9, '\1')),
        TestFrames::frame(1, 1, 6, QByteArray("Show") + QByteArray(124, '\0'))};
    const QByteArray sent = toTarget.join();
    profiler.write(sent.left(7));
    QTest::qWait(30);
    profiler.write(sent.mid(7));
    QTRY_COMPARE_WITH_TIMEOUT(target.received(), sent, 5000);

    // Frames to the profiler, then a header that no frame can have: the relay
    // stops recording there but still passes every byte on.
    TestNode unit;
    unit.id = 5;
    unit.name = QStringLiteral("Master");
    const QList<QByteArray> toProfiler = {
        TestFrames::snapshot(6, TestFrames::nodeRecord(6, unit, 0), 0, 48000, 1024),
        TestFrames::frame(3, 0, 1, QByteArray(16, '\2')),
        TestFrames::frame(200, 4, 9, QByteArray(3000, '\3'))};
    const QByteArray answer = toProfiler.join() + FakeTarget::header(5, 1);
    target.send(answer.left(40));
    QTest::qWait(30);
    target.send(answer.mid(40));
    QByteArray got;
    QTRY_VERIFY_WITH_TIMEOUT((got += profiler.readAll()).size() >= answer.size(), 5000);
    QCOMPARE(got, answer);

    target.closeClient();
    QTRY_COMPARE_WITH_TIMEOUT(profiler.state(), QAbstractSocket::UnconnectedState, 5000);
    QCOMPARE(relay.stop(), 0);

    CaptureReader::Status status = CaptureReader::Reading;
    QList<QByteArray> recordedToTarget, recordedToProfiler;
    for (const CaptureRecord& record : readAll(path, &status)) {
        if (record.type == CaptureFormat::ToTarget)
            recordedToTarget << record.data;
        if (record.type == CaptureFormat::ToProfiler)
            recordedToProfiler << record.data;
    }
    QCOMPARE(status, CaptureReader::Clean);
    QCOMPARE(recordedToTarget, toTarget);
    QCOMPARE(recordedToProfiler, toProfiler);
}

void TestCaptureEndToEnd::killedRecorderLosesAtMostASecond_data()
{
    QTest::addColumn<int>("killAfterMs");
    QTest::newRow("1.5 s") << 1500;
    QTest::newRow("3.2 s") << 3200;
}

void TestCaptureEndToEnd::killedRecorderLosesAtMostASecond()
{
    QFETCH(int, killAfterMs);
    SimProcess sim;
    QVERIFY(sim.start());
    const QString path = file(QStringLiteral("killed-%1.zcap").arg(killAfterMs));
    Capture relay(words("record --target 127.0.0.1:%1 --subscribe -o %2",
                        {QString::number(sim.port()), path}));
    QVERIFY(relay.waitFor("recording"));
    QElapsedTimer clock;
    clock.start();
    QTest::qWait(killAfterMs);
    relay.process.kill();
    const qint64 killedAtMs = clock.elapsed();
    QVERIFY(relay.process.waitForFinished(5000));

    CaptureReader::Status status = CaptureReader::Reading;
    const QList<CaptureRecord> records = readAll(path, &status);
    QCOMPARE(status, CaptureReader::CutOff);
    quint64 lastFrameUs = 0;
    for (const CaptureRecord& record : records) {
        if (record.type == CaptureFormat::ToProfiler)
            lastFrameUs = record.timeUs;
    }
    // Frames come every 100 ms: the last one before the final second may
    // stand that much earlier.
    QVERIFY2(qint64(lastFrameUs / 1000) >= killedAtMs - 1000 - 150,
             qPrintable(QStringLiteral("last frame at %1 ms, killed at %2 ms")
                            .arg(lastFrameUs / 1000)
                            .arg(killedAtMs)));
    Capture info(words("info %1", {path}));
    QVERIFY(info.waitFor("end: cut off"));
}

void TestCaptureEndToEnd::replayShowsWhatTheDirectRunShowed()
{
    SimProcess* sim = new SimProcess();
    QVERIFY(sim->start());
    const QString path = file(QStringLiteral("session.zcap"));
    const quint16 relayPort = SimProcess::freePort();
    Capture relay(words("record --target 127.0.0.1:%1 --listen %2 -o %3",
                        {QString::number(sim->port()), QString::number(relayPort), path}));
    QVERIFY(relay.waitFor("recording"));
    ProfilerForm live;
    connectForm(&live, relayPort);
    QTRY_VERIFY_WITH_TIMEOUT(!live.findChild<DSPNetGraph*>()->graphNodes().isEmpty(), 5000);
    QTest::qWait(2500);
    // The target goes away; the window keeps what it last showed.
    QCOMPARE(SimProcess::finish(sim, false), 0);
    QVERIFY(relay.waitFor("target:"));
    QTest::qWait(300);
    const QStringList direct = shownBy(&live);
    QCOMPARE(relay.stop(), 0);

    const quint16 replayPort = SimProcess::freePort();
    Capture replay(words("replay %1 --port %2", {path, QString::number(replayPort)}));
    QVERIFY(replay.waitFor("replaying"));
    ProfilerForm replayed;
    connectForm(&replayed, replayPort);
    QVERIFY(replay.waitFor("replay finished", 15000));
    QTRY_COMPARE_WITH_TIMEOUT(replay.process.state(), QProcess::NotRunning, 5000);
    QTest::qWait(300);
    QVERIFY(direct.size() > 20);
    QCOMPARE(shownBy(&replayed), direct);
}

void TestCaptureEndToEnd::badUseGetsOneLineAndAnError_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("fragment");

    const QString capture = file(QStringLiteral("good.zcap"));
    CaptureWriter writer;
    QString error;
    writer.open(capture, true, 0, &error);
    writer.finish(0);
    QFile newer(file(QStringLiteral("newer.zcap")));
    newer.open(QIODevice::WriteOnly);
    newer.write(QByteArray("ZELTOCAP\x02\x00\x00\x00", 12) + QByteArray(12, '\0'));
    newer.close();
    QDir().mkpath(file(QStringLiteral("csv")));
    QFile existing(file(QStringLiteral("csv/cpu.csv")));
    existing.open(QIODevice::WriteOnly);
    existing.close();
    // %1 an empty capture, %2 one of a newer format, %3 a port in use, %4 a
    // target that refuses, %5 a file that must not come to be, %6 the folder.
    const QStringList fill{capture,
                           newer.fileName(),
                           QString::number(portInUse.serverPort()),
                           QStringLiteral("127.0.0.1:%1").arg(FakeTarget::unusedPort()),
                           file(QStringLiteral("never.zcap")),
                           dir.path()};
    const auto row = [&fill](const char* name, const char* line, int exitCode, const char* text) {
        QTest::newRow(name) << words(QString::fromLatin1(line), fill) << exitCode
                            << QString::fromLatin1(text);
    };
    row("missing file", "info %6/no", 1, "cannot read");
    row("not a capture", "info %6", 1, "cannot read");
    row("newer format", "info %2", 1, "newer than this program reads");
    row("output exists", "record --target %4 --subscribe -o %1", 1, "exists (use --force");
    row("listen port in use", "record --target %4 --listen %3 -o %5", 1, "cannot listen on port");
    row("target refuses", "record --target %4 --subscribe -o %5", 1, "cannot reach the target");
    row("replay port in use", "replay %1 --port %3", 1, "cannot listen on port");
    row("csv exists", "export %1 --csv %6/csv", 1, "exists (use --force");
    row("no output named", "record --target %4 --subscribe", 2, "-o FILE is needed");
}

void TestCaptureEndToEnd::badUseGetsOneLineAndAnError()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, fragment);
    Capture capture(arguments);
    QVERIFY(capture.process.waitForFinished(10000));
    const QString error = QString::fromUtf8(capture.process.readAllStandardError());
    QCOMPARE(capture.process.exitCode(), exitCode);
    QCOMPARE(error.count(QLatin1Char('\n')), 1);
    QVERIFY2(error.startsWith(QStringLiteral("zelto-capture: ")) && error.contains(fragment),
             qPrintable(error));
    QVERIFY(!QFile::exists(file(QStringLiteral("never.zcap"))));
}

QTEST_MAIN(TestCaptureEndToEnd)
#include "tst_CaptureEndToEnd.moc"
