#include "GraphFixture.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

// The walk of a snapshot into plates, lines, "..." marks, groups and the
// widget's size, and how the selection is followed from one snapshot to the next.
class TestDSPNetGraphLayout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void layout_data();
    void layout();
    void connectionLists();
    void groups_data();
    void groups();
    void selection_data();
    void selection();
    void deepAndTangled_data();
    void deepAndTangled();
    void onlyTwoSwitchesRelayout();
    void scaleAndSize_data();
    void scaleAndSize();
    void repaintsMerge();
};

void TestDSPNetGraphLayout::layout_data()
{
    QTest::addColumn<QString>("network");
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("expected"); // plates | standard lines | "..." | size

    // clang-format off
    QTest::newRow("worked example") << "R<-A,B; A<-C; B<-C,D" << ""
        << "R@10,10 A@210,10 C@410,10 B@210,85 D@410,85 | 410,32>330,32 210,32>130,25 "
           "410,32>330,100 410,107>330,115 210,107>130,40 |  | 680x180";
    QTest::newRow("worked collapse") << "P<-I0,I1,I2,I3,I4,I5" << ""
        << "P@10,10 I0@210,10 I1@210,85 I4@210,235 I5@210,310 | 210,32>130,19 210,107>130,28 "
           "210,257>130,37 210,332>130,46 | 210,150 | 480x405";
    QTest::newRow("before any snapshot") << "" << "" << " |  |  | 270x95";
    QTest::newRow("five inputs lose one") << "P<-A,B,C,D,E" << ""
        << "P@10,10 A@210,10 B@210,85 D@210,235 E@210,310 | 210,32>130,19 210,107>130,28 "
           "210,257>130,37 210,332>130,46 | 210,150 | 480x405";
    QTest::newRow("four inputs stay") << "P<-A,B,C,D" << ""
        << "P@10,10 A@210,10 B@210,85 C@210,160 D@210,235 | 210,32>130,19 210,107>130,28 "
           "210,182>130,37 210,257>130,46 |  | 480x330";
    QTest::newRow("excessive shown") << "P<-A,B,C,D,E" << "excessive"
        << "P@10,10 A@210,10 B@210,85 C@210,160 D@210,235 E@210,310 | 210,32>130,17 "
           "210,107>130,25 210,182>130,32 210,257>130,40 210,332>130,47 |  | 480x405";
    QTest::newRow("two of six inactive: no collapse") << "P<-A,B,C,D,E,F" << "off:C,D"
        << "P@10,10 A@210,10 B@210,85 E@210,160 F@210,235 | 210,32>130,19 210,107>130,28 "
           "210,182>130,37 210,257>130,46 |  | 480x330";
    QTest::newRow("inactive shown") << "P<-A,B" << "off:B inactive"
        << "P@10,10 A@210,10 B@210,85 | 210,32>130,25 210,107>130,40 |  | 480x180";
    QTest::newRow("one of six placed already: all stay") << "R<-Q,P; Q<-X; P<-X,A,B,C,D,E" << ""
        << "R@10,10 Q@210,10 X@410,10 P@210,85 A@410,85 B@410,160 C@410,235 D@410,310 "
           "E@410,385 | 410,32>330,32 210,32>130,25 410,32>330,91 410,107>330,97 "
           "410,182>330,104 410,257>330,110 410,332>330,117 410,407>330,123 210,107>130,40 "
           "|  | 680x480";
    QTest::newRow("x from depth, not from first parent") << "R<-A,B; A<-C; B<-D; D<-C" << ""
        << "R@10,10 A@210,10 C@610,10 B@210,85 D@410,85 | 610,32>330,32 210,32>130,25 "
           "610,32>530,107 410,107>330,107 210,107>130,40 |  | 880x180";
    QTest::newRow("hidden by a collapse: later parent drops it")
        << "R<-P,Q; P<-I0,I1,I2,I3,I4; Q<-I2" << ""
        << "R@10,10 P@210,10 I0@410,10 I1@410,85 I3@410,235 I4@410,310 Q@210,385 | "
           "410,32>330,19 410,107>330,28 410,257>330,37 410,332>330,46 210,32>130,25 "
           "210,407>130,40 | 410,150 | 680x480";
    // A kept input that a removed sibling's sub-tree hides shows nothing: no
    // plate, no row, no line to (-1, 21); its slot on the parent's edge stays.
    QTest::newRow("kept input hidden by a sibling") << "P<-I0,I1,I2,I3,I4,I5; I2<-I4" << ""
        << "P@10,10 I0@210,10 I1@210,85 I5@210,235 | 210,32>130,19 210,107>130,28 "
           "210,257>130,46 | 210,150 | 480x330";
    QTest::newRow("loop") << "A<-B; B<-A" << ""
        << "A@10,10 B@210,10 | 10,32>330,32 210,32>130,32 |  | 480x105";
    // The walk from the removed I2 leads back to P and on to all its inputs.
    QTest::newRow("hiding walk through the parent hides every input")
        << "P<-I0,I1,I2,I3,I4; I2<-P" << "" << "P@10,10 |  | 210,75 | 280x105";
    // clang-format on
}

void TestDSPNetGraphLayout::layout()
{
    QFETCH(QString, network);
    QFETCH(QString, options);
    NetworkFixture f(network);
    f.apply(options);
    QTEST(layoutText(f.layOut()), "expected");
}

void TestDSPNetGraphLayout::connectionLists()
{
    NetworkFixture f(QStringLiteral("R<-A+sidechain,B+send,C+send+sidechain,D"));
    f.net.node(QStringLiteral("A")).name = QStringLiteral("a:b");
    f.net.node(QStringLiteral("B")).name = QStringLiteral("c: d");
    f.net.node(QStringLiteral("D")).sendTargetId = f.net.node(QStringLiteral("A")).id;
    f.net.node(QStringLiteral("C")).sendTargetId = 99; // nowhere in the network
    const DSPNetGraphLayout& layout = f.layOut();
    QCOMPARE(nodesText(layout), "R@10,10 a: b@210,10 c:  d@210,85 C@210,160 D@210,235");
    QCOMPARE(linesText(layout.standardLines), "210,257>130,46");
    QCOMPARE(linesText(layout.sidechainLines), "210,32>130,19");
    QCOMPARE(linesText(layout.sendLines), "210,107>130,28 270,257>270,32");
    QCOMPARE(linesText(layout.sendSidechainLines), "210,182>130,37");
}

// Groups of R<-A,B,C: A at (210, 10), B at (210, 85), C at (210, 160). A table
// entry is "id>parent:name", with a trailing '!' for a non-null GUID. A result is
// "id/level/rect/name/parent/guid".
void TestDSPNetGraphLayout::groups_data()
{
    QTest::addColumn<QString>("members");
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("expected");

    // clang-format off
    QTest::newRow("members united, no record") << "A=1 B=1" << "" << "1/0/206,6,128,128//0/";
    QTest::newRow("record without members or children left out") << "A=1" << "1>0:One 7>0:Empty"
        << "1/0/206,6,128,53/One/0/";
    QTest::newRow("two children") << "A=1 C=2" << "3>0:Top 1>3:One 2>3:Two"
        << "1/0/206,6,128,53/One/3/ 2/0/206,156,128,53/Two/3/ 3/1/202,2,136,211/Top/0/";
    QTest::newRow("three levels, top first: two passes") << "A=1" << "5>0:Outer 4>5:Inner 1>4:Leaf"
        << "1/0/206,6,128,53/Leaf/4/ 4/1/202,2,136,61/Inner/5/ 5/2/198,-2,144,69/Outer/0/";
    QTest::newRow("three levels, bottom first: one pass") << "A=1" << "1>4:Leaf 4>5:Inner 5>0:Outer"
        << "1/0/206,6,128,53/Leaf/4/ 4/1/202,2,136,61/Inner/5/ 5/2/198,-2,144,69/Outer/0/";
    QTest::newRow("child built after its parent does not widen it") << "A=1 C=6"
        << "3>0:Top 1>3:One 2>3:Mid 6>2:Low"
        << "1/0/206,6,128,53/One/3/ 6/0/206,156,128,53/Low/2/ 3/1/202,2,136,61/Top/0/ "
           "2/1/202,152,136,61/Mid/3/";
    QTest::newRow("only nesting groups carry a guid") << "A=1" << "1>2:One! 2>0:Top!"
        << "1/0/206,6,128,53/One/2/ 2/1/202,2,136,61/Top/0/{6f1c2a3b-0000-4000-8000-00000000abcd}";
    // clang-format on
}

void TestDSPNetGraphLayout::groups()
{
    QFETCH(QString, members);
    QFETCH(QString, table);
    NetworkFixture f(QStringLiteral("R<-A,B,C"));
    for (const QString& member : members.split(QLatin1Char(' '), Qt::SkipEmptyParts))
        f.net.node(member.left(1)).groupId = member.mid(2).toULongLong();
    QList<TestGroup> records;
    for (const QString& entry : table.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const QStringList parts = entry.split(QRegularExpression(QStringLiteral("[>:!]")));
        records.append({parts[0].toULongLong(), parts[1].toULongLong(),
                        QUuid(entry.endsWith(QLatin1Char('!'))
                                  ? QStringLiteral("{6f1c2a3b-0000-4000-8000-00000000abcd}")
                                  : QString()),
                        parts[2]});
    }
    f.tree.acceptGroupFrame(TestFrames::groupTable(records));
    QStringList result;
    for (const GraphGroup& g : f.layOut().groups) {
        const QRect r = g.rect.toRect();
        result << QStringLiteral("%1/%2/%3,%4,%5,%6/%7/%8/%9")
                      .arg(g.id)
                      .arg(g.level)
                      .arg(r.x())
                      .arg(r.y())
                      .arg(r.width())
                      .arg(r.height())
                      .arg(g.name)
                      .arg(g.parentId)
                      .arg(g.guid);
    }
    QTEST(result.join(QLatin1Char(' ')), "expected");
}

// B is selected by a click on the first snapshot; the second decides.
void TestDSPNetGraphLayout::selection_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QString>("options");
    QTest::addColumn<bool>("kept");
    QTest::addColumn<QPoint>("moved"); // (0, 0): no signal

    // clang-format off
    QTest::newRow("moved a row down") << "R<-A,B" << "R<-A,C,B" << "" << true << QPoint(210, 160);
    QTest::newRow("stays put") << "R<-A,B" << "R<-A,B; B<-C" << "" << true << QPoint();
    QTest::newRow("gone") << "R<-A,B" << "R<-A" << "" << false << QPoint();
    QTest::newRow("same id, other group") << "R<-A,B" << "R<-A,B" << "group:B" << false << QPoint();
    QTest::newRow("hidden by a sibling's walk") << "R<-A,B" << "R<-I0,I1,I2,I3,B; I2<-B" << ""
        << false << QPoint();
    // clang-format on
}

void TestDSPNetGraphLayout::selection()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(QString, options);
    QFETCH(QPoint, moved);
    GraphFixture f(first);
    f.net.node(QStringLiteral("B")).id = 77;
    f.load();
    QTest::mouseClick(&f.graph, Qt::LeftButton, {}, QPoint(250, 100));
    QCOMPARE(f.graph.viewSettings().selectedId, quint64(77));
    QSignalSpy spy(&f.graph, SIGNAL(selectedNodePositionChanged(QPoint, QPoint)));
    f.net = TestNetwork(second);
    if (f.net.names().contains(QStringLiteral("B")))
        f.net.node(QStringLiteral("B")).id = 77;
    f.apply(options);
    f.load();
    QTEST(f.graph.viewSettings().selectedId == 77, "kept");
    QCOMPARE(spy.size(), moved.isNull() ? 0 : 1);
    if (!moved.isNull())
        QCOMPARE(spy.at(0), QVariantList({moved, QPoint(210, 85)}));
}

// A chain deeper than any call stack, and a ladder of 30 diamonds whose
// paths double at each rung: visiting a node twice would never end.
void TestDSPNetGraphLayout::deepAndTangled_data()
{
    QTest::addColumn<QString>("network");
    QTest::addColumn<int>("placed");

    QStringList chain;
    for (int i = 0; i < 100000; ++i)
        chain << QStringLiteral("N%1<-N%2").arg(i).arg(i + 1);
    QStringList ladder;
    for (int i = 0; i < 30; ++i)
        ladder << QStringLiteral("D%1<-X%1,Y%1; X%1<-D%2; Y%1<-D%2").arg(i).arg(i + 1);
    QTest::newRow("chain of 100001") << chain.join(QLatin1Char(';')) << 100001;
    QTest::newRow("ladder kept") << "P<-D0,I1,I2,I3,I4;" + ladder.join(QLatin1Char(';')) << 95;
    QTest::newRow("ladder collapsed") << "P<-I0,I1,D0,I3,I4;" + ladder.join(QLatin1Char(';')) << 5;
}

void TestDSPNetGraphLayout::deepAndTangled()
{
    QFETCH(QString, network);
    NetworkFixture f(network);
    QTEST(int(f.layOut().nodes.size()), "placed");
}

// The tree changes behind the graph's back; only a switch that lays out again shows it.
void TestDSPNetGraphLayout::onlyTwoSwitchesRelayout()
{
    using Setter = void (DSPNetGraph::*)(bool);
    const Setter setters[] = {&DSPNetGraph::setShowExcessive, &DSPNetGraph::setShowInactive,
                              &DSPNetGraph::setShowCPUUsage,  &DSPNetGraph::setShowGroups,
                              &DSPNetGraph::setShowLegend,    &DSPNetGraph::setShowVolumeLevels};
    for (int i = 0; i < 6; ++i) {
        GraphFixture f(QStringLiteral("R<-A"));
        f.load();
        f.tree.acceptNetworkFrame(TestNetwork(QStringLiteral("R<-A,B,C")).snapshot(6));
        (f.graph.*setters[i])(true);
        QVERIFY2((f.graph.graphLayout().nodes.size() == 4) == (i < 2),
                 qPrintable(QString::number(i)));
    }
}

// R<-A,B needs 480 by 180 at scale 1.0; the second snapshot R<-A only 480 by 105.
void TestDSPNetGraphLayout::scaleAndSize_data()
{
    QTest::addColumn<float>("value");
    QTest::addColumn<float>("scale");
    QTest::addColumn<QSize>("size");

    QTest::newRow("unchanged: old size stays") << 1.0f << 1.0f << QSize(480, 180);
    QTest::newRow("clamped high") << 5.0f << 2.0f << QSize(960, 210);
    QTest::newRow("clamped low") << 0.1f << 0.2f << QSize(96, 21);
    QTest::newRow("truncated, not rounded") << 1.7f << 1.7f << QSize(816, 178);
    QTest::newRow("shrinks to the exact size") << 0.5f << 0.5f << QSize(240, 52);
}

void TestDSPNetGraphLayout::scaleAndSize()
{
    QFETCH(float, value);
    GraphFixture f(QStringLiteral("R<-A,B"));
    f.load();
    f.net = TestNetwork(QStringLiteral("R<-A"));
    f.load();
    f.graph.setScale(value);
    QTEST(f.graph.scale(), "scale");
    QTEST(f.graph.size(), "size");
}

void TestDSPNetGraphLayout::repaintsMerge()
{
    GraphFixture f(QStringLiteral("R<-A"));
    auto* timer = f.graph.findChild<QTimer*>();
    QSignalSpy spy(timer, SIGNAL(timeout()));
    f.load();
    f.graph.setShowLegend(true);
    f.graph.setShowSends(true);
    f.graph.setMaxCPU(0.5f);
    f.graph.requestRepaint();
    QCOMPARE(timer->interval(), 10);
    QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 1, 1000);
    QVERIFY(!timer->isActive()); // nothing left for a second update()
}

QTEST_MAIN(TestDSPNetGraphLayout)
#include "tst_dspnetgraph_layout.moc"
