// The report's figures are only as good as the harness that measures them:
// a floor that miscounts frames, or a run judged whole when frames were lost,
// would print a wrong ratio without a word.
#include "BareReceiver.h"
#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "DSPTree.h"
#include "FloodSender.h"
#include "FloodStream.h"
#include "LinkWatcher.h"
#include "LoopGapMeter.h"
#include "PacketHeader.h"
#include "ProfilerNetwork.h"
#include "SimFrameWriter.h"
#include "StatsHistory.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <initializer_list>

namespace {

QByteArray framesOfSizes(const QList<int>& sizes)
{
    QByteArray stream;
    for (int size : sizes)
        stream += SimFrameWriter::frame(PacketKind::Stats, 0, 0, size - PacketHeader::headerSize);
    return stream;
}

} // namespace

class tst_BenchReport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bareCutCountsEveryFrame_data();
    void bareCutCountsEveryFrame();
    void streamHoldsTheSubscriptionMix_data();
    void streamHoldsTheSubscriptionMix();
    void watcherJudgesTheRun_data();
    void watcherJudgesTheRun();
    void gapMeterSeesBusyStretches_data();
    void gapMeterSeesBusyStretches();
};

void tst_BenchReport::bareCutCountsEveryFrame_data()
{
    QTest::addColumn<QList<int>>("sizes");
    QTest::addColumn<int>("chunk"); // 0: the whole stream in one piece
    QTest::addColumn<QList<int>>("behindEnd");
    QTest::addColumn<int>("broken"); // the size of a header before the end, or -1

    const QList<int> mixed{12, 40, 300, 13};
    const QList<int> none;
    QTest::newRow("one byte per read") << mixed << 1 << none << -1;
    QTest::newRow("headers cut in the middle") << mixed << 5 << none << -1;
    QTest::newRow("reads of exactly one header") << mixed << 12 << none << -1;
    QTest::newRow("frame longer than many reads") << QList<int>{100000, 20} << 4096 << none << -1;
    QTest::newRow("all in one read") << mixed << 0 << none << -1;
    QTest::newRow("frames behind the end are not counted")
        << mixed << 7 << QList<int>{12, 50} << -1;
    QTest::newRow("size 0 would never move on") << QList<int>{20} << 0 << none << 0;
    QTest::newRow("size 11 is shorter than its header") << QList<int>{20} << 0 << none << 11;
}

void tst_BenchReport::bareCutCountsEveryFrame()
{
    QFETCH(QList<int>, sizes);
    QFETCH(int, chunk);
    QFETCH(QList<int>, behindEnd);
    QFETCH(int, broken);
    QByteArray header(broken < 0 ? 0 : PacketHeader::headerSize, '\0');
    if (broken >= 0)
        SimFrameWriter::writeHeader(header.data(), quint32(broken), PacketKind::Stats, 0, 0);
    const QByteArray stream =
        framesOfSizes(sizes) + header + FloodStream::endFrame() + framesOfSizes(behindEnd);
    BareReceiver receiver(FloodStream::endKind);
    const int step = chunk == 0 ? int(stream.size()) : chunk;
    bool cut = true;
    for (int at = 0; cut && at < stream.size(); at += step)
        cut = receiver.cut(stream.constData() + at, qMin<qint64>(step, stream.size() - at));
    QCOMPARE(cut, broken < 0);
    QCOMPARE(receiver.hasEnded(), broken < 0);
    QCOMPARE(receiver.frameCount(), qint64(sizes.size()));
}

void tst_BenchReport::streamHoldsTheSubscriptionMix_data()
{
    QTest::addColumn<int>("units");
    QTest::addColumn<int>("rounds");
    QTest::newRow("one round of a small mix") << 50 << 1;
    QTest::newRow("several rounds of the ingest size") << 200 << 3;
}

// Every frame must be whole and of a received kind, in the proportions of the
// profiler's subscriptions: two snapshots and two group tables to one of
// each sample per round.
void tst_BenchReport::streamHoldsTheSubscriptionMix()
{
    QFETCH(int, units);
    QFETCH(int, rounds);
    const FloodStream flood(units, rounds);
    const QByteArray& bytes = flood.bytes();
    QHash<int, int> kinds;
    int frames = 0;
    qsizetype at = 0;
    while (at < bytes.size()) {
        const PacketHeader header = PacketHeader::read(bytes.constData() + at, bytes.size() - at);
        QVERIFY(header.size > quint32(PacketHeader::headerSize));
        QVERIFY(at + header.size <= quint32(bytes.size()));
        ++kinds[header.kind];
        ++frames;
        at += header.size;
    }
    QCOMPARE(frames, flood.frameCount());
    QCOMPARE(frames, rounds * FloodStream::framesPerRound);
    const QHash<int, int> expected{{1, 2 * rounds}, {7, 2 * rounds}, {3, rounds},
                                   {4, rounds},     {5, rounds},     {9, rounds}};
    QCOMPARE(kinds, expected);
}

void tst_BenchReport::watcherJudgesTheRun_data()
{
    QTest::addColumn<QByteArray>("extra");
    QTest::addColumn<bool>("clean");
    QTest::addColumn<bool>("failed");

    QTest::newRow("every frame taken") << QByteArray() << true << false;
    QTest::newRow("a frame nobody takes is left over")
        << SimFrameWriter::frame(2, 0, 0, 8) << false << false;
    QByteArray unknownVersion = SimFrameWriter::channels(SimSample());
    unknownVersion[PacketHeader::versionOffset] = 1;
    QTest::newRow("a decoder's status line fails the run") << unknownVersion << true << true;
}

// The link and its decoders as the window has them, fed by the flood sender.
void tst_BenchReport::watcherJudgesTheRun()
{
    QFETCH(QByteArray, extra);
    QFETCH(bool, clean);
    QFETCH(bool, failed);
    const FloodStream flood(50, 2);
    FloodSender sender(extra + flood.bytes(), 3);
    const quint16 port = sender.listen();
    QVERIFY(port != 0);
    ProfilerNetwork network;
    DSPTree tree(&network);
    CPUHistory cpu(&network);
    ChannelHistory channels(&network);
    CodecHistory codecs(&network);
    StatsHistory stats(&network);
    LinkWatcher watcher(&network);
    for (QObject* decoder :
         std::initializer_list<QObject*>{&tree, &cpu, &channels, &codecs, &stats})
        watcher.watchStatus(decoder);
    network.connectToTarget(QStringLiteral("127.0.0.1"), port);
    QTRY_VERIFY_WITH_TIMEOUT(watcher.hasEnded(), 20000);
    network.disconnectFromTarget();
    sender.wait();
    QVERIFY(sender.hasSentAll());
    QCOMPARE(watcher.endedCleanly(), clean);
    QCOMPARE(watcher.hasFailed(), failed);
    QVERIFY(watcher.passes() > 0);
}

void tst_BenchReport::gapMeterSeesBusyStretches_data()
{
    QTest::addColumn<int>("stallMs");
    QTest::addColumn<bool>("posted"); // the stall in a posted call, else in a timer
    QTest::addColumn<int>("waitMs");  // how long the loop waits before it

    QTest::newRow("stall in a timer") << 150 << false << 50;
    QTest::newRow("stall in a posted call") << 150 << true << 0;
    QTest::newRow("waiting is not busy") << 0 << false << 300;
}

void tst_BenchReport::gapMeterSeesBusyStretches()
{
    QFETCH(int, stallMs);
    QFETCH(bool, posted);
    QFETCH(int, waitMs);
    LoopGapMeter meter;
    QEventLoop loop;
    QObject stall;
    auto stallFor = [stallMs] { QThread::msleep(stallMs); };
    if (posted)
        QMetaObject::invokeMethod(&stall, stallFor, Qt::QueuedConnection);
    else
        QTimer::singleShot(waitMs, &stall, stallFor);
    QTimer::singleShot(waitMs + stallMs + 100, &loop, SLOT(quit()));
    loop.exec();
    // The stretch holds the stall and the little work around it, never the wait.
    const double longest = meter.longestSeconds();
    QVERIFY2(longest >= stallMs / 1000.0 && longest < stallMs / 1000.0 + 0.09,
             qPrintable(QString::number(longest)));
}

QTEST_GUILESS_MAIN(tst_BenchReport)
#include "tst_BenchReport.moc"
