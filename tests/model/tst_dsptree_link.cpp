#include "DSPTree.h"
#include "FakeTarget.h"
#include "ProfilerNetwork.h"
#include "TestNetwork.h"

#include <QSignalSpy>
#include <QTest>

// DSPTree behind a real link to a fake target: what one pass of packets does,
// and the exact bytes of the commands that go back.
class TestDSPTreeLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void passes_data();
    void passes();
    void commands_data();
    void commands();
};

namespace {

const QString oldVersion =
    QStringLiteral("Connected. (Old version detected, reduced functionality)");
const QString incompatible =
    QStringLiteral("Connected. (Incompatible version detected, reduced functionality)");

// Frames by short codes: "v6:R<-A" a snapshot of that network and version,
// "v7" a snapshot of version 7, "groups:N" a table of N groups, "groups-v1" a
// table of version 1.
QByteArray frameFor(const QString& code)
{
    QByteArray frame;
    if (code.startsWith(QLatin1String("groups"))) {
        QList<TestGroup> groups;
        for (int i = code.section(QLatin1Char(':'), 1).section(QLatin1String("-v"), 0, 0).toInt();
             i > 0; --i)
            groups.append({quint64(i), 0, QUuid(), QStringLiteral("G%1").arg(i)});
        frame = TestFrames::groupTable(groups);
        frame[10] = char(code.section(QLatin1String("-v"), 1).toInt());
        return frame;
    }
    const int version = code.section(QLatin1Char(':'), 0, 0).mid(1).toInt();
    frame = TestNetwork(code.section(QLatin1Char(':'), 1)).snapshot(qMin(version, 6));
    frame[10] = char(version);
    return frame;
}

QString rootName(const DSPTree& tree)
{
    return tree.head.inputs.isEmpty() ? QStringLiteral("-") : tree.head.inputs.first().node->name;
}

// A tree behind a link to a fake target.
struct Link
{
    Link() { network.connectToTarget(QStringLiteral("127.0.0.1"), target.port()); }

    bool connected()
    {
        return QTest::qWaitFor([this] { return target.hasClient() && network.isConnected(); });
    }

    // One pass of frames, plus a CPU frame that the tree must leave alone;
    // true once the link has delivered it.
    bool deliver(const QString& pass)
    {
        QByteArray bytes = TestFrames::frame(3, 0, 1, QByteArray(8, '\0'));
        for (const QString& code : pass.split(QLatin1Char(' '), Qt::SkipEmptyParts))
            bytes += frameFor(code);
        const qsizetype before = passes.size();
        target.send(bytes);
        return QTest::qWaitFor([&] { return passes.size() > before; });
    }

    FakeTarget target;
    ProfilerNetwork network;
    DSPTree tree{&network};
    QSignalSpy passes{&network, SIGNAL(packetReady())};
};

} // namespace

void TestDSPTreeLink::passes_data()
{
    QTest::addColumn<QStringList>("passes");
    QTest::addColumn<QList<int>>("updates");
    QTest::addColumn<QStringList>("statuses");
    QTest::addColumn<QString>("root");
    QTest::addColumn<int>("groupCount");
    QTest::addColumn<int>("networkVersion");

    QTest::newRow("only the newest snapshot of a pass is read")
        << QStringList{"v3:A<-B v6:R<-S"} << QList<int>{1} << QStringList{} << "R" << 0 << 6;
    QTest::newRow("snapshot and group table fire once")
        << QStringList{"groups:2 v6:R"} << QList<int>{1} << QStringList{} << "R" << 2 << 6;
    QTest::newRow("group table first fires with no root")
        << QStringList{"groups:3"} << QList<int>{1} << QStringList{} << "-" << 3 << -1;
    QTest::newRow("only the newest group table is read")
        << QStringList{"groups:3 groups:1"} << QList<int>{1} << QStringList{} << "-" << 1 << -1;
    QTest::newRow("empty group table is a change")
        << QStringList{"groups:2", "groups:0"} << QList<int>{1, 1} << QStringList{} << "-" << 0
        << -1;
    QTest::newRow("both refused fire nothing")
        << QStringList{"v6:R groups:1", "v7:X groups:1-v1"} << QList<int>{1, 0}
        << QStringList{incompatible, incompatible} << "R" << 1 << 6;
    QTest::newRow("refused snapshot with a table fires on the old graph")
        << QStringList{"v5:R<-S", "v7:X groups:2"} << QList<int>{1, 1}
        << QStringList{oldVersion, incompatible} << "R" << 2 << 5;
    QTest::newRow("version 7 between two of version 6")
        << QStringList{"v6:A", "v7:B", "v6:C"} << QList<int>{1, 0, 1} << QStringList{incompatible}
        << "C" << 0 << 6;
    QTest::newRow("an old snapshot reports on every pass")
        << QStringList{"v2:A", "v2:B"} << QList<int>{1, 1} << QStringList{oldVersion, oldVersion}
        << "B" << 0 << 2;
    QTest::newRow("a pass without DSP frames changes nothing")
        << QStringList{"v6:A", ""} << QList<int>{1, 0} << QStringList{} << "A" << 0 << 6;
}

void TestDSPTreeLink::passes()
{
    QFETCH(QStringList, passes);
    QFETCH(QList<int>, updates);
    QFETCH(QStringList, statuses);
    QFETCH(QString, root);
    QFETCH(int, groupCount);
    QFETCH(int, networkVersion);

    Link link;
    QVERIFY(link.connected());
    QSignalSpy updated(&link.tree, SIGNAL(dspNetTreeUpdated()));
    QSignalSpy status(&link.tree, SIGNAL(statusChanged(QString)));
    QList<int> perPass;
    for (const QString& pass : passes) {
        const qsizetype before = updated.size();
        QVERIFY(link.deliver(pass));
        perPass.append(int(updated.size() - before));
    }
    QCOMPARE(perPass, updates);
    QStringList texts;
    for (const QList<QVariant>& args : std::as_const(status))
        texts.append(args.first().toString());
    QCOMPARE(texts, statuses);
    QCOMPARE(rootName(link.tree), root);
    QCOMPARE(link.tree.groups.size(), groupCount);
    QCOMPARE(link.tree.networkVersion, networkVersion);
    QCOMPARE(link.network.countPackets(1, 0) + link.network.countPackets(7, 0), 0);
    QCOMPARE(link.network.countPackets(3, 0), passes.size());
}

void TestDSPTreeLink::commands_data()
{
    QTest::addColumn<QStringList>("snapshots");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("expected");

    const QByteArray bypass5 = QByteArray::fromHex("150000000000000001030600050000000000000001");
    QTest::newRow("bypass node 5") << QStringList{"v5:R"} << "bypass 5 1" << bypass5;
    QTest::newRow("disable writes 0")
        << QStringList{"v6:R"} << "enable 7 0"
        << QByteArray::fromHex("150000000000000001020600070000000000000000");
    QTest::newRow("unbypass with a 64-bit id")
        << QStringList{"v6:R"} << "bypass 18364758544493064720 0"
        << QByteArray::fromHex("1500000000000000010306001032547698badcfe00");
    QTest::newRow("nothing before any snapshot") << QStringList{} << "enable 7 1" << QByteArray();
    QTest::newRow("nothing after v4") << QStringList{"v4:R"} << "bypass 5 1" << QByteArray();
    QTest::newRow("enable needs v5 too") << QStringList{"v4:R"} << "enable 5 1" << QByteArray();
    QTest::newRow("v5 then a refused v7 still sends")
        << QStringList{"v5:R", "v7:R"} << "bypass 5 1" << bypass5;
    QTest::newRow("DSP text needs v5") << QStringList{"v4:R"} << "dsptext Show" << QByteArray();
    QByteArray show(140, '\0');
    show.replace(0, 16, QByteArray::fromHex("8c000000000000000101060053686f77"));
    QTest::newRow("DSP text after v5") << QStringList{"v5:R"} << "dsptext Show" << show;
    show[8] = 7;
    show[10] = 0;
    QTest::newRow("description text needs no snapshot")
        << QStringList{} << "grouptext Show" << show;
    QByteArray cut = show.left(12) + QByteArray(127, 'x') + QByteArray(1, '\0');
    QTest::newRow("200 letters arrive as 127")
        << QStringList{} << "grouptext " + QString(200, QLatin1Char('x')) << cut;
}

// The command under test is followed by a description text, which always
// goes out: once it has arrived, anything the command sent has arrived too.
void TestDSPTreeLink::commands()
{
    QFETCH(QStringList, snapshots);
    QFETCH(QString, command);
    QFETCH(QByteArray, expected);

    Link link;
    QVERIFY(link.connected());
    for (const QString& code : snapshots)
        QVERIFY(link.deliver(code));
    const QString verb = command.section(QLatin1Char(' '), 0, 0);
    const QString arg = command.section(QLatin1Char(' '), 1, 1);
    const bool on = command.section(QLatin1Char(' '), 2) == QLatin1String("1");
    if (verb == QLatin1String("enable"))
        link.tree.setDSPEnabled(arg.toULongLong(), on);
    else if (verb == QLatin1String("bypass"))
        link.tree.setDSPBypass(arg.toULongLong(), on);
    else if (verb == QLatin1String("dsptext"))
        link.tree.sendDSPText(arg);
    else
        link.tree.sendGroupText(arg);
    link.tree.sendGroupText(QStringLiteral("end"));

    QByteArray sentinel(140, '\0');
    sentinel.replace(0, 15, QByteArray::fromHex("8c0000000000000007010000656e64"));
    QTRY_VERIFY_WITH_TIMEOUT(link.target.received().endsWith(sentinel), 5000);
    QCOMPARE(link.target.received().chopped(140).toHex(), expected.toHex());
}

QTEST_GUILESS_MAIN(TestDSPTreeLink)
#include "tst_dsptree_link.moc"
