// The CSV files against the profiler's own decoders: every row is the
// decoders' answer for one recorded frame, and the files read back under
// RFC 4180 whatever a unit's name holds.
#include "CPUHistory.h"
#include "CaptureExport.h"
#include "CaptureReader.h"
#include "CaptureSimulation.h"
#include "CaptureWriter.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "CsvTable.h"
#include "DSPTree.h"
#include "SimTarget.h"
#include "StatsHistory.h"
#include "TestFrames.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>

namespace {

// A capture of one simulated second, then a snapshot whose unit names need
// quoting and a CPU frame of a version that the decoder refuses.
QByteArray recordedSession()
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    CaptureWriter writer;
    QString error;
    writer.open(&buffer, 0, &error);
    SimTarget target(SimShape::Mixer, 0, true);
    CaptureSimulation::write(&writer, &target, 0, 1000);
    TestNode root;
    root.id = 7;
    root.name = QStringLiteral("Bus \"A\", left");
    TestNode input;
    input.id = 8;
    input.name = QStringLiteral("line\r\nbreak");
    input.bypass = true;
    const QByteArray records =
        TestFrames::nodeRecord(6, root, 1) + TestFrames::nodeRecord(6, input, 0);
    writer.appendFrame(CaptureFormat::ToProfiler, 1000000,
                       TestFrames::snapshot(6, records, 0, 48000, 1024));
    writer.appendFrame(CaptureFormat::ToProfiler, 1000000,
                       TestFrames::frame(3, 0, 2, QByteArray(20, '\0')));
    writer.finish(1000000);
    return buffer.data();
}

} // namespace

class TestCaptureExport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rowsAreWhatTheDecodersSay();
};

void TestCaptureExport::rowsAreWhatTheDecodersSay()
{
    QByteArray bytes = recordedSession();
    QBuffer file(&bytes);
    file.open(QIODevice::ReadOnly);
    CaptureReader reader;
    QString error;
    QVERIFY2(reader.open(&file, &error), qPrintable(error));
    QList<CaptureRecord> records;
    CaptureRecord record;
    while (reader.next(&record))
        records.append(record);
    QCOMPARE(reader.status(), CaptureReader::Clean);

    QTemporaryDir dir;
    CaptureExport csv;
    QVERIFY2(csv.open(dir.path(), false, &error), qPrintable(error));
    for (const CaptureRecord& r : std::as_const(records))
        csv.add(r);
    QVERIFY2(csv.close(&error), qPrintable(error));

    // What the decoders say, frame by frame, as the rows the files must hold.
    QList<QVariantList> expected[5];
    DSPTree tree(nullptr);
    CPUHistory cpu(nullptr);
    ChannelHistory channels(nullptr);
    CodecHistory codecs(nullptr);
    StatsHistory stats(nullptr);
    for (const CaptureRecord& r : std::as_const(records)) {
        if (r.type != CaptureFormat::ToProfiler)
            continue;
        const quint8 kind = quint8(r.data[8]);
        const QString t = QString::number(double(r.timeUs) / 1e6, 'f', 6);
        if (kind == 1 && tree.acceptNetworkFrame(r.data)) {
            QList<DSPNode*> units = tree.nodes.values();
            std::sort(units.begin(), units.end(),
                      [](const DSPNode* a, const DSPNode* b) { return a->id < b->id; });
            for (const DSPNode* n : units)
                expected[0] << QVariantList{t,
                                            QString::number(n->id),
                                            n->name,
                                            QString::number(n->depth),
                                            n->exclusiveCPU * 100.0f,
                                            n->inclusiveCPU * 100.0f,
                                            QString::number(int(n->active)),
                                            QString::number(int(n->bypass))};
        }
        if (kind == 3) {
            cpu.processPackets({r.data});
            if (cpu.snapshots()->size() > expected[1].size()) {
                const CPUSnapshot& s = cpu.snapshots()->last();
                expected[1] << QVariantList{t};
                for (float v : {s.dsp, s.stream, s.geometry, s.update, s.total})
                    expected[1].last() << v;
            }
        }
        if (kind == 4) {
            channels.processPackets({r.data});
            const ChannelSnapshot& s = channels.snapshots()->last();
            expected[2] << QVariantList{t};
            for (int v :
                 {s.hardwareCount, s.hardwareLimit, s.softwareCount, s.softwareLimit, s.realCount,
                  s.realLimit, s.virtualCount, s.virtualLimit, s.playingCount, s.playingLimit})
                expected[2].last() << QString::number(v);
        }
        if (kind == 5) {
            codecs.processPackets({r.data});
            const CodecSnapshot& s = codecs.snapshots()->last();
            expected[3] << QVariantList{t};
            for (int v : {s.mpegCount, s.mpegLimit, s.adpcmCount, s.adpcmLimit, s.xmaCount,
                          s.xmaLimit, s.pcmCount, s.pcmLimit})
                expected[3].last() << QString::number(v);
        }
        if (kind == 9) {
            stats.processPackets({r.data});
            expected[4] << QVariantList{t};
            for (int series = 0; series < StatsHistory::numSeries; ++series)
                expected[4].last() << StatsHistory::seriesValue(stats.snapshots()->last(), series);
        }
    }

    for (int i = 0; i < 5; ++i) {
        QFile out(QDir(dir.path()).filePath(QLatin1String(CaptureExport::fileNames[i])));
        QVERIFY(out.open(QIODevice::ReadOnly));
        QList<QStringList> rows = readCsv(out.readAll());
        QVERIFY(!rows.isEmpty());
        const QStringList header = rows.takeFirst();
        QCOMPARE(header.first(), QStringLiteral("time"));
        QVERIFY(!expected[i].isEmpty());
        QCOMPARE(rows.size(), expected[i].size());
        for (int row = 0; row < rows.size(); ++row) {
            QCOMPARE(rows[row].size(), header.size());
            // Floats compare as the values they stand for, the rest as text.
            for (int column = 0; column < header.size(); ++column) {
                const QString& got = rows[row][column];
                const QVariant& want = expected[i][row][column];
                if (want.typeId() == QMetaType::Float)
                    QVERIFY2(got.toFloat() == want.toFloat(),
                             qPrintable(got + QStringLiteral(" != ") + want.toString()));
                else
                    QCOMPARE(got, want.toString());
            }
        }
    }
}

QTEST_GUILESS_MAIN(TestCaptureExport)
#include "tst_CaptureExport.moc"
