#include "PacketHeader.h"
#include "PacketQueue.h"

#include <QList>
#include <QRandomGenerator>
#include <QtTest>

// Frames carry a one-byte tag in their payload so that a test can tell which
// one came back.
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

// "1.0a 3.0b" -> frames of (kind 1, sub 0, tag a), (kind 3, sub 0, tag b).
static void fill(PacketQueue& queue, const QString& frames)
{
    const QStringList items = frames.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString& item : items)
        queue.append(taggedFrame(quint8(item.at(0).digitValue()), quint8(item.at(2).digitValue()),
                                 item.at(3).toLatin1()));
}

class tst_PacketQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takeOrder_data();
    void takeOrder();
    void sameAsSingleList();
    void wireRead_data();
    void wireRead();
};

void tst_PacketQueue::takeOrder_data()
{
    QTest::addColumn<QString>("frames");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("subKind");
    QTest::addColumn<QString>("taken"); // tags in the order takePacket returns them
    QTest::addColumn<int>("left");

    QTest::newRow("oldest of the packet first") << "1.0a 3.0b 1.0c 1.0d" << 1 << 0 << "acd" << 1;
    QTest::newRow("sub-kind must match too") << "1.1a 1.0b 1.3c" << 1 << 0 << "b" << 2;
    QTest::newRow("kind must match too") << "7.0a 1.0b" << 7 << 0 << "a" << 1;
    QTest::newRow("no match leaves the queue") << "3.0a 4.0b" << 5 << 0 << "" << 2;
    QTest::newRow("empty queue") << "" << 1 << 0 << "" << 0;
    QTest::newRow("versions differ, one packet") << "9.0x 9.0y" << 9 << 0 << "xy" << 0;
}

void tst_PacketQueue::takeOrder()
{
    QFETCH(QString, frames);
    QFETCH(int, kind);
    QFETCH(int, subKind);
    QFETCH(QString, taken);
    QFETCH(int, left);

    PacketQueue queue;
    fill(queue, frames);
    QCOMPARE(queue.count(quint8(kind), quint8(subKind)), taken.size());
    QString tags;
    for (QByteArray frame = queue.take(quint8(kind), quint8(subKind)); !frame.isEmpty();
         frame = queue.take(quint8(kind), quint8(subKind)))
        tags += QLatin1Char(frame.at(PacketHeader::headerSize));
    QCOMPARE(tags, taken);
    QCOMPARE(queue.size(), left);
    QCOMPARE(queue.count(quint8(kind), quint8(subKind)), 0);
}

// The per-packet queues must answer exactly as one list walked from the
// oldest frame would, whatever the interleaving of appends and takes.
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
        QByteArray expected;
        for (qsizetype i = 0; i < reference.size(); ++i) {
            PacketHeader header = PacketHeader::read(reference.at(i));
            if (header.kind == kind && header.subKind == subKind) {
                expected = reference.takeAt(i);
                break;
            }
        }
        QCOMPARE(queue.take(kind, subKind), expected);
        QCOMPARE(queue.size(), int(reference.size()));
    }
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
