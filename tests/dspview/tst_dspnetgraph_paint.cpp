#include "GraphFixture.h"

#include <QPainter>
#include <QtTest>

// Pixels of the graph rendered into an image over the screen's backdrop.
// A state colour or a meter is seen only through the translucent glass plate,
// so each probe is compared with the plate drawn alone over the colour expected.
class TestDSPNetGraphPaint : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stateColour_data();
    void stateColour();
    void highlightMatch_data();
    void highlightMatch();
    void meters_data();
    void meters();
    void legend_data();
    void legend();
    void groupTexts_data();
    void groupTexts();
    void plateTexts_data();
    void plateTexts();
    void plateTextsFollowChanges_data();
    void plateTextsFollowChanges();
    void repaintOnlyOnChange_data();
    void repaintOnlyOnChange();
};

namespace {

const QColor backdrop(49, 56, 64);

QImage renderGraph(DSPNetGraph& graph)
{
    QImage image(graph.size(), QImage::Format_ARGB32);
    image.fill(backdrop);
    QPainter painter(&image);
    graph.render(&painter, false);
    return image;
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

// Unit A stands at (210, 10) in R<-A; (10, 12) inside its plate is clear of
// text and rim.
const QPoint plateA(210, 10);
const QPoint probe(10, 12);

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

} // namespace

void TestDSPNetGraphPaint::stateColour_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("highlight");
    QTest::addColumn<int>("cpuMode"); // 0 off, 1 exclusive share, 2 inclusive share
    QTest::addColumn<float>("share"); // the other share stays 0
    QTest::addColumn<QColor>("colour");

    const QColor active(66, 186, 255), white(Qt::white), magenta(Qt::magenta);
    const QColor green = QColor::fromHsv(120, 255, 255), yellow = QColor::fromHsv(60, 255, 255),
                 red = QColor::fromHsv(0, 255, 255);
    // clang-format off
    QTest::newRow("active") << "" << "" << 0 << 0.0f << active;
    QTest::newRow("bypassed is white") << "bypass:A" << "" << 0 << 0.0f << white;
    QTest::newRow("inactive is the backdrop") << "off:A inactive" << "" << 0 << 0.0f << backdrop;
    QTest::newRow("bypass beats inactive") << "off:A bypass:A inactive" << "" << 0 << 0.0f << white;
    QTest::newRow("highlight beats bypass") << "bypass:A" << "A" << 0 << 0.0f << magenta;
    QTest::newRow("cpu at the low end: green") << "" << "" << 1 << 0.0f << green;
    QTest::newRow("cpu half way: yellow") << "" << "" << 1 << 0.1f << yellow;
    QTest::newRow("cpu above the high end: red") << "" << "" << 1 << 0.7f << red;
    QTest::newRow("inclusive share chosen") << "" << "" << 2 << 0.1f << yellow;
    QTest::newRow("inactive ignores cpu") << "off:A inactive" << "" << 1 << 0.1f << backdrop;
    // clang-format on
}

// Low end 0.0, high end 0.2.
void TestDSPNetGraphPaint::stateColour()
{
    QFETCH(QString, options);
    QFETCH(QString, highlight);
    QFETCH(int, cpuMode);
    QFETCH(float, share);
    QFETCH(QColor, colour);
    GraphFixture f(QStringLiteral("R<-A"));
    f.apply(options);
    f.load();
    (cpuMode == 2 ? f.tree.nodes.value(2)->inclusiveCPU : f.tree.nodes.value(2)->exclusiveCPU) =
        share;
    f.graph.slotProcessTree();
    f.graph.setHighlightText(highlight);
    f.graph.setMaxCPU(0.2f);
    f.graph.setShowCPUUsage(cpuMode > 0);
    f.graph.setInclusiveCPU(cpuMode == 2);
    const QImage& plate = f.graph.faceplateImage();
    QVERIFY(throughGlass(plate, Qt::black, probe) != throughGlass(plate, Qt::white, probe));
    QCOMPARE(renderGraph(f.graph).pixelColor(plateA + probe), throughGlass(plate, colour, probe));
}

void TestDSPNetGraphPaint::highlightMatch_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("match");

    // The unit: name "Lowpass: 2", id 0x12ff, group 0xabc0.
    // clang-format off
    QTest::newRow("name part") << "pass: 2" << true;
    QTest::newRow("name is case-sensitive") << "lowpass" << false;
    QTest::newRow("id tail") << "0xFF" << true;
    QTest::newRow("whole id zero-filled") << "0x00000000000012ff" << true;
    QTest::newRow("group id tail") << "0xbc0" << true;
    QTest::newRow("id digits not at the end") << "0x12" << false;
    QTest::newRow("capital X is a name search") << "0XFF" << false;
    QTest::newRow("0x alone is a name search") << "0x" << false;
    // clang-format on
}

void TestDSPNetGraphPaint::highlightMatch()
{
    QFETCH(QString, text);
    GraphNode node;
    node.name = QStringLiteral("Lowpass: 2");
    node.id = 0x12ff;
    node.groupId = 0xabc0;
    QTEST(DSPNetGraph::highlightMatches(node, text), "match");
}

// A's state rectangle spans rows 13 to 51; its first meter columns 213 to 219.
void TestDSPNetGraphPaint::meters_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("decibels");
    QTest::addColumn<int>("row");
    QTest::addColumn<QColor>("colour");

    const QColor background(194, 233, 255);
    const QColor bar(Qt::darkGreen);
    // clang-format off
    QTest::newRow("0 dB reaches the top") << "" << 0 << 15 << bar;
    QTest::newRow("+3 dB is full and red") << "" << 3 << 15 << QColor(Qt::darkRed);
    QTest::newRow("-80 dB draws no bar") << "" << -80 << 50 << background;
    QTest::newRow("-40 dB: inside the half bar") << "" << -40 << 34 << bar;
    QTest::newRow("-40 dB: above the half bar") << "" << -40 << 31 << background;
    QTest::newRow("inactive draws no meters") << "off:A inactive" << 0 << 40 << backdrop;
    // clang-format on
}

void TestDSPNetGraphPaint::meters()
{
    QFETCH(QString, options);
    QFETCH(int, decibels);
    QFETCH(int, row);
    QFETCH(QColor, colour);
    GraphFixture f(QStringLiteral("R<-A"));
    f.apply(options);
    f.net.node(QStringLiteral("A")).decibels = {qint8(decibels), 0};
    f.load();
    f.graph.setShowVolumeLevels(true);
    const QPoint at(6, row - plateA.y());
    QCOMPARE(renderGraph(f.graph).pixelColor(plateA + at),
             throughGlass(f.graph.faceplateImage(), colour, at));
}

// With R<-A,B the lowest row stands at y 85; the samples run from x 10 to 30.
void TestDSPNetGraphPaint::legend_data()
{
    QTest::addColumn<bool>("on");
    QTest::addColumn<int>("y");
    QTest::addColumn<QColor>("colour");

    QTest::newRow("standard sample") << true << 70 << QColor(200, 200, 200);
    QTest::newRow("sidechain sample") << true << 85 << QColor(50, 150, 50);
    QTest::newRow("off: nothing") << false << 70 << backdrop;
}

void TestDSPNetGraphPaint::legend()
{
    QFETCH(bool, on);
    QFETCH(int, y);
    GraphFixture f(QStringLiteral("R<-A,B"));
    f.load();
    f.graph.setShowLegend(on);
    QTEST(renderGraph(f.graph).pixelColor(20, y), "colour");
}

// The group's name is written under its box only from scale 0.5 on.
void TestDSPNetGraphPaint::groupTexts_data()
{
    QTest::addColumn<float>("scale");
    QTest::addColumn<bool>("written");

    QTest::newRow("0.45: box only") << 0.45f << false;
    QTest::newRow("0.5: name") << 0.5f << true;
}

void TestDSPNetGraphPaint::groupTexts()
{
    QFETCH(float, scale);
    QImage images[2];
    for (int named = 0; named < 2; ++named) {
        GraphFixture f(QStringLiteral("R<-A"));
        f.net.node(QStringLiteral("A")).groupId = 5;
        TestGroup group;
        group.id = 5;
        group.name = named ? QStringLiteral("Reverbs") : QString();
        f.tree.acceptGroupFrame(TestFrames::groupTable({group}));
        f.load();
        f.graph.setShowGroups(true);
        f.graph.setScale(scale);
        images[named] = renderGraph(f.graph);
    }
    QTEST(images[0] != images[1], "written");
}

// A plate's text looks exactly as the painter writes the same text into the
// plate's text box: wrapped at blanks, centred both ways, cut at the box, and
// never read as markup. The reference is the unit's plate, unnamed, with the
// text written over it by hand.
void TestDSPNetGraphPaint::plateTexts_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("one line") << QStringLiteral("Fader");
    QTest::newRow("wrapped at a blank") << QStringLiteral("Lowpass Filter Unit Two");
    QTest::newRow("markup stays text") << QStringLiteral("<b>bold</b> &amp; x");
    QTest::newRow("word wider than the plate") << QStringLiteral("Superlongwordwithoutbreaks");
    QTest::newRow("line break in the name") << QStringLiteral("Two\nLines");
    QTest::newRow("more lines than fit") << QStringLiteral("A\nB\nC\nD\nE\nF");
}

void TestDSPNetGraphPaint::plateTexts()
{
    QFETCH(QString, name);
    QImage images[2];
    QRect plate;
    for (int named = 0; named < 2; ++named) {
        GraphFixture f(QStringLiteral("R<-A"));
        f.net.node(QStringLiteral("A")).name = named ? name : QString();
        f.load();
        images[named] = renderGraph(f.graph);
        const GraphNode& node = f.graph.graphNodes().at(1);
        plate = QRect(node.position, QSize(120, 45));
        if (named)
            continue;
        QFont font;
        font.setPointSize(7);
        font.setStyleHint(QFont::SansSerif, QFont::PreferOutline);
        font.setStretch(125);
        QPainter painter(&images[0]);
        painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
        painter.setFont(font);
        const QRect box(node.position + QPoint(5, 5), QSize(110, 35));
        const int flags = Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextWordWrap;
        painter.setPen(QColor(0, 0, 0, 128));
        painter.drawText(box.translated(0, 1), flags, name);
        painter.setPen(Qt::white);
        painter.drawText(box, flags, name);
    }
    QCOMPARE(images[1].copy(plate), images[0].copy(plate));
}

// Plate texts are laid out once and kept; whatever changes in between, a
// graph shows what a graph made afresh in its final state shows.
void TestDSPNetGraphPaint::plateTextsFollowChanges_data()
{
    QTest::addColumn<QStringList>("steps");

    QTest::newRow("scale there and back") << QStringList{"scale:2", "scale:1"};
    QTest::newRow("scale changed") << QStringList{"scale:1", "scale:1.5"};
    QTest::newRow("cpu figures on and off") << QStringList{"cpu:1", "cpu:0"};
    QTest::newRow("cpu figures switched on") << QStringList{"cpu:0", "cpu:1"};
    QTest::newRow("unit renamed") << QStringList{"name:Echo", "name:Chorus Unit"};
}

void TestDSPNetGraphPaint::plateTextsFollowChanges()
{
    QFETCH(QStringList, steps);
    const auto apply = [](GraphFixture& f, const QString& step) {
        const QString key = step.section(QLatin1Char(':'), 0, 0);
        const QString value = step.section(QLatin1Char(':'), 1);
        if (key == QLatin1String("scale"))
            f.graph.setScale(value.toFloat());
        if (key == QLatin1String("cpu"))
            f.graph.setShowCPUUsage(value == QLatin1String("1"));
        if (key == QLatin1String("name")) {
            f.net.node(QStringLiteral("A")).name = value;
            f.load();
        }
    };
    GraphFixture changed(QStringLiteral("R<-A,B"));
    changed.load();
    for (const QString& step : steps) {
        apply(changed, step);
        renderGraph(changed.graph);
    }
    GraphFixture fresh(QStringLiteral("R<-A,B"));
    fresh.load();
    apply(fresh, steps.last());
    QCOMPARE(renderGraph(changed.graph), renderGraph(fresh.graph));
}

// A snapshot that changes nothing on the screen is not painted again; one
// that changes anything shown is. Meters and figures count only when shown.
void TestDSPNetGraphPaint::repaintOnlyOnChange_data()
{
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("change");
    QTest::addColumn<bool>("painted");

    QTest::newRow("same snapshot again") << ""
                                         << "" << false;
    QTest::newRow("unit switched off") << ""
                                       << "off" << true;
    QTest::newRow("unit renamed") << ""
                                  << "rename" << true;
    QTest::newRow("input added") << ""
                                 << "grow" << true;
    QTest::newRow("meter moved, meters hidden") << ""
                                                << "level" << false;
    QTest::newRow("meter moved, meters shown") << "meters"
                                               << "level" << true;
    QTest::newRow("cpu moved, figures hidden") << ""
                                               << "cpu" << false;
    QTest::newRow("cpu moved, figures shown") << "figures"
                                              << "cpu" << true;
    QTest::newRow("same snapshot, all shown") << "meters figures"
                                              << "" << false;
}

void TestDSPNetGraphPaint::repaintOnlyOnChange()
{
    QFETCH(QString, shown);
    QFETCH(QString, change);
    GraphFixture f(QStringLiteral("R<-A; A<-C"));
    TestNode& a = f.net.node(QStringLiteral("A"));
    a.decibels = {-10};
    a.exclusiveTime = 10;
    f.net.sampleRate = 48000;
    f.net.blockLength = 1024;
    f.graph.setShowVolumeLevels(shown.contains(QLatin1String("meters")));
    f.graph.setShowCPUUsage(shown.contains(QLatin1String("figures")));
    f.graph.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.graph));
    f.load();
    QTest::qWait(50);
    PaintCount count;
    f.graph.installEventFilter(&count);
    if (change == QLatin1String("off"))
        a.active = false;
    if (change == QLatin1String("rename"))
        a.name = QStringLiteral("Echo");
    if (change == QLatin1String("level"))
        a.decibels = {-20};
    if (change == QLatin1String("cpu"))
        a.exclusiveTime = 500;
    if (change == QLatin1String("grow"))
        f.net = TestNetwork(QStringLiteral("R<-A,B; A<-C"));
    f.load();
    QTest::qWait(50);
    QTEST(count.paints > 0, "painted");
}

QTEST_MAIN(TestDSPNetGraphPaint)
#include "tst_dspnetgraph_paint.moc"
