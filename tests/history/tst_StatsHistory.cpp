#include "HistoryFrames.h"
#include "StatsHistory.h"

#include <QSignalSpy>
#include <QtTest>

#include <cstring>
#include <limits>

namespace {

// real 3 / 10, virtual 4 / 20, then the codecs ADPCM, ZADPCM, MPEG, Vorbis, XMA, AT9, PCM
// with counts 1 to 7 and limits 4, 8, 2, 0, 0, 0, 1.
const QList<qint16> pairs = {3, 10, 4, 20, 1, 4, 2, 8, 3, 2, 4, 0, 5, 0, 6, 0, 7, 1};

QByteArray statsFrame(const QList<float>& cpu, const QList<qint16>& counts = pairs,
                      qint32 memory = 1500000, qint32 memoryLimit = 8000000)
{
    return HistoryFrames::stats(0, cpu, counts, memory, memoryLimit);
}

QByteArray dspFrame(float dsp)
{
    return statsFrame({dsp, 0, 0, 0});
}

} // namespace

class TestStatsHistory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decode_data();
    void decode();
    void statistics_data();
    void statistics();
    void limitsOfTheNewestPacket();
};

void TestStatsHistory::decode_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("series");
    QTest::addColumn<float>("value");
    QTest::addColumn<float>("limit");

    const float big = 16777216.0f; // 2^24
    const QByteArray plain = statsFrame({1.0f, 2.0f, 3.0f, 4.0f});
    QTest::newRow("update before geometry")
        << plain << int(StatsHistory::SeriesUpdate) << 3.0f << 100.0f;
    QTest::newRow("total adds geometry first, in single precision")
        << statsFrame({1.0f, big, -big, 1.0f}) << int(StatsHistory::SeriesTotal) << 2.0f << 100.0f;
    QTest::newRow("real limit") << plain << int(StatsHistory::SeriesReal) << 3.0f << 10.0f;
    QTest::newRow("playing limit is the virtual one")
        << plain << int(StatsHistory::SeriesPlaying) << 7.0f << 20.0f;
    QTest::newRow("playing wraps in 16 bits")
        << statsFrame({}, {30000, 0, 30000, 5}) << int(StatsHistory::SeriesPlaying) << -5536.0f
        << 5.0f;
    QTest::newRow("codecs in wire order") << plain << int(StatsHistory::SeriesMPEG) << 3.0f << 2.0f;
    QTest::newRow("codec limit 0") << plain << int(StatsHistory::SeriesVorbis) << 4.0f << 0.0f;
    QTest::newRow("memory in millions of bytes")
        << plain << int(StatsHistory::SeriesMemory) << 1.5f << 8.0f;
}

void TestStatsHistory::decode()
{
    QFETCH(QByteArray, frame);
    QFETCH(int, series);
    QFETCH(float, value);
    QFETCH(float, limit);

    StatsHistory history(nullptr);
    history.processPackets({frame});
    QCOMPARE(double(StatsHistory::seriesValue(history.snapshots()->last(), series)), double(value));
    QCOMPARE(double(history.seriesStats[series].limit), double(limit));
}

void TestStatsHistory::statistics_data()
{
    QTest::addColumn<QList<QList<float>>>("passes"); // dsp values
    QTest::addColumn<float>("minimum");
    QTest::addColumn<float>("maximum");
    QTest::addColumn<float>("average");

    const float big = 16777216.0f;
    const float inf = std::numeric_limits<float>::infinity();
    const QList<float> hundredOnes(100, 1.0f);
    QTest::newRow("negative: maximum stays 0")
        << QList<QList<float>>{{-3.0f, -1.0f}} << -3.0f << 0.0f << -2.0f;
    QTest::newRow("whole list, not the pass")
        << QList<QList<float>>{{10.0f}, {20.0f}} << 10.0f << 20.0f << 15.0f;
    QTest::newRow("extreme pushed out in the pass")
        << QList<QList<float>>{QList<float>{1000.0f} + hundredOnes} << 1.0f << 1.0f << 1.0f;
    QTest::newRow("extreme pushed out later")
        << QList<QList<float>>{{-1000.0f}, hundredOnes} << 1.0f << 1.0f << 1.0f;
    QTest::newRow("infinity leaves the minimum at the largest finite float")
        << QList<QList<float>>{{inf}} << std::numeric_limits<float>::max() << inf << inf;
    QTest::newRow("average summed in single precision")
        << QList<QList<float>>{{big, 1.0f, 1.0f}} << 1.0f << big << big / 3.0f;
}

void TestStatsHistory::statistics()
{
    QFETCH(QList<QList<float>>, passes);
    QFETCH(float, minimum);
    QFETCH(float, maximum);
    QFETCH(float, average);

    StatsHistory history(nullptr);
    for (const QList<float>& pass : passes) {
        QList<QByteArray> frames;
        for (float dsp : pass)
            frames.append(dspFrame(dsp));
        history.processPackets(frames);
    }
    const SeriesStats& dsp = history.seriesStats[StatsHistory::SeriesDSP];
    QCOMPARE(double(dsp.minimum), double(minimum));
    QCOMPARE(double(dsp.maximum), double(maximum));
    QCOMPARE(double(dsp.average), double(average));
}

// Three packets with different limits in one pass, then one of an unknown version.
void TestStatsHistory::limitsOfTheNewestPacket()
{
    StatsHistory history(nullptr);
    QSignalSpy updateSpy(&history, SIGNAL(historyUpdated(int)));
    QSignalSpy statusSpy(&history, SIGNAL(statusChanged(QString)));
    QList<QByteArray> frames;
    for (qint16 limit : {30, 10, 20}) {
        // Every codec limit negative, the first one the largest.
        QList<qint16> counts = {1, limit, 1, qint16(limit + 1), 1, qint16(-limit)};
        for (int codec = 1; codec < 7; ++codec)
            counts << 1 << -100;
        frames.append(statsFrame({float(limit)}, counts, 0, limit * 1000000));
    }
    history.processPackets(frames);
    SeriesStats before[StatsHistory::numSeries];
    std::memcpy(before, history.seriesStats, sizeof before);
    history.processPackets({HistoryFrames::stats(1, {50.0f}, {99, 99, 99, 99}, 9, 9)});

    QCOMPARE(updateSpy.count(), 1);
    QCOMPARE(updateSpy.at(0).at(0).toInt(), 3);
    QCOMPARE(statusSpy.count(), 1);
    QCOMPARE(history.snapshots()->size(), 3);
    QCOMPARE(history.maxChannels, qint16(21));
    QCOMPARE(history.maxCodecs, qint16(-20)); // largest codec limit, with no floor at 0
    QCOMPARE(double(history.seriesStats[StatsHistory::SeriesReal].limit), 20.0);
    QCOMPARE(double(history.seriesStats[StatsHistory::SeriesMemory].limit), 20.0);
    QCOMPARE(double(history.seriesStats[StatsHistory::SeriesDSP].maximum), 30.0);
    QCOMPARE(double(history.seriesStats[StatsHistory::SeriesDSP].average), 20.0);
    QVERIFY(std::memcmp(before, history.seriesStats, sizeof before) == 0);
}

QTEST_GUILESS_MAIN(TestStatsHistory)
#include "tst_StatsHistory.moc"
