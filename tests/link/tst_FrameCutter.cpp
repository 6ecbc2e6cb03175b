#include "ChunkedDevice.h"
#include "FakeTarget.h"
#include "FrameCutter.h"
#include "PacketHeader.h"
#include "PacketQueue.h"
#include "TestFrames.h"

#include <QtTest>

#include <limits>

namespace {

const qint64 noQueueCap = std::numeric_limits<qint64>::max();

struct CutOutcome
{
    FrameCutter::Result result = FrameCutter::WholeFramesTaken;
    qint64 consumed = 0;
    qint64 pending = 0;
};

// Cuts after each chunk (the rest as a last one), as the link does on every readyRead.
CutOutcome cutInChunks(const QByteArray& stream, const QList<qint64>& chunks, PacketQueue& queue,
                       qint64 maxQueuedBytes)
{
    ChunkedDevice device(stream);
    FrameCutter cutter(&queue, maxQueuedBytes);
    CutOutcome outcome;
    for (qsizetype i = 0; i <= chunks.size(); ++i) {
        device.reveal(i < chunks.size() ? chunks.at(i) : stream.size());
        outcome.result = cutter.cutFrames(&device);
        if (outcome.result == FrameCutter::BrokenStream)
            break;
    }
    outcome.consumed = device.consumedBytes();
    outcome.pending = cutter.pendingBytes();
    return outcome;
}

// Each frame from the FIFO of its own kind, in stream order, and nothing left.
bool takeExactly(PacketQueue& queue, const QList<QByteArray>& frames)
{
    for (const QByteArray& frame : frames) {
        const PacketHeader header = PacketHeader::read(frame);
        if (queue.take(header.kind, header.subKind) != frame)
            return false;
    }
    return queue.isEmpty();
}

} // namespace

class tst_FrameCutter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameFramesAtEverySplit_data();
    void sameFramesAtEverySplit();
    void framesBeyondOneRead_data();
    void framesBeyondOneRead();
};

void tst_FrameCutter::sameFramesAtEverySplit_data()
{
    QTest::addColumn<QList<QByteArray>>("frames");
    QTest::addColumn<QByteArray>("tail");
    QTest::addColumn<qint64>("maxQueuedBytes");
    QTest::addColumn<bool>("broken");

    const QList<QByteArray> everyKind{
        TestFrames::frame(PacketKind::DSPNetwork, 0, 6, QByteArray(40, '\1')),
        TestFrames::frame(PacketKind::DSPGroup, 0, 0, QByteArray(296, '\7')),
        TestFrames::frame(PacketKind::CPU, 0, 1, QByteArray(16, '\3')),
        TestFrames::frame(PacketKind::Channel, 0, 0, QByteArray(24, '\4')),
        TestFrames::frame(PacketKind::Codec, 0, 0, QByteArray(32, '\5')),
        TestFrames::frame(PacketKind::Stats, 0, 0, QByteArray(60, '\x09')),
        TestFrames::frame(PacketKind::CPU, 0, 1, QByteArray(16, '\x13'))};
    const QByteArray bare = TestFrames::frame(PacketKind::Codec, 0, 0);

    QTest::newRow("one frame of every kind") << everyKind << QByteArray() << noQueueCap << false;
    QTest::newRow("bare headers back to back")
        << QList<QByteArray>{bare, bare, bare} << QByteArray() << noQueueCap << false;
    QTest::newRow("partial frame left behind")
        << everyKind.mid(0, 2) << everyKind.at(2).left(20) << noQueueCap << false;
    QTest::newRow("header of size 0")
        << everyKind.mid(2, 2) << FakeTarget::header(0, 3) << noQueueCap << true;
    QTest::newRow("size one past the frame cap")
        << everyKind.mid(2, 1) << FakeTarget::header(PacketHeader::maxFrameSize + 1, 1)
        << noQueueCap << true;
    // The cap counts what is queued: the frame that fills it exactly fits, one
    // byte more does not, and bytes behind the break are never looked at.
    QTest::newRow("queue filled exactly")
        << QList<QByteArray>{bare, bare, bare} << QByteArray() << qint64(36) << false;
    QTest::newRow("queue cap one byte short")
        << QList<QByteArray>{bare, bare} << bare + bare << qint64(35) << true;
}

// Every split into two chunks, and byte by byte, gives the same frames and verdict;
// bytes behind the last whole frame wait in the cutter, unless the stream broke.
void tst_FrameCutter::sameFramesAtEverySplit()
{
    QFETCH(QList<QByteArray>, frames);
    QFETCH(QByteArray, tail);
    QFETCH(qint64, maxQueuedBytes);
    QFETCH(bool, broken);

    const QByteArray stream = frames.join() + tail;
    QList<QList<qint64>> splits{QList<qint64>(stream.size(), 1)};
    for (qint64 at = 0; at <= stream.size(); ++at)
        splits.append(QList<qint64>{at});
    for (const QList<qint64>& chunks : splits) {
        PacketQueue queue;
        const CutOutcome outcome = cutInChunks(stream, chunks, queue, maxQueuedBytes);
        const QByteArray where = chunks.size() == 1 ? "split at " + QByteArray::number(chunks.at(0))
                                                    : QByteArray("byte by byte");
        QVERIFY2(outcome.result ==
                     (broken ? FrameCutter::BrokenStream : FrameCutter::WholeFramesTaken),
                 where.constData());
        QVERIFY2(outcome.consumed == stream.size() || broken, where.constData());
        QVERIFY2(outcome.pending == (broken ? 0 : tail.size()), where.constData());
        QVERIFY2(takeExactly(queue, frames), where.constData());
    }
}

void tst_FrameCutter::framesBeyondOneRead_data()
{
    QTest::addColumn<QList<QByteArray>>("frames");
    QTest::addColumn<QList<qint64>>("chunks");

    const QByteArray sample = TestFrames::frame(PacketKind::Stats, 0, 0, QByteArray(60, '\x09'));
    const QList<QByteArray> samples(10000, sample);
    const QByteArray large =
        TestFrames::frame(PacketKind::DSPNetwork, 0, 6, QByteArray(300000, '\1'));
    QTest::newRow("many samples in one read") << samples << QList<qint64>();
    QTest::newRow("many samples in odd reads") << samples << QList<qint64>{100001, 100001, 300001};
    QTest::newRow("a large frame between samples")
        << samples.mid(0, 10) + QList<QByteArray>{large} + samples.mid(0, 10) << QList<qint64>();
    QTest::newRow("a large frame in three pieces, the header split")
        << QList<QByteArray>{sample, large, sample}
        << QList<qint64>{sample.size() + 5, 150000, 150000};
}

void tst_FrameCutter::framesBeyondOneRead()
{
    QFETCH(QList<QByteArray>, frames);
    QFETCH(QList<qint64>, chunks);
    PacketQueue queue;
    const CutOutcome outcome = cutInChunks(frames.join(), chunks, queue, noQueueCap);
    QCOMPARE(outcome.result, FrameCutter::WholeFramesTaken);
    QCOMPARE(outcome.pending, 0);
    QVERIFY(takeExactly(queue, frames));
}

QTEST_GUILESS_MAIN(tst_FrameCutter)
#include "tst_FrameCutter.moc"
