#include "ResidentMemory.h"

#include <QtTest>

#include <cstring>
#include <vector>

class TestResidentMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_data();
    void parse();
    void followsTheProcess();
};

void TestResidentMemory::parse_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<qint64>("kilobytes");

    const QByteArray head = "Name:\tzelto-soak\nVmPeak:\t  912345 kB\nVmHWM:\t   61000 kB\n";
    QTest::newRow("resident line among the peaks")
        << head + "VmRSS:\t   45232 kB\nRssAnon:\t   30000 kB\n"
        << qint64(45232);
    QTest::newRow("last line without a newline") << head + "VmRSS:\t 7 kB" << qint64(7);
    QTest::newRow("no resident line, as for a kernel thread") << head << qint64(-1);
    QTest::newRow("empty text") << QByteArray() << qint64(-1);
    QTest::newRow("another unit") << QByteArray("VmRSS:\t 12 MB\n") << qint64(-1);
    QTest::newRow("not a number") << QByteArray("VmRSS:\t 12x kB\n") << qint64(-1);
}

void TestResidentMemory::parse()
{
    QFETCH(QByteArray, text);
    QFETCH(qint64, kilobytes);
    QCOMPARE(ResidentMemory::parseKilobytes(text), kilobytes);
}

// The figure is this process's own: touching 32 MB shows in it.
void TestResidentMemory::followsTheProcess()
{
    const qint64 before = ResidentMemory::currentKilobytes();
    QVERIFY(before > 0);
    std::vector<char> block(32 * 1024 * 1024);
    std::memset(block.data(), 1, block.size());
    const qint64 after = ResidentMemory::currentKilobytes();
    QVERIFY2(after - before >= 30 * 1024,
             qPrintable(QStringLiteral("%1 -> %2").arg(before).arg(after)));
    QCOMPARE(block[block.size() / 2], char(1));
}

QTEST_GUILESS_MAIN(TestResidentMemory)
#include "tst_ResidentMemory.moc"
