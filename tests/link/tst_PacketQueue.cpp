#include "PacketHeader.h"
#include "PacketQueue.h"

#include <QList>
#include <QRandomGenerator>
#include <QtTest>

// The tag tells which frame came back.
static QByteArray taggedFrame(quint8 kind, quint8 subKind, char tag)
{
    QByteArray frame(PacketHeader::headerSize + 1, '\0');
    PacketHeader header;
    header.size = quint32(frame.size());
    header.kind = kind;
    header.subKind = subKind;
    header.version = quint8(tag); // the version plays no part in selection
    header.write(frame.data());
    frame[PacketHeader::headerSize] = tag;
    return frame;
}

class tst_PacketQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameAsSingleList();
    void viewsOfAHeldBlock_data();
    void viewsOfAHeldBlock();
    void wireRead_data();
    void wireRead();
};

// The per-packet queues answer as one list walked from the oldest frame would:
// kind and sub-kind both matching, the version (the tag) playing no part.
void tst_PacketQueue::sameAsSingleList()
{
    QRandomGenerator random(2024);
    PacketQueue queue;
    QList<QByteArray> reference;
    const quint8 kinds[] = {1, 3, 4, 5, 7, 9, 2};
    for (int step = 0; step < 20000; ++step) {
        quint8 kind = kinds[random.bounded(7)];
        quint8 subKind = quint8(random.bounded(2));
        if (random.bounded(3) != 0) {
            QByteArray frame = taggedFrame(kind, subKind, char(step));
            queue.append(frame);
            reference.append(frame);
            continue;
        }
        QList<qsizetype> matching;
        for (qsizetype i = 0; i < reference.size(); ++i) {
            const PacketHeader header = PacketHeader::read(reference.at(i));
            if (header.kind == kind && header.subKind == subKind)
                matching.append(i);
        }
        QCOMPARE(queue.count(kind, subKind), int(matching.size()));
        if (random.bounded(4) == 0) {
            QList<QByteArray> all;
            for (qsizetype i = matching.size() - 1; i >= 0; --i)
                all.prepend(reference.takeAt(matching.at(i)));
            QCOMPARE(queue.takeAll(kind, subKind), all);
        } else {
            QCOMPARE(queue.take(kind, subKind),
                     matching.isEmpty() ? QByteArray() : reference.takeAt(matching.first()));
        }
        QCOMPARE(queue.size(), int(reference.size()));
        qint64 bytes = 0;
        for (const QByteArray& frame : reference)
            bytes += frame.size();
        QCOMPARE(queue.byteCount(), bytes);
    }
}

void tst_PacketQueue::viewsOfAHeldBlock_data()
{
    QTest::addColumn<QString>("leaves");
    QTest::newRow("taken one by one") << QStringLiteral("take");
    QTest::newRow("taken all at once") << QStringLiteral("takeAll");
    QTest::newRow("left past the end of the pass") << QStringLiteral("left");
}

// Views of a received block keep their bytes however they leave the queue, once
// the pass is over and the block may change.
void tst_PacketQueue::viewsOfAHeldBlock()
{
    QFETCH(QString, leaves);
    const QList<QByteArray> frames{taggedFrame(3, 0, 'a'), taggedFrame(3, 0, 'b'),
                                   taggedFrame(4, 1, 'c')};
    QByteArray block = frames.join();
    PacketQueue queue;
    queue.holdBlock(block);
    qsizetype at = 0;
    for (const QByteArray& frame : frames) {
        queue.appendView(block.constData() + at, frame.size());
        at += frame.size();
    }
    QList<QByteArray> taken;
    if (leaves == QLatin1String("take")) {
        for (const QByteArray& frame : frames) {
            const PacketHeader header = PacketHeader::read(frame);
            taken.append(queue.take(header.kind, header.subKind));
        }
    } else if (leaves == QLatin1String("takeAll")) {
        taken = queue.takeAll(3, 0) + queue.takeAll(4, 1);
    }
    queue.unshareFrames();
    block.fill('\xEE');
    if (leaves == QLatin1String("left"))
        taken = queue.takeAll(3, 0) + queue.takeAll(4, 1);
    QCOMPARE(taken, frames);
}

void tst_PacketQueue::wireRead_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("offset");
    QTest::addColumn<int>("width");
    QTest::addColumn<quint64>("expected");

    const QByteArray bytes = QByteArray::fromHex("0102030405060708090a");
    QTest::newRow("little-endian u32") << bytes << 0 << 4 << quint64(0x04030201);
    QTest::newRow("u64 to the last byte") << bytes << 2 << 8 << quint64(0x0a09080706050403);
    QTest::newRow("one byte past the end") << bytes << 3 << 8 << quint64(0);
    QTest::newRow("negative offset") << bytes << -1 << 2 << quint64(0);
    QTest::newRow("empty buffer") << QByteArray() << 0 << 1 << quint64(0);
}

void tst_PacketQueue::wireRead()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, offset);
    QFETCH(int, width);
    QFETCH(quint64, expected);
    QCOMPARE(Wire::readUnsigned(bytes.constData(), bytes.size(), offset, width), expected);
}

QTEST_GUILESS_MAIN(tst_PacketQueue)
#include "tst_PacketQueue.moc"
