#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "HistoryFrames.h"
#include "StatsHistory.h"

#include <QSignalSpy>
#include <QtTest>

#include <cstring>
#include <functional>
#include <limits>

namespace {

using Frames = QList<QByteArray>;
using Ints = QList<int>;

// Any store behind the same calls; a snapshot's first field is its marker.
struct Probe
{
    QObject* store;
    std::function<void(const Frames&)> feed;
    std::function<Ints()> markers;
};

template <typename Store, typename Snapshot, typename Field>
Probe probe(Store* store, Field Snapshot::*first)
{
    return {store, [store](const Frames& frames) { store->processPackets(frames); },
            [store, first] {
                Ints markers;
                for (const Snapshot& snapshot : *store->snapshots())
                    markers.append(int(snapshot.*first));
                return markers;
            }};
}

struct Stores
{
    Probe operator[](quint8 kind)
    {
        if (kind == PacketKind::CPU)
            return probe(&cpu, &CPUSnapshot::dsp);
        if (kind == PacketKind::Channel)
            return probe(&channel, &ChannelSnapshot::hardwareCount);
        if (kind == PacketKind::Codec)
            return probe(&codec, &CodecSnapshot::mpegCount);
        return probe(&stats, &StatsSnapshot::dsp);
    }

    CPUHistory cpu{nullptr};
    ChannelHistory channel{nullptr};
    CodecHistory codec{nullptr};
    StatsHistory stats{nullptr};
};

Ints range(int first, int last)
{
    Ints values;
    for (int i = first; i <= last; ++i)
        values.append(i);
    return values;
}

// A pass written as text: "1 0/23 2*50" is a frame of version 1, one of version 0 cut
// to 23 bytes and 50 of version 2. The frames carry markers counting on from `next`.
Frames pass(quint8 kind, const QString& text, int& next)
{
    Frames frames;
    for (const QString& token : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const QStringList times = token.split(QLatin1Char('*'));
        const QStringList cut = times.at(0).split(QLatin1Char('/'));
        for (int i = 0; i < (times.size() > 1 ? times.at(1).toInt() : 1); ++i) {
            frames.append(HistoryFrames::marked(kind, quint8(cut.at(0).toInt()), next++));
            if (cut.size() > 1)
                frames.last().truncate(cut.at(1).toInt());
        }
    }
    return frames;
}

// real 3 / 10, virtual 4 / 20, then the codecs ADPCM, ZADPCM, MPEG, Vorbis, XMA, AT9, PCM
// with counts 1 to 7 and limits 4, 8, 2, 0, 0, 0, 1.
const QList<qint16> pairs = {3, 10, 4, 20, 1, 4, 2, 8, 3, 2, 4, 0, 5, 0, 6, 0, 7, 1};

QByteArray statsFrame(const QList<float>& cpu, const QList<qint16>& counts = pairs,
                      qint32 memory = 1500000, qint32 memoryLimit = 8000000)
{
    return HistoryFrames::stats(0, cpu, counts, memory, memoryLimit);
}

} // namespace

class TestSampleStores : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void passShape_data();
    void passShape();
    void maximum_data();
    void maximum();
    void statsDecode_data();
    void statsDecode();
    void statsStatistics_data();
    void statsStatistics();
    void statsLimitsOfTheNewestPacket();
};

// Every frame of a pass carries a marker; markers count on from those of `before`.
void TestSampleStores::passShape_data()
{
    QTest::addColumn<quint8>("kind");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("frames");
    QTest::addColumn<Ints>("updates");
    QTest::addColumn<int>("statuses");
    QTest::addColumn<Ints>("markers");

    const quint8 cpu = PacketKind::CPU, channel = PacketKind::Channel;
    const quint8 codec = PacketKind::Codec, stats = PacketKind::Stats;
    // clang-format off
    QTest::newRow("cpu: old, one status each")
        << cpu << "" << "0 1 0" << Ints{3} << 2 << range(1, 3);
    QTest::newRow("cpu: 2, 1, 2") << cpu << "" << "2 1 2" << Ints{1} << 2 << Ints{2};
    QTest::newRow("cpu: unknown alone") << cpu << "" << "2" << Ints{} << 1 << Ints{};
    QTest::newRow("cpu: 101st drops the first")
        << cpu << "1*100" << "1" << Ints{1} << 0 << range(2, 101);
    QTest::newRow("cpu: 150 old") << cpu << "" << "0*150" << Ints{100} << 150 << range(51, 150);
    QTest::newRow("cpu: v1 without geometry") << cpu << "" << "1/24" << Ints{} << 0 << Ints{};
    QTest::newRow("channel: 250 over a full list")
        << channel << "0*100" << "0*250" << Ints{100} << 0 << range(251, 350);
    QTest::newRow("channel: v1") << channel << "" << "1" << Ints{} << 1 << Ints{};
    QTest::newRow("channel: no version byte") << channel << "" << "0/10" << Ints{} << 0 << Ints{};
    QTest::newRow("codec: cut one among good ones")
        << codec << "" << "0 0/43 0" << Ints{2} << 0 << Ints{1, 3};
    QTest::newRow("codec: unknown version, cut") << codec << "" << "7/12" << Ints{} << 1 << Ints{};
    QTest::newRow("stats: refused tail")
        << stats << "" << "0*100 255*50" << Ints{100} << 50 << range(1, 100);
    QTest::newRow("stats: cut tail")
        << stats << "" << "0*100 0/71*20" << Ints{100} << 0 << range(1, 100);
    // clang-format on
}

void TestSampleStores::passShape()
{
    QFETCH(quint8, kind);
    QFETCH(QString, before);
    QFETCH(QString, frames);
    QFETCH(Ints, updates);
    QFETCH(int, statuses);
    QFETCH(Ints, markers);

    Stores stores;
    int next = 1;
    stores[kind].feed(pass(kind, before, next));
    QSignalSpy updateSpy(stores[kind].store, SIGNAL(historyUpdated(int)));
    QSignalSpy statusSpy(stores[kind].store, SIGNAL(statusChanged(QString)));
    stores[kind].feed(pass(kind, frames, next));

    Ints reported;
    for (const QList<QVariant>& args : updateSpy)
        reported.append(args.at(0).toInt());
    QCOMPARE(reported, updates);
    QCOMPARE(statusSpy.count(), statuses);
    QCOMPARE(stores[kind].markers(), markers);
}

void TestSampleStores::maximum_data()
{
    QTest::addColumn<quint8>("kind");
    QTest::addColumn<Frames>("frames"); // one pass
    QTest::addColumn<int>("maximum");

    const auto channel = [](quint8 version, int limit) {
        return HistoryFrames::ints(PacketKind::Channel, version, {1, 2, 3, 4, 5, limit});
    };
    const auto codec = [](quint8 version, Ints l) {
        return HistoryFrames::ints(PacketKind::Codec, version,
                                   {1, l[0], 2, l[1], 3, l[2], 4, l[3]});
    };
    QTest::newRow("channel: newest, not largest")
        << PacketKind::Channel << Frames{channel(0, 100), channel(0, 20)} << 20;
    QTest::newRow("channel: refused leaves it")
        << PacketKind::Channel << Frames{channel(0, 50), channel(1, 999)} << 50;
    QTest::newRow("codec: nothing yet") << PacketKind::Codec << Frames{} << 0;
    QTest::newRow("codec: largest of four")
        << PacketKind::Codec << Frames{codec(0, {16, 32, 8, 4})} << 32;
    QTest::newRow("codec: never below 0")
        << PacketKind::Codec << Frames{codec(0, {-5, -1, -9, -2})} << 0;
    QTest::newRow("codec: newest, not largest")
        << PacketKind::Codec << Frames{codec(0, {16, 32, 8, 4}), codec(0, {8, 1, 1, 1})} << 8;
    QTest::newRow("codec: refused and cut leave it")
        << PacketKind::Codec
        << Frames{codec(0, {7, 1, 1, 1}), codec(1, {99, 1, 1, 1}), codec(0, {99, 1, 1, 1}).left(40)}
        << 7;
}

void TestSampleStores::maximum()
{
    QFETCH(quint8, kind);
    QFETCH(Frames, frames);
    QFETCH(int, maximum);

    Stores stores;
    stores[kind].feed(frames);
    QCOMPARE(kind == PacketKind::Channel ? stores.channel.maximum() : stores.codec.maximum(),
             maximum);
}

void TestSampleStores::statsDecode_data()
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

void TestSampleStores::statsDecode()
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

void TestSampleStores::statsStatistics_data()
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

void TestSampleStores::statsStatistics()
{
    QFETCH(QList<QList<float>>, passes);
    QFETCH(float, minimum);
    QFETCH(float, maximum);
    QFETCH(float, average);

    StatsHistory history(nullptr);
    for (const QList<float>& pass : passes) {
        QList<QByteArray> frames;
        for (float dsp : pass)
            frames.append(statsFrame({dsp, 0, 0, 0}));
        history.processPackets(frames);
    }
    const SeriesStats& dsp = history.seriesStats[StatsHistory::SeriesDSP];
    QCOMPARE(double(dsp.minimum), double(minimum));
    QCOMPARE(double(dsp.maximum), double(maximum));
    QCOMPARE(double(dsp.average), double(average));
}

// Three packets with different limits in one pass, then one of an unknown version.
void TestSampleStores::statsLimitsOfTheNewestPacket()
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

QTEST_GUILESS_MAIN(TestSampleStores)
#include "tst_SampleStores.moc"
