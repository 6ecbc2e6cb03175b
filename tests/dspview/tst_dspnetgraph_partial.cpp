#include "GraphFixture.h"

#include <QPainter>
#include <QtTest>

// A repaint of part of the widget skips what lies outside that part. Painted
// tile by tile, the graph must come out pixel for pixel as when every tile
// draws everything: anything culled too eagerly leaves a gap at a tile edge,
// and anything that draws differently alone (dashes, overlapping line edges)
// changes pixels.
class TestDSPNetGraphPartial : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tilesMatchWholeRender_data();
    void tilesMatchWholeRender();
};

namespace {

const QColor backdrop(49, 56, 64);

// Every kind of thing the graph draws: the four kinds of connection, a unit
// sending to another, a collapsed row with its "...", meters running past the
// plate, long names that wrap and are cut, a unit shared by two parents, and
// a group nested in a group with a GUID.
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

// The graph painted tile by tile, each tile under its own clip as a repaint
// of that part of the widget is: drawn whole (culled false) or drawing only
// what may touch the tile (culled true).
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

void TestDSPNetGraphPartial::tilesMatchWholeRender_data()
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

void TestDSPNetGraphPartial::tilesMatchWholeRender()
{
    QFETCH(float, scale);
    QFETCH(QSize, tile);
    QFETCH(bool, cpuText);
    GraphFixture f(QStringLiteral("R<-A,B+sidechain,C+send+sidechain,D+send;"
                                  "A<-E,F,G,H,I,J; B<-K,C; C<-L+sidechain; D<-M,N+send"));
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

QTEST_MAIN(TestDSPNetGraphPartial)
#include "tst_dspnetgraph_partial.moc"
