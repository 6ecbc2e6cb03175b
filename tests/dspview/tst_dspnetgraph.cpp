#include "GraphFixture.h"

#include <QImageReader>
#include <QPainter>
#include <QRegularExpression>
#include <QScreen>
#include <QSignalSpy>
#include <QTimer>

#include <QtTest>
#include <functional>

// The layout of a snapshot, the selection across snapshots, and the pixels
// rendered over the screen's backdrop. Colours are seen through the glass
// plate, so each probe is compared with the plate drawn alone over the colour
// expected.
class TestDSPNetGraph : public QObject
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
    void plateColour_data();
    void plateColour();
    void paintedTexts_data();
    void paintedTexts();
    void platesAtPixelRatio_data();
    void platesAtPixelRatio();
    void plateTexts_data();
    void plateTexts();
    void repaintAfterSnapshot_data();
    void repaintAfterSnapshot();
    void tilesMatchWholeRender_data();
    void tilesMatchWholeRender();
};

namespace {

const QColor backdrop(49, 56, 64);

QImage renderGraph(DSPNetGraph& graph, qreal ratio = 1.0, bool toImage = false)
{
    QImage image(graph.size() * ratio, QImage::Format_ARGB32);
    image.setDevicePixelRatio(ratio);
    image.fill(backdrop);
    QPainter painter(&image);
    graph.render(&painter, toImage);
    return image;
}

// The plate image as the graph reads it at scale 1.0.
QImage plateImage()
{
    QImageReader reader(QStringLiteral(":Profiler/node-faceplate.png"));
    reader.setScaledSize(QSize(120, 45));
    return reader.read();
}

// What the plate shows at `at` (plate coordinates) with `under` beneath it.
QColor throughGlass(const QImage& plate, const QColor& under, QPoint at)
{
    QImage image(plate.size(), QImage::Format_ARGB32);
    image.fill(under);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.drawImage(0, 0, plate);
    painter.end();
    return image.pixelColor(at);
}

// Unit A stands at (210, 10) in R<-A.
const QPoint plateA(210, 10);

class PaintCount : public QObject
{
public:
    int paints = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return QObject::eventFilter(watched, event);
    }
};

// Every kind of thing the graph draws: four kinds of line, "...", meters past
// the plate, wrapped and cut names, a shared unit, nested groups with a GUID.
const QString everything = QStringLiteral("R<-A,B+sidechain,C+send+sidechain,D+send; "
                                          "A<-E,F,G,H,I,J; B<-K,C; C<-L+sidechain; D<-M,N+send");

void buildNetwork(GraphFixture& f)
{
    f.net.node(QStringLiteral("A")).name = QStringLiteral("Compressor:Sidechain:Input:Left");
    f.net.node(QStringLiteral("B")).name = QStringLiteral("Averyveryverylongnamewithoutblanks");
    f.net.node(QStringLiteral("D")).sendTargetId = 2;
    f.net.node(QStringLiteral("C")).decibels = QList<qint8>(24, -6);
    f.net.node(QStringLiteral("E")).decibels = {3, -20, -80};
    f.net.node(QStringLiteral("E")).bypass = true;
    f.net.node(QStringLiteral("F")).exclusiveTime = 400;
    for (const QString& name : {QStringLiteral("E"), QStringLiteral("F"), QStringLiteral("G")})
        f.net.node(name).groupId = 5;
    f.net.node(QStringLiteral("B")).groupId = 6;
    f.net.sampleRate = 48000;
    f.net.blockLength = 1024;
    TestGroup inner{5, 7, {}, QStringLiteral("Reverbs")};
    TestGroup other{6, 7, {}, QStringLiteral("Delays")};
    TestGroup outer{7, 0, QUuid(0x12345678, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10), QStringLiteral("Bus")};
    f.tree.acceptGroupFrame(TestFrames::groupTable({inner, other, outer}));
}

// The graph painted tile by tile under a clip, drawn whole or culled to the tile.
QImage tiledRender(DSPNetGraph& graph, QSize tile, bool culled)
{
    QImage image(graph.size(), QImage::Format_ARGB32);
    image.fill(backdrop);
    for (int y = 0; y < image.height(); y += tile.height()) {
        for (int x = 0; x < image.width(); x += tile.width()) {
            const QRect rect(QPoint(x, y), tile);
            QPainter painter(&image);
            painter.setClipRect(rect);
            if (culled)
                graph.render(&painter, false, rect);
            else
                graph.render(&painter, false);
        }
    }
    return image;
}

} // namespace

void TestDSPNetGraph::layout_data()
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
    // Plates are keyed by the low 32 bits of the id: B stands where A does.
    QTest::newRow("ids alike in their low half") << "R<-A,B; B<-C" << "alias:B=A"
        << "R@10,10 A@210,10 | 210,32>130,25 210,32>130,40 |  | 480x105";
    QTest::newRow("loop") << "A<-B; B<-A" << ""
        << "A@10,10 B@210,10 | 10,32>330,32 210,32>130,32 |  | 480x105";
    // The walk from the removed I2 leads back to P and on to all its inputs.
    QTest::newRow("hiding walk through the parent hides every input")
        << "P<-I0,I1,I2,I3,I4; I2<-P" << "" << "P@10,10 |  | 210,75 | 280x105";
    // clang-format on
}

void TestDSPNetGraph::layout()
{
    QFETCH(QString, network);
    QFETCH(QString, options);
    NetworkFixture f(network);
    f.apply(options);
    QTEST(layoutText(f.layOut()), "expected");
}

void TestDSPNetGraph::connectionLists()
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

// Groups of R<-A,B,C. Table entry "id>parent:name", '!' for a GUID; result
// "id/level/rect/name/parent/guid".
void TestDSPNetGraph::groups_data()
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

void TestDSPNetGraph::groups()
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
        result << QString::asprintf("%llu/%d/%d,%d,%d,%d/", g.id, g.level, r.x(), r.y(), r.width(),
                                    r.height()) +
                      g.name + QStringLiteral("/%1/").arg(g.parentId) + g.guid;
    }
    QTEST(result.join(QLatin1Char(' ')), "expected");
}

// B is selected by a click on the first snapshot; the second decides.
void TestDSPNetGraph::selection_data()
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

void TestDSPNetGraph::selection()
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

// Deeper than any call stack; paths that double at each of 30 rungs.
void TestDSPNetGraph::deepAndTangled_data()
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

void TestDSPNetGraph::deepAndTangled()
{
    QFETCH(QString, network);
    NetworkFixture f(network);
    QTEST(int(f.layOut().nodes.size()), "placed");
}

// The tree changes behind the graph's back; only a switch that lays out again shows it.
void TestDSPNetGraph::onlyTwoSwitchesRelayout()
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
void TestDSPNetGraph::scaleAndSize_data()
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

void TestDSPNetGraph::scaleAndSize()
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

void TestDSPNetGraph::repaintsMerge()
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

// A: "Lowpass:2", id 0x12ff, group 0xabc0; CPU scale 0.0 to 0.2. (10, 12)
// sees the state colour; column 6 the first meter, rows 13 to 51 from top 10.
void TestDSPNetGraph::plateColour_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("highlight");
    QTest::addColumn<int>("cpuMode");  // 0 off, 1 exclusive share, 2 inclusive share
    QTest::addColumn<float>("share");  // the other share stays 0
    QTest::addColumn<int>("decibels"); // of the first meter; 1000: meters hidden
    QTest::addColumn<QPoint>("at");
    QTest::addColumn<QColor>("colour");

    const QColor active(66, 186, 255), white(Qt::white), magenta(Qt::magenta);
    const QColor green = QColor::fromHsv(120, 255, 255), yellow = QColor::fromHsv(60, 255, 255),
                 red = QColor::fromHsv(0, 255, 255);
    const QColor meterBackground(194, 233, 255), bar(Qt::darkGreen);
    // The state colour with meters hidden; the first meter at row y (plate top 10).
    const auto state = [](const char* row, const char* options, const char* highlight, int cpuMode,
                          float share, const QColor& colour) {
        QTest::newRow(row) << QString(options) << QString(highlight) << cpuMode << share << 1000
                           << QPoint(10, 12) << colour;
    };
    const auto meter = [](const char* row, const char* options, int decibels, int y,
                          const QColor& colour) {
        QTest::newRow(row) << QString(options) << QString() << 0 << 0.0f << decibels
                           << QPoint(6, y - 10) << colour;
    };
    // clang-format off
    state("active", "", "", 0, 0.0f, active);
    state("bypassed is white", "bypass:A", "", 0, 0.0f, white);
    state("inactive is the backdrop", "off:A inactive", "", 0, 0.0f, backdrop);
    state("bypass beats inactive", "off:A bypass:A inactive", "", 0, 0.0f, white);
    state("highlight beats bypass", "bypass:A", "pass: 2", 0, 0.0f, magenta);
    state("name search is case-sensitive", "", "lowpass", 0, 0.0f, active);
    state("id tail", "", "0xFF", 0, 0.0f, magenta);
    state("whole id zero-filled", "", "0x00000000000012ff", 0, 0.0f, magenta);
    state("group id tail", "", "0xbc0", 0, 0.0f, magenta);
    state("id digits not at the end", "", "0x12", 0, 0.0f, active);
    state("capital X is a name search", "", "0XFF", 0, 0.0f, active);
    state("0x alone is a name search", "", "0x", 0, 0.0f, active);
    state("cpu at the low end: green", "", "", 1, 0.0f, green);
    state("cpu half way: yellow", "", "", 1, 0.1f, yellow);
    state("cpu above the high end: red", "", "", 1, 0.7f, red);
    state("inclusive share chosen", "", "", 2, 0.1f, yellow);
    state("inactive ignores cpu", "off:A inactive", "", 1, 0.1f, backdrop);
    meter("0 dB reaches the top", "", 0, 15, bar);
    meter("+3 dB is full and red", "", 3, 15, QColor(Qt::darkRed));
    meter("-80 dB draws no bar", "", -80, 50, meterBackground);
    meter("-40 dB: inside the half bar", "", -40, 34, bar);
    meter("-40 dB: above the half bar", "", -40, 31, meterBackground);
    meter("inactive draws no meters", "off:A inactive", 0, 40, backdrop);
    // clang-format on
}

void TestDSPNetGraph::plateColour()
{
    QFETCH(QString, options);
    QFETCH(QString, highlight);
    QFETCH(int, cpuMode);
    QFETCH(float, share);
    QFETCH(int, decibels);
    QFETCH(QPoint, at);
    QFETCH(QColor, colour);
    GraphFixture f(QStringLiteral("R<-A"));
    TestNode& a = f.net.node(QStringLiteral("A"));
    a.name = QStringLiteral("Lowpass:2");
    a.id = 0x12ff;
    a.groupId = 0xabc0;
    a.decibels = {qint8(qBound(-128, decibels, 127)), 0};
    f.apply(options);
    f.load();
    DSPNode* unit = f.tree.nodes.value(0x12ff);
    (cpuMode == 2 ? unit->inclusiveCPU : unit->exclusiveCPU) = share;
    f.graph.slotProcessTree();
    f.graph.setHighlightText(highlight);
    f.graph.setMaxCPU(0.2f);
    f.graph.setShowCPUUsage(cpuMode > 0);
    f.graph.setInclusiveCPU(cpuMode == 2);
    f.graph.setShowVolumeLevels(decibels != 1000);
    const QImage plate = plateImage();
    QVERIFY(throughGlass(plate, Qt::black, at) != throughGlass(plate, Qt::white, at));
    QCOMPARE(renderGraph(f.graph).pixelColor(plateA + at), throughGlass(plate, colour, at));
}

// The plates' font as the window sets it up.
QFont plateFont()
{
    QFont font;
    font.setPointSize(7);
    font.setStyleHint(QFont::SansSerif, QFont::PreferOutline);
    font.setStretch(125);
    return font;
}

// Legend, group texts and "..." drawn by hand over the graph painted without
// them. A, C in group 5 in 7 (GUID, two columns wide), B in 6 in 8 (GUID, one
// column); D keeps a row free so that no box or line crosses a text.
void TestDSPNetGraph::paintedTexts_data()
{
    QTest::addColumn<float>("scale");
    QTest::addColumn<QString>("shown"); // "groups", "guids", "legend", "image"

    QTest::newRow("nothing") << 1.0f << "";
    QTest::newRow("names and guids") << 1.0f << "groups guids";
    QTest::newRow("guids alone, at the lower offset") << 1.0f << "guids";
    QTest::newRow("names alone") << 1.0f << "groups";
    QTest::newRow("saved image: blue group texts") << 1.0f << "groups guids image";
    QTest::newRow("scale 0.5: texts at their limit") << 0.5f << "groups legend";
    QTest::newRow("scale 0.45: boxes without texts") << 0.45f << "groups guids";
    QTest::newRow("legend") << 1.0f << "legend";
    QTest::newRow("legend at scale 2") << 2.0f << "legend groups";
}

void TestDSPNetGraph::paintedTexts()
{
    QFETCH(float, scale);
    QFETCH(QString, shown);
    const bool toImage = shown.contains(QLatin1String("image"));
    const bool names = shown.contains(QLatin1String("groups"));
    const bool guids = shown.contains(QLatin1String("guids"));
    const bool legend = shown.contains(QLatin1String("legend"));
    const QUuid uid(0x12345678, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10);
    const QString guid = uid.toString(QUuid::WithBraces);
    QImage images[2];
    QList<GraphGroup> groups;
    int maxY = 0;
    for (int withTexts = 0; withTexts < 2; ++withTexts) {
        GraphFixture f(QStringLiteral("R<-A,D,B; A<-C; B<-P; P<-I0,I1,I2,I3,I4,I5"));
        for (const char* name : {"A", "C"})
            f.net.node(QLatin1String(name)).groupId = 5;
        f.net.node(QStringLiteral("B")).groupId = 6;
        const auto text = [withTexts](const char* name) {
            return withTexts ? QString::fromLatin1(name) : QString();
        };
        f.tree.acceptGroupFrame(
            TestFrames::groupTable({{5, 7, {}, text("Reverbs")},
                                    {6, 8, {}, text("Echoes")},
                                    {7, 0, withTexts ? uid : QUuid(), text("Bus")},
                                    {8, 0, withTexts ? uid : QUuid(), text("Mix")}}));
        f.load();
        f.graph.setShowGroups(names);
        f.graph.setShowGuids(guids);
        f.graph.setShowLegend(legend && withTexts);
        f.graph.setScale(scale);
        images[withTexts] = renderGraph(f.graph, 1.0, toImage);
        groups = f.graph.graphLayout().groups;
        maxY = f.graph.graphLayout().maxY;
    }
    QPainter painter(&images[0]);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    const QColor textColour = toImage ? QColor(66, 186, 255) : QColor(255, 255, 200);
    for (const GraphGroup& g : groups) {
        const QRectF r(g.rect.topLeft() * scale, g.rect.size() * scale);
        if (scale < 0.5f)
            break;
        painter.setPen(textColour);
        const bool together = names && guids && !g.guid.isEmpty() && g.rect.width() > 240.0;
        const auto write = [&](int offset, const QString& text) {
            painter.drawText(int(r.x()), int(r.height() + offset * 5 * double(scale) + r.y()),
                             text);
        };
        if (names && !g.name.isEmpty())
            write(g.level, together ? g.name + QLatin1Char(' ') + g.guid : g.name);
        if (guids && !g.guid.isEmpty() && !together)
            write(g.level + 2, g.guid);
    }
    QCOMPARE(groups.size(), 4);
    QCOMPARE(groups.at(2).guid, guid);
    // "..." in its box, 24 points, grey, on the row after I1, on nothing else.
    const QRect dots(610, 300, 120, 45);
    painter.fillRect(QRectF(QRectF(dots).topLeft() * scale, QSizeF(dots.size()) * scale).toRect(),
                     backdrop);
    painter.save();
    painter.scale(scale, scale);
    QFont big;
    big.setPointSize(24);
    painter.setFont(big);
    painter.setPen(QColor(200, 200, 200));
    painter.drawText(dots, Qt::AlignHCenter | Qt::AlignVCenter, QStringLiteral("..."));
    painter.restore();
    painter.scale(scale, scale);
    if (legend) {
        const int b = maxY;
        painter.setFont(plateFont());
        painter.setPen(Qt::white);
        painter.drawText(10, b - 27, QStringLiteral("Connections:"));
        const QPen pens[] = {QPen(QColor(200, 200, 200), 2), QPen(QColor(50, 150, 50), 2),
                             QPen(QBrush(QColor(200, 200, 200)), 2, Qt::DotLine),
                             QPen(QBrush(QColor(50, 150, 50)), 2, Qt::DotLine)};
        const char* texts[] = {"Standard", "Sidechain", "Send", "Send Sidechain"};
        for (int i = 0; i < 4; ++i) {
            const int y = b - 15 + 15 * i;
            painter.setPen(pens[i]);
            painter.drawLine(10, y, 30, y);
            painter.setPen(Qt::white);
            painter.drawText(40, y + 3, QString::fromLatin1(texts[i]));
        }
    }
    painter.end();

    QCOMPARE(images[1], images[0]);
}

// Plates are read at scale times pixel ratio, from the larger image only where
// the smaller is too small; every rim pixel is a pixel of that image, not a
// smaller image stretched.
void TestDSPNetGraph::platesAtPixelRatio_data()
{
    QTest::addColumn<float>("scale");
    QTest::addColumn<qreal>("ratio");
    QTest::addColumn<QString>("image");
    QTest::addColumn<QSize>("readAt");

    const QString small = QStringLiteral(":Profiler/node-faceplate.png");
    const QString large = QStringLiteral(":Profiler/node-faceplate@2x.png");
    QTest::newRow("ratio 1, scale 1") << 1.0f << 1.0 << small << QSize(120, 45);
    QTest::newRow("ratio 1, scale 2: small image as it is")
        << 2.0f << 1.0 << small << QSize(240, 90);
    QTest::newRow("ratio 2, scale 0.5") << 0.5f << 2.0 << small << QSize(120, 45);
    QTest::newRow("ratio 2, scale 1: small image as it is")
        << 1.0f << 2.0 << small << QSize(240, 90);
    QTest::newRow("ratio 2, scale 1.5") << 1.5f << 2.0 << large << QSize(360, 135);
    QTest::newRow("ratio 2, scale 2: large image as it is")
        << 2.0f << 2.0 << large << QSize(480, 180);
}

void TestDSPNetGraph::platesAtPixelRatio()
{
    QFETCH(float, scale);
    QFETCH(qreal, ratio);
    QFETCH(QString, image);
    QFETCH(QSize, readAt);
    GraphFixture f(QStringLiteral("R<-A"));
    f.load();
    f.graph.setScale(scale);
    const QImage shown = renderGraph(f.graph, ratio);
    QImageReader reader(image);
    reader.setScaledSize(readAt);
    const QImage plate = reader.read().convertToFormat(QImage::Format_ARGB32);
    const QPoint corner = (QPointF(210, 10) * scale * ratio).toPoint();
    // The right half: the line to R runs over the left side.
    int rim = 0;
    for (int y = 0; y < plate.height(); ++y) {
        for (int x = plate.width() / 2; x < plate.width(); ++x) {
            if (qAlpha(plate.pixel(x, y)) == 255 && ++rim)
                QCOMPARE(shown.pixel(corner + QPoint(x, y)), plate.pixel(x, y));
        }
    }
    QVERIFY(rim > plate.width() + plate.height());
    // Inwards from the right side at mid height: the opaque rim, one pixel
    // that blends it into the glass, then the glass.
    const int y = corner.y() + plate.height() / 2;
    int x = corner.x() + plate.width() - 1;
    while (shown.pixel(x, y) == qRgb(218, 218, 218))
        --x;
    QCOMPARE(corner.x() + plate.width() - 1 - x, readAt.width() / 60);
    QVERIFY(shown.pixel(x, y) != shown.pixel(x - 1, y));
}

// A plate's text equals the same text written by hand into the unnamed
// plate's text box (wrapped, centred, cut, never markup); the highlight gives
// both plates one colour.
void TestDSPNetGraph::plateTexts_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("cpuMode"); // 0 off, 1 exclusive share, 2 inclusive share
    QTest::addColumn<float>("share");
    QTest::addColumn<QString>("written");

    // clang-format off
    QTest::newRow("one line") << "Fader" << 0 << 0.0f << "Fader";
    QTest::newRow("wrapped at a blank") << "Lowpass Filter Unit Two" << 0 << 0.0f
        << "Lowpass Filter Unit Two";
    QTest::newRow("markup stays text") << "<b>bold</b> &amp; x" << 0 << 0.0f
        << "<b>bold</b> &amp; x";
    QTest::newRow("word wider than the plate") << "Superlongwordwithoutbreaks" << 0 << 0.0f
        << "Superlongwordwithoutbreaks";
    QTest::newRow("line break in the name") << "Two\nLines" << 0 << 0.0f << "Two\nLines";
    QTest::newRow("more lines than fit") << "A\nB\nC\nD\nE\nF" << 0 << 0.0f << "A\nB\nC\nD\nE\nF";
    QTest::newRow("exclusive share") << "Fader" << 1 << 0.125f << "[12.50%]\nFader";
    QTest::newRow("inclusive share, whole") << "Fader" << 2 << 1.0f << "[100.00%]\nFader";
    QTest::newRow("share rounds to nothing") << "Fader" << 1 << 0.00004f << "[0.00%]\nFader";
    QTest::newRow("figures without a name") << "" << 1 << 0.5f << "[50.00%]\n";
    // clang-format on
}

void TestDSPNetGraph::plateTexts()
{
    QFETCH(QString, name);
    QFETCH(int, cpuMode);
    QFETCH(float, share);
    QFETCH(QString, written);
    QImage images[2];
    QRect plate;
    for (int named = 0; named < 2; ++named) {
        GraphFixture f(QStringLiteral("R<-A"));
        f.net.node(QStringLiteral("A")).name = named ? name : QString();
        f.load();
        DSPNode* a = f.tree.nodes.value(2);
        (cpuMode == 2 ? a->inclusiveCPU : a->exclusiveCPU) = share;
        f.graph.slotProcessTree();
        f.graph.setHighlightText(QStringLiteral("0x2"));
        f.graph.setShowCPUUsage(named && cpuMode > 0);
        f.graph.setInclusiveCPU(cpuMode == 2);
        images[named] = renderGraph(f.graph);
        const GraphNode& node = f.graph.graphLayout().nodes.at(1);
        plate = QRect(node.position, QSize(120, 45));
        if (named)
            continue;
        QPainter painter(&images[0]);
        painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
        painter.setFont(plateFont());
        const QRect box(node.position + QPoint(5, 5), QSize(110, 35));
        const int flags = Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextWordWrap;
        painter.setPen(QColor(0, 0, 0, 128));
        painter.drawText(box.translated(0, 1), flags, written);
        painter.setPen(Qt::white);
        painter.drawText(box, flags, written);
    }
    QCOMPARE(images[1].copy(plate), images[0].copy(plate));
}

QImage onScreen(QWidget* widget)
{
    const QPixmap shot = QGuiApplication::primaryScreen()->grabWindow(widget->winId());
    return shot.toImage().convertToFormat(QImage::Format_RGB32);
}

QImage freshPaint(QWidget* widget)
{
    return widget->grab().toImage().convertToFormat(QImage::Format_RGB32);
}

// A snapshot that changes nothing shown is not painted again; one that does
// is, and so is one after a change whose own repaint was lost.
void TestDSPNetGraph::repaintAfterSnapshot_data()
{
    QTest::addColumn<QString>("shown"); // switched on before the first snapshot
    QTest::addColumn<QString>("change");
    QTest::addColumn<bool>("painted");

    // clang-format off
    QTest::newRow("same snapshot again") << "" << "" << false;
    QTest::newRow("same snapshot, all shown") << "meters figures" << "" << false;
    QTest::newRow("unit switched off") << "" << "off" << true;
    QTest::newRow("unit renamed") << "" << "rename" << true;
    QTest::newRow("input added") << "" << "grow" << true;
    QTest::newRow("meter moved, meters hidden") << "" << "level" << false;
    QTest::newRow("meter moved, meters shown") << "meters" << "level" << true;
    QTest::newRow("cpu moved, figures hidden") << "" << "cpu" << false;
    QTest::newRow("cpu moved, figures shown") << "figures" << "cpu" << true;
    QTest::newRow("plate selected") << "" << "select" << true;
    QTest::newRow("selection ended beside the plates") << "" << "unselect" << true;
    QTest::newRow("highlight text") << "" << "highlight" << true;
    QTest::newRow("scale") << "" << "scale" << true;
    QTest::newRow("low end of the cpu scale") << "figures" << "min" << true;
    QTest::newRow("high end of the cpu scale") << "figures" << "max" << true;
    QTest::newRow("inclusive share") << "figures" << "inclusive" << true;
    QTest::newRow("show cpu usage") << "" << "figures" << true;
    QTest::newRow("show volume levels") << "" << "meters" << true;
    QTest::newRow("show groups") << "" << "groups" << true;
    QTest::newRow("show guids") << "" << "guids" << true;
    QTest::newRow("show sends") << "" << "sends" << true;
    QTest::newRow("show legend") << "" << "legend" << true;
    QTest::newRow("show inactive") << "" << "inactive" << true;
    QTest::newRow("show excessive") << "" << "excessive" << true;
    // clang-format on
}

void TestDSPNetGraph::repaintAfterSnapshot()
{
    QFETCH(QString, shown);
    QFETCH(QString, change);
    GraphFixture f(everything);
    buildNetwork(f);
    TestNode& a = f.net.node(QStringLiteral("A"));
    a.decibels = {-10};
    a.exclusiveTime = 10;
    f.net.node(QStringLiteral("M")).active = false;
    f.graph.setShowVolumeLevels(shown.contains(QLatin1String("meters")));
    f.graph.setShowCPUUsage(shown.contains(QLatin1String("figures")));
    f.graph.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.graph));
    f.load();
    const QPoint plateA(250, 20);
    if (change == QLatin1String("unselect"))
        QTest::mouseClick(&f.graph, Qt::LeftButton, {}, plateA);
    QTRY_COMPARE(onScreen(&f.graph), freshPaint(&f.graph));
    PaintCount count;
    f.graph.installEventFilter(&count);
    const QHash<QString, std::function<void()>> changes = {
        {"off", [&] { a.active = false; }},
        {"rename", [&] { a.name = QStringLiteral("Echo"); }},
        {"level", [&] { a.decibels = {-20}; }},
        {"cpu", [&] { a.exclusiveTime = 500; }},
        {"grow", [&] { f.net = TestNetwork(QStringLiteral("R<-A,B,C,D,E,G; A<-F,H")); }},
        {"select", [&] { QTest::mouseClick(&f.graph, Qt::LeftButton, {}, plateA); }},
        {"unselect", [&] { QTest::mouseClick(&f.graph, Qt::LeftButton, {}, QPoint(5, 200)); }},
        {"highlight", [&] { f.graph.setHighlightText(QStringLiteral("0x3")); }},
        {"scale", [&] { f.graph.setScale(0.8f); }},
        {"min", [&] { f.graph.setMinCPU(0.001f); }},
        {"max", [&] { f.graph.setMaxCPU(0.02f); }},
        {"inclusive", [&] { f.graph.setInclusiveCPU(true); }},
        {"figures", [&] { f.graph.setShowCPUUsage(true); }},
        {"meters", [&] { f.graph.setShowVolumeLevels(true); }},
        {"groups", [&] { f.graph.setShowGroups(true); }},
        {"guids", [&] { f.graph.setShowGuids(true); }},
        {"sends", [&] { f.graph.setShowSends(true); }},
        {"legend", [&] { f.graph.setShowLegend(true); }},
        {"inactive", [&] { f.graph.setShowInactive(true); }},
        {"excessive", [&] { f.graph.setShowExcessive(true); }},
    };
    if (!change.isEmpty())
        changes.value(change)();
    const QImage before = onScreen(&f.graph);
    // Whatever the change asked for is lost; only the snapshot can repaint.
    f.graph.findChild<QTimer*>()->stop();
    f.load();
    QTest::qWait(50);
    QTEST(count.paints > 0, "painted");
    const QImage after = freshPaint(&f.graph);
    QCOMPARE(onScreen(&f.graph), after);
    if (change != QLatin1String("level") && change != QLatin1String("cpu") && !change.isEmpty())
        QVERIFY(after != before); // the row changes the picture
}

void TestDSPNetGraph::tilesMatchWholeRender_data()
{
    QTest::addColumn<float>("scale");
    QTest::addColumn<QSize>("tile");
    QTest::addColumn<bool>("cpuText");

    // Odd tile sizes put tile edges through plates, texts and lines.
    QTest::newRow("scale 1, small tiles") << 1.0f << QSize(37, 23) << false;
    QTest::newRow("scale 1, cpu texts") << 1.0f << QSize(53, 41) << true;
    QTest::newRow("scale 2, thick lines") << 2.0f << QSize(97, 61) << false;
    QTest::newRow("scale 0.5, group texts at their limit") << 0.5f << QSize(29, 17) << true;
    QTest::newRow("scale 0.2, hairlines") << 0.2f << QSize(11, 7) << false;
    QTest::newRow("one column of rows") << 1.0f << QSize(4000, 9) << false;
}

void TestDSPNetGraph::tilesMatchWholeRender()
{
    QFETCH(float, scale);
    QFETCH(QSize, tile);
    QFETCH(bool, cpuText);
    GraphFixture f(everything);
    buildNetwork(f);
    f.load();
    f.graph.setShowVolumeLevels(true);
    f.graph.setShowGroups(true);
    f.graph.setShowGuids(true);
    f.graph.setShowSends(true);
    f.graph.setShowLegend(true);
    f.graph.setShowCPUUsage(cpuText);
    f.graph.setMaxCPU(0.01f);
    f.graph.setHighlightText(QStringLiteral("0x3"));
    f.graph.setScale(scale);
    const DSPNetGraphLayout& layout = f.graph.graphLayout();
    QVERIFY(!layout.ellipsisPoints.isEmpty() && !layout.sendLines.isEmpty());
    QVERIFY(!layout.sendSidechainLines.isEmpty());

    const QImage whole = tiledRender(f.graph, tile, false);
    const QImage culled = tiledRender(f.graph, tile, true);
    QCOMPARE(culled, whole);
}

QTEST_MAIN(TestDSPNetGraph)
#include "tst_dspnetgraph.moc"
