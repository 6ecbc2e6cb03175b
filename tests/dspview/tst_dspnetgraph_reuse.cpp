#include "GraphFixture.h"

#include <QImage>
#include <QPainter>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <limits>
#include <memory>

// A snapshot of the same shape as the last is not decoded and laid out again;
// only its values are copied. After each snapshot of a sequence, tree, layout
// and pixels must equal a fresh tree and graph that saw only that snapshot,
// also when the graph lays a new shape out a turn of the event loop later.
class TestDSPNetGraphReuse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sequenceMatchesFreshPass_data();
    void sequenceMatchesFreshPass();
};

namespace {

const QString base = QStringLiteral("R<-A,B,C,D,E,F; A<-G; B<-G+sidechain,H; C<-A+send; H<-B");
const QString grown = base + QStringLiteral("; E<-I");

// R's six inputs are cut to A, B, E and F, and the sub-trees of C and D
// (C, A, G, D) are hidden; the changes below are made to units that show.
//
// One snapshot and the group table sent with it, from "network | options |
// seed". Options: "off:A,B", "bypass:A", "group:B,E" (group 9), "name:B=Amp",
// "table:Bus" (a table naming group 9 inside a nesting group 20); the graph's
// own "inactive", "scale:2" and "nocpu". The seed sets every unit's time and
// levels and the header's figures.
struct Step
{
    QByteArray snapshot;
    QByteArray groups;
    bool showInactive = false;
    float scale = 1.0f;
    bool showCPU = true;
};

void applyOption(TestNetwork& net, const QString& option, QList<TestGroup>* table)
{
    const QString key = option.section(QLatin1Char(':'), 0, 0);
    const QString value = option.section(QLatin1Char(':'), 1);
    if (key == QLatin1String("name")) {
        net.node(value.section(QLatin1Char('='), 0, 0)).name = value.section(QLatin1Char('='), 1);
        return;
    }
    if (key == QLatin1String("table")) {
        *table = {{9, 20, QUuid(), value},
                  {20, 0, QUuid(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11), "Top"}};
        return;
    }
    for (const QString& name : value.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        if (key == QLatin1String("off"))
            net.node(name).active = false;
        else if (key == QLatin1String("bypass"))
            net.node(name).bypass = true;
        else if (key == QLatin1String("group"))
            net.node(name).groupId = 9;
    }
}

Step makeStep(const QString& text, int version)
{
    const QStringList parts = text.split(QLatin1Char('|'));
    TestNetwork net(parts.at(0));
    QList<TestGroup> table;
    Step step;
    for (const QString& option : parts.at(1).split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        step.showInactive |= option == QLatin1String("inactive");
        step.showCPU &= option != QLatin1String("nocpu");
        if (option.startsWith(QLatin1String("scale:")))
            step.scale = option.mid(6).toFloat();
        applyOption(net, option, &table);
    }
    const int seed = parts.at(2).trimmed().toInt();
    const QStringList names = net.names();
    for (int i = 0; i < names.size(); ++i) {
        TestNode& node = net.node(names.at(i));
        node.exclusiveTime = quint32((seed * 37 + i * 11) % 500 + 1);
        node.decibels = {qint8(-((seed * 7 + i) % 80)), qint8(-((seed + i * 3) % 80))};
        node.amplitudes = {0.05f * float(seed + i), 0.9f / float(seed + i)};
    }
    net.totalCPU = 0.1f * float(seed);
    net.sampleRate = 48000;
    net.blockLength = 256 * seed;
    step.snapshot = net.snapshot(version);
    step.groups = TestFrames::groupTable(table);
    return step;
}

QString number(float value)
{
    return QString::number(double(value), 'g', 9);
}

// Every field of every unit, in id order, and of the tree itself.
QString treeText(const DSPTree& tree)
{
    QList<quint64> ids = tree.nodes.keys();
    std::sort(ids.begin(), ids.end());
    const quint64 root = tree.head.inputs.isEmpty() ? 0 : tree.head.inputs[0].node->id;
    QStringList lines{QString::asprintf("v%d cpu %s rate %d block %d root %llu",
                                        tree.networkVersion, qPrintable(number(tree.totalCPU)),
                                        tree.sampleRate, tree.blockLength, root)};
    for (quint64 id : ids) {
        const DSPNode* n = tree.nodes.value(id);
        QString text = QString::asprintf("%llu g%llu t%llu %d%d i%u/", id, n->groupId,
                                         n->sendTargetId, n->active, n->bypass, n->inclusiveTime);
        text += number(n->inclusiveCPU) + QStringLiteral(" e%1/").arg(n->exclusiveTime) +
                number(n->exclusiveCPU) + QStringLiteral(" d%1 ").arg(n->depth) + n->name + " [";
        for (qint8 level : n->volumeLevels)
            text += QString::number(level) + QLatin1Char(',');
        text += QStringLiteral("] <");
        for (const DSPConnection& c : n->inputs)
            text += QString::asprintf("%llu%s%s,", c.node->id, c.send ? "s" : "",
                                      c.sidechain ? "c" : "");
        lines << text;
    }
    for (const DSPGroup* g : tree.groups)
        lines << QStringLiteral("group %1<%2 %3 %4")
                     .arg(g->id)
                     .arg(g->parentId)
                     .arg(g->name, g->guid.toString());
    return lines.join(QLatin1Char('\n'));
}

// Every list of the layout, every field.
QString everyField(const DSPNetGraphLayout& layout)
{
    QStringList lines{layoutText(layout)};
    for (const GraphNode& n : layout.nodes) {
        QString text = QString::asprintf("#%llu g%llu t%llu %d%d ", n.id, n.groupId, n.sendTargetId,
                                         n.active, n.bypass);
        text += number(n.inclusiveCPU) + QLatin1Char('/') + number(n.exclusiveCPU) + " [";
        for (float level : n.levels)
            text += number(level) + QLatin1Char(',');
        lines << text;
    }
    for (const QList<QLine>* l :
         {&layout.sendLines, &layout.sidechainLines, &layout.sendSidechainLines})
        lines << linesText(*l);
    for (const GraphGroup& g : layout.groups)
        lines << QStringLiteral("group %1<%2 %3 %4 L%5 ")
                         .arg(g.id)
                         .arg(g.parentId)
                         .arg(g.name, g.guid)
                         .arg(g.level) +
                     QString::asprintf("%g,%g %gx%g", g.rect.x(), g.rect.y(), g.rect.width(),
                                       g.rect.height());
    lines << QString::asprintf("max %d,%d selected %d at %d,%d", layout.maxX, layout.maxY,
                               layout.selectedTreeNode != nullptr, layout.selectedNewPosition.x(),
                               layout.selectedNewPosition.y());
    return lines.join(QLatin1Char('\n'));
}

// A tree and its graph, with every value shown on the plates.
struct Viewer
{
    explicit Viewer(bool deferred = false)
    {
        graph.setDeferredLayoutUnits(deferred ? 0 : std::numeric_limits<qsizetype>::max());
        graph.setShowVolumeLevels(true);
    }

    // The switches first, so that a fresh graph never lays out without them.
    void feed(const Step& step)
    {
        graph.setShowInactive(step.showInactive);
        graph.setScale(step.scale);
        graph.setShowCPUUsage(step.showCPU);
        tree.acceptNetworkFrame(step.snapshot);
        tree.acceptGroupFrame(step.groups);
        Q_EMIT tree.dspNetTreeUpdated();
        QCoreApplication::processEvents();
    }

    QImage image(QSize size)
    {
        QImage result(size, QImage::Format_ARGB32);
        result.fill(Qt::transparent);
        QPainter painter(&result);
        graph.render(&painter, true);
        return result;
    }

    DSPTree tree{nullptr};
    DSPNetGraph graph{&tree};
};

} // namespace

void TestDSPNetGraphReuse::sequenceMatchesFreshPass_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<bool>("deferred");
    const QString b = base;
    const struct
    {
        const char* name;
        int version;
        QStringList steps;
    } rows[] = {
        {"values only", 6, {b + "||1", b + "||2", b + "||3"}},
        {"shape", 6, {b + "||1", grown + "||2", b + "||3", b + "||4"}},
        {"flags", 6, {b + "||1", b + "|off:H|2", b + "|off:H|3", b + "|bypass:B|4", b + "||5"}},
        {"names", 6, {b + "||1", b + "|name:B=Amp|2", b + "|name:B=Amp|3", b + "||4"}},
        {"groups",
         6,
         {b + "||1", b + "|group:B,E|2", b + "|group:B,E table:Bus|3", b + "|group:B,E table:Mix|4",
          b + "|group:B,E table:Mix|5", b + "||6"}},
        {"switch",
         6,
         {b + "|off:H|1", b + "|off:H inactive|2", b + "|off:H inactive|3", b + "|off:H|4"}},
        {"float levels",
         4,
         {b + "||1", b + "||2", b + "|off:H|3", b + "|name:H=Hall|4", b + "||5"}},
        {"32-bit times", 1, {b + "||1", b + "||2", grown + "||3", b + "||4"}},
        // Plate texts are laid out once and kept: they must follow each switch.
        {"scale and figures",
         6,
         {b + "||1", b + "|scale:2|2", b + "|scale:2 nocpu|3", b + "|scale:1.5|4", b + "|nocpu|5",
          b + "||6"}},
    };
    for (bool deferred : {false, true}) {
        for (const auto& row : rows) {
            QTest::addRow("%s%s", row.name, deferred ? ", laid out a turn later" : "")
                << row.version << row.steps << deferred;
        }
    }
}

void TestDSPNetGraphReuse::sequenceMatchesFreshPass()
{
    QFETCH(int, version);
    QFETCH(QStringList, steps);
    QFETCH(bool, deferred);
    const QRegularExpression graphOnly(QStringLiteral(" ?(inactive|nocpu|scale:[0-9.]+)"));
    Viewer living(deferred);
    QString lastShape;
    for (const QString& text : steps) {
        const Step step = makeStep(text, version);
        const quint64 generation = living.tree.shapeGeneration;
        living.feed(step);
        // The sequence must take the reusing path exactly where it may.
        const QString shape = text.section(QLatin1Char('|'), 0, 1).remove(graphOnly);
        QCOMPARE(living.tree.shapeGeneration == generation, shape == lastShape);
        lastShape = shape;
        auto fresh = std::make_unique<Viewer>();
        fresh->feed(step);
        QCOMPARE(treeText(living.tree), treeText(fresh->tree));
        QCOMPARE(everyField(living.graph.graphLayout()), everyField(fresh->graph.graphLayout()));
        const QSize size = fresh->graph.graphLayout().neededSize(step.scale);
        QVERIFY(living.image(size) == fresh->image(size));
    }
}

QTEST_MAIN(TestDSPNetGraphReuse)
#include "tst_dspnetgraph_reuse.moc"
